#include "Connection.h"
#include "SqlExec.h"
#include "Secrets.h"
#include "ReaderRole.h"
#include "RightsPath.h"
#include "SettingKeys.h"
#include "Texts.h"
#include <QAtomicInt>
#include <QCryptographicHash>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSqlError>
#include <QSqlRecord>
#include <ctime>

namespace NexoFrame {

namespace {

QAtomicInt g_connectionCounter;

// While TZ is unset, glibc checks the zone file again at every local-time conversion: a stat
// of /etc/localtime for each date a list shows or a record reads. Naming that same file once,
// as TZ, spares them all; a TZ the user set is left as it is.
const bool g_localZoneNamed = [] {
    if (qEnvironmentVariableIsSet("TZ")) return false;
    qputenv("TZ", ":/etc/localtime");
    tzset();
    return true;
}();

bool isOurs(const QStringList& tables);

} // namespace

Connection::Connection(std::unique_ptr<Engine> engine, QObject* parent)
    : QObject(parent), m_engine(std::move(engine)), m_keys(std::make_unique<Keys>(*this)), m_transactions(std::make_unique<Transactions>(*this)),
      m_historyLog(std::make_unique<HistoryLog>(*this)),
      m_settings(std::make_unique<Settings>(*this))
{
    m_connectionName = QStringLiteral("nexo_connection_%1").arg(g_connectionCounter.fetchAndAddOrdered(1));
}

Connection::~Connection() { close(); }

std::unique_ptr<Connection> Connection::openDatabase(const QString& target, DemoData demo, QString* error)
{
    auto c = std::make_unique<Connection>(makeEngineFor(target));
    QString err;
    if (!c->open(target, &err) || !c->ensureSchema(&err, demo)) {
        if (error) *error = err;
        return nullptr;
    }
    return c;
}

std::unique_ptr<Connection> Connection::openExisting(const QString& target, Engine::OpenMode mode, QString* error)
{
    std::unique_ptr<Engine> engine = makeEngineFor(target);
    engine->setOpenMode(mode);
    auto c = std::make_unique<Connection>(std::move(engine));
    QString err;
    if (!c->open(target, &err)) {
        if (error) *error = err;
        return nullptr;
    }
    const QStringList tables = c->m_engine->tables(c->m_db);
    if (!isOurs(tables)) {
        if (error)
            *error = tables.isEmpty()
                ? QStringLiteral("Az adatbázis üres, nincs benne NexoFrame-adatbázis: %1").arg(c->databaseName())
                : QStringLiteral("Az adatbázis egy másik program adatait tartalmazza, nem a NexoFrame adatbázisa: %1")
                      .arg(c->databaseName());
        return nullptr;
    }
    return c;
}

bool Connection::open(const QString& target, QString* error)
{
    close();
    QString err;
    if (!m_engine->open(m_db, m_connectionName, target, &err)) {
        if (error) *error = err;
        m_db = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_connectionName);
        return false;
    }
    m_target = target;
    m_open = true;
    m_lost = false;
    return true;
}

void Connection::dropStatements()
{
    m_settings->forget();
    for (QSqlQuery* q : std::as_const(m_statements)) delete q;
    m_statements.clear();
    ++m_epoch;
}

void Connection::close()
{
    if (!m_open) return;
    m_browse.clear();
    m_edit.clear();
    dropStatements();
    m_transactions->endOnClose(m_lost);
    m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_connectionName);
    m_open = false;
}

Connection::Recovery Connection::recover(QString* message)
{
    // The lock that went with this statement was another's: nothing of it ran.
    if (m_open && !m_transactions->refusedLate() && m_engine->lockRefusedLate(m_db))
        return m_transactions->lockLate(message) ? Recovery::Retry : Recovery::Lost;
    if (!m_open || !m_engine->connectionLost(m_db)) return Recovery::None;
    const bool working = m_transactions->working();
    m_transactions->forget();
    m_lost = true;
    dropStatements();
    touch();
    if (working) {
        *message = QStringLiteral("Megszakadt a kapcsolat az adatbázis-kiszolgálóval, a félbemaradt módosítás nem "
                                  "került be az adatbázisba. A következő művelet újra kapcsolódik.");
        return Recovery::Lost;
    }
    if (!m_engine->reopen(m_db, message)) return Recovery::Lost;
    m_lost = false;
    return Recovery::Retry;
}

