#include "LogKeeping.h"
#include "Connection.h"
#include "CsvFile.h"
#include "DateFormats.h"
#include "Keys.h"
#include "LoginGuard.h"
#include "RightsHistory.h"
#include "SettingKeys.h"
#include <QDir>
#include <QFile>
#include <memory>
#include <vector>

namespace NexoFrame::LogKeeping {

namespace {

// How each log is archived: its header and the statement that reads its rows before a cut,
// oldest first, with the names of users and items beside their ids. The time is the second
// column of each.
struct Archive {
    QStringList header;
    QString select;
};

Archive archiveOf(Log log)
{
    switch (log) {
    case MenuLog:
        return {{QStringLiteral("Azonosító"), QStringLiteral("Időpont"), QStringLiteral("Felhasználó azonosítója"),
                 QStringLiteral("Felhasználó"), QStringLiteral("Menüpont azonosítója"), QStringLiteral("Menüpont")},
                QStringLiteral("SELECT l.id, l.log_date, l.user_id, v.display_name, l.menu_id, v.menu_item FROM qnd_menu_log l "
                               "JOIN qnd_menu_log_view v ON v.id = l.id WHERE l.log_date < ? ORDER BY l.log_date, l.id")};
    case ReportLog:
        return {{QStringLiteral("Azonosító"), QStringLiteral("Időpont"), QStringLiteral("Felhasználó azonosítója"),
                 QStringLiteral("Felhasználó"), QStringLiteral("Riport azonosítója"), QStringLiteral("Riport")},
                QStringLiteral("SELECT l.id, l.log_date, l.user_id, v.display_name, l.report_id, v.report_name FROM qnd_report_log l "
                               "JOIN qnd_report_log_view v ON v.id = l.id WHERE l.log_date < ? ORDER BY l.log_date, l.id")};
    case LoginFailures:
        return {{QStringLiteral("Azonosító"), QStringLiteral("Időpont"), QStringLiteral("Felhasználónév"), QStringLiteral("Gép"),
                 QStringLiteral("Feloldva")},
                QStringLiteral("SELECT id, failed_at, user_name, machine, cleared_at FROM qnd_login_failure "
                               "WHERE failed_at < ? ORDER BY failed_at, id")};
    default:
        return {{QStringLiteral("Azonosító"), QStringLiteral("Időpont"), QStringLiteral("Felhasználó azonosítója"),
                 QStringLiteral("Felhasználó"), QStringLiteral("Tábla"), QStringLiteral("Sor"), QStringLiteral("Oszlop"),
                 QStringLiteral("Előtte"), QStringLiteral("Utána")},
                QStringLiteral("SELECT h.id, h.changed_at, h.user_id, u.display_name, h.table_name, h.row_id, h.column_name, "
                               "h.old_value, h.new_value FROM qnd_rights_history h LEFT JOIN qnd_user u ON u.id = h.user_id "
                               "WHERE h.changed_at < ? ORDER BY h.changed_at, h.id")};
    }
}

const ColumnDef kTime{QStringLiteral("at"), ColType::DateTime, 0, {}};

// A time as the archive shows it: as the viewers show it, Hungarian style.
QString timeText(Connection& c, const QVariant& raw)
{
    if (raw.isNull()) return QString();
    const QDateTime at = c.engine().fromDb(kTime, raw).toDateTime();
    return at.isValid() ? at.toString(DateFormats::kSecond) : raw.toString();
}

QString stored(const QDateTime& at) { return at.toString(DateFormats::kStored); }

} // namespace

const LogInfo& info(Log log)
{
    static const LogInfo logs[LogCount] = {
        {MenuLog, QStringLiteral("qnd_menu_log"), QStringLiteral("log_date"), QString(SettingKeys::kMenuLogKeepDays),
         QStringLiteral("Menü log"), QStringLiteral("menunaplo")},
        {ReportLog, QStringLiteral("qnd_report_log"), QStringLiteral("log_date"), QString(SettingKeys::kReportLogKeepDays),
         QStringLiteral("Kimutatás log"), QStringLiteral("kimutatasnaplo")},
        {LoginFailures, QStringLiteral("qnd_login_failure"), QStringLiteral("failed_at"), QString(SettingKeys::kLoginFailureKeepDays),
         QStringLiteral("Sikertelen belépések"), QStringLiteral("sikertelen-belepesek")},
        {RightsHistory, QStringLiteral("qnd_rights_history"), QStringLiteral("changed_at"), QString(SettingKeys::kRightsHistoryKeepDays),
         QStringLiteral("Jogosultság-előzmények"), QStringLiteral("jogosultsag-elozmenyek")},
    };
    return logs[log];
}

Log logOfTable(const QString& table)
{
    for (int i = 0; i < LogCount; ++i)
        if (info(Log(i)).table == table) return Log(i);
    return LogCount;
}

Periods periods(Connection& c)
{
    Periods p;
    for (int i = 0; i < LogCount; ++i)
        p.days[i] = c.settings().read(SettingKeys::kMainframe, info(Log(i)).settingKey, QStringLiteral("0")).trimmed().toInt();
    return p;
}

QString refusal(Connection& c, const Periods& p)
{
    for (int i = 0; i < LogCount; ++i) {
        const LogInfo& l = info(Log(i));
        if (p.days[i] < 0 || p.days[i] > 36500)
            return QStringLiteral("%1: a megőrzési idő 0 (örökre) és 36500 nap között lehet.").arg(l.caption);
        if (p.days[i] == 0) continue;
        // The explorer's unused grants are read from these two logs over its window.
        if ((i == MenuLog || i == ReportLog) && p.days[i] < kUnusedGrantDays)
            return QStringLiteral("%1: a megőrzési idő legalább %2 nap legyen (vagy 0, örökre), mert a Jogosultság-elemző "
                                  "„Nem használt jogok” lapja %2 napra visszamenőleg olvassa ezt a naplót.")
                .arg(l.caption)
                .arg(kUnusedGrantDays);
        if (i == LoginFailures) {
            const int minutes = LoginGuard(c).lockMinutes();
            if (qint64(p.days[i]) * 24 * 60 < minutes)
                return QStringLiteral("%1: a megőrzési idő nem lehet rövidebb a belépési zárolás idejénél (%2 perc).")
                    .arg(l.caption)
                    .arg(minutes);
        }
    }
    return {};
}

bool savePeriods(Connection& c, const Periods& p, QString* error, const Transactions::AskAgain& askAgain)
{
    if (const QString why = refusal(c, p); !why.isEmpty()) {
        if (error) *error = why;
        return false;
    }
    QString why;
    const auto done = c.transactions().writeLocked([&] {
        for (int i = 0; i < LogCount; ++i)
            if (!c.settings().write(SettingKeys::kMainframe, info(Log(i)).settingKey, QString::number(p.days[i])))
                throw DbError(QStringLiteral("A(z) %1 beállítás nem írható.").arg(info(Log(i)).settingKey));
        return true;
    }, &why, askAgain);
    if (done == Transactions::LockedWrite::Done) return true;
    if (error)
        *error = done == Transactions::LockedWrite::Refused ? QStringLiteral("Az adatbázist most más felhasználó írja; a megőrzési idők nem menthetők.")
                                                            : QStringLiteral("A megőrzési idők nem menthetők. %1").arg(why);
    return false;
}

QDateTime cutOf(int days, const QDateTime& now)
{
    if (days <= 0) return {};
    const QDateTime cut = now.addDays(-days);
    return QDateTime(cut.date(), QTime(cut.time().hour(), cut.time().minute(), cut.time().second()));
}

bool prune(Connection& c, const QString& folder, const QDateTime& now, QList<Pruned>* done, QString* error,
           const Transactions::AskAgain& askAgain)
{
    const Periods p = periods(c);
    if (const QString why = refusal(c, p); !why.isEmpty()) {
        if (error) *error = why;
        return false;
    }
    if (!QDir(folder).exists()) {
        if (error) *error = QStringLiteral("Az archívum mappája nem létezik: %1").arg(QDir::toNativeSeparators(folder));
        return false;
    }
    const QString stamp = now.toString(QStringLiteral("yyyyMMdd-HHmmss"));
    std::vector<std::unique_ptr<CsvFile>> files;
    QStringList written;
    QList<Pruned> result;
    QString why;
    const auto outcome = c.transactions().writeLocked([&] {
        result.clear();
        files.clear();
        QVariantList markers;
        for (int i = 0; i < LogCount; ++i) {
            const LogInfo& l = info(Log(i));
            const QDateTime cut = cutOf(p.days[i], now);
            if (!cut.isValid() || c.schemaState().missing.contains(l.table)) continue;
            const QVariantList at{stored(cut)};
            const qint64 rows = c.select(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2 < ?").arg(l.table, l.timeColumn), at)
                                    .value(0).value(0).toLongLong();
            if (rows == 0) continue;
            const QString path = QDir(folder).filePath(QStringLiteral("%1-%2.csv").arg(l.fileStem, stamp));
            if (QFile::exists(path))
                throw DbError(QStringLiteral("Az archívum már létezik, nem írom felül: %1").arg(QDir::toNativeSeparators(path)));
            auto file = std::make_unique<CsvFile>(path);
            QString fault;
            if (!file->open(&fault)) throw DbError(fault);
            const Archive a = archiveOf(Log(i));
            file->row(a.header);
            qint64 archived = 0;
            c.selectEach(a.select, at, [&](const QVariantList& r) {
                QStringList cells;
                for (int col = 0; col < r.size(); ++col) cells << (col == 1 || (i == LoginFailures && col == 4) ? timeText(c, r[col]) : r[col].toString());
                file->row(cells);
                ++archived;
                return true;
            });
            if (archived != rows) throw DbError(QStringLiteral("%1: a napló olvasás közben változott.").arg(l.caption));
            if (!c.execute(QStringLiteral("DELETE FROM %1 WHERE %2 < ?").arg(l.table, l.timeColumn), at, &fault)) throw DbError(fault);
            files.push_back(std::move(file));
            result.append({Log(i), cut, rows, path});
            // The pruning's own row in the rights history: which log, how many rows, the
            // archive, and up to when (for the history itself, its new start).
            markers << l.table << rows << l.timeColumn << QDir::toNativeSeparators(path).right(255) << stored(cut);
        }
        if (!result.isEmpty())
            c.keys().insertKeyed(Tables::RightsHistory,
                                 {QStringLiteral("changed_at"), QStringLiteral("user_id"), QStringLiteral("table_name"),
                                  QStringLiteral("row_id"), QStringLiteral("column_name"), QStringLiteral("old_value"),
                                  QStringLiteral("new_value")},
                                 {stored(QDateTime::currentDateTime()), c.session().userId()}, markers, int(result.size()));
        // The files last: a file that cannot be finished takes the deletion back with it.
        for (size_t f = 0; f < files.size(); ++f) {
            QString fault;
            if (!files[f]->commit(&fault)) throw DbError(fault);
            written << result[int(f)].file;
        }
        return true;
    }, &why, askAgain);
    if (outcome == Transactions::LockedWrite::Done) {
        if (done) *done = result;
        return true;
    }
    for (auto& f : files) f->cancel();
    for (const QString& path : std::as_const(written)) QFile::remove(path); // the rows they hold are still there
    if (error)
        *error = outcome == Transactions::LockedWrite::Refused ? QStringLiteral("Az adatbázist most más felhasználó írja; a naplók karbantartása nem kezdhető el.")
                                                               : QStringLiteral("A naplók karbantartása nem sikerült, semmi sem törlődött. %1").arg(why);
    return false;
}

QDateTime historyStart(Connection& c)
{
    const QString start = c.select(QStringLiteral("SELECT MAX(new_value) FROM qnd_rights_history WHERE table_name = ? AND column_name = ?"),
                                   {info(RightsHistory).table, info(RightsHistory).timeColumn})
                              .value(0).value(0).toString();
    return start.isEmpty() ? QDateTime() : QDateTime::fromString(start, DateFormats::kStored);
}

QString unknownBefore(Connection& c, const QDateTime& moment)
{
    const QDateTime start = historyStart(c);
    if (!start.isValid() || moment >= start) return {};
    return QStringLiteral("A %1 előtti állapot nem ismert: a napló eddig tart.").arg(start.toString(DateFormats::kSecond));
}

} // namespace NexoFrame::LogKeeping
