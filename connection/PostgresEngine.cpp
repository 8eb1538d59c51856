#include "Engine.h"
#include "PgDriver.h"
#include "SqlExec.h"
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <QUrlQuery>
#include <libpq-fe.h>

namespace NexoFrame {

namespace {

// The master lock's key among the database's advisory locks ("NexoFram").
const QString kMasterLockKey = QString::number(qint64(0x4E65786F4672616DLL));

// What the user sees of a refused connection. libpq's own words are kept at the end, for
// the administrator of the server.
QString connectionMessage(const QString& where, const QString& database, const QString& user,
                          const QString& native)
{
    const QString n = native.trimmed();
    auto has = [&](const char* s) { return n.contains(QLatin1String(s), Qt::CaseInsensitive); };
    QString msg;
    if (has("password authentication failed") || has("no password supplied") || has("authentication failed")
        || (has("role") && has("does not exist")))
        msg = QStringLiteral("Az adatbázis-kiszolgáló (%1) nem fogadta el a(z) „%2” felhasználót: hibás a "
                             "felhasználónév vagy a jelszó.")
                  .arg(where, user);
    else if (has("database") && has("does not exist"))
        msg = QStringLiteral("A(z) „%1” adatbázis nem létezik a kiszolgálón (%2).").arg(database, where);
    else if (has("connection refused") || has("could not connect") || has("timeout expired")
             || has("could not translate host name") || has("no such file or directory") || has("is the server running")
             || has("network is unreachable") || has("no route to host") || has("the database system is"))
        msg = QStringLiteral("Az adatbázis-kiszolgáló nem érhető el (%1). Ellenőrizze, hogy fut-e a kiszolgáló, és "
                             "jó-e a cím.")
                  .arg(where);
    else
        msg = QStringLiteral("Nem sikerült kapcsolódni az adatbázis-kiszolgálóhoz (%1).").arg(where);
    QString detail = n;
    detail.remove(QStringLiteral("QPSQL: Unable to connect"));
    QStringList lines;
    for (const QString& l : detail.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) lines << l.trimmed();
    return msg + QStringLiteral("\n\n") + lines.join(QLatin1Char(' '));
}

// A database on a PostgreSQL server, shared by every machine of an office. The master lock
// is a session advisory lock: the server frees it when the holder's session ends, however
// it ends.
class PostgresEngine final : public Engine {
public:
    QString name() const override { return QStringLiteral("PostgreSQL"); }

    bool open(QSqlDatabase& db, const QString& connectionName, const QString& target,
              QString* error) override
    {
        const QUrl url(target.trimmed(), QUrl::StrictMode);
        const QString scheme = url.scheme().toLower();
        if (!url.isValid() || (scheme != QLatin1String("postgresql") && scheme != QLatin1String("postgres"))) {
            *error = QStringLiteral("Hibás adatbázis-cím: %1\nHelyes alak: postgresql://felhasználó:jelszó@gép:port/adatbázis")
                         .arg(target);
            return false;
        }
        const QUrlQuery query(url);
        m_database = url.path(QUrl::FullyDecoded).mid(1);
        m_user = url.userName(QUrl::FullyDecoded);
        m_host = url.host(QUrl::FullyDecoded);
        // A socket folder may stand in the query, as libpq allows (?host=/run/postgresql).
        if (query.hasQueryItem(QStringLiteral("host"))) m_host = query.queryItemValue(QStringLiteral("host"), QUrl::FullyDecoded);
        m_port = url.port(5432);
        if (m_database.isEmpty()) {
            *error = QStringLiteral("Az adatbázis-címből hiányzik az adatbázis neve: %1").arg(databaseNameFor(url));
            return false;
        }
        QStringList options{QStringLiteral("connect_timeout=5"), QStringLiteral("application_name=NexoFrame")};
        for (const auto& [k, v] : query.queryItems(QUrl::FullyDecoded))
            if (k != QLatin1String("host")) options << k + QLatin1Char('=') + v;
        m_display = databaseNameFor(url);

        db = QSqlDatabase::addDatabase(new PgDriver, connectionName);
        db.setDatabaseName(m_database);
        if (!m_host.isEmpty()) db.setHostName(m_host);
        db.setPort(m_port);
        if (!m_user.isEmpty()) db.setUserName(m_user);
        if (!url.password().isEmpty()) db.setPassword(url.password(QUrl::FullyDecoded));
        db.setConnectOptions(options.join(QLatin1Char(';')));
        return connect(db, error);
    }

    bool reopen(QSqlDatabase& db, QString* error) override
    {
        db.close();
        return connect(db, error);
    }

