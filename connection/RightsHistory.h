#pragma once
#include "Connection.h"
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace NexoFrame {

class Connection;

// One kept change of qnd_rights_history.
struct RightsChange {
    qint64 id = 0;
    QDateTime at;
    int userId = -1;
    QString userName;
    QString table;
    int rowId = 0;
    QString column;
    QString oldValue, newValue; // as the history keeps them; a null old value: the row was new
    bool rowWasNew = false;
};

// The changes kept between two moments (both included), oldest first.
QList<RightsChange> rightsChanges(Connection& c, const QDateTime& from, const QDateTime& to);

// A column's values as they stood at a moment: the current ones, put back by the changes
// kept since. Rows made after the moment are left out. Keys are row ids; values as the
// history writes them ("1"/"0" for yes/no).
QHash<int, QString> columnAt(Connection& c, const QString& table, const QString& column, const QDateTime& moment);

// One cell to write back to its value at a moment.
struct RevertStep {
    QString table;
    int rowId = 0;
    QString column;
    QString now, then;
};
// Every kept cell (of the role slot `slot`, or every history column with -1) that differs
// now from the moment, in table and row order.
QList<RevertStep> revertPlan(Connection& c, const QDateTime& moment, int slot = -1);
// The newest kept change's id (0 without any): the mark before a change.
qint64 lastRightsChange(Connection& c);
// What takes back the changes kept after `from` up to `to` (ids): each cell its value
// before them, newest first.
QList<RevertStep> undoPlan(Connection& c, qint64 from, qint64 to);
// Writes the plan back in one transaction under the master lock (`askAgain` asks when
// another user keeps it); each write is kept in the history itself. False with a Hungarian
// message, nothing written.
bool revertTo(Connection& c, const QList<RevertStep>& plan, QString* error, const Transactions::AskAgain& askAgain = {});

// How many days back the unused grants are looked for unless asked otherwise; the menu and
// report logs are kept at least as long (LogKeeping).
inline constexpr int kUnusedGrantDays = 90;

// A menu item or a printed report that a role's users may open through it but none of them
// opened since `since` (from the menu log and the report log).
struct UnusedGrant {
    QString table; // qnd_menu or qnd_report
    int itemId = 0;
    QString caption;
    QStringList users; // the live users who hold it through the role
};
QList<UnusedGrant> unusedGrants(Connection& c, int slot, const QDateTime& since);
// Revoking them for that role: the plan revertTo writes (one transaction, kept in the history).
QList<RevertStep> revokePlan(const QList<UnusedGrant>& grants, int slot);

} // namespace NexoFrame
