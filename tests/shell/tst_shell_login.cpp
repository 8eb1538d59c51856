#include "LoginGuard.h"
#include "MenuAccess.h"
#include "ModalDriver.h"
#include "OldLayouts.h"
#include "ShellNotices.h"
#include "ShellFixture.h"
#include "ShellUpgrade.h"
#include "Secrets.h"
#include "Snapshots.h"
#include <QLabel>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QSysInfo>
#include <QToolBar>

using namespace NexoFrame;
using namespace NexoFrame::Shell;
using Status = LoginResult::Status;

namespace {

// A guard whose clock the test moves, from a Monday morning on.
struct Clocked {
    Connection& c;
    QDateTime now{QDate(2026, 3, 2), QTime(9, 0)};
    LoginGuard guard{c, [this] { return now; }};
    Status login(const QString& name, const QString& password) { return checkLogin(c, name, password, guard).status; }
    // `count` wrong passwords `gap` seconds apart, the clock left at the last.
    void fail(const QString& name, int count, int gap = 60)
    {
        for (int i = 0; i < count; ++i) {
            if (i > 0) now = now.addSecs(gap);
            QCOMPARE(login(name, QStringLiteral("x")), Status::BadCredentials);
        }
    }
};

} // namespace

class TstShellLogin : public QObject {
    Q_OBJECT
private slots:
    void eachReasonIsRefusedApart_data();
    void eachReasonIsRefusedApart();
    void liveAccountWinsOverDeletedNamesake();
    void userOfAGoneGroupIsRefused_data();
    void userOfAGoneGroupIsRefused();
    void dialogKeepsNameAndRetries();
    void lockAfterFailuresEvenForTheRightPassword_data();
    void lockAfterFailuresEvenForTheRightPassword();
    void spreadFailuresAndTheLog();
    void dialogShowsTheLock();
    void olderDatabaseAfterTheLogin();
};

void TstShellLogin::eachReasonIsRefusedApart_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("userId");
    QTest::addColumn<QString>("said");
    const QString bad = QStringLiteral("Hibás felhasználónév vagy jelszó.");
    const QString stored = Secrets::ciphered(QStringLiteral("admin"), QStringLiteral("tazeq3wnk8"), QStringLiteral("prvd57gh2eb"));
    QTest::newRow("admin") << "admin" << "admin" << int(Status::Ok) << 1 << "";
    QTest::newRow("restricted group") << "nagy.peter" << "peter123" << int(Status::Ok) << 3 << "";
    QTest::newRow("name typed with blanks") << "  admin " << "admin" << int(Status::Ok) << 1 << "";
    QTest::newRow("wrong password") << "admin" << "Admin" << int(Status::BadCredentials) << -1 << bad;
    QTest::newRow("stored cipher typed") << "admin" << stored << int(Status::BadCredentials) << -1 << bad;
    QTest::newRow("unknown user") << "senki" << "admin" << int(Status::BadCredentials) << -1 << bad;
    QTest::newRow("no name") << "  " << "admin" << int(Status::MissingName) << -1 << "felhasználónevet";
    QTest::newRow("deleted") << "toth.gabor" << "gabor123" << int(Status::Deleted) << -1 << "törölve";
    QTest::newRow("deleted, wrong password") << "toth.gabor" << "x" << int(Status::BadCredentials) << -1 << bad;
    QTest::newRow("access denied") << "szabo.eva" << "eva123" << int(Status::AccessDenied) << -1 << "le van tiltva";
    QTest::newRow("access denied, wrong password") << "szabo.eva" << "" << int(Status::BadCredentials) << -1 << bad;
}

void TstShellLogin::eachReasonIsRefusedApart()
{
    QFETCH(QString, name);
    QFETCH(QString, password);
    QFETCH(int, status);
    QFETCH(int, userId);
    QFETCH(QString, said);
    ShellFixture f;
    QVERIFY(f.open());
    const LoginResult r = f.login(name, password);
    QCOMPARE(int(r.status), status);
    QCOMPARE(r.userId, userId);
    QVERIFY2(said.isEmpty() ? r.message.isEmpty() : r.message.contains(said), qPrintable(r.message));
}

