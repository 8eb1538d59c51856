#include "Backup.h"
#include "Access.h"
#include "Connection.h"
#include "LogKeeping.h"
#include "ReaderRole.h"
#include "SchemaSteps.h"
#include "SettingKeys.h"
#include "SqlExec.h"
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>
#include <QStandardPaths>
#include <QRandomGenerator>
#include <QSqlRecord>
#include <QUrl>
#include <QVersionNumber>
#include <algorithm>
#include <cstdio>
#include <memory>

namespace NexoFrame::Backup {

namespace {

using OpenMode = Engine::OpenMode;

// What a backup file holds, by its first bytes.
enum class Kind { Missing, Sqlite, Dump, Other };

Kind kindOf(const QString& file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly)) return Kind::Missing;
    const QByteArray head = f.read(16);
    if (head == QByteArray("SQLite format 3\0", 16)) return Kind::Sqlite;
    if (head.startsWith("PGDMP")) return Kind::Dump;
    return Kind::Other;
}

// A PostgreSQL client program: the newest installed server's first (pg_dump must be at least
// as new as the server), then the one on PATH.
QString postgresTool(const QString& name)
{
    QDir lib(QStringLiteral("/usr/lib/postgresql"));
    QStringList versions = lib.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(versions.begin(), versions.end(), [](const QString& a, const QString& b) {
        return QVersionNumber::fromString(a) > QVersionNumber::fromString(b);
    });
    for (const QString& v : std::as_const(versions)) {
        const QFileInfo tool(lib.filePath(v + QStringLiteral("/bin/") + name));
        if (tool.isExecutable()) return tool.absoluteFilePath();
    }
    return QStandardPaths::findExecutable(name);
}

// Runs pg_dump or pg_restore against the server database `target` names. The URI goes on the
// command line without its password, which travels in the environment.
bool runTool(const QString& name, QStringList args, const QString& target, QString* failure)
{
    const QString tool = postgresTool(name);
    if (tool.isEmpty()) {
        *failure = QStringLiteral("A(z) %1 program nincs telepítve ezen a gépen, ezért PostgreSQL-adatbázis mentése és "
                                  "visszaállítása innen nem lehetséges. Telepítse a PostgreSQL ügyfélprogramjait (Debian, "
                                  "Ubuntu: apt-get install postgresql-client), legalább a kiszolgálóéval azonos "
                                  "változatban.")
                       .arg(name);
        return false;
    }
    QUrl url(target.trimmed());
    const QString password = url.password(QUrl::FullyDecoded);
    url.setPassword(QString());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (!password.isEmpty()) env.insert(QStringLiteral("PGPASSWORD"), password);
    env.insert(QStringLiteral("PGCONNECT_TIMEOUT"), QStringLiteral("10"));
    env.insert(QStringLiteral("PGAPPNAME"), QStringLiteral("NexoFrame"));
    QProcess p;
    p.setProcessEnvironment(env);
    p.setStandardInputFile(QProcess::nullDevice());
    // Never a password prompt: nobody answers one from cron.
    args << QStringLiteral("--no-password") << QStringLiteral("--dbname=") + url.toString(QUrl::FullyEncoded);
    p.start(tool, args);
    if (!p.waitForStarted()) {
        *failure = QStringLiteral("A(z) %1 program nem indítható el: %2").arg(tool, p.errorString());
        return false;
    }
    p.waitForFinished(-1);
    if (p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0) return true;
    *failure = QStringLiteral("A(z) %1 program hibával állt le (%2).\n\n%3")
                   .arg(tool)
                   .arg(p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1)
                   .arg(QString::fromLocal8Bit(p.readAllStandardError()).trimmed());
    return false;
}

