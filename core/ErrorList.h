#pragma once
#include "Enums.h"
#include <QString>

namespace NexoFrame {

// Appends an entry to the module's Errors.
void AddError(eErrorType type, long number, const QString& description);

// Shows the collected entries in the error list, modally, and empties Errors.
// False at once when there is nothing to show; otherwise true when the user cancelled
// and false when the warnings were accepted with OK, so the caller goes on.
bool ShowErrorList(const QString& caption);

} // namespace NexoFrame
