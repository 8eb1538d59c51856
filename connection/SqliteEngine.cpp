#include "Engine.h"
#include "SqlExec.h"
#include "SqliteHungarian.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QStorageInfo>
#include <QThread>
#include <sqlite3.h>
#include <unicode/ucol.h>
#include <cstring>
#include <memory>

namespace NexoFrame {

namespace {

constexpr int kReadBusyMs = 5000;

sqlite3* handleOf(QSqlDatabase& db)
{
    const QVariant v = db.driver() ? db.driver()->handle() : QVariant();
    if (v.isValid() && qstrcmp(v.typeName(), "sqlite3*") == 0) return *static_cast<sqlite3* const*>(v.constData());
    return nullptr;
}

// Hungarian alphabetical order by ICU. Texts the collator finds equal but that differ are
// ordered by their bytes, so that equality stays exact, as on the server.
int compareHungarian(void* collator, int la, const void* a, int lb, const void* b)
{
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult r = ucol_strcollUTF8(static_cast<UCollator*>(collator), static_cast<const char*>(a), la,
                                                static_cast<const char*>(b), lb, &status);
    if (U_SUCCESS(status) && r != UCOL_EQUAL) return r == UCOL_LESS ? -1 : 1;
    const int c = std::memcmp(a, b, size_t(std::min(la, lb)));
    return c != 0 ? c : la - lb;
}

void closeCollator(void* collator) { ucol_close(static_cast<UCollator*>(collator)); }

// One collator a thread: ICU's may not be used by two at once.
UCollator* sortKeyCollator()
{
    thread_local std::unique_ptr<UCollator, void (*)(UCollator*)> collator(
        [] {
            UErrorCode status = U_ZERO_ERROR;
            UCollator* c = ucol_open("hu_HU", &status);
            return U_SUCCESS(status) ? c : nullptr;
        }(),
        [](UCollator* c) { if (c) ucol_close(c); });
    return collator.get();
}

QByteArray sortKeyOf(const char16_t* text, int length, const QByteArray& utf8)
{
    UCollator* collator = sortKeyCollator();
    QByteArray key(256, Qt::Uninitialized);
    int n = collator ? ucol_getSortKey(collator, reinterpret_cast<const UChar*>(text), length,
                                       reinterpret_cast<uint8_t*>(key.data()), int(key.size()))
                     : 0;
    if (n > key.size()) {
        key.resize(n);
        n = ucol_getSortKey(collator, reinterpret_cast<const UChar*>(text), length, reinterpret_cast<uint8_t*>(key.data()), n);
    }
    key.truncate(n);
    // The key ends in a zero byte that no key holds elsewhere: the text's bytes after it order
    // texts the collator finds equal, as the collation does.
    return key + utf8;
}

void sortKeyFunction(sqlite3_context* context, int, sqlite3_value** args)
{
    if (sqlite3_value_type(args[0]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(args[0]));
    const QByteArray utf8(text, sqlite3_value_bytes(args[0]));
    const QString s = QString::fromUtf8(utf8);
    const QByteArray key = sortKeyOf(reinterpret_cast<const char16_t*>(s.utf16()), int(s.size()), utf8);
    sqlite3_result_blob(context, key.constData(), int(key.size()), SQLITE_TRANSIENT);
}

} // namespace

QByteArray hungarianSortKey(const QString& text)
{
    return sortKeyOf(reinterpret_cast<const char16_t*>(text.utf16()), int(text.size()), text.toUtf8());
}

namespace {

// lower() of every letter, not only of ASCII ones, so that a search folds "Ö" as "ö".
void lowerUnicode(sqlite3_context* context, int, sqlite3_value** args)
{
    if (sqlite3_value_type(args[0]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(args[0]));
    const QByteArray lowered = QString::fromUtf8(text, sqlite3_value_bytes(args[0])).toLower().toUtf8();
    sqlite3_result_text(context, lowered.constData(), int(lowered.size()), SQLITE_TRANSIENT);
}

} // namespace

bool registerHungarianCollation(sqlite3* handle)
{
    if (!handle
        || sqlite3_create_function_v2(handle, "lower", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, lowerUnicode,
                                      nullptr, nullptr, nullptr)
               != SQLITE_OK)
        return false;
    if (sqlite3_create_function_v2(handle, "nexo_sort_key", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                   sortKeyFunction, nullptr, nullptr, nullptr)
        != SQLITE_OK)
        return false;
    // "HU" is what files made before the sort keys name; "nexo_hu" is the server's name, so that
    // a report's SQL runs unchanged on both engines.
    for (const char* name : {"HU", "nexo_hu"}) {
        UErrorCode status = U_ZERO_ERROR;
        UCollator* collator = ucol_open("hu_HU", &status);
        if (!collator || U_FAILURE(status)) return false;
        if (sqlite3_create_collation_v2(handle, name, SQLITE_UTF8, collator, compareHungarian, closeCollator) != SQLITE_OK) {
            // A refused registration leaves the collator to its caller.
            ucol_close(collator);
            return false;
        }
    }
    return true;
}

namespace {

// Waits for another writer in short steps, so that the lock is taken soon after it is
// freed (SQLite's own handler sleeps up to 100 ms between looks).
struct LockWait {
    QDeadlineTimer deadline;
};

int pollWhileBusy(void* wait, int)
{
    if (static_cast<LockWait*>(wait)->deadline.hasExpired()) return 0;
    QThread::usleep(300);
    return 1;
}

// One database file. Its own file locks are the master lock: a write transaction taken
// with BEGIN IMMEDIATE shuts out every other writer, and the operating system drops the
// lock of a process that dies.
class SqliteEngine final : public Engine {
public:
    QString name() const override { return QStringLiteral("SQLite"); }

