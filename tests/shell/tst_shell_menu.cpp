// The shell against the real module: placeholders and external programs, the menu following
// a save in the Menus panel, the user's own items, the toolbar, and logins following what
// the users panel saves.
#include "ModalSuite.h"
#include "ShellApplication.h"
#include "ShellFixture.h"
#include "Modules.h"
#include "ShellNotices.h"
#include "ShellOwnMenu.h"
#include "ShellWindow.h"
#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QCheckBox>
#include <QTabWidget>
#include <QTableView>
#include <QToolBar>
#include <QTreeWidget>

using namespace NexoFrame;
using namespace NexoFrame::Shell;

namespace {

const QString kLogCount = QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log");


QTreeWidgetItem* nodeWithId(QTreeWidget* tree, int id, int role)
{
    for (QTreeWidgetItemIterator it(tree); *it; ++it) {
        const QVariant v = (*it)->data(0, role);
        if (v.toString() == QStringLiteral("RID%1").arg(id) || (v.typeId() == QMetaType::Int && v.toInt() == id)) return *it;
    }
    return nullptr;
}

void trigger(QWidget* panel, int command)
{
    for (QAction* a : panel->findChildren<QAction*>(QStringLiteral("cmd_%1").arg(command))) {
        a->trigger();
        return;
    }
    QFAIL("no such command");
}

// Makes the row showing `text` current in a browse list of a panel.
bool selectRow(QWidget* panel, const char* list, const QString& text)
{
    auto* grid = panel->findChild<QWidget*>(QString::fromLatin1(list))->findChild<QTableView*>();
    QAbstractItemModel* m = grid->model();
    for (int r = 0; r < m->rowCount(); ++r)
        for (int c = 0; c < m->columnCount(); ++c)
            if (m->index(r, c).data().toString() == text) {
                grid->setCurrentIndex(m->index(r, c));
                return true;
            }
    return false;
}

int lastMenuId(ShellFixture& f) { return f.count(QStringLiteral("SELECT MAX(id) FROM qnd_menu")); }

} // namespace

class TstShellMenu : public ModalSuite {
    Q_OBJECT
private slots:
    void init()
    {
        ModalSuite::init();
        Notices::clearLast();
    }
    void cleanup()
    {
        Notices::setConsole(false);
        ModalSuite::cleanup();
    }

    void placeholdersAndQuotedArguments()
    {
        ShellFixture f;
        QVERIFY(f.open());
        const Placeholders p = placeholdersOf(*f.db);
        QCOMPARE(p.appPath, QCoreApplication::applicationDirPath());
        // A file's folder; a server database's folder is the program's data folder.
        QCOMPARE(p.mdbFolder, testingPostgres() ? f.path(QStringLiteral("data")) + QStringLiteral("/NexoFrame")
                                                : QFileInfo(f.dbPath()).absolutePath());
        QCOMPARE(p.systemMdbFolder, p.mdbFolder);
        const Placeholders v{QStringLiteral("/opt/qe"), QStringLiteral("/srv/adat bázis"), QStringLiteral("/srv/rendszer")};
        const QString cmd = expandPlaceholders(
            QStringLiteral("%APP_PATH%/riport --mappa \"%MDB_FOLDER_PATH%/két szó\" %system_mdb_folder_path% 'a \"b\" c' \"\" x\\ y"), v);
        QCOMPARE(splitCommand(cmd), (QStringList{"/opt/qe/riport", "--mappa", "/srv/adat bázis/két szó", "/srv/rendszer",
                                                 "a \"b\" c", "", "x y"}));
        QVERIFY(splitCommand(QStringLiteral("   ")).isEmpty());
    }

