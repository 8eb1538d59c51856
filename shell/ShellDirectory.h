#pragma once
#include "Directory.h"
#include "DirectorySync.h"
#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QTreeWidget;

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

// The rights keys of the directory's commands in the system menu.
inline const QString kDirectorySettingsRight = QStringLiteral("mainframe_directory_settings");
inline const QString kDirectorySyncRight = QStringLiteral("mainframe_directory_sync");

// "Címtár beállításai": where the users are read from (section LDAP), with "Kapcsolat próbája",
// which binds and counts what a sync would read. OK saves.
class DirectorySettingsDialog : public QDialog {
    Q_OBJECT
public:
    DirectorySettingsDialog(Connection& connection, QWidget* parent = nullptr);

    // The settings as the fields stand.
    Directory::Config config() const;
    // Binds with the fields' settings and says in lbl_result what came of it; true when it
    // bound and found users.
    bool testConnection();

    QLineEdit* txt_urls = nullptr;
    QCheckBox* chk_start_tls = nullptr;
    QLineEdit* txt_ca_file = nullptr;
    QLineEdit* txt_bind_dn = nullptr;
    QLineEdit* txt_bind_password = nullptr;
    QLineEdit* txt_user_base = nullptr;
    QLineEdit* txt_user_filter = nullptr;
    QLineEdit* txt_login_attribute = nullptr;
    QLineEdit* txt_name_attribute = nullptr;
    QLineEdit* txt_mail_attribute = nullptr;
    QLineEdit* txt_phone_attribute = nullptr;
    QLineEdit* txt_group_base = nullptr;
    QLineEdit* txt_group_filter = nullptr;
    QComboBox* cbo_membership = nullptr;
    QComboBox* cbo_preset = nullptr;
    QPushButton* cmd_test = nullptr;
    QLabel* lbl_result = nullptr;

    void accept() override;

private:
    void applyPreset(int index);

    Connection& m_connection;
};

// "Címtár szinkronizálása": what a sync would do, read from the directory, and "Végrehajtás",
// which writes it as one change.
class DirectorySyncDialog : public QDialog {
    Q_OBJECT
public:
    DirectorySyncDialog(Connection& connection, Directory::SyncPlan plan, QWidget* parent = nullptr);

    QTreeWidget* tree_changes = nullptr;
    QLabel* lbl_summary = nullptr;
    QPushButton* cmd_apply = nullptr;

private:
    void apply();

    Connection& m_connection;
    Directory::SyncPlan m_plan;
};

// "Címtár szinkronizálása…" for a holder of its right: reads the directory, shows the preview.
// True when the sync was written.
bool syncDirectory(QWidget* parent, Connection& connection, int userId);
// The same without a window (--sync-directory): what it does goes to the console. False with
// `message` when the directory or the database failed.
bool syncDirectory(Connection& connection, QString* message);

// "Címtár beállításai…" for a holder of its right. True when the settings were saved.
bool editDirectorySettings(QWidget* parent, Connection& connection, int userId);
// The directory's commands the user's rights allow, added to the system menu; true when any.
bool addDirectoryCommands(QMenu* menu, Connection& connection, int userId);

} // namespace NexoFrame::Shell
