#include "cDDXAuthUnit.h"
#include "ErrorList.h"
#include "Schema.h"
#include "frmAuthUnit.h"

namespace NexoFrame {

cDDXAuthUnit::cDDXAuthUnit(QObject* parent) : cDDXRecord(parent) { init(); }

int cDDXAuthUnit::tableNumber() const { return Tables::AuthUnit; }

void cDDXAuthUnit::checks()
{
    if (name().trimmed().isEmpty()) AddError(eError, kFieldCheckNumber, QStringLiteral("A név megadása kötelező!"));
    if (prefix().trimmed().isEmpty())
        AddError(eError, kFieldCheckNumber, QStringLiteral("A frefix megadása kötelező!"));
}

eReturnValue cDDXAuthUnit::ShowForm() { return EditDialog::showFor<frmAuthUnit>(this); }

} // namespace NexoFrame
