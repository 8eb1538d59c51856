#pragma once
#include <QString>
#include <QStringList>

namespace NexoFrame::Shell {

struct Options;

// The shell from command line to exit code: 0 done, 1 failure (command line, database,
// module, picture, the command itself), 2 login refused, 3 the panel to open did not open
// (unattended only), 4 the check found something wrong in the database.
class Program {
public:
    enum ExitCode { Done = 0, Failed = 1, LoginRefused = 2, PanelFailed = 3, CheckFound = 4 };

    // `moduleLibrary`: the module registered on first run and by a bare --register.
    explicit Program(QString moduleLibrary);

    int run(const QStringList& arguments);

    // The demo database in the user's data folder.
    static QString defaultDatabasePath();

private:
    int runGuarded(const QStringList& arguments);
    int registration(bool add, const QString& library);
    // --backup, --restore, --check, --prune-logs: on the database the command line names, never made here.
    int databaseCommand(const Options& o);

    QString m_library;
};

} // namespace NexoFrame::Shell