    void externalProgramsStartDetachedAndAreLogged()
    {
        ShellFixture f;
        QVERIFY(f.open());
        const QString out = f.path(QStringLiteral("ki.txt"));
        const QString command = QStringLiteral("sh -c 'printf \"%s|%s\" \"$1\" \"$2\" > \"$3\"' x \"két szó\" \"%MDB_FOLDER_PATH%\" \"%1\"").arg(out);
        QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, sort_order, caption, access_key, class_name, "
                                             "parameter_s, create_user) VALUES (1000050, 1, 20, 'Külső', 'K', 'SHELL', ?, 1), "
                                             "(1000051, 1, 21, 'Hiányzó', 'H', 'SHELL', 'nincs-ilyen-program-42 --x', 1)"),
                              {command}));
        LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"), true);
        const int logs = f.count(kLogCount);
        QAction* run = admin.window->menuAction(1000050);
        QVERIFY(run && run->isEnabled());
        run->trigger();
        QTRY_VERIFY(QFileInfo(out).size() > 0);
        QFile file(out);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), QStringLiteral("két szó|") + placeholdersOf(*f.db).mdbFolder);
        QCOMPARE(f.count(kLogCount), logs + 1);
        QCOMPARE(admin.window->tabs()->count(), 0);

        // A program that cannot start is a message, and no log row.
        Notices::setConsole(true);
        admin.window->menuAction(1000051)->trigger();
        QVERIFY2(Notices::last().contains(QStringLiteral("„Hiányzó” külső program nem indítható el")), qPrintable(Notices::last()));
        QCOMPARE(f.count(kLogCount), logs + 1);
    }

    void theMenuFollowsASaveInThePanel()
    {
        ShellFixture f;
        QVERIFY(f.open());
        LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"), true);
        QWidget* panel = admin.window->openMenuItem(*admin.window->menuEntry(5));
        QVERIFY(panel);
        auto* tree = panel->findChild<QTreeWidget*>(QStringLiteral("tree_Item"));
        tree->setCurrentItem(nodeWithId(tree, 1000000, Qt::UserRole));
        onNextModal([](QWidget* d) {
            d->findChild<QLineEdit*>(QStringLiteral("txt_caption"))->setText(QStringLiteral("Új funkció"));
            d->findChild<QLineEdit*>(QStringLiteral("txt_access_key"))->setText(QStringLiteral("U"));
            d->findChild<QLineEdit*>(QStringLiteral("txt_class_name"))->setText(QStringLiteral("NexoFrame.AuthUnits"));
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        trigger(panel, 100011);
        const int id = lastMenuId(f);
        QVERIFY(id > 1000003);
        // Saved with slot 0 only, it is on the menu of admin, who holds every slot.
        QAction* added = admin.window->menuAction(id);
        QVERIFY2(added, "the menu was not rebuilt");
        QCOMPARE(added->text().remove(QLatin1Char('&')), QStringLiteral("Új funkció"));
        QCOMPARE(admin.window->menuEntry(id)->className, QStringLiteral("NexoFrame.AuthUnits"));

        // Deleted in the panel, it leaves the menu.
        tree->setCurrentItem(nodeWithId(tree, id, Qt::UserRole));
        answerNextModal(QStringLiteral("Igen"));
        trigger(panel, 100013);
        QVERIFY(!admin.window->menuAction(id));
        QVERIFY(admin.window->menuAction(5)); // and the rest stays
    }

    void ownItemsThroughTheUserMenuForm()
    {
        ShellFixture f;
        QVERIFY(f.open());
        LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"), true);
        onNextModal([&](QWidget* d) {
            auto* dlg = qobject_cast<OwnMenuDialog*>(d);
            QVERIFY(dlg);
            // Base items are places to add under, not his to change.
            dlg->tree->setCurrentItem(dlg->nodeOf(5));
            QVERIFY(!dlg->cmd_modify->isEnabled() && !dlg->cmd_delete->isEnabled() && !dlg->cmd_new->isEnabled());
            dlg->tree->setCurrentItem(dlg->nodeOf(1000003));
            QVERIFY(dlg->cmd_modify->isEnabled() && dlg->cmd_delete->isEnabled());
            dlg->tree->setCurrentItem(dlg->nodeOf(1));
            QVERIFY(dlg->cmd_new->isEnabled());
            onNextModal([](QWidget* form) {
                auto* type = form->findChild<QComboBox*>(QStringLiteral("cboMenuType"));
                QCOMPARE(type->count(), 2);
                type->setCurrentIndex(type->findData(3));
                form->findChild<QLineEdit*>(QStringLiteral("txt_caption"))->setText(QStringLiteral("Szövegszerkesztő"));
                form->findChild<QLineEdit*>(QStringLiteral("txt_access_key"))->setText(QStringLiteral("9"));
                form->findChild<QLineEdit*>(QStringLiteral("txt_parameter_s"))->setText(QStringLiteral(" xdg-open \"%APP_PATH%\" "));
                clickButton(form, QStringLiteral("cmd_ok"));
            });
            clickButton(dlg, QStringLiteral("cmd_new"));
            clickButton(dlg, QStringLiteral("cmd_close"));
        });
        admin.window->editOwnMenu();
        const int id = lastMenuId(f);
        QAction* mine = admin.window->menuAction(id);
        QVERIFY2(mine, "the new item is not on the menu");
        QCOMPARE(admin.window->menuEntry(id)->parameterS, QStringLiteral("xdg-open \"%APP_PATH%\""));
        // His alone: no role slot, created by him, with the user item's pictures.
        const QVariantList stored = f.db->select(QStringLiteral("SELECT parent_id, class_name, create_user, picture_name, "
                                                                "auth_0, auth_1, auth_9 FROM qnd_menu WHERE id=?"), {id}).value(0);
        QCOMPARE(stored.value(0).toInt(), 1);
        QCOMPARE(stored.value(1).toString(), QStringLiteral("SHELL"));
        QCOMPARE(stored.value(2).toInt(), 1);
        QCOMPARE(stored.value(3).toString(), QStringLiteral("user_menu_16.ico"));
        for (int i = 4; i <= 6; ++i) QCOMPARE(stored.value(i).toLongLong(), 0);
        const LoginResult peter = f.login(QStringLiteral("kovacs.anna"), QStringLiteral("anna123"));
        Holder everyRole = userHolder(*f.db, peter.userId);
        for (int s = 0; s < RoleSet::kSlots; ++s) everyRole.roles.set(s, true);
        for (const MenuEntry& e : visibleMenu(*f.db, everyRole))
            for (const MenuEntry& c : e.children) QVERIFY(c.id != id);

        // Deleted again from the same dialog.
        onNextModal([&](QWidget* d) {
            auto* dlg = qobject_cast<OwnMenuDialog*>(d);
            dlg->tree->setCurrentItem(dlg->nodeOf(id));
            answerNextModal(QStringLiteral("Igen"));
            clickButton(dlg, QStringLiteral("cmd_delete"));
            QVERIFY(!dlg->nodeOf(id));
            clickButton(dlg, QStringLiteral("cmd_close"));
        });
        admin.window->editOwnMenu();
        QVERIFY(!admin.window->menuAction(id));
        QCOMPARE(f.count(QStringLiteral("SELECT del_status FROM qnd_menu WHERE id=?"), {id}), 2);
    }

    void loginsFollowTheUsersPanel()
    {
        ShellFixture f;
        QVERIFY(f.open());
        LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"), true);
        QWidget* panel = admin.window->openMenuItem(*admin.window->menuEntry(4));
        QVERIFY(panel);
        QVERIFY(selectRow(panel, "brw_item", QStringLiteral("Értékesítők")));
        QVERIFY(selectRow(panel, "brw_item_1", QStringLiteral("nagy.peter")));
        auto modify = [&](const std::function<void(QWidget*)>& fill) {
            onNextModal([fill](QWidget* d) {
                fill(d);
                clickButton(d, QStringLiteral("cmd_ok"));
            });
            for (QAction* a : panel->findChild<QWidget*>(QStringLiteral("cmd_bar_class_1"))->actions())
                if (a->text() == QStringLiteral("Felhasználó módosítása")) a->trigger();
        };
        modify([](QWidget* d) {
            for (const char* box : {"txt_password", "txt_password_2"})
                d->findChild<QLineEdit*>(QString::fromLatin1(box))->setText(QStringLiteral("Új-Jelszó-7"));
        });
        QVERIFY(!f.login(QStringLiteral("nagy.peter"), QStringLiteral("peter123")).ok());
        QVERIFY(f.login(QStringLiteral("nagy.peter"), QStringLiteral("Új-Jelszó-7")).ok());
        modify([](QWidget* d) { d->findChild<QCheckBox*>(QStringLiteral("chk_access_denied"))->setChecked(true); });
        QCOMPARE(f.login(QStringLiteral("nagy.peter"), QStringLiteral("Új-Jelszó-7")).status, LoginResult::Status::AccessDenied);
    }

    void toolbarItemsWithTheirPictures()
    {
        ShellFixture f;
        QVERIFY(f.open());
        QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_menu SET picture_name='nincs_ilyen.ico' WHERE id=4")));
        LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"), true);
        QList<int> onBar;
        for (QAction* a : admin.window->toolbar()->actions()) onBar << a->data().toInt();
        QCOMPARE(onBar, (QList<int>{2, 4, 5, 1000003, 11}));
        QVERIFY(QFileInfo::exists(MainWindow::iconFolder() + QStringLiteral("/auth_16.ico")));
        QVERIFY(!admin.window->menuAction(2)->icon().isNull());
        QVERIFY(admin.window->menuAction(4)->icon().isNull()); // its file is missing
    }
};

int main(int argc, char** argv)
{
    Application app(argc, argv);
    TstShellMenu test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shell_menu.moc"
