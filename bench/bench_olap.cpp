// An OLAP preview's work on a 1,000,000-row source, per engine: the report's read into the
// cube (region and product on rows with totals, month on columns with totals, SUM, COUNT, AVG
// and STDDEV) as the preview does it on that engine, against the engine's own GROUP BY of
// the same facts read to the end; beside it both reads (the rows grouped by the engine and
// the totals rolled up from the groups, or every row streamed into the cube) and the
// source's rows streamed and dropped (what feeding any cube row by row costs before the cube
// does anything; on a server that alone outlasts its own GROUP BY). Then the cube's memory,
// each size in a fresh process of its own, for the whole source and for a fifth of it over
// the same cells: it grows with the cells, not with the rows.
#include "BenchSupport.h"
#include "Connection.h"
#include "Engine.h"
#include "OlapSource.h"
#include "ReadOnlySource.h"
#include "ReaderRole.h"
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <optional>
#include <sys/resource.h>

using namespace NexoFrame;
using namespace NexoFrame::Bench;
using namespace NexoFrame::Olap;

namespace {

constexpr int kRows = 1000000;
constexpr int kRounds = 3;
const char* kProbe = "--memory-probe";

double msSince(const QElapsedTimer& t) { return double(t.nsecsElapsed()) / 1e6; }

long peakKb()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

void exec(QSqlDatabase& db, const QString& sql)
{
    QSqlQuery q(db);
    if (!q.exec(sql)) fail(sql.left(200) + QStringLiteral(": ") + q.lastError().text());
}

// 10 regions, 50 products, 12 months and 5 years, each combination about 33 times over the
// source; one quantity in 101 is missing.
void generate(Connection& c, bool server)
{
    QSqlDatabase& db = c.db();
    exec(db, QStringLiteral("CREATE TABLE olap_bench (region text, product text, year int, month int, qty int, "
                            "amount double precision)"));
    const QString values = QStringLiteral(
        "'Régió ' || (i % 10), 'Termék ' || ((i / 10) % 50), 2020 + (i / 6000) % 5, 1 + (i / 500) % 12, "
        "CASE WHEN i % 101 = 0 THEN NULL ELSE i % 17 END, (i * 7919 % 100000) / 100.0");
    if (server)
        exec(db, QStringLiteral("INSERT INTO olap_bench SELECT %1 FROM generate_series(0::bigint, %2) AS g(i)")
                     .arg(values).arg(kRows - 1));
    else
        exec(db, QStringLiteral("INSERT INTO olap_bench WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n "
                                "WHERE i < %2) SELECT %1 FROM n")
                     .arg(values).arg(kRows - 1));
    exec(db, server ? QStringLiteral("VACUUM ANALYZE olap_bench") : QStringLiteral("ANALYZE"));
}

// Region and product on rows, month on columns, each with totals; SUM, COUNT, AVG, STDDEV.
QList<OlapField> cubeFields()
{
    auto dim = [](const char* name, const char* caption, int type, int axis, int order) {
        OlapField f;
        f.name = QString::fromUtf8(name);
        f.asDimension.caption = QString::fromUtf8(caption);
        f.asDimension.type = type;
        f.asDimension.axis = axis;
        f.asDimension.sortOrder = order;
        return f;
    };
    auto fact = [](const char* name, const char* caption, int algorithm, int order) {
        OlapField f;
        f.name = QString::fromUtf8(name);
        f.fact = true;
        f.asFact.caption = QString::fromUtf8(caption);
        f.asFact.algorithm = algorithm;
        f.asFact.sortOrder = order;
        return f;
    };
    return {dim("region", "Régió", xoft_String, xda_vertical, 0), dim("product", "Termék", xoft_String, xda_vertical, 1),
            dim("month", "Hónap", xoft_Integer, xda_horizontal, 0), fact("amount", "Összeg", xfam_SUM, 0),
            fact("qty", "Darab", xfam_COUNT, 1), fact("amount", "Átlag", xfam_AVG, 2), fact("amount", "Szórás", xfam_STDDEV, 3)};
}

const QString kSource = QStringLiteral("SELECT region, product, month, qty, amount FROM olap_bench");

struct CubeRun {
    qint64 rows = 0;
    qint64 cells = 0;
    bool grouped = false;
};

// The preview's own read, or the one `read` names.
CubeRun cube(ReadOnlySource& source, bool server, const QString& sql, std::optional<OlapRead> read = {})
{
    const OlapRun run = readIntoCube(source, server, sql, cubeFields(), {}, read.value_or(preferredRead(server)));
    if (!run.ok()) fail(run.error);
    const PivotResult& r = run.result;
    CubeRun out{r.sourceRows, 0, run.grouped};
    for (int i = 0; i < r.rows.size(); ++i)
        for (int j = 0; j < r.columns.size(); ++j) out.cells += r.cell(i, j, 0).isValid();
    return out;
}

// Peak memory before and after one cube, in this fresh process.
int probe(const QString& engine, const QString& target, const QString& sql)
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    auto source = ReadOnlySource::open(*conn, &err);
    if (!source) fail(err);
    // Drivers, collator and first buffers are in place before the count starts.
    const bool server = isServerTarget(target);
    cube(*source, server, kSource + QStringLiteral(" LIMIT 1000"));
    const long before = peakKb();
    const CubeRun r = cube(*source, server, sql);
    const long after = peakKb();
    std::printf("%s pivot memory growth: %ld KiB (%lld rows, %lld cells; peak %ld KiB before, %ld KiB after)\n",
                qPrintable(engine), after - before, r.rows, r.cells, before, after);
    return 0;
}

