#include "Recordset.h"
#include "SqlExec.h"
#include "Connection.h"
#include "DbError.h"
#include <QDateTime>
#include <QSqlError>
#include <QSqlQuery>
#include <utility>

namespace NexoFrame {

namespace {

constexpr int kMaxWindow = 256;
// A field asked for by a name its table lacks (%1: the table, %2: the name).
const QString kNoSuchField = QStringLiteral("A(z) %1 táblának nincs %2 nevű mezője.");

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

// A bookmark is the row's key: "L" and the number for integer keys, "T" and the text.
QByteArray encodeKey(const QVariant& key)
{
    if (key.typeId() == QMetaType::Int || key.typeId() == QMetaType::LongLong)
        return QByteArrayLiteral("L") + QByteArray::number(key.toLongLong());
    return QByteArrayLiteral("T") + key.toString().toUtf8();
}

QVariant decodeKey(const QByteArray& b)
{
    if (b.startsWith('L')) return b.mid(1).toLongLong();
    return QString::fromUtf8(b.mid(1));
}

} // namespace

Recordset::Recordset(Connection* connection, const TableDef* table, const QStringList& columns)
    : m_c(connection), m_table(table)
{
    const int n = int(m_table->columns.size());
    m_inProjection.fill(columns.isEmpty(), n);
    if (!columns.isEmpty()) {
        // The key and every index column always come along, so that seeks and moves work.
        QStringList wanted = columns;
        wanted << m_table->primaryKey;
        for (const IndexDef& ix : m_table->indexes) wanted << ix.columns;
        for (const QString& c : std::as_const(wanted)) {
            const int i = m_table->columnIndex(c);
            if (i < 0) throw DbError(kNoSuchField.arg(m_table->name, c));
            m_inProjection[i] = true;
        }
    }
    for (int i = 0; i < n; ++i)
        if (m_inProjection[i]) m_cols << i;
    setOrder();
    m_dirty.resize(n);
}

Recordset::~Recordset() = default;

void Recordset::setOrder()
{
    m_order = orderColumns();
    // A text kept in Hungarian order by a sort key column is read, sought and compared by it.
    m_orderExpr.clear();
    m_orderKeyed.clear();
    for (const QString& c : std::as_const(m_order)) {
        const QString key = m_c->engine().keptSortKey(*m_table, c);
        m_orderExpr << quoted(key.isEmpty() ? c : key);
        m_orderKeyed << !key.isEmpty();
    }
}

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
    setOrder();
    m_statements.clear(); // their order was the old index's
    m_buf.clear();
    m_pos = -1;
}

QVariantList Recordset::keyOf(const Row& r) const
{
    QVariantList k;
    for (int j = 0; j < m_order.size(); ++j) {
        const QVariant& v = r[m_table->columnIndex(m_order[j])]; // the window holds values as stored
        k << (m_orderKeyed[j] ? m_c->engine().sortKey(v) : v);
    }
    return k;
}

