#pragma once
#include "AdminPanel.h"
#include <QDateTime>
#include <QHash>
#include <QSet>
#include <functional>
#include <memory>

class QAction;
class QMenu;
class QSplitter;
class QToolBar;

namespace NexoFrame {

namespace Controls {
class BrowseView;
}
class cDDXRecord;
class LoginGuard;

// The user groups and, beside them, the users of the selected group. Under centralised
// user management a directory user is not deleted here (he leaves through the directory). A user whose name is locked by failed logins is
// marked in the "Belépés tiltva" column, and an administrator may lift the lock. Who logs in
// with a second step is marked in the "Kétlépcsős" column, and an administrator may remove it.
class Users : public AdminPanel {
    Q_OBJECT
public:
    explicit Users(QWidget* parent = nullptr);
    ~Users() override;

    Controls::BrowseView* brw_item = nullptr;   // groups
    Controls::BrowseView* brw_item_1 = nullptr; // users of the selected group
    QSplitter* splitter = nullptr;
    QToolBar* cmd_bar_class = nullptr;
    QToolBar* cmd_bar_class_1 = nullptr;
    QMenu* popup = nullptr;
    QMenu* popup_1 = nullptr;
    // "Felhasználó törlése" on the users' bar and menu; disabled for a directory user under
    // central management (the directory sync bars him instead).
    QAction* cmd_delete_user = nullptr;
    QAction* mnu_delete_user = nullptr;
    // "Zárolás feloldása" on the users' bar and menu; enabled for a locked user.
    QAction* cmd_unlock = nullptr;
    QAction* mnu_unlock = nullptr;
    // "Kétlépcsős azonosítás törlése" on the users' bar and menu; enabled for a user who has it on.
    QAction* cmd_two_step = nullptr;
    QAction* mnu_two_step = nullptr;

    void NewGroup();
    void ModifyGroup();
    void DeleteGroup();
    void NewUser();
    void ModifyUser();
    void DeleteUser();
    void UnlockUser();
    void RemoveTwoStep();

    // What the lock mark says for a row of the users' list: "Zárolva 14:35-ig", or nothing.
    QString lockText(int row) const;
    // The lock-out the panel reads; its clock may be set (tests move time with it).
    LoginGuard* loginGuard() const { return m_guard.get(); }
    // What the two-step column says for a row: "be" for a user who has set it up, or nothing.
    QString twoStepText(int row) const;

protected:
    void InitializeSite() override;

private:
    struct Command {
        QString barCaption;
        QString menuCaption;
        QString right;
        void (Users::*run)();
    };
    void buildCommands(QToolBar* bar, QMenu* menu, const QList<Command>& commands);
    // The shared shape of the commands on one list.
    void modify(Controls::BrowseView* list, const QString& right, std::unique_ptr<cDDXRecord> record);
    void remove(Controls::BrowseView* list, const QString& right, std::unique_ptr<cDDXRecord> record);
    void showNew(Controls::BrowseView* list, const QString& right, std::unique_ptr<cDDXRecord> record);
    // The locked names and the users with a second step, read once for each read of the
    // users' list (a query per row would not do for many users).
    void listRead();
    const QHash<QString, QDateTime>& locks() const;
    const QSet<int>& enrolled() const;
    void updateCommands();
    void commandsForCurrent();
    QString cellAt(int row, const char* column) const;

    std::unique_ptr<LoginGuard> m_guard;
    bool m_central = false; // users are kept in a directory (read at attaching)
    mutable QHash<QString, QDateTime> m_locked;
    mutable QDateTime m_locksRead; // the guard's time at the last read
    mutable bool m_locksStale = true;
    mutable QSet<int> m_enrolled;
    mutable bool m_enrolledStale = true;
};

} // namespace NexoFrame
