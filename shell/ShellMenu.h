#pragma once
#include <QList>
#include <QString>
#include <QStringList>
#include "MenuAccess.h"

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

// The menu a user sees is the connection's answer (MenuAccess.h), shared with the rights
// explorer so that both say the same.
using NexoFrame::MenuEntry;
using NexoFrame::userMenu;
using NexoFrame::visibleMenu;

// The folders an external program's command line may name.
struct Placeholders {
    QString appPath;            // %APP_PATH%
    QString mdbFolder;          // %MDB_FOLDER_PATH%
    QString systemMdbFolder;    // %SYSTEM_MDB_FOLDER_PATH%
};
Placeholders placeholdersOf(const Connection& connection);
// The command line with the placeholders replaced (in any letter case).
QString expandPlaceholders(QString command, const Placeholders& values);
// Splits an expanded command line as a shell would split quoted arguments; empty when there
// is nothing to run.
QStringList splitCommand(const QString& command);

// The caption with its access key marked as the mnemonic when the key is a letter of the
// caption; literal '&'s are kept.
QString menuText(const QString& caption, const QString& accessKey);

} // namespace NexoFrame::Shell
