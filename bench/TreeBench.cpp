#include "StandardIcon.h"
#include "TreeBench.h"
#include "Access.h"
#include "BenchSupport.h"
#include "Connection.h"
#include "IAddin.h"
#include "TreePanel.h"
#include <QApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <sys/resource.h>

namespace NexoFrame::Bench {

namespace {

constexpr int kRows = 100000;
constexpr int kSubtree = 10000; // descendants of row 1
constexpr int kBatch = 500;

double msSince(const QElapsedTimer& t) { return double(t.nsecsElapsed()) / 1e6; }

// A random tree of depth up to 8. Row 1 holds exactly kSubtree descendants, spread over the
// whole key range as rows created over the years are; the rest hang below a handful of other
// first-level rows.
void generate(Connection& c, const TableDef& t, const TreeBenchSpec& spec)
{
    QRandomGenerator rng(42);
    const int firstLevel = 20;
    QVector<bool> inSubtree(kRows + 1, false);
    for (int placed = 0; placed < kSubtree;) {
        const int id = firstLevel + 1 + int(rng.bounded(kRows - firstLevel));
        if (!inSubtree[id]) {
            inSubtree[id] = true;
            ++placed;
        }
    }
    QVector<int> depth(kRows + 1, 0), parentOf(kRows + 1, 0);
    QVector<int> subtree{1}, others;
    for (int i = 2; i <= firstLevel; ++i) others << i;
    for (int id = firstLevel + 1; id <= kRows; ++id) {
        QVector<int>& pool = inSubtree[id] ? subtree : others;
        int parent;
        do parent = pool[int(rng.bounded(int(pool.size())))];
        while (depth[parent] >= 7);
        depth[id] = depth[parent] + 1;
        parentOf[id] = parent;
        pool << id;
    }
    const QString yes = c.boolLiteral(true), no = c.boolLiteral(false);
    QString fixed = QStringLiteral(",%1").arg(yes);
    for (int i = 1; i < RoleSet::kSlots; ++i) fixed += QLatin1Char(',') + no;
    fixed += QStringLiteral(",0,0,1,1,-1");
    QSqlQuery q(c.db());
    exec(q, QStringLiteral("BEGIN"));
    for (int from = 1; from <= kRows; from += kBatch) {
        QStringList values;
        for (int id = from; id < from + kBatch && id <= kRows; ++id)
            values << QStringLiteral("(%1,%2,'%3 %4'%5%6)")
                          .arg(id)
                          .arg(parentOf[id])
                          .arg(spec.textPrefix)
                          .arg(id, 6, 10, QLatin1Char('0'))
                          .arg(spec.extraValues, fixed);
        exec(q, QStringLiteral("INSERT INTO %1 (id,parent_id,%2%3,auth_0,auth_1,auth_2,auth_3,auth_4,auth_5,auth_6,auth_7,"
                               "auth_8,auth_9,del_status,temp_status,create_user,last_action_user_id1,"
                               "last_action_user_id2) VALUES ")
                    .arg(t.name, spec.textColumn, spec.extraColumns)
                    + values.join(QLatin1Char(',')));
    }
    exec(q, QStringLiteral("INSERT INTO qnd_user (id,user_group_id,user_name,display_name,del_status) "
                           "VALUES (1,1,'bench','Bench',0)"));
    exec(q, QStringLiteral("COMMIT"));
    exec(q, QStringLiteral("ANALYZE"));
}

void run(const QString& engine, const QString& target, const TreeBenchSpec& spec)
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    const TableDef& t = *conn->tableDef(spec.table);
    {
        QElapsedTimer g;
        g.start();
        generate(*conn, t, spec);
        std::printf("%s: %d rows of %s made in %.1f s, row 1 has %d descendants\n", qPrintable(engine), kRows,
                    qPrintable(t.name), msSince(g) / 1000, int(conn->liveDescendants(spec.table, 1).size()));
    }
    // The bare side works on the same connection, in the same Hungarian order (on a file, by the
    // text's sort key column, which the index serves).
    QSqlDatabase& bare = conn->db();
    const QString order = conn->engine().orderTerm(QStringLiteral("parent_id"), false) + QLatin1Char(',')
                        + conn->engine().orderTerm(conn->engine().sortExpression(&t, spec.textColumn), false);
    auto bareSelect = [&] {
        QElapsedTimer timer;
        timer.start();
        QSqlQuery q(bare);
        q.setForwardOnly(true);
        exec(q, QStringLiteral("SELECT id,parent_id,%1,auth_1,del_status FROM %2 ORDER BY %3").arg(spec.textColumn, t.name, order));
        qint64 n = 0;
        while (q.next()) n += q.value(0).toInt() > 0;
        return msSince(timer);
    };
    BenchSite site(conn.get());
    double attachMs = 1e18, selectMs = 1e18;
    for (int round = 0; round < 3; ++round) {
        selectMs = std::min(selectMs, bareSelect());
        QElapsedTimer timer;
        timer.start();
        std::unique_ptr<TreePanel> panel = spec.makePanel();
        panel->resize(900, 700);
        panel->IAddin_AttachToSite(&site, 1, QString());
        panel->show();
        QCoreApplication::processEvents();
        attachMs = std::min(attachMs, msSince(timer));
    }
    std::printf("%s attach: %.1f ms, bare select of all %d rows: %.1f ms\n", qPrintable(engine), attachMs, kRows, selectMs);
    std::printf("%s attach ratio: %.2f\n", qPrintable(engine), attachMs / selectMs);

