#pragma once
#include <QString>
#include <QStringList>

namespace NexoFrame {

// The shell's class registry: a file mapping each ProgID to its library and class. The
// user's file may lie over the system's files, which an install writes for everyone.
class ClassRegistry {
public:
    struct Entry {
        QString library;
        QString className;
    };
    // Where a ProgID's entry comes from.
    enum class Source { None, User, System };

    // The per-user registry file; NEXO_REGISTRY replaces it (tests, other installs).
    static QString defaultPath();
    // The system registry files, NexoFrame/classes.ini in each folder of XDG_CONFIG_DIRS
    // (/etc/xdg when unset), the one that counts first.
    static QStringList systemPaths();

    // One registry file alone: what a library's registration writes.
    explicit ClassRegistry(QString path = defaultPath());
    // The user's file over the system files: a ProgID the user's file names is taken from
    // it, any other from the first system file that names it. Changes go to the user's file.
    ClassRegistry(QString path, QStringList systemPaths);
    QString path() const { return m_path; }

    bool contains(const QString& progId) const;
    Entry entry(const QString& progId) const;
    Source source(const QString& progId) const;
    QStringList progIds() const;
    void add(const QString& progId, const Entry& e);
    void remove(const QString& progId);
    bool sync();

private:
    // The file that decides a ProgID, or an empty string.
    QString fileOf(const QString& progId) const;

    QString m_path;
    QStringList m_system;
};

} // namespace NexoFrame
