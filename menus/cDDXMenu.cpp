#include "cDDXMenu.h"
#include "EditDialog.h"
#include "ErrorList.h"
#include "Module.h"
#include "Schema.h"
#include "frmMenu.h"
#include "frmUserMenu.h"

namespace NexoFrame {

const QString cDDXMenu::kBaseMenuReadOnly = QStringLiteral("A rendszer alap menüszerkezete nem módosítható!");

cDDXMenu::cDDXMenu(QObject* parent) : cDDXRecord(parent) { init(); }

int cDDXMenu::tableNumber() const { return Tables::Menu; }

bool cDDXMenu::isProtected(int id) { return !module().systemEdit() && id < kFirstOwnKey; }

int cDDXMenu::adjustNewKey(int key)
{
    // Items an installation adds live above the base menu; the key service moves past them.
    return module().systemEdit() ? key : std::max(key, kFirstOwnKey);
}

bool cDDXMenu::Delete()
{
    if (isProtected(id())) {
        AddError(eError, kFieldCheckNumber, kBaseMenuReadOnly);
        return false;
    }
    return cDDXRecord::Delete();
}

void cDDXMenu::checks()
{
    if (caption().trimmed().isEmpty()) AddError(eError, kFieldCheckNumber, QStringLiteral("A felirat megadása kötelező!"));
    if (access_key().trimmed().isEmpty())
        AddError(eError, kFieldCheckNumber, QStringLiteral("A gyorsbillenytű megadása kötelező!"));
    // A new item gets its key only when saved, and then above the base menu.
    if (isProtected(id()) && (ItemStatus() == isLoaded || ItemStatus() == isModified))
        AddError(eError, kFieldCheckNumber, kBaseMenuReadOnly);
}

eReturnValue cDDXMenu::ShowForm() { return EditDialog::showFor<frmMenu>(this); }
eReturnValue cDDXMenu::ShowUserForm() { return EditDialog::showFor<frmUserMenu>(this); }

} // namespace NexoFrame
