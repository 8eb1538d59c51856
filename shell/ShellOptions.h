#pragma once
#include <QString>
#include <QStringList>

namespace NexoFrame::Shell {

// What the command line asks of the shell.
struct Options {
    enum class Action { Run, Register, Unregister, Help, CreateReader, SetReader, Backup, Restore, Check, PruneLogs, SyncDirectory };
    Action action = Action::Run;

    QString database;          // empty: the demo database in the user's data folder
    QString user;
    QString password;
    QString code;              // the second step's code: --code, else NEXO_CODE
    bool userGiven = false;

    QString openProgId;        // a panel to open at start
    int mode = 0;
    QString parameter;

    QString screenshot;        // PNG to write, then exit
    QString library;           // --register / --unregister: the module library, empty = default
    QString readerRole;        // --set-reader: the reader role a database administrator made
    QString file;              // --backup: where the copy goes; --restore: the backup to put back; --prune-logs: the archive's folder

    // True when no one is expected to answer dialogs before the main window appears.
    bool unattended() const { return userGiven || !screenshot.isEmpty(); }
};

// Reads the arguments (the program name first). Returns false with a Hungarian message when
// they do not make sense together.
bool parseOptions(const QStringList& arguments, Options* options, QString* error);

// Whether the command line asks for something that needs no window (and so no display):
// anything but running the shell, a command line that does not parse included.
bool windowless(const QStringList& arguments);

// The Hungarian usage text.
QString helpText();

} // namespace NexoFrame::Shell
