#pragma once
#include <QtPlugin>

namespace NexoFrame {

class IAddinSite;

// The forms through which a user keeps his own menu items, opened by the module for the
// shell. Each returns true when something was saved.
class IUserMenu {
public:
    virtual ~IUserMenu() = default;
    // A new item under parentId (0: a first-level entry).
    virtual bool AddItem(IAddinSite* site, int parentId) = 0;
    virtual bool EditItem(IAddinSite* site, int id) = 0;
    // Asks first; errors are listed to the user.
    virtual bool DeleteItem(IAddinSite* site, int id) = 0;
};

} // namespace NexoFrame

#define NexoFrame_IUserMenu_iid "hu.quandra.NexoFrame.IUserMenu/1.0"
Q_DECLARE_INTERFACE(NexoFrame::IUserMenu, NexoFrame_IUserMenu_iid)
