#include "Connection.h"
#include "ModalSuite.h"
#include "RecordTesting.h"
#include "Menus.h"
#include "Module.h"
#include "RoleTicks.h"
#include "TestSite.h"
#include "cDDXMenu.h"
#include "frmMenu.h"
#include "frmUserMenu.h"
#include <QCheckBox>
#include <QComboBox>
#include <QSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QToolBar>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {


QVariantList row(Connection& c, const QString& columns, int id)
{
    return c.select(QStringLiteral("SELECT %1 FROM qnd_menu WHERE id=?").arg(columns), {id}).value(0);
}

bool roleOf(Connection& c, int id, int slot) { return row(c, QStringLiteral("auth_%1").arg(slot), id).value(0).toLongLong() != 0; }

// The error list's rows, then cancel it.
ModalAction readErrorList(QStringList* out)
{
    return [out](QWidget* list) {
        *out += listedErrors(list);
        clickButton(list, QStringLiteral("cmdCancel"));
    };
}


} // namespace

class TstMenus : public ModalSuite {
    Q_OBJECT
private slots:
    void baseMenuIsReadOnlyUnlessSystemEdit()
    {
        TestSite site;
        Connection& c = site.db();
        Menus panel; // takes the site's connection and flag
        panel.IAddin_AttachToSite(&site, 0, QString());

        cDDXMenu base;
        QVERIFY(base.CoreLoad(5));
        base.SetModified();
        QVERIFY(!base.Validate(eDontCheckWarning));
        QCOMPARE(errorTexts(), QStringList{cDDXMenu::kBaseMenuReadOnly});
        module().errors().Clear();
        QVERIFY(!base.Delete());
        QCOMPARE(errorTexts(), QStringList{cDDXMenu::kBaseMenuReadOnly});
        QCOMPARE(row(c, "del_status", 5).value(0).toInt(), 0);

        // An installation's item is not protected.
        cDDXMenu own;
        QVERIFY(own.CoreLoad(1000001));
        own.SetModified();
        module().errors().Clear();
        QVERIFY(own.Validate(eDontCheckWarning));

        // With the flag on the same base item is saved and deleted like any other.
        setSystemEdit(c, true);
        cDDXMenu edited;
        QVERIFY(edited.CoreLoad(5));
        edited.set_caption(QStringLiteral("Menüszerkezet"));
        QVERIFY(edited.SetFinal());
        edited.SetModified();
        QVERIFY(edited.CoreUpdate());
        QCOMPARE(row(c, "caption", 5).value(0).toString(), QStringLiteral("Menüszerkezet"));
        QVERIFY(edited.Delete() && edited.CoreUpdate());
        QCOMPARE(row(c, "del_status", 5).value(0).toInt(), 2);
    }

    void checksAndNewKeys()
    {
        TestSite site;
        Connection& c = site.db();
        Menus panel;
        panel.IAddin_AttachToSite(&site, 0, QString());

        // Blanks count as empty; both messages come together.
        cDDXMenu blank;
        blank.set_caption(QStringLiteral("   "));
        blank.set_access_key(QStringLiteral(" "));
        QVERIFY(!blank.Validate(eDontCheckWarning));
        QCOMPARE(errorTexts(), (QStringList{"A felirat megadása kötelező!", "A gyorsbillenytű megadása kötelező!"}));
        module().errors().Clear();
        blank.setItemStatus(isDeleted);
        QVERIFY(blank.Validate(eDontCheckWarning));

        // With no installation items yet the key service hands out small keys: a new item is
        // raised to 1000000, and the next one moves past it.
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_menu WHERE id>=1000000")));
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_key")));
        QList<int> keys;
        for (const char* caption : {"Első", "Második"}) {
            cDDXMenu m;
            m.set_caption(QString::fromUtf8(caption));
            m.set_access_key(QStringLiteral("X"));
            QVERIFY(m.SetFinal());
            QVERIFY2(m.CoreUpdate(), qPrintable(errorTexts().join('\n')));
            keys << m.id();
        }
        QCOMPARE(keys, (QList<int>{1000000, 1000001}));
        QCOMPARE(row(c, "caption", 1000001).value(0).toString(), QStringLiteral("Második"));

        // With the flag on, a key is kept as handed out (by a connection that has handed out
        // none yet, so that it starts from what is stored).
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_menu WHERE id>=1000000")));
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_key")));
        QString err;
        auto other = Connection::openDatabase(site.target(), Connection::DemoData::None, &err);
        QVERIFY(other);
        setSystemEdit(*other, true);
        module().setConnection(other.get());
        cDDXMenu sys;
        sys.set_caption(QStringLiteral("Rendszerszintű"));
        sys.set_access_key(QStringLiteral("S"));
        QVERIFY(sys.SetFinal() && sys.CoreUpdate());
        QCOMPARE(sys.id(), 17);
        module().setConnection(&c);
    }

