#pragma once
#include "Connection.h"

namespace NexoFrame {

// The module's answer to a master lock that another user keeps past the quiet tries
// (Connection::lockWithRetry): the question in the module's message box, again for as long
// as the user answers yes. Every write of the panels and records passes it.
Transactions::AskAgain lockQuestion();

} // namespace NexoFrame
