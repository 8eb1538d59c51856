#pragma once
#include "Access.h"
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

// The live menu items a holder sees, nested by parent and in sort order. An item is seen when
// it shares at least one role slot with him or is his own (he created it); a hidden item
// hides its subtree, and a folder left without visible items is dropped unless it is his own.
QList<MenuEntry> visibleMenu(Connection& connection, const Holder& holder);
// The menu of a user as it stands now: empty unless he is live and his group too.
QList<MenuEntry> userMenu(Connection& connection, int userId);
// Every item of such a menu, at any depth.
QSet<int> menuIds(const QList<MenuEntry>& menu);
// The first item of such a menu that opens this panel (ProgID) in this mode, or nullptr.
const MenuEntry* menuItemFor(const QList<MenuEntry>& menu, const QString& progId, int mode);
// Whether a user may open a panel in a mode: his menu, as it stands now, holds an item for it.
// The shell opens nothing else, however it is asked.
bool mayOpenPanel(Connection& connection, int userId, const QString& progId, int mode);

} // namespace NexoFrame
