#include "TestDatabase.h"
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
    onServer(QStringLiteral("CREATE DATABASE %1 TEMPLATE template0 ENCODING 'UTF8'").arg(m_serverDb));
    QUrl url(serverEnv());
    url.setPath(QLatin1Char('/') + m_serverDb);
    m_target = url.toString();
}

TestDatabase::~TestDatabase()
{
    if (!m_serverDb.isEmpty()) onServer(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_serverDb));
}

std::unique_ptr<Connection> TestDatabase::open(Connection::DemoData demo) const
{
    QString err;
    auto c = Connection::openDatabase(m_target, demo, &err);
    if (!c) qFatal("test database %s: %s", qPrintable(m_target), qPrintable(err));
    return c;
}

} // namespace NexoFrame