void Connection::ensureLive()
{
    if (!m_open) throw DbError(Texts::kNoDatabase);
    // The write lost its lock to another holder: nothing more of it may reach the database.
    if (m_transactions->refusedLate()) throw DbError(Transactions::kRefusedLate);
    if (!m_lost) return;
    QString err;
    if (!m_engine->reopen(m_db, &err)) throw DbError(err);
    m_lost = false;
    dropStatements();
    touch();
}

bool Connection::runSql(const QString& sql)
{
    QSqlQuery q(m_db);
    bool ok = q.exec(sql);
    q.finish();
    return ok;
}

namespace {

// Whether the database holds tables of this system; one that has tables but none of ours
// belongs to another program.
bool isOurs(const QStringList& tables)
{
    for (const QString& t : tables)
        if (t.startsWith(QLatin1String("qnd_")) && Schema::instance().table(t)) return true;
    return false;
}

// Long enough for another process to finish creating a database with its demo data.
constexpr int kCreationWaitMs = 60000;

} // namespace

bool Connection::ensureSchema(QString* error, DemoData demo)
{
    auto fail = [&](const QString& message) {
        if (error) *error = message;
        return false;
    };
    const QString foreign = QStringLiteral("Az adatbázis egy másik program adatait tartalmazza, nem a NexoFrame adatbázisa; "
                                           "a program nem változtat rajta: %1").arg(m_engine->databaseName());
    m_createdSchema = false;
    QStringList existing = m_engine->tables(m_db);
    if (!existing.isEmpty() && !isOurs(existing)) return fail(foreign);
    try {
        // Only an empty database is made here; an older layout is upgraded after a login, by a
        // user who may (SchemaUpgrade), and nothing is written to it before.
        if (!existing.isEmpty()) inspectSchema();
        const bool wantDemo = demo == DemoData::IfEmpty && m_schemaState.usable();
        if (existing.isEmpty() || (wantDemo && !hasData())) {
            // One step under the lock: a second process waits here, longer than a save would, and
            // then finds it done.
            QString failure;
            const auto create = [&] {
                existing = m_engine->tables(m_db);
                if (!existing.isEmpty() && !isOurs(existing)) {
                    failure = foreign;
                    return false;
                }
                const bool empty = existing.isEmpty();
                if (empty) SchemaUpgrade::createWhole(*this);
                inspectSchema();
                m_createdSchema = empty;
                const bool fill = demo == DemoData::IfEmpty || (demo == DemoData::IfCreated && empty);
                if (fill && m_schemaState.usable() && !hasData()) createDemoData();
                return true;
            };
            QElapsedTimer waited;
            waited.start();
            QString why;
            switch (m_transactions->writeLocked(create, &why, [&] { return waited.elapsed() < kCreationWaitMs; })) {
            case Transactions::LockedWrite::Done: break;
            case Transactions::LockedWrite::Refused:
                return fail(QStringLiteral("Az adatbázist más használja, a szerkezete nem hozható létre: %1").arg(m_engine->databaseName()));
            case Transactions::LockedWrite::Failed:
                m_createdSchema = false;
                return fail(!failure.isEmpty() ? failure : !why.isEmpty() ? why : QStringLiteral("Az adatbázis szerkezete nem menthető."));
            }
        }
        if (m_schemaState.kind == SchemaState::Kind::Newer) return fail(SchemaUpgrade::newerMessage(*this));
        keepSortKeys();
        m_session.setSystemEdit(m_settings->read(SettingKeys::kMainframe, SettingKeys::kSystemEdit, QStringLiteral("0"))
            != QLatin1String("0"));
    } catch (const DbError& e) {
        m_createdSchema = false;
        return fail(e.message());
    }
    return true;
}

void Connection::inspectSchema() { m_schemaState = SchemaUpgrade::inspect(*this); }

bool Connection::hasData()
{
    auto rows = select(QStringLiteral("SELECT COUNT(*) FROM qnd_user"));
    return !rows.isEmpty() && rows.first().value(0).toInt() > 0;
}

