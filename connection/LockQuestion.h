#pragma once
#include <QString>

namespace NexoFrame {

// What a write asks when another user keeps the master lock past the quiet tries
// (Connection::lockWithRetry). Whoever has the widgets asks it: the module through its
// message box, the shell and a control without a host through a plain question box.
struct LockQuestion {
    static QString message()
    {
        return QStringLiteral("Az adatállományt a rendszer nem tudja lokkolni. Valószinűleg valaki más is használja az adatbázist.");
    }
    static QString retry() { return QStringLiteral("Megpróbáljam újból?"); }
    // Both, for a box that shows one text.
    static QString text() { return message() + QLatin1Char('\n') + retry(); }
};

} // namespace NexoFrame
