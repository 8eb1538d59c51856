#include "ClassRegistry.h"
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace NexoFrame {

QString ClassRegistry::defaultPath()
{
    const QString env = qEnvironmentVariable("NEXO_REGISTRY");
    if (!env.isEmpty()) return env;
    QString dir = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return dir + QStringLiteral("/NexoFrame/classes.ini");
}

ClassRegistry::ClassRegistry(QString path) : m_path(std::move(path)) {}

static QString keyOf(const QString& progId) { return QStringLiteral("classes/") + progId; }

bool ClassRegistry::contains(const QString& progId) const
{
    QSettings s(m_path, QSettings::IniFormat);
    return s.contains(keyOf(progId) + QStringLiteral("/library"));
}

ClassRegistry::Entry ClassRegistry::entry(const QString& progId) const
{
    QSettings s(m_path, QSettings::IniFormat);
    return {s.value(keyOf(progId) + QStringLiteral("/library")).toString(),
            s.value(keyOf(progId) + QStringLiteral("/class")).toString()};
}

QStringList ClassRegistry::progIds() const
{
    QSettings s(m_path, QSettings::IniFormat);
    s.beginGroup(QStringLiteral("classes"));
    return s.childGroups();
}

void ClassRegistry::add(const QString& progId, const Entry& e)
{
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSettings s(m_path, QSettings::IniFormat);
    s.setValue(keyOf(progId) + QStringLiteral("/library"), e.library);
    s.setValue(keyOf(progId) + QStringLiteral("/class"), e.className);
}

void ClassRegistry::remove(const QString& progId)
{
    QSettings s(m_path, QSettings::IniFormat);
    s.remove(keyOf(progId));
}

bool ClassRegistry::sync()
{
    QSettings s(m_path, QSettings::IniFormat);
    s.sync();
    return s.status() == QSettings::NoError;
}

} // namespace NexoFrame
