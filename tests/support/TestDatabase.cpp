#include "TestDatabase.h"
#include "ReaderRole.h"
#include <QAtomicInt>
#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>

namespace NexoFrame {

namespace {

QAtomicInt g_serial;

QString serverEnv()
{
    const QString uri = qEnvironmentVariable("NEXO_TEST_PG");
    if (uri.isEmpty())
        qFatal("NEXO_TEST_PG is not set: the postgres suites need a server (scripts/test.sh starts one)");
    return uri;
}

// Runs one statement on the server's own database, outside any test database.
void onServer(const QString& sql)
{
    const QString name = QStringLiteral("nexo_test_admin_%1").arg(g_serial.fetchAndAddOrdered(1));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name);
        const QUrl url(serverEnv());
        db.setHostName(url.host());
        db.setPort(url.port(5432));
        db.setUserName(url.userName());
        db.setPassword(url.password());
        db.setDatabaseName(url.path().mid(1));
        if (!db.open()) qFatal("test server %s: %s", qPrintable(url.toString(QUrl::RemovePassword)), qPrintable(db.lastError().text()));
        QSqlQuery q(db);
        if (!q.exec(sql)) qFatal("%s: %s", qPrintable(sql), qPrintable(q.lastError().text()));
        q.finish();
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
}

// The program's own role on the test server: an ordinary login that owns its database, as on
// an office's server (no superuser, no CREATEROLE). Made once per server.
const QString kProgramRole = QStringLiteral("nexo_app");

void ensureProgramRole()
{
    // Two suites starting at once on a fresh server may both find it missing.
    onServer(QStringLiteral("DO $$BEGIN IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = '%1') THEN "
                            "CREATE ROLE %1 LOGIN; END IF; "
                            "EXCEPTION WHEN duplicate_object OR unique_violation THEN NULL; END$$").arg(kProgramRole));
}

} // namespace

bool testingPostgres() { return qEnvironmentVariable("NEXO_TEST_ENGINE") == QLatin1String("postgres"); }

QString TestDatabase::serverUri(const QString& user, const QString& password, const QString& database)
{
    QUrl url(serverEnv());
    url.setUserName(user);
    url.setPassword(password);
    url.setPath(QLatin1Char('/') + database);
    return url.toString();
}

TestDatabase::TestDatabase()
{
    if (!m_dir.isValid()) qFatal("no temporary folder");
    if (!testingPostgres()) {
        m_target = m_dir.filePath(QStringLiteral("test.sqlite"));
        return;
    }
    m_serverDb = QStringLiteral("nexo_t_%1_%2").arg(QCoreApplication::applicationPid()).arg(g_serial.fetchAndAddOrdered(1));
    ensureProgramRole();
    onServer(QStringLiteral("CREATE DATABASE %1 OWNER %2 TEMPLATE template0 ENCODING 'UTF8'").arg(m_serverDb, kProgramRole));
    QUrl url(serverEnv());
    url.setPath(QLatin1Char('/') + m_serverDb);
    m_adminTarget = url.toString();
    url.setUserName(kProgramRole);
    url.setPassword(QString());
    m_target = url.toString();
}

TestDatabase::~TestDatabase()
{
    if (m_serverDb.isEmpty()) return;
    onServer(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_serverDb));
    onServer(QStringLiteral("DROP ROLE IF EXISTS %1").arg(ReaderRole::nameFor(m_serverDb)));
}

std::unique_ptr<Connection> TestDatabase::open(Connection::DemoData demo) const
{
    QString err;
    auto c = Connection::openDatabase(m_target, demo, &err);
    if (!c) qFatal("test database %s: %s", qPrintable(m_target), qPrintable(err));
    if (!m_serverDb.isEmpty() && !m_readerMade) makeReader();
    return c;
}

void TestDatabase::makeReader() const
{
    if (m_serverDb.isEmpty()) return;
    QString message;
    if (!ReaderRole::create(m_adminTarget, &message)) qFatal("reader role of %s: %s", qPrintable(m_serverDb), qPrintable(message));
    m_readerMade = true;
}

bool TestDatabase::released(Connection& c) const
{
    QString err;
    auto other = Connection::openDatabase(m_target, Connection::DemoData::None, &err);
    const bool free = other && other->transactions().lockMaster();
    if (free) other->transactions().unlockMaster();
    return free && !c.transactions().hasMasterLock() && !c.transactions().inTransaction();
}

QString TestDatabase::programRole() { return kProgramRole; }

} // namespace NexoFrame