// A file's new content written beside it under a name of its own, and renamed over it only
// when whole: a failed or interrupted write never leaves half a file under the real name.
// `ownerOnly`: readable by its owner alone (a backup holds every user's stored password);
// otherwise as the umask says, as SQLite makes a database file.
class Staged {
public:
    Staged(const QString& file, bool ownerOnly) : m_file(QFileInfo(file).absoluteFilePath())
    {
        const QFileInfo fi(m_file);
        for (int attempt = 0; attempt < 10 && m_part.isEmpty(); ++attempt) {
            QFile f(fi.absolutePath() + QStringLiteral("/.") + fi.fileName() + QLatin1Char('.')
                    + QString::number(QRandomGenerator::global()->generate(), 36));
            // Left empty: VACUUM INTO writes only into a file that is missing or empty.
            if (!f.open(QIODevice::WriteOnly | QIODevice::NewOnly)) continue;
            if (ownerOnly) f.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
            m_part = f.fileName();
        }
    }
    ~Staged()
    {
        if (!m_part.isEmpty()) QFile::remove(m_part);
    }
    bool ready() const { return !m_part.isEmpty(); }
    QString part() const { return m_part; }
    // Replaces the file at once (rename(2) does not leave the name empty in between).
    bool commit()
    {
        if (std::rename(QFile::encodeName(m_part).constData(), QFile::encodeName(m_file).constData()) != 0) return false;
        m_part.clear();
        return true;
    }

private:
    QString m_file;
    QString m_part;
};

QString sizeText(const QString& file)
{
    return QLocale().formattedDataSize(QFileInfo(file).size(), 1, QLocale::DataSizeTraditionalFormat);
}

QString secondsText(const QElapsedTimer& t) { return QLocale().toString(t.elapsed() / 1000.0, 'f', 1); }

bool fail(QString* message, const QString& text)
{
    if (message) *message = text;
    return false;
}

// Where a backup may go: a folder that is there, and never over the database itself.
bool checkDestination(Connection& c, const QString& file, QString* message)
{
    const QFileInfo fi(file);
    if (file.trimmed().isEmpty()) return fail(message, QStringLiteral("Nincs megadva a mentés fájlja."));
    if (!fi.absoluteDir().exists())
        return fail(message, QStringLiteral("A mentés mappája nem létezik: %1").arg(fi.absolutePath()));
    if (fi.isDir()) return fail(message, QStringLiteral("A mentés helyén mappa áll: %1").arg(fi.absoluteFilePath()));
    if (!isServerTarget(c.target())) {
        const QFileInfo db(c.databaseName());
        const QString base = db.canonicalFilePath();
        const QString dest = fi.exists() ? fi.canonicalFilePath() : fi.absoluteFilePath();
        for (const QString& own : {base, base + QStringLiteral("-wal"), base + QStringLiteral("-shm"), base + QStringLiteral("-journal")})
            if (dest == own)
                return fail(message, QStringLiteral("A mentés nem írhatja felül magát az adatbázist: %1").arg(dest));
    }
    return true;
}

} // namespace

bool backup(Connection& c, const QString& file, QString* message)
{
    if (!checkDestination(c, file, message)) return false;
    if (c.transactions().inTransaction())
        return fail(message, QStringLiteral("Folyamatban lévő módosítás közben az adatbázis nem menthető."));
    Staged staged(file, true);
    if (!staged.ready())
        return fail(message, QStringLiteral("A mentés mappájába nem lehet írni: %1").arg(QFileInfo(file).absolutePath()));
    QElapsedTimer timer;
    timer.start();
    QString failure;
    if (isServerTarget(c.target())) {
        if (!runTool(QStringLiteral("pg_dump"), {QStringLiteral("--format=custom"), QStringLiteral("--file=") + staged.part()},
                     c.target(), &failure))
            return fail(message, QStringLiteral("Az adatbázis nem menthető.\n\n%1").arg(failure));
    } else {
        // One read transaction: the copy is the database at one moment, while others write on.
        if (!c.execute(QStringLiteral("VACUUM INTO ?"), {staged.part()}, &failure))
            return fail(message, QStringLiteral("Az adatbázis nem menthető: %1").arg(failure));
    }
    if (!staged.commit())
        return fail(message, QStringLiteral("A mentés nem nevezhető át a végleges nevére: %1").arg(QFileInfo(file).absoluteFilePath()));
    if (message)
        *message = QStringLiteral("Az adatbázis mentése elkészült: %1 (%2, %3 mp).")
                       .arg(QFileInfo(file).absoluteFilePath(), sizeText(file), secondsText(timer));
    return true;
}

