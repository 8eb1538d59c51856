// The rights explorer on 100,000 units, 10,000 users and 1,000,000 kept changes, per
// engine: one why-path, one user's effective rights, and a role's state at a past moment,
// each against the bare indexed selects such an answer needs at least.
#include "BenchSupport.h"
#include "Connection.h"
#include "RightsHistory.h"
#include "RightsPath.h"
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSqlRecord>
#include <QTemporaryDir>

using namespace NexoFrame;
using namespace NexoFrame::Bench;

namespace {

constexpr int kUnits = 100000;
constexpr int kGroups = 1000;
constexpr int kUsers = 10000;
constexpr int kChanges = 1000000;
const int kRounds = qEnvironmentVariableIntValue("BENCH_ROUNDS") > 0 ? qEnvironmentVariableIntValue("BENCH_ROUNDS") : 5;

QString base36(int n) { return QString::number(n, 36); }

// A tree about seven deep whose prefixes grow along it ("k_1_2s_..."), groups with a few
// slots, users spread over them, and changes of the units' slots over two years.
QHash<int, QString> generate(Connection& c)
{
    QSqlQuery q(c.db());
    exec(q, QStringLiteral("BEGIN"));
    QHash<int, QString> prefixes;
    QHash<int, int> parents;
    quint32 seed = 7;
    const auto next = [&](quint32 n) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) % n;
    };
    for (int from = 1; from <= kUnits; from += 1000) {
        QStringList v;
        for (int id = from; id < from + 1000 && id <= kUnits; ++id) {
            const int parent = id <= 8 ? 0 : 1 + int(next(quint32(id / 6 + 1)));
            parents.insert(id, parent);
            const QString prefix = (parent ? prefixes.value(parent) : QStringLiteral("k")) + QLatin1Char('_') + base36(id);
            prefixes.insert(id, prefix);
            QStringList flags;
            for (int s = 0; s < RoleSet::kSlots; ++s) flags << (next(4) == 0 ? c.boolLiteral(true) : c.boolLiteral(false));
            v << QStringLiteral("(%1,%2,'Egység %1','%3',%4,%5)").arg(id).arg(parent).arg(prefix.left(100)).arg(next(50) == 0 ? 2 : 0)
                     .arg(flags.join(QLatin1Char(',')));
        }
        exec(q, QStringLiteral("INSERT INTO qnd_auth_unit (id,parent_id,name,prefix,del_status,auth_0,auth_1,auth_2,auth_3,auth_4,"
                               "auth_5,auth_6,auth_7,auth_8,auth_9) VALUES ")
                    + v.join(QLatin1Char(',')));
    }
    {
        QStringList v;
        for (int g = 1; g <= kGroups; ++g) {
            QStringList flags;
            for (int s = 0; s < RoleSet::kSlots; ++s) flags << (next(5) == 0 ? c.boolLiteral(true) : c.boolLiteral(false));
            v << QStringLiteral("(%1,'Csoport %1',0,%2)").arg(g).arg(flags.join(QLatin1Char(',')));
        }
        exec(q, QStringLiteral("INSERT INTO qnd_user_group (id,name,del_status,auth_0,auth_1,auth_2,auth_3,auth_4,auth_5,auth_6,auth_7,"
                               "auth_8,auth_9) VALUES ")
                    + v.join(QLatin1Char(',')));
    }
    for (int from = 1; from <= kUsers; from += 1000) {
        QStringList v;
        for (int u = from; u < from + 1000 && u <= kUsers; ++u)
            v << QStringLiteral("(%1,%2,'u%1','Felhasználó %1',0)").arg(u).arg(1 + next(kGroups));
        exec(q, QStringLiteral("INSERT INTO qnd_user (id,user_group_id,user_name,display_name,del_status) VALUES ") + v.join(QLatin1Char(',')));
    }
    const QDateTime start(QDate(2025, 1, 1), QTime(8, 0));
    for (int from = 1; from <= kChanges; from += 2000) {
        QStringList v;
        for (int id = from; id < from + 2000 && id <= kChanges; ++id) {
            const bool on = next(2);
            v << QStringLiteral("(%1,'%2',1,'qnd_auth_unit',%3,'auth_%4','%5','%6')")
                     .arg(id)
                     .arg(start.addSecs(qint64(id) * 60).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")))
                     .arg(1 + next(kUnits))
                     .arg(next(10))
                     .arg(on ? 0 : 1)
                     .arg(on ? 1 : 0);
        }
        exec(q, QStringLiteral("INSERT INTO qnd_rights_history (id,changed_at,user_id,table_name,row_id,column_name,old_value,new_value) VALUES ")
                    + v.join(QLatin1Char(',')));
    }
    exec(q, QStringLiteral("COMMIT"));
    exec(q, QStringLiteral("ANALYZE"));
    return prefixes;
}

