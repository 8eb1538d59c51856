#pragma once
#include <QString>
#include <QStringList>

namespace NexoFrame {

// The shell's class registry: a file mapping each ProgID to its library and class.
class ClassRegistry {
public:
    struct Entry {
        QString library;
        QString className;
    };

    // The per-user registry file; NEXO_REGISTRY overrides it (tests, system installs).
    static QString defaultPath();

    explicit ClassRegistry(QString path = defaultPath());
    QString path() const { return m_path; }

    bool contains(const QString& progId) const;
    Entry entry(const QString& progId) const;
    QStringList progIds() const;
    void add(const QString& progId, const Entry& e);
    void remove(const QString& progId);
    bool sync();

private:
    QString m_path;
};

} // namespace NexoFrame
