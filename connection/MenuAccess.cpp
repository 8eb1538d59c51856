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

} // namespace NexoFrame