    void panelModesAndCommands()
    {
        TestSite site;
        Menus edit;
        edit.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(edit.UserControlName(), QStringLiteral("Menus"));
        QCOMPARE(edit.titleLabel()->text(), QStringLiteral("Menük"));
        QVERIFY(!edit.role_bar || !edit.role_bar->isVisibleTo(&edit));
        QTreeWidgetItem* root = edit.tree_Item->topLevelItem(0);
        QCOMPARE(root->text(0), QStringLiteral("Főmenü"));
        // First level bold and in access-key order; below it plain.
        QStringList first;
        for (int i = 0; i < root->childCount(); ++i) {
            first << root->child(i)->text(0);
            QVERIFY(root->child(i)->font(0).bold());
        }
        QCOMPARE(first, (QStringList{"E. Egyedi", "K. Kimutatások", "R. Rendszer"}));
        QVERIFY(!edit.nodeOf(1)->data(0, Qt::CheckStateRole).isValid());
        edit.nodeOf(1)->setExpanded(true);
        QCOMPARE(edit.nodeOf(5)->text(0), QStringLiteral("4. Menük"));
        QVERIFY(!edit.nodeOf(5)->font(0).bold());
        QStringList bar;
        for (QAction* a : edit.cmd_bar_class->actions()) bar << a->text();
        QCOMPARE(bar, (QStringList{"Új menü", "Menü módosítása", "Menü törlése"}));
        QCOMPARE(edit.cmd_bar_class->windowTitle(), QStringLiteral("Törzsadat"));

        // The context menu: modify and delete only with an item selected.
        auto shownPopup = [&](QTreeWidgetItem* on) {
            QStringList l;
            const QRect r = edit.tree_Item->visualItemRect(on);
            emit edit.tree_Item->customContextMenuRequested(r.center());
            for (QAction* a : edit.popup->actions())
                if (a->isVisible()) l << a->text();
            edit.popup->hide();
            return l;
        };
        edit.resize(600, 400);
        edit.show();
        QCOMPARE(shownPopup(root), QStringList{"Új menü"});
        QCOMPARE(shownPopup(edit.nodeOf(5)), (QStringList{"Új menü", "Menü módosítása", "Menü törlése"}));
        // In editing mode a click does not fold.
        QTreeWidgetItem* system = edit.nodeOf(1);
        emit edit.tree_Item->itemClicked(system, 0);
        QVERIFY(system->isExpanded());

        for (int mode : {1, -3}) {
            Menus roles;
            roles.IAddin_AttachToSite(&site, mode, QString());
            QCOMPARE(roles.titleLabel()->text(), QStringLiteral("Menü jogosultságok beállítása"));
            QVERIFY(roles.role_bar && roles.role_bar->isVisibleTo(&roles));
            QCOMPARE(roles.cbo_role->count(), 9);
            QCOMPARE(roles.nodeOf(1)->checkState(0), Qt::Checked);
            QTreeWidgetItem* reports = roles.nodeOf(10);
            emit roles.tree_Item->itemClicked(reports, 0);
            QVERIFY(reports->isExpanded());
            emit roles.tree_Item->itemClicked(reports, 0);
            QVERIFY(!reports->isExpanded());
            roles.resize(600, 400);
            roles.show();
            emit roles.tree_Item->customContextMenuRequested(roles.tree_Item->visualItemRect(reports).center());
            QVERIFY(!roles.popup->isVisible());
        }
    }

