#include "ModalDriver.h"
#include "ShellApplication.h"
#include "ShellFixture.h"
#include "Modules.h"
#include "ShellNotices.h"
#include "ShellWindow.h"
#include "ShellConfig.h"
#include "Snapshots.h"
#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTreeWidget>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QFile>

using namespace NexoFrame;
using namespace NexoFrame::Shell;

namespace {

// The captions of a menu level, mnemonic markers removed.
QStringList captions(const QList<QAction*>& actions)
{
    QStringList l;
    for (QAction* a : actions)
        if (!a->isSeparator()) l << a->text().remove(QLatin1Char('&'));
    return l;
}

QMenu* submenu(QMenuBar* bar, const QString& caption)
{
    for (QAction* a : bar->actions())
        if (a->text().remove(QLatin1Char('&')) == caption) return a->menu();
    return nullptr;
}


const QString kLogCount = QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log");

} // namespace

class TstShellWindow : public QObject {
    Q_OBJECT
private slots:
    void init() { Notices::clearLast(); }
    void restrictedGroupSeesOnlyItsItems();
    void menuFollowsSortOrderAndDeletion();
    void mnemonicsFromAccessKeys();
    void unknownProgIdIsDisabled();
    void openingAnItemLogsOnceAndAttaches();
    void throwingPanelsNeverEndTheShell();
    void brokenPanelsAreReportedNotFatal_data();
    void brokenPanelsAreReportedNotFatal();
    void configurationCommandsFollowTheirRights();
    void onlyWhatTheMenuHoldsOpens();
};