bool backup(const QString& target, const QString& file, QString* message)
{
    QString err;
    std::unique_ptr<Connection> c = Connection::openExisting(target, OpenMode::Existing, &err);
    if (!c) return fail(message, err);
    return backup(*c, file, message);
}

namespace {

bool restoreFile(const QString& file, const QString& target, QString* message)
{
    const QFileInfo to(target);
    if (target.trimmed().isEmpty()) return fail(message, QStringLiteral("Nincs megadva, hová kerüljön a visszaállított adatbázis."));
    if (!to.absoluteDir().exists())
        return fail(message, QStringLiteral("Az adatbázis mappája nem létezik: %1").arg(to.absolutePath()));
    if (to.exists() && (!to.isFile() || to.size() > 0))
        return fail(message, QStringLiteral("A(z) %1 már létezik, és nem üres. Visszaállítani csak új vagy üres fájlba lehet, "
                                            "hogy semmi ne vesszen el.").arg(to.absoluteFilePath()));
    QString err;
    std::unique_ptr<Connection> source = Connection::openExisting(file, OpenMode::ReadOnly, &err);
    if (!source) return fail(message, QStringLiteral("A mentés nem olvasható.\n\n%1").arg(err));
    Staged staged(target, false);
    if (!staged.ready())
        return fail(message, QStringLiteral("Az adatbázis mappájába nem lehet írni: %1").arg(to.absolutePath()));
    // The file itself is open read-only; VACUUM INTO only reads it, but query_only would refuse it.
    if (!source->execute(QStringLiteral("PRAGMA query_only=0"), {}, &err)
        || !source->execute(QStringLiteral("VACUUM INTO ?"), {staged.part()}, &err))
        return fail(message, QStringLiteral("A mentés nem állítható vissza: %1").arg(err));
    source.reset();
    if (!staged.commit())
        return fail(message, QStringLiteral("A visszaállított adatbázis nem nevezhető át a végleges nevére: %1").arg(to.absoluteFilePath()));
    if (message) *message = QStringLiteral("A mentés visszaállítva: %1 (%2).").arg(to.absoluteFilePath(), sizeText(target));
    return true;
}

bool restoreServer(const QString& file, const QString& target, QString* message)
{
    QString err;
    {
        auto c = std::make_unique<Connection>(makePostgresEngine());
        if (!c->open(target, &err)) return fail(message, err);
        const QStringList tables = c->engine().tables(c->db());
        if (!tables.isEmpty())
            return fail(message, QStringLiteral("A(z) %1 adatbázis nem üres (%2 tábla vagy nézet van benne). Visszaállítani csak "
                                                "üres adatbázisba lehet, hogy semmi ne vesszen el; hozzon létre egy újat "
                                                "(createdb).")
                                     .arg(c->databaseName())
                                     .arg(tables.size()));
    }
    // One transaction: a restore that fails leaves the database as empty as it was.
    if (!runTool(QStringLiteral("pg_restore"),
                 {QStringLiteral("--no-owner"), QStringLiteral("--no-privileges"), QStringLiteral("--single-transaction"),
                  QStringLiteral("--exit-on-error"), file},
                 target, &err))
        return fail(message, QStringLiteral("A mentés nem állítható vissza; az adatbázis üres maradt.\n\n%1").arg(err));
    std::unique_ptr<Connection> c = Connection::openExisting(target, OpenMode::Existing, &err);
    if (!c) return fail(message, QStringLiteral("A visszaállított adatbázis nem nyitható meg.\n\n%1").arg(err));
    QString grants;
    const bool granted = ReaderRole::grantAgain(*c, &grants);
    QString text = QStringLiteral("A mentés visszaállítva: %1.").arg(c->databaseName());
    if (!grants.isEmpty()) text += QLatin1Char('\n') + grants;
    if (message) *message = text;
    return granted;
}

} // namespace

