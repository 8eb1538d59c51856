#pragma once
#include <QHash>
#include <QString>
#include <QVariant>
#include <functional>

namespace NexoFrame {

class Connection;

// The settings store (qnd_settings, by section and key; SettingKeys.h names them). A setting
// that holds a secret (Secrets.h) is kept sealed in qnd_secret instead, which no reader of
// users' SQL is given. Reached as Connection::settings().
class Settings {
public:
    explicit Settings(Connection& c) : m_c(c) {}

    // Read once and kept until the connection's next idle (or this link's own write), as
    // settings change seldom and a save would otherwise ask for them every time.
    QString read(const QString& section, const QString& key, const QString& defaultValue = {});
    bool write(const QString& section, const QString& key, const QString& value);
    // Whether users are kept here (MAINFRAME / CentralUserManagement 0), not in another system.
    bool userManagementLocal();
    // Something else that changes as seldom as a setting (the company's own partner), kept
    // like one: `read` runs once until the next idle.
    QVariant kept(const QString& what, const std::function<QVariant()>& read)
    {
        auto it = m_kept.constFind(what);
        if (it == m_kept.constEnd()) it = m_kept.insert(what, read());
        return *it;
    }
    // Forgets what was read: the next read asks the database.
    void forget()
    {
        m_cache.clear();
        m_kept.clear();
    }

private:
    Connection& m_c;
    // By section and key; a null value: not set.
    QHash<QString, QVariant> m_cache;
    QHash<QString, QVariant> m_kept;
};

} // namespace NexoFrame
