#include "ShellFixture.h"
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace NexoFrame;
using namespace NexoFrame::Shell;
using Status = LoginResult::Status;

class TstShellLogin : public QObject {
    Q_OBJECT
private slots:
    void eachReasonIsRefusedApart_data();
    void eachReasonIsRefusedApart();
    void liveAccountWinsOverDeletedNamesake();
    void dialogKeepsNameAndRetries();
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

QTEST_MAIN(TstShellLogin)
#include "tst_shell_login.moc"