bool restore(const QString& file, const QString& target, QString* message)
{
    const bool server = isServerTarget(target);
    switch (kindOf(file)) {
    case Kind::Missing: return fail(message, QStringLiteral("A mentés fájlja nem olvasható: %1").arg(QFileInfo(file).absoluteFilePath()));
    case Kind::Other:
        return fail(message, QStringLiteral("A fájl nem NexoFrame-adatbázis mentése: %1").arg(QFileInfo(file).absoluteFilePath()));
    case Kind::Sqlite:
        if (server)
            return fail(message, QStringLiteral("Ez egy SQLite-adatbázis mentése, PostgreSQL-adatbázisba nem állítható vissza: %1")
                                     .arg(QFileInfo(file).absoluteFilePath()));
        return restoreFile(file, target, message);
    case Kind::Dump:
        if (!server)
            return fail(message, QStringLiteral("Ez egy PostgreSQL-adatbázis mentése (pg_dump), SQLite-fájlba nem állítható vissza: %1")
                                     .arg(QFileInfo(file).absoluteFilePath()));
        return restoreServer(file, target, message);
    }
    return false;
}

namespace {

constexpr int kShownIds = 5;

class Checker {
public:
    Checker(Connection& c, QStringList& faults) : m_c(c), m_faults(faults) {}

    void run()
    {
        m_tables = m_c.engine().tables(m_c.db());
        schemaAndEngine();
        for (const TableDef& t : Schema::instance().tables())
            for (const ForeignRef& r : t.references) references(t, r);
        rightsHistory();
        roleSlots();
        keys();
        sortKeys();
    }

private:
    bool has(const QString& table) const { return m_tables.contains(table.toLower()); }
    // The last layout step the database has taken (1 before the steps were kept).
    int stepsTaken()
    {
        if (!has(QStringLiteral("qnd_schema_step"))) return 1;
        return rows(QStringLiteral("SELECT MAX(step) FROM qnd_schema_step")).value(0).value(0).toInt();
    }

    // Runs a query of the check; a failure is itself a fault (a table that cannot be read).
    QList<QVariantList> rows(const QString& sql, const QVariantList& binds = {})
    {
        try {
            return m_c.select(sql, binds);
        } catch (const DbError& e) {
            m_faults << QStringLiteral("Egy ellenőrző lekérdezés nem futott le: %1").arg(e.message());
            return {};
        }
    }

    // The rows a WHERE finds: how many, and the first keys, as a fault that says `what`.
    void finding(const QString& table, const QString& key, const QString& where, const QVariantList& binds,
                 const QString& what)
    {
        const QString from = QStringLiteral(" FROM %1 t WHERE %2").arg(quoted(table), where);
        const qint64 n = rows(QStringLiteral("SELECT COUNT(*)") + from, binds).value(0).value(0).toLongLong();
        if (n == 0) return;
        QStringList ids;
        for (const QVariantList& r : rows(QStringLiteral("SELECT t.%1").arg(quoted(key)) + from
                                              + QStringLiteral(" ORDER BY t.%1 LIMIT %2").arg(quoted(key)).arg(kShownIds),
                                          binds))
            ids << r.value(0).toString();
        if (n > kShownIds) ids << QStringLiteral("…");
        m_faults << QStringLiteral("%1 (%2 tábla, %3 sor; azonosító: %4).")
                        .arg(what.left(1).toUpper() + what.mid(1), table)
                        .arg(n)
                        .arg(ids.join(QStringLiteral(", ")));
    }

