#include "RightsPath.h"
#include "Connection.h"
#include <QHash>

namespace NexoFrame {

namespace {

QString slotList(const QList<int>& held)
{
    QStringList l;
    for (int s : held) l << QString::number(s);
    return l.join(QStringLiteral(", "));
}

} // namespace

namespace {

// The user and his group, and the slots he holds through it.
RightPath whoIs(Connection& c, int userId)
{
    RightPath p;
    p.userId = userId;
    const QList<QVariantList> user = c.select(
        QStringLiteral("SELECT display_name, user_name, del_status, access_denied, user_group_id FROM qnd_user WHERE id=?"), {userId});
    if (!user.isEmpty()) {
        p.userFound = true;
        p.userName = user[0][0].toString();
        p.login = user[0][1].toString();
        p.userLive = user[0][2].toInt() == 0;
        p.userBarred = user[0][3].toLongLong() != 0 || user[0][3].toBool();
        p.groupId = user[0][4].toInt();
        const QList<QVariantList> group = c.select(QStringLiteral("SELECT name, del_status FROM qnd_user_group WHERE id=?"), {p.groupId});
        if (!group.isEmpty()) {
            p.groupFound = true;
            p.groupName = group[0][0].toString();
            p.groupLive = group[0][1].toInt() == 0;
        }
    }
    // The slots through the group: none unless user and group are both in order.
    p.groupSlots = c.roleSlotsOf(userId);
    return p;
}

QList<int> rolesOf(const QVariantList& row, int from)
{
    QList<int> l;
    for (int i = 0; i < 10; ++i)
        if (row[from + i].toLongLong() != 0 || row[from + i].toBool()) l << i;
    return l;
}

QString authColumns()
{
    QStringList l;
    for (int i = 0; i < 10; ++i) l << QStringLiteral("auth_%1").arg(i);
    return l.join(QLatin1Char(','));
}

// The decision over the units whose prefix begins the key (longest first, each knowing
// whether it counts): the longest that count decide; a slot the group holds and a deciding
// unit holds grants. The rights test, the why-path and the effective rights all end here.
void decide(RightPath& p, QList<RightUnit> units)
{
    int bestLength = -1;
    for (RightUnit& r : units) {
        const int len = int(r.prefix.size());
        if (r.counts && (bestLength < 0 || len == bestLength)) {
            bestLength = len;
            r.deciding = true;
            for (int s : std::as_const(r.roles))
                if (p.groupSlots.contains(s) && !p.sharedSlots.contains(s)) p.sharedSlots << s;
        }
    }
    std::sort(p.sharedSlots.begin(), p.sharedSlots.end());
    p.units = units;
    p.granted = !p.sharedSlots.isEmpty();

    if (p.key.isEmpty()) p.reason = QStringLiteral("Nincs megadva jogosultsági kulcs.");
    else if (p.userId >= 0 && !p.userFound) p.reason = QStringLiteral("Nincs ilyen felhasználó.");
    else if (p.userId >= 0 && !p.userLive) p.reason = QStringLiteral("A felhasználó törölve van.");
    else if (p.userId >= 0 && p.userBarred) p.reason = QStringLiteral("A felhasználó hozzáférése le van tiltva.");
    else if (!p.groupFound) p.reason = QStringLiteral("A csoport nem létezik.");
    else if (!p.groupLive) p.reason = QStringLiteral("A csoport törölve van.");
    else if (bestLength < 0) p.reason = QStringLiteral("Egyetlen élő jogosultság előtagja sem illeszkedik a kulcsra.");
    else if (p.granted)
        p.reason = QStringLiteral("Engedélyezve: a csoport és a döntő jogosultság közös szerepköre: %1.").arg(slotList(p.sharedSlots));
    else p.reason = QStringLiteral("Tiltva: a döntő jogosultság egyik szerepkörét sem birtokolja a csoport.");
}

} // namespace

RightPath explainRight(Connection& c, int userId, const QString& key)
{
    RightPath p = whoIs(c, userId);
    p.key = key.trimmed();
    QList<RightUnit> found;
    if (!p.key.isEmpty()) {
        // Every live unit whose prefix begins the key: the key's beginnings, looked up in the
        // "prefix" index (a prefix is at most as long as its column).
        const ColumnDef* prefixColumn = c.tableDef(Tables::AuthUnit)->column(QStringLiteral("prefix"));
        const int longest = std::min(int(p.key.size()), prefixColumn->length > 0 ? prefixColumn->length : int(p.key.size()));
        QVariantList beginnings;
        QStringList marks;
        for (int len = 1; len <= longest; ++len) {
            beginnings << p.key.left(len);
            marks << QStringLiteral("?");
        }
        const QList<QVariantList> units = c.select(QStringLiteral("SELECT id, parent_id, prefix, name, %1 FROM qnd_auth_unit "
                                                                  "WHERE del_status=0 AND prefix IN (%2) ORDER BY length(prefix) DESC, id")
                                                       .arg(authColumns(), marks.join(QLatin1Char(','))),
                                                   beginnings);
        for (const QVariantList& u : units) {
            RightUnit r;
            r.id = u[0].toInt();
            r.prefix = u[2].toString();
            r.name = u[3].toString();
            r.roles = rolesOf(u, 4);
            // A unit below a deleted unit is gone from the tree and grants nothing.
            QVariant parent = u[1];
            for (int depth = 0; r.counts && parent.toInt() > 0 && depth < 64; ++depth) {
                const auto up = c.select(QStringLiteral("SELECT parent_id, del_status FROM qnd_auth_unit WHERE id=?"), {parent});
                if (up.isEmpty()) break;
                if (up[0][1].toInt() != 0) {
                    r.counts = false;
                    r.deletedAbove = parent.toInt();
                }
                parent = up[0][0];
            }
            found << r;
        }
    }
    decide(p, found);
    return p;
}

QList<RightPath> effectiveRights(Connection& c, int userId, int groupId)
{
    RightPath base;
    if (userId >= 0) {
        base = whoIs(c, userId);
    } else {
        base.groupId = groupId;
        const QList<QVariantList> g = c.select(QStringLiteral("SELECT name, del_status, %1 FROM qnd_user_group WHERE id=?").arg(authColumns()), {groupId});
        if (!g.isEmpty()) {
            base.groupFound = true;
            base.groupName = g[0][0].toString();
            base.groupLive = g[0][1].toInt() == 0;
            if (base.groupLive) base.groupSlots = rolesOf(g[0], 2);
        }
    }
    // Every unit once; whether it counts, walked up once per unit with what is known.
    struct Row {
        int parent;
        bool live;
        RightUnit unit;
    };
    QHash<int, Row> all;
    for (const QVariantList& u : c.select(QStringLiteral("SELECT id, parent_id, prefix, name, del_status, %1 FROM qnd_auth_unit").arg(authColumns()))) {
        Row r{u[1].toInt(), u[4].toInt() == 0, {}};
        r.unit.id = u[0].toInt();
        r.unit.prefix = u[2].toString();
        r.unit.name = u[3].toString();
        r.unit.roles = rolesOf(u, 5);
        all.insert(r.unit.id, r);
    }
    QHash<QString, QList<RightUnit>> byPrefix;
    for (auto it = all.begin(); it != all.end(); ++it) {
        Row& r = *it;
        if (!r.live || r.unit.prefix.isEmpty()) continue;
        int parent = r.parent;
        for (int depth = 0; r.unit.counts && parent > 0 && depth < 64; ++depth) {
            const auto up = all.constFind(parent);
            if (up == all.constEnd()) break;
            if (!up->live) {
                r.unit.counts = false;
                r.unit.deletedAbove = parent;
            }
            parent = up->parent;
        }
        byPrefix[r.unit.prefix] << r.unit;
    }
    QStringList keys = byPrefix.keys();
    keys.sort();
    QList<RightPath> out;
    out.reserve(keys.size());
    for (const QString& key : std::as_const(keys)) {
        // The units whose prefix begins this key: its own and every shorter one on the way.
        QList<RightUnit> found;
        for (int len = int(key.size()); len > 0; --len) {
            QList<RightUnit> same = byPrefix.value(key.left(len));
            std::sort(same.begin(), same.end(), [](const RightUnit& a, const RightUnit& b) { return a.id < b.id; });
            found += same;
        }
        RightPath p = base;
        p.key = key;
        decide(p, found);
        out << p;
    }
    return out;
}

} // namespace NexoFrame