    bool open(QSqlDatabase& db, const QString& connectionName, const QString& target,
              QString* error) override
    {
        QFileInfo fi(target);
        if (target.trimmed().isEmpty()) {
            *error = QStringLiteral("Nincs megadva adatbázis-fájl.");
            return false;
        }
        if (!fi.absoluteDir().exists()) {
            *error = QStringLiteral("Az adatbázis mappája nem létezik: %1").arg(fi.absolutePath());
            return false;
        }
        if (fi.exists() && !fi.isFile()) {
            *error = QStringLiteral("Az adatbázis helyén nem fájl áll: %1").arg(fi.absoluteFilePath());
            return false;
        }
        const bool readOnly = m_openMode == OpenMode::ReadOnly;
        if (!fi.exists() && m_openMode != OpenMode::Create) {
            *error = QStringLiteral("Az adatbázis-fájl nem létezik: %1").arg(fi.absoluteFilePath());
            return false;
        }
        // Checked on the permission bits, so that a read-only file is refused even for root
        // (WriteUser is not a bit: it says whether this process may write, always true for root).
        const auto writeBits = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
        if (!readOnly && fi.exists() && (!(fi.permissions() & writeBits) || !fi.isWritable())) {
            *error = QStringLiteral("Az adatbázis-fájl csak olvasható, nem lehet rajta dolgozni: %1")
                         .arg(fi.absoluteFilePath());
            return false;
        }
        if (!fi.exists()) {
            QFileInfo dirInfo(fi.absolutePath());
            if (!(dirInfo.permissions() & writeBits) || !dirInfo.isWritable()) {
                *error = QStringLiteral("Az adatbázis mappája csak olvasható: %1").arg(fi.absolutePath());
                return false;
            }
        }
        m_path = fi.absoluteFilePath();
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
        db.setDatabaseName(m_path);
        // Another process may be creating the file this very moment: wait for it.
        db.setConnectOptions(QStringLiteral("%1QSQLITE_BUSY_TIMEOUT=%2")
                                 .arg(readOnly ? QStringLiteral("QSQLITE_OPEN_READONLY;") : QString())
                                 .arg(kReadBusyMs));
        if (!db.open()) {
            *error = QStringLiteral("Az adatbázis nem nyitható meg: %1 (%2)")
                         .arg(m_path, db.lastError().text());
            return false;
        }
        m_handle = handleOf(db);
        QString err;
        // Reading the schema version fails at once on a file that is not a database.
        if (!m_handle || !execSql(db, QStringLiteral("PRAGMA schema_version"), &err)) {
            *error = QStringLiteral("A fájl nem adatbázis, vagy sérült: %1 (%2)").arg(m_path, err);
            db.close();
            return false;
        }
        if (!registerHungarianCollation(m_handle)) {
            *error = QStringLiteral("A magyar ábécérend nem állítható be: %1").arg(m_path);
            db.close();
            return false;
        }
        if (readOnly) {
            execSql(db, QStringLiteral("PRAGMA query_only=1"));
            return true;
        }
        execSql(db, QStringLiteral("PRAGMA foreign_keys=OFF"));
        // Write-ahead logging lets a long read (an OLAP report, a list) run while others save.
        // It needs memory shared between the processes, which a network file system does not
        // give: there the file keeps its rollback journal.
        const QByteArray fs = QStorageInfo(QFileInfo(m_path).absolutePath()).fileSystemType().toLower();
        m_networkFolder = fs.startsWith("nfs") || fs.startsWith("cifs") || fs.startsWith("smb") || fs.contains("sshfs");
        execSql(db, m_networkFolder ? QStringLiteral("PRAGMA journal_mode=DELETE") : QStringLiteral("PRAGMA journal_mode=WAL"));
        // A page cache that holds a large rights or menu tree keeps tree walks off the disk.
        execSql(db, QStringLiteral("PRAGMA cache_size=-65536"));
        execSql(db, QStringLiteral("PRAGMA mmap_size=268435456"));
        // A statement that writes many rows through triggers (a subtree's tick, a block of new
        // users) keeps each changed page's old content, to undo itself alone should it fail.
        // SQLite spills that journal to a temporary file past 64 KiB, a write for every page;
        // in memory it costs none. (Users' own long reads run on the read-only link.)
        execSql(db, QStringLiteral("PRAGMA temp_store=MEMORY"));
        return true;
    }

