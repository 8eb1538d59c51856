#include "LoginGuard.h"
#include "ModalDriver.h"
#include "ShellFixture.h"
#include "ShellTwoStep.h"
#include "Snapshots.h"
#include "TwoStep.h"
#include "TwoStepTesting.h"
#include <QAction>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>

using namespace NexoFrame;
using namespace NexoFrame::Shell;
using Status = LoginResult::Status;

namespace {

// What a phone's camera reads from the picture: zbarimg on the saved PNG.
QString scanned(const QPixmap& picture, const QString& file)
{
    if (!picture.save(file, "PNG")) return QStringLiteral("(nem menthető)");
    QProcess p;
    p.start(QStringLiteral("zbarimg"), {QStringLiteral("--raw"), QStringLiteral("-q"), file});
    p.waitForFinished(20000);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

// A guard whose clock the test moves, from a Monday morning on.
struct Clocked {
    Connection& c;
    QDateTime now{QDate(2026, 3, 2), QTime(9, 0)};
    LoginGuard guard{c, [this] { return now; }};
    LoginResult password(const QString& name, const QString& pw) { return checkLogin(c, name, pw, guard); }
    LoginResult code(const LoginResult& after, const QString& typed) { return checkCode(c, after, typed, guard); }
};

// Enrols `user` with a fresh secret at `at`; its base32.
QString enrolled(Connection& c, int user, const QDateTime& at)
{
    const QByteArray secret = TwoStep::newSecret();
    QString error;
    const QStringList codes = TwoStep::enrol(c, user, secret, oathCode(TwoStep::base32(secret), at), at, &error);
    if (codes.size() != TwoStep::kRecoveryCodes) qWarning("enrol: %s", qPrintable(error));
    return TwoStep::base32(secret);
}

} // namespace

class TstShellTwoStep : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { resetModalDriver(); }

