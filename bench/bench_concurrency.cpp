// Saves per second with 1, 2, 4 and 8 users writing at once, each a process of its own
// saving through the record lifecycle (nexo_writer: inserts and updates of shared rows),
// on a database file and, when NEXO_TEST_PG names a server, on PostgreSQL. The master
// lock lets one save in at a time by design; what is measured is that waiting for it does
// not eat the throughput. Prints "<engine> <n> writers ratio: X", the throughput of n
// writers over that of one (higher is better). And on the file, a save while another
// connection runs a read of about five seconds against a save with nothing else running:
// "sqlite save during long read ratio" (lower is better; a read must not hold up saves).
#include "Connection.h"
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>
#include <cstdio>
#include <memory>
#include <vector>

using namespace NexoFrame;

namespace {

const int kSaves = qEnvironmentVariableIntValue("NEXO_BENCH_SAVES") > 0 ? qEnvironmentVariableIntValue("NEXO_BENCH_SAVES")
                                                                          : 200;

[[noreturn]] void fail(const QString& what)
{
    std::fprintf(stderr, "bench_concurrency: %s\n", qPrintable(what));
    std::exit(1);
}

// Total saves per second of n writers started at one moment.
double throughput(const QString& target, int n, const QString& shared)
{
    std::vector<std::unique_ptr<QProcess>> writers;
    for (int w = 0; w < n; ++w) {
        auto p = std::make_unique<QProcess>();
        p->start(QStringLiteral(NEXO_WRITER), {target, QString::number(w), QString::number(kSaves), shared, "--wait"});
        writers.push_back(std::move(p));
    }
    for (auto& p : writers) {
        QByteArray out;
        while (!out.contains("READY") && p->waitForReadyRead(30000)) out += p->readAllStandardOutput();
        if (!out.contains("READY")) fail("a writer did not start: " + QString::fromUtf8(out + p->readAllStandardError()));
    }
    QElapsedTimer timer;
    timer.start();
    for (auto& p : writers) p->write("\n");
    for (auto& p : writers) {
        if (!p->waitForFinished(600000) || p->exitCode() != 0)
            fail("a writer failed: " + QString::fromUtf8(p->readAll()));
    }
    return double(n) * kSaves / (double(timer.nsecsElapsed()) / 1e9);
}

void run(const QString& engine, const QString& target)
{
    QString err;
    auto c = Connection::openDatabase(target, Connection::DemoData::IfEmpty, &err);
    if (!c) fail(err);
    QStringList shared;
    if (!c->transactions().lockMaster()) fail("lock");
    for (int i = 0; i < 5; ++i) {
        const int id = c->keys().newKey(Tables::AuthUnit);
        if (!c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix) VALUES (?, 500, ?, 'shared')",
                        {id, QString("közös %1").arg(i)}, &err))
            fail(err);
        shared << QString::number(id);
    }
    c->transactions().unlockMaster();
    c.reset();

    double one = 0;
    for (int n : {1, 2, 4, 8}) {
        const double t = throughput(target, n, shared.join(','));
        if (n == 1) one = t;
        std::printf("%s %d writers: %.0f saves/s\n", qPrintable(engine), n, t);
        std::printf("%s %d writers ratio: %.2f\n", qPrintable(engine), n, t / one);
        std::fflush(stdout);
    }
}

// One save as the records make it: the master lock (waiting as long as it takes), a keyed
// row, the commit. Its time in ns.
qint64 save(Connection& c, int i)
{
    QElapsedTimer t;
    t.start();
    QString why;
    const auto done = c.transactions().writeLocked(
        [&] {
            Recordset& rs = c.editRecordset(Tables::AuthUnit);
            rs.addNew();
            rs.setField("parent_id", 500);
            rs.setField("name", QString("olvasás alatt %1").arg(i));
            rs.setField("prefix", "bench_read");
            return rs.update();
        },
        &why, [] { return true; });
    if (done != Transactions::LockedWrite::Done) fail("save: " + why);
    return t.nsecsElapsed();
}

// A read on a connection of its own that keeps its statement open for about `ms`.
class LongRead : public QThread {
public:
    LongRead(QString file, qint64 rows) : m_file(std::move(file)), m_rows(rows) {}
    std::atomic<bool> reading{false};
    qint64 elapsedMs = 0;

protected:
    void run() override
    {
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "long_read");
            db.setDatabaseName(m_file);
            if (!db.open()) fail("long read: " + db.lastError().text());
            QSqlQuery q(db);
            QElapsedTimer t;
            t.start();
            reading = true;
            if (!q.exec(QString("SELECT COUNT(*) FROM (SELECT id FROM qnd_auth_unit LIMIT 1) a, "
                                "(WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < %1) SELECT x FROM c) b")
                            .arg(m_rows)))
                fail("long read: " + q.lastError().text());
            q.next();
            elapsedMs = t.elapsed();
            reading = false;
        }
        QSqlDatabase::removeDatabase("long_read");
    }

private:
    QString m_file;
    qint64 m_rows;
};

void saveDuringRead(const QString& file)
{
    QString err;
    auto c = Connection::openDatabase(file, Connection::DemoData::IfEmpty, &err);
    if (!c) fail(err);
    for (int i = 0; i < 5; ++i) save(*c, i); // warm
    // How many counted rows make five seconds of reading.
    LongRead probe(file, 2000000);
    probe.start();
    probe.wait();
    const qint64 rows = qint64(2000000) * 5000 / std::max<qint64>(1, probe.elapsedMs);
    QList<qint64> idle, during;
    for (int i = 0; i < 20; ++i) idle << save(*c, 100 + i);
    LongRead read(file, rows);
    read.start();
    while (!read.reading) QThread::msleep(1);
    QThread::msleep(200);
    for (int i = 0; i < 20 && read.reading; ++i) during << save(*c, 200 + i);
    read.wait();
    if (during.isEmpty()) fail("the read ended before any save");
    std::sort(idle.begin(), idle.end());
    std::sort(during.begin(), during.end());
    const double a = idle[idle.size() / 2] / 1e6, b = during[during.size() / 2] / 1e6;
    std::printf("sqlite save during long read: %.2f ms (median of %lld, read %lld ms) vs idle %.2f ms\n", b,
                qlonglong(during.size()), qlonglong(read.elapsedMs), a);
    std::printf("sqlite save during long read ratio: %.2f\n", b / a);
    std::fflush(stdout);
}

void onServer(const QString& server, const QString& sql)
{
    Connection c(makePostgresEngine());
    QString err;
    if (!c.open(server, &err) || !c.execute(sql, {}, &err)) fail(err);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    // The writers answer the lock question themselves; they need no screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir dir;
    if (!dir.isValid()) fail("no temporary folder");
    saveDuringRead(dir.filePath("long_read.sqlite"));
    run("sqlite", dir.filePath("concurrency.sqlite"));

    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    onServer(server, "DROP DATABASE IF EXISTS nexo_bench_concurrency WITH (FORCE)");
    onServer(server, "CREATE DATABASE nexo_bench_concurrency");
    QUrl u(server);
    u.setPath("/nexo_bench_concurrency");
    run("postgres", u.toString());
    onServer(server, "DROP DATABASE IF EXISTS nexo_bench_concurrency WITH (FORCE)");
    return 0;
}