    std::unique_ptr<TreePanel> panel = spec.makePanel();
    panel->IAddin_AttachToSite(&site, 1, QString());
    panel->show();
    QCoreApplication::processEvents();
    QList<int> ids{1};
    ids += conn->liveDescendants(spec.table, 1);
    double tickMs = 1e18, updateMs = 1e18;
    bool on = true;
    for (int round = 0; round < 3; ++round, on = !on) {
        {
            QElapsedTimer timer;
            timer.start();
            QSqlQuery q(bare);
            exec(q, QStringLiteral("BEGIN"));
            if (!q.prepare(QStringLiteral("UPDATE %1 SET auth_2=? WHERE id=?").arg(t.name))) fail(q.lastError().text());
            const QVariant value = conn->engine().storedBool(on);
            for (int id : std::as_const(ids)) {
                q.bindValue(0, value);
                q.bindValue(1, id);
                if (!q.exec()) fail(q.lastError().text());
            }
            QSqlQuery commit(bare);
            exec(commit, QStringLiteral("COMMIT"));
            updateMs = std::min(updateMs, msSince(timer));
        }
        QElapsedTimer timer;
        timer.start();
        panel->nodeOf(1)->setCheckState(0, on ? Qt::Checked : Qt::Unchecked);
        tickMs = std::min(tickMs, msSince(timer));
        const int granted = conn->select(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE auth_1=?").arg(t.name),
                                         {conn->engine().storedBool(true)}).value(0).value(0).toInt();
        if (granted != (on ? int(ids.size()) : 0))
            fail(QStringLiteral("the tick wrote %1 rows").arg(granted));
    }
    std::printf("%s tick: %.1f ms for %d rows, bare updates: %.1f ms\n", qPrintable(engine), tickMs, int(ids.size()), updateMs);
    std::printf("%s tick ratio: %.2f\n", qPrintable(engine), tickMs / updateMs);
    std::fflush(stdout);
}

long peakKb()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

} // namespace

int runTreeBench(int argc, char** argv, const TreeBenchSpec& spec)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // The panels under the style the shell gives them.
    NexoFrame::Controls::keepStyleIcons();
    QTemporaryDir dir;
    run(QStringLiteral("sqlite"), dir.filePath(QStringLiteral("bench.sqlite")), spec);
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
    } else {
        ServerDatabase db(server, QStringLiteral("nexo_bench_tree"));
        run(QStringLiteral("postgres"), db.target(), spec);
    }
    std::printf("peak memory: %ld KiB\n", peakKb());
    return 0;
}

} // namespace NexoFrame::Bench
