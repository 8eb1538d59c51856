#include "PgDriver.h"
#include "SqlExec.h"
#include "StatementText.h"
#include <QDateTime>
#include <algorithm>
#include <QMetaType>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSqlResult>
#include <libpq-fe.h>
#include <vector>

Q_DECLARE_OPAQUE_POINTER(PGconn*)
Q_DECLARE_METATYPE(PGconn*)

namespace NexoFrame {

namespace {

// What the lock statement says when another holder has the lock: the server refuses the cast,
// so that nothing sent after it in the same round trip runs (and its log says why).
const QString kLockRefused = QStringLiteral("Az adatbázist most más felhasználó írja (zárolva van).");

QString resultMessage(const PGresult* r, PGconn* c)
{
    const char* m = r ? PQresultErrorMessage(r) : nullptr;
    QString text = QString::fromUtf8(m && *m ? m : PQerrorMessage(c)).trimmed();
    if (text.startsWith(QLatin1String("ERROR:"))) text = text.mid(6).trimmed();
    return text;
}

QSqlError statementError(const PGresult* r, PGconn* c)
{
    const char* state = r ? PQresultErrorField(r, PG_DIAG_SQLSTATE) : nullptr;
    return QSqlError(QString(), resultMessage(r, c), QSqlError::StatementError,
                     state ? QString::fromLatin1(state) : QString());
}

// A failed statement's error; the lock's own refusal in the user's words.
QSqlError failureOf(bool lockStatement, const PGresult* r, PGconn* c)
{
    return lockStatement ? QSqlError(QString(), kLockRefused, QSqlError::StatementError, QStringLiteral("NEXO1"))
                         : statementError(r, c);
}

bool failed(const PGresult* r)
{
    const ExecStatusType s = PQresultStatus(r);
    return s != PGRES_COMMAND_OK && s != PGRES_TUPLES_OK && s != PGRES_SINGLE_TUPLE && s != PGRES_EMPTY_QUERY;
}

QMetaType typeOf(Oid oid)
{
    switch (oid) {
    case 16: return QMetaType(QMetaType::Bool);
    case 20:
    case 26: return QMetaType(QMetaType::LongLong);
    case 21:
    case 23: return QMetaType(QMetaType::Int);
    case 700:
    case 701:
    case 1700: return QMetaType(QMetaType::Double);
    case 1082: return QMetaType(QMetaType::QDate);
    case 1083: return QMetaType(QMetaType::QTime);
    case 1114:
    case 1184: return QMetaType(QMetaType::QDateTime);
    case 17: return QMetaType(QMetaType::QByteArray);
    default: return QMetaType(QMetaType::QString);
    }
}

// libpq quotes a connection keyword's value in single quotes, backslash-escaped.
QByteArray conninfoValue(const QString& v)
{
    QByteArray b = v.toUtf8();
    b.replace("\\", "\\\\");
    b.replace("'", "\\'");
    return '\'' + b + '\'';
}

// libpq's notices ("there is no transaction in progress") are not for the user.
void quietNotices(void*, const char*) {}

// Bound values as text in the server's format, each with its type where the value says what
// it is; text is left for the server to infer from where it stands, as a quoted literal is.
struct Params {
    explicit Params(const QVariantList& bound)
        : texts(size_t(bound.size())), values(size_t(bound.size()), nullptr), types(size_t(bound.size()), 0),
          lengths(size_t(bound.size()), 0)
    {
        for (int i = 0; i < int(bound.size()); ++i) {
            const QVariant& v = bound[i];
            if (isNullValue(v)) continue;
            types[size_t(i)] = serverText(v, &texts[size_t(i)]);
            const QByteArray& text = texts[size_t(i)];
            values[size_t(i)] = text.constData();
            lengths[size_t(i)] = int(text.size());
        }
    }
    std::vector<QByteArray> texts;
    std::vector<const char*> values;
    std::vector<Oid> types;
    std::vector<int> lengths;
};

} // namespace

// One statement's rows: all of them, or, for a forward read, the current one while the rest
// stream on the link.
class PgResult final : public QSqlResult {
public:
    explicit PgResult(const PgDriver* d) : QSqlResult(d) {}
    ~PgResult() override
    {
        detachFromResultSet();
        PgDriver* d = drv();
        if (d && !m_name.isEmpty() && m_nameSession == d->session() && d->connection())
            d->m_unprepare << "DEALLOCATE " + m_name;
    }

