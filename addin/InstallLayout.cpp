#include "InstallLayout.h"
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

// The installed folders relative to the shell's, as packaging/CMakeLists.txt lays them out.
#ifndef NEXO_INSTALLED_LIBRARIES
#define NEXO_INSTALLED_LIBRARIES "../lib/nexoframe"
#endif
#ifndef NEXO_INSTALLED_DATA
#define NEXO_INSTALLED_DATA "../share/nexoframe"
#endif

namespace NexoFrame::InstallLayout {

namespace {

QString pick(const QString& programFolder, const char* installedFolder, const QString& name)
{
    const QString beside = QDir::cleanPath(programFolder + QLatin1Char('/') + name);
    if (QFileInfo::exists(beside)) return beside;
    const QString installed =
        QDir::cleanPath(programFolder + QLatin1Char('/') + QLatin1String(installedFolder) + QLatin1Char('/') + name);
    return QFileInfo::exists(installed) ? installed : beside;
}

} // namespace

QString libraryPath(const QString& programFolder, const QString& fileName)
{
    return pick(programFolder, NEXO_INSTALLED_LIBRARIES, fileName);
}

QString dataPath(const QString& programFolder, const QString& name) { return pick(programFolder, NEXO_INSTALLED_DATA, name); }

QString libraryPath(const QString& fileName) { return libraryPath(QCoreApplication::applicationDirPath(), fileName); }

QString dataPath(const QString& name) { return dataPath(QCoreApplication::applicationDirPath(), name); }

} // namespace NexoFrame::InstallLayout
