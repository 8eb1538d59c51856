#include "Access.h"
#include "AuthUnits.h"
#include "Connection.h"
#include "Menus.h"
#include "ListWizard.h"
#include "ReportCatalogue.h"
#include "RoleTicks.h"
#include "MenuAccess.h"
#include "ModalSuite.h"
#include "Snapshots.h"
#include "Module.h"
#include "RightsExplorer.h"
#include "Recordset.h"
#include "RightsHistory.h"
#include "TestSite.h"
#include "TreeTesting.h"
#include "TwoStepTesting.h"
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTabWidget>
#include <QRandomGenerator>
#include <QSpinBox>
#include <QTest>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {

QTreeWidgetItem* section(QTreeWidget* t, int i) { return t->topLevelItem(i); }

QSet<QString> holders(Connection& c, const QString& key)
{
    QSet<QString> s;
    for (const QVariantList& u : c.select(QStringLiteral("SELECT id, display_name FROM qnd_user")))
        if (rightsTest(c, u[0].toInt(), key)) s << u[1].toString();
    return s;
}

} // namespace

class tst_explorer : public ModalSuite {
    Q_OBJECT

private slots:
    // The panel's why-path says what the rights test says, for every user and key of the demo
    // data; its menu rows are the shell's menu of each user.
    void agreesWithTheRightsTestAndTheMenu()
    {
        TestSite site(1);
        Connection& c = site.db();
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QStringList keys;
        for (const QVariantList& r : c.select(QStringLiteral("SELECT prefix FROM qnd_auth_unit WHERE prefix<>''")))
            keys << r[0].toString() << r[0].toString() + QStringLiteral("_x");
        keys << QStringLiteral("ismeretlen_kulcs");
        int users = 0;
        for (const QVariantList& u : c.select(QStringLiteral("SELECT id, user_group_id, del_status, access_denied FROM qnd_user"))) {
            const int id = u[0].toInt();
            for (const QString& key : std::as_const(keys)) {
                const RightPath path = p.showWhy(id, key);
                QVERIFY2(path.granted == rightsTest(c, id, key), qPrintable(QStringLiteral("%1 %2").arg(id).arg(key)));
                QCOMPARE(p.lbl_decision->text(), path.reason);
            }
            // The menu rows, against the shell's menu for a user who logs in.
            if (u[2].toInt() != 0 || u[3].toLongLong() != 0 || u[3].toBool()) continue;
            ++users;
            p.opt_users->setChecked(true);
            p.cbo_subject->setCurrentIndex(p.cbo_subject->findData(id));
            p.showRights();
            const QSet<int> shell = menuIds(userMenu(c, id));
            QTreeWidgetItem* menu = section(p.tree_rights, 1);
            QVERIFY(menu->childCount() > 10);
            for (int i = 0; i < menu->childCount(); ++i)
                QCOMPARE(menu->child(i)->text(2) == QStringLiteral("engedélyezve"), shell.contains(menu->child(i)->text(0).toInt()));
            // The printed reports as the reports panel lists them, the lists as the list wizard does.
            QSet<int> reports, lists;
            for (const ReportEntry& e : reportsOfUser(c, id)) reports << e.id;
            Controls::ListWizard wizard;
            wizard.setProperty("Database", QVariant::fromValue<QObject*>(&c));
            wizard.setProperty("UserID", id);
            QVERIFY(wizard.Init());
            for (const auto& l : wizard.lists()) lists << l.id;
            const auto rowsOf = [&](int at, const QSet<int>& granted) {
                QTreeWidgetItem* sec = section(p.tree_rights, at);
                QVERIFY(sec->childCount() > 0);
                for (int i = 0; i < sec->childCount(); ++i)
                    QCOMPARE(sec->child(i)->text(2) == QStringLiteral("engedélyezve"), granted.contains(sec->child(i)->text(0).toInt()));
            };
            rowsOf(2, reports);
            rowsOf(4, lists);
            // The why-path of each item says the same as the panel that shows it.
            QSet<int> olap;
            for (int i = 0; i < section(p.tree_rights, 3)->childCount(); ++i)
                if (section(p.tree_rights, 3)->child(i)->text(2) == QStringLiteral("engedélyezve")) olap << section(p.tree_rights, 3)->child(i)->text(0).toInt();
            const std::pair<int, const QSet<int>*> kinds[] = {{RightsExplorer::MenuKind, &shell}, {RightsExplorer::ReportKind, &reports},
                                                              {RightsExplorer::OlapKind, &olap}, {RightsExplorer::ListKind, &lists}};
            for (const auto& [kind, granted] : kinds) {
                p.cbo_kind->setCurrentIndex(kind);
                QVERIFY(p.cbo_item->count() > 0);
                for (int i = 0; i < p.cbo_item->count(); ++i) {
                    const int item = p.cbo_item->itemData(i).toInt();
                    QVERIFY2(p.showWhyItem(id, kind, item) == granted->contains(item),
                             qPrintable(QStringLiteral("user %1, kind %2, item %3: %4").arg(id).arg(kind).arg(item).arg(p.lbl_decision->text())));
                }
            }
            p.cbo_kind->setCurrentIndex(RightsExplorer::KeyKind);
            // The key rows, against the rights test.
            QTreeWidgetItem* rights = section(p.tree_rights, 0);
            for (int i = 0; i < rights->childCount(); ++i)
                QCOMPARE(rights->child(i)->text(2) == QStringLiteral("engedélyezve"), rightsTest(c, id, rights->child(i)->text(0)));
        }
        QVERIFY(users >= 4);
    }