    // A stream left unread is read to its end, so that the link is free for the next statement.
    void finishStream()
    {
        if (!m_streaming) return;
        PGconn* c = drv() ? drv()->connection() : nullptr;
        while (c && PQresultStatus(m_rows) == PGRES_SINGLE_TUPLE) {
            PQclear(m_rows);
            m_rows = PQgetResult(c);
            if (!m_rows) break;
        }
        PQclear(m_rows);
        m_rows = nullptr;
        while (c)
            if (PGresult* r = PQgetResult(c)) PQclear(r);
            else break;
        endStream();
    }
    // The link went away under a stream.
    void abandonStream()
    {
        PQclear(m_rows);
        m_rows = nullptr;
        endStream();
    }

protected:
    QVariant data(int i) override
    {
        if (!m_rows || i < 0 || i >= PQnfields(m_rows)) return QVariant();
        const int row = m_streaming ? 0 : at();
        if (PQgetisnull(m_rows, row, i)) return QVariant(typeOf(m_types[size_t(i)]));
        return serverValue(m_types[size_t(i)], PQgetvalue(m_rows, row, i), PQgetlength(m_rows, row, i), m_texts[size_t(i)]);
    }
    bool isNull(int i) override
    {
        return !m_rows || i < 0 || i >= PQnfields(m_rows) || PQgetisnull(m_rows, m_streaming ? 0 : at(), i);
    }

    bool reset(const QString& query) override
    {
        detachFromResultSet();
        setActive(false);
        setAt(QSql::BeforeFirstRow);
        PgDriver* d = drv();
        if (!d || !d->connection()) return false;
        return d->runText(*this, query.toUtf8());
    }

    bool prepare(const QString& query) override
    {
        detachFromResultSet();
        m_sql = numberedPlaceholders(query, &m_params).toUtf8();
        if (!m_name.isEmpty() && drv() && m_nameSession == drv()->session()) drv()->m_unprepare << "DEALLOCATE " + m_name;
        m_name.clear();
        return true;
    }

    bool exec() override
    {
        detachFromResultSet();
        setActive(false);
        setAt(QSql::BeforeFirstRow);
        PgDriver* d = drv();
        if (!d || !d->connection()) return false;
        if (boundValueCount() < m_params) {
            setLastError(QSqlError(QString(),
                                   QStringLiteral("Az utasítás %1 értéket vár, %2 érkezett.").arg(m_params).arg(boundValueCount()),
                                   QSqlError::StatementError));
            return false;
        }
        QVariantList values;
        values.reserve(m_params);
        for (int i = 0; i < m_params; ++i) values << boundValue(i);
        return d->runBound(*this, values);
    }

