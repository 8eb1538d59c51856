#pragma once
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <functional>

namespace NexoFrame {

class Connection;

// Failed logins and the lock-out they lead to. Every failure of a name is a row of
// qnd_login_failure. When `MAINFRAME` / `LoginMaxFailures` (5) failures of a name fall within
// `LoginLockMinutes` (15) minutes of each other, the name is refused for that many minutes
// from the last of them, whatever password comes; either setting at 0 turns the lock off.
// A cleared failure (a successful login, an administrator's unlock) stays in the log but no
// longer counts. Names are counted trimmed and case-folded (keyOf), as a directory compares them.
class LoginGuard {
public:
    using Clock = std::function<QDateTime()>;

    // `clock` gives the time every rule is read at; none means the machine's clock.
    explicit LoginGuard(Connection& connection, Clock clock = {});

    Connection& connection() const { return m_c; }
    void setClock(Clock clock);
    QDateTime now() const { return m_clock(); }

    // The settings as the rule reads them; 0 when the lock is off.
    int maxFailures();
    int lockMinutes();

    // One failed login of `name` from `machine`, now. Throws DbError when it cannot be written.
    void recordFailure(const QString& name, const QString& machine);
    // When the lock on `name` ends; invalid when the name is not locked.
    QDateTime lockedUntil(const QString& name);
    // Every locked name with the end of its lock, from one read of the recent failures.
    QHash<QString, QDateTime> lockedNames();
    // Forgives the name's failures in one transaction. Throws DbError when it fails.
    void clear(const QString& name);

    // When a lock ends, as people read it: "14:35", or with the day when that is not today.
    static QString untilText(const QDateTime& until, const QDateTime& now);
    // The name as it is kept: trimmed, case-folded and cut to the column.
    static QString keyOf(const QString& name);
    // The end of the lock that failures at `times` (ascending) give at `now`, or invalid:
    // the latest failure that closes `max` failures within `minutes`, plus `minutes`, if that
    // is still ahead.
    static QDateTime lockEnd(const QList<QDateTime>& times, int max, int minutes, const QDateTime& now);

private:
    int setting(const QString& key, int defaultValue);
    // The running locks, of every name or (`onlyName` not null) of that one, from one read.
    QHash<QString, QDateTime> locks(const QString& onlyName);
    QVariant stored(const QDateTime& moment) const;
    QDateTime read(const QVariant& raw) const;

    Connection& m_c;
    Clock m_clock;
};

} // namespace NexoFrame