    void tickRuleOnTheMenuTree()
    {
        TestSite site;
        Connection& c = site.db();
        // A chain three deep below "Egyedi", none of it for slot 5.
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, caption, access_key, class_name) VALUES "
                                         "(1000010, 1000000, 'Mappa', 'M', ''), (1000011, 1000010, 'Program', 'P', 'SHELL')")));
        Menus p;
        p.IAddin_AttachToSite(&site, 1, QString());
        p.selectRole(5);
        p.nodeOf(1000000)->setExpanded(true);
        p.nodeOf(1000010)->setExpanded(true);
        QTreeWidgetItem* leaf = p.nodeOf(1000011);
        QVERIFY(RoleTicks::isGrey(p.nodeOf(1000000)) && RoleTicks::isGrey(p.nodeOf(1000010)));
        leaf->setCheckState(0, Qt::Checked);
        for (int id : {1000011, 1000010, 1000000}) {
            QVERIFY2(roleOf(c, id, 5), qPrintable(QString::number(id)));
            QCOMPARE(p.nodeOf(id)->checkState(0), Qt::Checked);
            QVERIFY(!RoleTicks::isGrey(p.nodeOf(id)));
        }
        for (int id : {1000001, 1000002, 1, 10}) QVERIFY(!roleOf(c, id, 5));

        // Unticking a first-level item whose subtree was never loaded: every row below goes,
        // nothing above or beside it.
        p.selectRole(1);
        QVERIFY(!p.nodeOf(11));
        p.nodeOf(10)->setCheckState(0, Qt::Unchecked);
        for (int id = 10; id <= 16; ++id) QVERIFY2(!roleOf(c, id, 1), qPrintable(QString::number(id)));
        QVERIFY(RoleTicks::isGrey(p.nodeOf(10)));
        for (int id : {1, 2, 8, 1000000}) QVERIFY(roleOf(c, id, 1));
        for (int id : {10, 11}) QVERIFY(roleOf(c, id, 2));
        // Loaded afterwards, the subtree shows unticked.
        p.nodeOf(10)->setExpanded(true);
        QCOMPARE(p.nodeOf(13)->checkState(0), Qt::Unchecked);
        QVERIFY(!c.transactions().hasMasterLock());
    }

    void newModifyAndTheirRefusals()
    {
        TestSite site;
        Connection& c = site.db();
        Menus p;
        p.IAddin_AttachToSite(&site, 0, QString());

        // No sub-item under an item that starts a function.
        p.nodeOf(1000000)->setExpanded(true);
        p.tree_Item->setCurrentItem(p.nodeOf(1000001));
        QString said;
        onNextModal([&](QWidget* d) {
            said = dialogText(d);
            clickButton(d, QStringLiteral("OK"));
        });
        p.NewItem();
        QVERIFY2(said.contains(QStringLiteral("Nem lehet olyan menü alá almenüt létrehozni, amihez funkció kapcsolódik!")),
                 qPrintable(said));

        // A base item is refused before its dialog opens.
        p.nodeOf(1)->setExpanded(true);
        p.tree_Item->setCurrentItem(p.nodeOf(5));
        onNextModal([&](QWidget* d) {
            said = dialogText(d);
            clickButton(d, QStringLiteral("OK"));
        });
        p.ModifyItem();
        QVERIFY(said.contains(cDDXMenu::kBaseMenuReadOnly));

        // New on the root: the form shows no parent, and refuses empty texts until filled.
        p.tree_Item->setCurrentItem(p.tree_Item->topLevelItem(0));
        QStringList listed;
        onNextModal([&](QWidget* d) {
            auto* f = qobject_cast<frmMenu*>(d);
            QVERIFY(f);
            QCOMPARE(f->txt_parent_name->text(), QString());
            QCOMPARE(f->ShortcutCaption1->text(), QStringLiteral("Menü"));
            QCOMPARE(f->ShortcutCaption2->text(), QStringLiteral("Menü ikonok"));
            onNextModal(readErrorList(&listed));
            onNextModal([](QWidget* again) {
                auto* f = qobject_cast<frmMenu*>(again);
                f->txt_caption->setText(QStringLiteral("  Saját eszközök "));
                f->txt_access_key->setText(QStringLiteral("S"));
                f->chk_system_menu->setChecked(true);
                f->chk_toolbar_visible->setChecked(true);
                f->nb_parameter_i->setValue(-2);
                QTest::keyClick(f, Qt::Key_Return, Qt::ControlModifier);
            });
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        p.NewItem();
        QCOMPARE(listed, (QStringList{"A felirat megadása kötelező!", "A gyorsbillenytű megadása kötelező!"}));
        const int id = p.SelectedId();
        QVERIFY(id >= 1000000);
        QCOMPARE(p.tree_Item->currentItem()->text(0), QStringLiteral("S. Saját eszközök"));
        QVERIFY(p.tree_Item->currentItem()->font(0).bold());
        const QVariantList saved = row(c, "parent_id, caption, system_menu, toolbar_visible, parameter_i", id);
        QCOMPARE(saved.value(0).toInt(), 0);
        QCOMPARE(saved.value(1).toString(), QStringLiteral("Saját eszközök"));
        QCOMPARE(saved.value(2).toInt(), -1);
        QVERIFY(saved.value(3).toLongLong() != 0);
        QCOMPARE(saved.value(4).toInt(), -2);

        // A child shows its parent's caption; modify renames the node.
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmMenu*>(d);
            QCOMPARE(f->txt_parent_name->text(), QStringLiteral("Saját eszközök"));
            f->txt_caption->setText(QStringLiteral("Jegyzet"));
            f->txt_access_key->setText(QStringLiteral("J"));
            f->txt_class_name->setText(QStringLiteral("SHELL"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        p.NewItem();
        const int child = p.SelectedId();
        QCOMPARE(row(c, "parent_id", child).value(0).toInt(), id);
        QVERIFY(!p.tree_Item->currentItem()->font(0).bold());
        onNextModal([](QWidget* d) {
            qobject_cast<frmMenu*>(d)->txt_caption->setText(QStringLiteral("Jegyzettömb"));
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        p.ModifyItem();
        QCOMPARE(p.nodeOf(child)->text(0), QStringLiteral("J. Jegyzettömb"));

        // A base item may be deleted by nobody without the flag: the error list says why.
        p.tree_Item->setCurrentItem(p.nodeOf(5));
        answerNextModal(QStringLiteral("Igen"));
        listed.clear();
        onNextModal(readErrorList(&listed));
        p.DeleteItem();
        QCOMPARE(listed, QStringList{cDDXMenu::kBaseMenuReadOnly});
        QVERIFY(p.nodeOf(5));

        // With the flag on, the dialog opens for a base item.
        setSystemEdit(c, true);
        onNextModal([](QWidget* d) { QTest::keyClick(d, Qt::Key_Escape); });
        p.ModifyItem();
    }

    void userMenuForm()
    {
        TestSite site;
        Connection& c = site.db();
        Menus p; // the module takes the site
        p.IAddin_AttachToSite(&site, 0, QString());
        auto types = [](frmUserMenu* f) {
            QStringList l;
            for (int i = 0; i < f->cboMenuType->count(); ++i)
                l << f->cboMenuType->itemText(i) + QLatin1Char('=') + f->cboMenuType->itemData(i).toString();
            return l;
        };

        // Under the root: a first-level menu only, no command line, no parameter help.
        cDDXMenu top;
        top.set_parent_id(0);
        onNextModal([&](QWidget* d) {
            auto* f = qobject_cast<frmUserMenu*>(d);
            QVERIFY(f);
            QCOMPARE(types(f), QStringList{"Főmenü=1"});
            QVERIFY(!f->cboMenuType->isEnabled() && !f->txt_parameter_s->isEnabled());
            QVERIFY(f->lbl_main_menu_info->isVisibleTo(f) && !f->cmd_param_help->isVisibleTo(f));
            f->txt_caption->setText(QStringLiteral("  Saját  "));
            f->txt_access_key->setText(QStringLiteral(" S "));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(top.ShowUserForm(), rvOK);
        QCOMPARE(row(c, "caption, access_key, class_name, picture_name, picture_name_big", top.id()),
                 (QVariantList{"Saját", "S", "", "user_menu_16.ico", "user_menu_32.ico"}));

        // Under an item: sub-menu or external program, with the parameter help.
        cDDXMenu program;
        program.set_parent_id(top.id());
        onNextModal([&](QWidget* d) {
            auto* f = qobject_cast<frmUserMenu*>(d);
            QCOMPARE(f->txt_parent_name->text(), QStringLiteral("Saját"));
            QCOMPARE(types(f), (QStringList{"Almenü=2", "Külső program=3"}));
            QVERIFY(f->cboMenuType->isEnabled() && !f->lbl_main_menu_info->isVisibleTo(f));
            QVERIFY(f->cmd_param_help->isVisibleTo(f));
            onNextModal([&](QWidget* help) {
                auto* h = qobject_cast<frmUserMenuParamHelp*>(help);
                QVERIFY(h);
                QVERIFY(dialogText(h).contains(QStringLiteral("%SYSTEM_MDB_FOLDER_PATH%")));
                QCOMPARE(h->lbl_mdb_folder->text(), c.databaseFolder());
                QCOMPARE(h->lbl_system_mdb_folder->text(), c.systemDatabaseFolder());
                QVERIFY(!h->lbl_mdb_folder->text().endsWith(QLatin1Char('/')) && !h->lbl_mdb_folder->text().isEmpty());
                QCOMPARE(h->lbl_app_path->text(), QCoreApplication::applicationDirPath());
                clickButton(h, QStringLiteral("cmd_cancel"));
            });
            clickButton(f, QStringLiteral("cmd_param_help"));
            f->cboMenuType->setCurrentIndex(1);
            QVERIFY(f->txt_parameter_s->isEnabled());
            f->txt_caption->setText(QStringLiteral("Mappa"));
            f->txt_access_key->setText(QStringLiteral("M"));
            f->txt_parameter_s->setText(QStringLiteral("  xdg-open \"%MDB_FOLDER_PATH%\"  "));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(program.ShowUserForm(), rvOK);
        QCOMPARE(row(c, "class_name, parameter_s", program.id()), (QVariantList{"SHELL", "xdg-open \"%MDB_FOLDER_PATH%\""}));

        // An existing item keeps its pictures and shows its type.
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_menu SET picture_name='sajat.ico' WHERE id=?"), {program.id()}));
        cDDXMenu again;
        QVERIFY(again.CoreLoad(program.id()));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUserMenu*>(d);
            QCOMPARE(f->cboMenuType->currentData().toInt(), 3);
            QCOMPARE(f->txt_parameter_s->text(), QStringLiteral("xdg-open \"%MDB_FOLDER_PATH%\""));
            f->txt_caption->setText(QStringLiteral("Adatmappa"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(again.ShowUserForm(), rvOK);
        QCOMPARE(row(c, "caption, picture_name", program.id()), (QVariantList{"Adatmappa", "sajat.ico"}));
    }
};

QTEST_MAIN(TstMenus)
#include "tst_menus.moc"
