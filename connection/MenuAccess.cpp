#include "MenuAccess.h"
#include "Connection.h"
#include <QHash>
#include <QSet>

namespace NexoFrame {

namespace {

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

QList<MenuEntry> visibleMenu(Connection& c, const Holder& holder)
{
    auto rs = c.openRecordset(Tables::Menu);
    rs->setIndex(QStringLiteral("sort_order"));
    QHash<int, QList<MenuEntry>> byParent;
    for (rs->moveFirst(); !rs->eof(); rs->moveNext()) {
        if (rs->field(QStringLiteral("del_status")).toInt() != 0) continue;
        const bool own = holder.owns(rs->field(QStringLiteral("create_user")).toInt());
        if (!own && !holder.reaches(RoleSet::fromRecord(*rs))) continue;
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

QList<MenuEntry> userMenu(Connection& c, int userId) { return visibleMenu(c, userHolder(c, userId)); }

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
    return menuItemFor(userMenu(c, userId), wanted, mode) != nullptr;
}

} // namespace NexoFrame