void TstShellLogin::liveAccountWinsOverDeletedNamesake()
{
    ShellFixture f;
    QVERIFY(f.open());
    QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_user (id, user_group_id, user_name, display_name, password) "
                                         "SELECT 50, 2, user_name, 'Tóth Gábor (új)', password FROM qnd_user WHERE id=5")));
    const LoginResult r = f.login(QStringLiteral("toth.gabor"), QStringLiteral("gabor123"));
    QVERIFY(r.ok());
    QCOMPARE(r.userId, 50);
    QCOMPARE(r.groupId, 2);
    QCOMPARE(r.displayName, QStringLiteral("Tóth Gábor (új)"));
}

void TstShellLogin::userOfAGoneGroupIsRefused_data()
{
    QTest::addColumn<QString>("sql");
    QTest::newRow("group deleted") << "UPDATE qnd_user_group SET del_status=2 WHERE id=3";
    QTest::newRow("group missing") << "UPDATE qnd_user SET user_group_id=99 WHERE id=3";
}

// Nagy Péter's group goes: he is refused as a barred user is, and a window opened for him
// anyway shows no menu, not even the item he made himself, and opens nothing.
void TstShellLogin::userOfAGoneGroupIsRefused()
{
    QFETCH(QString, sql);
    ShellFixture f;
    QVERIFY(f.open());
    QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, caption, class_name, create_user, toolbar_visible) "
                                         "VALUES (40, 0, 'Saját', 'NexoFrame.OLAPReports', 3, %1)").arg(f.db->boolLiteral(true))));
    LoggedIn before(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
    QVERIFY(before.window->menuEntryFor(QStringLiteral("NexoFrame.OLAPReports"), 0));
    QVERIFY(!before.window->toolbar()->actions().isEmpty());
    QVERIFY(f.db->execute(sql));

    LoginDialog dlg(*f.db, f.dbPath());
    dlg.show();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("nagy.peter"));
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("peter123"));
    QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
    QVERIFY(dlg.isVisible());
    QCOMPARE(dlg.loginResult().status, Status::GroupDeleted);
    QCOMPARE(dlg.loginResult().userId, -1);
    QCOMPARE(dlg.messageLabel()->text(),
             QStringLiteral("A felhasználó csoportja törölve van vagy nem létezik. Forduljon a rendszergazdához."));
    // The wrong password still says nothing of the group.
    QCOMPARE(f.login(QStringLiteral("nagy.peter"), QStringLiteral("x")).status, Status::BadCredentials);

    LoginResult forged = before.user;
    Modules modules(f.registryPath());
    MainWindow window(*f.db, modules, forged, f.dbPath());
    QVERIFY(window.menuEntries().isEmpty());
    QVERIFY(!window.menuEntryFor(QStringLiteral("NexoFrame.OLAPReports"), 0));
    QVERIFY(window.toolbar()->actions().isEmpty());
    QVERIFY(!mayOpenPanel(*f.db, 3, QStringLiteral("NexoFrame.OLAPReports"), 0));
    Notices::setConsole(true);
    QVERIFY(!window.openPanel(QStringLiteral("NexoFrame.OLAPReports"), 0, QString(), QStringLiteral("OLAP")));
    Notices::setConsole(false);
    QVERIFY(Notices::last().contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")));
}

void TstShellLogin::dialogKeepsNameAndRetries()
{
    ShellFixture f;
    QVERIFY(f.open());
    LoginDialog dlg(*f.db, f.dbPath());
    QCOMPARE(dlg.windowTitle(), QStringLiteral("Bejelentkezés"));
    dlg.show();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("szabo.eva"));
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("eva123"));
    QTest::mouseClick(dlg.loginButton(), Qt::LeftButton);
    QVERIFY(dlg.isVisible());
    QCOMPARE(dlg.loginResult().status, Status::AccessDenied);
    QVERIFY(dlg.messageLabel()->isVisible());
    QCOMPARE(dlg.messageLabel()->text(), dlg.loginResult().message);
    QCOMPARE(dlg.userNameEdit()->text(), QStringLiteral("szabo.eva"));
    QVERIFY(dlg.passwordEdit()->text().isEmpty());

    dlg.userNameEdit()->clear();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("nagy.peter"));
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("peter123"));
    QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
    QCOMPARE(dlg.result(), int(QDialog::Accepted));
    QCOMPARE(dlg.loginResult().userId, 3);
    QCOMPARE(dlg.loginResult().displayName, QStringLiteral("Nagy Péter"));
}

void TstShellLogin::lockAfterFailuresEvenForTheRightPassword_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("minutes");
    QTest::addColumn<QString>("until"); // the lock's end as the message says it
    QTest::newRow("defaults") << 0 << 0 << "09:23";
    QTest::newRow("3 in 10 minutes") << 3 << 10 << "09:14";
    QTest::newRow("1 for a day") << 1 << 1440 << "2026.03.03. 09:01";
}

