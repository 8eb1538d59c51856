#include "Recordset.h"
#include "Connection.h"
#include "DbError.h"
#include <QDataStream>
#include <QDateTime>
#include <QIODevice>
#include <QSqlError>
#include <QSqlQuery>

namespace NexoFrame {

namespace {

constexpr int kMaxWindow = 256;

QString quoted(const QString& id) { return QLatin1Char('"') + id + QLatin1Char('"'); }

// "(a,b) >= (?,?)", or "a >= ?" for a single column.
QString rowCompare(const QStringList& cols, const char* op)
{
    QStringList q;
    for (const QString& c : cols) q << quoted(c);
    QStringList marks(cols.size(), QStringLiteral("?"));
    const QString o = QString::fromLatin1(op);
    if (cols.size() == 1) return q.first() + o + QLatin1Char('?');
    return QLatin1Char('(') + q.join(QLatin1Char(',')) + QLatin1Char(')') + o + QLatin1Char('(')
        + marks.join(QLatin1Char(',')) + QLatin1Char(')');
}

bool sameValue(const ColumnDef& c, const QVariant& stored, const QVariant& wanted)
{
    if (stored.isNull() || wanted.isNull()) return stored.isNull() && wanted.isNull();
    switch (c.type) {
    case ColType::Long: return stored.toLongLong() == wanted.toLongLong();
    case ColType::Bool: return stored.toBool() == wanted.toBool();
    case ColType::Double: return stored.toDouble() == wanted.toDouble();
    case ColType::Date:
    case ColType::DateTime: return stored.toDateTime() == wanted.toDateTime();
    default: return stored.toString() == wanted.toString();
    }
}

} // namespace

Recordset::Recordset(Connection* connection, const TableDef* table)
    : m_c(connection), m_table(table)
{
    m_order = orderColumns();
    m_dirty.resize(m_table->columns.size());
}

Recordset::~Recordset() = default;

QStringList Recordset::orderColumns() const
{
    const IndexDef* ix = m_index.isEmpty() ? m_table->index(QStringLiteral("PrimaryKey"))
                                           : m_table->index(m_index);
    QStringList cols = ix->columns;
    if (!ix->unique && !cols.contains(m_table->primaryKey, Qt::CaseInsensitive))
        cols << m_table->primaryKey;
    return cols;
}

void Recordset::setIndex(const QString& name)
{
    if (!name.isEmpty() && !m_table->index(name))
        throw DbError(QStringLiteral("A(z) %1 táblának nincs %2 nevű indexe.")
                          .arg(m_table->name, name));
    m_index = name;
    m_order = orderColumns();
    m_buf.clear();
    m_pos = -1;
}

QVariantList Recordset::keyOf(const Row& r) const
{
    QVariantList k;
    for (const QString& c : m_order) {
        int i = m_table->columnIndex(c);
        k << m_c->engine().toDb(m_table->columns[i], r[i]);
    }
    return k;
}

void Recordset::fetch(const QString& where, const QVariantList& binds, bool descending, int limit)
{
    QStringList cols;
    for (const ColumnDef& c : m_table->columns) cols << quoted(c.name);
    QStringList order;
    for (const QString& c : m_order) order << quoted(c) + (descending ? QStringLiteral(" DESC") : QString());
    QString sql = QStringLiteral("SELECT ") + cols.join(QLatin1Char(',')) + QStringLiteral(" FROM ")
        + quoted(m_table->name);
    if (!where.isEmpty()) sql += QStringLiteral(" WHERE ") + where;
    sql += QStringLiteral(" ORDER BY ") + order.join(QLatin1Char(','));
    sql += QStringLiteral(" LIMIT ") + QString::number(limit);

    QSqlQuery& q = m_c->prepared(sql);
    for (int i = 0; i < binds.size(); ++i) q.bindValue(i, binds[i]);
    if (!q.exec()) {
        QString e = q.lastError().text();
        q.finish();
        throw DbError(QStringLiteral("Adatbázis-olvasási hiba (%1): %2").arg(m_table->name, e));
    }
    m_buf.clear();
    const int n = int(m_table->columns.size());
    while (q.next()) {
        Row r(n);
        for (int i = 0; i < n; ++i) r[i] = m_c->engine().fromDb(m_table->columns[i], q.value(i));
        m_buf.append(std::move(r));
    }
    q.finish();
    m_exhausted = m_buf.size() < limit;
    m_generation = m_c->generation();
    if (descending) std::reverse(m_buf.begin(), m_buf.end());
}

bool Recordset::seek(SeekOp op, const QVariantList& keys)
{
    const IndexDef* ix = m_index.isEmpty() ? m_table->index(QStringLiteral("PrimaryKey"))
                                           : m_table->index(m_index);
    const int n = std::min<int>(int(keys.size()), int(ix->columns.size()));
    if (n == 0) throw DbError(QStringLiteral("Keresés kulcs nélkül."));
    QStringList cols = ix->columns.mid(0, n);
    QVariantList binds;
    for (int i = 0; i < n; ++i) binds << m_c->engine().toDb(*m_table->column(cols[i]), keys[i]);
    m_window = 1;
    fetch(rowCompare(cols, op == SeekOp::Greater ? ">" : ">="), binds, false, m_window);
    m_pos = m_buf.isEmpty() ? -1 : 0;
    m_noMatch = m_buf.isEmpty();
    if (!m_noMatch && op == SeekOp::Equal) {
        const Row& r = m_buf.first();
        for (int i = 0; i < n; ++i) {
            const int ci = m_table->columnIndex(cols[i]);
            if (!sameValue(m_table->columns[ci], r[ci], keys[i])) {
                m_noMatch = true;
                break;
            }
        }
        if (m_noMatch) {
            m_buf.clear();
            m_pos = -1;
        }
    }
    return !m_noMatch;
}

void Recordset::moveFirst()
{
    m_window = 16;
    fetch({}, {}, false, m_window);
    m_pos = m_buf.isEmpty() ? -1 : 0;
}

void Recordset::moveLast()
{
    m_window = 1;
    fetch({}, {}, true, 1);
    m_pos = m_buf.isEmpty() ? -1 : 0;
}

void Recordset::moveNext()
{
    if (eof()) return;
    if (m_generation == m_c->generation() && m_pos + 1 < m_buf.size()) {
        ++m_pos;
        return;
    }
    if (m_generation == m_c->generation() && m_exhausted) {
        m_pos = int(m_buf.size());
        return;
    }
    const QVariantList key = keyOf(m_buf[m_pos]);
    m_window = std::min(kMaxWindow, m_window * 2);
    fetch(rowCompare(m_order, ">"), key, false, m_window);
    m_pos = m_buf.isEmpty() ? -1 : 0;
}

void Recordset::movePrevious()
{
    if (eof()) return;
    if (m_generation == m_c->generation() && m_pos > 0) {
        --m_pos;
        return;
    }
    const QVariantList key = keyOf(m_buf[m_pos]);
    fetch(rowCompare(m_order, "<"), key, true, 1);
    m_pos = m_buf.isEmpty() ? -1 : 0;
}

int Recordset::recordCount() const
{
    auto rows = m_c->select(QStringLiteral("SELECT COUNT(*) FROM ") + quoted(m_table->name));
    return rows.isEmpty() ? 0 : rows.first().value(0).toInt();
}

const Recordset::Row& Recordset::current() const
{
    ensureCurrent();
    return m_buf[m_pos];
}

void Recordset::ensureCurrent() const
{
    if (eof()) throw DbError(QStringLiteral("Nincs aktuális rekord (%1).").arg(m_table->name));
}

QByteArray Recordset::bookmark() const
{
    const Row& r = current();
    QByteArray b;
    QDataStream s(&b, QIODevice::WriteOnly);
    s << r[m_table->columnIndex(m_table->primaryKey)];
    return b;
}

void Recordset::setBookmark(const QByteArray& b)
{
    QVariant key;
    QDataStream s(b);
    s >> key;
    const ColumnDef& pk = *m_table->column(m_table->primaryKey);
    m_window = 1;
    fetch(quoted(pk.name) + QStringLiteral("=?"), {m_c->engine().toDb(pk, key)}, false, 1);
    if (m_buf.isEmpty()) {
        m_pos = -1;
        throw DbError(QStringLiteral("A keresett rekord már nem létezik (%1).").arg(m_table->name));
    }
    m_exhausted = false; // the window holds one row only; later rows are fetched on move
    m_pos = 0;
}

void Recordset::addNew()
{
    m_mode = Mode::Add;
    m_editRow = Row(m_table->columns.size());
    for (int i = 0; i < m_table->columns.size(); ++i) m_editRow[i] = m_table->columns[i].defaultValue;
    // Left empty, the key is handed out when the row is stored.
    m_editRow[m_table->columnIndex(m_table->primaryKey)] = QVariant();
    m_dirty.fill(true);
}

void Recordset::edit()
{
    m_editRow = current();
    m_mode = Mode::Edit;
    m_dirty.fill(false);
}

void Recordset::cancelUpdate()
{
    m_mode = Mode::None;
}

QVariant Recordset::field(int column) const
{
    if (m_mode != Mode::None) return m_editRow.value(column);
    return current().value(column);
}

QVariant Recordset::field(const QString& name) const
{
    int i = m_table->columnIndex(name);
    if (i < 0)
        throw DbError(QStringLiteral("A(z) %1 táblának nincs %2 nevű mezője.").arg(m_table->name, name));
    return field(i);
}

void Recordset::setField(int column, const QVariant& v)
{
    if (m_mode == Mode::None)
        throw DbError(QStringLiteral("A rekord nincs szerkeszthető állapotban (%1).").arg(m_table->name));
    const ColumnDef& c = m_table->columns[column];
    QVariant value = v;
    // Over-long text is cut to the column, never refused.
    if (c.type == ColType::Text && !v.isNull() && c.length > 0) {
        QString s = v.toString();
        if (s.size() > c.length) value = s.left(c.length);
    }
    m_editRow[column] = value;
    m_dirty[column] = true;
}

void Recordset::setField(const QString& name, const QVariant& v)
{
    int i = m_table->columnIndex(name);
    if (i < 0)
        throw DbError(QStringLiteral("A(z) %1 táblának nincs %2 nevű mezője.").arg(m_table->name, name));
    setField(i, v);
}

bool Recordset::update()
{
    if (m_mode == Mode::None) {
        m_lastError = QStringLiteral("Nincs tárolandó módosítás.");
        return false;
    }
    const int pki = m_table->columnIndex(m_table->primaryKey);
    const ColumnDef& pk = m_table->columns[pki];
    QString sql;
    QVariantList binds;
    QVariant keyValue;
    try {
        if (m_mode == Mode::Add) {
            if (m_editRow[pki].isNull() && pk.type == ColType::Long)
                m_editRow[pki] = m_c->newKey(m_table->number, pk.name);
            QStringList cols, marks;
            for (int i = 0; i < m_table->columns.size(); ++i) {
                cols << quoted(m_table->columns[i].name);
                marks << QStringLiteral("?");
                binds << m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
            }
            sql = QStringLiteral("INSERT INTO ") + quoted(m_table->name) + QStringLiteral(" (")
                + cols.join(QLatin1Char(',')) + QStringLiteral(") VALUES (") + marks.join(QLatin1Char(','))
                + QLatin1Char(')');
            keyValue = m_editRow[pki];
        } else {
            QStringList sets;
            for (int i = 0; i < m_table->columns.size(); ++i) {
                if (!m_dirty[i]) continue;
                sets << quoted(m_table->columns[i].name) + QStringLiteral("=?");
                binds << m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
            }
            keyValue = current()[pki];
            if (!sets.isEmpty()) {
                sql = QStringLiteral("UPDATE ") + quoted(m_table->name) + QStringLiteral(" SET ")
                    + sets.join(QLatin1Char(',')) + QStringLiteral(" WHERE ") + quoted(pk.name)
                    + QStringLiteral("=?");
                binds << m_c->engine().toDb(pk, keyValue);
            }
        }
    } catch (const DbError& e) {
        m_lastError = e.message();
        m_mode = Mode::None;
        return false;
    }
    if (!sql.isEmpty()) {
        QSqlQuery& q = m_c->prepared(sql);
        for (int i = 0; i < binds.size(); ++i) q.bindValue(i, binds[i]);
        const bool ok = q.exec();
        m_lastError = ok ? QString() : q.lastError().text();
        q.finish();
        if (!ok) {
            m_mode = Mode::None;
            return false;
        }
    }
    if (m_mode == Mode::Edit) m_buf[m_pos] = m_editRow;
    QByteArray b;
    QDataStream s(&b, QIODevice::WriteOnly);
    s << keyValue;
    m_lastModified = b;
    m_mode = Mode::None;
    m_c->touch();
    m_generation = m_c->generation();
    return true;
}

std::unique_ptr<Recordset> Recordset::clone() const
{
    auto r = std::make_unique<Recordset>(m_c, m_table);
    r->m_index = m_index;
    r->m_order = m_order;
    r->m_buf = m_buf;
    r->m_pos = m_pos;
    r->m_exhausted = m_exhausted;
    r->m_generation = m_generation;
    return r;
}

} // namespace NexoFrame