const TableDef* Connection::tableDef(int number) const { return Schema::instance().table(number); }
const TableDef* Connection::tableDef(const QString& name) const { return Schema::instance().table(name); }

int Connection::tableNumber(const QString& name) const
{
    const TableDef* t = tableDef(name);
    return t ? t->number : -1;
}

static const TableDef& requireTable(int number)
{
    const TableDef* t = Schema::instance().table(number);
    if (!t) throw DbError(QStringLiteral("Ismeretlen táblaszám: %1").arg(number));
    return *t;
}

std::unique_ptr<Recordset> Connection::openRecordset(int table)
{
    return std::make_unique<Recordset>(this, &requireTable(table));
}

std::unique_ptr<Recordset> Connection::openRecordset(int table, const QStringList& columns)
{
    return std::make_unique<Recordset>(this, &requireTable(table), columns);
}

Recordset& Connection::browseRecordset(int table)
{
    auto& slot = m_browse[table];
    if (!slot) slot = openRecordset(table);
    return *slot;
}

Recordset& Connection::editRecordset(int table)
{
    auto& slot = m_edit[table];
    if (!slot) slot = openRecordset(table);
    return *slot;
}

bool Connection::seek(int table, const QString& index, const QVariantList& keys)
{
    Recordset& rs = browseRecordset(table);
    if (rs.index().compare(index, Qt::CaseInsensitive) != 0) rs.setIndex(index);
    return rs.seek(keys);
}

QSqlQuery& Connection::prepared(const QString& sql)
{
    ensureLive();
    m_transactions->touched();
    auto it = m_statements.find(sql);
    if (it != m_statements.end()) return **it;
    for (int attempt = 0;; ++attempt) {
        auto* q = new QSqlQuery(m_db);
        q->setForwardOnly(true);
        if (q->prepare(sql)) {
            m_statements.insert(sql, q);
            return *q;
        }
        const QString e = q->lastError().text();
        delete q;
        QString lost;
        const Recovery r = recover(&lost);
        if (r == Recovery::Retry && attempt == 0) continue;
        if (r != Recovery::None) throw DbError(lost);
        throw DbError(QStringLiteral("Hibás adatbázis-utasítás: %1 (%2)").arg(e, sql));
    }
}

void Connection::idle()
{
    m_settings->forget();
    m_engine->idle(m_db);
    touch();
}

bool Connection::deleteCheck(int table, const QVariant& key, QString* reason)
{
    const TableDef& t = requireTable(table);
    auto rows = select(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2=?").arg(quoted(t.name), quoted(t.primaryKey)),
                       {key});
    if (rows.isEmpty() || rows.first().value(0).toInt() == 0) {
        if (reason) *reason = QStringLiteral("A törlendő tétel nem található.");
        return true;
    }
    // Rows other tables still use may not go, where the schema's reference says so.
    for (const TableDef& referrer : Schema::instance().tables()) {
        for (const ForeignRef& r : referrer.references) {
            if (r.blocksDelete.isEmpty() || r.targetTable != t.name) continue;
            auto n = select(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2=? AND del_status=0")
                                .arg(quoted(referrer.name), quoted(r.column)),
                            {key});
            if (!n.isEmpty() && n.first().value(0).toInt() > 0) {
                if (reason)
                    *reason = QStringLiteral("A tétel nem törölhető: %1 %2.").arg(n.first().value(0).toInt()).arg(r.blocksDelete);
                return true;
            }
        }
    }
    return false;
}

bool Connection::isUnique(int table, const QString& keyField, const QString& comparedField,
                          const QVariant& value, const QVariant& ownId)
{
    return !present({{table, comparedField, value, keyField, ownId}}).value(0, true);
}

