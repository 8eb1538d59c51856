#include "Transactions.h"
#include "Connection.h"
#include <QScopeGuard>
#include <QSqlError>

namespace NexoFrame {

void Transactions::endOnClose(bool linkLost)
{
    if (!linkLost && (m_spDepth > 0 || m_outerOpen)) {
        m_c.m_engine->rollback(m_c.m_db);
        if (m_lockDepth > 0) m_c.m_engine->releaseMasterLock(m_c.m_db);
    }
    forget();
}

void Transactions::forget()
{
    m_lockDepth = 0;
    m_spDepth = 0;
    m_outerOpen = false;
    m_virtualSavepoint = false;
}

void Transactions::abandonLock()
{
    if (!m_c.m_lost) {
        m_c.m_engine->rollback(m_c.m_db);
        m_c.m_engine->releaseMasterLock(m_c.m_db);
    }
    m_spDepth = 0;
    m_lockDepth = 0;
    m_outerOpen = false;
    m_virtualSavepoint = false;
    m_c.touch();
}

bool Transactions::lockMaster(int waitMs, bool withNextStatement)
{
    if (!m_c.m_open) return false;
    m_c.ensureLive();
    if (m_lockDepth > 0) {
        ++m_lockDepth;
        return true;
    }
    if (m_outerOpen) {
        // A plain transaction is open: end it so that the lock starts clean.
        m_c.m_engine->commit(m_c.m_db);
        m_outerOpen = false;
        m_spDepth = 0;
        m_virtualSavepoint = false;
    }
    if (withNextStatement && m_c.m_engine->lockWithNextStatement(m_c.m_db)) {
        m_lockDepth = 1;
        m_outerOpen = true;
        m_outerUntouched = true;
        return true;
    }
    if (!m_c.m_engine->tryMasterLock(m_c.m_db, waitMs)) {
        QString lost;
        switch (m_c.recover(&lost)) {
        case Connection::Recovery::None: return false;
        case Connection::Recovery::Lost: throw DbError(lost);
        case Connection::Recovery::Retry:
            if (!m_c.m_engine->tryMasterLock(m_c.m_db, waitMs)) return false;
            break;
        }
    }
    m_lockDepth = 1;
    m_outerOpen = true;
    m_outerUntouched = true;
    return true;
}

bool Transactions::unlockMaster()
{
    if (m_lockDepth == 0) return true;
    if (--m_lockDepth > 0) return true;
    bool ok = true;
    if (m_spDepth > 0) {
        // Unbalanced callers: anything not committed is not kept.
        m_c.m_engine->rollback(m_c.m_db);
        if (!m_c.m_lost) m_c.m_engine->releaseMasterLock(m_c.m_db);
        m_spDepth = 0;
        m_virtualSavepoint = false;
        ok = false;
        m_lastError = QStringLiteral("A tranzakció lezáratlanul maradt, a módosítások elvesztek.");
    } else if (!m_c.m_engine->commitAndRelease(m_c.m_db)) {
        ok = false;
        m_lastError = m_c.m_db.lastError().text();
        QString lost;
        if (m_c.recover(&lost) != Connection::Recovery::None) {
            m_lastError = lost;
        } else {
            m_c.m_engine->rollback(m_c.m_db);
            m_c.m_engine->releaseMasterLock(m_c.m_db);
        }
    }
    m_outerOpen = false;
    m_c.touch();
    return ok;
}


// A savepoint statement that failed: a lost link ends the whole transaction.
bool Transactions::transactionStep(const QString& sql)
{
    for (int attempt = 0;; ++attempt) {
        if (m_c.runSql(sql)) return true;
        QString lost;
        const Connection::Recovery r = m_c.recover(&lost);
        // A lock refused with this step and had after all: the step runs again.
        if (r == Connection::Recovery::Retry && attempt == 0) continue;
        if (r != Connection::Recovery::None) throw DbError(lost);
        return false;
    }
}

bool Transactions::beginTrans()
{
    if (!m_c.m_open) return false;
    m_c.ensureLive();
    if (!m_outerOpen) {
        if (!m_c.m_engine->beginPlain(m_c.m_db)) {
            QString lost;
            const Connection::Recovery r = m_c.recover(&lost);
            if (r == Connection::Recovery::Lost) throw DbError(lost);
            if (r == Connection::Recovery::None || !m_c.m_engine->beginPlain(m_c.m_db)) return false;
        }
        m_outerOpen = true;
        m_outerUntouched = true;
    }
    if (m_spDepth == 0 && m_lockDepth > 0 && m_outerUntouched && (m_levelEndsLock || m_c.m_engine->lockOutlivesTransaction())) {
        // Nothing has happened under the lock yet, and the lock survives a rollback (or goes
        // with this level anyway): undoing this level is rolling back and beginning again,
        // so no savepoint is needed. A file's savepoint kept a copy of every page the level
        // changed, a subtree's tick spilling them to a temporary file.
        m_virtualSavepoint = true;
        ++m_spDepth;
        return true;
    }
    const QString savepoint = QStringLiteral("SAVEPOINT nx%1").arg(m_spDepth + 1);
    if (!m_c.m_engine->savepointWithNextStatement(m_c.m_db, savepoint) && !transactionStep(savepoint)) return false;
    ++m_spDepth;
    return true;
}

bool Transactions::commitTrans()
{
    if (m_spDepth == 0) return false;
    // A kept savepoint is not released: the enclosing level's commit or rollback ends it
    // with everything after it, and a server spares a round trip a level.
    if (m_spDepth == 1 && m_virtualSavepoint) m_virtualSavepoint = false;
    --m_spDepth;
    bool ok = true;
    if (m_spDepth == 0 && m_lockDepth == 0) {
        ok = m_c.m_engine->commit(m_c.m_db);
        if (!ok) {
            QString lost;
            if (m_c.recover(&lost) != Connection::Recovery::None) throw DbError(lost);
            m_c.m_engine->rollback(m_c.m_db);
        }
        m_outerOpen = false;
    }
    m_c.touch();
    return ok;
}

bool Transactions::rollbackTrans()
{
    if (m_spDepth == 0) return false;
    const bool virtualLevel = m_spDepth == 1 && m_virtualSavepoint;
    const bool ok = virtualLevel ? m_c.m_engine->rollbackAndBegin(m_c.m_db)
                                 : m_c.runSql(QStringLiteral("ROLLBACK TO SAVEPOINT nx%1").arg(m_spDepth));
    if (!ok) {
        // With the link gone the server has dropped the whole transaction already.
        QString lost;
        if (m_c.recover(&lost) != Connection::Recovery::None) return true;
    }
    if (virtualLevel) {
        m_virtualSavepoint = false;
        m_outerUntouched = true;
    } else {
        m_c.runSql(QStringLiteral("RELEASE SAVEPOINT nx%1").arg(m_spDepth));
    }
    --m_spDepth;
    if (m_spDepth == 0 && m_lockDepth == 0) {
        m_c.m_engine->rollback(m_c.m_db);
        m_outerOpen = false;
    }
    m_c.touch();
    return ok;
}

bool Transactions::retried(const AskAgain& askAgain, const std::function<bool(int waitMs, bool first)>& tryLock)
{
    for (;;) {
        for (int attempt = 0; attempt <= kQuietLockTries; ++attempt)
            if (tryLock(attempt == 0 ? 0 : kQuietLockWaitMs, attempt == 0)) return true;
        if (!askAgain || !askAgain()) return false;
        m_c.touch();
    }
}

bool Transactions::lockWithRetry(const AskAgain& askAgain, bool withNextStatement)
{
    return retried(askAgain, [&](int waitMs, bool first) { return lockMaster(waitMs, withNextStatement && first); });
}

bool Transactions::lockLate(QString* message)
{
    // Nothing ran: the write stands where it stood before its first statement, with no
    // transaction open. The quiet tries, then the question, as for any lock.
    const int savepoints = m_spDepth;
    const int depth = m_lockDepth;
    const bool virtualSavepoint = m_virtualSavepoint;
    m_lockDepth = 0;
    m_outerOpen = false;
    const bool had = retried(m_askAgain, [this](int waitMs, bool) { return m_c.m_engine->tryMasterLock(m_c.m_db, waitMs); });
    m_spDepth = savepoints;
    m_virtualSavepoint = virtualSavepoint;
    if (!had) {
        m_refusedLate = true;
        m_spDepth = 0;
        m_virtualSavepoint = false;
        *message = kRefusedLate;
        return false;
    }
    m_lockDepth = depth;
    m_outerOpen = true;
    m_c.touch();
    return true;
}

Transactions::LockedWrite Transactions::writeLocked(const std::function<bool()>& work, QString* why, const AskAgain& askAgain,
                                                   bool lockWithFirstStatement)
{
    QString reason;
    const bool outermost = m_lockDepth == 0;
    const int level = m_spDepth;
    if (outermost) {
        m_askAgain = askAgain;
        m_refusedLate = false;
    }
    // The write's question, and a refusal of its lock, end with it however it ends.
    const auto endLate = qScopeGuard([&] {
        if (!outermost) return;
        m_askAgain = {};
        m_refusedLate = false;
    });
    const auto answer = [&](LockedWrite r) {
        m_c.touch();
        if (outermost && r == LockedWrite::Failed && m_refusedLate) {
            r = LockedWrite::Refused;
            reason.clear();
        }
        if (why) *why = reason;
        return r;
    };
    try {
        if (!lockWithRetry(askAgain, outermost && lockWithFirstStatement)) return answer(LockedWrite::Refused);
    } catch (const DbError& e) {
        reason = e.message();
        return answer(LockedWrite::Failed);
    }
    bool ended = false;
    // Nothing of an unfinished write is kept, and the lock goes with it: a write of our own
    // goes back whole, one inside a caller's lock goes back to where it began.
    const auto goBack = [&] {
        ended = true;
        if (outermost) {
            abandonLock();
            return;
        }
        while (m_spDepth > level)
            if (!rollbackTrans()) break;
        unlockMaster();
    };
    const auto guard = qScopeGuard([&] {
        if (!ended) goBack();
    });
    const auto notKept = [&] {
        reason = lastError();
        if (reason.isEmpty()) reason = QStringLiteral("A módosítások nem menthetők.");
    };
    bool ok = false;
    try {
        // The lock's previous holder may have written: nothing read before counts.
        m_c.touch();
        {
            // A write of our own goes back whole (abandonLock): its level needs no savepoint.
            m_levelEndsLock = outermost;
            const auto once = qScopeGuard([this] { m_levelEndsLock = false; });
            ok = beginTrans();
        }
        if (!ok) reason = QStringLiteral("A tranzakció nem kezdhető el.");
        ok = ok && work();
        if (ok && !commitTrans()) {
            ok = false;
            notKept();
        }
    } catch (const DbError& e) {
        ok = false;
        reason = e.message();
    }
    if (!ok) {
        goBack();
        return answer(LockedWrite::Failed);
    }
    ended = true;
    // Freeing the lock commits; a commit that failed kept nothing.
    if (!unlockMaster()) {
        notKept();
        return answer(LockedWrite::Failed);
    }
    return answer(LockedWrite::Done);
}

} // namespace NexoFrame
