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
    QStringList names{quoted(t.primaryKey)};
    for (const QString& c : columns) names << quoted(c);
    // Written at the top of the INSERT, the values take their columns' types on a server.
    QSqlQuery& q = m_c.prepared(with + QStringLiteral("INSERT INTO %1 (%2) SELECT ? + ROW_NUMBER() OVER (), %3 %4")
                                           .arg(quoted(t.name), names.join(QLatin1Char(',')), selectList, from));
    int at = 0;
    for (const QVariant& v : withBinds) q.bindValue(at++, v);
    q.bindValue(at++, before);
    for (const QVariant& v : binds) q.bindValue(at++, v);
    const bool ok = q.exec();
    const QString error = ok ? QString() : q.lastError().text();
    const int rows = ok ? q.numRowsAffected() : 0;
    q.finish();
    if (!ok) throw DbError(error);
    if (rows <= 0) return {0, 0};
    QString failure;
    if (!m_c.execute(QStringLiteral("UPDATE qnd_key SET last_key = ? WHERE table_name = ?"), {before + rows, t.name}, &failure))
        throw DbError(failure);
    m_lastKey[table] = before + rows;
    return {before + 1, rows};
}

int Keys::insertKeyed(int table, const QStringList& columns, const QVariantList& shared, const QVariantList& perRow, int rows,
                      int lowest)
{
    const TableDef& t = requireTable(table);
    const int own = rows > 0 ? int(perRow.size() / rows) : 0;
    if (rows <= 0 || own * rows != perRow.size() || shared.size() + own != columns.size() || (own == 0 && rows > 1))
        throw DbError(QStringLiteral("Hibás sorösszeállítás (%1).").arg(t.name));
    QStringList names{quoted(t.primaryKey)};
    for (const QString& c : columns) names << quoted(c);
    if (m_c.engine().writesInWith()) {
        // The key block and the rows in one statement; each row's key is its place in the block.
        QStringList tuples, ownNames, select{QStringLiteral("k.last_key - %1 + v.n").arg(rows)};
        for (int i = 0; i < shared.size(); ++i) select << QStringLiteral("?");
        for (int j = 0; j < own; ++j) {
            // A VALUES list reads unnamed values as text: the rest are cast to their column.
            const ColumnDef* c = t.column(columns[shared.size() + j]);
            if (!c) throw DbError(QStringLiteral("Ismeretlen mező: %1").arg(columns[shared.size() + j]));
            const bool text = c->type == ColType::Text || c->type == ColType::Memo;
            ownNames << QStringLiteral("c%1").arg(j);
            select << (text ? QStringLiteral("v.c%1").arg(j) : QStringLiteral("CAST(v.c%1 AS %2)").arg(j).arg(m_c.engine().sqlType(*c)));
        }
        for (int r = 0; r < rows; ++r)
            tuples << QStringLiteral("(%1").arg(r + 1) + QStringLiteral(", ?").repeated(own) + QLatin1Char(')');
        if (own == 0) select.first() = QStringLiteral("k.last_key");
        const QString from = own == 0 ? QStringLiteral("k")
                                      : QStringLiteral("k, (VALUES %1) AS v(n, %2)").arg(tuples.join(QLatin1Char(',')), ownNames.join(QLatin1Char(',')));
        const QString sql = QStringLiteral("WITH k AS (") + handOutSql(t.name, rows, t.primaryKey)
            + QStringLiteral(" RETURNING last_key) INSERT INTO %1 (%2) SELECT %3 FROM %4 RETURNING %5")
                  .arg(quoted(t.name), names.join(QLatin1Char(',')), select.join(QLatin1Char(',')), from, quoted(t.primaryKey));
        int first = 0, last = 0;
        m_c.selectEach(sql, handOutValues(table, t.name, rows, lowest) + shared + perRow, [&](const QVariantList& r) {
            const int key = r.value(0).toInt();
            first = first == 0 ? key : std::min(first, key);
            last = std::max(last, key);
            return true;
        });
        if (last == 0) throw DbError(QStringLiteral("Nem kapható új kulcs (%1).").arg(t.name));
        m_lastKey[table] = last;
        return first;
    }
    const int first = handOut(table, rows, t.primaryKey, lowest);
    QStringList tuples;
    QVariantList values;
    const QString marks = QStringLiteral(", ?").repeated(columns.size());
    for (int r = 0; r < rows; ++r) {
        tuples << QStringLiteral("(?") + marks + QLatin1Char(')');
        values << first + r << shared << perRow.mid(r * own, own);
    }
    QString error;
    if (!m_c.execute(QStringLiteral("INSERT INTO %1 (%2) VALUES %3").arg(quoted(t.name), names.join(QLatin1Char(',')), tuples.join(QLatin1Char(','))),
                     values, &error))
        throw DbError(error);
    return first;
}

} // namespace NexoFrame