    // Random menu trees: the why-path of every user and item says what the shell's menu shows.
    void menuWhyOnRandomTrees()
    {
        TestSite site(1);
        Connection& c = site.db();
        QRandomGenerator rnd(4242);
        const auto b = [&](bool v) { return c.engine().storedBool(v); };
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_menu")));
        for (int id = 1; id <= 150; ++id) {
            const int parent = id <= 5 || rnd.bounded(100) < 10 ? 0 : 1 + int(rnd.bounded(id - 1));
            QVariantList row{id, parent, QStringLiteral("Pont %1").arg(id), rnd.bounded(100) < 40 ? QString() : QStringLiteral("NexoFrame.Users"),
                             rnd.bounded(100) < 10 ? 2 : 0, rnd.bounded(100) < 5 ? 4 : -1};
            for (int s = 0; s < RoleSet::kSlots; ++s) row << b(rnd.bounded(100) < 30);
            QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, caption, class_name, del_status, create_user, auth_0, auth_1, "
                                             "auth_2, auth_3, auth_4, auth_5, auth_6, auth_7, auth_8, auth_9) "
                                             "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                              row));
        }
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        int pairs = 0, seen = 0;
        for (const QVariantList& u : c.select(QStringLiteral("SELECT id, user_group_id FROM qnd_user WHERE del_status = 0 AND NOT COALESCE(access_denied, FALSE)"))) {
            const QSet<int> shell = menuIds(userMenu(c, u[0].toInt()));
            for (int item = 1; item <= 150; ++item, ++pairs) {
                const bool why = p.showWhyItem(u[0].toInt(), RightsExplorer::MenuKind, item);
                QVERIFY2(why == shell.contains(item), qPrintable(QStringLiteral("user %1, item %2").arg(u[0].toInt()).arg(item)));
                seen += why;
            }
        }
        QVERIFY(pairs >= 600 && seen > 0 && seen < pairs);
    }