    void schemaAndEngine()
    {
        const bool server = isServerTarget(m_c.target());
        if (!server) {
            QStringList problems;
            for (const QVariantList& r : rows(QStringLiteral("PRAGMA integrity_check(20)")))
                if (r.value(0).toString() != QLatin1String("ok")) problems << r.value(0).toString();
            for (const QString& p : std::as_const(problems))
                m_faults << QStringLiteral("Az SQLite épség-ellenőrzése hibát talált: %1").arg(p);
        }
        for (const TableDef& t : Schema::instance().tables()) {
            // A database made before the layout's steps were kept has no record of them: no fault.
            if (!has(t.name) && t.number == Tables::SchemaStep) continue;
            if (!has(t.name)) {
                // Nor are the tables of the steps an older layout has still to take.
                if (stepsTaken() < SchemaSteps::newest()) continue;
                m_faults << QStringLiteral("Hiányzik a(z) %1 %2.").arg(t.name, t.isView() ? QStringLiteral("nézet") : QStringLiteral("tábla"));
                continue;
            }
            // Every column the program reads is there (asked of the driver: SQLite takes a quoted
            // name it does not know for a string).
            const QSqlRecord present = m_c.db().record(t.name);
            QStringList columns, lacking;
            for (const ColumnDef& col : t.columns) {
                columns << quoted(col.name);
                if (present.indexOf(col.name) < 0) lacking << col.name;
            }
            if (!lacking.isEmpty()) {
                // An older layout lacks what its next steps add: the upgrade after a login brings it.
                if (stepsTaken() < SchemaSteps::newest()) continue;
                m_faults << QStringLiteral("A(z) %1 %2 hiányzó oszlop: %3.")
                                .arg(t.name, t.isView() ? QStringLiteral("nézetből") : QStringLiteral("táblából"),
                                     lacking.join(QStringLiteral(", ")));
                continue;
            }
            // On a server every row and value is read too (SQLite's integrity_check above has read
            // every page already).
            if (!server || t.isView()) continue;
            try {
                m_c.select(QStringLiteral("SELECT sum(length(t::text)) FROM (SELECT %1 FROM %2) t")
                               .arg(columns.join(QLatin1Char(',')), quoted(t.name)));
            } catch (const DbError& e) {
                m_faults << QStringLiteral("A(z) %1 tábla nem olvasható végig: %2").arg(t.name, e.message());
            }
        }
    }

    // Rows of `t` whose column points at no row of its target.
    void references(const TableDef& t, const ForeignRef& r)
    {
        const TableDef* target = Schema::instance().table(r.targetTable);
        if (!target || !has(t.name) || !has(target->name)) return;
        const QString column = quoted(r.column);
        QString where = QStringLiteral("NOT EXISTS (SELECT 1 FROM %1 p WHERE p.%2 = t.%3)")
                            .arg(quoted(target->name), quoted(target->primaryKey), column);
        if (!r.noneCondition.isEmpty()) where += QStringLiteral(" AND NOT (t.%1 %2)").arg(column, r.noneCondition);
        finding(t.name, t.primaryKey, where, {}, r.faultText);
    }

    // Every row of the rights history names a row of a table that keeps history.
    void rightsHistory()
    {
        if (!has(QStringLiteral("qnd_rights_history"))) return;
        QStringList kept;
        for (const TableDef& t : Schema::instance().tables()) {
            if (t.historyColumns.isEmpty() || !has(t.name)) continue;
            kept << QStringLiteral("'%1'").arg(t.name);
            finding(QStringLiteral("qnd_rights_history"), QStringLiteral("id"),
                    QStringLiteral("t.table_name = ? AND NOT EXISTS (SELECT 1 FROM %1 p WHERE p.%2 = t.row_id)")
                        .arg(quoted(t.name), quoted(t.primaryKey)),
                    {t.name}, QStringLiteral("a jogosultság-történet sorának tétele nem létezik (%1)").arg(t.name));
        }
        // A log's pruning leaves a row naming the log (LogKeeping).
        for (int log = 0; log < LogKeeping::LogCount; ++log) kept << QStringLiteral("'%1'").arg(LogKeeping::info(LogKeeping::Log(log)).table);
        if (!kept.isEmpty())
            finding(QStringLiteral("qnd_rights_history"), QStringLiteral("id"),
                    QStringLiteral("t.table_name NOT IN (%1)").arg(kept.join(QLatin1Char(','))), {},
                    QStringLiteral("a jogosultság-történet sora ismeretlen táblát nevez meg"));
    }

