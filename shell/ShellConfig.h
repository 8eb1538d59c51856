#pragma once
#include "ConfigTransfer.h"
#include <QDialog>

class QCheckBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

// The rights keys of the system menu's commands.
inline const QString kConfigExportRight = QStringLiteral("mainframe_config_export");
inline const QString kConfigImportRight = QStringLiteral("mainframe_config_import");
inline const QString kDatabaseBackupRight = QStringLiteral("mainframe_database_backup");

// "Beállítások importálása": what a file would add, change and leave, and the import itself.
class ConfigImportDialog : public QDialog {
    Q_OBJECT
public:
    ConfigImportDialog(Connection& connection, ConfigImport plan, QWidget* parent = nullptr);

    QTreeWidget* tree_changes = nullptr;
    QLabel* lbl_summary = nullptr;
    QCheckBox* chk_same = nullptr;
    QPushButton* cmd_import = nullptr;

    // What the import wrote (after accept).
    const ConfigImport& plan() const { return m_plan; }

private:
    void fill();
    void runImport();

    Connection& m_connection;
    ConfigImport m_plan;
};

// The system menu's commands. An empty path asks for one. True when something was written.
bool exportConfiguration(QWidget* parent, Connection& connection, int userId, QString path = {});
bool importConfiguration(QWidget* parent, Connection& connection, int userId, QString path = {});
// "Adatbázis mentése…": a copy of the whole database while others work on (Backup::backup).
bool backupDatabase(QWidget* parent, Connection& connection, int userId, QString path = {});

} // namespace NexoFrame::Shell