void TstShellLogin::lockAfterFailuresEvenForTheRightPassword()
{
    QFETCH(int, failures);
    QFETCH(int, minutes);
    QFETCH(QString, until);
    ShellFixture f;
    QVERIFY(f.open());
    if (failures) QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("LoginMaxFailures"), QString::number(failures)));
    if (minutes) QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("LoginLockMinutes"), QString::number(minutes)));
    Clocked k{*f.db};
    const int n = k.guard.maxFailures(), m = k.guard.lockMinutes();
    // One short of the limit the right password gets in, and the count starts again.
    k.fail(QStringLiteral("kovacs.anna"), n - 1);
    QCOMPARE(k.login(QStringLiteral("kovacs.anna"), QStringLiteral("anna123")), Status::Ok);
    k.now = k.now.addSecs(60);
    k.fail(QStringLiteral("kovacs.anna"), n);
    const QDateTime end = k.now.addSecs(m * 60);
    k.now = k.now.addSecs(30);
    const LoginResult r = checkLogin(*f.db, QStringLiteral(" kovacs.anna "), QStringLiteral("anna123"), k.guard);
    QCOMPARE(r.status, Status::Locked);
    QCOMPARE(r.lockedUntil, end);
    QCOMPARE(r.message, QStringLiteral("Túl sok sikertelen bejelentkezés. A(z) „kovacs.anna” felhasználónév %1-ig zárolva van, addig a "
                                       "helyes jelszóval sem lehet belépni. A zárolást a rendszergazda ennél korábban is feloldhatja.").arg(until));
    // A refusal of the lock is no failure; other names are free, the same name in other letters
    // is not (a directory takes it for the same).
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE cleared_at IS NULL")), n);
    QCOMPARE(k.login(QStringLiteral("admin"), QStringLiteral("admin")), Status::Ok);
    QCOMPARE(k.guard.lockedUntil(QStringLiteral("Kovacs.Anna")), end);
    k.now = end.addSecs(-1);
    QCOMPARE(k.login(QStringLiteral("kovacs.anna"), QStringLiteral("anna123")), Status::Locked);
    k.now = end;
    QCOMPARE(k.login(QStringLiteral("kovacs.anna"), QStringLiteral("anna123")), Status::Ok);
}

void TstShellLogin::spreadFailuresAndTheLog()
{
    // A database made before the table: its logins are not counted until its upgrade makes it.
    ShellFixture f;
    QVERIFY(f.open());
    QVERIFY(f.db->execute(QStringLiteral("DROP TABLE qnd_login_failure")));
    f.db.reset();
    QVERIFY(f.open() && !f.db->createdSchema());
    QCOMPARE(f.db->schemaState().kind, SchemaState::Kind::Older);
    {
        Clocked before{*f.db};
        before.fail(QStringLiteral("senki"), 8);
        QCOMPARE(before.login(QStringLiteral("admin"), QStringLiteral("admin")), Status::Ok);
    }
    QString error;
    QVERIFY2(SchemaUpgrade::upgrade(*f.db, &error), qPrintable(error));
    Clocked k{*f.db};
    // Four minutes apart, no five fall within 15 minutes; the lock is on names, known or not.
    k.fail(QStringLiteral("senki"), 8, 4 * 60);
    QCOMPARE(k.login(QStringLiteral("senki"), QStringLiteral("x")), Status::BadCredentials);
    QCOMPARE(k.login(QStringLiteral("senki"), QStringLiteral("x")), Status::Locked);
    // Each failure is a row with the name as the login compares it, the time and the machine;
    // a login forgives its own name's rows and keeps them.
    k.fail(QStringLiteral(" admin "), 1);
    k.now = k.now.addSecs(60);
    QCOMPARE(k.login(QStringLiteral("admin"), QStringLiteral("admin")), Status::Ok);
    const ColumnDef& when = *f.db->tableDef(QStringLiteral("qnd_login_failure"))->column(QStringLiteral("failed_at"));
    const QVariantList row = f.db->select(QStringLiteral("SELECT failed_at, machine, cleared_at FROM qnd_login_failure WHERE user_name='admin'")).value(0);
    QCOMPARE(f.db->engine().fromDb(when, row.value(0)).toDateTime(), QDateTime(QDate(2026, 3, 2), QTime(9, 28)));
    QCOMPARE(row.value(1).toString(), QSysInfo::machineHostName());
    QCOMPARE(f.db->engine().fromDb(when, row.value(2)).toDateTime(), QDateTime(QDate(2026, 3, 2), QTime(9, 29)));
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE cleared_at IS NULL")), 9);
    // Either setting at 0 turns the lock off.
    QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("LoginLockMinutes"), QStringLiteral("0")));
    QVERIFY(k.guard.lockedNames().isEmpty());
}

