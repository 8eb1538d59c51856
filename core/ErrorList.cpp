#include "ErrorList.h"
#include "Module.h"
#include "cMessage2.h"
#include "frmErrorMessage.h"

namespace NexoFrame {

void AddError(eErrorType type, long number, const QString& description)
{
    module().errors().add(type, number, description);
}

bool ShowErrorList(const QString& caption)
{
    Errors& errors = module().errors();
    if (errors.Count() == 0)
        return false;

    ArrowCursorScope cursor;
    eReturnValue result = rvCancel;
    {
        frmErrorMessage form;
        form.Initialize(caption);
        form.exec();
        result = form.ReturnValue();
    }
    errors.Clear();
    return result == rvCancel;
}

} // namespace NexoFrame
