#pragma once
#include <QList>
#include <QString>

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

// One visible item of the main menu.
struct MenuEntry {
    int id = 0;
    QString caption;
    QString accessKey;
    QString className;         // ProgID of the panel; empty for a folder
    QString parameterS;
    int parameterI = 0;
    QList<MenuEntry> children;

    bool isFolder() const { return className.isEmpty(); }
};

// The role slots held by a user group, one bit per slot (bit i = auth_i). A missing group
// holds none.
unsigned groupRoles(Connection& connection, int groupId);

// The live menu items a holder of `roles` sees, nested by parent and in sort order. An item
// is seen when it shares at least one role slot with the holder; a hidden item hides its
// subtree, and a folder left without visible items is dropped.
QList<MenuEntry> visibleMenu(Connection& connection, unsigned roles);

// The caption with its access key marked as the mnemonic when the key is a letter of the
// caption; literal '&'s are kept.
QString menuText(const QString& caption, const QString& accessKey);

// Records that `userId` opened menu item `menuId` now. Returns false with the reason.
bool writeMenuLog(Connection& connection, int userId, int menuId, QString* error);

} // namespace NexoFrame::Shell
