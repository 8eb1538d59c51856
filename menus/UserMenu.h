#pragma once
#include "IUserMenu.h"
#include <QObject>

namespace NexoFrame {

// What the shell calls to let a user keep his own menu items through frmUserMenu.
// A new item is seen by its creator only, until an administrator gives it to roles.
class UserMenu : public QObject, public IUserMenu {
    Q_OBJECT
    Q_INTERFACES(NexoFrame::IUserMenu)
public:
    explicit UserMenu(QObject* parent = nullptr);
    ~UserMenu() override;

    bool AddItem(IAddinSite* site, int parentId) override;
    bool EditItem(IAddinSite* site, int id) override;
    bool DeleteItem(IAddinSite* site, int id) override;
};

} // namespace NexoFrame