    bool fetch(int i) override
    {
        if (m_streaming) {
            while (at() < i)
                if (!fetchNext()) return false;
            return at() == i;
        }
        if (!m_rows || i < 0 || i >= PQntuples(m_rows)) return false;
        setAt(i);
        return true;
    }
    bool fetchFirst() override
    {
        if (m_streaming && at() == QSql::BeforeFirstRow) {
            setAt(0);
            return true;
        }
        return fetch(0);
    }
    bool fetchNext() override
    {
        if (!m_streaming) return fetch(at() < 0 ? 0 : at() + 1);
        if (at() == QSql::BeforeFirstRow) return fetchFirst();
        PGconn* c = drv()->connection();
        PQclear(m_rows);
        m_rows = PQgetResult(c);
        if (m_rows && PQresultStatus(m_rows) == PGRES_SINGLE_TUPLE) {
            setAt(at() + 1);
            return true;
        }
        // The end of the rows, or a failure on the way.
        if (m_rows && failed(m_rows)) setLastError(statementError(m_rows, c));
        finishStream();
        setAt(QSql::AfterLastRow);
        return false;
    }
    bool fetchLast() override
    {
        // A stream cannot go back to its last row once past it.
        if (m_streaming) return false;
        return m_rows && PQntuples(m_rows) > 0 && fetch(PQntuples(m_rows) - 1);
    }
    int size() override { return !m_streaming && m_rows ? PQntuples(m_rows) : -1; }
    int numRowsAffected() override { return m_affected; }
    QSqlRecord record() const override
    {
        QSqlRecord rec;
        if (!m_rows) return rec;
        for (int i = 0; i < PQnfields(m_rows); ++i)
            rec.append(QSqlField(QString::fromUtf8(PQfname(m_rows, i)), typeOf(PQftype(m_rows, i))));
        return rec;
    }
    QVariant lastInsertId() const override { return QVariant(); }
    QVariant handle() const override { return QVariant(); }
    void detachFromResultSet() override
    {
        if (m_streaming) finishStream();
        PQclear(m_rows);
        m_rows = nullptr;
    }

private:
    friend class PgDriver;
    PgDriver* drv() const { return const_cast<PgDriver*>(static_cast<const PgDriver*>(driver())); }

    void endStream()
    {
        m_streaming = false;
        if (drv() && drv()->m_streaming == this) drv()->m_streaming = nullptr;
    }

    // Takes the statement's outcome: rows (all, or the first of a stream) or a failure.
    bool take(PGresult* rows, bool streaming, int affected)
    {
        m_rows = rows;
        m_streaming = streaming;
        m_affected = affected;
        const int n = rows ? PQnfields(rows) : 0;
        m_types.assign(size_t(n), 0);
        if (int(m_texts.size()) != n) m_texts = std::vector<TextCache>(size_t(n));
        for (int i = 0; i < n; ++i) m_types[size_t(i)] = PQftype(rows, i);
        if (streaming) drv()->m_streaming = this;
        setSelect(n > 0);
        setActive(true);
        return true;
    }

