#pragma once
#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

// The rights key of "Naplók karbantartása…".
inline const QString kLogMaintenanceRight = QStringLiteral("mainframe_logs_maintain");

// "Naplók karbantartása": how long each log keeps its rows, and archiving and deleting the
// older ones (LogKeeping), for holders of the key.
class LogMaintenanceDialog : public QDialog {
    Q_OBJECT
public:
    LogMaintenanceDialog(Connection& connection, QWidget* parent = nullptr);

    // The keeping periods in days (0: for ever), in LogKeeping's order of the logs.
    QSpinBox* spn_days[4] = {};
    // How many rows each period would archive now.
    QLabel* lbl_older[4] = {};
    QLineEdit* txt_folder = nullptr;
    QPushButton* cmd_save = nullptr;
    QPushButton* cmd_prune = nullptr;
    QPushButton* cmd_close = nullptr;
    QLabel* lbl_result = nullptr;

    // Saves the periods shown; false after saying why not.
    bool savePeriods();
    // Saves them, asks, then archives and deletes the older rows; true when done.
    bool prune();

private:
    void countOlder();
    Connection& m_connection;
};

// The system menu's command: the dialog, after the rights test. True when it was shown.
bool maintainLogs(QWidget* parent, Connection& connection, int userId);

} // namespace NexoFrame::Shell