QList<bool> Connection::present(const QList<Probe>& probes)
{
    QStringList asks;
    QVariantList binds;
    for (const Probe& p : probes) {
        const TableDef& t = requireTable(p.table);
        const ColumnDef* c = t.column(p.column);
        const ColumnDef* k = p.except.isEmpty() ? nullptr : t.column(p.except);
        if (!c || (!p.except.isEmpty() && !k)) throw DbError(QStringLiteral("Ismeretlen mező: %1 / %2").arg(p.column, p.except));
        QString where = QStringLiteral("%1=?").arg(quoted(c->name));
        binds << m_engine->toDb(*c, p.value);
        if (k) {
            where += QStringLiteral(" AND %1<>? AND del_status=0").arg(quoted(k->name));
            binds << m_engine->toDb(*k, p.exceptKey);
        }
        asks << QStringLiteral("CASE WHEN EXISTS (SELECT 1 FROM %1 WHERE %2) THEN 1 ELSE 0 END").arg(quoted(t.name), where);
    }
    QList<bool> found;
    if (asks.isEmpty()) return found;
    const QVariantList row = select(QStringLiteral("SELECT ") + asks.join(QStringLiteral(", ")), binds).value(0);
    for (qsizetype i = 0; i < asks.size(); ++i) found << (row.value(i).toInt() != 0);
    return found;
}

QString Connection::databaseName() const { return m_engine->databaseName(); }
QString Connection::systemDatabaseName() const { return m_engine->databaseName(); }

bool Connection::execute(const QString& sql, const QVariantList& binds, QString* error)
{
    m_transactions->touched();
    try {
        ensureLive();
    } catch (const DbError& e) {
        if (error) *error = e.message();
        return false;
    }
    for (int attempt = 0;; ++attempt) {
        bool ok = false;
        QString e;
        // Statements made of changing text (lists of values) would pile up on the server.
        const bool keep = m_statements.contains(sql) || m_statements.size() < kMaxStatements;
        if (binds.isEmpty() || !keep) {
            // Statements without values go as they are: a server prepares no DDL.
            QSqlQuery q(m_db);
            ok = binds.isEmpty() || q.prepare(sql);
            for (int i = 0; ok && i < binds.size(); ++i) q.bindValue(i, binds[i]);
            ok = ok && (binds.isEmpty() ? q.exec(sql) : q.exec());
            if (!ok) e = q.lastError().text();
            q.finish();
        } else {
            // Kept prepared, as the recordsets' are: a save repeats the same few statements,
            // and a statement prepared anew costs a server two more round trips.
            QSqlQuery* q = nullptr;
            try {
                q = &prepared(sql);
            } catch (const DbError& failed) {
                if (error) *error = failed.message();
                return false;
            }
            for (int i = 0; i < binds.size(); ++i) q->bindValue(i, binds[i]);
            ok = q->exec();
            if (!ok) e = q->lastError().text();
            q->finish();
        }
        touch();
        if (ok) return true;
        QString lost;
        const Recovery r = recover(&lost);
        if (r == Recovery::Retry && attempt == 0) continue;
        if (error) *error = lost.isEmpty() ? e : lost;
        return false;
    }
}

bool Connection::copyRows(const QString& table, const QStringList& columns, const QList<QVariantList>& rows, QString* error)
{
    try {
        ensureLive();
    } catch (const DbError& e) {
        *error = e.message();
        return false;
    }
    m_transactions->touched();
    for (int attempt = 0;; ++attempt) {
        const bool ok = m_engine->copyRows(m_db, table, columns, rows, error);
        touch();
        if (ok) return true;
        // As a statement: sent again once when the link came back or the lock came late.
        QString lost;
        const Recovery r = recover(&lost);
        if (r == Recovery::Retry && attempt == 0) continue;
        if (!lost.isEmpty()) *error = lost;
        return false;
    }
}

bool Connection::writeUsageLog(int table, const QString& itemColumn, int userId, int itemId, QString* error)
{
    try {
        Recordset& rs = editRecordset(table);
        rs.addNew();
        rs.setField(QStringLiteral("user_id"), userId);
        rs.setField(itemColumn, itemId);
        rs.setField(QStringLiteral("log_date"), QDateTime::currentDateTime());
        if (rs.update()) return true;
        if (error) *error = rs.lastError();
    } catch (const DbError& e) {
        if (error) *error = e.message();
    }
    return false;
}

QList<QVariantList> Connection::select(const QString& sql, const QVariantList& binds)
{
    QList<QVariantList> rows;
    selectEach(sql, binds, [&rows](const QVariantList& r) {
        rows << r;
        return true;
    });
    return rows;
}