    // Role slots are 0..9: the rights history's columns and the roles' names in the settings.
    void roleSlots()
    {
        QStringList columns, names;
        for (int slot = 0; slot < RoleSet::kSlots; ++slot) {
            columns << QStringLiteral("'%1'").arg(RoleSet::column(slot));
            names << QStringLiteral("'%1'").arg(SettingKeys::roleNameKey(slot));
        }
        if (has(QStringLiteral("qnd_rights_history")))
            finding(QStringLiteral("qnd_rights_history"), QStringLiteral("id"),
                    QStringLiteral("t.column_name LIKE 'auth!_%' ESCAPE '!' AND t.column_name NOT IN (%1)").arg(columns.join(QLatin1Char(','))),
                    {}, QStringLiteral("a jogosultság-történet sora 0–9-en kívüli szerepkört nevez meg"));
        if (has(QStringLiteral("qnd_settings")))
            finding(QStringLiteral("qnd_settings"), QStringLiteral("id"),
                    QStringLiteral("t.section = ? AND t.key_name LIKE 'CUE!_NAME!_%' ESCAPE '!' AND t.key_name NOT IN (%1)")
                        .arg(names.join(QLatin1Char(','))),
                    {QString(SettingKeys::kMainframe)}, QStringLiteral("egy szerepkör neve 0–9-en kívüli szerepkörhöz tartozik"));
    }

    // Every program sharing the database takes its keys from qnd_key: a counter behind a key
    // already stored would hand that key out again.
    void keys()
    {
        if (!has(QStringLiteral("qnd_key"))) return;
        for (const QVariantList& k : rows(QStringLiteral("SELECT table_name, last_key FROM qnd_key ORDER BY table_name"))) {
            const TableDef* t = Schema::instance().table(k.value(0).toString());
            if (!t || t->isView() || !has(t->name)) continue;
            const ColumnDef* key = t->column(t->primaryKey);
            if (!key || key->type != ColType::Long) continue;
            const auto top = rows(QStringLiteral("SELECT MAX(%1) FROM %2").arg(quoted(t->primaryKey), quoted(t->name)));
            const QVariant largest = top.value(0).value(0);
            if (!largest.isNull() && largest.toLongLong() > k.value(1).toLongLong())
                m_faults << QStringLiteral("A(z) %1 tábla kulcsszámlálója (qnd_key: %2) elmarad a legnagyobb tárolt kulcs (%3) "
                                           "mögött: a következő új kulcs már foglalt lehet.")
                                .arg(t->name, k.value(1).toString(), largest.toString());
        }
    }

    // A sort key the program keeps (a SQLite file) that is not its text's: its row sorts out of
    // place. An empty one is no fault, the program fills it when it next opens the file.
    void sortKeys()
    {
        for (const TableDef& t : Schema::instance().tables()) {
            if (t.isView() || !has(t.name)) continue;
            for (const QString& c : t.sortKeys) {
                const QString key = m_c.engine().sortKeyColumn(t, c);
                if (key.isEmpty()) continue;
                const QString made = m_c.engine().sortKeySql(QStringLiteral("t.") + quoted(c));
                if (rows(QStringLiteral("SELECT 1 FROM pragma_table_info(?) WHERE name = ?"), {t.name, key}).isEmpty()) continue;
                finding(t.name, t.primaryKey, QStringLiteral("t.%1 IS NOT NULL AND (t.%2 IS NULL OR t.%1 <> %3)").arg(quoted(key), quoted(c), made), {},
                        QStringLiteral("a(z) %1 oszlop rendezőkulcsa nem a szövegéé, a sor rossz helyen áll a sorrendben").arg(c));
            }
        }
    }

    Connection& m_c;
    QStringList& m_faults;
    QStringList m_tables;
};

} // namespace

bool check(const QString& target, CheckReport* report, QString* error)
{
    std::unique_ptr<Connection> c = Connection::openExisting(target, OpenMode::ReadOnly, error);
    if (!c) return false;
    report->database = c->databaseName();
    report->faults.clear();
    Checker(*c, report->faults).run();
    return true;
}

} // namespace NexoFrame::Backup
