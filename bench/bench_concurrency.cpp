// Saves per second with 1, 2, 4 and 8 users writing at once, each a process of its own
// saving through the record lifecycle (nexo_writer: inserts and updates of shared rows),
// on a database file and, when NEXO_TEST_PG names a server, on PostgreSQL. The master
// lock lets one save in at a time by design; what is measured is that waiting for it does
// not eat the throughput. Prints "<engine> <n> writers ratio: X", the throughput of n
// writers over that of one (higher is better).
#include "Connection.h"
#include <QCoreApplication>
#include <QElapsedTimer>
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
