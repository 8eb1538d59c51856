#include "LoginGuard.h"
#include "ShellFixture.h"
#include "Snapshots.h"
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSysInfo>

using namespace NexoFrame;
using namespace NexoFrame::Shell;
using Status = LoginResult::Status;

namespace {

// A guard whose clock the test moves; it starts on a Monday morning.
struct Clocked {
    QDateTime now{QDate(2026, 3, 2), QTime(9, 0)};
    LoginGuard guard;
    explicit Clocked(Connection& c) : guard(c, [this] { return now; }) {}
    LoginResult login(Connection& c, const QString& name, const QString& password)
    {
        return checkLogin(c, name, password, guard);
    }
    // `count` wrong passwords for `name`, `gapSecs` apart, the clock left at the last one.
    void fail(Connection& c, const QString& name, int count, int gapSecs = 60)
    {
        for (int i = 0; i < count; ++i) {
            if (i > 0) now = now.addSecs(gapSecs);
            const LoginResult r = login(c, name, QStringLiteral("rossz"));
            QCOMPARE(r.status, Status::BadCredentials);
        }
    }
};

void setLimits(Connection& c, const QString& failures, const QString& minutes)
{
    if (!failures.isEmpty()) QVERIFY(c.writeSetting(QStringLiteral("MAINFRAME"), QStringLiteral("LoginMaxFailures"), failures));
    if (!minutes.isEmpty()) QVERIFY(c.writeSetting(QStringLiteral("MAINFRAME"), QStringLiteral("LoginLockMinutes"), minutes));
}

} // namespace

class TstShellLogin : public QObject {
    Q_OBJECT
private slots:
    void eachReasonIsRefusedApart_data();
    void eachReasonIsRefusedApart();
    void liveAccountWinsOverDeletedNamesake();
    void dialogKeepsNameAndRetries();
    void lockAfterFailuresEvenForTheRightPassword_data();
    void lockAfterFailuresEvenForTheRightPassword();
    void onlyFailuresCloseTogetherLock();
    void failuresAreLoggedAndForgivenByALogin();
    void dialogShowsTheLock();
    void olderDatabaseGetsTheTable();
};

void TstShellLogin::eachReasonIsRefusedApart_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("userId");
    QTest::addColumn<QString>("said");
    const QString bad = QStringLiteral("Hibás felhasználónév vagy jelszó.");
    const QString stored = Connection::ciphered(QStringLiteral("admin"), QStringLiteral("tazeq3wnk8"), QStringLiteral("prvd57gh2eb"));
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
    QTest::addColumn<QString>("failuresSetting");
    QTest::addColumn<QString>("minutesSetting");
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("minutes");
    QTest::newRow("defaults") << "" << "" << 5 << 15;
    QTest::newRow("3 in 10 minutes") << "3" << "10" << 3 << 10;
    QTest::newRow("1 for a day") << "1" << "1440" << 1 << 1440;
    QTest::newRow("unreadable settings") << "sok" << "x" << 5 << 15;
}

