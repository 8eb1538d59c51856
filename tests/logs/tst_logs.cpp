#include "BrowseView.h"
#include "Connection.h"
#include "LogsViewer.h"
#include "LazyComboBox.h"
#include "ModalSuite.h"
#include "TestSite.h"
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QTableView>
#include <QTest>

using namespace NexoFrame;

namespace {

int count(Connection& c, const QString& sql, const QVariantList& binds = {})
{
    return c.select(sql, binds).value(0).value(0).toInt();
}

// Reads every row the list can show and gives the texts of one column.
QStringList column(Controls::BrowseView* v, int col)
{
    QAbstractItemModel* m = v->table()->model();
    while (m->canFetchMore({})) m->fetchMore({});
    QStringList l;
    for (int r = 0; r < m->rowCount(); ++r) l << m->index(r, col).data().toString();
    return l;
}

} // namespace

class TstLogs : public ModalSuite {
    Q_OBJECT
private slots:
    void menuLogByUserNewestFirst()
    {
        TestSite site;
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_user SET del_status=2 WHERE id=4")));
        LogsViewer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(p.titleLabel()->text(), QStringLiteral("Menü log"));
        // Everyone live, by full name, after "everyone".
        QCOMPARE(p.cbo_user->itemText(0), QStringLiteral("- Minden felhasználó -"));
        QCOMPARE(p.cbo_user->itemData(0).toInt(), -1);
        // The users are read when the list opens.
        QCOMPARE(p.cbo_user->count(), 1);
        p.cbo_user->showPopup();
        p.cbo_user->hidePopup();
        QCOMPARE(p.cbo_user->currentIndex(), 0);
        QStringList offered;
        for (int i = 1; i < p.cbo_user->count(); ++i) offered << p.cbo_user->itemText(i);
        QCOMPARE(offered, (QStringList{"Kiss Béla", "Kovács Anna", "Nagy Péter", "Rendszergazda", "Varga Zoltán"}));

        const int all = count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log"));
        QVERIFY(all > 100);
        QStringList dates = column(p.brw_item, 0);
        QCOMPARE(dates.size(), all);
        QVERIFY(dates.first() >= dates.last());
        // The item is named with its path.
        QVERIFY(column(p.brw_item, 2).contains(QStringLiteral("Kimutatások / OLAP kimutatások")));

        p.selectUser(3);
        QCOMPARE(p.brw_item->filter(), QStringLiteral("user_id=3"));
        QCOMPARE(column(p.brw_item, 1).size(), count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log WHERE user_id=3")));
        QStringList who = column(p.brw_item, 1);
        who.removeDuplicates();
        QCOMPARE(who, QStringList{"Nagy Péter"});
        p.cbo_user->setCurrentIndex(0);
        QCOMPARE(p.brw_item->filter(), QString());
        QCOMPARE(column(p.brw_item, 0).size(), all);
    }

    void reportLogAndOtherModes()
    {
        TestSite site;
        Connection& c = site.db();
        LogsViewer p;
        p.IAddin_AttachToSite(&site, 1, QString());
        QCOMPARE(p.titleLabel()->text(), QStringLiteral("Kimutatás log"));
        QCOMPARE(column(p.brw_item, 0).size(), count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_report_log")));
        QVERIFY(column(p.brw_item, 2).contains(QStringLiteral("Menühasználat felhasználónként")));

        LogsViewer other;
        const QString before = other.titleLabel()->text();
        other.IAddin_AttachToSite(&site, 7, QString());
        QCOMPARE(other.titleLabel()->text(), before);
        QCOMPARE(other.brw_item->view().table, 0);
        other.selectUser(1); // nothing to narrow, nothing fails
    }

    // Whole days of a period, with or without a user; the CSV holds every row the list
    // holds (not only the page read), as shown, quoted where a spreadsheet needs it.
    void periodAndExport()
    {
        TestSite site;
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_menu SET caption=? WHERE id=2"), {QStringLiteral("Jogok; \"régi\"")}));
        const QDate day(2026, 1, 10);
        for (const auto& [user, at] : {std::pair{2, QDateTime(day, QTime(0, 0))}, {3, QDateTime(day.addDays(1), QTime(23, 59))},
                                       {2, QDateTime(day.addDays(2), QTime(0, 0))}, {2, QDateTime(day.addDays(-1), QTime(23, 59))}})
            QVERIFY(c.writeUsageLog(Tables::MenuLog, QStringLiteral("menu_id"), user, 2) && c.execute(
                QStringLiteral("UPDATE qnd_menu_log SET log_date=? WHERE id=(SELECT MAX(id) FROM qnd_menu_log)"), {at}));
        for (int i = 0; i < 200; ++i) QVERIFY(c.writeUsageLog(Tables::MenuLog, QStringLiteral("menu_id"), 1, 4)); // past one page
        LogsViewer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        p.selectPeriod(day, day.addDays(1));
        QVERIFY(p.chk_period->isChecked());
        QCOMPARE(column(p.brw_item, 1), (QStringList{"Nagy Péter", "Kovács Anna"}));
        p.selectUser(2);
        QCOMPARE(column(p.brw_item, 1), QStringList{"Kovács Anna"});
        p.dtp_to->setDate(day.addDays(2)); // as the user changes it
        QCOMPARE(column(p.brw_item, 0).size(), 2);
        p.chk_period->setChecked(false);
        QCOMPARE(p.brw_item->filter(), QStringLiteral("user_id=2"));
        p.selectUser(-1);
        p.selectPeriod({}, {});

        const int all = count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log"));
        LogsViewer fresh; // it has read only its first page
        fresh.IAddin_AttachToSite(&site, 0, QString());
        QVERIFY(fresh.brw_item->loadedRows() < all);
        const QString path = QDir(QDir::tempPath()).filePath(QStringLiteral("nexo_log_%1.csv").arg(QCoreApplication::applicationPid()));
        QVERIFY(fresh.exportCsv(path));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        f.remove();
        QVERIFY(bytes.startsWith("\xEF\xBB\xBF"));
        const QStringList lines = QString::fromUtf8(bytes.mid(3)).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), all + 1);
        QCOMPARE(lines[0], QStringLiteral("Időpont;Felhasználó;Menüpont"));
        QVERIFY(lines.contains(QStringLiteral("2026.01.10;Kovács Anna;\"Rendszer / Jogok; \"\"régi\"\"\"")));
        QVERIFY(lines.contains(QStringLiteral("2026.01.11 23:59;Nagy Péter;\"Rendszer / Jogok; \"\"régi\"\"\"")));
        // A folder that cannot be written is a message, and no file.
        answerNextModal(QStringLiteral("OK"));
        QVERIFY(!p.exportCsv(QStringLiteral("/nincs/ilyen/mappa/log.csv")));
        QCOMPARE(expiredModalActions(), 0);
    }
};

QTEST_MAIN(TstLogs)
#include "tst_logs.moc"
