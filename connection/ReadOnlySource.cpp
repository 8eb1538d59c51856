#include "ReadOnlySource.h"
#include "DateFormats.h"
#include "SqliteHungarian.h"
#include "Connection.h"
#include "Engine.h"
#include "SqlExec.h"
#include "StatementText.h"
#include "Secrets.h"
#include "ReaderRole.h"
#include "Texts.h"
#include <QAtomicInt>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocale>
#include <QMutex>
#include <QSqlDriver>
#include <QSqlError>
#include <QTimeZone>
#include <atomic>
#include <charconv>
#include <cstring>
#include <libpq-fe.h>
#include <sqlite3.h>

namespace NexoFrame {

namespace {

QAtomicInt g_sourceCounter;

const QString kOneStatement = QStringLiteral("Egyszerre csak egy lekérdezés futtatható: a pontosvessző után nem állhat "
                                             "újabb utasítás.");
const QString kEmpty = QStringLiteral("Üres a lekérdezés.");

} // namespace

QString ReadOnlySource::statementOf(const QString& sql, bool server)
{
    // The end of the last piece that is neither a comment, a space nor a ";". Only trims: the
    // engine itself refuses a second statement, whatever this makes of the text.
    const qsizetype n = sql.size();
    qsizetype end = 0;
    for (qsizetype i = 0; i < n;) {
        const QChar c = sql.at(i);
        qsizetype to = i + 1;
        const Piece piece = pieceAt(sql, i, server, &to);
        if (piece != Piece::Comment && !c.isSpace() && c != QLatin1Char(';')) end = to;
        i = to;
    }
    return sql.left(end);
}

namespace {

QString boundCountMessage(int expected, qsizetype given)
{
    return QStringLiteral("A lekérdezés %1 paramétert vár, de %2 érték érkezett hozzá.").arg(expected).arg(given);
}

QString engineWords(const QString& message)
{
    QString text = message.trimmed().section(QLatin1Char('\n'), 0, 0).trimmed();
    if (text.startsWith(QLatin1String("ERROR:"))) text = text.mid(6).trimmed();
    return text;
}

QString failureMessage(const QString& words)
{
    auto has = [&](const char* s) { return words.contains(QLatin1String(s), Qt::CaseInsensitive); };
    if (has("read-only") || has("readonly") || has("read only") || has("not authorized"))
        return QStringLiteral("A lekérdezés nem módosíthatja az adatbázist, csak olvashat belőle. (%1)").arg(words);
    if (has("permission denied") || has("must be superuser") || has("must be owner") || has("access denied"))
        return QStringLiteral("A lekérdezésnek ehhez nincs joga: csak a számára megnyitott adatokat olvashatja. (%1)").arg(words);
    if (has("multiple commands") || has("more than one statement"))
        return kOneStatement;
    return QStringLiteral("A lekérdezés nem futtatható: %1").arg(words);
}


using Sink = std::function<bool(const QVariantList&)>;

} // namespace

// What differs between the engines: how the link is made, what brackets a run, how rows
// are read, and how a running statement is stopped from another thread.
struct ReadOnlySource::Backend {
    virtual ~Backend()
    {
        if (db.isOpen()) db.close();
        db = QSqlDatabase();
        if (!connectionName.isEmpty()) QSqlDatabase::removeDatabase(connectionName);
    }
    virtual bool server() const = 0;
    // Before and after each statement.
    virtual bool begin(int timeoutMs, QString* error) = 0;
    virtual void end() = 0;
    // Runs the statement with its bound values (none: run as written), streaming its rows.
    // False with the message on failure; a row the sink refuses ends it without failure.
    virtual bool stream(const QString& statement, const QVariantList& values, QStringList* columns,
                        const Sink& sink, const QDeadlineTimer& deadline, QString* error) = 0;
    // From any thread while a statement runs; under `lock`.
    virtual void interrupt() = 0;

    // Rows already on their way are checked here; the engines stop themselves too.
    bool stopRequested(qint64 rows, const QDeadlineTimer& deadline) const
    {
        return (rows & 1023) == 0 && (cancelled || deadline.hasExpired());
    }