void run(const QString& engine, const QString& target)
{
    const QByteArray name = engine.toUtf8();
    const char* e = name.constData();
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    QElapsedTimer made;
    made.start();
    const QHash<int, QString> prefixes = generate(*conn);
    std::printf("%s: 100,000 units, 10,000 users, 1,000,000 changes made in %.1f s\n", e, made.elapsed() / 1000.0);
    Connection& c = *conn;
    // Each statement prepared once, as the connection keeps its own.
    QHash<QString, QSqlQuery> prepared;
    const auto readAll = [&](const QString& sql, const QVariantList& binds) {
        auto it = prepared.find(sql);
        if (it == prepared.end()) {
            it = prepared.insert(sql, QSqlQuery(c.db()));
            it->setForwardOnly(true);
            if (!it->prepare(sql)) fail(it->lastError().text());
        }
        QSqlQuery& bare = *it;
        for (int i = 0; i < binds.size(); ++i) bare.bindValue(i, binds[i]);
        if (!bare.exec()) fail(bare.lastError().text());
        QList<QVariantList> rows;
        const int n = bare.record().count();
        while (bare.next()) {
            QVariantList r;
            for (int i = 0; i < n; ++i) r << bare.value(i);
            rows << r;
        }
        bare.finish();
        return rows;
    };
    const QString auth = QLatin1Char(',') + RoleSet::columns();

    // 1. One why-path: a deep unit's key with a tail, for users in turn.
    qint64 ours = 0, theirs = 0;
    int deep = kUnits;
    while (prefixes.value(deep).count(QLatin1Char('_')) < 6) --deep;
    const QString key = prefixes.value(deep) + QStringLiteral("_uj");
    const int asks = 50 * kRounds;
    for (int i = 0; i < asks; ++i) {
        const int user = 1 + (i * 193) % kUsers;
        QElapsedTimer t;
        t.start();
        const RightPath p = explainRight(c, user, key);
        ours += t.nsecsElapsed();
        if (p.units.isEmpty()) fail(QStringLiteral("no unit begins the key"));
        t.restart();
        // What the answer needs at least: the user, the group, the units for the key's
        // beginnings, and the rows above each of them.
        const QList<QVariantList> u = readAll(QStringLiteral("SELECT display_name,user_name,del_status,access_denied,user_group_id FROM qnd_user WHERE id=?"), {user});
        readAll(QStringLiteral("SELECT name,del_status%1 FROM qnd_user_group WHERE id=?").arg(auth), {u.value(0).value(4)});
        QVariantList beginnings;
        QStringList marks;
        for (int len = 1; len <= key.size(); ++len) {
            beginnings << key.left(len);
            marks << QStringLiteral("?");
        }
        const QList<QVariantList> units = readAll(QStringLiteral("SELECT id,parent_id,prefix,name%1 FROM qnd_auth_unit WHERE del_status=0 AND prefix IN (%2)")
                                                      .arg(auth, marks.join(QLatin1Char(','))),
                                                  beginnings);
        // Up to the first deleted unit, as the answer walks.
        for (const QVariantList& unit : units)
            for (QVariant parent = unit.value(1); parent.toInt() > 0;) {
                const QVariantList up = readAll(QStringLiteral("SELECT parent_id, del_status FROM qnd_auth_unit WHERE id=?"), {parent}).value(0);
                if (up.value(1).toInt() != 0) break;
                parent = up.value(0);
            }
        theirs += t.nsecsElapsed();
    }
    std::printf("%s why-path: %.3f ms, bare selects %.3f ms\n", e, ours / 1e6 / asks, theirs / 1e6 / asks);
    std::printf("%s why-path ratio: %.2f\n", e, double(ours) / double(theirs));

    // 2. One user's effective rights over every unit.
    ours = theirs = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int user = 1 + round * 997 % kUsers;
        QElapsedTimer t;
        t.start();
        const QList<RightPath> all = effectiveRights(c, user);
        ours += t.nsecsElapsed();
        if (all.size() < kUnits / 2) fail(QStringLiteral("%1 keys only").arg(all.size()));
        t.restart();
        const QList<QVariantList> u = readAll(QStringLiteral("SELECT display_name,user_name,del_status,access_denied,user_group_id FROM qnd_user WHERE id=?"), {user});
        readAll(QStringLiteral("SELECT name,del_status%1 FROM qnd_user_group WHERE id=?").arg(auth), {u.value(0).value(4)});
        if (readAll(QStringLiteral("SELECT id,parent_id,prefix,name,del_status%1 FROM qnd_auth_unit").arg(auth), {}).size() != kUnits) fail(QStringLiteral("units"));
        theirs += t.nsecsElapsed();
    }
    std::printf("%s effective rights: %.1f ms, bare selects %.1f ms\n", e, ours / 1e6 / kRounds, theirs / 1e6 / kRounds);
    std::printf("%s effective rights ratio: %.2f\n", e, double(ours) / double(theirs));

    // 3. A role's state at a past moment: the current column, put back by the changes since.
    ours = theirs = 0;
    for (int round = 0; round < kRounds; ++round) {
        const QDateTime moment = QDateTime(QDate(2025, 1, 1), QTime(8, 0)).addSecs(qint64(kChanges - 20000 * (round + 1)) * 60);
        const QString column = RoleSet::column(round % RoleSet::kSlots);
        QElapsedTimer t;
        t.start();
        const QHash<int, QString> state = columnAt(c, QStringLiteral("qnd_auth_unit"), column, moment);
        ours += t.nsecsElapsed();
        if (state.size() != kUnits) fail(QStringLiteral("state of %1 units").arg(state.size()));
        t.restart();
        readAll(QStringLiteral("SELECT id, %1 FROM qnd_auth_unit").arg(column), {});
        readAll(QStringLiteral("SELECT row_id, old_value FROM qnd_rights_history WHERE table_name = ? AND column_name = ? AND changed_at > ? "
                               "ORDER BY changed_at DESC, id DESC"),
                {QStringLiteral("qnd_auth_unit"), column, moment.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))});
        theirs += t.nsecsElapsed();
    }
    std::printf("%s state at a moment: %.1f ms, bare selects %.1f ms\n", e, ours / 1e6 / kRounds, theirs / 1e6 / kRounds);
    std::printf("%s state at a moment ratio: %.2f\n", e, double(ours) / double(theirs));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    run(QStringLiteral("sqlite"), dir.filePath(QStringLiteral("explorer.sqlite")));
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    ServerDatabase db(server, QStringLiteral("nexo_bench_explorer"));
    run(QStringLiteral("postgres"), db.target());
    return 0;
}
