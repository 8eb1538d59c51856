#pragma once
#include <QHash>
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
// The role slots a user holds through his group, as bits: none unless he is live and not
// barred and his group is live.
unsigned userRoles(Connection& connection, int userId);
unsigned roleBits(const QList<int>& held);

// A user who may log in, with the slots he holds.
struct LiveUser {
    int id = 0;
    QString name; // display name
    unsigned roles = 0;
};
// Every live, not barred user of a live group, in one read.
QList<LiveUser> liveUsers(Connection& connection);

// The live menu items a holder of `roles` sees, nested by parent and in sort order. An item
// is seen when it shares at least one role slot with the holder or when `userId` created it
// (his own items); a hidden item hides its subtree, and a folder left without visible items
// is dropped unless it is his own.
QList<MenuEntry> visibleMenu(Connection& connection, unsigned roles, int userId = -1);
// Every item of such a menu, at any depth.
QSet<int> menuIds(const QList<MenuEntry>& menu);
// The first item of such a menu that opens this panel (ProgID) in this mode, or nullptr.
const MenuEntry* menuItemFor(const QList<MenuEntry>& menu, const QString& progId, int mode);
// Whether a user may open a panel in a mode: his menu, as it stands now, holds an item for it.
// The shell opens nothing else, however it is asked.
bool mayOpenPanel(Connection& connection, int userId, const QString& progId, int mode);

// Who may use an OLAP report: the report and every folder above it are live and each shares
// a role slot with the user's live group, as a menu item's folders must. One read of the tree
// answers for any number of holders; a cell may be set as a tick would leave it, to say what
// the tick would change.
class OlapAccess {
public:
    explicit OlapAccess(Connection& connection);

    // The cell auth_<slot> of a row, as a tick would set it (nothing is written).
    void setCell(int id, int slot, bool ticked);
    bool cell(int id, int slot) const;
    // Whether a holder of `roles` reaches the row (a report or a folder): it and every row
    // above it live and sharing a slot with him.
    bool reaches(int id, unsigned roles) const;
    // The reports a holder of `roles` may use.
    QSet<int> reports(unsigned roles) const;
    // Those reports and the folders above them: the tree he is shown.
    QSet<int> shownTree(unsigned roles) const;
    // Which of `users` reach a row (id -> name).
    QHash<int, QString> usersReaching(const QList<LiveUser>& users, int id) const;

private:
    struct Row {
        int parent = 0;
        unsigned roles = 0;
        bool report = false;
    };
    QHash<int, Row> m_rows; // the live rows
};

} // namespace NexoFrame