    PGresult* m_rows = nullptr;
    bool m_streaming = false;
    int m_affected = -1;
    std::vector<Oid> m_types;
    std::vector<TextCache> m_texts;
    QByteArray m_sql;
    int m_params = 0;
    QByteArray m_name;
    quint64 m_nameSession = 0;
};

PgDriver::PgDriver() = default;

PgDriver::~PgDriver() { close(); }

bool PgDriver::hasFeature(DriverFeature f) const
{
    switch (f) {
    case Transactions:
    case QuerySize:
    case PreparedQueries:
    case PositionalPlaceholders:
    case LowPrecisionNumbers:
    case Unicode:
    case BLOB: return true;
    default: return false;
    }
}

bool PgDriver::open(const QString& db, const QString& user, const QString& password, const QString& host, int port,
                    const QString& options)
{
    close();
    QByteArray info = "client_encoding='UTF8'";
    const auto add = [&](const char* key, const QString& value) {
        if (!value.isEmpty()) info += ' ' + QByteArray(key) + '=' + conninfoValue(value);
    };
    add("dbname", db);
    add("user", user);
    add("password", password);
    add("host", host);
    if (port > 0) add("port", QString::number(port));
    for (const QString& o : options.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const qsizetype eq = o.indexOf(QLatin1Char('='));
        if (eq > 0) add(o.left(eq).trimmed().toUtf8().constData(), o.mid(eq + 1).trimmed());
    }
    m_conn = PQconnectdb(info.constData());
    if (PQstatus(m_conn) != CONNECTION_OK) {
        setLastError(QSqlError(QString(), QString::fromUtf8(PQerrorMessage(m_conn)).trimmed(), QSqlError::ConnectionError));
        PQfinish(m_conn);
        m_conn = nullptr;
        setOpenError(true);
        return false;
    }
    PQsetNoticeProcessor(m_conn, quietNotices, nullptr);
    // Dates in ISO order whatever the server's default, as the values are read.
    PQclear(PQexec(m_conn, "SET DateStyle = 'ISO, YMD'"));
    ++m_session;
    setOpen(true);
    setOpenError(false);
    return true;
}

void PgDriver::close()
{
    if (m_streaming) m_streaming->abandonStream();
    if (m_conn) PQfinish(m_conn);
    m_conn = nullptr;
    m_ahead.clear();
    m_behind.clear();
    m_unprepare.clear();
    m_kept.clear();
    m_lock = Lock::None;
    ++m_session;
    if (isOpen()) setOpen(false);
    setOpenError(false);
}

QSqlResult* PgDriver::createResult() const { return new PgResult(this); }

QVariant PgDriver::handle() const { return QVariant::fromValue(m_conn); }

bool PgDriver::beginTransaction() { return isOpen() && QSqlQuery(createResult()).exec(QStringLiteral("BEGIN")); }
bool PgDriver::commitTransaction() { return isOpen() && QSqlQuery(createResult()).exec(QStringLiteral("COMMIT")); }
bool PgDriver::rollbackTransaction() { return isOpen() && QSqlQuery(createResult()).exec(QStringLiteral("ROLLBACK")); }

QString PgDriver::escapeIdentifier(const QString& identifier, IdentifierType) const
{
    if (identifier.startsWith(QLatin1Char('"')) && identifier.endsWith(QLatin1Char('"')) && identifier.size() > 1)
        return identifier;
    return quoted(identifier);
}

QString PgDriver::formatValue(const QSqlField& field, bool trimStrings) const
{
    if (!field.isNull() && field.metaType().id() == QMetaType::Bool)
        return field.value().toBool() ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    return QSqlDriver::formatValue(field, trimStrings);
}

QSqlRecord PgDriver::record(const QString& tableName) const
{
    QSqlQuery q(createResult());
    if (!isOpen() || !q.exec(QStringLiteral("SELECT * FROM %1 WHERE false").arg(escapeIdentifier(tableName, TableName))))
        return QSqlRecord();
    return q.record();
}

bool PgDriver::copyRows(const QString& table, const QStringList& columns, const QList<QVariantList>& rows, QString* error)
{
    if (!m_conn) {
        *error = QStringLiteral("Nincs kapcsolat az adatbázissal.");
        return false;
    }
    if (m_streaming) m_streaming->finishStream();
    // What waits ahead (a savepoint) goes first, on its own.
    if (!m_ahead.isEmpty() && !runOwn({}, error)) return false;
    QStringList names;
    for (const QString& c : columns) names << escapeIdentifier(c, FieldName);
    const QByteArray sql = QStringLiteral("COPY %1 (%2) FROM STDIN").arg(escapeIdentifier(table, TableName), names.join(QLatin1Char(','))).toUtf8();
    PGresult* res = PQexec(m_conn, sql.constData());
    if (PQresultStatus(res) != PGRES_COPY_IN) {
        *error = resultMessage(res, m_conn);
        PQclear(res);
        return false;
    }
    PQclear(res);
    // The text format: a tab between values, a row a line, \N for NULL, the rest escaped.
    // Sent a piece at a time as it is made: the server writes the first rows while the
    // last are still being spelt out.
    constexpr qsizetype kPiece = 16 * 1024;
    QByteArray data, text;
    data.reserve(kPiece + 4096);
    bool sent = true;
    const auto plain = [](char ch) { return ch != '\\' && ch != '\t' && ch != '\n' && ch != '\r'; };
    for (qsizetype r = 0; sent && r < rows.size(); ++r) {
        const QVariantList& row = rows[r];
        for (qsizetype i = 0; i < row.size(); ++i) {
            if (i > 0) data += '\t';
            const QVariant& v = row[i];
            if (isNullValue(v)) {
                data += "\\N";
                continue;
            }
            serverText(v, &text);
            // Most values hold nothing to escape: they go whole.
            if (std::all_of(text.cbegin(), text.cend(), plain)) {
                data += text;
                continue;
            }
            for (const char ch : std::as_const(text)) {
                switch (ch) {
                case '\\': data += "\\\\"; break;
                case '\t': data += "\\t"; break;
                case '\n': data += "\\n"; break;
                case '\r': data += "\\r"; break;
                default: data += ch;
                }
            }
        }
        data += '\n';
        if (data.size() >= kPiece || r == rows.size() - 1) {
            sent = PQputCopyData(m_conn, data.constData(), int(data.size())) == 1;
            data.clear();
        }
    }
    bool ok = PQputCopyEnd(m_conn, sent ? nullptr : "megszakítva") == 1 && sent;
    QString failure;
    while (PGresult* r = PQgetResult(m_conn)) {
        if (failed(r) && failure.isEmpty()) failure = resultMessage(r, m_conn);
        PQclear(r);
    }
    if (!failure.isEmpty()) ok = false;
    if (!ok) *error = failure.isEmpty() ? QString::fromUtf8(PQerrorMessage(m_conn)).trimmed() : failure;
    return ok;
}

void PgDriver::sendAhead(const QString& sql) { m_ahead << Ahead{sql.toUtf8(), false, true}; }

void PgDriver::lockAhead(const QString& lockSql)
{
    m_ahead.prepend(Ahead{"BEGIN", false, true});
    m_ahead.prepend(Ahead{lockSql.toUtf8(), true, true});
    m_lock = Lock::Ahead;
}

void PgDriver::dropAhead(bool keepLock)
{
    m_ahead = keepLock && m_lock == Lock::Ahead ? m_ahead.mid(0, 2) : QList<Ahead>();
    m_behind.clear();
}

void PgDriver::setLock(Lock lock)
{
    if (m_lock == Lock::Refused && lock == Lock::Held) m_ahead = m_behind + m_ahead;
    m_behind.clear();
    m_lock = lock;
}

QList<PgDriver::Ahead> PgDriver::takeAhead()
{
    QList<Ahead> sent;
    if (!m_unprepare.isEmpty() && m_ahead.isEmpty() && PQtransactionStatus(m_conn) == PQTRANS_IDLE) {
        for (const QByteArray& u : std::as_const(m_unprepare)) sent << Ahead{u, false, false};
        m_unprepare.clear();
    }
    sent << m_ahead;
    m_ahead.clear();
    return sent;
}

void PgDriver::settleAhead(QList<Ahead> sent, int failedAt, bool lost)
{
    if (lost) {
        m_ahead.clear();
        m_behind.clear();
        if (m_lock == Lock::Ahead) m_lock = Lock::None;
        return;
    }
    for (int i = 0; i < sent.size(); ++i) {
        if (!sent[i].lock) continue;
        if (failedAt == i) {
            // Nothing after the lock ran: what waited behind its BEGIN waits on.
            m_lock = Lock::Refused;
            m_behind = sent.mid(i + 2);
        } else if (failedAt < 0 || failedAt > i) {
            m_lock = Lock::Held;
        }
    }
}

bool PgDriver::runText(PgResult& r, const QByteArray& sql)
{
    if (m_streaming) m_streaming->finishStream();
    const QList<Ahead> ahead = takeAhead();
    QByteArray text;
    for (const Ahead& a : ahead) text += a.sql + ";\n";
    text += sql;
    if (!PQsendQuery(m_conn, text.constData())) {
        settleAhead(ahead, 0, true);
        r.setLastError(statementError(nullptr, m_conn));
        return false;
    }
    // A statement at a time; after a failure the server runs none of the rest.
    int index = 0, failedAt = -1;
    PGresult* rows = nullptr;
    int affected = -1;
    QSqlError error;
    while (PGresult* res = PQgetResult(m_conn)) {
        if (failed(res)) {
            if (failedAt < 0) {
                failedAt = index;
                error = failureOf(index < ahead.size() && ahead[index].lock, res, m_conn);
            }
            PQclear(res);
        } else if (index >= ahead.size() && !rows && PQresultStatus(res) == PGRES_TUPLES_OK) {
            rows = res;
            affected = QByteArray(PQcmdTuples(res)).toInt();
        } else {
            if (index >= ahead.size() && PQresultStatus(res) == PGRES_COMMAND_OK && affected < 0 && *PQcmdTuples(res))
                affected = QByteArray(PQcmdTuples(res)).toInt();
            PQclear(res);
        }
        ++index;
    }
    settleAhead(ahead, failedAt < ahead.size() ? failedAt : -1, PQstatus(m_conn) == CONNECTION_BAD);
    if (failedAt >= 0) {
        PQclear(rows);
        r.setLastError(error);
        return false;
    }
    return r.take(rows, false, affected);
}

bool PgDriver::runBound(PgResult& r, const QVariantList& values)
{
    if (m_streaming) m_streaming->finishStream();
    if (r.m_nameSession != m_session) r.m_name.clear();
    // Prepared on the server from the first run, in the same round trip: the server then
    // plans it as it plans a kept statement (a generic plan after a few runs).
    const bool prepareFirst = r.m_name.isEmpty();
    if (prepareFirst) {
        r.m_name = "nx" + QByteArray::number(++m_nextName);
        r.m_nameSession = m_session;
    }
    const Params p(values);
    const int n = r.m_params;
    const auto sendStatement = [&] {
        return PQsendQueryPrepared(m_conn, r.m_name.constData(), n, p.values.data(), p.lengths.data(), nullptr, 0);
    };
    const QList<Ahead> ahead = takeAhead();
    if (ahead.isEmpty() && !prepareFirst) {
        if (!sendStatement()) {
            r.setLastError(statementError(nullptr, m_conn));
            return false;
        }
        if (r.isForwardOnly()) PQsetSingleRowMode(m_conn);
        PGresult* first = PQgetResult(m_conn);
        if (first && PQresultStatus(first) == PGRES_SINGLE_TUPLE) return r.take(first, true, -1);
        PGresult* rows = nullptr;
        QSqlError error;
        for (PGresult* res = first; res; res = PQgetResult(m_conn)) {
            if (failed(res)) {
                if (!error.isValid()) error = statementError(res, m_conn);
                PQclear(res);
            } else if (!rows) {
                rows = res;
            } else {
                PQclear(res);
            }
        }
        if (error.isValid() || !rows) {
            PQclear(rows);
            r.setLastError(error.isValid() ? error : statementError(nullptr, m_conn));
            return false;
        }
        return r.take(rows, false, QByteArray(PQcmdTuples(rows)).toInt());
    }

    // What waits ahead, the statement's preparation and the statement: one round trip.
    PGresult* rows = nullptr;
    QSqlError error;
    int failedAhead = -1;
    const bool sent = pipeline(ahead, [&] {
        if (prepareFirst && !PQsendPrepare(m_conn, r.m_name.constData(), r.m_sql.constData(), n, p.types.data())) return -1;
        return sendStatement() ? (prepareFirst ? 2 : 1) : -1;
    }, &rows, &error, &failedAhead);
    const bool failedHere = error.isValid();
    settleAhead(ahead, failedAhead, !sent || PQstatus(m_conn) == CONNECTION_BAD);
    // A statement whose preparing did not run (or failed) is prepared again next time.
    if (prepareFirst && (failedHere || !rows)) r.m_name.clear();
    if (failedHere || !rows) {
        PQclear(rows);
        r.setLastError(error.isValid() ? error : statementError(nullptr, m_conn));
        return false;
    }
    return r.take(rows, false, QByteArray(PQcmdTuples(rows)).toInt());
}

bool PgDriver::pipeline(const QList<Ahead>& ahead, const std::function<int()>& sendOwn, PGresult** rows, QSqlError* error,
                        int* failedAhead)
{
    // Each result step belongs to an entry ahead (its preparing or its run), or to what
    // `sendOwn` sent (-1); a kept statement's preparing, once it went through, is remembered.
    struct Step {
        int ahead = -1;
        QByteArray keep, name;
    };
    QList<Step> steps;
    bool sent = PQenterPipelineMode(m_conn);
    for (int i = 0; sent && i < ahead.size(); ++i) {
        const Ahead& a = ahead[i];
        if (!a.keep) {
            sent = PQsendQueryParams(m_conn, a.sql.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0);
            steps << Step{i, {}, {}};
            continue;
        }
        QByteArray name = m_kept.value(a.sql);
        if (name.isEmpty()) {
            name = "nxk" + QByteArray::number(++m_nextName);
            sent = PQsendPrepare(m_conn, name.constData(), a.sql.constData(), 0, nullptr);
            steps << Step{i, a.sql, name};
        }
        sent = sent && PQsendQueryPrepared(m_conn, name.constData(), 0, nullptr, nullptr, nullptr, 0);
        steps << Step{i, {}, {}};
    }
    const int own = sent ? sendOwn() : -1;
    sent = sent && own >= 0 && PQpipelineSync(m_conn);
    for (int i = 0; i < own; ++i) steps << Step{-1, {}, {}};
    bool failedYet = false;
    if (sent) {
        for (int k = 0; k < steps.size(); ++k) {
            const Step& step = steps[k];
            // Each step's results end with a null; a failure aborts the steps after it.
            while (PGresult* res = PQgetResult(m_conn)) {
                if (failed(res)) {
                    if (!failedYet && PQresultStatus(res) != PGRES_PIPELINE_ABORTED) {
                        failedYet = true;
                        *failedAhead = step.ahead;
                        *error = failureOf(step.ahead >= 0 && ahead[step.ahead].lock, res, m_conn);
                    }
                    failedYet = true;
                    PQclear(res);
                } else if (!step.keep.isEmpty()) {
                    m_kept.insert(step.keep, step.name);
                    PQclear(res);
                } else if (rows && k == steps.size() - 1 && step.ahead < 0 && !*rows) {
                    *rows = res;
                } else {
                    PQclear(res);
                }
            }
        }
        // The sync's own answer.
        if (PGresult* res = PQgetResult(m_conn)) PQclear(res);
    } else {
        *error = statementError(nullptr, m_conn);
        while (PGresult* res = PQgetResult(m_conn)) PQclear(res);
    }
    if (!PQexitPipelineMode(m_conn)) {
        while (PGresult* res = PQgetResult(m_conn)) PQclear(res);
        PQexitPipelineMode(m_conn);
    }
    return sent;
}

bool PgDriver::runOwn(const QList<QByteArray>& sqls, QString* error)
{
    if (!m_conn) return false;
    if (m_streaming) m_streaming->finishStream();
    QList<Ahead> ahead = takeAhead();
    const int own = int(ahead.size());
    for (const QByteArray& sql : sqls) ahead << Ahead{sql, false, true};
    QSqlError failure;
    int failedAhead = -1;
    const bool sent = pipeline(ahead, [] { return 0; }, nullptr, &failure, &failedAhead);
    settleAhead(ahead.mid(0, own), failedAhead < own ? failedAhead : -1, !sent || PQstatus(m_conn) == CONNECTION_BAD);
    if (!failure.isValid()) return true;
    if (error) *error = failure.text();
    return false;
}

} // namespace NexoFrame
