#pragma once

class QWidget;

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

// What a database of an older layout leads to after the login (SchemaUpgrade::gate).
enum class AfterLogin {
    Work,  // the database is ready: the main window opens
    Quit,  // the user chose not to upgrade now: the shell ends, nothing written
    Stop   // refused, or the upgrade failed: the shell ends with a failure
};

// A holder of the upgrade key is asked whether to upgrade, with a backup offered first; anyone
// else is told to ask an administrator. On the console (an unattended run) nobody is asked:
// an upgrade waits for a login at the screen.
AfterLogin passUpgradeGate(QWidget* parent, Connection& connection, int userId);

// The backup offered before an upgrade ("Adatbázis mentése…"); false when none was made.
bool backupBeforeUpgrade(QWidget* parent, Connection& connection, int userId);

} // namespace NexoFrame::Shell
