#pragma once
#include <QList>
#include <QSet>
#include <QString>

namespace NexoFrame {

class Connection;

// One visible item of the main menu.
struct MenuEntry {
    int id = 0;
    QString caption;
    QString accessKey;
    QString className;         // ProgID of the panel, "SHELL" for an external program; empty for a folder
    QString parameterS;        // an external program's command line
    int parameterI = 0;
    QString pictureName;       // small picture, a file of the shell's icon folder
    bool toolbarVisible = false;
    bool own = false;          // the user added it himself
    QList<MenuEntry> children;

    bool isFolder() const { return className.isEmpty(); }
    bool isExternal() const { return className.compare(QLatin1String("SHELL"), Qt::CaseInsensitive) == 0; }
};

// The role slots held by a user group, one bit per slot (bit i = auth_i). A missing group
// holds none.
unsigned groupRoles(Connection& connection, int groupId);

// The live menu items a holder of `roles` sees, nested by parent and in sort order. An item
// is seen when it shares at least one role slot with the holder or when `userId` created it
// (his own items); a hidden item hides its subtree, and a folder left without visible items
// is dropped unless it is his own.
QList<MenuEntry> visibleMenu(Connection& connection, unsigned roles, int userId = -1);
// Every item of such a menu, at any depth.
QSet<int> menuIds(const QList<MenuEntry>& menu);

} // namespace NexoFrame
