#pragma once
#include "Directory.h"
#include <QList>
#include <QString>
#include <QStringList>

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Directory {

// One thing a sync would do to a user read from the directory. Local users (made here, not
// read from the directory) are never touched.
struct SyncChange {
    enum class Kind {
        New,      // in the directory and a mapped group, not yet here: made
        Changed,  // his name, e-mail, phone, group or bar differs: written
        Gone,     // no longer in the directory: barred, never deleted (his audit trail stays)
        NoGroup,  // in no mapped group: barred
        Clash     // a local user has his name: left to the administrator
    };
    Kind kind = Kind::New;
    int userId = -1;          // the user here (none for New)
    QString login;
    QString dn;               // as the directory spells it (the stored form is its dnKey)
    QString name, mail, phone;
    int groupId = -1;         // the group he belongs to after the sync
    QString groupName;
    bool barred = false;      // after the sync
    QStringList what;         // Changed: what differs, in Hungarian
};

// What a sync would do, from one read of the directory and of the users here.
struct SyncPlan {
    QList<SyncChange> changes;
    int unchanged = 0;
    int people = 0;           // users read from the directory

    int count(SyncChange::Kind k) const;
    bool empty() const { return changes.isEmpty(); }
    // "3 új, 2 módosul, 1 már nincs a címtárban, 0 nincs leképezett csoportban (tiltva) …"
    QString summary() const;
};

QString kindText(SyncChange::Kind k);
// What the user is told when the directory (or the users here) could not be read for a sync.
QString unreadable(const QString& reason);

// Reads the directory (`config`) and the users here and says what a sync would do. Throws
// Error when the directory cannot be read and DbError when the database cannot.
SyncPlan planSync(Connection& c, const Config& config);
// Writes the plan as one transaction under the master lock; the group changes are kept in the
// rights history as every change of a user's group is. False with `why` when nothing was kept.
bool applySync(Connection& c, const SyncPlan& plan, QString* why);
// Reads the directory and writes what it finds as it reads, in one transaction under the
// master lock, with no plan shown first (the command line's sync, for timers). `made` receives
// what was done. False with `why` when nothing was kept: the directory could not be read, or
// the database not written.
bool syncNow(Connection& c, const Config& config, SyncPlan* made, QString* why);

} // namespace NexoFrame::Directory