    std::unique_ptr<Engine> engine;
    QSqlDatabase db;
    QString connectionName;
    QMutex lock;
    bool running = false;
    std::atomic<bool> cancelled{false};
    std::atomic<bool> timedOut{false};
    std::atomic<qint64> deadlineNs{0}; // QDeadlineTimer's precise clock, for the SQLite progress hook
};

namespace {

// The file opened once more, read-only. Rows are read with SQLite's own calls on the
// driver's handle: a million rows through QSqlQuery cost more than the cube they feed.
class SqliteBackend final : public ReadOnlySource::Backend {
public:
    bool server() const override { return false; }

    bool open(const QString& target, QString* error)
    {
        const QFileInfo fi(target);
        if (!fi.isFile()) {
            *error = QStringLiteral("Az adatbázis-fájl nem található: %1").arg(fi.absoluteFilePath());
            return false;
        }
        db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
        db.setDatabaseName(fi.absoluteFilePath());
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=5000"));
        if (!db.open()) {
            *error = QStringLiteral("Az adatbázis nem nyitható meg olvasásra: %1 (%2)")
                         .arg(fi.absoluteFilePath(), db.lastError().text());
            return false;
        }
        const QVariant h = db.driver()->handle();
        if (h.isValid() && qstrcmp(h.typeName(), "sqlite3*") == 0) m_handle = *static_cast<sqlite3* const*>(h.constData());
        if (!registerHungarianCollation(m_handle)) {
            *error = QStringLiteral("A magyar ábécérend nem állítható be: %1").arg(fi.absoluteFilePath());
            return false;
        }
        execSql(db, QStringLiteral("PRAGMA query_only=1"));
        // Beside the read-only file: nothing but reading is even prepared (no ATTACH, no
        // PRAGMA that would lift query_only).
        sqlite3_set_authorizer(m_handle, authorize, nullptr);
        sqlite3_progress_handler(m_handle, 1000, progress, this);
        return true;
    }

    bool begin(int, QString*) override { return true; }
    void end() override {}
    // The progress hook looks at the flag; nothing more to do here.
    void interrupt() override {}

    bool stream(const QString& statement, const QVariantList& values, QStringList* columns, const Sink& sink,
                const QDeadlineTimer& deadline, QString* error) override
    {
        const QByteArray sql = statement.toUtf8();
        sqlite3_stmt* stmt = nullptr;
        const char* tail = nullptr;
        if (sqlite3_prepare_v2(m_handle, sql.constData(), int(sql.size()), &stmt, &tail) != SQLITE_OK) {
            *error = failureMessage(engineWords(QString::fromUtf8(sqlite3_errmsg(m_handle))));
            sqlite3_finalize(stmt);
            return false;
        }
        if (!stmt) {
            *error = kEmpty;
            return false;
        }
        // What SQLite itself reads after the first statement: a second one is refused, not
        // skipped (the author meant it to run).
        if (tail && *tail) {
            sqlite3_stmt* next = nullptr;
            const int rc = sqlite3_prepare_v2(m_handle, tail, int(sql.constData() + sql.size() - tail), &next, nullptr);
            const bool more = rc != SQLITE_OK || next != nullptr;
            sqlite3_finalize(next);
            if (more) {
                sqlite3_finalize(stmt);
                *error = kOneStatement;
                return false;
            }
        }
        if (!values.isEmpty() && !bind(stmt, values, error)) {
            sqlite3_finalize(stmt);
            return false;
        }
        const int n = sqlite3_column_count(stmt);
        // Dates are stored as text; a column declared as a date hands out QDateTime.
        std::vector<char> isDate(size_t(n), 0);
        for (int i = 0; i < n; ++i) {
            if (columns) *columns << QString::fromUtf8(sqlite3_column_name(stmt, i));
            const QByteArray type = QByteArray(sqlite3_column_decltype(stmt, i)).toUpper();
            isDate[size_t(i)] = type.startsWith("DATE") || type.startsWith("TIMESTAMP");
        }
        const ColumnDef dateDef{QString(), ColType::DateTime, 0, QVariant()};
        std::vector<TextCache> texts(static_cast<size_t>(n));
        QVariantList row(n);
        qint64 count = 0;
        int rc;
        bool ok = true;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
            for (int i = 0; i < n; ++i) {
                switch (sqlite3_column_type(stmt, i)) {
                case SQLITE_INTEGER: row[i] = qlonglong(sqlite3_column_int64(stmt, i)); break;
                case SQLITE_FLOAT: row[i] = sqlite3_column_double(stmt, i); break;
                case SQLITE_TEXT: {
                    const char* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, i));
                    row[i] = texts[size_t(i)].text(text, sqlite3_column_bytes(stmt, i));
                    if (isDate[size_t(i)]) row[i] = engine->fromDb(dateDef, row[i]);
                    break;
                }
                case SQLITE_BLOB: {
                    const char* data = static_cast<const char*>(sqlite3_column_blob(stmt, i));
                    row[i] = QByteArray(data, sqlite3_column_bytes(stmt, i));
                    break;
                }
                default: row[i] = QVariant(); break;
                }
            }
            if (!sink(row)) break;
            if (stopRequested(++count, deadline)) {
                ok = false;
                break;
            }
        }
        if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
            ok = false;
            *error = failureMessage(engineWords(QString::fromUtf8(sqlite3_errmsg(m_handle))));
        }
        sqlite3_finalize(stmt);
        return ok;
    }

