#pragma once
#include "Transactions.h"
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

namespace NexoFrame {

class Connection;

// How long the logs are kept, and their pruning: the menu log, the report log, the failed
// logins and the rights history each keep their rows for a number of days (MAINFRAME /
// <Log>KeepDays, 0 = for ever). Older rows are archived to CSV files and deleted, in one
// transaction under the master lock; each log pruned leaves a row in the rights history,
// which the rights explorer lists. The rights history is cut only before a moment whose
// state the history still rebuilds (it works back from today's values), and that moment is
// its new start: earlier moments are unknown from then on.
namespace LogKeeping {

enum Log { MenuLog, ReportLog, LoginFailures, RightsHistory, LogCount };

struct LogInfo {
    Log log;
    QString table;       // qnd_menu_log, …
    QString timeColumn;  // log_date, failed_at, changed_at
    QString settingKey;  // MAINFRAME / MenuLogKeepDays, …
    QString caption;     // "Menü log", … as the administrator knows it
    QString fileStem;    // the archive's name before its time stamp
};
const LogInfo& info(Log log);
// The log a table name is (LogCount for none).
Log logOfTable(const QString& table);

// Keeping periods in days, one per log; 0 keeps for ever.
struct Periods {
    int days[LogCount] = {0, 0, 0, 0};
};
Periods periods(Connection& c);
// Empty when the periods may be kept, else why not, in Hungarian: the menu and report logs
// keep at least the rights explorer's unused-grant window (it reads them), the failed logins
// at least the login lock's span.
QString refusal(Connection& c, const Periods& p);
// Writes them in one transaction under the master lock after refusal() let them. False with
// a Hungarian message, nothing written.
bool savePeriods(Connection& c, const Periods& p, QString* error, const Transactions::AskAgain& askAgain = {});

// Where a log is cut now: rows before this moment go (invalid: kept for ever).
QDateTime cutOf(int days, const QDateTime& now);

// What a pruning did, per log.
struct Pruned {
    Log log;
    QDateTime cut;
    qint64 rows = 0;
    QString file; // the archive written
};
// Archives and deletes every log's rows older than its period, as of `now`: one CSV file per
// log that had any, "<stem>-<yyyyMMdd-HHmmss>.csv" in `folder` (an existing file is never
// overwritten), with Hungarian headers and names beside the ids. All logs in one transaction
// under the master lock; the files appear only when it is kept. False with a Hungarian
// message, nothing deleted and no file left.
bool prune(Connection& c, const QString& folder, const QDateTime& now, QList<Pruned>* done, QString* error,
           const Transactions::AskAgain& askAgain = {});

// The moment from which the rights history rebuilds every state (invalid: from its first
// row, never pruned).
QDateTime historyStart(Connection& c);
// The note for a moment before it ("A … előtti állapot nem ismert: a napló eddig tart."),
// empty when the moment's state is known.
QString unknownBefore(Connection& c, const QDateTime& moment);

} // namespace LogKeeping

} // namespace NexoFrame
