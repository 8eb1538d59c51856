#pragma once
#include <QString>

namespace NexoFrame {

class Connection;

// The settings store (qnd_settings, by section and key; SettingKeys.h names them). A setting
// that holds a secret (Secrets.h) is kept sealed in qnd_secret instead, which no reader of
// users' SQL is given. Reached as Connection::settings().
class Settings {
public:
    explicit Settings(Connection& c) : m_c(c) {}

    QString read(const QString& section, const QString& key, const QString& defaultValue = {});
    bool write(const QString& section, const QString& key, const QString& value);
    // Whether users are kept here (MAINFRAME / CentralUserManagement 0), not in another system.
    bool userManagementLocal();

private:
    Connection& m_c;
};

} // namespace NexoFrame