private:
    bool bind(sqlite3_stmt* stmt, const QVariantList& values, QString* error) const
    {
        const int expected = sqlite3_bind_parameter_count(stmt);
        if (expected != values.size()) {
            *error = boundCountMessage(expected, values.size());
            return false;
        }
        for (int i = 0; i < expected; ++i) {
            const QVariant& v = values[i];
            QByteArray text;
            int rc;
            if (v.isNull())
                rc = sqlite3_bind_null(stmt, i + 1);
            else if (v.typeId() == QMetaType::Bool)
                rc = sqlite3_bind_int64(stmt, i + 1, engine->storedBool(v.toBool()).toLongLong());
            else if (v.typeId() == QMetaType::Double || v.typeId() == QMetaType::Float)
                rc = sqlite3_bind_double(stmt, i + 1, v.toDouble());
            else if (v.typeId() == QMetaType::Int || v.typeId() == QMetaType::LongLong || v.typeId() == QMetaType::UInt
                     || v.typeId() == QMetaType::ULongLong)
                rc = sqlite3_bind_int64(stmt, i + 1, v.toLongLong());
            else if (v.typeId() == QMetaType::QByteArray) {
                text = v.toByteArray();
                rc = sqlite3_bind_blob(stmt, i + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            } else {
                if (!boundDateText(v, &text)) text = v.toString().toUtf8();
                rc = sqlite3_bind_text(stmt, i + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            }
            if (rc != SQLITE_OK) {
                *error = failureMessage(engineWords(QString::fromUtf8(sqlite3_errmsg(m_handle))));
                return false;
            }
        }
        return true;
    }

    // Reading and nothing else; a secret column reads as NULL, the secret table not at all
    // (Secrets.h). Views are checked through the tables they read.
    static int authorize(void*, int action, const char* a, const char* b, const char*, const char*)
    {
        switch (action) {
        case SQLITE_READ: {
            const QString table = QString::fromUtf8(a), column = QString::fromUtf8(b);
            if (Secrets::isSecretTable(table)) return SQLITE_DENY;
            return Secrets::isSecretColumn(table, column) ? SQLITE_IGNORE : SQLITE_OK;
        }
        case SQLITE_FUNCTION:
            return qstricmp(b, "load_extension") == 0 ? SQLITE_DENY : SQLITE_OK;
        case SQLITE_SELECT:
        case SQLITE_RECURSIVE: return SQLITE_OK;
        }
        return SQLITE_DENY;
    }

    static int progress(void* self)
    {
        auto* b = static_cast<SqliteBackend*>(self);
        if (b->cancelled.load(std::memory_order_relaxed)) return 1;
        const qint64 deadline = b->deadlineNs.load(std::memory_order_relaxed);
        if (deadline <= 0 || QDeadlineTimer::current(Qt::PreciseTimer).deadlineNSecs() < deadline) return 0;
        b->timedOut = true;
        return 1;
    }

    sqlite3* m_handle = nullptr;
};

// A session of its own on the server that only reads. Rows come one by one in libpq's
// single-row mode on the driver's link, so that the server streams while the cube is fed.
class PostgresBackend final : public ReadOnlySource::Backend {
public:
    ~PostgresBackend() override
    {
        if (m_cancel) PQfreeCancel(m_cancel);
    }

    bool server() const override { return true; }

    // `target` logs in as the reader role; never as `programRole`, nor as a role that may
    // do more than read what it is given.
    bool open(const QString& target, const QString& programRole, QString* error)
    {
        QString err;
        if (!engine->open(db, connectionName, target, &err)) {
            *error = ReaderRole::missingMessage(err);
            return false;
        }
        QSqlQuery q(db);
        if (!q.exec(QStringLiteral("SELECT current_user, rolsuper OR rolcreaterole OR rolcreatedb OR rolreplication OR rolbypassrls "
                                   "FROM pg_roles WHERE rolname = current_user"))
            || !q.next()) {
            *error = ReaderRole::missingMessage(q.lastError().text());
            return false;
        }
        const bool mighty = q.value(1).toBool();
        const QString role = q.value(0).toString();
        q.finish();
        if (mighty || role == programRole) {
            *error = ReaderRole::missingMessage(
                QStringLiteral("A(z) „%1” szerepkör többre is jogosult az olvasásnál, ezért nem futtathat felhasználói lekérdezést.")
                    .arg(role));
            return false;
        }
        return setUp(error);
    }

    bool begin(int timeoutMs, QString* error) override
    {
        if (m_lost) {
            QString err;
            if (!engine->reopen(db, &err) || !setUp(&err)) {
                *error = err;
                return false;
            }
            m_lost = false;
        }
        QString err;
        if (execSql(db, QStringLiteral("BEGIN READ ONLY; SET LOCAL statement_timeout = %1").arg(std::max(0, timeoutMs)), &err))
            return true;
        noteLost();
        *error = failureMessage(engineWords(err));
        return false;
    }

    // Nothing the statement took outlives it: its transaction, session locks (the master
    // lock among them), prepared statements and listens.
    void end() override
    {
        if (!execSql(db, QStringLiteral("ROLLBACK; SELECT pg_advisory_unlock_all(); DEALLOCATE ALL; UNLISTEN *"))) noteLost();
    }

    void interrupt() override
    {
        char buffer[256];
        if (m_cancel) PQcancel(m_cancel, buffer, sizeof buffer);
    }

    bool stream(const QString& statement, const QVariantList& values, QStringList* columns, const Sink& sink,
                const QDeadlineTimer& deadline, QString* error) override
    {
        // Always the extended protocol, values or not: the server itself refuses a second
        // statement in the text, however it is quoted or commented.
        bool sent = false;
        if (m_conn && values.isEmpty()) {
            sent = PQsendQueryParams(m_conn, statement.toUtf8().constData(), 0, nullptr, nullptr, nullptr, nullptr, 0);
        } else if (m_conn) {
            int expected = 0;
            const QByteArray sql = numberedPlaceholders(statement, &expected).toUtf8();
            if (expected != values.size()) {
                *error = boundCountMessage(expected, values.size());
                return false;
            }
            // Typed where the value says what it is; text is left for the server to infer,
            // as SQLite takes it for whatever it is compared with.
            std::vector<QByteArray> texts(values.size());
            std::vector<const char*> pointers(values.size(), nullptr);
            std::vector<Oid> types(values.size(), 0);
            for (qsizetype i = 0; i < values.size(); ++i) {
                const QVariant& v = values[i];
                if (isNullValue(v)) continue;
                QByteArray& text = texts[size_t(i)];
                types[size_t(i)] = serverText(v, &text);
                pointers[size_t(i)] = text.constData();
            }
            sent = PQsendQueryParams(m_conn, sql.constData(), int(values.size()), types.data(), pointers.data(),
                                     nullptr, nullptr, 0);
        }
        if (!sent || !PQsetSingleRowMode(m_conn)) {
            *error = failureMessage(engineWords(QString::fromUtf8(m_conn ? PQerrorMessage(m_conn) : "")));
            drain();
            noteLost();
            return false;
        }
        bool ok = true, stopped = false, described = false;
        std::vector<Oid> types;
        std::vector<TextCache> texts;
        QVariantList row;
        qint64 count = 0;
        while (PGresult* r = PQgetResult(m_conn)) {
            const ExecStatusType status = PQresultStatus(r);
            if ((status == PGRES_SINGLE_TUPLE || status == PGRES_TUPLES_OK) && !described) {
                described = true;
                const int n = PQnfields(r);
                row.resize(n);
                texts.resize(size_t(n));
                for (int i = 0; i < n; ++i) {
                    if (columns) *columns << QString::fromUtf8(PQfname(r, i));
                    types.push_back(PQftype(r, i));
                }
            }
            if (status == PGRES_SINGLE_TUPLE) {
                if (!stopped) {
                    for (int i = 0; i < row.size(); ++i)
                        row[i] = PQgetisnull(r, 0, i)
                            ? QVariant()
                            : serverValue(types[size_t(i)], PQgetvalue(r, 0, i), PQgetlength(r, 0, i), texts[size_t(i)]);
                    // Refused by the sink: done; cancelled or late: failed.
                    const bool refused = !sink(row);
                    if (refused || stopRequested(++count, deadline)) {
                        ok = refused;
                        stopped = true;
                        // The rest would still be sent and read to the end: stop it there.
                        QMutexLocker locker(&lock);
                        interrupt();
                    }
                }
            } else if (status == PGRES_COPY_OUT || status == PGRES_COPY_IN || status == PGRES_COPY_BOTH) {
                ok = false;
                *error = QStringLiteral("A lekérdezés nem futtatható: COPY helyett SELECT kell.");
                endCopy(status);
            } else if (status == PGRES_EMPTY_QUERY) {
                ok = false;
                *error = kEmpty;
            } else if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK && !stopped) {
                ok = false;
                const char* sqlState = PQresultErrorField(r, PG_DIAG_SQLSTATE);
                const QString words = engineWords(QString::fromUtf8(PQresultErrorMessage(r)));
                if (qstrcmp(sqlState, "57014") == 0 && words.contains(QLatin1String("statement timeout"))) timedOut = true;
                *error = failureMessage(words);
            }
            PQclear(r);
        }
        if (!ok && !timedOut && !cancelled) noteLost();
        return ok;
    }

private:
    bool setUp(QString* error)
    {
        QString err;
        // Dates in ISO order whatever the server's default, as value() reads them.
        if (!execSql(db, QStringLiteral("SET default_transaction_read_only = on; SET DateStyle = 'ISO, YMD'"), &err)) {
            *error = QStringLiteral("Az olvasó kapcsolat nem állítható be: %1").arg(err);
            return false;
        }
        const QVariant h = db.driver()->handle();
        m_conn = nullptr;
        if (h.isValid() && (qstrcmp(h.typeName(), "pg_conn*") == 0 || qstrcmp(h.typeName(), "PGconn*") == 0))
            m_conn = *static_cast<PGconn* const*>(h.constData());
        QMutexLocker locker(&lock);
        if (m_cancel) PQfreeCancel(m_cancel);
        m_cancel = m_conn ? PQgetCancel(m_conn) : nullptr;
        return m_conn != nullptr;
    }

    void drain()
    {
        if (!m_conn) return;
        while (PGresult* r = PQgetResult(m_conn)) PQclear(r);
    }

    void endCopy(ExecStatusType status)
    {
        if (status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH) {
            char* buffer = nullptr;
            while (PQgetCopyData(m_conn, &buffer, 0) > 0) PQfreemem(buffer);
        }
        if (status == PGRES_COPY_IN || status == PGRES_COPY_BOTH) PQputCopyEnd(m_conn, "refused");
    }

    void noteLost()
    {
        if (engine->connectionLost(db)) m_lost = true;
    }

    PGconn* m_conn = nullptr;
    PGcancel* m_cancel = nullptr;
    bool m_lost = false;
};

} // namespace