void TstShellLogin::dialogShowsTheLock()
{
    ShellFixture f;
    QVERIFY(f.open());
    LoginDialog dlg(*f.db, f.dbPath());
    QDateTime now(QDate(2026, 3, 2), QTime(14, 20));
    dlg.loginGuard().setClock([&now] { return now; });
    dlg.show();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("kovacs.anna"));
    for (const char* password : {"a", "b", "c", "d", "e", "anna123"}) {
        QTest::keyClicks(dlg.passwordEdit(), QString::fromLatin1(password));
        QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
    }
    QCOMPARE(dlg.loginResult().status, Status::Locked);
    QVERIFY(dlg.isVisible() && dlg.messageLabel()->isVisible());
    QVERIFY2(dlg.messageLabel()->text().contains(QStringLiteral("„kovacs.anna” felhasználónév 14:35-ig zárolva van")),
             qPrintable(dlg.messageLabel()->text()));
    keepPicture(&dlg, QStringLiteral("login_locked"));
}

void TstShellLogin::olderDatabaseAfterTheLogin()
{
    // Anyone logs in to an older database with what every layout has; only a holder of the
    // upgrade key may go on, and only through the upgrade.
    ShellFixture f;
    OldLayouts::make(f.database, OldLayouts::Layout::BeforeListsReportsHistory);
    QString error;
    f.db = Connection::openDatabase(f.dbPath(), Connection::DemoData::IfCreated, &error);
    QVERIFY2(f.db, qPrintable(error));
    const LoginResult clerk = checkLogin(*f.db, QStringLiteral("konyv"), QStringLiteral("konyv"));
    const LoginResult admin = checkLogin(*f.db, QStringLiteral("admin"), QStringLiteral("admin"));
    QVERIFY(clerk.ok() && admin.ok());
    resetModalDriver();
    Notices::clearLast();
    answerNextModal(QStringLiteral("OK"));
    QCOMPARE(passUpgradeGate(nullptr, *f.db, clerk.userId), AfterLogin::Stop);
    QCOMPARE(Notices::last(), SchemaUpgrade::refusedMessage());

    onNextModal([&](QWidget* box) {
        QCOMPARE(dialogText(box), SchemaUpgrade::question(*f.db));
        keepPicture(box, QStringLiteral("upgrade_question"));
        clickButton(box, QStringLiteral("Kilépés"));
    });
    QCOMPARE(passUpgradeGate(nullptr, *f.db, admin.userId), AfterLogin::Quit);
    // On the console nobody is asked.
    Notices::setConsole(true);
    QCOMPARE(passUpgradeGate(nullptr, *f.db, admin.userId), AfterLogin::Stop);
    QVERIFY2(Notices::last().contains(QStringLiteral("Felügyelet nélküli")), qPrintable(Notices::last()));
    Notices::setConsole(false);
    f.db->inspectSchema();
    QCOMPARE(f.db->schemaState().kind, SchemaState::Kind::Older);

    // A backup not made asks again; the upgrade without one opens the database for work.
    answerNextModal(QStringLiteral("Mentés, majd frissítés…"));
    onNextModal([](QWidget* d) {
        QVERIFY(qobject_cast<QFileDialog*>(d));
        static_cast<QDialog*>(d)->reject();
    });
    answerNextModal(QStringLiteral("Frissítés mentés nélkül"));
    onNextModal([&](QWidget* box) {
        QCOMPARE(dialogText(box), SchemaUpgrade::doneMessage(*f.db));
        clickButton(box, QStringLiteral("OK"));
    });
    QCOMPARE(passUpgradeGate(nullptr, *f.db, admin.userId), AfterLogin::Work);
    QCOMPARE(expiredModalActions(), 0);
    QCOMPARE(f.db->schemaState().kind, SchemaState::Kind::Current);
    QCOMPARE(passUpgradeGate(nullptr, *f.db, clerk.userId), AfterLogin::Work);
}

QTEST_MAIN(TstShellLogin)
#include "tst_shell_login.moc"
