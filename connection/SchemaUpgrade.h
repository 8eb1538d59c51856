#pragma once
#include "Transactions.h"
#include <QLatin1StringView>
#include <QString>
#include <QStringList>

namespace NexoFrame {

class Connection;

// Where an open database stands against the program's layout (SchemaSteps.h), read when it is
// opened, before anyone logs in. Reading it writes nothing.
struct SchemaState {
    enum class Kind {
        Current,    // the newest layout, recorded
        Unrecorded, // the newest layout, made before the steps were kept: only their record is missing
        Older,      // steps to take, or tables, views or indexes missing: an upgrade after the login
        Newer       // a later program's: refused untouched
    };
    Kind kind = Kind::Current;
    // The last step the database has taken; 1 for a database made before the steps were kept.
    int version = 0;
    // What of the newest layout it lacks (tables and views, and the indexes of its tables).
    QStringList missing;

    // Whether work may begin on it as it is.
    bool usable() const { return kind == Kind::Current || kind == Kind::Unrecorded; }
};

namespace SchemaUpgrade {

// The rights key of whoever may upgrade a database.
inline constexpr QLatin1StringView kRight{"mainframe_database_upgrade"};

// Reads the state of `c`'s database. Throws DbError.
SchemaState inspect(Connection& c);

// Makes an empty database whole at the newest layout and records its last step; runs inside
// the creating transaction. Throws DbError.
void createWhole(Connection& c);

// What the login leads to.
enum class Gate {
    Open,   // work may begin
    Ask,    // the user may upgrade: ask him (offering a backup first), then upgrade()
    Refuse  // he may not: tell him refusedMessage(); nothing has been written
};
// Decides for the user logged in as `userId` (the rights key kRight). A holder of the key on a
// layout that only lacks the record of its steps records it now, and nothing else is written;
// a failure there does not keep him from working. Throws DbError.
Gate gate(Connection& c, int userId);

// Brings `c`'s database to the newest layout, every row kept: the tables it lacks, then each
// step it has not taken in a transaction of its own, then its missing indexes, every view and
// (on a server) the reader role's grants, all under the master lock, asked again through
// `askAgain` while another user holds it. What was done before a failure stays, the failed
// transaction leaves nothing, and the next upgrade goes on from there. A database of a later
// program is refused untouched. False with a Hungarian message.
bool upgrade(Connection& c, QString* error, const Transactions::AskAgain& askAgain = {});

// What the users are told.
QString question(const Connection& c);
QString refusedMessage();
QString newerMessage(const Connection& c);
QString doneMessage(const Connection& c);

} // namespace SchemaUpgrade

} // namespace NexoFrame
