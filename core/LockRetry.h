#pragma once
#include <functional>

namespace NexoFrame {

class Connection;

// Takes a lock that other users may hold: one try, three quiet tries that each wait a
// moment for the holder to finish, then the question whether to try again, for as long as
// the user answers yes. False when the user gave up. tryLock gets how long it may wait (ms).
bool LockWithRetry(Connection& connection, const std::function<bool(int waitMs)>& tryLock);

// How long one quiet try waits for another user's save to end.
inline constexpr int kQuietLockWaitMs = 250;

} // namespace NexoFrame
