#include "Backup.h"
#include "Connection.h"
#include "DateFormats.h"
#include "LogKeeping.h"
#include "ModalSuite.h"
#include "Recordset.h"
#include "RightsExplorer.h"
#include "RightsHistory.h"
#include "SettingKeys.h"
#include "Snapshots.h"
#include "TestSite.h"
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

using namespace NexoFrame;
using namespace NexoFrame::LogKeeping;

namespace {

QString stored(const QDateTime& at) { return at.toString(DateFormats::kStored); }

// A CSV archive read back: its rows as lists of cells, the header first.
QList<QStringList> readCsv(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return {};
    QByteArray all = f.readAll();
    if (all.startsWith("\xEF\xBB\xBF")) all.remove(0, 3);
    QList<QStringList> rows;
    for (const QString& line : QString::fromUtf8(all).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts)) rows << line.split(QLatin1Char(';'));
    return rows;
}

QList<qint64> ids(Connection& c, const QString& sql, const QVariantList& binds = {})
{
    QList<qint64> out;
    for (const QVariantList& r : c.select(sql, binds)) out << r[0].toLongLong();
    return out;
}

QList<qint64> archivedIds(const QString& path)
{
    QList<qint64> out;
    const QList<QStringList> rows = readCsv(path);
    for (int i = 1; i < rows.size(); ++i) out << rows[i].value(0).toLongLong();
    return out;
}

// A role tick of a menu item, kept in the history as made `daysAgo` days ago.
void tickBack(Connection& c, int menuId, int slot, bool on, int daysAgo)
{
    const qint64 from = lastRightsChange(c);
    Recordset& rs = c.editRecordset(Tables::Menu);
    rs.setIndex(QString());
    QVERIFY(rs.seek({menuId}));
    rs.edit();
    rs.setField(QStringLiteral("auth_%1").arg(slot), on);
    QVERIFY2(rs.update(), qPrintable(rs.lastError()));
    QVERIFY(lastRightsChange(c) > from);
    QVERIFY(c.execute(QStringLiteral("UPDATE qnd_rights_history SET changed_at = ? WHERE id > ?"),
                      {stored(QDateTime::currentDateTime().addDays(-daysAgo)), from}));
}

bool setPeriods(Connection& c, int menu, int report, int failures, int history, QString* why = nullptr)
{
    Periods p;
    p.days[MenuLog] = menu;
    p.days[ReportLog] = report;
    p.days[LoginFailures] = failures;
    p.days[RightsHistory] = history;
    return savePeriods(c, p, why);
}

} // namespace

class tst_logkeeping : public ModalSuite {
    Q_OBJECT

private slots:
    // The usage logs keep at least the explorer's unused-grant window, the failed logins at
    // least the lock's span; a refused set writes nothing.
    void periodsShorterThanTheirReadersAreRefused()
    {
        TestSite site(1);
        Connection& c = site.db();
        QString why;
        QVERIFY(!setPeriods(c, kUnusedGrantDays - 1, 0, 0, 0, &why));
        QVERIFY2(why.contains(QStringLiteral("Menü log")) && why.contains(QStringLiteral("legalább %1 nap").arg(kUnusedGrantDays)), qPrintable(why));
        QVERIFY(!setPeriods(c, 0, 30, 0, 0, &why));
        QVERIFY2(why.contains(QStringLiteral("Kimutatás log")) && why.contains(QStringLiteral("Nem használt jogok")), qPrintable(why));
        QVERIFY(!setPeriods(c, 0, 0, -1, 0, &why));
        QVERIFY(c.settings().write(SettingKeys::kMainframe, SettingKeys::kLoginLockMinutes, QStringLiteral("2880")));
        QVERIFY(!setPeriods(c, 0, 0, 1, 0, &why));
        QVERIFY2(why.contains(QStringLiteral("2880 perc")), qPrintable(why));
        c.settings().forget();
        for (int i = 0; i < LogCount; ++i) QCOMPARE(periods(c).days[i], 0); // nothing written
        QVERIFY2(setPeriods(c, kUnusedGrantDays, 365, 2, 1), qPrintable(why));
        c.settings().forget();
        const Periods kept = periods(c);
        QCOMPARE(kept.days[MenuLog], kUnusedGrantDays);
        QCOMPARE(kept.days[ReportLog], 365);
        QCOMPARE(kept.days[LoginFailures], 2);
        QCOMPARE(kept.days[RightsHistory], 1);
        RightsExplorer p; // asks for unused grants no further back than the logs reach
        p.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(p.spn_days->maximum(), kUnusedGrantDays);
        QCOMPARE(p.spn_days->value(), kUnusedGrantDays);
        // A period another program stored below the window stops the pruning too.
        QVERIFY(c.settings().write(SettingKeys::kMainframe, info(MenuLog).settingKey, QStringLiteral("10")));
        QTemporaryDir dir;
        QVERIFY(!prune(c, dir.path(), QDateTime::currentDateTime(), nullptr, &why));
        QVERIFY(why.contains(QStringLiteral("Menü log")));
    }

