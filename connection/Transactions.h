#pragma once
#include <QString>
#include <functional>

namespace NexoFrame {

class Connection;

// The master lock and the transactions of one connection: every write of the module goes
// through writeLocked, which keeps a write whole or not at all and always frees the lock.
class Transactions {
public:
    explicit Transactions(Connection& c) : m_c(c) {}

    // The lock waits at most `waitMs` for another holder to finish; refused otherwise.
    // `withNextStatement`: where the engine can, the lock goes to the server with the first
    // statement under it (see writeLocked).
    bool lockMaster(int waitMs = 0, bool withNextStatement = false);
    // Commits the locked transaction and frees the lock; false when the commit failed
    // (nothing was kept then; lastError() says why).
    bool unlockMaster();
    bool hasMasterLock() const { return m_lockDepth > 0; }

    // Every write takes the master lock the same way: one try, then kQuietLockTries quiet
    // tries that each wait up to kQuietLockWaitMs for the holder (a save takes milliseconds,
    // so a user meets the question only when someone keeps the database locked), then
    // `askAgain`, for as long as it answers yes. This library has no widgets: the side that
    // has them asks (LockQuestion.h holds the words). Without a question it gives up.
    using AskAgain = std::function<bool()>;
    static constexpr int kQuietLockTries = 3;
    static constexpr int kQuietLockWaitMs = 250;
    bool lockWithRetry(const AskAgain& askAgain, bool withNextStatement = false);
    // The one way to write under the master lock: `work` runs as one transaction, kept
    // whole, or not at all when it returns false (having said why its own way), throws, or
    // the commit fails. The transaction always ends and the lock is always freed, also when
    // `work` throws something other than DbError, which then goes on to the caller.
    // Refused: the lock was not had and nothing ran; Failed: `why` says what went wrong
    // (empty when `work` returned false).
    // `lockWithFirstStatement`: `work` does nothing before its first statement that another
    // holder of the lock could mind, so on a server the lock travels with that statement and
    // costs no round trip of its own. Refused there, nothing of the statement ran: the tries
    // and the question follow then, and the statement runs once the lock is had (or `work`
    // fails, and the write is Refused).
    enum class LockedWrite { Done, Refused, Failed };
    LockedWrite writeLocked(const std::function<bool()>& work, QString* why, const AskAgain& askAgain = {},
                            bool lockWithFirstStatement = false);

    // Nested transactions: the outermost is a transaction, the inner ones savepoints.
    bool beginTrans();
    bool commitTrans();
    bool rollbackTrans();
    bool inTransaction() const { return m_spDepth > 0; }

    // A write's lock, sent with its first statement, was refused and not had afterwards
    // either: until the write ends, nothing more of it runs.
    bool refusedLate() const { return m_refusedLate; }
    static inline const QString kRefusedLate =
        QStringLiteral("Az adatbázist most más felhasználó írja, a módosítás nem menthető.");

    // Why the last commit of the master lock failed.
    QString lastError() const { return m_lastError; }

private:
    friend class Connection;
    // A statement ran: the open transaction is no longer empty.
    void touched() { m_outerUntouched = false; }
    // Whether a transaction or the lock is open.
    bool working() const { return m_lockDepth > 0 || m_spDepth > 0 || m_outerOpen; }
    // Ends whatever is open without keeping it (the link closes).
    void endOnClose(bool linkLost);
    // The server ended the transaction and freed the lock with the session.
    void forget();
    // Ends the locked transaction without keeping anything.
    void abandonLock();
    bool transactionStep(const QString& sql);
    // The quiet tries of `tryLock` (the first without waiting), then the question, until the
    // lock is had or the user lets it go.
    bool retried(const AskAgain& askAgain, const std::function<bool(int waitMs, bool first)>& tryLock);
    // The lock sent with the first statement was refused: the usual tries and question now.
    // True when it was had after all (the statement may run again).
    bool lockLate(QString* message);

    Connection& m_c;
    // The question of the write under way, for a lock refused with its first statement.
    AskAgain m_askAgain;
    bool m_refusedLate = false;
    int m_lockDepth = 0;
    int m_spDepth = 0;
    bool m_outerOpen = false;
    // Nothing has run in the open outer transaction yet.
    bool m_outerUntouched = false;
    // The outermost level stands for the whole transaction instead of a savepoint.
    bool m_virtualSavepoint = false;
    // The level about to begin ends with the lock (a locked write's own): going back on it
    // is going back on the whole transaction, lock and all.
    bool m_levelEndsLock = false;
    QString m_lastError;
};

} // namespace NexoFrame
