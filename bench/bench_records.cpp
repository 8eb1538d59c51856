// One record written through the record lifecycle against the same row written by a bare
// prepared statement, and keyed reads through the recordset against a bare prepared select,
// on a database file, and on a PostgreSQL server when NEXO_TEST_PG names one (a new
// database is made there and dropped afterwards). Both sides use the same connection and
// take turns, so that neither gets the warmer cache. Every line names its engine.
#include "BenchSupport.h"
#include "Connection.h"
#include "Module.h"
#include "cDDXAuthUnit.h"
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QUrl>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <numeric>

using namespace NexoFrame;
using NexoFrame::Bench::fail;
using NexoFrame::Bench::ServerDatabase;

namespace {

constexpr int kWrites = 300;
constexpr int kReadRows = 100000;
constexpr int kReadBlock = 1000;

// The columns a record writes, in its order, and the same as bound values of a bare statement.
const QStringList kColumns = {"parent_id", "name", "prefix", "auth_0", "auth_1", "auth_2", "auth_3", "auth_4",
                              "auth_5", "auth_6", "auth_7", "auth_8", "auth_9", "del_status", "temp_status",
                              "create_user", "create_date", "last_action_user_id1", "last_action_date1",
                              "last_action_user_id2", "last_action_date2"};

// The values as the engine stores them, so that the bare side binds what the records bind.
QVariantList rowValues(const Engine& e, const QString& name)
{
    const TableDef& t = *Schema::instance().table(Tables::AuthUnit);
    const QDateTime now = QDateTime::currentDateTime();
    const QVariantList v{20, name, "bench_prefix", true, false, false, true, false, false, false, false, false, false,
                         0, 0, 1, now, 1, now, -1, now};
    QVariantList out;
    for (int i = 0; i < kColumns.size(); ++i) out << e.toDb(*t.column(kColumns[i]), v[i]);
    return out;
}

void run(QSqlQuery& q, const QString& sql)
{
    if (!q.exec(sql)) fail(sql + ": " + q.lastError().text());
}

struct Times {
    qint64 ours = 0, bare = 0;
    QList<qint64> oursEach, bareEach;
    void add(bool bareSide, qint64 ns) { (bareSide ? bare : ours) += ns; (bareSide ? bareEach : oursEach) << ns; }
};

qint64 median(QList<qint64> l)
{
    std::sort(l.begin(), l.end());
    return l.isEmpty() ? 0 : l[l.size() / 2];
}

QString g_engine;

// perTurn: operations in one timed turn, for the median of one operation.
void report(const char* what, const Times& t, int n, int perTurn = 1)
{
    std::printf("%s %s: lifecycle %.1f ms, bare %.1f ms for %d (median %.2f us vs %.2f us each)\n", qPrintable(g_engine),
                what, t.ours / 1e6, t.bare / 1e6, n, median(t.oursEach) / 1e3 / perTurn, median(t.bareEach) / 1e3 / perTurn);
    std::printf("%s %s ratio: %.2f\n", qPrintable(g_engine), what, double(t.ours) / double(t.bare));
    std::fflush(stdout);
}

// Runs both sides n times, the one going first switching every round.
Times alternate(int n, const std::function<void(int)>& ours, const std::function<void(int)>& bare)
{
    Times t;
    QElapsedTimer timer;
    for (int i = 0; i < n; ++i) {
        for (int side = 0; side < 2; ++side) {
            const bool bareSide = (side == 0) == (i % 2 == 1);
            timer.start();
            bareSide ? bare(i) : ours(i);
            t.add(bareSide, timer.nsecsElapsed());
        }
    }
    return t;
}

void writes(const QString& target)
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    module().setConnection(conn.get());
    module().setCurrentUserId(1);
    QSqlDatabase& db = conn->db();
    const Engine& engine = conn->engine();
    QSqlQuery tx(db);

    QStringList marks(kColumns.size() + 1, "?");
    QSqlQuery ins(db);
    if (!ins.prepare("INSERT INTO qnd_auth_unit (id," + kColumns.join(',') + ") VALUES (" + marks.join(',') + ")"))
        fail(ins.lastError().text());
    QStringList sets;
    for (const QString& c : kColumns) sets << c + "=?";
    QSqlQuery upd(db);
    if (!upd.prepare("UPDATE qnd_auth_unit SET " + sets.join(',') + " WHERE id=?")) fail(upd.lastError().text());