    // Exactly the rows older than each period go, into one CSV per log that reads back with
    // Hungarian headers; the newer ones stay, and the pruning is itself in the history.
    void pruningArchivesExactlyTheOlderRows()
    {
        TestSite site(1);
        Connection& c = site.db();
        const QDateTime now = QDateTime::currentDateTime();
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_menu_log")));
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_report_log")));
        const int menuItem = c.select(QStringLiteral("SELECT MIN(id) FROM qnd_menu WHERE class_name <> ''")).value(0).value(0).toInt();
        const int report = c.select(QStringLiteral("SELECT MIN(id) FROM qnd_report")).value(0).value(0).toInt();
        const int ages[] = {400, 121, 119, 30, 0};
        for (int i = 0; i < 5; ++i) {
            QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (?, 1, ?, ?)"),
                              {100 + i, menuItem, stored(now.addDays(-ages[i]))}));
            QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_report_log (id, user_id, report_id, log_date) VALUES (?, 2, ?, ?)"),
                              {200 + i, report, stored(now.addDays(-ages[i]))}));
            QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_login_failure (id, user_name, failed_at, machine) VALUES (?, 'x;\"y', ?, 'gep')"),
                              {300 + i, stored(now.addDays(-ages[i]))}));
        }
        QVERIFY(setPeriods(c, 120, 400, 100, 0));
        QTemporaryDir dir;
        QList<Pruned> done;
        QString why;
        QVERIFY2(prune(c, dir.path(), now, &done, &why), qPrintable(why));
        QCOMPARE(done.size(), 2); // the report log had one row at exactly 400 days: not older
        QCOMPARE(ids(c, QStringLiteral("SELECT id FROM qnd_menu_log ORDER BY id")), (QList<qint64>{102, 103, 104}));
        QCOMPARE(ids(c, QStringLiteral("SELECT id FROM qnd_report_log ORDER BY id")), (QList<qint64>{200, 201, 202, 203, 204}));
        QCOMPARE(ids(c, QStringLiteral("SELECT id FROM qnd_login_failure ORDER BY id")), (QList<qint64>{303, 304}));

        const QString stamp = now.toString(QStringLiteral("yyyyMMdd-HHmmss"));
        const QString menuFile = dir.filePath(QStringLiteral("menunaplo-%1.csv").arg(stamp));
        QCOMPARE(done[0].file, menuFile);
        const QList<QStringList> menuRows = readCsv(menuFile);
        QCOMPARE(menuRows.value(0), (QStringList{QStringLiteral("Azonosító"), QStringLiteral("Időpont"), QStringLiteral("Felhasználó azonosítója"),
                                                 QStringLiteral("Felhasználó"), QStringLiteral("Menüpont azonosítója"), QStringLiteral("Menüpont")}));
        QCOMPARE(archivedIds(menuFile), (QList<qint64>{100, 101}));
        QCOMPARE(menuRows[1][1], now.addDays(-400).toString(DateFormats::kSecond));
        QCOMPARE(menuRows[1][4].toInt(), menuItem);
        QVERIFY(!menuRows[1][5].isEmpty()); // the item named, as the viewer names it
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("kimutatasnaplo-%1.csv").arg(stamp))));
        const QString failures = dir.filePath(QStringLiteral("sikertelen-belepesek-%1.csv").arg(stamp));
        QCOMPARE(archivedIds(failures), (QList<qint64>{300, 301, 302}));
        QFile raw(failures);
        QVERIFY(raw.open(QIODevice::ReadOnly));
        QVERIFY(raw.readAll().contains("\"x;\"\"y\"")); // a field with ";" and quotes, quoted

        // The pruning is in the history, by whom, how many rows and up to when.
        const QList<QVariantList> marks = c.select(QStringLiteral("SELECT table_name, row_id, new_value, user_id FROM qnd_rights_history "
                                                                  "WHERE table_name IN ('qnd_menu_log', 'qnd_login_failure') ORDER BY table_name"));
        QCOMPARE(marks.size(), 2);
        QCOMPARE(marks[0][0].toString(), QStringLiteral("qnd_login_failure"));
        QCOMPARE(marks[0][1].toInt(), 3);
        QCOMPARE(marks[1][1].toInt(), 2);
        QCOMPARE(marks[1][2].toString(), stored(cutOf(120, now)));
        QCOMPARE(marks[1][3].toInt(), 1);
        // Nothing older left: a second run writes no file and no row.
        QVERIFY(prune(c, dir.path(), now, &done, &why));
        QVERIFY(done.isEmpty());
    }

    // All logs go in one transaction: a file that cannot be written for the second log keeps
    // the first log's rows too, and leaves no file.
    void pruningIsOneTransaction()
    {
        TestSite site(1);
        Connection& c = site.db();
        const QDateTime now = QDateTime::currentDateTime();
        const int menuItem = c.select(QStringLiteral("SELECT MIN(id) FROM qnd_menu WHERE class_name <> ''")).value(0).value(0).toInt();
        const int report = c.select(QStringLiteral("SELECT MIN(id) FROM qnd_report")).value(0).value(0).toInt();
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (900, 1, ?, ?)"),
                          {menuItem, stored(now.addDays(-500))}));
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_report_log (id, user_id, report_id, log_date) VALUES (900, 1, ?, ?)"),
                          {report, stored(now.addDays(-500))}));
        QVERIFY(setPeriods(c, 100, 100, 0, 0));
        const qint64 menuRows = c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log")).value(0).value(0).toLongLong();
        const qint64 history = lastRightsChange(c);
        QTemporaryDir dir;
        const QString stamp = now.toString(QStringLiteral("yyyyMMdd-HHmmss"));
        QFile taken(dir.filePath(QStringLiteral("kimutatasnaplo-%1.csv").arg(stamp)));
        QVERIFY(taken.open(QIODevice::WriteOnly));
        taken.write("régi");
        taken.close();
        QString why;
        QVERIFY(!prune(c, dir.path(), now, nullptr, &why));
        QVERIFY2(why.contains(QStringLiteral("semmi sem törlődött")) && why.contains(QStringLiteral("már létezik")), qPrintable(why));
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log")).value(0).value(0).toLongLong(), menuRows);
        QCOMPARE(lastRightsChange(c), history);
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("menunaplo-%1.csv").arg(stamp))));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("jogosultsag-elozmenyek-%1.csv").arg(stamp))));
        QVERIFY(!c.transactions().inTransaction());
    }

    // The history cut at a moment still rebuilds every state from then on, the same as before
    // the cut, and says for earlier moments that they are unknown; the explorer too.
    void historyRebuildsEveryKeptMoment()
    {
        TestSite site(1);
        Connection& c = site.db();
        tickBack(c, 10, 7, true, 200);
        tickBack(c, 10, 7, false, 150);
        tickBack(c, 11, 7, true, 100);
        tickBack(c, 10, 8, true, 40);
        tickBack(c, 11, 7, false, 10);
        const QDateTime now = QDateTime::currentDateTime();
        const QDateTime kept = now.addDays(-55), atCut = cutOf(60, now), lost = now.addDays(-120);
        const auto keptBefore = rightsDumpAt(c, kept), cutBefore = rightsDumpAt(c, atCut);
        const int plan = int(revertPlan(c, kept).size());
        QVERIFY(plan > 0);
        QVERIFY(rightsDumpAt(c, lost) != cutBefore);
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        p.cbo_revert_role->setCurrentIndex(p.cbo_revert_role->findData(7));
        p.dtp_moment->setDateTime(kept);
        p.showStateAt();
        QStringList shownBefore;
        for (int i = 0; i < p.tree_changes->topLevelItemCount(); ++i)
            shownBefore << p.tree_changes->topLevelItem(i)->text(0) + p.tree_changes->topLevelItem(i)->text(1) + p.tree_changes->topLevelItem(i)->text(3);

        QVERIFY(setPeriods(c, 0, 0, 0, 60));
        QTemporaryDir dir;
        QList<Pruned> done;
        QString why;
        QVERIFY2(prune(c, dir.path(), now, &done, &why), qPrintable(why));
        QCOMPARE(done.size(), 1);
        QCOMPARE(done[0].rows, 3);
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_rights_history WHERE changed_at < ?"), {stored(atCut)}).value(0).value(0).toInt(), 0);
        QCOMPARE(archivedIds(done[0].file).size(), 3);
        QCOMPARE(historyStart(c), atCut);
        Backup::CheckReport check; // the pruning's own rows are no fault of the history
        QVERIFY2(Backup::check(site.target(), &check, &why), qPrintable(why));
        QVERIFY2(check.faults.isEmpty(), qPrintable(check.faults.join(QLatin1Char('\n'))));
        QCOMPARE(rightsDumpAt(c, kept), keptBefore);
        QCOMPARE(rightsDumpAt(c, atCut), cutBefore);
        QCOMPARE(int(revertPlan(c, kept).size()), plan);
        QVERIFY(unknownBefore(c, kept).isEmpty());
        QVERIFY(unknownBefore(c, atCut).isEmpty());
        QCOMPARE(unknownBefore(c, lost), QStringLiteral("A %1 előtti állapot nem ismert: a napló eddig tart.").arg(atCut.toString(DateFormats::kSecond)));

        // The explorer: the same past state after the cut, the note before it, the start said.
        p.showStateAt();
        QStringList shownAfter;
        for (int i = 0; i < p.tree_changes->topLevelItemCount(); ++i)
            shownAfter << p.tree_changes->topLevelItem(i)->text(0) + p.tree_changes->topLevelItem(i)->text(1) + p.tree_changes->topLevelItem(i)->text(3);
        QCOMPARE(shownAfter, shownBefore);
        p.dtp_moment->setDateTime(lost);
        p.showStateAt();
        QCOMPARE(p.tree_changes->topLevelItemCount(), 1);
        QVERIFY(p.tree_changes->topLevelItem(0)->text(0).contains(QStringLiteral("előtti állapot nem ismert: a napló eddig tart")));
        onNextModal([](QWidget* d) { d->close(); });
        QVERIFY(!p.revert()); // no revert to a moment the history no longer holds
        p.dtp_from->setDateTime(now.addDays(-1));
        p.dtp_to->setDateTime(QDateTime::currentDateTime().addSecs(60));
        p.showChanges();
        QVERIFY(!p.lbl_history_start->isHidden());
        QVERIFY(p.lbl_history_start->text().contains(atCut.toString(DateFormats::kSecond)));
        bool listed = false;
        for (int i = 0; i < p.tree_changes->topLevelItemCount(); ++i)
            listed |= p.tree_changes->topLevelItem(i)->text(3) == QStringLiteral("3 sor archiválva és törölve");
        QVERIFY(listed);
        QCOMPARE(expiredModalActions(), 0);
    }
};

QTEST_MAIN(tst_logkeeping)
#include "tst_logkeeping.moc"