    bool connectionLost(QSqlDatabase& db) const override
    {
        if (!db.isOpen()) return true;
        PGconn* c = handleOf(db);
        if (!c || PQstatus(c) == CONNECTION_BAD) return true;
        // libpq may not have met the closed socket yet (the statement failed on the server's
        // farewell message): one empty round trip tells.
        PQclear(PQexec(c, ""));
        return PQstatus(c) == CONNECTION_BAD;
    }

    QString databaseName() const override { return m_display; }
    QString folder() const override { return dataFolder(); }

    QString sqlType(const ColumnDef& c) const override
    {
        switch (c.type) {
        case ColType::Long: return QStringLiteral("integer");
        case ColType::Bool: return QStringLiteral("boolean");
        case ColType::Text: return QStringLiteral("varchar(%1) COLLATE nexo_hu").arg(c.length);
        case ColType::Memo: return QStringLiteral("text COLLATE nexo_hu");
        case ColType::Date:
        case ColType::DateTime: return QStringLiteral("timestamp");
        case ColType::Double: return QStringLiteral("double precision");
        }
        return QStringLiteral("text");
    }

    // Nulls first, as SQLite has them, and the indexes in that same order so that a window
    // read is an index range.
    QString indexColumn(const QString& c) const override { return c + QStringLiteral(" NULLS FIRST"); }
    QString orderTerm(const QString& c, bool descending) const override
    {
        return c + (descending ? QStringLiteral(" DESC NULLS LAST") : QStringLiteral(" NULLS FIRST"));
    }

    QStringList tables(QSqlDatabase& db) const override
    {
        return namesOf(db, QStringLiteral("SELECT lower(table_name) FROM information_schema.tables "
                                          "WHERE table_schema = current_schema() AND table_type IN ('BASE TABLE', 'VIEW')"));
    }

    QStringList indexes(QSqlDatabase& db) const override
    {
        return namesOf(db, QStringLiteral("SELECT lower(indexname) FROM pg_indexes WHERE schemaname = current_schema() "
                                          "AND indexname NOT LIKE '%\\_pkey'"));
    }

    bool prepareSchema(QSqlDatabase& db, QString* error) const override
    {
        QString err;
        if (execSql(db, QStringLiteral("CREATE COLLATION IF NOT EXISTS nexo_hu (provider = icu, locale = 'hu-HU')"), &err))
            return true;
        *error = QStringLiteral("A kiszolgálón nem hozható létre a magyar ábécérend (ICU): %1").arg(err);
        return false;
    }

    bool writesInWith() const override { return true; }
    bool returnsOldRow() const override { return true; }
    QString greatest(const QString& a, const QString& b) const override
    {
        return QStringLiteral("GREATEST(%1, %2)").arg(a, b);
    }

    QVariant storedBool(bool v) const override { return v; }

    // Statements joined with ";" go to the server in one round trip (a save is mostly round
    // trips on a fast server). Qt reports the first statement's result and error; after an
    // error the server skips the rest.
    bool tryMasterLock(QSqlDatabase& db, int waitMs) override
    {
        if (waitMs <= 0) {
            if (selectBool(db, QStringLiteral("SELECT pg_try_advisory_lock(%1); BEGIN").arg(kMasterLockKey))) return held(db);
            execSql(db, QStringLiteral("ROLLBACK"));
            return false;
        }
        // The server wakes a waiter as soon as the holder lets go, with no polling gap.
        execSql(db, QStringLiteral("SET lock_timeout = %1").arg(waitMs));
        if (execSql(db, QStringLiteral("SELECT pg_advisory_lock(%1); SET lock_timeout = 0; BEGIN").arg(kMasterLockKey)))
            return held(db);
        execSql(db, QStringLiteral("SET lock_timeout = 0"));
        return false;
    }

    // Refused, the cast fails, and nothing sent after it in the same round trip runs.
    bool lockWithNextStatement(QSqlDatabase& db) override
    {
        PgDriver* d = driverOf(db);
        if (!d) return false;
        d->lockAhead(QStringLiteral("SELECT CAST(CASE WHEN pg_try_advisory_lock(%1) THEN 'true' "
                                    "ELSE 'NexoFrame: a zárolást más tartja' END AS boolean)")
                         .arg(kMasterLockKey));
        return true;
    }

    bool lockRefusedLate(QSqlDatabase& db) override
    {
        const PgDriver* d = driverOf(db);
        return d && d->lock() == PgDriver::Lock::Refused;
    }

    bool copies() const override { return true; }
    bool copyRows(QSqlDatabase& db, const QString& table, const QStringList& columns, const QList<QVariantList>& rows,
                  QString* error) override
    {
        PgDriver* d = driverOf(db);
        if (!d) return Engine::copyRows(db, table, columns, rows, error);
        return d->copyRows(table, columns, rows, error);
    }

    bool savepointWithNextStatement(QSqlDatabase& db, const QString& sql) override
    {
        PgDriver* d = driverOf(db);
        if (!d) return false;
        d->sendAhead(sql);
        return true;
    }

