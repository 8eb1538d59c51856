#pragma once
#include "AdminPanel.h"
#include <functional>
#include <memory>

class QMenu;
class QSplitter;
class QToolBar;

namespace NexoFrame {

namespace Controls {
class BrowseView;
}
class cDDXRecord;

// The user groups and, beside them, the users of the selected group. Under centralised
// user management the lists are only read.
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

    void NewGroup();
    void ModifyGroup();
    void DeleteGroup();
    void NewUser();
    void ModifyUser();
    void DeleteUser();

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
};

} // namespace NexoFrame
