#include "LoginGuard.h"
#include "Connection.h"
#include "DateFormats.h"
#include "SettingKeys.h"

namespace NexoFrame {

namespace {

const TableDef& failures() { return *Schema::instance().table(Tables::LoginFailure); }

// A database made before the lock-out has no table for it until its upgrade: its logins are
// not counted, and nothing is written to it before the upgrade.
bool kept(const Connection& c) { return !c.schemaState().missing.contains(failures().name); }

} // namespace

LoginGuard::LoginGuard(Connection& connection, Clock clock) : m_c(connection) { setClock(std::move(clock)); }

void LoginGuard::setClock(Clock clock)
{
    m_clock = clock ? std::move(clock) : Clock([] { return QDateTime::currentDateTime(); });
}

int LoginGuard::setting(const QString& key, int defaultValue)
{
    bool ok = false;
    const int v = m_c.settings().read(SettingKeys::kMainframe, key, QString::number(defaultValue)).trimmed().toInt(&ok);
    if (!ok) return defaultValue;
    return std::max(0, v);
}

int LoginGuard::maxFailures() { return setting(SettingKeys::kLoginMaxFailures, 5); }
int LoginGuard::lockMinutes() { return setting(SettingKeys::kLoginLockMinutes, 15); }

QString LoginGuard::keyOf(const QString& name)
{
    // Case-folded: a directory matches names without regard to case, so "ADMIN" must not
    // begin a count of its own beside "admin".
    return name.trimmed().toCaseFolded().left(failures().column(QStringLiteral("user_name"))->length);
}

QString LoginGuard::untilText(const QDateTime& until, const QDateTime& now)
{
    return until.toString(until.date() == now.date() ? QStringLiteral("HH:mm") : DateFormats::kMinute);
}

QVariant LoginGuard::stored(const QDateTime& moment) const
{
    return m_c.engine().toDb(*failures().column(QStringLiteral("failed_at")), moment);
}

QDateTime LoginGuard::read(const QVariant& raw) const
{
    return m_c.engine().fromDb(*failures().column(QStringLiteral("failed_at")), raw).toDateTime();
}

void LoginGuard::recordFailure(const QString& name, const QString& machine)
{
    if (!kept(m_c)) return;
    Recordset& rs = m_c.editRecordset(Tables::LoginFailure);
    rs.addNew();
    rs.setField(QStringLiteral("user_name"), keyOf(name));
    rs.setField(QStringLiteral("failed_at"), now());
    rs.setField(QStringLiteral("machine"), machine.left(failures().column(QStringLiteral("machine"))->length));
    if (rs.update()) return;
    const QString why = rs.lastError();
    rs.cancelUpdate();
    throw DbError(QStringLiteral("A sikertelen bejelentkezés nem jegyezhető fel: %1").arg(why));
}

QDateTime LoginGuard::lockEnd(const QList<QDateTime>& times, int max, int minutes, const QDateTime& now)
{
    if (max < 1 || minutes < 1) return {};
    const qint64 span = qint64(minutes) * 60;
    // Newest first: the first failure whose lock is over ends the search, older ones end sooner.
    for (qsizetype i = times.size() - 1; i >= max - 1; --i) {
        const QDateTime end = times[i].addSecs(span);
        if (end <= now) break;
        if (times[i - max + 1].secsTo(times[i]) < span) return end;
    }
    return {};
}

QHash<QString, QDateTime> LoginGuard::locks(const QString& onlyName)
{
    QHash<QString, QDateTime> locked;
    const int max = maxFailures(), minutes = lockMinutes();
    if (max < 1 || minutes < 1 || !kept(m_c)) return locked;
    const QDateTime at = now();
    // A lock still running began at most `minutes` ago, after failures at most `minutes` older.
    QVariantList binds{stored(at.addSecs(-2 * qint64(minutes) * 60))};
    if (!onlyName.isNull()) binds << keyOf(onlyName);
    QHash<QString, QList<QDateTime>> recent;
    m_c.selectEach(QStringLiteral("SELECT user_name, failed_at FROM qnd_login_failure WHERE failed_at > ? %1"
                                  "AND cleared_at IS NULL ORDER BY failed_at")
                       .arg(onlyName.isNull() ? QString() : QStringLiteral("AND user_name = ? ")),
                   binds, [&](const QVariantList& r) {
                       recent[r.value(0).toString()] << read(r.value(1));
                       return true;
                   });
    for (auto it = recent.cbegin(); it != recent.cend(); ++it) {
        const QDateTime end = lockEnd(it.value(), max, minutes, at);
        if (end.isValid()) locked.insert(it.key(), end);
    }
    return locked;
}

QDateTime LoginGuard::lockedUntil(const QString& name)
{
    return locks(name.isNull() ? QString(QLatin1String("")) : name).value(keyOf(name));
}

QHash<QString, QDateTime> LoginGuard::lockedNames() { return locks(QString()); }

void LoginGuard::clear(const QString& name)
{
    if (!kept(m_c)) return;
    const QString key = keyOf(name);
    // Most logins have nothing to forgive: a read, and no write that would wait for a writer.
    const auto open = m_c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name = ? AND cleared_at IS NULL"),
                                 {key});
    if (open.value(0).value(0).toInt() == 0) return;
    const QString failed = QStringLiteral("A(z) „%1” felhasználónév sikertelen bejelentkezései nem törölhetők: %2");
    if (!m_c.transactions().beginTrans()) throw DbError(failed.arg(key, QStringLiteral("a tranzakció nem kezdhető el.")));
    QString error;
    if (!m_c.execute(QStringLiteral("UPDATE qnd_login_failure SET cleared_at = ? WHERE user_name = ? AND cleared_at IS NULL"),
                     {stored(now()), key}, &error)) {
        m_c.transactions().rollbackTrans();
        throw DbError(failed.arg(key, error));
    }
    if (!m_c.transactions().commitTrans()) throw DbError(failed.arg(key, QStringLiteral("a tranzakció nem zárható le.")));
}

} // namespace NexoFrame
