#include "Keys.h"
#include "SqlExec.h"
#include "Connection.h"
#include <QSqlError>
#include <QSqlQuery>

namespace NexoFrame {

namespace {

const TableDef& requireTable(int table)
{
    const TableDef* def = Schema::instance().table(table);
    if (!def) throw DbError(QStringLiteral("Ismeretlen táblaszám: %1").arg(table));
    return *def;
}

} // namespace

int Keys::newKey(int table, const QString& column) { return newKeys(table, 1, column); }

bool Keys::hasDeliveredBase(int table)
{
    return table == Tables::Menu || table == Tables::OlapReport || table == Tables::OlapReportField;
}

int Keys::ownKeyFloor(int table, bool systemEdit) { return systemEdit || !hasDeliveredBase(table) ? 0 : kFirstOwnKey; }

int Keys::newOwnKey(int table, bool systemEdit, const QString& column) { return handOut(table, 1, column, ownKeyFloor(table, systemEdit)); }

int Keys::newKeys(int table, int count, const QString& column) { return handOut(table, std::max(1, count), column, 0); }

int Keys::handOut(int table, int count, const QString& column, int lowest)
{
    const TableDef& t = requireTable(table);
    // The key table hands out each key once, also to two machines asking at once (the
    // row's lock makes the second wait), and moves past every key already stored, such
    // as one the module raised itself. A key handed out earlier in this session is never
    // handed out again, even when its row was rolled back. A block of `count` keys ends
    // at the key stored; a block of none locks the key row and gives the next key.
    const int n = std::max(0, count);
    auto rows = m_c.select(handOutSql(t.name, n, column) + QStringLiteral(" RETURNING last_key"), handOutValues(table, t.name, n, lowest));
    if (rows.isEmpty()) throw DbError(QStringLiteral("Nem kapható új kulcs (%1).").arg(t.name));
    const int last = rows.first().value(0).toInt();
    m_lastKey[table] = last;
    return last - n + 1;
}

QString Keys::handOutSql(const QString& table, int count, const QString& column) const
{
    return QStringLiteral("INSERT INTO qnd_key (table_name, last_key) VALUES (?, %1) "
                          "ON CONFLICT (table_name) DO UPDATE SET last_key = %2")
        .arg(m_c.engine().greatest(QStringLiteral("(SELECT COALESCE(MAX(%1), 0) + %3 FROM %2)").arg(quoted(column), quoted(table)).arg(count),
                                   QStringLiteral("?")),
             m_c.engine().greatest(QStringLiteral("qnd_key.last_key + %1").arg(count), QStringLiteral("excluded.last_key")));
}

QVariantList Keys::handOutValues(int table, const QString& name, int count, int lowest) const
{
    // Keys kept above `lowest` move the stored last key there, so that the next ones follow.
    return {name, std::max(m_lastKey.value(table, 0) + count, lowest + count - 1)};
}

std::pair<int, int> Keys::insertSelected(int table, const QStringList& columns, const QString& with, const QVariantList& withBinds,
                                         const QString& selectList, const QString& from, const QVariantList& binds)
{
    const TableDef& t = requireTable(table);
    // No key yet: this locks the key row and says where the keys go on from.
    const int before = handOut(table, 0, t.primaryKey, 0) - 1;
    QStringList names;
    for (const QString& c : columns) names << quoted(c);
    QString failure;
    // Where a row given no key takes the largest one plus one, the rows number themselves
    // (numbering them in the statement kept every row once more); a key handed out above the
    // largest stored one is stood in for until they are in.
    const bool numbered = !m_c.engine().keysFollowLargest() || t.column(t.primaryKey)->type != ColType::Long;
    bool standIn = false;
    if (!numbered) {
        const int largest = m_c.select(QStringLiteral("SELECT COALESCE(MAX(%1), 0) FROM %2").arg(quoted(t.primaryKey), quoted(t.name)))
                                .value(0).value(0).toInt();
        standIn = largest < before;
        if (standIn && !m_c.execute(QStringLiteral("INSERT INTO %1 (%2) VALUES (?)").arg(quoted(t.name), quoted(t.primaryKey)), {before}, &failure))
            throw DbError(failure);
    } else {
        names.prepend(quoted(t.primaryKey));
    }
    // Written at the top of the INSERT, the values take their columns' types on a server.
    QSqlQuery& q = m_c.prepared(with + QStringLiteral("INSERT INTO %1 (%2) SELECT %3%4 %5")
                                           .arg(quoted(t.name), names.join(QLatin1Char(',')),
                                                numbered ? QStringLiteral("? + ROW_NUMBER() OVER (), ") : QString(), selectList, from));
    int at = 0;
    for (const QVariant& v : withBinds) q.bindValue(at++, v);
    if (numbered) q.bindValue(at++, before);
    for (const QVariant& v : binds) q.bindValue(at++, v);
    const bool ok = q.exec();
    const QString error = ok ? QString() : q.lastError().text();
    const int rows = ok ? q.numRowsAffected() : 0;
    q.finish();
    if (!ok) throw DbError(error);
    if (standIn && !m_c.execute(QStringLiteral("DELETE FROM %1 WHERE %2 = ?").arg(quoted(t.name), quoted(t.primaryKey)), {before}, &failure))
        throw DbError(failure);
    if (rows <= 0) return {0, 0};
    if (!m_c.execute(QStringLiteral("UPDATE qnd_key SET last_key = ? WHERE table_name = ?"), {before + rows, t.name}, &failure))
        throw DbError(failure);
    m_lastKey[table] = before + rows;
    return {before + 1, rows};
}

namespace {

// The SELECT that gives `rows` rows of `t` keyed from a block of keys ending at
// `block`.last_key: the key, `shared` bound values, then `extra` (an expression, say another
// row's key), then each row's own values from a VALUES list. `columns` name them all but the
// key, `extra`'s among them.
QString keyedSelect(const Engine& engine, const TableDef& t, const QStringList& columns, int shared, int rows,
                    const QString& block, const QString& extra, const QString& extraFrom)
{
    const int own = int(columns.size()) - shared - (extra.isEmpty() ? 0 : 1);
    QStringList tuples, ownNames, select{QStringLiteral("%1.last_key - %2 + v.n").arg(block).arg(rows)};
    for (int i = 0; i < shared; ++i) select << QStringLiteral("?");
    if (!extra.isEmpty()) select << extra;
    for (int j = 0; j < own; ++j) {
        // A VALUES list reads unnamed values as text: the rest are cast to their column.
        const QString& name = columns[columns.size() - own + j];
        const ColumnDef* c = t.column(name);
        if (!c) throw DbError(QStringLiteral("Ismeretlen mező: %1").arg(name));
        const bool text = c->type == ColType::Text || c->type == ColType::Memo;
        ownNames << QStringLiteral("c%1").arg(j);
        select << (text ? QStringLiteral("v.c%1").arg(j) : QStringLiteral("CAST(v.c%1 AS %2)").arg(j).arg(engine.sqlType(*c)));
    }
    for (int r = 0; r < rows; ++r) tuples << QStringLiteral("(%1").arg(r + 1) + QStringLiteral(", ?").repeated(own) + QLatin1Char(')');
    QString from = block + extraFrom;
    if (own == 0) select.first() = block + QStringLiteral(".last_key");
    else from += QStringLiteral(", (VALUES %1) AS v(n, %2)").arg(tuples.join(QLatin1Char(',')), ownNames.join(QLatin1Char(',')));
    return QStringLiteral("SELECT %1 FROM %2").arg(select.join(QLatin1Char(',')), from);
}

QString columnList(const TableDef& t, const QStringList& columns)
{
    QStringList names{quoted(t.primaryKey)};
    for (const QString& c : columns) names << quoted(c);
    return names.join(QLatin1Char(','));
}

} // namespace

int Keys::insertKeyed(int table, const QStringList& columns, const QVariantList& shared, const QVariantList& perRow, int rows,
                      int lowest, const Beside* beside)
{
    const TableDef& t = requireTable(table);
    const int own = rows > 0 ? int(perRow.size() / rows) : 0;
    if (rows <= 0 || own * rows != perRow.size() || shared.size() + own != columns.size() || (own == 0 && rows > 1)
        || (beside && beside->rows > 0 && rows != 1))
        throw DbError(QStringLiteral("Hibás sorösszeállítás (%1).").arg(t.name));
    const TableDef* b = beside && beside->rows > 0 ? &requireTable(beside->table) : nullptr;
    // The other table's columns with the reference after its shared ones.
    QStringList besideColumns;
    if (b) besideColumns = beside->columns.mid(0, beside->shared.size()) + QStringList{beside->ref} + beside->columns.mid(beside->shared.size());
    // Many rows go in the engine's bulk way, where it has one (a round trip, whatever their number).
    const bool copied = !b && rows >= kCopiedFrom && m_c.copies();
    if (!copied && m_c.engine().writesInWith()) {
        // The key block and the rows in one statement; each row's key is its place in the block.
        QString shape = QString::number(table) + QLatin1Char('/') + QString::number(rows) + QLatin1Char('/')
            + QString::number(shared.size()) + QLatin1Char('/') + columns.join(QLatin1Char(','));
        if (b)
            shape += QLatin1Char('|') + QString::number(beside->table) + QLatin1Char('/') + QString::number(beside->rows)
                + QLatin1Char('/') + QString::number(beside->shared.size()) + QLatin1Char('/') + besideColumns.join(QLatin1Char(','));
        QString& sql = m_keyedSql[shape];
        if (sql.isEmpty()) {
            sql = QStringLiteral("WITH k AS (") + handOutSql(t.name, rows, t.primaryKey)
                + QStringLiteral(" RETURNING last_key), a AS (INSERT INTO %1 (%2) %3 RETURNING %4)")
                      .arg(quoted(t.name), columnList(t, columns),
                           keyedSelect(m_c.engine(), t, columns, int(shared.size()), rows, QStringLiteral("k"), {}, {}),
                           quoted(t.primaryKey));
            if (b) {
                // The other rows in the same statement, naming the new row's key.
                sql += QStringLiteral(", kb AS (") + handOutSql(b->name, beside->rows, b->primaryKey)
                    + QStringLiteral(" RETURNING last_key), b AS (INSERT INTO %1 (%2) %3) SELECT a.%4, kb.last_key FROM a, kb")
                          .arg(quoted(b->name), columnList(*b, besideColumns),
                               keyedSelect(m_c.engine(), *b, besideColumns, int(beside->shared.size()), beside->rows,
                                           QStringLiteral("kb"), QStringLiteral("a.") + quoted(t.primaryKey), QStringLiteral(", a")),
                               quoted(t.primaryKey));
            } else {
                sql += QStringLiteral(" SELECT %1 FROM a").arg(quoted(t.primaryKey));
            }
        }
        QVariantList binds = handOutValues(table, t.name, rows, lowest) + shared + perRow;
        if (b) binds += handOutValues(beside->table, b->name, beside->rows, 0) + beside->shared + beside->perRow;
        int first = 0, last = 0, besideLast = 0;
        m_c.selectEach(sql, binds, [&](const QVariantList& r) {
            const int key = r.value(0).toInt();
            first = first == 0 ? key : std::min(first, key);
            last = std::max(last, key);
            besideLast = r.value(1).toInt();
            return true;
        });
        if (last == 0) throw DbError(QStringLiteral("Nem kapható új kulcs (%1).").arg(t.name));
        m_lastKey[table] = last;
        if (b) m_lastKey[beside->table] = besideLast;
        return first;
    }
    const int first = handOut(table, rows, t.primaryKey, lowest);
    // A row's values: its key from the block, the shared ones, then its own.
    const auto rowAt = [&](int r) { return QVariantList{first + r} + shared + perRow.mid(r * own, own); };
    if (copied) {
        QList<QVariantList> data;
        data.reserve(rows);
        for (int r = 0; r < rows; ++r) data << rowAt(r);
        QString error;
        if (!m_c.copyRows(t.name, QStringList{t.primaryKey} + columns, data, &error)) throw DbError(error);
        return first;
    }
    // Qt hands SQLite every placeholder by name, and SQLite looks a name up along all the
    // statement's names: a statement's preparing grows with the square of its values. Rows
    // go a few hundred values a statement, so that a block of any size is prepared at once.
    constexpr int kValuesPerStatement = 400;
    const int perStatement = std::max(1, kValuesPerStatement / int(columns.size() + 1));
    const QString tuple = QStringLiteral("(?") + QStringLiteral(", ?").repeated(columns.size()) + QLatin1Char(')');
    for (int from = 0; from < rows; from += perStatement) {
        const int n = std::min(perStatement, rows - from);
        QStringList tuples;
        QVariantList values;
        for (int r = from; r < from + n; ++r) {
            tuples << tuple;
            values << rowAt(r);
        }
        QString error;
        if (!m_c.execute(QStringLiteral("INSERT INTO %1 (%2) VALUES %3").arg(quoted(t.name), columnList(t, columns), tuples.join(QLatin1Char(','))),
                         values, &error))
            throw DbError(error);
    }
    if (b) insertKeyed(beside->table, besideColumns, beside->shared + QVariantList{first}, beside->perRow, beside->rows);
    return first;
}

} // namespace NexoFrame
