// The menu log viewer on 1,000,000 log rows of 1,000 users, per engine: opening it until
// the first screen is shown, and switching the user filter until that user's first screen
// is shown, each against the bare select of the same first screen (the rows the list reads
// first, in its order). "filled" stops when the rows are in the list, before Qt paints them.
// Both shown screens also against a plain QSqlQueryModel in a QTableView showing the same
// first page, painted; the page after row 900,000 against the first page; and what opening
// costs in memory on this table against a table a hundred times smaller: a list that reads
// what it shows grows with neither.
#include "StandardIcon.h"
#include "BenchSupport.h"
#include "ScreenBench.h"
#include "BrowseView.h"
#include "Connection.h"
#include "IAddin.h"
#include "LogsViewer.h"
#include "LazyComboBox.h"
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <algorithm>
#include <malloc.h>

using namespace NexoFrame;
using namespace NexoFrame::Bench;

namespace {

constexpr int kUsers = 1000;
constexpr int kSwitches = 40;
const int kRounds = qEnvironmentVariableIntValue("BENCH_ROUNDS") > 0 ? qEnvironmentVariableIntValue("BENCH_ROUNDS") : 5;

// Heap in use, in KiB: what a live panel holds, unlike resident pages that freed memory keeps.
long heapKiB()
{
    return long(mallinfo2().uordblks / 1024);
}

std::unique_ptr<Connection> database(const QString& target, int rows)
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    generateMenuLog(*conn, kUsers, rows);
    conn->session().setUserId(1);
    return conn;
}

// The panel opened and painted; how much heap it holds.
long openedKiB(Connection& c)
{
    BenchSite site(&c);
    const long before = heapKiB();
    LogsViewer panel;
    panel.resize(1000, 700);
    panel.IAddin_AttachToSite(&site, 0, QString());
    panel.show();
    QCoreApplication::processEvents();
    return heapKiB() - before;
}

