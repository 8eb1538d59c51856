#include "LockRetry.h"
#include "Connection.h"
#include "Module.h"
#include "cMessage2.h"

namespace NexoFrame {

bool LockWithRetry(Connection& c, const std::function<bool(int)>& tryLock)
{
    int retries = 0;
    for (;;) {
        // The quiet tries wait for the holder: a save takes milliseconds, so a user meets the
        // question only when someone keeps the database locked.
        if (tryLock(retries == 0 ? 0 : kQuietLockWaitMs)) return true;
        if (retries < 3) {
            ++retries;
            continue;
        }
        if (module().message().MsgQuestionYesNo(
                QStringLiteral("Az adatállományt a rendszer nem tudja lokkolni. Valószinűleg valaki más is használja "
                               "az adatbázist."),
                QStringLiteral("Megpróbáljam újból?"))
            != 2)
            return false;
        c.idle(1);
        retries = 0;
    }
}

} // namespace NexoFrame
