#include "ShellFixture.h"
#include "ShellLogin.h"
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSet>
#include <QTest>

using namespace NexoFrame;
using namespace NexoFrame::Shell;
using Status = LoginResult::Status;

class TstShellLogin : public QObject {
    Q_OBJECT
private slots:
    void eachReasonIsRefusedApart_data();
    void eachReasonIsRefusedApart();
    void refusalsSayDifferentThings();
    void liveAccountWinsOverDeletedNamesake();
    void dialogKeepsNameAndRetries();
    void dialogCancelLogsNoOneIn();
};

void TstShellLogin::eachReasonIsRefusedApart_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("userId");
    QTest::addColumn<int>("groupId");
    QTest::newRow("admin") << "admin" << "admin" << int(Status::Ok) << 1 << 1;
    QTest::newRow("restricted group") << "nagy.peter" << "peter123" << int(Status::Ok) << 3 << 3;
    QTest::newRow("name typed with blanks") << "  admin " << "admin" << int(Status::Ok) << 1 << 1;
    QTest::newRow("wrong password") << "admin" << "Admin" << int(Status::BadCredentials) << -1 << -1;
    QTest::newRow("stored cipher typed as password") << "admin"
        << Connection::ciphered(QStringLiteral("admin"), QStringLiteral("tazeq3wnk8"), QStringLiteral("prvd57gh2eb"))
        << int(Status::BadCredentials) << -1 << -1;
    QTest::newRow("unknown user") << "senki" << "admin" << int(Status::BadCredentials) << -1 << -1;
    QTest::newRow("no name") << "  " << "admin" << int(Status::MissingName) << -1 << -1;
    QTest::newRow("deleted") << "toth.gabor" << "gabor123" << int(Status::Deleted) << -1 << -1;
    QTest::newRow("deleted, wrong password reveals nothing") << "toth.gabor" << "x" << int(Status::BadCredentials) << -1 << -1;
    QTest::newRow("access denied") << "szabo.eva" << "eva123" << int(Status::AccessDenied) << -1 << -1;
    QTest::newRow("access denied, wrong password reveals nothing") << "szabo.eva" << "" << int(Status::BadCredentials) << -1 << -1;
}

void TstShellLogin::eachReasonIsRefusedApart()
{
    QFETCH(QString, name);
    QFETCH(QString, password);
    QFETCH(int, status);
    QFETCH(int, userId);
    QFETCH(int, groupId);
    ShellFixture f;
    QVERIFY(f.open());
    const LoginResult r = f.login(name, password);
    QCOMPARE(int(r.status), status);
    QCOMPARE(r.userId, userId);
    QCOMPARE(r.groupId, groupId);
    QCOMPARE(r.message.isEmpty(), r.ok());
}

void TstShellLogin::refusalsSayDifferentThings()
{
    ShellFixture f;
    QVERIFY(f.open());
    const LoginResult bad = f.login(QStringLiteral("admin"), QStringLiteral("rossz"));
    QCOMPARE(bad.message, QStringLiteral("Hibás felhasználónév vagy jelszó."));
    QCOMPARE(f.login(QStringLiteral("nincs.ilyen"), QStringLiteral("rossz")).message, bad.message);
    const QSet<QString> messages{bad.message, f.login(QStringLiteral("toth.gabor"), QStringLiteral("gabor123")).message,
                                 f.login(QStringLiteral("szabo.eva"), QStringLiteral("eva123")).message,
                                 f.login(QString(), QString()).message};
    QCOMPARE(messages.size(), 4);
}

void TstShellLogin::liveAccountWinsOverDeletedNamesake()
{
    ShellFixture f;
    QVERIFY(f.open());
    Recordset& rs = f.db->editRecordset(Tables::User);
    rs.addNew();
    rs.setField(QStringLiteral("id"), 50);
    rs.setField(QStringLiteral("user_group_id"), 2);
    rs.setField(QStringLiteral("user_name"), QStringLiteral("toth.gabor"));
    rs.setField(QStringLiteral("display_name"), QStringLiteral("Tóth Gábor (új)"));
    rs.setField(QStringLiteral("password"), Connection::ciphered(QStringLiteral("gabor123"), QStringLiteral("tazeq3wnk8"),
                                                                 QStringLiteral("prvd57gh2eb")));
    QVERIFY2(rs.update(), qPrintable(rs.lastError()));

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
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));

    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("szabo.eva"));
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("eva123"));
    QTest::mouseClick(dlg.loginButton(), Qt::LeftButton);
    QVERIFY(dlg.isVisible());
    QCOMPARE(dlg.loginResult().status, Status::AccessDenied);
    QCOMPARE(dlg.messageLabel()->text(), dlg.loginResult().message);
    QVERIFY(dlg.messageLabel()->isVisible());
    QCOMPARE(dlg.userNameEdit()->text(), QStringLiteral("szabo.eva"));
    QVERIFY(dlg.passwordEdit()->text().isEmpty());

    dlg.userNameEdit()->clear();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("nagy.peter"));
    QTest::keyClicks(dlg.passwordEdit(), QStringLiteral("peter123"));
    QTest::keyClick(dlg.passwordEdit(), Qt::Key_Return);
    QCOMPARE(dlg.result(), int(QDialog::Accepted));
    QVERIFY(dlg.loginResult().ok());
    QCOMPARE(dlg.loginResult().userId, 3);
    QCOMPARE(dlg.loginResult().displayName, QStringLiteral("Nagy Péter"));
}

void TstShellLogin::dialogCancelLogsNoOneIn()
{
    ShellFixture f;
    QVERIFY(f.open());
    LoginDialog dlg(*f.db, f.dbPath());
    dlg.show();
    QTest::keyClicks(dlg.userNameEdit(), QStringLiteral("admin"));
    QTest::keyClick(&dlg, Qt::Key_Escape);
    QCOMPARE(dlg.result(), int(QDialog::Rejected));
    QVERIFY(!dlg.loginResult().ok());
}

QTEST_MAIN(TstShellLogin)
#include "tst_shell_login.moc"
