#pragma once
#include <functional>

namespace NexoFrame {

class Connection;

// Takes a lock that other users may hold: three quiet tries, then the question whether to
// try again, for as long as the user answers yes. False when the user gave up.
bool LockWithRetry(Connection& connection, const std::function<bool()>& tryLock);

} // namespace NexoFrame
