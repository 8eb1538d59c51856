#include "MenuAccess.h"
#include "Connection.h"
#include <QHash>
#include <QSet>

namespace NexoFrame {

namespace {

constexpr int kSlots = 10;

unsigned rolesOf(const Recordset& rs)
{
    unsigned bits = 0;
    for (int i = 0; i < kSlots; ++i)
        if (rs.field(QStringLiteral("auth_%1").arg(i)).toBool()) bits |= 1u << i;
    return bits;
}

// Assembles the tree from the root down over the rows grouped by parent.
QList<MenuEntry> build(int parent, QHash<int, QList<MenuEntry>>& byParent, QSet<int>& placed)
{
    QList<MenuEntry> out;
    for (MenuEntry e : byParent.value(parent)) {
        // A broken tree (an item below itself) must not loop the shell.
        if (placed.contains(e.id)) continue;
        placed.insert(e.id);
        e.children = build(e.id, byParent, placed);
        // The user's own new folder stays, so that he can fill it.
        if (e.isFolder() && e.children.isEmpty() && !e.own) continue;
        out << e;
    }
    return out;
}

} // namespace

unsigned groupRoles(Connection& c, int groupId)
{
    auto rs = c.openRecordset(Tables::UserGroup);
    if (!rs->seek({groupId})) return 0;
    return rolesOf(*rs);
}

unsigned roleBits(const QList<int>& held)
{
    unsigned bits = 0;
    for (int s : held)
        if (s >= 0 && s < kSlots) bits |= 1u << s;
    return bits;
}

unsigned userRoles(Connection& c, int userId) { return roleBits(c.roleSlotsOf(userId)); }

QList<LiveUser> liveUsers(Connection& c)
{
    QList<LiveUser> out;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT u.id, u.display_name, %1 FROM qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id "
                                                         "WHERE u.del_status=0 AND g.del_status=0 AND NOT COALESCE(u.access_denied, FALSE) ORDER BY u.id")
                                              .arg(roleColumns(QStringLiteral("g")))))
        out << LiveUser{r[0].toInt(), r[1].toString(), roleBits(rolesIn(r, 2))};
    return out;
}

QList<MenuEntry> visibleMenu(Connection& c, unsigned roles, int userId)
{
    auto rs = c.openRecordset(Tables::Menu);
    rs->setIndex(QStringLiteral("sort_order"));
    QHash<int, QList<MenuEntry>> byParent;
    for (rs->moveFirst(); !rs->eof(); rs->moveNext()) {
        if (rs->field(QStringLiteral("del_status")).toInt() != 0) continue;
        const bool own = userId > 0 && rs->field(QStringLiteral("create_user")).toInt() == userId;
        if (!own && !(rolesOf(*rs) & roles)) continue;
        MenuEntry e;
        e.own = own;
        e.pictureName = rs->field(QStringLiteral("picture_name")).toString().trimmed();
        e.toolbarVisible = rs->field(QStringLiteral("toolbar_visible")).toBool();
        e.id = rs->field(QStringLiteral("id")).toInt();
        e.caption = rs->field(QStringLiteral("caption")).toString().trimmed();
        e.accessKey = rs->field(QStringLiteral("access_key")).toString().trimmed();
        e.className = rs->field(QStringLiteral("class_name")).toString().trimmed();
        e.parameterS = rs->field(QStringLiteral("parameter_s")).toString();
        e.parameterI = rs->field(QStringLiteral("parameter_i")).toInt();
        const int parent = rs->field(QStringLiteral("parent_id")).toInt();
        if (parent == e.id) continue;
        byParent[parent] << e;
    }
    QSet<int> placed;
    return build(0, byParent, placed);
}

QSet<int> menuIds(const QList<MenuEntry>& menu)
{
    QSet<int> ids;
    for (const MenuEntry& e : menu) ids += menuIds(e.children) + QSet<int>{e.id};
    return ids;
}

const MenuEntry* menuItemFor(const QList<MenuEntry>& menu, const QString& progId, int mode)
{
    for (const MenuEntry& e : menu) {
        if (!e.isFolder() && !e.isExternal() && e.className == progId && e.parameterI == mode) return &e;
        if (const MenuEntry* below = menuItemFor(e.children, progId, mode)) return below;
    }
    return nullptr;
}

bool mayOpenPanel(Connection& c, int userId, const QString& progId, int mode)
{
    const QString wanted = progId.trimmed();
    if (wanted.isEmpty()) return false;
    return menuItemFor(visibleMenu(c, userRoles(c, userId), userId), wanted, mode) != nullptr;
}

OlapAccess::OlapAccess(Connection& c)
{
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, parent_id, report_type, %1 FROM qnd_olap_report WHERE del_status=0").arg(roleColumns())))
        m_rows.insert(r[0].toInt(), Row{r[1].toInt(), roleBits(rolesIn(r, 3)), r[2].toInt() != 0});
}

void OlapAccess::setCell(int id, int slot, bool ticked)
{
    const auto it = m_rows.find(id);
    if (it == m_rows.end() || slot < 0 || slot >= kSlots) return;
    if (ticked) it->roles |= 1u << slot;
    else it->roles &= ~(1u << slot);
}

bool OlapAccess::cell(int id, int slot) const { return slot >= 0 && slot < kSlots && (m_rows.value(id).roles & (1u << slot)); }

bool OlapAccess::reaches(int id, unsigned roles) const
{
    // Up to the root: every row on the way live (a deleted or missing one is not in the map)
    // and sharing a slot. The bound ends the walk on a damaged tree that loops.
    for (int depth = 0; depth < 64; ++depth) {
        const auto it = m_rows.constFind(id);
        if (it == m_rows.constEnd() || !(it->roles & roles)) return false;
        if (it->parent == 0) return true;
        id = it->parent;
    }
    return false;
}

QSet<int> OlapAccess::reports(unsigned roles) const
{
    QSet<int> out;
    if (!roles) return out;
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it)
        if (it->report && reaches(it.key(), roles)) out << it.key();
    return out;
}

QSet<int> OlapAccess::shownTree(unsigned roles) const
{
    QSet<int> out;
    for (int id : reports(roles))
        for (int at = id; at != 0 && !out.contains(at); at = m_rows.value(at).parent) out << at;
    return out;
}

QHash<int, QString> OlapAccess::usersReaching(const QList<LiveUser>& users, int id) const
{
    QHash<int, QString> out;
    for (const LiveUser& u : users)
        if (reaches(id, u.roles)) out.insert(u.id, u.name);
    return out;
}

} // namespace NexoFrame
