#pragma once
// What a hostile author types as an OLAP source, a list or a report query, and the checks
// that it did nothing: every table as it was, no file written, the master lock free, no secret
// in what came back, and the link still unable to write afterwards.
#include "Connection.h"
#include "Secrets.h"
#include "Snapshots.h"
#include <QDir>
#include <QTest>

namespace NexoFrame::Hostile {

struct Source {
    QString name;
    QString sql;
};

// A folder every user of the machine may write into (the server runs as its own user), where
// the hostile texts try to leave files.
inline QString trapFolder()
{
    static const QString dir = [] {
        const QString d = QDir::temp().filePath(QStringLiteral("nexo-hostile-%1").arg(QCoreApplication::applicationPid()));
        QDir().mkpath(d);
        QFile::setPermissions(d, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup
                                     | QFileDevice::WriteGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther
                                     | QFileDevice::WriteOther | QFileDevice::ExeOther);
        return d;
    }();
    return dir;
}

inline QString masterKey() { return QString::number(qint64(0x4E65786F4672616DLL)); }

// The texts, for the engine under test (`server`: PostgreSQL).
inline QList<Source> sources(bool server)
{
    const QString f = trapFolder();
    QList<Source> l = {
        {"two statements", "SELECT 1; DELETE FROM qnd_menu_log"},
        {"after a carriage return", "SELECT 1 -- x\r; DELETE FROM qnd_menu_log"},
        {"after a block comment", "SELECT 1 /* x */; DELETE FROM qnd_menu_log"},
        {"semicolon in a literal first", "SELECT ';'; DELETE FROM qnd_menu_log"},
        {"after a line comment", "SELECT 1;\n-- ;\nDELETE FROM qnd_menu_log"},
        {"quoted name", "SELECT 1 AS \"a;\"; DELETE FROM qnd_menu_log"},
        {"delete", "DELETE FROM qnd_menu_log"},
        {"delete returning", "DELETE FROM qnd_menu_log RETURNING id"},
        {"update", "UPDATE qnd_user SET access_denied = 1"},
        {"insert", "INSERT INTO qnd_menu_log (id) VALUES (999999)"},
        {"drop", "DROP TABLE qnd_menu_log"},
        {"create", "CREATE TABLE hostile (a integer)"},
        {"temporary table", "CREATE TEMP TABLE hostile (a integer)"},
        {"temporary view", "CREATE TEMP VIEW hostile AS SELECT 1"},
        {"passwords", "SELECT password FROM qnd_user"},
        {"every user column", "SELECT * FROM qnd_user"},
        {"password in a condition", "SELECT user_name FROM qnd_user WHERE password IS NOT NULL"},
        {"password beside a view", "SELECT u.password FROM qnd_user_list_view v JOIN qnd_user u ON u.id = v.id"},
        {"password through a recursive query", "WITH RECURSIVE x(p) AS (SELECT password FROM qnd_user) SELECT p FROM x"},
        {"secret settings", "SELECT section, key_name, value FROM qnd_secret"},
        {"secret settings counted", "SELECT count(*) FROM qnd_secret"},
    };
    if (!server) {
        l += QList<Source>{
            {"attach", QStringLiteral("ATTACH DATABASE '%1/a.sqlite' AS a").arg(f)},
            {"attach second", QStringLiteral("SELECT 1; ATTACH DATABASE '%1/b.sqlite' AS b").arg(f)},
            {"vacuum into a file", QStringLiteral("VACUUM INTO '%1/v.sqlite'").arg(f)},
            {"query_only off", "PRAGMA query_only = 0"},
            {"writable schema", "PRAGMA writable_schema = 1"},
            {"write transaction", "BEGIN IMMEDIATE"},
            {"savepoint", "SAVEPOINT s"},
            {"extension", QStringLiteral("SELECT load_extension('%1/x.so')").arg(f)},
            {"temporary trigger", "CREATE TEMP TRIGGER t AFTER INSERT ON qnd_menu_log BEGIN SELECT 1; END"},
            {"bracketed name", "SELECT 1 AS [x;]; DELETE FROM qnd_menu_log"},
            {"backquoted name", "SELECT 1 AS `x;`; DELETE FROM qnd_menu_log"},
            {"analyze", "ANALYZE"},
            {"reindex", "REINDEX"},
            {"file function", QStringLiteral("SELECT writefile('%1/w', 'x')").arg(f)},
        };
    } else {
        l += QList<Source>{
            {"dollar quotes", "SELECT $$;$$; DELETE FROM qnd_menu_log"},
            {"tagged dollar quotes", "SELECT $a$ $$ $a$; DELETE FROM qnd_menu_log"},
            {"nested comments", "SELECT 1 /* /* */ ; DELETE FROM qnd_menu_log; -- */"},
            {"backslash escape", "SELECT E'\\'; DELETE FROM qnd_menu_log; --'"},
            {"commit and write", "SELECT 1 -- x\r; COMMIT; SET TRANSACTION READ WRITE; DELETE FROM qnd_menu_log"},
            {"commit", "COMMIT"},
            {"read write", "SET TRANSACTION READ WRITE"},
            {"session read write", "SET SESSION CHARACTERISTICS AS TRANSACTION READ WRITE"},
            {"default read write", "SET default_transaction_read_only = off"},
            {"default read write by function", "SELECT set_config('default_transaction_read_only', 'off', false)"},
            {"role", "SET ROLE nexo_app"},
            {"session authorization", "SET SESSION AUTHORIZATION nexo_app"},
            {"role by function", "SELECT set_config('role', 'nexo_app', false)"},
            {"write in a CTE", "WITH d AS (DELETE FROM qnd_menu_log RETURNING id) SELECT count(*) FROM d"},
            {"DO block", "DO $$BEGIN DELETE FROM qnd_menu_log; END$$"},
            {"master lock in a DO block", QStringLiteral("DO $$BEGIN PERFORM pg_advisory_lock(%1); END$$").arg(masterKey())},
            {"master lock", QStringLiteral("SELECT pg_advisory_lock(%1)").arg(masterKey())},
            {"shared master lock", QStringLiteral("SELECT pg_advisory_lock_shared(%1), pg_try_advisory_lock(7)").arg(masterKey())},
            {"copy to a file", QStringLiteral("COPY qnd_menu TO '%1/copy.txt'").arg(f)},
            {"copy to a program", QStringLiteral("COPY (SELECT 1) TO PROGRAM 'touch %1/program'").arg(f)},
            {"copy from the client", "COPY qnd_menu_log FROM STDIN"},
            {"copy from a file", "COPY qnd_menu_log FROM '/etc/hostname'"},
            {"copy to the client", "COPY qnd_user TO STDOUT"},
            {"read a server file", "SELECT pg_read_file('/etc/hostname')"},
            {"list a server folder", "SELECT pg_ls_dir('.')"},
            {"import a large object", "SELECT lo_import('/etc/hostname')"},
            {"export a large object", QStringLiteral("SELECT lo_export(lo_from_bytea(0, 'x'), '%1/lo')").arg(f)},
            {"make a large object", "SELECT lo_from_bytea(0, 'x')"},
            {"dblink", "SELECT dblink_exec('dbname=postgres', 'CREATE TABLE hostile (a integer)')"},
            {"extension", "CREATE EXTENSION dblink"},
            {"sequence", "CREATE SEQUENCE hostile_seq"},
            {"function", "CREATE FUNCTION hostile() RETURNS integer LANGUAGE sql AS 'SELECT 1'"},
            {"new role", "CREATE ROLE hostile LOGIN SUPERUSER"},
            {"own role", "ALTER ROLE current_user SUPERUSER"},
            {"own role's default", "ALTER ROLE current_user SET default_transaction_read_only = off"},
            {"membership", "GRANT nexo_app TO current_user"},
            {"prepared write", "PREPARE hostile AS DELETE FROM qnd_menu_log"},
            {"select into", "SELECT * INTO hostile FROM qnd_menu"},
            {"select into temporary", "SELECT * INTO TEMP hostile FROM qnd_menu"},
            {"truncate", "TRUNCATE qnd_menu_log"},
            {"lock a table", "LOCK TABLE qnd_user IN ACCESS EXCLUSIVE MODE"},
            {"row locks", "SELECT id FROM qnd_user FOR UPDATE"},
            {"analyze", "ANALYZE qnd_menu_log"},
            {"vacuum", "VACUUM qnd_menu_log"},
            {"end other sessions", "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid()"},
            {"listen", "LISTEN hostile"},
            {"hold a cursor", "DECLARE hostile CURSOR WITH HOLD FOR SELECT * FROM qnd_menu"},
        };
    }
    return l;
}

// The stored secrets that must never come back: the users' stored passwords and every secret
// setting's stored value (as the program reads it and as stored).
inline QStringList storedSecrets(Connection& c)
{
    QStringList s;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT password FROM qnd_user WHERE password IS NOT NULL AND password <> ''")))
        s << r.value(0).toString();
    for (const QVariantList& r : c.select(QStringLiteral("SELECT section, key_name, value FROM qnd_secret")))
        s << r.value(2).toString() << c.settings().read(r.value(0).toString(), r.value(1).toString());
    s.removeAll(QString());
    return s;
}

// Everything a check compares: every table (the key counters and history too) and the files.
struct State {
    QStringList tables;
    QStringList files;
    bool operator==(const State&) const = default;
};

inline State stateOf(Connection& c)
{
    State s;
    for (const TableDef& t : Schema::instance().tables()) {
        if (t.isView()) continue;
        for (const QVariantList& r : c.select(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(t.name))) {
            QStringList cells{t.name};
            for (const QVariant& v : r) cells << v.toString();
            s.tables << cells.join(QLatin1Char('|'));
        }
    }
    s.tables << c.engine().tables(c.db());
    s.files = QDir(trapFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    return s;
}

// The values that came back, as text, none of them a secret.
inline bool leaksNothing(const QList<QVariantList>& rows, const QStringList& secrets, QString* leaked)
{
    for (const QVariantList& r : rows)
        for (const QVariant& v : r)
            for (const QString& s : secrets)
                if (!v.isNull() && v.toString().contains(s)) {
                    *leaked = s;
                    return false;
                }
    return true;
}

// The master lock is free for the program (and, on a server, no session lock is left at all).
inline bool masterLockFree(Connection& c)
{
    if (c.engine().name() == QLatin1String("PostgreSQL")
        && c.select(QStringLiteral("SELECT count(*) FROM pg_locks WHERE locktype = 'advisory' "
                                   "AND database = (SELECT oid FROM pg_database WHERE datname = current_database())"))
                   .value(0).value(0).toInt() != 0)
        return false;
    if (!c.transactions().lockMaster(0)) return false;
    c.transactions().unlockMaster();
    return true;
}

} // namespace NexoFrame::Hostile