void Connection::selectEach(const QString& sql, const QVariantList& binds, const std::function<bool(const QVariantList&)>& sink)
{
    for (int attempt = 0;; ++attempt) {
        QSqlQuery& q = prepared(sql);
        for (int i = 0; i < binds.size(); ++i) q.bindValue(i, binds[i]);
        if (!q.exec()) {
            const QString e = q.lastError().text();
            q.finish();
            QString lost;
            const Recovery r = recover(&lost);
            if (r == Recovery::Retry && attempt == 0) continue;
            if (r != Recovery::None) throw DbError(lost);
            throw DbError(QStringLiteral("Adatbázis-lekérdezési hiba: %1").arg(e));
        }
        const int n = q.record().count();
        QVariantList r;
        bool stopped = false;
        while (q.next()) {
            r.clear();
            r.reserve(n);
            for (int i = 0; i < n; ++i) r << q.value(i);
            if (!sink(r)) {
                stopped = true;
                break;
            }
        }
        // Rows that stopped coming (the server went away mid-read) are a failure, not an end:
        // an export must not end short without saying so.
        const QSqlError broken = stopped ? QSqlError() : q.lastError();
        q.finish();
        if (broken.type() != QSqlError::NoError) {
            // Not run again: the rows read so far are already taken.
            QString lost;
            switch (recover(&lost)) {
            case Recovery::Lost: throw DbError(lost);
            case Recovery::Retry: throw DbError(Texts::kReadCutOff);
            case Recovery::None: break;
            }
            throw DbError(QStringLiteral("Adatbázis-lekérdezési hiba: %1").arg(broken.text()));
        }
        return;
    }
}

// The live rows below a parent (d), parents before children. The walk reads each row's
// deletion mark from the trees' index of live children and goes on only below live rows: a
// mark tested on the joined row instead made SQLite build a filter over the whole table at
// every walk, and read every row it passed. The depth bound ends the walk even on a damaged
// tree that loops.
QString Connection::descendantsCte(const QString& table)
{
    return QStringLiteral("WITH RECURSIVE w(id, depth, gone) AS (SELECT id, 1, del_status FROM %1 WHERE parent_id=? "
                          "UNION ALL SELECT t.id, w.depth+1, t.del_status FROM %1 t JOIN w ON t.parent_id=w.id "
                          "WHERE w.gone=0 AND w.depth<64), d(id) AS (SELECT id FROM w WHERE gone=0) ").arg(table);
}

QList<int> Connection::liveDescendants(int table, int id)
{
    const TableDef& t = requireTable(table);
    auto rows = select(descendantsCte(quoted(t.name)) + QStringLiteral("SELECT id FROM d"), {id});
    QList<int> ids;
    ids.reserve(rows.size());
    for (const auto& r : rows) ids << r.value(0).toInt();
    return ids;
}

void Connection::setBelow(int table, int id, const QString& column, const QVariant& value)
{
    const TableDef& t = requireTable(table);
    const ColumnDef* c = t.column(column);
    if (!c) throw DbError(QStringLiteral("Ismeretlen oszlop: %1").arg(column));
    QString error;
    const QString d = descendantsCte(quoted(t.name));
    if (m_historyLog->enabled() && t.historyColumns.contains(c->name) && c->type == ColType::Bool) {
        // One pass over the subtree: the history rows are written from it, and the update
        // changes exactly the rows they name.
        const auto [first, last] = m_historyLog->recordRows(t, *c, d, id, value.toBool());
        if (last < first) return;
        if (!execute(QStringLiteral("UPDATE %1 SET %2=? WHERE id IN (SELECT row_id FROM qnd_rights_history WHERE id BETWEEN ? AND ?)")
                         .arg(quoted(t.name), quoted(c->name)),
                     {m_engine->toDb(*c, value), first, last}, &error))
            throw DbError(error);
        return;
    }
    if (!execute(d + QStringLiteral("UPDATE %1 SET %2=? WHERE id IN (SELECT id FROM d)").arg(quoted(t.name), quoted(c->name)),
                 {id, m_engine->toDb(*c, value)}, &error))
        throw DbError(error);
}

} // namespace NexoFrame
