#include "cDDXMenu.h"
#include "EditDialog.h"
#include "ErrorList.h"
#include "Module.h"
#include "Connection.h"
#include "ModuleTexts.h"
#include "Schema.h"
#include "frmMenu.h"
#include "frmUserMenu.h"

namespace NexoFrame {

const QString cDDXMenu::kBaseMenuReadOnly = QStringLiteral("A rendszer alap menüszerkezete nem módosítható!");

cDDXMenu::cDDXMenu(QObject* parent) : cDDXRecord(parent) { init(); }

int cDDXMenu::tableNumber() const { return Tables::Menu; }

bool cDDXMenu::isProtected(int id) { return !module().systemEdit() && id < Keys::kFirstOwnKey; }

void cDDXMenu::checks()
{
    if (caption().trimmed().isEmpty()) AddError(eError, kFieldCheckNumber, ModuleTexts::kCaptionRequired);
    if (access_key().trimmed().isEmpty())
        AddError(eError, kFieldCheckNumber, QStringLiteral("A gyorsbillenytű megadása kötelező!"));
}

eReturnValue cDDXMenu::ShowForm() { return EditDialog::showFor<frmMenu>(this); }
eReturnValue cDDXMenu::ShowUserForm() { return EditDialog::showFor<frmUserMenu>(this); }

} // namespace NexoFrame
