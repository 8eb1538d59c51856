#pragma once
#include <QString>

namespace NexoFrame {

class Connection;
class HistoryLog;
class Keys;
class Settings;
class Transactions;

// Who works on the database: its connection (and through it the parts that each do one
// job), the logged-in user and the system-edit flag. One per connection; the host sets the
// user at login and hands the session to panels through their site, so that every panel,
// record and dialog reads the same user instead of a copy taken at attach.
class Session {
public:
    explicit Session(Connection& c) : m_c(&c) {}

    Connection& connection() const { return *m_c; }
    Keys& keys() const;
    Settings& settings() const;
    HistoryLog& history() const;
    Transactions& transactions() const;

    int userId() const { return m_userId; }
    void setUserId(int id)
    {
        if (id != m_userId) m_userNameRead = false;
        m_userId = id;
    }
    // The user's login name, read once for each user (the first panel attached reads it).
    QString userName() const { return m_userNameRead ? m_userName : QString(); }
    bool userNameRead() const { return m_userNameRead; }
    void setUserName(const QString& name)
    {
        m_userName = name;
        m_userNameRead = true;
    }
    // Whether the system's own rows (keys below the first own key) may be changed.
    bool systemEdit() const { return m_systemEdit; }
    void setSystemEdit(bool on) { m_systemEdit = on; }

    // Whether the logged-in user holds the right named by `key`.
    bool may(const QString& key) const;

private:
    Connection* m_c;
    int m_userId = -1;
    QString m_userName;
    bool m_userNameRead = false;
    bool m_systemEdit = false;
};

} // namespace NexoFrame