void TstShellWindow::restrictedGroupSeesOnlyItsItems()
{
    ShellFixture f;
    QVERIFY(f.open());
    LoggedIn peter(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
    QCOMPARE(peter.window->windowTitle(), QStringLiteral("Quandra Express Keretrendszer – NexoFrame"));
    QVERIFY(peter.window->findChild<QLabel*>(QStringLiteral("lbl_user"))->text().contains(QStringLiteral("Nagy Péter")));
    QVERIFY(peter.window->findChild<QLabel*>(QStringLiteral("lbl_database"))->text().contains(f.dbPath()));
    QMenuBar* bar = peter.window->menuBar();
    QCOMPARE(captions(bar->actions()), (QStringList{"Kimutatások", "Egyedi", "Keretrendszer"}));
    QCOMPARE(captions(submenu(bar, QStringLiteral("Egyedi"))->actions()), QStringList{"Értékesítési kimutatások"});
    QCOMPARE(captions(submenu(bar, QStringLiteral("Kimutatások"))->actions()),
             (QStringList{QStringLiteral("OLAP kimutatások"), QStringLiteral("Riportok"), QStringLiteral("Listavarázsló")}));
    for (int hidden : {1, 2, 3, 12, 14, 16}) QVERIFY2(!peter.window->menuAction(hidden), qPrintable(QString::number(hidden)));

    // The driver reaches his printed reports, and nothing else, from his menu.
    LoggedIn bela(f, QStringLiteral("kiss.bela"), QStringLiteral("bela123"));
    bar = bela.window->menuBar();
    QCOMPARE(captions(bar->actions()), (QStringList{"Kimutatások", "Keretrendszer"}));
    QCOMPARE(captions(submenu(bar, QStringLiteral("Kimutatások"))->actions()), QStringList{QStringLiteral("Riportok")});

    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    bar = admin.window->menuBar();
    QCOMPARE(captions(bar->actions()), (QStringList{"Rendszer", "Kimutatások", "Egyedi", "Keretrendszer"}));
    // His own item stands among the base ones, in its sort order.
    QCOMPARE(captions(submenu(bar, QStringLiteral("Rendszer"))->actions()).last(), QStringLiteral("Program mappája"));
    QCOMPARE(submenu(bar, QStringLiteral("Rendszer"))->actions().size(), 9);
    QCOMPARE(submenu(bar, QStringLiteral("Kimutatások"))->actions().size(), 6);
}

void TstShellWindow::menuFollowsSortOrderAndDeletion()
{
    ShellFixture f;
    QVERIFY(f.open());
    // Riportok moved first, OLAP kimutatások deleted, Listavarázsló no longer for slot 4, and a
    // folder whose only item is deleted.
    const QString no = f.db->boolLiteral(false), yes = f.db->boolLiteral(true);
    for (const QString& sql : {QStringLiteral("UPDATE qnd_menu SET sort_order=0 WHERE id=13"),
                               QStringLiteral("UPDATE qnd_menu SET del_status=2 WHERE id=11"),
                               QStringLiteral("UPDATE qnd_menu SET auth_4=%1 WHERE id=15").arg(no),
                               QStringLiteral("INSERT INTO qnd_menu (id, parent_id, caption, class_name, del_status, auth_4) "
                                              "VALUES (30, 0, 'Üres mappa', '', 0, %1), (31, 30, 'Törölt', 'X.Y', 2, %1)").arg(yes)})
        QVERIFY2(f.db->execute(sql), qPrintable(sql));

    LoggedIn peter(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
    QCOMPARE(captions(peter.window->menuBar()->actions()), (QStringList{"Kimutatások", "Egyedi", "Keretrendszer"}));
    QCOMPARE(captions(submenu(peter.window->menuBar(), QStringLiteral("Kimutatások"))->actions()),
             QStringList{QStringLiteral("Riportok")});
}

void TstShellWindow::mnemonicsFromAccessKeys()
{
    QCOMPARE(menuText(QStringLiteral("Rendszer"), QStringLiteral("R")), QStringLiteral("&Rendszer"));
    QCOMPARE(menuText(QStringLiteral("Menük"), QStringLiteral("Ü")), QStringLiteral("Men&ük"));
    QCOMPARE(menuText(QStringLiteral("Jogosultságok"), QStringLiteral("1")), QStringLiteral("Jogosultságok"));
    QCOMPARE(menuText(QStringLiteral("Ki & be"), QStringLiteral("b")), QStringLiteral("Ki && &be"));
    QCOMPARE(menuText(QStringLiteral("Ki & be"), QStringLiteral("&")), QStringLiteral("Ki && be"));
}

void TstShellWindow::unknownProgIdIsDisabled()
{
    ShellFixture f;
    QVERIFY(f.open());
    f.standIn({QStringLiteral("NexoFrame.AuthUnits")});
    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    QVERIFY(admin.window->menuAction(2)->isEnabled());
    QVERIFY(admin.window->menuAction(3)->isEnabled());
    for (int id : {4, 5, 7, 11, 13, 16}) {
        QAction* a = admin.window->menuAction(id);
        QVERIFY2(a && !a->isEnabled(), qPrintable(QString::number(id)));
        QVERIFY(a->toolTip().contains(admin.window->menuEntry(id)->className));
    }
}

void TstShellWindow::openingAnItemLogsOnceAndAttaches()
{
    ShellFixture f;
    QVERIFY(f.open());
    f.standIn({QStringLiteral("NexoFrame.AuthUnits")});
    QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_menu SET parameter_s='szöveg' WHERE id=3")));
    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    const int before = f.count(kLogCount);
    const QDateTime start = QDateTime::currentDateTime().addSecs(-1);

    admin.window->menuAction(3)->trigger();
    QCOMPARE(admin.tabs()->count(), 1);
    QCOMPARE(admin.tabs()->tabText(0), QStringLiteral("Jogosultságok beállítása"));
    QWidget* panel = admin.tabs()->widget(0);
    QCOMPARE(panel->property("attachedMode").toInt(), 1);
    QCOMPARE(panel->property("attachedParameter").toString(), QStringLiteral("szöveg"));
    QCOMPARE(panel->property("siteUserId").toInt(), 1);
    QVERIFY(panel->property("siteHasConnection").toBool());

    QCOMPARE(f.count(kLogCount), before + 1);
    const QVariantList row = f.db->select(QStringLiteral("SELECT user_id, menu_id, log_date FROM qnd_menu_log ORDER BY id DESC LIMIT 1")).first();
    QCOMPARE(row.value(0).toInt(), 1);
    QCOMPARE(row.value(1).toInt(), 3);
    const QDateTime logged = row.value(2).toDateTime();
    QVERIFY2(logged >= start && logged <= QDateTime::currentDateTime().addSecs(1), qPrintable(row.value(2).toString()));

    // Chosen again, the item's tab comes forward; another item gets its own tab and row.
    admin.window->menuAction(3)->trigger();
    QCOMPARE(admin.tabs()->count(), 1);
    admin.window->menuAction(2)->trigger();
    QCOMPARE(admin.tabs()->count(), 2);
    QCOMPARE(admin.tabs()->widget(1)->property("attachedMode").toInt(), 0);
    QCOMPARE(f.count(kLogCount), before + 2);
}

void TstShellWindow::throwingPanelsNeverEndTheShell()
{
    ShellFixture f;
    QVERIFY(f.open());
    f.standIn({QStringLiteral("NexoFrame.AuthUnits"), QStringLiteral("NexoTest.Panel")});
    f.menuItems({QStringLiteral("NexoTest.Panel")});
    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    admin.window->show();
    QPointer<QWidget> panel = admin.window->openMenuItem(*admin.window->menuEntry(2));
    QVERIFY(panel);
    QSignalSpy removed(panel.data(), SIGNAL(removedFromSite()));
    Notices::setConsole(true);
    // A slot of the panel throws: the application object reports it, the panel stays.
    QTest::mouseClick(panel->findChild<QPushButton*>(QStringLiteral("cmd_throw")), Qt::LeftButton);
    QVERIFY2(Notices::last().contains(QStringLiteral("Szándékos hiba egy gombnyomásra.")), qPrintable(Notices::last()));
    QCOMPARE(admin.tabs()->count(), 1);

    emit admin.tabs()->tabCloseRequested(0);
    QCOMPARE(removed.count(), 1);
    QVERIFY(!panel);

    // A panel that throws while letting go is closed all the same.
    panel = admin.window->openPanel(QStringLiteral("NexoTest.Panel"), 0, QStringLiteral("remove-throws"), QStringLiteral("Teszt"));
    QVERIFY(panel);
    admin.window->closePanel(0);
    Notices::setConsole(false);
    QVERIFY(!panel);
    QCOMPARE(admin.tabs()->count(), 0);
    QVERIFY(Notices::last().contains(QStringLiteral("Szándékos hiba a leválasztáskor.")));
}

void TstShellWindow::brokenPanelsAreReportedNotFatal_data()
{
    QTest::addColumn<QString>("progId");
    QTest::addColumn<QString>("parameter");
    QTest::addColumn<QString>("said");
    QTest::newRow("not registered") << "NexoTest.Ismeretlen" << "" << "nincs regisztrálva";
    QTest::newRow("library gone") << "NexoTest.Elveszett" << "" << "nem található";
    QTest::newRow("factory throws") << "NexoTest.FactoryThrows" << "" << "Szándékos hiba a gyárban.";
    QTest::newRow("factory hands out nothing") << "NexoTest.Nothing" << "" << "nem hozta létre";
    QTest::newRow("not a panel") << "NexoTest.NotAPanel" << "" << "nem megjeleníthető panel";
    QTest::newRow("attach throws") << "NexoTest.Panel" << "attach-throws" << "Szándékos hiba a csatoláskor.";
}

void TstShellWindow::brokenPanelsAreReportedNotFatal()
{
    QFETCH(QString, progId);
    QFETCH(QString, parameter);
    QFETCH(QString, said);
    ShellFixture f;
    QVERIFY(f.open());
    f.standIn({QStringLiteral("NexoTest.Panel"), QStringLiteral("NexoTest.FactoryThrows"),
               QStringLiteral("NexoTest.Nothing"), QStringLiteral("NexoTest.NotAPanel")});
    ClassRegistry(f.registryPath()).add(QStringLiteral("NexoTest.Elveszett"), {f.path(QStringLiteral("nincs.so")), QString()});
    f.menuItems({QStringLiteral("NexoTest.Panel"), QStringLiteral("NexoTest.FactoryThrows"), QStringLiteral("NexoTest.Nothing"),
                 QStringLiteral("NexoTest.NotAPanel"), QStringLiteral("NexoTest.Ismeretlen"), QStringLiteral("NexoTest.Elveszett")});
    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    const int logBefore = f.count(kLogCount);

    QString shown;
    onNextModal([&](QWidget* box) {
        shown = dialogText(box);
        box->close();
    });
    QVERIFY(!admin.window->openPanel(progId, 0, parameter, QStringLiteral("Próba")));
    QCOMPARE(pendingModalActions(), 0);
    QVERIFY2(shown.contains(QStringLiteral("„Próba” panel nem nyitható meg")) && shown.contains(said), qPrintable(shown));
    QCOMPARE(admin.tabs()->count(), 0);
    QCOMPARE(f.count(kLogCount), logBefore);
    QVERIFY(admin.window->openPanel(QStringLiteral("NexoTest.Panel"), 0, QString(), QStringLiteral("Jó")));
}

// The system menu's export, import and backup stand only for those whose rights allow them;
// the import previews the file in a dialog, writes it on "Betöltés" and rebuilds the menu.
void TstShellWindow::configurationCommandsFollowTheirRights()
{
    ShellFixture f;
    QVERIFY(f.open());
    LoggedIn bela(f, QStringLiteral("kiss.bela"), QStringLiteral("bela123"));
    QVERIFY(!bela.window->findChild<QAction*>(QStringLiteral("act_config_export")));
    QVERIFY(!bela.window->findChild<QAction*>(QStringLiteral("act_config_import")));
    QVERIFY(!bela.window->findChild<QAction*>(QStringLiteral("act_database_backup")));
    // Called anyway, they are refused with a message.
    Notices::setConsole(true);
    QVERIFY(!bela.window->exportConfig(f.path(QStringLiteral("x.json"))));
    QVERIFY2(Notices::last().contains(QStringLiteral("Nincs joga")), qPrintable(Notices::last()));
    QVERIFY(!QFile::exists(f.path(QStringLiteral("x.json"))));
    const QString backup = f.path(QStringLiteral("mentes.bak"));
    QVERIFY(!bela.window->backupDatabase(backup));
    QVERIFY2(Notices::last().contains(QStringLiteral("Nincs joga az adatbázis mentéséhez")), qPrintable(Notices::last()));
    QVERIFY(!QFile::exists(backup));

    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    QVERIFY(admin.window->findChild<QAction*>(QStringLiteral("act_config_export")));
    QVERIFY(admin.window->findChild<QAction*>(QStringLiteral("act_config_import")));
    QVERIFY(admin.window->findChild<QAction*>(QStringLiteral("act_database_backup")));
    QVERIFY(admin.window->backupDatabase(backup));
    QFile written(backup);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QVERIFY(written.read(16).startsWith(testingPostgres() ? "PGDMP" : "SQLite format 3"));
    Notices::setConsole(false);
    const QString file = f.path(QStringLiteral("beallitasok.json"));
    QVERIFY(admin.window->exportConfig(file));

    // The same database already holds it: nothing to import.
    onNextModal([](QWidget* d) {
        auto* dialog = qobject_cast<ConfigImportDialog*>(d);
        QVERIFY(dialog && !dialog->cmd_import->isEnabled());
        QVERIFY(dialog->lbl_summary->text().contains(QStringLiteral("Nincs mit betölteni")));
        clickButton(d, QStringLiteral("cmd_cancel"));
    });
    QVERIFY(!admin.window->importConfig(file));

    // A menu item renamed in the file: a new item, the old one stays; the menu shows both.
    QFile in(file);
    QVERIFY(in.open(QIODevice::ReadOnly));
    QJsonObject doc = QJsonDocument::fromJson(in.readAll()).object();
    in.close();
    QJsonObject sections = doc.value(QStringLiteral("sections")).toObject();
    QJsonArray menu = sections.value(QStringLiteral("menu")).toArray();
    for (int i = 0; i < menu.size(); ++i) {
        QJsonObject row = menu[i].toObject();
        QJsonArray path = row.value(QStringLiteral("path")).toArray();
        if (path.last().toString() != QStringLiteral("Menü log")) continue;
        path[path.size() - 1] = QStringLiteral("Menühasználat");
        row.insert(QStringLiteral("path"), path);
        menu[i] = row;
    }
    sections.insert(QStringLiteral("menu"), menu);
    doc.insert(QStringLiteral("sections"), sections);
    QVERIFY(in.open(QIODevice::WriteOnly | QIODevice::Truncate));
    in.write(QJsonDocument(doc).toJson());
    in.close();
    onNextModal([](QWidget* d) {
        auto* dialog = qobject_cast<ConfigImportDialog*>(d);
        QVERIFY(dialog && dialog->cmd_import->isEnabled());
        QVERIFY2(dialog->lbl_summary->text().startsWith(QStringLiteral("1 új, 0 módosul")), qPrintable(dialog->lbl_summary->text()));
        const QList<QTreeWidgetItem*> added = dialog->tree_changes->findItems(QStringLiteral("Rendszer / Menühasználat"), Qt::MatchExactly | Qt::MatchRecursive);
        QCOMPARE(added.size(), 1);
        QCOMPARE(added[0]->text(1), QStringLiteral("új"));
        QCOMPARE(dialog->tree_changes->findItems(QStringLiteral("Rendszer / Menü log"), Qt::MatchExactly | Qt::MatchRecursive).value(0)->text(1),
                 QStringLiteral("marad"));
        keepPicture(d, QStringLiteral("config_import_preview"));
        clickButton(d, QStringLiteral("cmd_import"));
    });
    QVERIFY(admin.window->importConfig(file));
    QCOMPARE(pendingModalActions(), 0);
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_menu WHERE caption=?"), {QStringLiteral("Menühasználat")}), 1);
    QVERIFY(captions(submenu(admin.window->menuBar(), QStringLiteral("Rendszer"))->actions()).contains(QStringLiteral("Menühasználat")));
}

// However a panel is asked for (by ProgID, from the menu), it opens only when the user's menu,
// as stored at that moment, holds an item for it in that mode; a refusal opens and logs nothing.
void TstShellWindow::onlyWhatTheMenuHoldsOpens()
{
    ShellFixture f;
    QVERIFY(f.open());
    f.standIn({QStringLiteral("NexoFrame.Users"), QStringLiteral("NexoFrame.OLAPReports"), QStringLiteral("NexoFrame.Reports")});
    LoggedIn peter(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
    const int logBefore = f.count(kLogCount);
    Notices::setConsole(true);
    QVERIFY(!peter.window->openPanel(QStringLiteral("NexoFrame.Users"), 0, QString(), QStringLiteral("Felhasználók")));
    QVERIFY2(Notices::last().contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")), qPrintable(Notices::last()));
    QVERIFY(!peter.window->openPanel(QStringLiteral("NexoFrame.OLAPReports"), 1, QString(), QStringLiteral("OLAP")));
    QCOMPARE(peter.tabs()->count(), 0);
    QVERIFY(peter.window->openPanel(QStringLiteral("NexoFrame.OLAPReports"), 0, QString(), QStringLiteral("OLAP")));

    // His menu was built before an administrator took "Riportok" from his role: chosen now, it
    // is refused.
    QVERIFY(peter.window->menuAction(13));
    QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_menu SET auth_4=%1 WHERE id=13").arg(f.db->boolLiteral(false))));
    Notices::clearLast();
    peter.window->menuAction(13)->trigger();
    QVERIFY2(Notices::last().contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")), qPrintable(Notices::last()));
    QCOMPARE(peter.tabs()->count(), 1);
    QCOMPARE(f.count(kLogCount), logBefore);
    // A barred user keeps his window but opens nothing more.
    QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_user SET access_denied=%1 WHERE id=3").arg(f.db->boolLiteral(true))));
    QVERIFY(!peter.window->openMenuItem(*peter.window->menuEntry(11)));
    Notices::setConsole(false);
    QCOMPARE(peter.tabs()->count(), 1);
}

// The shell's own application object, so that its exception guard is under test.
int main(int argc, char** argv)
{
    Application app(argc, argv);
    TstShellWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shell_window.moc"