    // A file does not go away as a server does.
    bool reopen(QSqlDatabase&, QString* error) override
    {
        *error = QStringLiteral("Az adatbázis-fájl kapcsolata megszakadt: %1").arg(m_path);
        return false;
    }
    bool connectionLost(QSqlDatabase&) const override { return false; }

    QString databaseName() const override { return m_path; }
    QString folder() const override { return QFileInfo(m_path).absolutePath(); }

    QString sqlType(const ColumnDef& c) const override
    {
        switch (c.type) {
        case ColType::Long:
        case ColType::Bool: return QStringLiteral("INTEGER");
        // No collation in the file: every SQLite client must be able to write it.
        case ColType::Text: return QStringLiteral("VARCHAR(%1)").arg(c.length);
        case ColType::Memo: return QStringLiteral("TEXT");
        case ColType::Date:
        case ColType::DateTime: return QStringLiteral("DATETIME");
        case ColType::Double: return QStringLiteral("DOUBLE");
        }
        return QStringLiteral("TEXT");
    }

    // SQLite sorts nulls first by itself.
    QString indexColumn(const QString& c) const override { return c; }
    QString orderTerm(const QString& c, bool descending) const override
    {
        return descending ? c + QStringLiteral(" DESC") : c;
    }

    QString sortKeyColumn(const TableDef& t, const QString& column) const override
    {
        for (const QString& c : t.sortKeys)
            if (c.compare(column, Qt::CaseInsensitive) == 0) return c + QStringLiteral("_sk");
        return QString();
    }
    QString keptSortKey(const TableDef& t, const QString& column) const override
    {
        const QString key = sortKeyColumn(t, column);
        return !key.isEmpty() && m_kept.contains(t.name + QLatin1Char('.') + key) ? key : QString();
    }
    QVariant sortKey(const QVariant& text) const override
    {
        return text.isNull() ? QVariant() : QVariant(hungarianSortKey(text.toString()));
    }
    QString sortKeySql(const QString& textExpression) const override
    {
        return QStringLiteral("nexo_sort_key(%1)").arg(textExpression);
    }
    QString hungarian(const QString& textExpression) const override { return textExpression + QStringLiteral(" COLLATE nexo_hu"); }

    QStringList sortKeyColumnsSql(const TableDef& t) const override
    {
        QStringList l;
        for (const QString& c : t.sortKeys) l << quoted(c + QStringLiteral("_sk")) + QStringLiteral(" BLOB");
        return l;
    }

