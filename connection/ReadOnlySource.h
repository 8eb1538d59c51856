#pragma once
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <memory>

namespace NexoFrame {

class Connection;

// A second link to the database of a connection that can only read: for SQL that users
// write themselves (OLAP sources, lists).
//
// Open, run and destroy it on one thread (a worker, so that the user interface stays
// alive during a long query: take its Target on the connection's thread first); cancel()
// may come from any thread.
//
// One statement per run, as the engine reads the text: a second one is refused by SQLite's
// own parser, and by the server, which takes every run through the extended protocol.
// Nothing the statement does can change the database or read its secrets (Secrets.h): the
// file is opened read-only with an authorizer that lets nothing but reading through and
// hides the secrets (SQLite); on a server the link logs in as the reader role (ReaderRole.h),
// which may only read what it is granted, every run is a read-only transaction that is
// rolled back, and the session's locks are freed after it.
//
// Rows are streamed (a million-row source never sits in memory): each value as the engine
// has it, with dates and booleans made usable:
// - null: an invalid QVariant;
// - integers: qlonglong (SQLite, server bigint), int (server smallint, integer);
// - floating and numeric columns: double;
// - text: QString; blobs and bytea: QByteArray;
// - dates: QDateTime for a SQLite column declared DATE/DATETIME/TIMESTAMP and for a server
//   timestamp (the clock reading as stored); a server timestamptz as a QDateTime in this
//   machine's time; QDate for a server date, QTime for a server time; a date SQLite
//   computes (date(...)) stays text "yyyy-MM-dd";
// - booleans: bool from the server; SQLite holds them as integers (the suite stores true
//   as -1), which QVariant::toBool() reads correctly.
class ReadOnlySource {
public:
    // Where a link goes: the file, or the server database with the reader's login. Plain
    // values, taken on the connection's thread, so that a worker opens the link without
    // touching the connection.
    struct Target {
        bool server = false;
        QString where;       // the file, or the reader's URI; empty: none (the error says why)
        QString programRole; // on a server: the role the link must never log in as
        bool valid() const { return !where.isEmpty(); }
    };
    // On the connection's thread.
    static Target targetOf(Connection& c, QString* error);

    // nullptr and a Hungarian message on failure. The first on the connection's thread; the
    // second on any.
    static std::unique_ptr<ReadOnlySource> open(Connection& c, QString* error);
    static std::unique_ptr<ReadOnlySource> open(const Target& target, QString* error);
    ~ReadOnlySource();
    ReadOnlySource(const ReadOnlySource&) = delete;
    ReadOnlySource& operator=(const ReadOnlySource&) = delete;

    // Runs one statement. Column names into `columns`; each row is handed to `sink` (return
    // false to stop early: that is no failure; a row kept is a cheap shared copy). False with a Hungarian message in `error`
    // (the engine's own words inside it) on failure, timeout or cancel. A timeout of 0 or
    // less means none.
    bool run(const QString& sql, QStringList* columns, const std::function<bool(const QVariantList&)>& sink,
             QString* error, int timeoutMs = 60000);
    // The same with bound values for the statement's "?" placeholders, in order (a "?"
    // inside quotes or comments is text). The count must match. A null QVariant binds
    // NULL; a bool binds as the engine stores it; a QDate binds as its midnight and a
    // QDateTime as the clock reading, compared like the stored dates on both engines.
    bool run(const QString& sql, const QVariantList& values, QStringList* columns,
             const std::function<bool(const QVariantList&)>& sink, QString* error, int timeoutMs = 60000);
    // `sql` without a trailing ";" and trailing comments, to wrap in a subquery. Decides
    // nothing about safety: the engine does that.
    static QString statementOf(const QString& sql, bool server);

    // Thread-safe; makes a running run() stop and return false with "A lekérdezés megszakítva."
    void cancel();

    // The engine's half, in ReadOnlySource.cpp.
    struct Backend;

private:
    explicit ReadOnlySource(std::unique_ptr<Backend> backend);
    std::unique_ptr<Backend> m_backend;
};

} // namespace NexoFrame