void TstShellLogin::lockAfterFailuresEvenForTheRightPassword()
{
    QFETCH(QString, failuresSetting);
    QFETCH(QString, minutesSetting);
    QFETCH(int, failures);
    QFETCH(int, minutes);
    ShellFixture f;
    QVERIFY(f.open());
    setLimits(*f.db, failuresSetting, minutesSetting);
    Clocked k(*f.db);
    QCOMPARE(k.guard.maxFailures(), failures);
    QCOMPARE(k.guard.lockMinutes(), minutes);

    // One short of the limit: the right password still gets in, and forgives the failures.
    k.fail(*f.db, QStringLiteral("kovacs.anna"), failures - 1);
    k.now = k.now.addSecs(10);
    QVERIFY(k.login(*f.db, QStringLiteral("kovacs.anna"), QStringLiteral("anna123")).ok());

    k.now = k.now.addSecs(60);
    k.fail(*f.db, QStringLiteral("kovacs.anna"), failures);
    const QDateTime last = k.now;
    const QDateTime end = last.addSecs(minutes * 60);
    k.now = k.now.addSecs(30);
    for (const QString& password : {QStringLiteral("anna123"), QStringLiteral("rossz")}) {
        const LoginResult r = k.login(*f.db, QStringLiteral(" kovacs.anna "), password);
        QCOMPARE(r.status, Status::Locked);
        QCOMPARE(r.userId, -1);
        QCOMPARE(r.lockedUntil, end);
        const QString until = end.date() == k.now.date() ? end.toString(QStringLiteral("HH:mm"))
                                                          : end.toString(QStringLiteral("yyyy.MM.dd. HH:mm"));
        QCOMPARE(r.message, QStringLiteral("Túl sok sikertelen bejelentkezés. A(z) „kovacs.anna” felhasználónév %1-ig "
                                           "zárolva van, addig a helyes jelszóval sem lehet belépni. A zárolást a "
                                           "rendszergazda ennél korábban is feloldhatja.").arg(until));
    }
    // Refusals of the lock are not failures: the lock does not grow.
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name='kovacs.anna' AND cleared_at IS NULL")),
             failures);
    QCOMPARE(k.guard.lockedNames(), (QHash<QString, QDateTime>{{QStringLiteral("kovacs.anna"), end}}));
    // Another name, and the same name in other letters, are not locked.
    QVERIFY(k.login(*f.db, QStringLiteral("admin"), QStringLiteral("admin")).ok());
    QVERIFY(!k.guard.lockedUntil(QStringLiteral("Kovacs.Anna")).isValid());

    k.now = end.addSecs(-1);
    QCOMPARE(k.login(*f.db, QStringLiteral("kovacs.anna"), QStringLiteral("anna123")).status, Status::Locked);
    k.now = end;
    QVERIFY(k.login(*f.db, QStringLiteral("kovacs.anna"), QStringLiteral("anna123")).ok());
    QVERIFY(k.guard.lockedNames().isEmpty());
}

void TstShellLogin::onlyFailuresCloseTogetherLock()
{
    ShellFixture f;
    QVERIFY(f.open());
    Clocked k(*f.db);
    // Failures four minutes apart: any five span 16 minutes, never five within 15.
    k.fail(*f.db, QStringLiteral("nagy.peter"), 8, 4 * 60);
    QVERIFY(k.login(*f.db, QStringLiteral("nagy.peter"), QStringLiteral("peter123")).ok());

    // Three within ten minutes lock, three spanning exactly ten do not.
    setLimits(*f.db, QStringLiteral("3"), QStringLiteral("10"));
    k.now = k.now.addSecs(3600);
    k.fail(*f.db, QStringLiteral("nagy.peter"), 3, 5 * 60);
    QVERIFY(k.login(*f.db, QStringLiteral("nagy.peter"), QStringLiteral("peter123")).ok());
    k.fail(*f.db, QStringLiteral("nagy.peter"), 2, 5 * 60);
    k.now = k.now.addSecs(5 * 60 - 1);
    QCOMPARE(k.login(*f.db, QStringLiteral("nagy.peter"), QStringLiteral("rossz")).status, Status::BadCredentials);
    QCOMPARE(k.login(*f.db, QStringLiteral("nagy.peter"), QStringLiteral("peter123")).status, Status::Locked);

    // An unknown name is locked like a known one, so the lock tells no one which names exist.
    k.fail(*f.db, QStringLiteral("senki"), 3);
    QCOMPARE(k.login(*f.db, QStringLiteral("senki"), QStringLiteral("x")).status, Status::Locked);

    // Either setting at 0 turns the lock off; the failures are still logged.
    setLimits(*f.db, QStringLiteral("0"), QString());
    QVERIFY(k.login(*f.db, QStringLiteral("nagy.peter"), QStringLiteral("peter123")).ok());
    setLimits(*f.db, QStringLiteral("3"), QStringLiteral("0"));
    k.fail(*f.db, QStringLiteral("kiss.bela"), 4);
    QVERIFY(k.login(*f.db, QStringLiteral("kiss.bela"), QStringLiteral("bela123")).ok());
}