    // Plain SQL that any client runs: a text another program writes loses its key, and a key
    // written with a row is not trusted. The program fills them (keepSortKeys); the partial
    // index finds the empty ones at once.
    QStringList sortKeyStatements(const TableDef& t) const override
    {
        QStringList l;
        const QString table = quoted(t.name), pk = quoted(t.primaryKey);
        for (const QString& c : t.sortKeys) {
            const QString col = quoted(c), key = quoted(c + QStringLiteral("_sk"));
            const QString clear = QStringLiteral(" BEGIN UPDATE %1 SET %2 = NULL WHERE %3 = NEW.%3; END").arg(table, key, pk);
            l << QStringLiteral("CREATE TRIGGER %1 AFTER INSERT ON %2 WHEN NEW.%3 IS NOT NULL")
                        .arg(quoted(t.name + QLatin1Char('_') + c + QStringLiteral("_sk_insert")), table, key) + clear;
            l << QStringLiteral("CREATE TRIGGER %1 AFTER UPDATE OF %2 ON %3 WHEN NEW.%2 IS NOT OLD.%2")
                        .arg(quoted(t.name + QLatin1Char('_') + c + QStringLiteral("_sk_update")), col, table) + clear;
            l << QStringLiteral("CREATE INDEX %1 ON %2 (%3) WHERE %4 IS NULL AND %5 IS NOT NULL")
                        .arg(quoted(t.name + QLatin1Char('_') + c + QStringLiteral("_sk_empty")), table, pk, key, col);
            // An index the text led keeps serving lookups by its exact value (a user name at the
            // login, a name that must be unique): the sort key's index orders, this one finds.
            for (const IndexDef& ix : t.indexes)
                if (!ix.columns.isEmpty() && ix.columns.first().compare(c, Qt::CaseInsensitive) == 0) {
                    l << QStringLiteral("CREATE INDEX %1 ON %2 (%3)").arg(quoted(t.name + QLatin1Char('_') + c + QStringLiteral("_text")), table, col);
                    break;
                }
        }
        return l;
    }

    void keepSortKeys(QSqlDatabase& db) override
    {
        m_sortKeys.clear();
        m_kept.clear();
        for (const TableDef& t : Schema::instance().tables()) {
            for (const QString& c : t.sortKeys) {
                const QString table = quoted(t.name), pk = quoted(t.primaryKey), col = quoted(c),
                              key = quoted(c + QStringLiteral("_sk"));
                // A layout before the sort keys (until its upgrade) has no such column. Asked of
                // the table's list: SQLite reads an unknown quoted name as a string.
                QSqlQuery has(db);
                has.prepare(QStringLiteral("SELECT 1 FROM pragma_table_info(?) WHERE name = ?"));
                has.addBindValue(t.name);
                has.addBindValue(c + QStringLiteral("_sk"));
                const bool kept = has.exec() && has.next();
                has.finish();
                if (!kept) continue;
                m_kept.insert(t.name + QLatin1Char('.') + c + QStringLiteral("_sk"));
                if (m_openMode == OpenMode::ReadOnly) continue;
                // The program's own writes fill the key at once, in triggers of this link only
                // (TEMP: the file never names the function).
                const QString fill = QStringLiteral(" WHEN NEW.%1 IS NULL AND NEW.%2 IS NOT NULL BEGIN UPDATE %3 SET %1 = "
                                                    "nexo_sort_key(NEW.%2) WHERE %4 = NEW.%4; END").arg(key, col, table, pk);
                const QString name = t.name + QLatin1Char('_') + c + QStringLiteral("_sk_fill");
                if (!execSql(db, QStringLiteral("CREATE TEMP TRIGGER IF NOT EXISTS %1 AFTER INSERT ON main.%2")
                                     .arg(quoted(name + QStringLiteral("_insert")), table) + fill)
                    || !execSql(db, QStringLiteral("CREATE TEMP TRIGGER IF NOT EXISTS %1 AFTER UPDATE OF %2 ON main.%3")
                                        .arg(quoted(name + QStringLiteral("_update")), key, table) + fill))
                    continue;
                m_sortKeys.append({table, col, key});
                // Keys made by another ICU (the machine's was upgraded) order texts otherwise:
                // one row tells, and then every key is made again.
                QSqlQuery q(db);
                if (q.exec(QStringLiteral("SELECT %1, %2 FROM %3 WHERE %2 IS NOT NULL LIMIT 1").arg(col, key, table)) && q.next()
                    && q.value(1).toByteArray() != hungarianSortKey(q.value(0).toString())) {
                    q.finish();
                    execSql(db, QStringLiteral("UPDATE %1 SET %2 = %3").arg(table, key, sortKeySql(col)));
                }
                q.finish();
            }
        }
        m_dataVersion = dataVersion(db);
        fillSortKeys(db);
    }

    QStringList tables(QSqlDatabase& db) const override
    {
        return namesOf(db, QStringLiteral("SELECT lower(name) FROM sqlite_master WHERE type IN ('table', 'view') AND name NOT LIKE 'sqlite_%'"));
    }

    QStringList indexes(QSqlDatabase& db) const override
    {
        return namesOf(db, QStringLiteral("SELECT lower(name) FROM sqlite_master WHERE type = 'index' AND name NOT LIKE 'sqlite_%'"));
    }