    bool commitAndRelease(QSqlDatabase& db) override
    {
        // Nothing was sent under a lock still waiting for its statement: nothing to keep.
        if (waiting(db)) return settle(db);
        PgDriver* d = driverOf(db);
        const bool ok = d && d->runOwn({"COMMIT", QStringLiteral("SELECT pg_advisory_unlock(%1)").arg(kMasterLockKey).toUtf8()});
        if (ok) settle(db);
        return ok;
    }

    void releaseMasterLock(QSqlDatabase& db) override
    {
        if (!waiting(db)) execSql(db, QStringLiteral("SELECT pg_advisory_unlock(%1)").arg(kMasterLockKey));
        settle(db);
    }

    // A session lock is not a transaction's: a rollback keeps it.
    bool lockOutlivesTransaction() const override { return true; }

    bool beginPlain(QSqlDatabase& db) override { return execSql(db, QStringLiteral("BEGIN")); }
    bool commit(QSqlDatabase& db) override { return execSql(db, QStringLiteral("COMMIT")); }
    // Under a lock still waiting for its statement no transaction is open yet: going back
    // drops what waits behind the lock's BEGIN (savepoints).
    bool rollback(QSqlDatabase& db) override
    {
        if (!waiting(db)) return execSql(db, QStringLiteral("ROLLBACK"));
        dropBehindLock(db);
        return true;
    }
    bool rollbackAndBegin(QSqlDatabase& db) override
    {
        if (!waiting(db)) return execSql(db, QStringLiteral("ROLLBACK; BEGIN"));
        dropBehindLock(db);
        return true;
    }

    // Every statement outside a transaction reads what others committed; the recordsets drop
    // their windows through the connection's generation counter.
    void idle(QSqlDatabase&) override {}

    QString boolLiteral(bool v) const override { return v ? QStringLiteral("TRUE") : QStringLiteral("FALSE"); }

private:
    static PgDriver* driverOf(QSqlDatabase& db) { return dynamic_cast<PgDriver*>(db.driver()); }
    // The lock has not gone to the server yet (or went and was refused).
    static bool waiting(QSqlDatabase& db)
    {
        const PgDriver* d = driverOf(db);
        return d && (d->lock() == PgDriver::Lock::Ahead || d->lock() == PgDriver::Lock::Refused);
    }
    static bool held(QSqlDatabase& db)
    {
        if (PgDriver* d = driverOf(db)) d->setLock(PgDriver::Lock::Held);
        return true;
    }
    static bool settle(QSqlDatabase& db)
    {
        if (PgDriver* d = driverOf(db)) {
            d->dropAhead();
            d->setLock(PgDriver::Lock::None);
        }
        return true;
    }
    static void dropBehindLock(QSqlDatabase& db)
    {
        if (PgDriver* d = driverOf(db)) d->dropAhead(true);
    }

    static PGconn* handleOf(QSqlDatabase& db)
    {
        const QVariant v = db.driver() ? db.driver()->handle() : QVariant();
        // Qt names the handle by libpq's struct: "pg_conn*".
        if (v.isValid() && (qstrcmp(v.typeName(), "pg_conn*") == 0 || qstrcmp(v.typeName(), "PGconn*") == 0))
            return *static_cast<PGconn* const*>(v.constData());
        return nullptr;
    }

    static bool selectBool(QSqlDatabase& db, const QString& sql)
    {
        QSqlQuery q(db);
        const bool r = q.exec(sql) && q.next() && q.value(0).toBool();
        q.finish();
        return r;
    }

    static QString databaseNameFor(QUrl url)
    {
        url.setPassword(QString());
        url.setQuery(QString());
        return url.toString();
    }

    QString where() const
    {
        return m_host.startsWith(QLatin1Char('/')) || m_host.isEmpty()
            ? QStringLiteral("%1, port %2").arg(m_host.isEmpty() ? QStringLiteral("helyi socket") : m_host).arg(m_port)
            : QStringLiteral("%1:%2").arg(m_host).arg(m_port);
    }

    bool connect(QSqlDatabase& db, QString* error)
    {
        if (!db.open()) {
            *error = connectionMessage(where(), m_database, m_user, db.lastError().text());
            return false;
        }
        // Notices ("... does not exist, skipping") are not for the user.
        execSql(db, QStringLiteral("SET client_min_messages = warning"));
        // A check reads only; the server holds it to that.
        if (m_openMode == OpenMode::ReadOnly
            && !execSql(db, QStringLiteral("SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY"), error)) {
            db.close();
            return false;
        }
        return true;
    }

    QString m_database, m_user, m_host, m_display;
    int m_port = 5432;
};

} // namespace

std::unique_ptr<Engine> makePostgresEngine() { return std::make_unique<PostgresEngine>(); }

} // namespace NexoFrame
