#include "cDDXUserGroup.h"
#include "Connection.h"
#include "ErrorList.h"
#include "frmUserGroup.h"

namespace NexoFrame {

cDDXUserGroup::cDDXUserGroup(QObject* parent) : cDDXRecord(parent) { init(); }

int cDDXUserGroup::tableNumber() const { return Tables::UserGroup; }

void cDDXUserGroup::checks()
{
    if (name().trimmed().isEmpty()) {
        AddError(eError, kFieldCheckNumber, QStringLiteral("A megnevezés megadása kötelező!"));
        return;
    }
    if (!connection()->isUnique(tableNumber(), QStringLiteral("id"), QStringLiteral("name"), name(), id()))
        AddError(eError, kFieldCheckNumber, QStringLiteral("A megnevezésnek egyedinek kell lennie!"));
}

eReturnValue cDDXUserGroup::ShowForm() { return EditDialog::showFor<frmUserGroup>(this); }

} // namespace NexoFrame
