#include "LockRetry.h"
#include "Connection.h"
#include "Module.h"
#include "cMessage2.h"
#include <QThread>

namespace NexoFrame {

bool LockWithRetry(Connection& c, const std::function<bool()>& tryLock)
{
    int retries = 0;
    for (;;) {
        if (tryLock()) return true;
        if (retries < 3) {
            // A short pause gives the holder time to finish before the next quiet try.
            QThread::msleep(30);
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