ReadOnlySource::ReadOnlySource(std::unique_ptr<Backend> backend) : m_backend(std::move(backend)) {}

ReadOnlySource::~ReadOnlySource() = default;

ReadOnlySource::Target ReadOnlySource::targetOf(Connection& c, QString* error)
{
    Target t;
    if (!c.isOpen()) {
        if (error) *error = Texts::kNoDatabase;
        return t;
    }
    if (isServerTarget(c.target())) {
        // As the server's reader role, never as the program's own.
        t.server = true;
        t.where = ReaderRole::targetOf(c, error);
        try {
            t.programRole = ReaderRole::programRoleOf(c);
        } catch (const DbError& e) {
            if (error) *error = ReaderRole::missingMessage(e.message());
            t.where.clear();
        }
    } else {
        // The file as the connection resolved it when it opened.
        t.where = c.databaseName();
    }
    return t;
}

std::unique_ptr<ReadOnlySource> ReadOnlySource::open(Connection& c, QString* error)
{
    QString err;
    const Target t = targetOf(c, &err);
    if (!t.valid()) {
        if (error) *error = err;
        return nullptr;
    }
    return open(t, error);
}

std::unique_ptr<ReadOnlySource> ReadOnlySource::open(const Target& t, QString* error)
{
    QString err = Texts::kNoDatabase;
    std::unique_ptr<Backend> b;
    bool ok = false;
    const QString name = QStringLiteral("nexo_readonly_%1").arg(g_sourceCounter.fetchAndAddOrdered(1));
    if (t.valid() && t.server) {
        auto pg = std::make_unique<PostgresBackend>();
        pg->engine = makePostgresEngine();
        pg->connectionName = name;
        ok = pg->open(t.where, t.programRole, &err);
        b = std::move(pg);
    } else if (t.valid()) {
        auto lite = std::make_unique<SqliteBackend>();
        lite->engine = makeSqliteEngine();
        lite->connectionName = name;
        ok = lite->open(t.where, &err);
        b = std::move(lite);
    }
    if (!ok) {
        if (error) *error = err;
        return nullptr;
    }
    return std::unique_ptr<ReadOnlySource>(new ReadOnlySource(std::move(b)));
}

