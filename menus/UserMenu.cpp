#include "UserMenu.h"
#include "Access.h"
#include "ErrorHandler.h"
#include "ErrorList.h"
#include "IAddin.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "cDDXMenu.h"
#include "cMessage2.h"

namespace NexoFrame {

namespace {

// Runs one action under the module's error path, after taking the host's connection and user.
bool withSite(IAddinSite* site, const char* procedure, const std::function<bool()>& action)
{
    bool done = false;
    StepRunner r(QStringLiteral("NexoFrame.UserMenu ") + QString::fromLatin1(procedure));
    r.step([&] { module().takeSite(site); });
    r.step([&] { done = action(); });
    return done;
}

} // namespace

UserMenu::UserMenu(QObject* parent) : QObject(parent) { Module::objectCreated(); }
UserMenu::~UserMenu() { Module::objectDestroyed(); }

bool UserMenu::AddItem(IAddinSite* site, int parentId)
{
    return withSite(site, "AddItem", [&] {
        cDDXMenu item;
        item.set_parent_id(std::max(parentId, 0));
        item.set_custom_menu(true);
        for (int i = 0; i < RoleSet::kSlots; ++i) item.setValue(RoleSet::column(i), false);
        return item.ShowUserForm() == rvOK;
    });
}

bool UserMenu::EditItem(IAddinSite* site, int id)
{
    return withSite(site, "EditItem", [&] {
        cDDXMenu item;
        return item.CoreLoad(id) && item.ShowUserForm() == rvOK;
    });
}

bool UserMenu::DeleteItem(IAddinSite* site, int id)
{
    return withSite(site, "DeleteItem", [&] {
        if (module().message().MsgQuestionYesNo(ModuleTexts::kConfirmDelete) != 2) return false;
        cDDXMenu item;
        if (item.CoreLoad(id) && item.Delete() && item.CoreUpdate()) return true;
        ShowErrorList(QStringLiteral("Hiba lista"));
        return false;
    });
}

} // namespace NexoFrame
