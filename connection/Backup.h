#pragma once
#include <QString>
#include <QStringList>

namespace NexoFrame {

class Connection;

// Backups, restores and checks of a database, without widgets: the shell's command line, its
// menu and the schema upgrade all call these. None of them ever makes a database: a missing
// file or server database is an error, and so is one without the program's tables.
namespace Backup {

// A copy of the database `c` has open, written to `file` while others go on working: a SQLite
// file through VACUUM INTO (one read snapshot, a file any SQLite program opens), a server
// database through pg_dump in its custom format (pg_dump from PATH or /usr/lib/postgresql;
// the password goes through its environment, never on its command line). The file appears
// only when whole (written beside it, then renamed over it); an earlier file of that name is
// replaced. Not inside a transaction of `c`. False with a Hungarian message; true with what
// was written in `message`.
bool backup(Connection& c, const QString& file, QString* message);
// The same for the database `target` names (a file or a postgresql:// URI).
bool backup(const QString& target, const QString& file, QString* message);

// Puts the backup `file` into the empty database `target` names: a SQLite file that does not
// exist yet or is empty, or a server database that exists and holds no table (pg_restore
// --no-owner --no-privileges in one transaction, so that a failed restore leaves it empty;
// then the reader role's grants again). False with a Hungarian message.
bool restore(const QString& file, const QString& target, QString* message);

// What a check of a database found.
struct CheckReport {
    QString database;   // as the user names it
    QStringList faults; // one Hungarian sentence each; none when all is well
};

// Reads the database `target` names and writes nothing (a read-only link): the engine's own
// check (SQLite's integrity_check; on a server every table read to its last row and value),
// every table and column of the schema there, and the program's own rules: no row points
// to a row that does not exist (a user's group, a tree's parent, a field's report, the logs'
// users and items, the rights history's rows), role slots only 0..9, and no key counter of
// qnd_key behind the largest key stored. False with a Hungarian message when the check could
// not run; true with what it found in `report`.
bool check(const QString& target, CheckReport* report, QString* error);

} // namespace Backup

} // namespace NexoFrame