void run(const QString& engine, const QString& smallTarget, const QString& target)
{
    // The memory of opening, on a hundredth of the table first.
    long smallKiB = 0, bigKiB = 0;
    {
        auto small = database(smallTarget, 10000);
        openedKiB(*small); // the first opening loads libraries and caches of its own
        smallKiB = openedKiB(*small);
    }
    QElapsedTimer made;
    made.start();
    // BENCH_KEEP names a file that keeps the big SQLite table between runs (for profiling).
    const QString kept = qEnvironmentVariable("BENCH_KEEP");
    std::unique_ptr<Connection> conn;
    if (!kept.isEmpty() && engine == QLatin1String("sqlite") && QFile::exists(kept)) {
        QString err;
        conn = Connection::openDatabase(kept, Connection::DemoData::None, &err);
        if (!conn) fail(err);
        conn->session().setUserId(1);
    } else {
        conn = database(!kept.isEmpty() && engine == QLatin1String("sqlite") ? kept : target, 1000000);
    }
    std::printf("%s: 1,000,000 log rows made in %.1f s\n", qPrintable(engine), made.elapsed() / 1000.0);
    openedKiB(*conn);
    bigKiB = openedKiB(*conn);

    BenchSite site(conn.get());
    QSqlQuery sel(conn->db());
    sel.setForwardOnly(true);
    const QString columns = QStringLiteral("SELECT id, log_date, display_name, menu_item FROM qnd_menu_log_view");
    // The list's own order, spelled as the engine wants it to use the index.
    const QString order = QStringLiteral(" ORDER BY %1, id DESC LIMIT 200").arg(conn->engine().orderTerm(QStringLiteral("log_date"), true));
    const auto bare = [&](const QString& where, const QVariantList& binds) {
        if (!sel.prepare(columns + where + order)) fail(sel.lastError().text());
        for (int i = 0; i < binds.size(); ++i) sel.bindValue(i, binds[i]);
        if (!sel.exec()) fail(sel.lastError().text());
        int n = 0;
        while (sel.next()) {
            n += sel.value(0).toInt() > 0;
            (void)sel.value(1).toDateTime();
            (void)sel.value(2).toString();
            (void)sel.value(3).toString();
        }
        return n;
    };

    // Opening, against the bare select of the first page, taking turns: until the list holds
    // its first page (the users' combo filled too), and until it is painted.
    qint64 filled = 0, open = 0, openBare = 0, openPlain = 0;
    // Taking turns at going first too: the second reads the same rows from warm caches.
    const auto bareTimed = [&](const QString& where, const QVariantList& binds) {
        QElapsedTimer t;
        t.start();
        if (bare(where, binds) != 200) fail(QStringLiteral("the bare select found too few rows"));
        return t.nsecsElapsed();
    };
    for (int round = 0; round < kRounds; ++round) {
        if (round % 2 == 1) openBare += bareTimed(QString(), {});
        QElapsedTimer t;
        t.start();
        LogsViewer panel;
        panel.resize(1000, 700);
        panel.IAddin_AttachToSite(&site, 0, QString());
        filled += t.nsecsElapsed();
        panel.show();
        settle();
        open += t.nsecsElapsed();
        if (panel.brw_item->loadedRows() != 200) fail(QStringLiteral("the log shows %1 rows").arg(panel.brw_item->loadedRows()));
        if (round % 2 == 0) openBare += bareTimed(QString(), {});
        PlainView plain(panel.brw_item->table());
        openPlain += plain.open(conn->db(), panel.brw_item->query().select() + QStringLiteral(" LIMIT 200"), panel.brw_item->query().binds);
    }
    std::printf("%s open: %.2f ms filled, %.2f ms until shown, bare select %.2f ms\n", qPrintable(engine), filled / 1e6 / kRounds,
                open / 1e6 / kRounds, openBare / 1e6 / kRounds);
    std::printf("%s open filled ratio: %.2f\n", qPrintable(engine), double(filled) / double(openBare));
    std::printf("%s open ratio: %.2f\n", qPrintable(engine), double(open) / double(openBare));
    std::printf("%s open: plain view %.2f ms until shown\n", qPrintable(engine), openPlain / 1e6 / kRounds);
    std::printf("%s open shown vs plain view ratio: %.2f\n", qPrintable(engine), double(open) / double(openPlain));

    // Switching the user: until that user's first page is in the list, and until it is painted.
    LogsViewer panel;
    panel.resize(1000, 700);
    panel.IAddin_AttachToSite(&site, 0, QString());
    panel.show();
    QCoreApplication::processEvents();
    qint64 switched = 0, ours = 0, theirs = 0, plainShown = 0;
    PlainView plain(panel.brw_item->table());
    for (int i = 0; i < kSwitches; ++i) {
        const int user = 1 + (i * 37) % kUsers;
        if (i % 2 == 1) theirs += bareTimed(QStringLiteral(" WHERE user_id=?"), {user});
        QElapsedTimer t;
        t.start();
        panel.cbo_user->fill(); // the list opened,
        panel.cbo_user->setCurrentIndex(panel.cbo_user->findData(user)); // and a user picked
        switched += t.nsecsElapsed();
        settle();
        ours += t.nsecsElapsed();
        if (panel.brw_item->loadedRows() != 200) fail(QStringLiteral("user %1: %2 rows").arg(user).arg(panel.brw_item->loadedRows()));
        if (i % 2 == 0) theirs += bareTimed(QStringLiteral(" WHERE user_id=?"), {user});
        plainShown += plain.show(conn->db(), panel.brw_item->query().select() + QStringLiteral(" LIMIT 200"), panel.brw_item->query().binds);
    }
    std::printf("%s user switch: %.2f ms filled, %.2f ms until shown, bare select %.2f ms\n", qPrintable(engine),
                switched / 1e6 / kSwitches, ours / 1e6 / kSwitches, theirs / 1e6 / kSwitches);
    std::printf("%s user switch filled ratio: %.2f\n", qPrintable(engine), double(switched) / double(theirs));
    std::printf("%s user switch ratio: %.2f\n", qPrintable(engine), double(ours) / double(theirs));
    std::printf("%s user switch: plain view %.2f ms until shown\n", qPrintable(engine), plainShown / 1e6 / kSwitches);
    std::printf("%s user switch shown vs plain view ratio: %.2f\n", qPrintable(engine), double(ours) / double(plainShown));

    // Deep in the whole log: the page after row 900,000, read as the list reads its next page.
    panel.selectUser(-1);
    const TableDef& view = *conn->tableDef(Tables::MenuLogView);
    const QList<const ColumnDef*> sorted{view.column(QStringLiteral("log_date")), view.column(QStringLiteral("id"))};
    deepPage(panel.brw_item->query(), 900000, 10 * kRounds,
             [&](const Controls::PagedQuery::Statement& st, const std::function<void(const QVariantList&)>& row) {
                 for (const QVariantList& r : conn->select(st.sql, st.binds)) row(r);
             },
             [&](const QVariantList& values) {
                 QVariantList out;
                 for (int i = 0; i < values.size(); ++i) out << conn->engine().toDb(*sorted[i], conn->engine().fromDb(*sorted[i], values[i]));
                 return out;
             },
             qPrintable(engine));
    std::printf("%s opening memory: %ld KiB on 1,000,000 rows, %ld KiB on 10,000\n", qPrintable(engine), bigKiB, smallKiB);
    std::printf("%s opening memory ratio: %.2f\n", qPrintable(engine), double(std::max(bigKiB, 1L)) / double(std::max(smallKiB, 1L)));
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // The panels under the style the shell gives them.
    NexoFrame::Controls::keepStyleIcons();
    QTemporaryDir dir;
    run(QStringLiteral("sqlite"), dir.filePath(QStringLiteral("small.sqlite")), dir.filePath(QStringLiteral("logs.sqlite")));
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    ServerDatabase small(server, QStringLiteral("nexo_bench_logs_small"));
    ServerDatabase db(server, QStringLiteral("nexo_bench_logs"));
    run(QStringLiteral("postgres"), small.target(), db.target());
    return 0;
}