    // A raised key sends the records' keys above 1000000; the bare rows take 1, 2, ...
    run(tx, "INSERT INTO qnd_auth_unit (id, name) VALUES (1000000, 'magas kulcs')");
    QList<int> ourIds, bareIds;
    Times inserts = alternate(
        kWrites,
        [&](int i) {
            cDDXAuthUnit u;
            u.set_parent_id(20);
            u.set_name(QString("Egység %1").arg(i));
            u.set_prefix("bench_prefix");
            u.set_auth_3(true);
            if (!u.SetFinal() || !u.CoreUpdate()) fail("CoreUpdate (insert) failed");
            ourIds << u.id();
        },
        [&](int i) {
            run(tx, "BEGIN");
            ins.addBindValue(i + 1);
            for (const QVariant& v : rowValues(engine, QString("Egység %1").arg(i))) ins.addBindValue(v);
            if (!ins.exec()) fail(ins.lastError().text());
            run(tx, "COMMIT");
            bareIds << i + 1;
        });
    report("insert", inserts, kWrites);

    Times updates = alternate(
        kWrites,
        [&](int i) {
            cDDXAuthUnit u;
            if (!u.CoreLoad(ourIds[i])) fail("CoreLoad failed");
            u.set_name(QString("Módosított %1").arg(i));
            if (!u.SetFinal()) fail("SetFinal failed");
            u.SetModified();
            if (!u.CoreUpdate()) fail("CoreUpdate (update) failed");
        },
        [&](int i) {
            run(tx, "BEGIN");
            for (const QVariant& v : rowValues(engine, QString("Módosított %1").arg(i))) upd.addBindValue(v);
            upd.addBindValue(bareIds[i]);
            if (!upd.exec() || upd.numRowsAffected() != 1) fail(upd.lastError().text());
            run(tx, "COMMIT");
        });
    report("update", updates, kWrites);

    module().setConnection(nullptr);
}

void reads(const QString& target)
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    QSqlDatabase& db = conn->db();
    const Engine& engine = conn->engine();
    {
        QSqlQuery q(db);
        run(q, "BEGIN");
        QStringList marks(kColumns.size() + 1, "?");
        q.prepare("INSERT INTO qnd_auth_unit (id," + kColumns.join(',') + ") VALUES (" + marks.join(',') + ")");
        for (int id = 1; id <= kReadRows; ++id) {
            q.addBindValue(id);
            QVariantList v = rowValues(engine, QString("Egység %1").arg(id));
            v[0] = id / 10;
            for (const QVariant& x : v) q.addBindValue(x);
            if (!q.exec()) fail(q.lastError().text());
        }
        run(q, "COMMIT");
    }

    QList<int> keys(kReadRows);
    std::iota(keys.begin(), keys.end(), 1);
    std::shuffle(keys.begin(), keys.end(), *QRandomGenerator::global());

    // The columns the loop reads, as the bare select reads them (and as a reader of a few
    // columns opens a recordset).
    std::unique_ptr<Recordset> rs = conn->openRecordset(Tables::AuthUnit, {"id", "name", "prefix", "parent_id", "auth_3"});
    rs->setIndex("PrimaryKey");
    QSqlQuery sel(db);
    sel.setForwardOnly(true);
    if (!sel.prepare("SELECT name, prefix, parent_id, auth_3 FROM qnd_auth_unit WHERE id=?")) fail(sel.lastError().text());

    qint64 check = 0; // what was read, so that nothing is optimised away
    Times t = alternate(
        kReadRows / kReadBlock,
        [&](int b) {
            for (int i = b * kReadBlock; i < (b + 1) * kReadBlock; ++i) {
                if (!rs->seek({keys[i]})) fail("seek missed");
                check += rs->field("name").toString().size() + rs->field("prefix").toString().size()
                    + rs->field("parent_id").toInt() + rs->field("auth_3").toBool();
            }
        },
        [&](int b) {
            for (int i = b * kReadBlock; i < (b + 1) * kReadBlock; ++i) {
                sel.bindValue(0, keys[i]);
                if (!sel.exec() || !sel.next()) fail("select missed");
                check -= sel.value(0).toString().size() + sel.value(1).toString().size() + sel.value(2).toInt()
                    + sel.value(3).toBool();
                sel.finish();
            }
        });
    if (check != 0) fail("the two sides read different values");
    report("seek-read", t, kReadRows, kReadBlock);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    if (!dir.isValid()) fail("no temporary folder");
    g_engine = "sqlite";
    writes(dir.filePath("writes.db"));
    reads(dir.filePath("reads.db"));

    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    g_engine = "postgres";
    {
        ServerDatabase db(server, "nexo_bench_writes");
        writes(db.target());
    }
    {
        ServerDatabase db(server, "nexo_bench_reads");
        reads(db.target());
    }
    return 0;
}