    bool prepareSchema(QSqlDatabase&, QString*) const override { return true; }
    bool writesInWith() const override { return false; }
    bool keysFollowLargest() const override { return true; }
    QString notice() const override
    {
        if (!m_networkFolder) return QString();
        return QStringLiteral("Az adatbázis-fájl hálózati meghajtón van (%1). Ott egyszerre csak egy felhasználó "
                              "dolgozzon vele: a hálózati fájlrendszer nem adja meg azt a közös memóriát, amellyel "
                              "a gépek egymás mentéseit és olvasásait összehangolnák, ezért egy hosszú lekérdezés "
                              "alatt a többiek mentése várakozik. Több felhasználónak közös kiszolgálót "
                              "(PostgreSQL) ajánlunk.").arg(m_path);
    }
    QString greatest(const QString& a, const QString& b) const override
    {
        return QStringLiteral("max(%1, %2)").arg(a, b);
    }

    // True is -1, as the suite has always stored it.
    QVariant storedBool(bool v) const override { return v ? -1 : 0; }

    bool tryMasterLock(QSqlDatabase& db, int waitMs) override
    {
        if (waitMs <= 0) {
            sqlite3_busy_timeout(m_handle, 0);
        } else {
            m_wait.deadline = QDeadlineTimer(waitMs);
            sqlite3_busy_handler(m_handle, pollWhileBusy, &m_wait);
        }
        const bool ok = execSql(db, QStringLiteral("BEGIN IMMEDIATE"));
        sqlite3_busy_timeout(m_handle, kReadBusyMs);
        return ok;
    }
    // COMMIT and ROLLBACK end the lock with the transaction.
    bool commitAndRelease(QSqlDatabase& db) override { return commit(db); }
    void releaseMasterLock(QSqlDatabase&) override {}
    bool lockOutlivesTransaction() const override { return false; }

    bool beginPlain(QSqlDatabase& db) override { return execSql(db, QStringLiteral("BEGIN")); }
    bool commit(QSqlDatabase& db) override { return execSql(db, QStringLiteral("COMMIT")); }
    bool rollback(QSqlDatabase& db) override { return execSql(db, QStringLiteral("ROLLBACK")); }
    // Under the lock: the rollback ends it, the new transaction takes it again.
    bool rollbackAndBegin(QSqlDatabase& db) override { return rollback(db) && execSql(db, QStringLiteral("BEGIN IMMEDIATE")); }

    void idle(QSqlDatabase& db) override
    {
        // SQLite re-reads changed pages by itself; the recordsets drop their windows through
        // the connection's generation counter. Only another link's commit can have left a
        // sort key empty.
        if (m_sortKeys.isEmpty()) return;
        const qint64 version = dataVersion(db);
        if (version == m_dataVersion) return;
        m_dataVersion = version;
        fillSortKeys(db);
    }

    QString boolLiteral(bool v) const override { return v ? QStringLiteral("-1") : QStringLiteral("0"); }

private:
    struct SortKey {
        QString table, column, key; // quoted
    };

    static qint64 dataVersion(QSqlDatabase& db)
    {
        QSqlQuery q(db);
        const qint64 v = q.exec(QStringLiteral("PRAGMA data_version")) && q.next() ? q.value(0).toLongLong() : -1;
        q.finish();
        return v;
    }

    // The keys other programs left empty; a look in the partial index first, so that an idle
    // without them writes nothing. A file another writer holds keeps them until the next try.
    void fillSortKeys(QSqlDatabase& db)
    {
        for (const SortKey& k : std::as_const(m_sortKeys)) {
            const QString empty = QStringLiteral("%1 IS NULL AND %2 IS NOT NULL").arg(k.key, k.column);
            QSqlQuery q(db);
            const bool any = q.exec(QStringLiteral("SELECT 1 FROM %1 WHERE %2 LIMIT 1").arg(k.table, empty)) && q.next();
            q.finish();
            if (any && !execSql(db, QStringLiteral("UPDATE %1 SET %2 = %3 WHERE %4").arg(k.table, k.key, sortKeySql(k.column), empty)))
                m_dataVersion = -1;
        }
    }

    QList<SortKey> m_sortKeys;
    QSet<QString> m_kept; // "table.column_sk" the database has
    qint64 m_dataVersion = -1;
    QString m_path;
    bool m_networkFolder = false;
    sqlite3* m_handle = nullptr;
    LockWait m_wait;
};

} // namespace

std::unique_ptr<Engine> makeSqliteEngine() { return std::make_unique<SqliteEngine>(); }

} // namespace NexoFrame
