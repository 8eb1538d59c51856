// One rule decides what a user may open: the shell, the OLAP panel and the rights explorer
// are asked the same questions and must give the same answers, on the demo data and on
// random role ticks.
#include "MenuAccess.h"
#include "Module.h"
#include "OLAPReports.h"
#include "RightsExplorer.h"
#include "RoleTicks.h"
#include "ShellFixture.h"
#include "ShellNotices.h"
#include <QCheckBox>
#include <QComboBox>
#include <QRadioButton>
#include <QRandomGenerator>
#include <QTreeWidget>

using namespace NexoFrame;
using namespace NexoFrame::Shell;

namespace {

const QStringList kPanels{"NexoFrame.AuthUnits", "NexoFrame.Users",   "NexoFrame.OLAPReports",   "NexoFrame.LogsViewer",
                          "NexoFrame.Reports",   "NexoFrame.Menus",   "NexoFrame.ReportAuthorizations",
                          "NexoFrame.ListWizrads", "NexoFrame.ListWizradAuths", "NexoFrame.RightsExplorer", "NexoTest.Nincs"};

const QList<std::pair<QString, QString>> kLogins{{"admin", "admin"},           {"kovacs.anna", "anna123"}, {"nagy.peter", "peter123"},
                                                 {"kiss.bela", "bela123"},     {"varga.zoltan", "zoltan123"},
                                                 {"szabo.eva", "eva123"},      {"toth.gabor", "gabor123"}};

// The rows of one section of the explorer's rights list that it says are granted.
QSet<int> granted(RightsExplorer& e, int section)
{
    QSet<int> ids;
    QTreeWidgetItem* s = e.tree_rights->topLevelItem(section);
    for (int i = 0; i < s->childCount(); ++i)
        if (s->child(i)->text(2) == QStringLiteral("engedélyezve")) ids << s->child(i)->text(0).toInt();
    return ids;
}

QSet<int> shownReports(Connection& c, OLAPReports& p)
{
    QSet<int> ids;
    for (QTreeWidgetItemIterator it(p.tree_Item); *it; ++it) {
        const int id = RoleTicks::idOf(*it);
        if (id > 0 && c.select(QStringLiteral("SELECT report_type FROM qnd_olap_report WHERE id=?"), {id}).value(0).value(0).toInt() != 0)
            ids << id;
    }
    return ids;
}

// Every live report under live folders: what a full panel shows.
QSet<int> liveReports(Connection& c)
{
    QHash<int, std::pair<int, bool>> rows; // parent, a report
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, parent_id, report_type FROM qnd_olap_report WHERE del_status=0")))
        rows.insert(r[0].toInt(), {r[1].toInt(), r[2].toInt() != 0});
    QSet<int> out;
    for (auto it = rows.cbegin(); it != rows.cend(); ++it) {
        int up = it->first;
        while (up != 0 && rows.contains(up)) up = rows.value(up).first;
        if (it->second && up == 0) out << it.key();
    }
    return out;
}

void expandAll(OLAPReports& p)
{
    QList<QTreeWidgetItem*> open{p.tree_Item->topLevelItem(0)};
    while (!open.isEmpty()) {
        QTreeWidgetItem* node = open.takeFirst();
        node->setExpanded(true);
        for (int i = 0; i < node->childCount(); ++i) open << node->child(i);
    }
}

} // namespace

class TstShellAccess : public QObject {
    Q_OBJECT
private slots:
    void init() { Notices::setConsole(true); }
    void cleanup() { Notices::setConsole(false); }

    void demoUsers()
    {
        ShellFixture f;
        QVERIFY(f.open());
        int viewers = 0;
        agreeForEveryone(f, viewers);
        QCOMPARE(viewers, 1); // Nagy Péter; the drivers have no item for the panel
    }

