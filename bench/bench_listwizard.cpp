// The list wizard on the menu log's 1,000,000 rows of 1,000 users, per engine: a saved list
// filtered on one user and sorted on an indexed date, run until its first screen is shown,
// against the bare select of that first screen through the same read-only link; and the CSV
// export of a list of every row, against the same select written out by a plain loop.
// "filled" stops when the rows are in the grid, before Qt paints them. The first screen also
// against a plain QSqlQueryModel in a QTableView showing the same first page, painted; and
// the page after row 900,000 of the list of every row against its first page.
#include "StandardIcon.h"
#include "BenchSupport.h"
#include "ScreenBench.h"
#include "Connection.h"
#include "ListExport.h"
#include "ListWizard.h"
#include "ReadOnlySource.h"
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <algorithm>

using namespace NexoFrame;
using namespace NexoFrame::Bench;
using NexoFrame::Controls::ListQuery;
using NexoFrame::Controls::ListWizard;

namespace {

constexpr int kUsers = 1000;
constexpr int kRows = 1000000;
constexpr int kListUsers = 10; // users run in turn in each round
const int kRounds = qEnvironmentVariableIntValue("BENCH_ROUNDS") > 0 ? qEnvironmentVariableIntValue("BENCH_ROUNDS") : 5;
// A million-row export is slow enough that two rounds already say it.
const int kExportRounds = std::min(kRounds, 2);

// The bench database has no demo data: the menu log is offered as a list source by hand.
void addSource(Connection& c)
{
    QString err;
    if (!c.execute(QStringLiteral("INSERT INTO qnd_list_source (id, sort_order, table_name, caption, columns, del_status) "
                                  "VALUES (1, 1, ?, ?, ?, 0)"),
                   {QStringLiteral("qnd_menu_log_view"), QStringLiteral("Menü log"),
                    QStringLiteral("log_date=Időpont\ndisplay_name=Felhasználó\nmenu_item=Menüpont\nuser_id=Felhasználó azonosító")},
                   &err))
        fail(err);
}

std::unique_ptr<Connection> database(const QString& engine, const QString& target)
{
    QString err;
    // BENCH_KEEP names a file that keeps the big SQLite table between runs (for profiling).
    const QString kept = qEnvironmentVariable("BENCH_KEEP");
    const bool keep = !kept.isEmpty() && engine == QLatin1String("sqlite");
    const bool reuse = keep && QFile::exists(kept);
    auto conn = Connection::openDatabase(keep ? kept : target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    if (reuse) {
        // The lists of the last run go; the rows stay.
        if (!conn->execute(QStringLiteral("DELETE FROM qnd_list"), {}, &err)
            || !conn->execute(QStringLiteral("DELETE FROM qnd_list_source"), {}, &err))
            fail(err);
    } else {
        generateMenuLog(*conn, kUsers, kRows);
    }
    addSource(*conn);
    conn->session().setUserId(1);
    return conn;
}

QString definition(const QString& conditions)
{
    return QStringLiteral(R"({"format":"nexo-lista","version":1,"source":"qnd_menu_log_view",)"
                          R"("columns":[{"field":"log_date"},{"field":"display_name"},{"field":"menu_item"}],)"
                          R"("match":"all","conditions":[%1],"sort":[{"field":"log_date","descending":true}]})")
        .arg(conditions);
}

qint64 linesOf(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) fail(QStringLiteral("cannot read %1").arg(path));
    qint64 n = 0;
    while (!f.atEnd()) {
        const QByteArray chunk = f.read(1 << 20);
        n += chunk.count('\n');
    }
    return n;
}

void run(const QString& engine, const QString& target, const QString& work)
{
    const QByteArray name = engine.toUtf8();
    const char* e = name.constData();
    QElapsedTimer made;
    made.start();
    auto conn = database(engine, target);
    std::printf("%s: 1,000,000 log rows made in %.1f s\n", e, made.elapsed() / 1000.0);

    // Set up as its host does: by property names, then Init.
    ListWizard w;
    w.setProperty("Database", QVariant::fromValue<QObject*>(conn.get()));
    w.setProperty("UserID", 1);
    w.setProperty("WorkFolder", work);
    w.setProperty("CanEdit", true);
    w.setProperty("CanExport", true);
    w.setProperty("CanPrint", true);
    if (!w.Init()) fail(w.lastError());

    // One saved list per user: the users are run in turn, as lists of their own.
    QList<int> users, lists;
    for (int i = 0; i < kListUsers; ++i) {
        const int user = 1 + (i * 97) % kUsers;
        const int id = w.saveList(0, QStringLiteral("Bench %1").arg(user),
                                  definition(QStringLiteral(R"({"field":"user_id","op":"equals","value":"%1"})").arg(user)).toUtf8());
        if (id <= 0) fail(w.lastError());
        users << user;
        lists << id;
    }
    const int everything = w.saveList(0, QStringLiteral("Bench"), definition(QString()).toUtf8());
    if (everything <= 0) fail(w.lastError());

    w.resize(1000, 700);
    w.show();
    QCoreApplication::processEvents();

    QString err;
    auto bareSource = ReadOnlySource::open(*conn, &err);
    if (!bareSource) fail(err);
    // The first screen the grid reads, every value read as the engine hands it.
    const auto bareFirst = [&](const ListQuery& q) {
        int n = 0;
        qsizetype seen = 0;
        if (!bareSource->run(q.select + QStringLiteral(" LIMIT 200 OFFSET 0"), q.binds, nullptr,
                             [&](const QVariantList& row) {
                                 for (const QVariant& v : row)
                                     seen += v.typeId() == QMetaType::QString ? v.toString().size() : v.isValid();
                                 ++n;
                                 return true;
                             },
                             &err))
            fail(err);
        return seen > 0 ? n : 0;
    };
    const auto ours = [&](int id, qint64* filled, qint64* shown) {
        QElapsedTimer t;
        t.start();
        if (!w.runList(id, {}, false)) fail(w.lastError());
        *filled += t.nsecsElapsed();
        settle();
        *shown += t.nsecsElapsed();
        if (w.loadedRows() != 200) fail(QStringLiteral("list %1 shows %2 rows").arg(id).arg(w.loadedRows()));
    };

    // The first run opens the wizard's own read-only link; that is once per panel, not per list.
    {
        qint64 a = 0, b = 0;
        ours(lists.first(), &a, &b);
        bareFirst(w.query());
    }
    qint64 filled = 0, shown = 0, bare = 0, plainShown = 0;
    int runs = 0;
    PlainView plain(w.grid());
    for (int round = 0; round < kRounds; ++round)
        for (int i = 0; i < lists.size(); ++i) {
            ours(lists[i], &filled, &shown);
            const ListQuery q = w.query();
            if (q.binds.value(0).toInt() != users[i]) fail(QStringLiteral("list %1 did not filter on user %2").arg(lists[i]).arg(users[i]));
            QElapsedTimer t;
            t.start();
            if (bareFirst(q) != 200) fail(QStringLiteral("the bare select found too few rows"));
            bare += t.nsecsElapsed();
            plainShown += plain.show(conn->db(), q.select + QStringLiteral(" LIMIT 200"), q.binds);
            ++runs;
        }
    std::printf("%s list first screen: %.2f ms filled, %.2f ms until shown, bare select %.2f ms\n", e, filled / 1e6 / runs,
                shown / 1e6 / runs, bare / 1e6 / runs);
    std::printf("%s list first screen filled ratio: %.2f\n", e, double(filled) / double(bare));
    std::printf("%s list first screen ratio: %.2f\n", e, double(shown) / double(bare));
    std::printf("%s list first screen: plain view %.2f ms until shown\n", e, plainShown / 1e6 / runs);
    std::printf("%s list first screen shown vs plain view ratio: %.2f\n", e, double(shown) / double(plainShown));

    // Every row to CSV: the list's export against the same select written by a plain loop.
    if (!w.runList(everything, {}, false)) fail(w.lastError());
    QCoreApplication::processEvents();
    const ListQuery all = w.query();
    deepPage(all.rows, 900000, 10 * kRounds,
             [&](const NexoFrame::Controls::PagedQuery::Statement& st, const std::function<void(const QVariantList&)>& row) {
                 if (!bareSource->run(st.sql, st.binds, nullptr, [&](const QVariantList& r) { row(r); return true; }, &err)) fail(err);
             },
             [](const QVariantList& values) { return values; }, e);
    const QString oursPath = work + QStringLiteral("/ours.csv"), barePath = work + QStringLiteral("/bare.csv");
    qint64 exported = 0, written = 0;
    for (int round = 0; round < kExportRounds; ++round) {
        QElapsedTimer t;
        t.start();
        if (!w.exportList(QStringLiteral("csv"), oursPath)) fail(w.lastError());
        exported += t.nsecsElapsed();
        if (linesOf(oursPath) != kRows + 1) fail(QStringLiteral("the export holds %1 lines").arg(linesOf(oursPath)));
        QFile::remove(oursPath);

        t.restart();
        QFile out(barePath);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) fail(out.errorString());
        QByteArray buffer;
        qint64 rows = 0;
        if (!bareSource->run(all.select, all.binds, nullptr,
                             [&](const QVariantList& row) {
                                 for (int i = 0; i < row.size(); ++i) {
                                     if (i) buffer += ';';
                                     buffer += row[i].toString().toUtf8();
                                 }
                                 buffer += '\n';
                                 if (buffer.size() >= (1 << 16)) {
                                     out.write(buffer);
                                     buffer.clear();
                                 }
                                 ++rows;
                                 return true;
                             },
                             &err, 3600000))
            fail(err);
        out.write(buffer);
        out.close();
        written += t.nsecsElapsed();
        if (rows != kRows) fail(QStringLiteral("the bare select read %1 rows").arg(rows));
        QFile::remove(barePath);
    }
    std::printf("%s list csv export: %.0f ms, bare select written %.0f ms\n", e, exported / 1e6 / kExportRounds, written / 1e6 / kExportRounds);
    std::printf("%s list csv export ratio: %.2f\n", e, double(exported) / double(written));
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // The panels under the style the shell gives them.
    NexoFrame::Controls::keepStyleIcons();
    QTemporaryDir dir;
    run(QStringLiteral("sqlite"), dir.filePath(QStringLiteral("lists.sqlite")), dir.filePath(QStringLiteral("work-sqlite")));
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    {
        ServerDatabase db(server, QStringLiteral("nexo_bench_listwizard"));
        run(QStringLiteral("postgres"), db.target(), dir.filePath(QStringLiteral("work-postgres")));
    }
    return 0;
}