    // A unit under a deleted one is on the path and said not to count.
    void deletedAncestor()
    {
        TestSite site(1);
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, auth_2) VALUES "
                                         "(900, 0, 'Régi ág', 'regi', ?), (901, 900, 'Régi kulcs', 'regi_kulcs', ?)"),
                          {c.engine().storedBool(true), c.engine().storedBool(true)}));
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_auth_unit SET del_status=2 WHERE id=900")));
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        const RightPath path = p.showWhy(2, QStringLiteral("regi_kulcs_uj"));
        QVERIFY(!path.granted);
        QCOMPARE(path.units.size(), 1);
        QVERIFY(!path.units[0].counts && path.units[0].deletedAbove == 900);
        bool said = false;
        for (QTreeWidgetItemIterator it(p.tree_path); *it; ++it) said |= (*it)->text(0).contains(QStringLiteral("nem számít"));
        QVERIFY(said);
        QVERIFY(!rightsTest(c, 2, QStringLiteral("regi_kulcs_uj")));
        p.cbo_user->setCurrentIndex(p.cbo_user->findData(2));
        p.txt_key->setText(QStringLiteral("vtk_controlling_olap_report_mod"));
        QVERIFY(p.showWhy(2, p.txt_key->text()).granted == rightsTest(c, 2, p.txt_key->text()));
        keepPicture(&p, QStringLiteral("explorer_why"), {1100, 700});
        p.cbo_user->setCurrentIndex(p.cbo_user->findData(3));
        p.cbo_kind->setCurrentIndex(RightsExplorer::MenuKind);
        p.cbo_item->setCurrentIndex(p.cbo_item->findData(12));
        QVERIFY(!p.showWhyItem(3, RightsExplorer::MenuKind, 12)); // Nagy Péter and "OLAP jogosultságok"
        keepPicture(&p, QStringLiteral("explorer_why_menu"), {1100, 700});
    }

    // Two users side by side: the rows that differ are marked, and only they stay when asked;
    // the CSV holds what is shown.
    void twoUsersSideBySide()
    {
        TestSite site(1);
        Connection& c = site.db();
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        p.cbo_subject->setCurrentIndex(p.cbo_subject->findData(1));
        p.cbo_compare->setCurrentIndex(p.cbo_compare->findData(3)); // Nagy Péter
        p.showRights();
        QCOMPARE(p.tree_rights->columnCount(), 4);
        int differing = 0;
        QTreeWidgetItem* rights = section(p.tree_rights, 0);
        for (int i = 0; i < rights->childCount(); ++i) {
            const QString key = rights->child(i)->text(0);
            const bool differs = rightsTest(c, 1, key) != rightsTest(c, 3, key);
            QCOMPARE(rights->child(i)->data(0, Qt::UserRole).toBool(), differs);
            differing += differs;
        }
        QVERIFY(differing > 0);
        p.chk_differences->setChecked(true);
        int shown = 0;
        for (int i = 0; i < rights->childCount(); ++i) shown += !rights->child(i)->isHidden();
        QCOMPARE(shown, differing);
        p.txt_filter->setText(QStringLiteral("olap"));
        const QString csv = QDir::temp().filePath(QStringLiteral("nexo_explorer_%1.csv").arg(QCoreApplication::applicationPid()));
        QString why;
        QVERIFY2(p.exportRights(csv, &why), qPrintable(why));
        QFile f(csv);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(f.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        f.remove();
        int visible = 0;
        for (int s = 0; s < p.tree_rights->topLevelItemCount(); ++s)
            for (int i = 0; i < section(p.tree_rights, s)->childCount(); ++i) visible += !section(p.tree_rights, s)->child(i)->isHidden();
        QCOMPARE(lines.size(), visible + 1);
        p.txt_filter->clear();
        p.tabs->setCurrentIndex(1);
        keepPicture(&p, QStringLiteral("explorer_diff"), {1100, 700});
    }

    // Whether a user's logins need the second step, and why; its changes named in the history.
    void twoStepLogins()
    {
        TestSite site(1);
        Connection& c = site.db();
        const QDateTime moment = QDateTime::currentDateTime().addSecs(-1);
        QVERIFY(enrolWithOathtool(c, 3)); // Nagy Péter
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_user_group SET two_step=%1 WHERE id=5").arg(c.boolLiteral(true))));
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(p.twoStepText(true, 3), QStringLiteral("igen (bekapcsolta)"));
        // Kiss Béla, a driver: his group requires it, and the reason names it.
        const QString required = QStringLiteral("igen (%1)").arg(TwoStep::requiredBecause(c, 6));
        QVERIFY2(required.contains(QStringLiteral("Gépkocsivezetők")), qPrintable(required));
        QCOMPARE(p.twoStepText(true, 6), required);
        QCOMPARE(p.twoStepText(true, 2), QStringLiteral("nem"));
        QCOMPARE(p.twoStepText(false, 5), QStringLiteral("igen (a csoport megköveteli)"));
        QCOMPARE(p.twoStepText(false, 3), QStringLiteral("nem"));
        // In the effective rights, beside another user, the difference marked.
        p.opt_users->setChecked(true);
        p.cbo_subject->setCurrentIndex(p.cbo_subject->findData(6));
        p.cbo_compare->setCurrentIndex(p.cbo_compare->findData(2));
        p.showRights();
        QTreeWidgetItem* login = section(p.tree_rights, p.tree_rights->topLevelItemCount() - 1);
        QCOMPARE(login->text(0), QStringLiteral("Bejelentkezés"));
        QCOMPARE(login->childCount(), 1);
        QCOMPARE(login->child(0)->text(0), QStringLiteral("Kétlépcsős bejelentkezés"));
        QCOMPARE(login->child(0)->text(2), required);
        QCOMPARE(login->child(0)->text(3), QStringLiteral("nem"));
        QVERIFY(login->child(0)->data(0, Qt::UserRole).toBool());
        p.tabs->setCurrentIndex(1);
        p.tree_rights->scrollToItem(login->child(0));
        keepPicture(&p, QStringLiteral("explorer_two_step"), {1100, 700});

        // A removal is kept under the user's name, a group's rule under the group's.
        QString error;
        QVERIFY2(TwoStep::remove(c, 3, &error), qPrintable(error));
        QCOMPARE(p.twoStepText(true, 3), QStringLiteral("nem"));
        p.tabs->setCurrentIndex(2);
        p.dtp_from->setDateTime(moment);
        p.dtp_to->setDateTime(QDateTime::currentDateTime().addSecs(60));
        p.showChanges();
        QStringList seen;
        for (int i = 0; i < p.tree_changes->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = p.tree_changes->topLevelItem(i);
            seen << QStringList{row->text(3), row->text(4), row->text(5), row->text(6)}.join(QLatin1Char('|'));
        }
        QVERIFY2(seen.contains(QStringLiteral("Nagy Péter|Kétlépcsős azonosítás|igen|nem")), qPrintable(seen.join(QLatin1Char('\n'))));
        QCOMPARE(p.columnText(QStringLiteral("two_step"), QStringLiteral("qnd_user_group")), QStringLiteral("Kétlépcsős azonosítás kötelező"));
    }

    // Who changed what is listed by name; a role is put back after its preview.
    void historyAndRevert()
    {
        TestSite site(2);
        Connection& c = site.db();
        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        const QDateTime moment = QDateTime::currentDateTime();
        const auto slot4 = [&] { return c.select(QStringLiteral("SELECT id FROM qnd_auth_unit WHERE auth_4 ORDER BY id")); };
        const QList<QVariantList> before = slot4();
        QTest::qWait(1100);
        QVERIFY(c.transactions().beginTrans());
        c.setBelow(Tables::AuthUnit, 0, QStringLiteral("auth_4"), true); // every unit, for the sales role
        Recordset& rs = c.editRecordset(Tables::User);
        rs.setIndex(QString());
        QVERIFY(rs.seek({6}));
        rs.edit();
        rs.setField(QStringLiteral("user_group_id"), 2);
        QVERIFY(rs.update());
        QVERIFY(c.transactions().commitTrans());

        p.tabs->setCurrentIndex(2);
        p.dtp_from->setDateTime(moment);
        p.dtp_to->setDateTime(QDateTime::currentDateTime().addSecs(60));
        p.showChanges();
        QVERIFY(p.tree_changes->topLevelItemCount() > 5);
        bool groupChange = false;
        for (int i = 0; i < p.tree_changes->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = p.tree_changes->topLevelItem(i);
            QCOMPARE(row->text(1), QStringLiteral("Kovács Anna"));
            groupChange |= row->text(3) == QStringLiteral("Kiss Béla") && row->text(4) == QStringLiteral("Csoport")
                && row->text(5) == QStringLiteral("Gépkocsivezetők") && row->text(6) == QStringLiteral("Vezetők");
        }
        QVERIFY(groupChange);
        keepPicture(&p, QStringLiteral("explorer_history"), {1100, 700});

        p.cbo_revert_role->setCurrentIndex(p.cbo_revert_role->findData(4));
        p.dtp_moment->setDateTime(moment);
        // The role then: the units ticked then are the ones ticked before the change.
        p.showStateAt();
        int tickedThen = 0, tickedNow = 0;
        for (int i = 0; i < p.tree_changes->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = p.tree_changes->topLevelItem(i);
            if (row->text(0) != QStringLiteral("Jogosultságok")) continue;
            tickedThen += row->text(3) == QStringLiteral("igen");
            tickedNow += row->text(4) == QStringLiteral("igen");
        }
        QCOMPARE(tickedThen, int(before.size()));
        QCOMPARE(tickedNow, c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_auth_unit WHERE auth_4")).value(0).value(0).toInt());
        keepPicture(&p, QStringLiteral("explorer_state"), {1100, 700});
        const int steps = int(revertPlan(c, moment, 4).size());
        onNextModal([&](QWidget* d) {
            auto* plan = d->findChild<QTreeWidget*>(QStringLiteral("tree_plan"));
            QVERIFY(plan);
            QCOMPARE(plan->topLevelItemCount(), steps);
            keepPicture(d, QStringLiteral("explorer_revert"), {1100, 700});
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        QVERIFY(p.revert());
        QCOMPARE(slot4(), before);
        QCOMPARE(c.select(QStringLiteral("SELECT user_group_id FROM qnd_user WHERE id=6")).value(0).value(0).toInt(), 2); // another column
        QCOMPARE(expiredModalActions(), 0);
    }

    // A tick says what it changed, in users, as the difference of the rights before and after;
    // Ctrl+Z puts the database back exactly.
    void tickImpactAndUndo()
    {
        ModuleSite site(1);
        Connection& c = site.db();
        const QMap<QString, QString> start = rightsDump(c);
        const QStringList whole = fullDump(c);
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 1, QString());
        p.selectRole(4); // the sales role: Nagy Péter
        const QString key = QStringLiteral("vtk_controlling_olap_report");
        p.nodeOf(20)->setExpanded(true);
        QVERIFY(p.impactText(21).contains(QStringLiteral("A pipával megkapná: Nagy Péter")));
        const QSet<QString> before = holders(c, key);
        p.nodeOf(21)->setCheckState(0, Qt::Checked);
        const QSet<QString> after = holders(c, key);
        const QSet<QString> gained = after - before;
        QCOMPARE(gained, QSet<QString>{QStringLiteral("Nagy Péter")});
        QCOMPARE(p.lbl_impact->text().section(QLatin1Char(' '), 0, 1), QStringLiteral("+1 felhasználó"));
        QVERIFY(p.lbl_impact->toolTip().contains(QStringLiteral("Nagy Péter")));
        QVERIFY(p.impactText(21).contains(QStringLiteral("levételével elveszítené: Nagy Péter")));
        keepPicture(&p, QStringLiteral("tick_impact"), {1100, 700});
        QVERIFY(rightsDump(c) != start);
        QVERIFY(pressUndo(p));
        QCOMPARE(rightsDump(c), start);
        QCOMPARE(fullDump(c), whole);
        QCOMPARE(p.lbl_impact->text(), QStringLiteral("Az utolsó pipa visszavonva."));
        QCOMPARE(p.nodeOf(20)->checkState(0), Qt::Unchecked);
        QVERIFY(!p.undoLastTick()); // once

        // The menu tree: an untick takes the item away from whoever saw it only through it.
        Menus m;
        m.IAddin_AttachToSite(&site, 1, QString());
        m.selectRole(4); // Nagy Péter sees "Riportok" only through it
        const QHash<int, QString> seeing = m.usersReaching(13);
        m.nodeOf(10)->setExpanded(true);
        m.nodeOf(13)->setCheckState(0, Qt::Unchecked);
        const QHash<int, QString> left = m.usersReaching(13);
        QVERIFY(left.size() < seeing.size());
        QCOMPARE(m.lbl_impact->text().section(QLatin1Char(' '), 0, 1), QStringLiteral("−%1 felhasználó").arg(seeing.size() - left.size()));
        QVERIFY(m.undoLastTick());
        QCOMPARE(rightsDump(c), start);
        QCOMPARE(fullDump(c), whole);
    }

    // What a role may open but its users have not opened for N days, from a history of the
    // logs made for the test; revoked as one change, and taken back through the history.
    void unusedGrants()
    {
        ModuleSite site(1);
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_menu_log")));
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_report_log")));
        const auto at = [](int daysAgo) { return QDateTime::currentDateTime().addDays(-daysAgo).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); };
        // Nagy Péter (sales, slot 4): the OLAP reports 5 days ago, the reports menu 100 days
        // ago, the users-by-group report 10 days ago; the administrator, whose group holds
        // every slot, opened the list wizard yesterday.
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (1, 3, 11, ?), (2, 3, 13, ?), (3, 1, 15, ?)"),
                          {at(5), at(100), at(1)}));
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_report_log (id, user_id, report_id, log_date) VALUES (1, 3, 2, ?)"), {at(10)}));
        QSet<QString> want;
        for (const QVariantList& r : c.select(QStringLiteral("SELECT id FROM qnd_menu WHERE del_status=0 AND auth_4 AND class_name<>'' AND id<>11 AND id<>15")))
            want << QStringLiteral("qnd_menu %1").arg(r[0].toInt());
        for (const QVariantList& r : c.select(QStringLiteral("SELECT id FROM qnd_report WHERE del_status=0 AND auth_4 AND report_type=1 AND caption<>'-' AND id<>2")))
            want << QStringLiteral("qnd_report %1").arg(r[0].toInt());
        QVERIFY(want.contains(QStringLiteral("qnd_menu 13")) && !want.contains(QStringLiteral("qnd_menu 15")));

        RightsExplorer p;
        p.IAddin_AttachToSite(&site, 0, QString());
        p.tabs->setCurrentIndex(3);
        p.cbo_unused_role->setCurrentIndex(p.cbo_unused_role->findData(4));
        QCOMPARE(p.spn_days->value(), 90);
        p.showUnused();
        QSet<QString> shown;
        for (int i = 0; i < p.tree_unused->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = p.tree_unused->topLevelItem(i);
            shown << QStringLiteral("%1 %2").arg(row->data(0, Qt::UserRole).toString()).arg(row->data(1, Qt::UserRole).toInt());
            QCOMPARE(row->text(2), QStringLiteral("Nagy Péter, Rendszergazda"));
        }
        QCOMPARE(shown, want);
        keepPicture(&p, QStringLiteral("explorer_unused"), {1100, 700});
        // 120 days: the reports menu, opened 100 days ago, is in use.
        p.spn_days->setValue(120);
        p.showUnused();
        QCOMPARE(p.tree_unused->topLevelItemCount(), want.size() - 1);

        const QMap<QString, QString> before = rightsDump(c);
        const qint64 mark = lastRightsChange(c);
        answerNextModal(QStringLiteral("Visszavonás"));
        QVERIFY(p.revokeUnused());
        QCOMPARE(p.tree_unused->topLevelItemCount(), 0); // revoked: the role no longer holds them
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_rights_history WHERE id > ?"), {mark}).value(0).value(0).toInt(), want.size() - 1);
        QString why;
        QVERIFY2(revertTo(c, undoPlan(c, mark, lastRightsChange(c)), &why), qPrintable(why));
        QCOMPARE(rightsDump(c), before);
        QCOMPARE(expiredModalActions(), 0);
    }
};

QTEST_MAIN(tst_explorer)
#include "tst_explorer.moc"