    // The same on random role ticks of the menu, the OLAP tree and the groups, with an OLAP
    // folder deleted now and then.
    void randomTicks()
    {
        QRandomGenerator rnd(2020);
        for (int round = 0; round < 4; ++round) {
            ShellFixture f;
            QVERIFY(f.open());
            Connection& c = *f.db;
            const auto b = [&](bool v) { return c.engine().storedBool(v); };
            for (const char* table : {"qnd_menu", "qnd_olap_report", "qnd_user_group"})
                for (const QVariantList& r : c.select(QStringLiteral("SELECT id FROM %1").arg(QLatin1String(table)))) {
                    QVariantList cells;
                    for (int s = 0; s < 10; ++s) cells << b(rnd.bounded(100) < 35);
                    QVERIFY(c.execute(QStringLiteral("UPDATE %1 SET auth_0=?, auth_1=?, auth_2=?, auth_3=?, auth_4=?, auth_5=?, auth_6=?, "
                                                     "auth_7=?, auth_8=?, auth_9=? WHERE id=%2")
                                          .arg(QLatin1String(table))
                                          .arg(r[0].toInt()),
                                      cells));
                }
            if (round % 2) QVERIFY(c.execute(QStringLiteral("UPDATE qnd_olap_report SET del_status=2 WHERE id=1")));
            int viewers = 0;
            agreeForEveryone(f, viewers);
            if (QTest::currentTestFailed()) return;
        }
    }

private:
    // For every demo user: each panel and mode opens in the shell exactly when the explorer
    // grants him a menu item for it; where he may open the OLAP panel (mode 0), it shows and
    // previews exactly the reports the explorer grants him (every report for a definer).
    // Counts in `viewers` those who open the OLAP panel as viewers.
    void agreeForEveryone(ShellFixture& f, int& viewers)
    {
        Connection& c = *f.db;
        f.standIn(kPanels);
        int opened = 0, refused = 0;
        for (const auto& [login, password] : kLogins) {
            const int id = c.select(QStringLiteral("SELECT id FROM qnd_user WHERE user_name=?"), {login}).value(0).value(0).toInt();
            Session s(f, login, password);
            RightsExplorer e;
            e.IAddin_AttachToSite(s.window->site(), 0, QString());
            const int subject = e.cbo_subject->findData(id);
            QSet<int> menu, olap;
            if (subject >= 0) {
                e.cbo_subject->setCurrentIndex(subject);
                e.showRights();
                menu = granted(e, 1);
                olap = granted(e, 3);
            }
            if (!s.user.ok()) {
                // Refused at the login: the explorer grants him nothing either.
                QVERIFY2(menu.isEmpty() && olap.isEmpty(), qPrintable(login));
                continue;
            }
            for (const QString& progId : kPanels) {
                for (int mode : {0, 1, 2}) {
                    bool explorer = false;
                    for (const QVariantList& r : c.select(QStringLiteral("SELECT id FROM qnd_menu WHERE class_name=? AND parameter_i=?"), {progId, mode}))
                        explorer |= menu.contains(r[0].toInt());
                    const bool shell = s.window->openPanel(progId, mode, QString(), progId) != nullptr;
                    QVERIFY2(shell == explorer, qPrintable(QStringLiteral("%1: %2 %3, the shell %4").arg(login, progId).arg(mode).arg(shell)));
                    if (!shell) QVERIFY(Notices::last().contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")));
                    (shell ? opened : refused) += 1;
                    s.window->closeAllPanels();
                    if (progId != QLatin1String("NexoFrame.OLAPReports") || mode != 0 || !shell) continue;

                    OLAPReports p;
                    p.IAddin_AttachToSite(s.window->site(), 0, QString());
                    const bool definer = c.rightsTest(id, QStringLiteral("vtk_controlling_olap_report_add"))
                        || c.rightsTest(id, QStringLiteral("vtk_controlling_olap_report_mod"))
                        || c.rightsTest(id, QStringLiteral("vtk_controlling_olap_report_del"));
                    QCOMPARE(p.viewer(), !definer);
                    viewers += p.viewer();
                    if (definer) {
                        expandAll(p);
                        QCOMPARE(shownReports(c, p), liveReports(c));
                    } else {
                        QCOMPARE(shownReports(c, p), olap);
                    }
                    for (const QVariantList& r : c.select(QStringLiteral("SELECT id FROM qnd_olap_report WHERE report_type<>0")))
                        QVERIFY2(p.mayPreview(r[0].toInt()) == (definer || olap.contains(r[0].toInt())),
                                 qPrintable(QStringLiteral("%1: report %2").arg(login).arg(r[0].toInt())));
                }
            }
        }
        QVERIFY(opened > 0 && refused > 0);
    }
};

QTEST_MAIN(TstShellAccess)
#include "tst_shell_access.moc"
