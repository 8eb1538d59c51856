#include "Access.h"
#include "Connection.h"
#include "RightsPath.h"
#include "TestDatabase.h"
#include <QRandomGenerator>
#include <QTest>

using namespace NexoFrame;

namespace {

struct Unit {
    int id, parent;
    QString prefix;
    bool live;
    QList<int> roles;
};
struct User {
    int id, group;
    bool live, barred;
};
struct Group {
    bool live;
    QList<int> roles;
};

// The rule as the README writes it, worked out on the rows in memory.
bool oracle(const QHash<int, Unit>& units, const QHash<int, Group>& groups, const User& u, const QString& key)
{
    if (!u.live || u.barred || !groups.contains(u.group) || !groups[u.group].live) return false;
    int best = -1;
    QList<const Unit*> deciding;
    for (const Unit& x : units) {
        if (!x.live || x.prefix.isEmpty() || !key.startsWith(x.prefix)) continue;
        bool counts = true;
        for (int p = x.parent, depth = 0; counts && p > 0 && units.contains(p) && depth < 64; p = units[p].parent, ++depth)
            counts = units[p].live;
        if (!counts) continue;
        if (x.prefix.size() > best) {
            best = int(x.prefix.size());
            deciding.clear();
        }
        if (x.prefix.size() == best) deciding << &x;
    }
    for (const Unit* d : deciding)
        for (int s : d->roles)
            if (groups[u.group].roles.contains(s)) return true;
    return false;
}

} // namespace

class tst_rightspath : public QObject {
    Q_OBJECT

private slots:
    // Random trees of units, groups and users: the why-path, the rights test, the effective
    // rights and the rule worked out independently agree on every pair asked.
    void agreesOnRandomTrees()
    {
        TestDatabase db;
        auto c = db.open(Connection::DemoData::None);
        QRandomGenerator rnd(20261123);
        const auto boolean = [&](int percent) { return int(rnd.bounded(100)) < percent; };
        const auto b = [&](bool v) { return c->engine().storedBool(v); };
        for (int round = 0; round < 2; ++round) {
            QVERIFY(c->execute(QStringLiteral("DELETE FROM qnd_auth_unit")));
            QVERIFY(c->execute(QStringLiteral("DELETE FROM qnd_user")));
            QVERIFY(c->execute(QStringLiteral("DELETE FROM qnd_user_group")));
            QHash<int, Unit> units;
            QHash<int, Group> groups;
            QList<User> users;
            const char letters[] = "abc_";
            for (int id = 1; id <= 120; ++id) {
                Unit u{id, id > 3 && boolean(85) ? int(rnd.bounded(id - 1)) + 1 : 0, QString(), !boolean(12), {}};
                // Short prefixes over a small alphabet: many prefixes of one another.
                const int len = boolean(5) ? 0 : int(rnd.bounded(1, 5));
                for (int i = 0; i < len; ++i) u.prefix += QLatin1Char(letters[rnd.bounded(4)]);
                for (int s = 0; s < RoleSet::kSlots; ++s)
                    if (boolean(20)) u.roles << s;
                units.insert(id, u);
                QVariantList row{id, u.parent, QStringLiteral("Egység %1").arg(id), u.prefix, u.live ? 0 : 2};
                for (int s = 0; s < RoleSet::kSlots; ++s) row << b(u.roles.contains(s));
                QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, del_status, auth_0, auth_1, auth_2, "
                                                  "auth_3, auth_4, auth_5, auth_6, auth_7, auth_8, auth_9) "
                                                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                                   row));
            }
            for (int id = 1; id <= 6; ++id) {
                Group g{!boolean(15), {}};
                for (int s = 0; s < RoleSet::kSlots; ++s)
                    if (boolean(25)) g.roles << s;
                groups.insert(id, g);
                QVariantList row{id, QStringLiteral("Csoport %1").arg(id), g.live ? 0 : 2};
                for (int s = 0; s < RoleSet::kSlots; ++s) row << b(g.roles.contains(s));
                QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_user_group (id, name, del_status, auth_0, auth_1, auth_2, auth_3, auth_4, "
                                                  "auth_5, auth_6, auth_7, auth_8, auth_9) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                                   row));
            }
            for (int id = 1; id <= 12; ++id) {
                User u{id, int(rnd.bounded(1, 8)), !boolean(10), boolean(10)}; // group 7 does not exist
                users << u;
                QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_user (id, user_group_id, user_name, display_name, del_status, access_denied) "
                                                  "VALUES (?, ?, ?, ?, ?, ?)"),
                                   {id, u.group, QStringLiteral("u%1").arg(id), QStringLiteral("Felhasználó %1").arg(id), u.live ? 0 : 2,
                                    b(u.barred)}));
            }
            // Keys: every prefix, each with a tail, and strings no prefix begins.
            QStringList keys;
            for (const Unit& u : std::as_const(units))
                if (!u.prefix.isEmpty()) keys << u.prefix << u.prefix + QLatin1Char(letters[rnd.bounded(4)]);
            keys << QStringLiteral("zzz") << QStringLiteral("x_a");
            keys.removeDuplicates();

            int pairs = 0, granted = 0;
            for (const User& u : std::as_const(users)) {
                QHash<QString, bool> effective;
                for (const RightPath& p : effectiveRights(*c, u.id)) effective.insert(p.key, p.granted);
                for (const QString& key : std::as_const(keys)) {
                    const bool want = oracle(units, groups, u, key);
                    const RightPath p = explainRight(*c, u.id, key);
                    QVERIFY2(p.granted == want, qPrintable(QStringLiteral("user %1, key %2: %3").arg(u.id).arg(key, p.reason)));
                    QCOMPARE(rightsTest(*c, u.id, key), want);
                    if (effective.contains(key)) QCOMPARE(effective.value(key), want);
                    // A unit under a deleted one is on the path, marked as not counting.
                    for (const RightUnit& r : p.units)
                        if (!r.counts) QVERIFY(r.deletedAbove > 0 && !units[r.deletedAbove].live && !r.deciding);
                    ++pairs;
                    granted += want;
                }
            }
            QVERIFY(pairs > 1000);
            QVERIFY(granted > 0 && granted < pairs); // both answers were asked
        }
    }
};

QTEST_MAIN(tst_rightspath)
#include "tst_rightspath.moc"