void ReadOnlySource::cancel()
{
    Backend& b = *m_backend;
    QMutexLocker locker(&b.lock);
    if (!b.running) return;
    b.cancelled = true;
    b.interrupt();
}

bool ReadOnlySource::run(const QString& sql, QStringList* columns, const std::function<bool(const QVariantList&)>& sink,
                         QString* error, int timeoutMs)
{
    return run(sql, QVariantList(), columns, sink, error, timeoutMs);
}

bool ReadOnlySource::run(const QString& sql, const QVariantList& values, QStringList* columns,
                         const std::function<bool(const QVariantList&)>& sink, QString* error, int timeoutMs)
{
    Backend& b = *m_backend;
    QString err;
    auto fail = [&](const QString& message) {
        if (error) *error = message;
        return false;
    };
    if (columns) columns->clear();
    const QString statement = statementOf(sql, b.server());
    if (statement.trimmed().isEmpty()) return fail(kEmpty);

    // No limit at all for 0 or less: an export reads every row, however long that takes.
    const QDeadlineTimer deadline = timeoutMs > 0 ? QDeadlineTimer(timeoutMs, Qt::PreciseTimer)
                                                  : QDeadlineTimer(QDeadlineTimer::Forever, Qt::PreciseTimer);
    {
        QMutexLocker locker(&b.lock);
        b.cancelled = false;
        b.timedOut = false;
        b.deadlineNs = deadline.deadlineNSecs();
        b.running = true;
    }
    bool ok = b.begin(timeoutMs, &err);
    if (ok) {
        ok = b.stream(statement, values, columns, sink, deadline, &err);
        b.end();
    }
    {
        QMutexLocker locker(&b.lock);
        b.running = false;
        b.deadlineNs = 0;
    }
    if (b.cancelled) return fail(Texts::kQueryCancelled);
    if (!ok && (b.timedOut || deadline.hasExpired()))
        return fail(QStringLiteral("A lekérdezés nem fejeződött be %1 másodperc alatt, ezért leállt.")
                        .arg(QLocale(QLocale::Hungarian).toString(timeoutMs / 1000.0, 'g', 3)));
    if (!ok) return fail(err);
    return true;
}

} // namespace NexoFrame