void TstShellLogin::failuresAreLoggedAndForgivenByALogin()
{
    ShellFixture f;
    QVERIFY(f.open());
    Clocked k(*f.db);
    const QString machine = QSysInfo::machineHostName();
    QCOMPARE(k.login(*f.db, QStringLiteral("  admin "), QStringLiteral("Admin")).status, Status::BadCredentials);
    k.now = k.now.addSecs(61);
    QCOMPARE(k.login(*f.db, QStringLiteral("senki"), QStringLiteral("admin")).status, Status::BadCredentials);
    QCOMPARE(k.login(*f.db, QStringLiteral("toth.gabor"), QStringLiteral("x")).status, Status::BadCredentials);
    // Neither a missing name nor a right password of a barred or deleted account is a failure.
    QCOMPARE(k.login(*f.db, QStringLiteral(" "), QStringLiteral("x")).status, Status::MissingName);
    QCOMPARE(k.login(*f.db, QStringLiteral("szabo.eva"), QStringLiteral("eva123")).status, Status::AccessDenied);
    QCOMPARE(k.login(*f.db, QStringLiteral("toth.gabor"), QStringLiteral("gabor123")).status, Status::Deleted);

    const TableDef& t = *f.db->tableDef(QStringLiteral("qnd_login_failure"));
    auto rows = [&] {
        QStringList l;
        for (const QVariantList& r : f.db->select(QStringLiteral("SELECT user_name, failed_at, machine, cleared_at FROM "
                                                                 "qnd_login_failure ORDER BY id")))
            l << QStringLiteral("%1 %2 %3 %4").arg(r[0].toString(),
                                                   f.db->engine().fromDb(*t.column(QStringLiteral("failed_at")), r[1]).toDateTime().toString(QStringLiteral("HH:mm:ss")),
                                                   r[2].toString() == machine ? QStringLiteral("gép") : r[2].toString(),
                                                   f.db->engine().fromDb(*t.column(QStringLiteral("cleared_at")), r[3]).toDateTime().toString(QStringLiteral("HH:mm:ss")));
        return l;
    };
    QCOMPARE(rows(), (QStringList{"admin 09:00:00 gép ", "senki 09:01:01 gép ", "toth.gabor 09:01:01 gép "}));

    // A login forgives only its own name's failures, which stay in the log.
    k.now = k.now.addSecs(60);
    QVERIFY(k.login(*f.db, QStringLiteral("admin"), QStringLiteral("admin")).ok());
    QCOMPARE(rows(), (QStringList{"admin 09:00:00 gép 09:02:01", "senki 09:01:01 gép ", "toth.gabor 09:01:01 gép "}));

    // The administrator's unlock is the same forgiving.
    k.guard.clear(QStringLiteral(" senki"));
    QCOMPARE(rows().value(1), QStringLiteral("senki 09:01:01 gép 09:02:01"));
}

void TstShellLogin::dialogShowsTheLock()
{
    ShellFixture f;
    QVERIFY(f.open());
    setLimits(*f.db, QStringLiteral("3"), QStringLiteral("15"));
    LoginDialog dlg(*f.db, f.dbPath());
    QDateTime now(QDate(2026, 3, 2), QTime(14, 20));
    dlg.loginGuard().setClock([&now] { return now; });
    dlg.show();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("kovacs.anna"));
    for (int i = 0; i < 3; ++i) {
        QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("anna12"));
        QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
        QCOMPARE(dlg.messageLabel()->text(), QStringLiteral("Hibás felhasználónév vagy jelszó."));
    }
    now = now.addSecs(120);
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("anna123"));
    QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
    QVERIFY(dlg.isVisible());
    QCOMPARE(dlg.loginResult().status, Status::Locked);
    QVERIFY(dlg.messageLabel()->isVisible());
    QVERIFY2(dlg.messageLabel()->text().contains(QStringLiteral("„kovacs.anna” felhasználónév 14:35-ig zárolva van")),
             qPrintable(dlg.messageLabel()->text()));
    QVERIFY(dlg.passwordEdit()->text().isEmpty());
    keepPicture(&dlg, QStringLiteral("login_locked"));

    now = QDateTime(QDate(2026, 3, 2), QTime(14, 35));
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("anna123"));
    QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
    QCOMPARE(dlg.result(), int(QDialog::Accepted));
    QCOMPARE(dlg.loginResult().userId, 2);
}

void TstShellLogin::olderDatabaseGetsTheTable()
{
    ShellFixture f;
    QVERIFY(f.open());
    const int users = f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user"));
    QVERIFY(f.db->execute(QStringLiteral("DROP TABLE qnd_login_failure")));
    f.db.reset();
    QVERIFY(f.open());
    QVERIFY(!f.db->createdSchema());
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user")), users);
    QCOMPARE(f.login(QStringLiteral("admin"), QStringLiteral("x")).status, Status::BadCredentials);
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name='admin'")), 1);
}

QTEST_MAIN(TstShellLogin)
#include "tst_shell_login.moc"
