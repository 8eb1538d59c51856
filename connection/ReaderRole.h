#pragma once
#include <QString>

namespace NexoFrame {

class Connection;

// The server's reader role: the login that SQL users write (OLAP sources, lists, printed
// reports) runs as on PostgreSQL. No superuser, no CREATEROLE or CREATEDB, a member of
// nothing, owner of nothing, no CREATE on the database or the schema and no TEMP; SELECT only
// on the program's tables and views, without the secret columns (Secrets.h) and without views
// that read them; reads only (default_transaction_read_only), with a statement timeout and a
// connection limit (MAINFRAME / ReaderConnectionLimit, 20 when unset).
namespace ReaderRole {

// The role's name for a database: "<database>_reader", folded to what needs no quoting.
QString nameFor(const QString& database);

// Creates the reader role of the database `adminTarget` names, or brings an existing one up to
// date (its grants, limits and a new password), and stores its name and password (sealed, as
// a secret) in the database. `adminTarget` logs in as a database administrator: a role that may
// create roles and grant on the program's tables (the superuser, or the tables' owner with
// CREATEROLE). The program's own role never needs CREATEROLE. False with a Hungarian message;
// true with a summary in `message`. Nothing is kept unless all of it succeeds.
bool create(const QString& adminTarget, QString* message);

// The reader role's SELECT grants on the tables of `c`'s database given again (after a restore,
// or when a table has been added), by the program's own login as the tables' owner, on the
// tables and views it owns (another program's keep what --create-reader gave them); the role
// itself, its password and limits stay as they are. A database without a reader role, or whose
// role this server lacks, is left alone, with what to do in `message`. A file needs nothing.
// False with a Hungarian message when the grants fail.
bool grantAgain(Connection& c, QString* message);

// For a reader role a database administrator made by hand: stores its name and password in
// the database `target` names (the program's own login), after checking that the role logs in
// and may do no more than read. False with a Hungarian message.
bool store(const QString& target, const QString& role, const QString& password, QString* message);

// Where SQL that users write runs: `programTarget` with the reader's login put in.
QString targetWith(const QString& programTarget, const QString& role, const QString& password);

// Where SQL that users write runs (ReadOnlySource): on a server, `c`'s database with the
// reader role's login, read afresh from the settings; empty with a Hungarian message when
// the server has none. A file needs no other login: its own target.
QString targetOf(Connection& c, QString* error);
// The role the program itself logs in as on a server (empty for a file); user SQL never
// runs as it. Throws DbError when the server cannot say.
QString programRoleOf(Connection& c);

// What the user reads when the server has no reader role (or it refuses the login).
QString missingMessage(const QString& detail = {});

} // namespace ReaderRole

} // namespace NexoFrame
