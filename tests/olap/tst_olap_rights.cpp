// Who may use an OLAP report, as the rights tree sets it and as the panel shows it.
#include "Connection.h"
#include "OlapAccess.h"
#include "ModalSuite.h"
#include "Module.h"
#include "OLAPReports.h"
#include "OlapPreview.h"
#include "RoleTicks.h"
#include "Snapshots.h"
#include "TestSite.h"
#include "TreeTesting.h"
#include <QAction>
#include <QLabel>
#include <QTest>
#include <QToolBar>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {

// The cells that differ from a dump taken before.
QStringList changedCells(const QMap<QString, QString>& before, const QMap<QString, QString>& now)
{
    QStringList out;
    for (auto it = now.cbegin(); it != now.cend(); ++it)
        if (before.value(it.key()) != *it) out << it.key();
    return out;
}

int historyRows(Connection& c) { return c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_rights_history")).value(0).value(0).toInt(); }

// The ids of every node the panel shows, at any depth (the root left out).
QSet<int> shownIds(OLAPReports& p)
{
    QSet<int> ids;
    for (QTreeWidgetItemIterator it(p.tree_Item); *it; ++it)
        if (RoleTicks::idOf(*it) > 0) ids << RoleTicks::idOf(*it);
    return ids;
}

// Runs the preview of a report as the panel's command does; true when its dialog came up.
bool previewShown(OLAPReports& p, int id, QString* said = nullptr)
{
    p.tree_Item->setCurrentItem(p.nodeOf(id));
    bool shown = false;
    onNextModal([&](QWidget* d) {
        shown = d->findChild<Olap::OlapPreview*>() != nullptr;
        if (said) *said = dialogText(d);
        d->close();
    });
    p.PreviewReport();
    return shown;
}

} // namespace

class TstOlapRights : public ModalSuite {
    Q_OBJECT
private slots:
    // A tick writes the node's own row: nothing below it, no folder above. The report then
    // reaches those whose slot it and every folder above share, and the tooltip, the role bar
    // and the panel's users all say so; the history keeps each tick and Ctrl+Z takes it back.
    void tickWritesItsOwnRow()
    {
        ModuleSite site(1);
        Connection& c = site.db();
        const QMap<QString, QString> start = rightsDump(c);
        const QStringList whole = fullDump(c);
        const int history = historyRows(c);
        OLAPReports p;
        p.IAddin_AttachToSite(&site, 1, QString());
        p.selectRole(6); // the drivers, Kiss Béla and Varga Zoltán: no OLAP row holds it
        p.nodeOf(1)->setExpanded(true);
        QVERIFY(!RoleTicks::isGrey(p.nodeOf(2)) && !RoleTicks::isGrey(p.nodeOf(1))); // grey lifts nothing here
        const QHash<int, QString> reaching = p.usersReaching(2); // through the other roles
        QVERIFY(!reaching.contains(6) && !reaching.contains(7));

        // The report under a folder without the role: its tick reaches no one.
        QVERIFY2(p.impactText(2).contains(QStringLiteral("A pipa senkinek sem adna új jogot.")), qPrintable(p.impactText(2)));
        QVERIFY(p.impactText(2).contains(QStringLiteral("Egy fölötte lévő mappán nincs pipa")));
        p.nodeOf(2)->setCheckState(0, Qt::Checked);
        QCOMPARE(changedCells(start, rightsDump(c)), QStringList{QStringLiteral("qnd_olap_report 2 auth_6")});
        QCOMPARE(historyRows(c), history + 1);
        QVERIFY(p.lbl_impact->text().startsWith(QStringLiteral("A pipa egyetlen felhasználó jogát sem változtatta meg.")));
        QCOMPARE(p.usersReaching(2), reaching);

        // The folder's tick: its own row alone; the ticked report below now reaches them.
        QVERIFY2(p.impactText(1).contains(QStringLiteral("A pipával megkapná: Kiss Béla, Varga Zoltán")), qPrintable(p.impactText(1)));
        p.nodeOf(1)->setCheckState(0, Qt::Checked);
        QCOMPARE(changedCells(start, rightsDump(c)),
                 (QStringList{QStringLiteral("qnd_olap_report 1 auth_6"), QStringLiteral("qnd_olap_report 2 auth_6")}));
        QCOMPARE(p.nodeOf(3)->checkState(0), Qt::Unchecked);
        QCOMPARE(p.lbl_impact->text().section(QLatin1Char(' '), 0, 1), QStringLiteral("+2 felhasználó"));
        QCOMPARE(OlapAccess(c).reports(RoleSet::of({6})), QSet<int>{2});
        const QHash<int, QString> now = p.usersReaching(2);
        QCOMPARE(QSet<int>(now.keyBegin(), now.keyEnd()) - QSet<int>(reaching.keyBegin(), reaching.keyEnd()), (QSet<int>{6, 7}));
        QVERIFY(p.impactText(2).contains(QStringLiteral("A pipa levételével elveszítené: Kiss Béla, Varga Zoltán")));
        QVERIFY(p.impactText(3).contains(QStringLiteral("A pipával megkapná: Kiss Béla, Varga Zoltán")));
        keepPicture(&p, QStringLiteral("olap_rights_tick"), {900, 500});

        // The report's untick leaves the folder ticked; Ctrl+Z ticks the report again.
        p.nodeOf(2)->setCheckState(0, Qt::Unchecked);
        QCOMPARE(changedCells(start, rightsDump(c)), QStringList{QStringLiteral("qnd_olap_report 1 auth_6")});
        QCOMPARE(p.lbl_impact->text().section(QLatin1Char(' '), 0, 1), QStringLiteral("−2 felhasználó"));
        QCOMPARE(historyRows(c), history + 3);
        QVERIFY(pressUndo(p));
        QCOMPARE(p.lbl_impact->text(), QStringLiteral("Az utolsó pipa visszavonva."));
        QCOMPARE(changedCells(start, rightsDump(c)),
                 (QStringList{QStringLiteral("qnd_olap_report 1 auth_6"), QStringLiteral("qnd_olap_report 2 auth_6")}));
        p.nodeOf(1)->setExpanded(true);
        QCOMPARE(p.nodeOf(2)->checkState(0), Qt::Checked);

        // Unticked again by hand, the database is as it was but for the history.
        p.nodeOf(2)->setCheckState(0, Qt::Unchecked);
        p.nodeOf(1)->setCheckState(0, Qt::Unchecked);
        QCOMPARE(rightsDump(c), start);
        QCOMPARE(fullDump(c), whole);
    }

