#pragma once
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSqlError>
#include <functional>
#include <QSqlDriver>

typedef struct pg_conn PGconn;
typedef struct pg_result PGresult;

namespace NexoFrame {

class PgResult;

// The program's own driver for a PostgreSQL server, on libpq. Beside what every driver does
// it gives a save fewer round trips, which on a server are most of a save's time: values go
// bound (never spelt into the text), a statement run again is kept prepared on the server,
// forward reads stream row by row, and statements may wait to travel with the next one, in
// the same round trip (libpq's pipeline mode): the lock and BEGIN of a write, a savepoint.
class PgDriver final : public QSqlDriver {
public:
    PgDriver();
    ~PgDriver() override;

    bool hasFeature(DriverFeature f) const override;
    bool open(const QString& db, const QString& user, const QString& password, const QString& host, int port,
              const QString& options) override;
    void close() override;
    QSqlResult* createResult() const override;
    QVariant handle() const override;
    bool beginTransaction() override;
    bool commitTransaction() override;
    bool rollbackTransaction() override;
    QString escapeIdentifier(const QString& identifier, IdentifierType type) const override;
    QString formatValue(const QSqlField& field, bool trimStrings = false) const override;
    QSqlRecord record(const QString& tableName) const override;

    // A statement without values that goes to the server with the next statement, ahead of
    // it; when it fails, the next statement does not run and fails with its error.
    void sendAhead(const QString& sql);
    // The master lock taken with the next statement: `lockSql` answers true when the lock
    // was had, and BEGIN follows it. When it was not, nothing of that round trip ran, and the
    // lock reads Refused (what else waited stays waiting).
    void lockAhead(const QString& lockSql);
    enum class Lock { None, Ahead, Held, Refused };
    Lock lock() const { return m_lock; }
    // The lock is settled: held (what waited behind a refused one goes with the next
    // statement again), or freed.
    void setLock(Lock lock);
    // Whatever still waits is not sent: the transaction it belonged to ends without it. A
    // lock still waiting may stay, with its BEGIN.
    void dropAhead(bool keepLock = false);

    // The program's own statements (kept prepared for the session), in one round trip with
    // what waits ahead; false with the error when one failed (the rest did not run).
    bool runOwn(const QList<QByteArray>& sqls, QString* error = nullptr);

    // Rows into a table through COPY: one round trip for any number of them. False with the
    // server's reason when they were not written (and the transaction is then aborted).
    bool copyRows(const QString& table, const QStringList& columns, const QList<QVariantList>& rows, QString* error);

    PGconn* connection() const { return m_conn; }
    // A new server session (the link was made again): statements prepared on the old one are gone.
    quint64 session() const { return m_session; }

private:
    friend class PgResult;
    struct Ahead {
        QByteArray sql;
        bool lock = false;
        // The program's own statement, kept prepared for the session.
        bool keep = false;
    };
    // What goes ahead of the next statement: the waiting statements, and the prepared
    // statements no longer kept (only outside a transaction, where nothing makes them fail).
    QList<Ahead> takeAhead();
    // After the round trip: `failedAt` is the index of the one that failed (-1: none).
    // `lost`: nothing is known of what ran (the link failed).
    void settleAhead(QList<Ahead> sent, int failedAt, bool lost = false);
    // A statement as text (several may stand in it), and a prepared one with its bound values.
    bool runText(PgResult& r, const QByteArray& sql);
    bool runBound(PgResult& r, const QVariantList& values);
    // One round trip in libpq's pipeline: the entries ahead, then what `sendOwn` sends (it
    // answers how many result steps that is, -1 when sending failed). The last step's rows
    // go to `rows`; a failure's error to `error`, and the entry ahead it was (-1: none).
    bool pipeline(const QList<Ahead>& ahead, const std::function<int()>& sendOwn, PGresult** rows, QSqlError* error,
                  int* failedAhead);
    QList<Ahead> m_ahead;
    // What waited behind a refused lock, until the lock is had.
    QList<Ahead> m_behind;
    QList<QByteArray> m_unprepare;
    QHash<QByteArray, QByteArray> m_kept;
    PgResult* m_streaming = nullptr;
    PGconn* m_conn = nullptr;
    Lock m_lock = Lock::None;
    quint64 m_session = 0;
    int m_nextName = 0;
};

} // namespace NexoFrame
