#pragma once
#include <QString>

namespace NexoFrame::InstallLayout {

// In the build tree the module, the report engine, icons/ and reports/ lie beside the shell.
// An installed shell finds them in its prefix's library and data folders, reached from its
// own folder, so a moved install still holds together. What lies beside the program wins,
// so the build tree works as it always did.

// The shipped library `fileName` (libNexoFrame.so) for a program in `programFolder`: beside
// it, else in the installed library folder; beside it when neither has it, so a message
// names the usual place.
QString libraryPath(const QString& programFolder, const QString& fileName);
// The shipped data folder `name` ("icons", "reports"), looked up the same way.
QString dataPath(const QString& programFolder, const QString& name);

// Both for the running program.
QString libraryPath(const QString& fileName);
QString dataPath(const QString& name);

} // namespace NexoFrame::InstallLayout