    // Admin enrols through the dialog (the QR code scanned, the typed secret run through
    // oathtool at the dialog's clock), then logs in through the login window's code page.
    void enrolThroughTheDialogThenLogIn()
    {
        ShellFixture f;
        QVERIFY(f.open());
        Clocked clock{*f.db};
        TwoStepDialog dlg(*f.db, 1, QStringLiteral("admin"), &clock.guard);
        dlg.resize(520, 640);
        dlg.show();
        keepPicture(&dlg, QStringLiteral("twostep-enrol"));
        QVERIFY(dlg.txt_secret->isVisible() && dlg.lbl_qr->isVisible() && !dlg.cmd_remove->isVisible());
        QCOMPARE(scanned(dlg.lbl_qr->pixmap(), f.path(QStringLiteral("qr.png"))), dlg.uri());
        const QString secret = dlg.txt_secret->text().remove(QLatin1Char(' '));
        QCOMPARE(secret.size(), 32);
        QVERIFY(dlg.uri().contains(QStringLiteral("secret=") + secret));

        // A code of an hour ago stores nothing.
        QTest::keyClicks(dlg.txt_code, oathCode(secret, clock.now.addSecs(-3600)));
        QVERIFY(!dlg.confirm());
        QVERIFY(dlg.lbl_message->isVisible());
        QVERIFY(!TwoStep::enrolled(*f.db, 1));
        QTest::keyClicks(dlg.txt_code, oathCode(secret, clock.now));
        QTest::mouseClick(dlg.cmd_ok, Qt::LeftButton);
        QVERIFY(TwoStep::enrolled(*f.db, 1));
        const QStringList codes = dlg.recoveryCodes();
        QCOMPARE(codes.size(), 10);
        QCOMPARE(dlg.txt_recovery_codes->toPlainText().split(QLatin1Char('\n')), codes);
        QVERIFY(dlg.txt_recovery_codes->isVisible() && dlg.cmd_print_codes->isVisible());
        QVERIFY(dlg.txt_secret->text().isEmpty() && !dlg.txt_secret->isVisible());
        keepPicture(&dlg, QStringLiteral("twostep-recovery-codes"));
        QVERIFY(dlg.saveCodes(f.path(QStringLiteral("kodok.txt"))));
        QFile saved(f.path(QStringLiteral("kodok.txt")));
        QVERIFY(saved.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(saved.readAll());
        for (const QString& code : codes) QVERIFY(text.contains(code));

        // Opened again: on, the secret not shown, and it may be turned off.
        TwoStepDialog again(*f.db, 1, QStringLiteral("admin"));
        again.show();
        QVERIFY(again.lbl_state->isVisible() && again.cmd_remove->isVisible() && !again.txt_secret->isVisible());
        // A new secret replaces the old one only once its code confirms it.
        again.cmd_new_secret->click();
        QVERIFY(again.txt_secret->isVisible());
        QVERIFY(again.txt_secret->text().remove(QLatin1Char(' ')) != secret);

        clock.now = clock.now.addSecs(120);
        LoginDialog login(*f.db, f.dbPath());
        login.loginGuard().setClock([&] { return clock.now; });
        login.show();
        QTest::keyClicks(login.userNameEdit(), QStringLiteral("admin"));
        QTest::keyClicks(login.passwordEdit(), QStringLiteral("admin"));
        QTest::keyClick(login.passwordEdit(), Qt::Key_Return);
        QVERIFY(login.isVisible() && login.atCodePage() && login.codeEdit()->isVisible());
        keepPicture(&login, QStringLiteral("twostep-login-code"));
        QTest::keyClicks(login.codeEdit(), oathCode(secret, clock.now.addSecs(-3600)));
        QTest::keyClick(login.codeEdit(), Qt::Key_Return);
        QVERIFY(login.isVisible());
        QCOMPARE(login.loginResult().status, Status::BadCode);
        QVERIFY(login.messageLabel()->isVisible() && login.codeEdit()->text().isEmpty());
        const QString failures = QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name = 'admin' AND cleared_at IS NULL");
        QCOMPARE(f.count(failures), 1);
        QTest::keyClicks(login.codeEdit(), oathCode(secret, clock.now));
        QTest::keyClick(login.codeEdit(), Qt::Key_Return);
        QVERIFY(!login.isVisible());
        QVERIFY(login.loginResult().ok());
        QCOMPARE(login.loginResult().userId, 1);
        QCOMPARE(login.loginResult().secondStep, TwoStep::Need::None);
        QCOMPARE(f.count(failures), 0);

        // A recovery code once, then never again.
        const LoginResult after = clock.password(QStringLiteral("admin"), QStringLiteral("admin"));
        QCOMPARE(after.secondStep, TwoStep::Need::Code);
        const LoginResult byRecovery = clock.code(after, codes[3].toLower());
        QVERIFY(byRecovery.ok());
        QVERIFY2(byRecovery.notice.contains(QStringLiteral("Még 9 helyreállító")), qPrintable(byRecovery.notice));
        QCOMPARE(clock.code(after, codes[3]).status, Status::BadCode);

        // Turned off after the question: the password alone lets him in.
        answerNextModal(QStringLiteral("Kikapcsolás"));
        TwoStepDialog off(*f.db, 1, QStringLiteral("admin"));
        off.cmd_remove->click();
        QVERIFY(!TwoStep::enrolled(*f.db, 1));
        QCOMPARE(clock.password(QStringLiteral("admin"), QStringLiteral("admin")).secondStep, TwoStep::Need::None);
    }

    // Wrong codes after a right password lock the name as wrong passwords do; the lock then
    // holds against the right password and the right code; only a finished login forgives.
    void wrongCodesLockTheName()
    {
        ShellFixture f;
        QVERIFY(f.open());
        Clocked clock{*f.db};
        const QString secret = enrolled(*f.db, 1, clock.now.addSecs(-300));
        const int max = clock.guard.maxFailures();
        QVERIFY(max > 1);
        const QString wrong = oathCode(secret, clock.now.addSecs(-3600));
        const auto failAt = [&](int times) {
            for (int i = 0; i < times; ++i) {
                const LoginResult after = clock.password(QStringLiteral("admin"), QStringLiteral("admin"));
                QVERIFY(after.ok() && after.secondStep == TwoStep::Need::Code);
                QCOMPARE(clock.code(after, wrong).status, Status::BadCode);
                clock.now = clock.now.addSecs(30);
            }
        };
        failAt(max - 1);
        // A malformed code is refused without counting.
        const LoginResult after = clock.password(QStringLiteral("admin"), QStringLiteral("admin"));
        QCOMPARE(clock.code(after, QStringLiteral("12ab")).status, Status::BadCode);
        QVERIFY(clock.code(after, oathCode(secret, clock.now)).ok());
        clock.now = clock.now.addSecs(30);
        failAt(max);
        QCOMPARE(clock.password(QStringLiteral("admin"), QStringLiteral("admin")).status, Status::Locked);
        const LoginResult locked = clock.code(after, oathCode(secret, clock.now));
        QCOMPARE(locked.status, Status::Locked);
        QVERIFY(locked.message.contains(QStringLiteral("zárolva")));
    }

    // A group that requires it sends a member who has not enrolled to the enrolment, whose
    // dialog cannot turn it off afterwards; the finished enrolment forgives his failures.
    void groupRequiresEnrolment()
    {
        ShellFixture f;
        QVERIFY(f.open());
        QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_user_group SET two_step = %1 WHERE id = 3").arg(f.db->boolLiteral(true))));
        Clocked clock{*f.db};
        QCOMPARE(clock.password(QStringLiteral("nagy.peter"), QStringLiteral("x")).status, Status::BadCredentials);
        LoginResult user = clock.password(QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
        QVERIFY(user.ok());
        QCOMPARE(user.secondStep, TwoStep::Need::Enrol);
        const QString failures = QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name = 'nagy.peter' AND cleared_at IS NULL");
        QCOMPARE(f.count(failures), 1);

        // Given up: no enrolment, the shell ends.
        closeNextModal();
        QVERIFY(!enrolAtLogin(nullptr, *f.db, user, clock.guard));
        onNextModal([&](QWidget* w) {
            auto* dlg = qobject_cast<TwoStepDialog*>(w);
            QVERIFY(dlg && dlg->lbl_reason->text().contains(QStringLiteral("csoport")));
            QTest::keyClicks(dlg->txt_code, oathCode(dlg->txt_secret->text().remove(QLatin1Char(' ')), clock.now));
            QTest::mouseClick(dlg->cmd_ok, Qt::LeftButton);
            QCOMPARE(dlg->recoveryCodes().size(), 10);
            dlg->cmd_close->click();
        });
        QVERIFY(enrolAtLogin(nullptr, *f.db, user, clock.guard));
        QCOMPARE(user.secondStep, TwoStep::Need::None);
        QCOMPARE(f.count(failures), 0);
        QCOMPARE(TwoStep::need(*f.db, user.userId), TwoStep::Need::Code);

        TwoStepDialog again(*f.db, user.userId, user.userName);
        again.show();
        QVERIFY(!again.cmd_remove->isVisible() && again.cmd_new_secret->isVisible());
        QVERIFY(again.lbl_state->text().contains(QStringLiteral("Nem kapcsolható ki")));
        // The window's command is there for him (every demo role holds the key).
        LoggedIn in(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
        QVERIFY(in.window->findChild<QAction*>(QStringLiteral("act_two_step")));
    }

    // Unattended runs: an enrolled user needs --code (or NEXO_CODE); one who must still enrol
    // is refused outright.
    void unattendedRuns()
    {
        ShellFixture f;
        QVERIFY(f.open());
        const QDateTime now = QDateTime::currentDateTime();
        // Enrolled two steps ago, so that the code of this step has not been taken yet.
        const QString secret = enrolled(*f.db, 1, now.addSecs(-2 * TwoStep::kStepSeconds));
        QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_user_group SET two_step = %1 WHERE id = 3").arg(f.db->boolLiteral(true))));
        const auto run = [&](const QStringList& args, const QString& envCode = {}) {
            QProcess p;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            if (envCode.isEmpty()) env.remove(QStringLiteral("NEXO_CODE")); else env.insert(QStringLiteral("NEXO_CODE"), envCode);
            p.setProcessEnvironment(env);
            p.setProcessChannelMode(QProcess::MergedChannels);
            p.start(qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/nexo-shell"),
                    QStringList{"--db", f.dbPath(), "--screenshot", f.path(QStringLiteral("a.png"))} + args);
            p.waitForFinished(120000);
            return std::pair{p.exitCode(), QString::fromUtf8(p.readAll())};
        };
        int status = 0;
        QString said;
        std::tie(status, said) = run({"--user", "admin", "--password", "admin"});
        QCOMPARE(status, 2);
        QVERIFY2(said.contains(QStringLiteral("--code kapcsolóval vagy a NEXO_CODE")), qPrintable(said));
        std::tie(status, said) = run({"--user", "admin", "--password", "admin", "--code", "000000x"});
        QCOMPARE(status, 2);
        std::tie(status, said) = run({"--user", "admin", "--password", "admin"}, oathCode(secret, QDateTime::currentDateTime()));
        QVERIFY2(status == 0, qPrintable(said));
        std::tie(status, said) = run({"--user", "nagy.peter", "--password", "peter123", "--code", "123456"});
        QCOMPARE(status, 2);
        QVERIFY2(said.contains(QStringLiteral("ablakos bejelentkezéskor")), qPrintable(said));
    }
};

QTEST_MAIN(TstShellTwoStep)
#include "tst_shell_twostep.moc"