// `adminTarget`: on a server, where the reader role is granted the new table.
void run(const QString& engine, const QString& target, bool server, const QString& adminTarget = {})
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    {
        QElapsedTimer g;
        g.start();
        generate(*conn, server);
        std::printf("%s: %d rows of olap_bench made in %.1f s\n", qPrintable(engine), kRows, msSince(g) / 1000);
    }
    if (server && !ReaderRole::create(adminTarget, &err)) fail(err);
    auto source = ReadOnlySource::open(*conn, &err);
    if (!source) fail(err);
    const QString stddev = server ? QStringLiteral("STDDEV_SAMP(amount)")
                                  : QStringLiteral("sqrt((SUM(amount * amount) - SUM(amount) * SUM(amount) / COUNT(amount)) "
                                                   "/ (COUNT(amount) - 1))");
    const QString anchorSql = QStringLiteral("SELECT region, product, month, SUM(amount), COUNT(qty), AVG(amount), %1 "
                                             "FROM olap_bench GROUP BY region, product, month")
                                  .arg(stddev);
    auto anchor = [&] {
        QSqlQuery q(conn->db());
        q.setForwardOnly(true);
        if (!q.exec(anchorSql)) fail(q.lastError().text());
        qint64 n = 0;
        QVariantList row(7);
        while (q.next()) {
            for (int i = 0; i < 7; ++i) row[i] = q.value(i);
            ++n;
        }
        return n;
    };
    // A first read of each, so that neither side pays for a cold cache.
    anchor();
    // The rows alone, streamed and dropped: what any cube fed row by row pays first.
    auto streamOnly = [&] {
        QElapsedTimer t;
        t.start();
        QString e;
        if (!source->run(kSource, nullptr, [](const QVariantList&) { return true; }, &e)) fail(e);
        return msSince(t);
    };
    // Both reads of the cube; the preview's is the one it prefers on this engine.
    double anchorMs = 1e18, streamMs = 1e18, groupedMs = 1e18, streamedMs = 1e18;
    long peakBefore = 0, peakAfter = 0;
    qint64 groups = 0;
    CubeRun cubeRun, groupedRun;
    const bool preferGrouped = preferredRead(server) == OlapRead::Grouped;
    for (int round = 0; round < kRounds; ++round) {
        QElapsedTimer t;
        t.start();
        groups = anchor();
        anchorMs = std::min(anchorMs, msSince(t));
        if (round == 0) peakBefore = peakKb();
        t.restart();
        groupedRun = cube(*source, server, kSource, OlapRead::Grouped);
        groupedMs = std::min(groupedMs, msSince(t));
        t.restart();
        const CubeRun streamedRun = cube(*source, server, kSource, OlapRead::Streamed);
        streamedMs = std::min(streamedMs, msSince(t));
        cubeRun = preferGrouped ? groupedRun : streamedRun;
        if (round == 0) peakAfter = peakKb();
        streamMs = std::min(streamMs, streamOnly());
    }
    const double oursMs = preferGrouped ? groupedMs : streamedMs;
    std::printf("%s pivot: %.1f ms for %lld rows into %lld cells (%s); GROUP BY read fully: %.1f ms for %lld groups\n",
                qPrintable(engine), oursMs, cubeRun.rows, cubeRun.cells, cubeRun.grouped ? "grouped by the engine" : "streamed",
                anchorMs, groups);
    // On a file the standard deviation cannot be grouped accurately: the grouped read streams too.
    std::printf("%s pivot read grouped: %.1f ms (%s); every row streamed into the cube: %.1f ms\n", qPrintable(engine),
                groupedMs, groupedRun.grouped ? "grouped by the engine" : "streamed", streamedMs);
    std::printf("%s source rows streamed alone: %.1f ms\n", qPrintable(engine), streamMs);
    std::printf("%s peak memory: %ld KiB before the pivot, %ld KiB after\n", qPrintable(engine), peakBefore, peakAfter);
    std::printf("%s pivot ratio: %.2f\n", qPrintable(engine), oursMs / anchorMs);
    std::fflush(stdout);

    // Each size in a process of its own, so that one's peak does not hide the other's. Linux
    // hands a process its parent's peak across fork and exec, so the probe is started by
    // a shell that forks it again: the shell is small, and so is what the probe inherits.
    for (const QString& sql : {kSource, kSource + QStringLiteral(" WHERE year = 2020")}) {
        QProcess p;
        p.setProcessChannelMode(QProcess::ForwardedChannels);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("NEXO_BENCH_TARGET"), target);
        env.insert(QStringLiteral("NEXO_BENCH_SQL"), sql);
        p.setProcessEnvironment(env);
        p.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("\"$0\" %1 \"$1\"; exit $?").arg(QLatin1String(kProbe)),
                                             QCoreApplication::applicationFilePath(), engine});
        if (!p.waitForFinished(600000) || p.exitCode() != 0) fail(QStringLiteral("the memory probe failed"));
    }
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 3 && args[1] == QLatin1String(kProbe))
        return probe(args[2], qEnvironmentVariable("NEXO_BENCH_TARGET"), qEnvironmentVariable("NEXO_BENCH_SQL"));
    QTemporaryDir dir;
    run(QStringLiteral("sqlite"), dir.filePath(QStringLiteral("olap.sqlite")), false);
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
    } else {
        ServerDatabase db(server, QStringLiteral("nexo_bench_olap"));
        run(QStringLiteral("postgres"), db.target(), true, db.adminTarget());
    }
    return 0;
}