    // Without a definition right the panel is a viewer: the reports that reach the user and
    // the folders above them, no definition command, and a preview of those alone, asked
    // again when it runs. A holder of any definition right keeps the whole panel.
    void viewerSeesWhatReachesHim()
    {
        ModuleSite site(3); // Nagy Péter: the sales role
        Connection& c = site.db();
        OLAPReports v;
        v.IAddin_AttachToSite(&site, 0, QString());
        QVERIFY(v.viewer());
        QCOMPARE(shownIds(v), (QSet<int>{1, 2, 3}));
        for (QAction* a : v.cmd_bar_class->actions())
            QCOMPARE(a->isVisible(), a->objectName() == QLatin1String("cmd_preview"));
        keepPicture(&v, QStringLiteral("olap_viewer"), {700, 400});
        QVERIFY(previewShown(v, 2));
        QVERIFY(v.mayPreview(3) && !v.mayPreview(5) && !v.mayPreview(1));

        // Taken from the folder after the panel was filled: the preview is refused.
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_olap_report SET auth_4=%1 WHERE id=1").arg(c.boolLiteral(false))));
        QString said;
        QVERIFY(!previewShown(v, 3, &said));
        QVERIFY2(said.contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")), qPrintable(said));
        v.reloadTree();
        QVERIFY(shownIds(v).isEmpty());

        // Kovács Anna may add and modify: the whole tree, every command, every preview.
        ModuleSite leader(2);
        OLAPReports full;
        full.IAddin_AttachToSite(&leader, 0, QString());
        QVERIFY(!full.viewer());
        full.nodeOf(1)->setExpanded(true);
        full.nodeOf(4)->setExpanded(true);
        QCOMPARE(shownIds(full), (QSet<int>{1, 2, 3, 4, 5}));
        for (QAction* a : full.cmd_bar_class->actions()) QVERIFY(a->isVisible());
        QVERIFY(full.mayPreview(5));
        // Her group loses the report's slots: a definer still previews it.
        QVERIFY(leader.db().execute(QStringLiteral("UPDATE qnd_olap_report SET auth_2=%1 WHERE id=5").arg(leader.db().boolLiteral(false))));
        QVERIFY(previewShown(full, 5));
    }
};

QTEST_MAIN(TstOlapRights)
#include "tst_olap_rights.moc"
