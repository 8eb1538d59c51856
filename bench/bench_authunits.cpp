// The rights tree on a large database: attaching the panel against one bare select of the
// table, and ticking a node with 10,000 descendants against updating the same rows one by
// one with a prepared statement.
#include "AuthUnits.h"
#include "Connection.h"
#include "IAddin.h"
#include "Module.h"
#include "RoleTicks.h"
#include <QApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <cstdio>
#include <sys/resource.h>

using namespace NexoFrame;

namespace {

constexpr int kRows = 100000;
constexpr int kSubtree = 10000; // descendants of unit 1

class Site : public IAddinSite {
public:
    explicit Site(Connection* c) : m_c(c) {}
    Connection* connection() override { return m_c; }
    int currentUserId() override { return 1; }

private:
    Connection* m_c;
};

// A random tree of depth up to 8. Unit 1 holds exactly kSubtree descendants, spread over
// the whole key range as units created over the years are; the rest hang below a handful of
// other first-level units.
void generate(QSqlDatabase& db)
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
    QVector<int> depth(kRows + 1, 0);
    QVector<int> subtree{1}, others;
    for (int i = 2; i <= firstLevel; ++i) others << i;
    QSqlQuery q(db);
    q.exec(QStringLiteral("BEGIN"));
    q.prepare(QStringLiteral("INSERT INTO qnd_auth_unit (id,parent_id,name,prefix,auth_0,auth_1,auth_2,auth_3,auth_4,"
                             "auth_5,auth_6,auth_7,auth_8,auth_9,del_status,temp_status,create_user,last_action_user_id1,"
                             "last_action_user_id2) VALUES (?,?,?,?,-1,0,0,0,0,0,0,0,0,0,0,0,1,1,-1)"));
    for (int id = 1; id <= kRows; ++id) {
        int parent = 0;
        if (id > firstLevel) {
            QVector<int>& pool = inSubtree[id] ? subtree : others;
            do parent = pool[int(rng.bounded(int(pool.size())))];
            while (depth[parent] >= 7);
            depth[id] = depth[parent] + 1;
            pool << id;
        }
        q.addBindValue(id);
        q.addBindValue(parent);
        q.addBindValue(QStringLiteral("Jogosultság %1").arg(id, 6, 10, QLatin1Char('0')));
        q.addBindValue(QStringLiteral("bench_%1").arg(id));
        if (!q.exec()) qFatal("insert: %s", qPrintable(q.lastError().text()));
    }
    q.exec(QStringLiteral("COMMIT"));
}

long peakKb()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss;
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("bench.sqlite"));
    QString err;
    auto conn = Connection::openDatabase(path, Connection::DemoData::None, &err);
    if (!conn) qFatal("%s", qPrintable(err));
    // The bare side works on the same connection (its file has the Hungarian collation).
    QSqlDatabase& bare = conn->db();
    generate(bare);
    // One user so that attach finds its name.
    QSqlQuery(bare).exec(QStringLiteral("INSERT INTO qnd_user (id,user_group_id,user_name,display_name,del_status) "
                                        "VALUES (1,1,'bench','Bench',0)"));
    std::printf("database: %d units, unit 1 has %d descendants\n", kRows, int(conn->liveDescendants(Tables::AuthUnit, 1).size()));

    // Attach until the tree is on screen, against one bare select of every row.
    auto bareSelect = [&] {
        QElapsedTimer t;
        t.start();
        QSqlQuery q(bare);
        q.setForwardOnly(true);
        q.exec(QStringLiteral("SELECT id,parent_id,name,auth_1,del_status FROM qnd_auth_unit ORDER BY parent_id,name"));
        qint64 n = 0;
        while (q.next()) n += q.value(0).toInt() > 0;
        return double(t.nsecsElapsed()) / 1e6;
    };
    Site site(conn.get());
    double attachMs = 1e18, selectMs = 1e18;
    for (int round = 0; round < 3; ++round) {
        selectMs = std::min(selectMs, bareSelect());
        QElapsedTimer t;
        t.start();
        AuthUnits panel;
        panel.resize(900, 700);
        panel.IAddin_AttachToSite(&site, 1, QString());
        panel.show();
        QCoreApplication::processEvents();
        attachMs = std::min(attachMs, double(t.nsecsElapsed()) / 1e6);
    }
    std::printf("attach: %.1f ms, bare select of all %d rows: %.1f ms\n", attachMs, kRows, selectMs);
    std::printf("attach ratio: %.2f\n", attachMs / selectMs);

    // Tick unit 1 (10,000 descendants) against updating the same rows one by one.
    AuthUnits panel;
    panel.IAddin_AttachToSite(&site, 1, QString());
    panel.show();
    QCoreApplication::processEvents();
    QList<int> ids{1};
    ids += conn->liveDescendants(Tables::AuthUnit, 1);
    double tickMs = 1e18, updateMs = 1e18;
    bool on = true;
    for (int round = 0; round < 3; ++round, on = !on) {
        {
            QElapsedTimer t;
            t.start();
            QSqlQuery q(bare);
            q.exec(QStringLiteral("BEGIN"));
            q.prepare(QStringLiteral("UPDATE qnd_auth_unit SET auth_2=? WHERE id=?"));
            for (int id : ids) {
                q.bindValue(0, on ? -1 : 0);
                q.bindValue(1, id);
                q.exec();
            }
            QSqlQuery(bare).exec(QStringLiteral("COMMIT"));
            updateMs = std::min(updateMs, double(t.nsecsElapsed()) / 1e6);
        }
        QElapsedTimer t;
        t.start();
        panel.nodeOf(1)->setCheckState(0, on ? Qt::Checked : Qt::Unchecked);
        tickMs = std::min(tickMs, double(t.nsecsElapsed()) / 1e6);
    }
    auto check = conn->select(QStringLiteral("SELECT COUNT(*) FROM qnd_auth_unit WHERE auth_1<>0"));
    std::printf("tick: %.1f ms for %d rows, bare updates: %.1f ms (rows granted now: %d)\n", tickMs, int(ids.size()),
                updateMs, check.value(0).value(0).toInt());
    std::printf("tick ratio: %.2f\n", tickMs / updateMs);
    {
        QElapsedTimer t;
        t.start();
        auto d = conn->liveDescendants(Tables::AuthUnit, 1);
        const double walkMs = double(t.nsecsElapsed()) / 1e6;
        t.restart();
        conn->lockMaster();
        conn->beginTrans();
        auto all = conn->openRecordset(Tables::AuthUnit);
        Recordset& rs = *all;
        rs.setIndex(QStringLiteral("PrimaryKey"));
        for (int id : ids) {
            rs.seek({id});
            rs.edit();
            rs.setField(QStringLiteral("auth_3"), true);
            rs.update();
        }
        conn->commitTrans();
        conn->unlockMaster();
        std::printf("  of which: descendant walk %.1f ms, full-row recordset seek+update of every row %.1f ms\n", walkMs,
                    double(t.nsecsElapsed()) / 1e6);
    }
    std::printf("peak memory: %ld KiB\n", peakKb());
    return 0;
}
