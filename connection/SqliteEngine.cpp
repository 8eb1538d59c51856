#include "Engine.h"
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>

namespace NexoFrame {

namespace {

const QString kDateFormat = QStringLiteral("yyyy-MM-dd HH:mm:ss");

bool exec(QSqlDatabase& db, const QString& sql, QString* err = nullptr)
{
    QSqlQuery q(db);
    bool ok = q.exec(sql);
    if (!ok && err) *err = q.lastError().text();
    q.finish();
    return ok;
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
        // Checked on the permission bits, so that a read-only file is refused even for root
        // (WriteUser is not a bit: it says whether this process may write, always true for root).
        const auto writeBits = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
        if (fi.exists() && (!(fi.permissions() & writeBits) || !fi.isWritable())) {
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
        if (!db.open()) {
            *error = QStringLiteral("Az adatbázis nem nyitható meg: %1 (%2)")
                         .arg(m_path, db.lastError().text());
            return false;
        }
        QString err;
        // Reading the schema version fails at once on a file that is not a database.
        if (!exec(db, QStringLiteral("PRAGMA schema_version"), &err)) {
            *error = QStringLiteral("A fájl nem adatbázis, vagy sérült: %1 (%2)").arg(m_path, err);
            db.close();
            return false;
        }
        exec(db, QStringLiteral("PRAGMA busy_timeout=5000"));
        exec(db, QStringLiteral("PRAGMA foreign_keys=OFF"));
        // A page cache that holds a large rights or menu tree keeps tree walks off the disk.
        exec(db, QStringLiteral("PRAGMA cache_size=-65536"));
        exec(db, QStringLiteral("PRAGMA mmap_size=268435456"));
        return true;
    }

    QString databaseName() const override { return m_path; }

    QString sqlType(const ColumnDef& c) const override
    {
        switch (c.type) {
        case ColType::Long:
        case ColType::Bool: return QStringLiteral("INTEGER");
        case ColType::Text: return QStringLiteral("VARCHAR(%1)").arg(c.length);
        case ColType::Memo: return QStringLiteral("TEXT");
        case ColType::Date:
        case ColType::DateTime: return QStringLiteral("DATETIME");
        case ColType::Double: return QStringLiteral("DOUBLE");
        }
        return QStringLiteral("TEXT");
    }

    bool tableExists(QSqlDatabase& db, const QString& table) const override
    {
        QSqlQuery q(db);
        q.prepare(QStringLiteral("SELECT 1 FROM sqlite_master WHERE type='table' AND name=?"));
        q.addBindValue(table);
        bool found = q.exec() && q.next();
        q.finish();
        return found;
    }

    QVariant toDb(const ColumnDef& c, const QVariant& v) const override
    {
        if (v.isNull()) return v;
        switch (c.type) {
        case ColType::Bool: return v.toBool() ? -1 : 0;
        case ColType::Long: return v.toLongLong();
        case ColType::Double: return v.toDouble();
        case ColType::Date:
        case ColType::DateTime: {
            QDateTime d = v.typeId() == QMetaType::QDate ? v.toDate().startOfDay() : v.toDateTime();
            return d.isValid() ? QVariant(d.toString(kDateFormat)) : QVariant();
        }
        default: return v.toString();
        }
    }

    QVariant fromDb(const ColumnDef& c, const QVariant& v) const override
    {
        if (v.isNull()) return QVariant();
        switch (c.type) {
        case ColType::Bool: return v.toLongLong() != 0;
        case ColType::Long: return int(v.toLongLong());
        case ColType::Double: return v.toDouble();
        case ColType::Date:
        case ColType::DateTime: {
            const QString s = v.toString();
            QDateTime d = QDateTime::fromString(s, kDateFormat);
            if (!d.isValid()) d = QDateTime::fromString(s, Qt::ISODate);
            return d.isValid() ? QVariant(d) : QVariant();
        }
        default: return v.toString();
        }
    }

    bool tryMasterLock(QSqlDatabase& db) override
    {
        // The lock must not wait: the caller decides about retries and asks the user.
        exec(db, QStringLiteral("PRAGMA busy_timeout=0"));
        bool ok = exec(db, QStringLiteral("BEGIN IMMEDIATE"));
        exec(db, QStringLiteral("PRAGMA busy_timeout=5000"));
        return ok;
    }

    bool beginPlain(QSqlDatabase& db) override { return exec(db, QStringLiteral("BEGIN")); }
    bool commit(QSqlDatabase& db) override { return exec(db, QStringLiteral("COMMIT")); }
    bool rollback(QSqlDatabase& db) override { return exec(db, QStringLiteral("ROLLBACK")); }

    void idle(QSqlDatabase&, int) override
    {
        // SQLite re-reads changed pages by itself; the recordsets drop their windows through
        // the connection's generation counter.
    }

    QString boolLiteral(bool v) const override { return v ? QStringLiteral("-1") : QStringLiteral("0"); }

private:
    QString m_path;
};

} // namespace

std::unique_ptr<Engine> makeSqliteEngine() { return std::make_unique<SqliteEngine>(); }

} // namespace NexoFrame
