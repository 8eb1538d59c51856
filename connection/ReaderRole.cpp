#include "ReaderRole.h"
#include "Connection.h"
#include "Engine.h"
#include "Secrets.h"
#include "SqlExec.h"
#include "SettingKeys.h"
#include <QRandomGenerator>
#include <QUrl>

namespace NexoFrame::ReaderRole {

namespace {

QString newPassword()
{
    static const char alphabet[] = "ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz23456789";
    QString p;
    auto* rng = QRandomGenerator::system();
    for (int i = 0; i < 32; ++i) p += QLatin1Char(alphabet[rng->bounded(int(sizeof alphabet - 1))]);
    return p;
}

void run(Connection& c, const QString& sql)
{
    QString err;
    if (!c.execute(sql, {}, &err)) throw DbError(err);
}

} // namespace

QString nameFor(const QString& database)
{
    QString n;
    for (const QChar ch : database.toLower())
        n += (ch >= QLatin1Char('a') && ch <= QLatin1Char('z')) || (ch >= QLatin1Char('0') && ch <= QLatin1Char('9'))
            ? ch : QLatin1Char('_');
    if (n.isEmpty() || n.at(0).isDigit()) n.prepend(QStringLiteral("db_"));
    return n.left(56) + QStringLiteral("_reader");
}

QString targetWith(const QString& programTarget, const QString& role, const QString& password)
{
    QUrl url(programTarget.trimmed());
    url.setUserName(role);
    url.setPassword(password);
    return url.toString();
}

QString targetOf(Connection& c, QString* error)
{
    if (!isServerTarget(c.target())) return c.target();
    QString role, password;
    try {
        role = c.settings().read(SettingKeys::kMainframe, SettingKeys::kReaderRole);
        password = c.settings().read(SettingKeys::kMainframe, SettingKeys::kReaderPassword);
    } catch (const DbError& e) {
        if (error) *error = missingMessage(e.message());
        return {};
    }
    if (role.isEmpty() || password.isEmpty()) {
        if (error) *error = missingMessage();
        return {};
    }
    return targetWith(c.target(), role, password);
}

QString programRoleOf(Connection& c)
{
    if (!isServerTarget(c.target())) return {};
    return c.select(QStringLiteral("SELECT current_user")).value(0).value(0).toString();
}

QString missingMessage(const QString& detail)
{
    QString m = QStringLiteral(
        "A kiszolgálón nincs beállítva a felhasználói lekérdezések olvasó szerepköre, ezért a lekérdezés nem futtatható. "
        "Az adatbázis rendszergazdája hozza létre: nexo-shell --create-reader --db <a rendszergazda adatbázis-címe>");
    if (!detail.isEmpty()) m += QStringLiteral("\n\n") + detail;
    return m;
}

namespace {

// The schema that holds the program's tables (empty when there is none).
QString programSchema(Connection& c)
{
    return c.select(QStringLiteral("SELECT table_schema FROM information_schema.tables WHERE table_name = 'qnd_settings' "
                                   "ORDER BY table_schema = current_schema() DESC LIMIT 1"))
        .value(0).value(0).toString();
}

// SELECT on every table and view of the schema `ns` for `role`, the other modules' too: a
// secret table not at all, a table with secret columns column by column, a view that reads a
// secret column not at all; whatever it held before is taken back first. `ownOnly`: only what
// the logged-in role owns, since a role without the admin's powers may grant or revoke nothing
// on another program's tables. The number of tables and views it may read. Throws DbError.
int grantTables(Connection& c, const QString& ns, const QString& role, bool ownOnly = false)
{
    const QString r = quoted(role);
    int granted = 0;
    if (!ownOnly) {
        run(c, QStringLiteral("REVOKE ALL ON ALL TABLES IN SCHEMA %1 FROM %2").arg(quoted(ns), r));
        run(c, QStringLiteral("REVOKE ALL ON ALL SEQUENCES IN SCHEMA %1 FROM %2").arg(quoted(ns), r));
    }
    const auto relations = c.select(QStringLiteral("SELECT c.relname, c.relkind FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace "
                                                  "WHERE n.nspname = ? AND c.relkind IN ('r', 'p', 'v', 'm', 'f') %1ORDER BY c.relname")
                                        .arg(ownOnly ? QStringLiteral("AND pg_get_userbyid(c.relowner) = current_user ") : QString()),
                                {ns});
    if (relations.isEmpty() && !ownOnly) throw DbError(QStringLiteral("A séma táblái nem olvashatók."));
    for (const QVariantList& rel : relations) {
        const QString table = rel.value(0).toString();
        const QString qualified = quoted(ns) + QLatin1Char('.') + quoted(table);
        if (ownOnly) run(c, QStringLiteral("REVOKE ALL ON %1 FROM %2").arg(qualified, r));
        if (Secrets::isSecretTable(table)) continue;
        const QString kind = rel.value(1).toString();
        if (kind == QLatin1String("v") || kind == QLatin1String("m")) {
            bool readsSecret = false;
            for (const QVariantList& used : c.select(QStringLiteral("SELECT DISTINCT d.refobjid::regclass::text, a.attname FROM pg_rewrite w "
                                                                  "JOIN pg_depend d ON d.classid = 'pg_rewrite'::regclass AND d.objid = w.oid "
                                                                  "JOIN pg_attribute a ON a.attrelid = d.refobjid AND a.attnum = d.refobjsubid "
                                                                  "WHERE w.ev_class = ?::regclass"),
                                                 {qualified}))
                if (Secrets::isSecretColumn(used.value(0).toString().section(QLatin1Char('.'), -1).remove(QLatin1Char('"')),
                                            used.value(1).toString()))
                    readsSecret = true;
            if (readsSecret) continue;
        }
        const QStringList secret = Secrets::secretColumnsOf(table);
        if (secret.isEmpty()) {
            run(c, QStringLiteral("GRANT SELECT ON %1 TO %2").arg(qualified, r));
        } else {
            QStringList open;
            for (const QVariantList& col : c.select(QStringLiteral("SELECT attname FROM pg_attribute WHERE attrelid = ?::regclass "
                                                                 "AND attnum > 0 AND NOT attisdropped ORDER BY attnum"),
                                                {qualified}))
                if (!Secrets::isSecretColumn(table, col.value(0).toString())) open << quoted(col.value(0).toString());
            if (open.isEmpty()) continue;
            run(c, QStringLiteral("GRANT SELECT (%1) ON %2 TO %3").arg(open.join(QStringLiteral(", ")), qualified, r));
        }
        ++granted;
    }
    return granted;
}

bool createOrUpdate(const QString& adminTarget, QString* message)
{
    auto fail = [&](const QString& m) {
        if (message) *message = m;
        return false;
    };
    if (!isServerTarget(adminTarget))
        return fail(QStringLiteral("Olvasó szerepkör csak PostgreSQL-adatbázishoz kell: egy SQLite-fájlon a program maga "
                                   "zárja el a titkos adatokat a felhasználói lekérdezések elől."));
    Connection c(makePostgresEngine());
    QString err;
    if (!c.open(adminTarget, &err)) return fail(err);
    const auto who = c.select(QStringLiteral("SELECT current_database(), current_user, r.rolsuper, r.rolcreaterole "
                                            "FROM pg_roles r WHERE r.rolname = current_user"));
    if (who.isEmpty()) return fail(QStringLiteral("A kiszolgáló nem adta meg a bejelentkezett szerepkört."));
    const QString database = who[0].value(0).toString();
    const QString admin = who[0].value(1).toString();
    if (!who[0].value(2).toBool() && !who[0].value(3).toBool())
        return fail(QStringLiteral("A(z) „%1” szerepkör nem hozhat létre szerepkört. A parancsot az adatbázis "
                                   "rendszergazdájának címével kell futtatni (például a postgres felhasználóval).")
                        .arg(admin));
    const QString ns = programSchema(c);
    if (ns.isEmpty())
        return fail(QStringLiteral("A(z) „%1” adatbázisban még nincs NexoFrame-adatbázis. Előbb a program nyissa meg a saját "
                                   "szerepkörével (nexo-shell --db …), utána hozható létre az olvasó szerepkör.")
                        .arg(database));
    QString role = c.settings().read(SettingKeys::kMainframe, SettingKeys::kReaderRole);
    if (role.isEmpty()) role = nameFor(database);
    bool limitOk = false;
    int limit = c.settings().read(SettingKeys::kMainframe, SettingKeys::kReaderConnectionLimit,
                              QStringLiteral("20")).toInt(&limitOk);
    if (!limitOk || limit < 1) limit = 20;

    // A role that owns something or is the admin's own is no reader: it is refused, never demoted.
    const auto owned = c.select(QStringLiteral("SELECT (SELECT count(*) FROM pg_class WHERE relowner = r.oid) "
                                              "+ (SELECT count(*) FROM pg_database WHERE datdba = r.oid) "
                                              "+ (SELECT count(*) FROM pg_namespace WHERE nspowner = r.oid) "
                                              "FROM pg_roles r WHERE r.rolname = ?"),
                            {role});
    if (role == admin || (!owned.isEmpty() && owned[0].value(0).toLongLong() > 0))
        return fail(QStringLiteral("A(z) „%1” szerepkör már létezik, és adatbázis-objektumok tulajdonosa: nem lehet olvasó "
                                   "szerepkör. Adjon meg másik nevet a MAINFRAME / ReaderRole beállításban.")
                        .arg(role));
    const bool exists = !owned.isEmpty();
    const QString password = newPassword();
    int granted = 0;
    const auto outcome = c.transactions().writeLocked([&] {
        const QString r = quoted(role);
        const QString attributes = QStringLiteral("LOGIN NOSUPERUSER NOCREATEDB NOCREATEROLE NOINHERIT NOREPLICATION NOBYPASSRLS "
                                                  "CONNECTION LIMIT %1 PASSWORD '%2'").arg(limit).arg(password);
        run(c, (exists ? QStringLiteral("ALTER ROLE ") : QStringLiteral("CREATE ROLE ")) + r + QLatin1Char(' ') + attributes);
        for (const QVariantList& m : c.select(QStringLiteral("SELECT g.rolname FROM pg_auth_members a JOIN pg_roles g ON g.oid = a.roleid "
                                                         "JOIN pg_roles u ON u.oid = a.member WHERE u.rolname = ?"), {role}))
            run(c, QStringLiteral("REVOKE %1 FROM %2").arg(quoted(m.value(0).toString()), r));
        run(c, QStringLiteral("ALTER ROLE %1 IN DATABASE %2 SET default_transaction_read_only = on").arg(r, quoted(database)));
        run(c, QStringLiteral("ALTER ROLE %1 IN DATABASE %2 SET statement_timeout = '10min'").arg(r, quoted(database)));
        run(c, QStringLiteral("ALTER ROLE %1 IN DATABASE %2 SET idle_in_transaction_session_timeout = '5min'").arg(r, quoted(database)));
        // The database: connect, nothing else. TEMP is PUBLIC's by default, so it goes from PUBLIC
        // (the owner keeps it as owner).
        run(c, QStringLiteral("REVOKE ALL ON DATABASE %1 FROM %2").arg(quoted(database), r));
        run(c, QStringLiteral("REVOKE TEMPORARY ON DATABASE %1 FROM PUBLIC").arg(quoted(database)));
        run(c, QStringLiteral("GRANT CONNECT ON DATABASE %1 TO %2").arg(quoted(database), r));
        run(c, QStringLiteral("REVOKE CREATE ON SCHEMA %1 FROM PUBLIC").arg(quoted(ns)));
        run(c, QStringLiteral("REVOKE ALL ON SCHEMA %1 FROM %2").arg(quoted(ns), r));
        run(c, QStringLiteral("GRANT USAGE ON SCHEMA %1 TO %2").arg(quoted(ns), r));
        granted = grantTables(c, ns, role);
        if (!c.settings().write(SettingKeys::kMainframe, SettingKeys::kReaderRole, role)
            || !c.settings().write(SettingKeys::kMainframe, SettingKeys::kReaderPassword, password))
            throw DbError(QStringLiteral("Az olvasó szerepkör adatai nem menthetők az adatbázisba."));
        return true;
    }, &err);
    if (outcome == Transactions::LockedWrite::Refused)
        return fail(QStringLiteral("Az adatbázist más éppen módosítja (a fő zárat más tartja); próbálja újra később."));
    if (outcome == Transactions::LockedWrite::Failed)
        return fail(QStringLiteral("Az olvasó szerepkör nem hozható létre: %1").arg(err));
    if (message)
        *message = QStringLiteral("Az olvasó szerepkör (%1) %2 a(z) „%3” adatbázisban: %4 tábla és nézet olvasható, legfeljebb "
                                  "%5 kapcsolat.")
                       .arg(role, exists ? QStringLiteral("frissítve") : QStringLiteral("létrehozva"), database)
                       .arg(granted)
                       .arg(limit);
    return true;
}

} // namespace

bool grantAgain(Connection& c, QString* message)
{
    if (!isServerTarget(c.target())) return true;
    try {
        const QString role = c.settings().read(SettingKeys::kMainframe, SettingKeys::kReaderRole);
        const bool exists = !role.isEmpty()
            && !c.select(QStringLiteral("SELECT 1 FROM pg_roles WHERE rolname = ?"), {role}).isEmpty();
        if (!exists) {
            *message = QStringLiteral("Az adatbázis olvasó szerepköre%1 nincs meg ezen a kiszolgálón. A felhasználói lekérdezésekhez "
                                      "az adatbázis rendszergazdája hozza létre: nexo-shell --create-reader --db <a rendszergazda "
                                      "adatbázis-címe>")
                           .arg(role.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(role));
            return true;
        }
        const QString ns = programSchema(c);
        int granted = 0;
        QString err;
        if (c.transactions().writeLocked([&] {
                granted = grantTables(c, ns, role, true);
                return true;
            }, &err) != Transactions::LockedWrite::Done) {
            *message = QStringLiteral("Az olvasó szerepkör (%1) jogai nem állíthatók be: %2").arg(role, err);
            return false;
        }
        *message = QStringLiteral("Az olvasó szerepkör (%1) jogai újra beállítva: %2 tábla és nézet olvasható.").arg(role).arg(granted);
        return true;
    } catch (const DbError& e) {
        *message = QStringLiteral("Az olvasó szerepkör jogai nem állíthatók be: %1").arg(e.message());
        return false;
    }
}

bool create(const QString& adminTarget, QString* message)
{
    try {
        return createOrUpdate(adminTarget, message);
    } catch (const DbError& e) {
        if (message) *message = QStringLiteral("Az olvasó szerepkör nem hozható létre: %1").arg(e.message());
        return false;
    }
}

namespace {

bool storeLogin(const QString& target, const QString& role, const QString& password, QString* message)
{
    auto fail = [&](const QString& m) {
        if (message) *message = m;
        return false;
    };
    if (!isServerTarget(target)) return fail(QStringLiteral("Olvasó szerepkör csak PostgreSQL-adatbázishoz kell."));
    if (password.isEmpty()) return fail(QStringLiteral("A szabványos bemeneten nem érkezett jelszó."));
    QString err;
    auto c = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!c) return fail(err);
    {
        // The login is tried first: a role that cannot log in, or may do more than read, is not kept.
        Connection probe(makePostgresEngine());
        if (!probe.open(targetWith(target, role, password), &err)) return fail(missingMessage(err));
        const auto me = probe.select(QStringLiteral("SELECT rolsuper OR rolcreaterole OR rolcreatedb OR rolreplication OR rolbypassrls, "
                                                    "current_user = ? FROM pg_roles WHERE rolname = current_user"),
                                     {programRoleOf(*c)});
        if (me.isEmpty() || me[0].value(0).toBool() || me[0].value(1).toBool())
            return fail(QStringLiteral("A(z) „%1” szerepkör többre is jogosult az olvasásnál, vagy a program saját szerepköre: nem "
                                       "lehet olvasó szerepkör.").arg(role));
    }
    const auto outcome = c->transactions().writeLocked([&] {
        if (!c->settings().write(SettingKeys::kMainframe, SettingKeys::kReaderRole, role)
            || !c->settings().write(SettingKeys::kMainframe, SettingKeys::kReaderPassword, password))
            throw DbError(QStringLiteral("Az olvasó szerepkör adatai nem menthetők az adatbázisba."));
        return true;
    }, &err);
    if (outcome != Transactions::LockedWrite::Done)
        return fail(QStringLiteral("Az olvasó szerepkör adatai nem menthetők: %1").arg(err));
    if (message) *message = QStringLiteral("Az olvasó szerepkör (%1) elmentve.").arg(role);
    return true;
}

} // namespace

bool store(const QString& target, const QString& role, const QString& password, QString* message)
{
    try {
        return storeLogin(target, role, password, message);
    } catch (const DbError& e) {
        if (message) *message = missingMessage(e.message());
        return false;
    }
}

} // namespace NexoFrame::ReaderRole