void Recordset::read(QVector<Row>& out, int shape, const std::function<QString()>& makeWhere,
                     const QVariantList& binds, bool descending, int limit)
{
    // A statement depends only on the shape of the read: it is prepared once per shape.
    const qint64 key = (qint64(shape) << 1) | (descending ? 1 : 0);
    QSqlQuery* stmt = nullptr;
    for (int attempt = 0;; ++attempt) {
        if (m_epoch != m_c->epoch()) {
            // Prepared on a link that was lost since.
            m_statements.clear();
            m_epoch = m_c->epoch();
        }
        stmt = m_statements.value(key);
        if (!stmt) {
            const QString where = makeWhere ? makeWhere() : QString();
            QStringList cols;
            for (int i : std::as_const(m_cols)) cols << quoted(m_table->columns[i].name);
            QStringList order;
            // The key is never null: ordered plainly it matches the primary key's index.
            for (int j = 0; j < m_order.size(); ++j)
                order << (m_order[j].compare(m_table->primaryKey, Qt::CaseInsensitive) == 0
                              ? m_orderExpr[j] + (descending ? QStringLiteral(" DESC") : QString())
                              : m_c->engine().orderTerm(m_orderExpr[j], descending));
            QString sql = QStringLiteral("SELECT ") + cols.join(QLatin1Char(',')) + QStringLiteral(" FROM ")
                + quoted(m_table->name);
            if (!where.isEmpty()) sql += QStringLiteral(" WHERE ") + where;
            sql += QStringLiteral(" ORDER BY ") + order.join(QLatin1Char(','));
            sql += QStringLiteral(" LIMIT ?");
            stmt = &m_c->prepared(sql);
            if (m_epoch != m_c->epoch()) {
                m_statements.clear();
                m_epoch = m_c->epoch();
            }
            m_statements.insert(key, stmt);
        }
        QSqlQuery& q = *stmt;
        for (int i = 0; i < binds.size(); ++i) q.bindValue(i, binds[i]);
        q.bindValue(int(binds.size()), limit);
        QString e;
        if (q.exec()) {
            const qsizetype before = out.size();
            const int n = int(m_table->columns.size());
            const int k = int(m_cols.size());
            // Values stay as stored until a field is read: converting every column of every
            // row (dates into local time above all) costs more than the read itself.
            while (q.next()) {
                Row r(n);
                for (int j = 0; j < k; ++j) r[m_cols[j]] = q.value(j);
                out.append(std::move(r));
            }
            // Rows that stopped coming (a damaged page of a file, a server gone mid-read) are
            // a failure: a window that ended there would pass for the end of the table.
            const QSqlError broken = q.lastError();
            q.finish();
            if (broken.type() == QSqlError::NoError) return;
            out.resize(before);
            e = broken.text();
        } else {
            e = q.lastError().text();
            q.finish();
        }
        QString lost;
        const Connection::Recovery r = m_c->recover(&lost);
        if (r == Connection::Recovery::Retry && attempt == 0) continue;
        if (!lost.isEmpty()) throw DbError(lost);
        throw DbError(QStringLiteral("Adatbázis-olvasási hiba (%1): %2").arg(m_table->name, e));
    }
}

void Recordset::fetch(int shape, const std::function<QString()>& makeWhere, const QVariantList& binds,
                      bool descending, int limit)
{
    QVector<Row> rows;
    read(rows, shape, makeWhere, binds, descending, limit);
    setWindow(std::move(rows), descending, limit);
}

void Recordset::setWindow(QVector<Row> rows, bool descending, int limit)
{
    m_exhausted = rows.size() < limit;
    m_generation = m_c->generation();
    if (descending) std::reverse(rows.begin(), rows.end());
    m_buf = std::move(rows);
}

void Recordset::fetchNear(const QVariantList& key, Near near, int limit)
{
    // The index order spelt out one column at a time: the rows equal to the key on its first
    // k columns and past it on column k, for k from the last column to the first. Each step
    // is a plain indexed range, and nulls sort first, as the database sorts them, where a
    // row-value comparison would drop them.
    enum Cmp { None, Greater, NotNull, Less, IsNull };
    const bool back = near == Near::Before;
    const int n = int(key.size());
    int nulls = 0;
    for (int i = 0; i < n; ++i)
        if (key[i].isNull()) nulls |= 1 << i;
    QVector<Row> rows;
    auto step = [&](int k, Cmp cmp) {
        if (rows.size() >= limit) return;
        QVariantList binds;
        for (int i = 0; i < k; ++i)
            if (!key[i].isNull()) binds << key[i];
        if (cmp == Greater || cmp == Less) binds << key[k];
        const int shape = 0x1000000 | (int(cmp) << 16) | (k << 8) | (nulls & ((1 << k) - 1));
        read(rows, shape, [&] {
            QStringList w;
            for (int i = 0; i < k; ++i)
                w << m_orderExpr[i] + (key[i].isNull() ? QStringLiteral(" IS NULL") : QStringLiteral("=?"));
            const QString c = k < n ? m_orderExpr[k] : QString();
            if (cmp == Greater) w << c + QStringLiteral(">?");
            if (cmp == NotNull) w << c + QStringLiteral(" IS NOT NULL");
            if (cmp == Less) w << c + QStringLiteral("<?");
            if (cmp == IsNull) w << c + QStringLiteral(" IS NULL");
            return w.join(QStringLiteral(" AND "));
        }, binds, back, limit - int(rows.size()));
    };
    if (near == Near::Equal || near == Near::From) step(n, None);
    for (int k = n - 1; near != Near::Equal && k >= 0; --k) {
        if (!back) {
            step(k, key[k].isNull() ? NotNull : Greater);
        } else if (!key[k].isNull()) {
            step(k, Less);
            step(k, IsNull);
        }
    }
    setWindow(std::move(rows), back, limit);
}

