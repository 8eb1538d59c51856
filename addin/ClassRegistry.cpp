#include "ClassRegistry.h"
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QSettings>
#include <QStandardPaths>

namespace NexoFrame {

namespace {

const QString kFile = QStringLiteral("/NexoFrame/classes.ini");

QString keyOf(const QString& progId) { return QStringLiteral("classes/") + progId; }

bool names(const QString& file, const QString& progId)
{
    return QSettings(file, QSettings::IniFormat).contains(keyOf(progId) + QStringLiteral("/library"));
}

QStringList progIdsIn(const QString& file)
{
    QSettings s(file, QSettings::IniFormat);
    s.beginGroup(QStringLiteral("classes"));
    return s.childGroups();
}

} // namespace

QString ClassRegistry::defaultPath()
{
    const QString env = qEnvironmentVariable("NEXO_REGISTRY");
    if (!env.isEmpty()) return env;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + kFile;
}

QStringList ClassRegistry::systemPaths()
{
    // The config locations are the user's folder followed by XDG_CONFIG_DIRS.
    QStringList dirs = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
    dirs.removeAll(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation));
    QStringList files;
    for (const QString& d : dirs) files << d + kFile;
    return files;
}

ClassRegistry::ClassRegistry(QString path) : m_path(std::move(path)) {}

ClassRegistry::ClassRegistry(QString path, QStringList systemPaths)
    : m_path(std::move(path)), m_system(std::move(systemPaths))
{
}

QString ClassRegistry::fileOf(const QString& progId) const
{
    if (names(m_path, progId)) return m_path;
    for (const QString& f : m_system)
        if (QFileInfo::exists(f) && names(f, progId)) return f;
    return {};
}

bool ClassRegistry::contains(const QString& progId) const { return !fileOf(progId).isEmpty(); }

ClassRegistry::Source ClassRegistry::source(const QString& progId) const
{
    const QString f = fileOf(progId);
    return f.isEmpty() ? Source::None : f == m_path ? Source::User : Source::System;
}

ClassRegistry::Entry ClassRegistry::entry(const QString& progId) const
{
    const QString f = fileOf(progId);
    if (f.isEmpty()) return {};
    QSettings s(f, QSettings::IniFormat);
    return {s.value(keyOf(progId) + QStringLiteral("/library")).toString(),
            s.value(keyOf(progId) + QStringLiteral("/class")).toString()};
}

QStringList ClassRegistry::progIds() const
{
    QStringList ids = progIdsIn(m_path);
    QSet<QString> seen(ids.begin(), ids.end());
    for (const QString& f : m_system) {
        if (!QFileInfo::exists(f)) continue;
        for (const QString& id : progIdsIn(f))
            if (!seen.contains(id)) {
                seen.insert(id);
                ids << id;
            }
    }
    return ids;
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
