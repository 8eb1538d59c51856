#pragma once
// Users with a second login step for the suites that show or remove it: the codes come from
// oathtool, an implementation of its own, never from ours.
#include "Connection.h"
#include "TwoStep.h"
#include <QProcess>
#include <QTest>

namespace NexoFrame {

// The code of a secret typed as base32 (as the enrolment shows it) at `at`, as oathtool makes it.
inline QString oathCode(const QString& base32, const QDateTime& at)
{
    QProcess p;
    p.start(QStringLiteral("oathtool"), {QStringLiteral("--totp"), QStringLiteral("-b"), base32, QStringLiteral("--now"),
                                         at.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss 'UTC'"))});
    if (!p.waitForFinished(10000) || p.exitCode() != 0) qFatal("oathtool failed: %s", p.readAllStandardError().constData());
    return QString::fromLatin1(p.readAllStandardOutput()).trimmed();
}

// The same for a secret as stored.
inline QString oathCode(const QByteArray& secret, const QDateTime& at) { return oathCode(TwoStep::base32(secret), at); }

// Enrols the user with a fresh secret confirmed by its code now; false (with a warning) when
// the enrolment is refused.
inline bool enrolWithOathtool(Connection& c, int userId)
{
    const QByteArray secret = TwoStep::newSecret();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QString error;
    if (!TwoStep::enrol(c, userId, secret, oathCode(secret, now), now, &error).isEmpty()) return true;
    qWarning() << "enrol:" << error;
    return false;
}

// The rights history's rows of a user's second step with that new value ("1" enrolled, "0" removed).
inline int twoStepHistoryRows(Connection& c, int userId, const char* newValue)
{
    return c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_rights_history WHERE table_name = 'qnd_user' AND row_id = ? "
                                   "AND column_name = 'two_step' AND new_value = ?"),
                    {userId, QString::fromLatin1(newValue)})
        .value(0).value(0).toInt();
}

} // namespace NexoFrame