bool Recordset::seek(SeekOp op, const QVariantList& keys)
{
    const IndexDef* ix = m_index.isEmpty() ? m_table->index(QStringLiteral("PrimaryKey"))
                                           : m_table->index(m_index);
    const int n = std::min<int>(int(keys.size()), int(ix->columns.size()));
    if (n == 0) throw DbError(QStringLiteral("Keresés kulcs nélkül."));
    if (op == SeekOp::Equal) {
        const int inWindow = seekInWindow(*ix, keys);
        if (inWindow >= 0) return inWindow == 1;
    }
    QVariantList binds;
    binds.reserve(n);
    for (int i = 0; i < n; ++i) {
        const QVariant v = m_c->engine().toDb(*m_table->column(ix->columns[i]), keys[i]);
        binds << (m_orderKeyed[i] ? m_c->engine().sortKey(v) : v);
    }
    m_window = m_readAhead;
    // An equal seek that reads no further than its own row asks for equal rows only.
    const Near near = op == SeekOp::Greater ? Near::After
        : op == SeekOp::Equal && m_window == 1 ? Near::Equal : Near::From;
    fetchNear(binds, near, m_window);
    m_pos = m_buf.isEmpty() ? -1 : 0;
    m_noMatch = m_buf.isEmpty();
    if (!m_noMatch && op == SeekOp::Equal) {
        const Row& r = m_buf.first();
        for (int i = 0; i < n; ++i) {
            const int ci = m_table->columnIndex(ix->columns[i]);
            if (!sameValue(m_table->columns[ci], m_c->engine().fromDb(m_table->columns[ci], r[ci]), keys[i])) {
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

int Recordset::seekInWindow(const IndexDef& ix, const QVariantList& keys)
{
    // Rows already read are consecutive in index order: a single integer key between the
    // first and the last of them is found (or known absent) without asking the database.
    if (m_readAhead <= 1 || keys.size() != 1 || ix.columns.size() != 1 || m_buf.isEmpty()
        || m_generation != m_c->generation())
        return -1;
    const int ci = m_table->columnIndex(ix.columns.first());
    if (m_table->columns[ci].type != ColType::Long) return -1;
    const qlonglong k = keys.first().toLongLong();
    if (k < m_buf.first()[ci].toLongLong() || k > m_buf.last()[ci].toLongLong()) return -1;
    auto it = std::lower_bound(m_buf.cbegin(), m_buf.cend(), k,
                               [ci](const Row& r, qlonglong v) { return r[ci].toLongLong() < v; });
    if (it == m_buf.cend() || (*it)[ci].toLongLong() != k) {
        m_noMatch = true;
        m_pos = -1;
        m_buf.clear();
        return 0;
    }
    m_pos = int(it - m_buf.cbegin());
    m_noMatch = false;
    return 1;
}

void Recordset::moveFirst()
{
    m_window = 16;
    fetch(0, {}, {}, false, m_window);
    m_pos = m_buf.isEmpty() ? -1 : 0;
}

void Recordset::moveLast()
{
    m_window = 1;
    fetch(0, {}, {}, true, 1);
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
    fetchNear(key, Near::After, m_window);
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
    fetchNear(key, Near::Before, 1);
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
    return encodeKey(current()[m_table->columnIndex(m_table->primaryKey)]);
}

void Recordset::setBookmark(const QByteArray& b)
{
    const QVariant key = decodeKey(b);
    const ColumnDef& pk = *m_table->column(m_table->primaryKey);
    m_window = 1;
    fetch(3, [&] { return quoted(pk.name) + QStringLiteral("=?"); }, {m_c->engine().toDb(pk, key)}, false, 1);
    if (m_buf.isEmpty()) {
        m_pos = -1;
        throw DbError(QStringLiteral("A keresett rekord már nem létezik (%1).").arg(m_table->name));
    }
    m_exhausted = false; // the window holds one row only; later rows are fetched on move
    m_pos = 0;
}

void Recordset::showWritten(const Recordset& writer)
{
    bool covered = writer.m_table == m_table && !writer.m_written.isEmpty();
    for (int i = 0; covered && i < m_inProjection.size(); ++i)
        if (m_inProjection[i] && !writer.m_inProjection[i]) covered = false;
    if (!covered) {
        setBookmark(writer.lastModified());
        return;
    }
    m_buf = {writer.m_written};
    m_pos = 0;
    m_window = 1;
    m_exhausted = false; // later rows are fetched on move
    m_noMatch = false;
    m_generation = m_c->generation();
}

void Recordset::addNew(int keyFloor)
{
    m_mode = Mode::Add;
    m_keyFloor = keyFloor;
    m_editRow = Row(m_table->columns.size());
    for (int i = 0; i < m_table->columns.size(); ++i) m_editRow[i] = m_table->columns[i].defaultValue;
    // Left empty, the key is handed out when the row is stored.
    m_editRow[m_table->columnIndex(m_table->primaryKey)] = QVariant();
    m_dirty.fill(true);
    m_unread = false;
}

void Recordset::editStored(const QByteArray& b)
{
    if (!m_c->engine().returnsOldRow()) {
        setBookmark(b);
        edit();
        return;
    }
    const int n = int(m_table->columns.size());
    m_mode = Mode::Edit;
    m_unread = true;
    m_unreadKey = m_c->engine().toDb(*m_table->column(m_table->primaryKey), decodeKey(b));
    m_editRow = Row(n);
    m_dirty.fill(false);
    m_fromStored = QVector<int>(n, -1);
}

void Recordset::edit()
{
    m_unread = false;
    const Row& stored = current();
    m_editRow = Row(stored.size());
    for (int i : std::as_const(m_cols)) m_editRow[i] = m_c->engine().fromDb(m_table->columns[i], stored[i]);
    m_mode = Mode::Edit;
    m_dirty.fill(false);
}

void Recordset::cancelUpdate()
{
    m_mode = Mode::None;
    m_unread = false;
    m_held.clear();
}

QVariant Recordset::written(const QString& name) const
{
    const int i = m_table->columnIndex(name);
    if (i < 0) throw DbError(kNoSuchField.arg(m_table->name, name));
    return m_c->engine().fromDb(m_table->columns[i], m_written.value(i));
}

QVariant Recordset::field(int column) const
{
    if (!m_inProjection.value(column))
        throw DbError(QStringLiteral("A mező nincs a rekordkészletben (%1).").arg(m_table->name));
    if (m_mode != Mode::None) return m_editRow.value(column);
    return m_c->engine().fromDb(m_table->columns[column], current().value(column));
}

QVariant Recordset::field(const QString& name) const
{
    int i = m_table->columnIndex(name);
    if (i < 0)
        throw DbError(kNoSuchField.arg(m_table->name, name));
    return field(i);
}

void Recordset::setField(int column, const QVariant& v)
{
    if (m_mode == Mode::None)
        throw DbError(QStringLiteral("A rekord nincs szerkeszthető állapotban (%1).").arg(m_table->name));
    if (!m_inProjection.value(column))
        throw DbError(QStringLiteral("A mező nincs a rekordkészletben (%1).").arg(m_table->name));
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
        throw DbError(kNoSuchField.arg(m_table->name, name));
    setField(i, v);
}

QStringList Recordset::stampAudit(int user, const QDateTime& now)
{
    static const QString user1 = QStringLiteral("last_action_user_id1"), date1 = QStringLiteral("last_action_date1");
    if (!m_table->hasColumn(user1)) return {};
    if (m_mode == Mode::None) throw DbError(QStringLiteral("A rekord nincs szerkeszthető állapotban (%1).").arg(m_table->name));
    QStringList written;
    const auto put = [&](const QString& column, const QVariant& v) {
        setField(column, v);
        written << column;
    };
    if (m_mode == Mode::Add) {
        put(QStringLiteral("create_user"), user);
        put(QStringLiteral("create_date"), now);
    } else {
        // The change before this one is the stored row's, read under the lock: another user
        // may have saved since the writer read it, and the writer may have set these already.
        const int u1 = m_table->columnIndex(user1), d1 = m_table->columnIndex(date1);
        const QString user2 = QStringLiteral("last_action_user_id2"), date2 = QStringLiteral("last_action_date2");
        if (m_unread) {
            // Unread yet: the update copies them from the row as it finds it.
            for (const auto& [to, from] : {std::pair{user2, u1}, std::pair{date2, d1}}) {
                const int i = m_table->columnIndex(to);
                m_dirty[i] = false;
                m_fromStored[i] = from;
                written << to;
            }
        } else {
            put(user2, m_c->engine().fromDb(m_table->columns[u1], current().value(u1)));
            put(date2, m_c->engine().fromDb(m_table->columns[d1], current().value(d1)));
        }
    }
    put(user1, user);
    put(date1, now);
    return written;
}

QStringList Recordset::markDeleted(int user, const QDateTime& now)
{
    if (m_mode != Mode::Edit) throw DbError(QStringLiteral("Csak tárolt sor törölhető (%1).").arg(m_table->name));
    setField(QStringLiteral("del_status"), kDeleted);
    return stampAudit(user, now);
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
    // The history columns' changes: a new row's from nothing, an edit's from the stored row.
    const auto changes = [this] {
        QList<HistoryLog::Change> out;
        for (int i : std::as_const(m_cols)) {
            const ColumnDef& c = m_table->columns[i];
            if (!m_table->historyColumns.contains(c.name) || (m_mode == Mode::Edit && !m_dirty[i])) continue;
            out.append({&c, m_mode == Mode::Edit ? current()[i] : QVariant(), m_c->engine().toDb(c, m_editRow[i])});
        }
        return out;
    };
    bool historyKept = m_table->historyColumns.isEmpty();
    try {
        if (m_mode == Mode::Add && m_editRow[pki].isNull() && pk.type == ColType::Long) {
            // The key, the row and its history in one statement where the engine can.
            QStringList cols;
            for (int i : std::as_const(m_cols)) {
                if (i == pki) continue;
                cols << m_table->columns[i].name;
                binds << m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
            }
            const Keys::Beside history = historyKept ? Keys::Beside{} : m_c->history().newRowRows(*m_table, changes());
            m_editRow[pki] = m_c->keys().insertKeyed(m_table->number, cols, binds, {}, 1, m_keyFloor, &history);
            historyKept = true;
            keyValue = m_editRow[pki];
        } else if (m_mode == Mode::Add) {
            QStringList cols, marks;
            for (int i : std::as_const(m_cols)) {
                cols << quoted(m_table->columns[i].name);
                marks << QStringLiteral("?");
                binds << m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
            }
            sql = QStringLiteral("INSERT INTO ") + quoted(m_table->name) + QStringLiteral(" (")
                + cols.join(QLatin1Char(',')) + QStringLiteral(") VALUES (") + marks.join(QLatin1Char(','))
                + QLatin1Char(')');
            keyValue = m_editRow[pki];
        } else {
            // '1': bound, '2': copied from the row as stored (an unread edit).
            QByteArray mask(m_table->columns.size(), '0');
            for (int i = 0; i < m_table->columns.size(); ++i) {
                if (m_unread && m_fromStored[i] >= 0) mask[i] = '2';
                if (!m_dirty[i]) continue;
                mask[i] = '1';
                binds << m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
            }
            if (m_unread && binds.isEmpty()) {
                // Nothing to write: the row is read as a plain edit would have read it.
                setBookmark(encodeKey(m_c->engine().fromDb(pk, m_unreadKey)));
                m_unread = false;
                for (int i : std::as_const(m_cols)) m_editRow[i] = m_c->engine().fromDb(m_table->columns[i], current()[i]);
            }
            keyValue = m_unread ? m_unreadKey : current()[pki];
            if (!binds.isEmpty()) {
                if (m_unread) mask.prepend('u');
                QString& cached = m_updateCache[mask];
                if (cached.isEmpty()) {
                    const QString table = quoted(m_table->name);
                    QStringList sets;
                    for (int i = 0; i < m_table->columns.size(); ++i) {
                        if (m_dirty[i])
                            sets << quoted(m_table->columns[i].name) + QStringLiteral("=?");
                        else if (m_unread && m_fromStored[i] >= 0)
                            sets << quoted(m_table->columns[i].name) + QStringLiteral("=o.") + quoted(m_table->columns[m_fromStored[i]].name);
                    }
                    cached = QStringLiteral("UPDATE ") + table + QStringLiteral(" SET ") + sets.join(QLatin1Char(','));
                    if (m_unread) {
                        // The table joined with itself: "o" is the row as it was before.
                        QStringList old;
                        for (int i : std::as_const(m_cols)) old << QStringLiteral("o.") + quoted(m_table->columns[i].name);
                        cached += QStringLiteral(" FROM %1 AS o WHERE %1.%2 = o.%2 AND o.%2=? RETURNING %3")
                                      .arg(table, quoted(pk.name), old.join(QLatin1Char(',')));
                    } else {
                        cached += QStringLiteral(" WHERE ") + quoted(pk.name) + QStringLiteral("=?");
                    }
                }
                sql = cached;
                binds << m_c->engine().toDb(pk, keyValue);
            }
        }
    } catch (const DbError& e) {
        m_lastError = e.message();
        m_mode = Mode::None;
        return false;
    }
    Row stored; // an unread edit's row as it was
    for (int attempt = 0; !sql.isEmpty(); ++attempt) {
        bool ok = false;
        bool retry = false;
        try {
            QSqlQuery& q = m_c->prepared(sql);
            for (int i = 0; i < binds.size(); ++i) q.bindValue(i, binds[i]);
            ok = q.exec();
            if (ok && m_unread && q.next()) {
                stored = Row(m_table->columns.size());
                for (int k = 0; k < m_cols.size(); ++k) stored[m_cols[k]] = q.value(k);
            }
            const int affected = !ok ? 0 : m_unread ? int(!stored.isEmpty()) : q.numRowsAffected();
            m_lastError = ok ? QString() : q.lastError().text();
            q.finish();
            // An edit whose row is gone meanwhile stores nothing, and must not pass for stored.
            if (ok && m_mode == Mode::Edit && affected == 0) {
                ok = false;
                m_lastError = QStringLiteral("A keresett rekord már nem létezik (%1).").arg(m_table->name);
            } else if (!ok) {
                QString lost;
                const Connection::Recovery r = m_c->recover(&lost);
                retry = r == Connection::Recovery::Retry && attempt == 0;
                if (r != Connection::Recovery::None) m_lastError = lost;
            }
        } catch (const DbError& e) {
            m_lastError = e.message();
        }
        if (retry) continue;
        if (!ok) {
            m_mode = Mode::None;
            m_unread = false;
            return false;
        }
        break;
    }
    if (m_unread) {
        // The row as it was is the current one now, and what the edit left alone is its.
        m_buf = {stored};
        m_pos = 0;
        m_window = 1;
        m_exhausted = false;
        m_noMatch = false;
        for (int i : std::as_const(m_cols)) {
            if (m_fromStored[i] >= 0) m_editRow[i] = m_c->engine().fromDb(m_table->columns[i], stored[m_fromStored[i]]);
            else if (!m_dirty[i]) m_editRow[i] = m_c->engine().fromDb(m_table->columns[i], stored[i]);
        }
        m_unread = false;
    }
    // The rights history keeps what changed, in the same transaction as the change.
    if (!historyKept) {
        try {
            m_c->history().record(*m_table, keyValue, m_mode == Mode::Add, changes());
        } catch (const DbError& e) {
            m_lastError = e.message();
            m_mode = Mode::None;
            return false;
        }
    }
    if (m_mode == Mode::Edit) {
        for (int i : std::as_const(m_cols)) m_buf[m_pos][i] = m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
        m_written = m_buf[m_pos];
    } else {
        m_written = Row(m_table->columns.size());
        for (int i : std::as_const(m_cols)) m_written[i] = m_c->engine().toDb(m_table->columns[i], m_editRow[i]);
    }
    m_lastModified = encodeKey(keyValue);
    m_mode = Mode::None;
    m_c->touch();
    m_generation = m_c->generation();
    return true;
}

void Recordset::hold()
{
    const int pki = m_table->columnIndex(m_table->primaryKey);
    if (m_mode != Mode::Add || !m_editRow[pki].isNull() || m_table->columns[pki].type != ColType::Long
        || !m_table->historyColumns.isEmpty())
        throw DbError(QStringLiteral("Csak előzmény nélküli tábla új, kulcs nélküli sora írható együtt (%1).").arg(m_table->name));
    if (m_held.isEmpty()) m_held.reserve(4);
    m_held << m_editRow;
    m_mode = Mode::None;
}

bool Recordset::updateHeld()
{
    const int pki = m_table->columnIndex(m_table->primaryKey);
    const int rows = int(m_held.size());
    if (rows == 0) return true;
    QStringList cols;
    for (int i : std::as_const(m_cols))
        if (i != pki) cols << m_table->columns[i].name;
    QVariantList perRow;
    perRow.reserve(rows * cols.size());
    for (Row& r : m_held) {
        for (int i : std::as_const(m_cols)) {
            r[i] = m_c->engine().toDb(m_table->columns[i], r[i]);
            if (i != pki) perRow << r[i];
        }
    }
    m_heldStored = std::exchange(m_held, {});
    try {
        const int first = m_c->keys().insertKeyed(m_table->number, cols, {}, perRow, rows, m_keyFloor);
        for (int k = 0; k < rows; ++k) m_heldStored[k][pki] = m_c->engine().toDb(m_table->columns[pki], first + k);
    } catch (const DbError& e) {
        m_lastError = e.message();
        m_heldStored.clear();
        return false;
    }
    showHeld(rows - 1);
    m_c->touch();
    m_generation = m_c->generation();
    return true;
}

void Recordset::showHeld(int i)
{
    m_written = m_heldStored.value(i);
    m_lastModified = encodeKey(m_written.value(m_table->columnIndex(m_table->primaryKey)));
}

std::unique_ptr<Recordset> Recordset::clone() const
{
    auto r = std::make_unique<Recordset>(m_c, m_table);
    r->m_statements = m_statements;
    r->m_epoch = m_epoch;
    r->m_cols = m_cols;
    r->m_inProjection = m_inProjection;
    r->m_index = m_index;
    r->m_order = m_order;
    r->m_orderExpr = m_orderExpr;
    r->m_orderKeyed = m_orderKeyed;
    r->m_buf = m_buf;
    r->m_pos = m_pos;
    r->m_exhausted = m_exhausted;
    r->m_generation = m_generation;
    return r;
}

} // namespace NexoFrame
