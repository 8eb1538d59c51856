#include "BrowseView.h"
#include "Connection.h"
#include "LogsViewer.h"
#include "ModalDriver.h"
#include "TestSite.h"
#include <QComboBox>
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

class TstLogs : public QObject {
    Q_OBJECT
private slots:
    void init() { resetModalDriver(); }

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
        QStringList offered;
        for (int i = 1; i < p.cbo_user->count(); ++i) offered << p.cbo_user->itemText(i);
        QCOMPARE(offered, (QStringList{"Kovács Anna", "Nagy Péter", "Rendszergazda"}));

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
        QVERIFY(column(p.brw_item, 2).contains(QStringLiteral("Forgalom régiónként")));

        LogsViewer other;
        const QString before = other.titleLabel()->text();
        other.IAddin_AttachToSite(&site, 7, QString());
        QCOMPARE(other.titleLabel()->text(), before);
        QCOMPARE(other.brw_item->view().table, 0);
        other.selectUser(1); // nothing to narrow, nothing fails
    }
};

QTEST_MAIN(TstLogs)
#include "tst_logs.moc"
