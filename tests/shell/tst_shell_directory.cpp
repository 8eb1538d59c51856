#include "ModalDriver.h"
#include "ShellDirectory.h"
#include "ShellFixture.h"
#include "Snapshots.h"
#include "ShellNotices.h"
#include "LoginGuard.h"
#include "Secrets.h"
#include "SettingKeys.h"
#include "TestDirectory.h"
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace NexoFrame;
using namespace NexoFrame::Shell;

namespace {

void fill(DirectorySettingsDialog& d, const Directory::Config& c)
{
    d.txt_urls->setText(c.urls);
    d.chk_start_tls->setChecked(c.startTls);
    d.txt_ca_file->setText(c.caFile);
    d.txt_bind_dn->setText(c.bindDn);
    d.txt_bind_password->setText(c.bindPassword);
    d.txt_user_base->setText(c.userBase);
    d.txt_user_filter->setText(c.userFilter);
    d.txt_login_attribute->setText(c.loginAttribute);
    d.txt_group_base->setText(c.groupBase);
    d.txt_group_filter->setText(c.groupFilter);
    d.cbo_membership->setCurrentIndex(d.cbo_membership->findData(int(c.membership)));
}

// The demo database with its users kept in the test directory: anna read from it (into the
// leaders' group), the demo's own users local.
void central(ShellFixture& f, const Directory::Config& cfg)
{
    QVERIFY(f.open());
    cfg.save(*f.db);
    QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("CentralUserManagement"), QStringLiteral("1")));
    const int leaders = f.count(QStringLiteral("SELECT user_group_id FROM qnd_user WHERE user_name = 'kovacs.anna'"));
    QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_user (id, user_group_id, user_name, display_name, password, directory_dn) "
                                         "VALUES (900, ?, 'anna', 'Kovács Anna', ?, ?)"),
                          {leaders, Secrets::ciphered(QStringLiteral("tarolt"), QStringLiteral("tazeq3wnk8"), QStringLiteral("prvd57gh2eb")),
                           Directory::dnKey(cfg.userBase.isEmpty() ? QString() : QStringLiteral("uid=anna,") + cfg.userBase)}));
}

using Status = LoginResult::Status;

// The leaders' group of the demo mapped to the test directory's "vezetok".
void mapLeaders(ShellFixture& f, const TestDirectory& dir)
{
    QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_user_group SET directory_dn = ?, directory_priority = 1 WHERE id = "
                                         "(SELECT user_group_id FROM qnd_user WHERE user_name = 'kovacs.anna')"),
                          {dir.groupDn(QStringLiteral("vezetok"))}));
}

} // namespace

class TstShellDirectory : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void settingsDialogTestsAndSaves();
    void directoryLoginThroughTheDialog();
    void directoryDownRefusesWithoutFallingBack();
    void lockCountsNamesCaseFolded();
    void syncPreviewThenApply();
    void syncFromTheCommandLine();

private:
    TestDirectory m_dir;
};

void TstShellDirectory::initTestCase()
{
    m_dir.addPerson(QStringLiteral("anna"), QStringLiteral("Kovács Anna"), QStringLiteral("anna-jelszo"));
    m_dir.addPerson(QStringLiteral("bela"), QStringLiteral("Kiss Béla"), QStringLiteral("bela-jelszo"));
    m_dir.addGroup(QStringLiteral("vezetok"), {QStringLiteral("anna")});
}

void TstShellDirectory::init()
{
    Notices::clearLast();
    resetModalDriver();
}

// "Címtár beállításai…" stands for holders of its key only; its test says what it found or
// why it failed, each failure in its own words; OK keeps the settings, the password sealed.
void TstShellDirectory::settingsDialogTestsAndSaves()
{
    ShellFixture f;
    QVERIFY(f.open());
    LoggedIn peter(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
    QVERIFY(!peter.window->findChild<QAction*>(QStringLiteral("act_directory_settings")));
    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    QAction* act = admin.window->findChild<QAction*>(QStringLiteral("act_directory_settings"));
    QVERIFY(act);
    QCOMPARE(act->text().remove(QLatin1Char('&')), QStringLiteral("Címtár beállításai…"));

    const Directory::Config good = m_dir.config();
    bool driven = false;
    onNextModal([&](QWidget* w) {
        auto* d = qobject_cast<DirectorySettingsDialog*>(w);
        QVERIFY(d);
        QCOMPARE(d->windowTitle(), QStringLiteral("Címtár beállításai"));
        QCOMPARE(d->cmd_test->text(), QStringLiteral("Kapcsolat próbája"));
        fill(*d, good);
        QTest::mouseClick(d->cmd_test, Qt::LeftButton);
        QCOMPARE(d->lbl_result->text(), QStringLiteral("A kapcsolat rendben: 2 felhasználó és 1 csoport olvasható."));
        keepPicture(d, QStringLiteral("directory_settings"));

        d->txt_bind_password->setText(QStringLiteral("rossz"));
        QVERIFY(!d->testConnection());
        QVERIFY2(d->lbl_result->text().contains(QStringLiteral("hibás név vagy jelszó")), qPrintable(d->lbl_result->text()));
        d->txt_bind_password->setText(good.bindPassword);

        d->txt_urls->setText(TestDirectory::deadUrl());
        QVERIFY(!d->testConnection());
        QVERIFY2(d->lbl_result->text().startsWith(QStringLiteral("A címtárkiszolgáló nem érhető el")), qPrintable(d->lbl_result->text()));

        d->txt_urls->setText(m_dir.ldapsUrl());
        d->txt_ca_file->setText(f.path(QStringLiteral("nincs.pem")));
        QVERIFY(!d->testConnection());
        QVERIFY2(d->lbl_result->text().contains(QStringLiteral("TLS")), qPrintable(d->lbl_result->text()));
        d->txt_ca_file->setText(good.caFile);

        d->txt_user_filter->setText(QStringLiteral("(uid=senki)"));
        QVERIFY(!d->testConnection());
        QVERIFY2(d->lbl_result->text().contains(QStringLiteral("egy felhasználót sem")), qPrintable(d->lbl_result->text()));
        d->txt_user_filter->setText(good.userFilter);

        // The presets fill the attributes each kind of directory keeps.
        d->cbo_preset->setCurrentIndex(1);
        emit d->cbo_preset->activated(1);
        QCOMPARE(d->txt_login_attribute->text(), QStringLiteral("sAMAccountName"));
        QCOMPARE(Directory::Membership(d->cbo_membership->currentData().toInt()), Directory::Membership::MemberOf);
        emit d->cbo_preset->activated(2);
        QCOMPARE(d->txt_login_attribute->text(), QStringLiteral("uid"));
        d->txt_user_filter->setText(good.userFilter);
        driven = true;
        d->accept();
    });
    act->trigger();
    QVERIFY(driven);
    QCOMPARE(expiredModalActions(), 0);
    f.db->settings().forget();
    const Directory::Config saved = Directory::Config::load(*f.db);
    QCOMPARE(saved.urls, m_dir.ldapsUrl());
    QCOMPARE(saved.bindPassword, good.bindPassword);
    QCOMPARE(saved.userBase, good.userBase);
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_settings WHERE section = 'LDAP' AND key_name = 'BindPassword'")), 0);
    QCOMPARE(Directory::probe(saved).people, 2);

    // Opened again, it shows what is kept.
    onNextModal([&](QWidget* w) {
        auto* d = qobject_cast<DirectorySettingsDialog*>(w);
        QVERIFY(d);
        QCOMPARE(d->txt_urls->text(), m_dir.ldapsUrl());
        QCOMPARE(d->txt_bind_password->text(), good.bindPassword);
        d->reject();
    });
    act->trigger();
    QCOMPARE(expiredModalActions(), 0);
}

// A directory user gets in through the real login dialog with his directory password, in
// any case of his name, and never with an empty one; local users keep their stored passwords.
void TstShellDirectory::directoryLoginThroughTheDialog()
{
    ShellFixture f;
    central(f, m_dir.config());
    LoginDialog dlg(*f.db, f.dbPath());
    dlg.show();
    auto attempt = [&](const QString& name, const QString& password) {
        dlg.userNameEdit()->setText(name);
        dlg.passwordEdit()->setText(password);
        QTest::mouseClick(dlg.loginButton(), Qt::LeftButton);
        return dlg.loginResult();
    };
    QCOMPARE(attempt(QStringLiteral("anna"), QStringLiteral("tarolt")).status, Status::BadCredentials);
    QCOMPARE(dlg.messageLabel()->text(), QStringLiteral("Hibás felhasználónév vagy jelszó."));
    QCOMPARE(attempt(QStringLiteral("anna"), QString()).status, Status::BadCredentials);
    QCOMPARE(dlg.messageLabel()->text(), QStringLiteral("Adja meg a jelszót."));
    // The empty try was refused before the directory was asked, and is no failure of the name.
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name = 'anna'")), 1);
    QCOMPARE(attempt(QStringLiteral("*"), QStringLiteral("anna-jelszo")).status, Status::BadCredentials);
    const LoginResult r = attempt(QStringLiteral("Anna"), QStringLiteral("anna-jelszo"));
    QCOMPARE(r.status, Status::Ok);
    QCOMPARE(r.userId, 900);
    QCOMPARE(r.userName, QStringLiteral("anna"));
    QCOMPARE(r.displayName, QStringLiteral("Kovács Anna"));
    QVERIFY(dlg.result() == QDialog::Accepted);
    // The successful login forgave the failures.
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name = 'anna' AND cleared_at IS NULL")), 0);

    // A password as long as the directory takes, typed into the field.
    const QString longPassword = QString(280, QLatin1Char('k')) + QStringLiteral("Z9!");
    m_dir.addPerson(QStringLiteral("hosszu"), QStringLiteral("Hosszú"), longPassword);
    QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_user (id, user_group_id, user_name, display_name, directory_dn) "
                                         "SELECT 901, user_group_id, 'hosszu', 'Hosszú', ? FROM qnd_user WHERE id = 900"),
                          {Directory::dnKey(m_dir.personDn(QStringLiteral("hosszu")))}));
    LoginDialog second(*f.db, f.dbPath());
    second.show();
    QTest::keyClicks(second.userNameEdit(), QStringLiteral("hosszu"));
    QTest::keyClicks(second.passwordEdit(), longPassword);
    QCOMPARE(second.passwordEdit()->text(), longPassword);
    QTest::keyClick(second.passwordEdit(), Qt::Key_Return);
    QCOMPARE(second.loginResult().status, Status::Ok);
    m_dir.remove(m_dir.personDn(QStringLiteral("hosszu")));

    // Known to the directory, not yet to the program.
    const LoginResult bela = checkLogin(*f.db, QStringLiteral("bela"), QStringLiteral("bela-jelszo"));
    QCOMPARE(bela.status, Status::AccessDenied);
    QVERIFY2(bela.message.contains(QStringLiteral("szinkronizálása után")), qPrintable(bela.message));
    // The demo's local users still log in with what is stored for them.
    QCOMPARE(checkLogin(*f.db, QStringLiteral("admin"), QStringLiteral("admin")).status, Status::Ok);
    QCOMPARE(checkLogin(*f.db, QStringLiteral("admin"), QStringLiteral("anna-jelszo")).status, Status::BadCredentials);
    // A barred directory user is refused after his password.
    QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_user SET access_denied = %1 WHERE id = 900").arg(f.db->boolLiteral(true))));
    QCOMPARE(checkLogin(*f.db, QStringLiteral("anna"), QStringLiteral("anna-jelszo")).status, Status::AccessDenied);
}

// With the directory down (its server stopped, its TLS refused, its service user refused) a
// directory user is told so and is not let in by anything stored; an empty password is
// refused all the same, before the directory is asked.
void TstShellDirectory::directoryDownRefusesWithoutFallingBack()
{
    ShellFixture f;
    Directory::Config cfg = m_dir.config();
    cfg.urls = TestDirectory::deadUrl();
    central(f, cfg);
    const LoginResult down = checkLogin(*f.db, QStringLiteral("anna"), QStringLiteral("tarolt"));
    QCOMPARE(down.status, Status::DirectoryError);
    QVERIFY2(down.message.contains(QStringLiteral("a címtárkiszolgáló nem érhető el")), qPrintable(down.message));
    QCOMPARE(checkLogin(*f.db, QStringLiteral("anna"), QString()).message, QStringLiteral("Adja meg a jelszót."));
    // Nothing the user could not help is counted against his name.
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure")), 0);

    cfg = m_dir.config();
    cfg.urls = m_dir.ldapsUrl();
    cfg.caFile = f.path(QStringLiteral("nincs.pem"));
    cfg.save(*f.db);
    f.db->settings().forget();
    const LoginResult tls = checkLogin(*f.db, QStringLiteral("anna"), QStringLiteral("anna-jelszo"));
    QCOMPARE(tls.status, Status::DirectoryError);
    QVERIFY2(tls.message.contains(QStringLiteral("TLS")), qPrintable(tls.message));

    // A service user the directory refuses: the login window does not name him.
    cfg = m_dir.config();
    cfg.bindPassword = QStringLiteral("rossz");
    cfg.save(*f.db);
    f.db->settings().forget();
    const LoginResult service = checkLogin(*f.db, QStringLiteral("anna"), QStringLiteral("anna-jelszo"));
    QCOMPARE(service.status, Status::DirectoryError);
    QVERIFY2(!service.message.contains(cfg.bindDn) && service.message.contains(QStringLiteral("beállításai")),
             qPrintable(service.message));

    // Local users are not the directory's: they still get in.
    QCOMPARE(checkLogin(*f.db, QStringLiteral("admin"), QStringLiteral("admin")).status, Status::Ok);
}

// Failures of one name in changing case count together, and lock it in every case.
void TstShellDirectory::lockCountsNamesCaseFolded()
{
    ShellFixture f;
    central(f, m_dir.config());
    QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("LoginMaxFailures"), QStringLiteral("3")));
    QDateTime now(QDate(2026, 3, 2), QTime(9, 0));
    LoginGuard guard(*f.db, [&now] { return now; });
    for (const char* name : {"ANNA", "Anna", "aNNa"}) {
        QCOMPARE(checkLogin(*f.db, QString::fromLatin1(name), QStringLiteral("rossz"), guard).status, Status::BadCredentials);
        now = now.addSecs(30);
    }
    for (const char* name : {"anna", "ANNA"}) {
        const LoginResult r = checkLogin(*f.db, QString::fromLatin1(name), QStringLiteral("anna-jelszo"), guard);
        QCOMPARE(r.status, Status::Locked);
    }
    now = now.addSecs(16 * 60);
    QCOMPARE(checkLogin(*f.db, QStringLiteral("ANNA"), QStringLiteral("anna-jelszo"), guard).status, Status::Ok);
    // A local name too: "Admin" and "admin" are one name to the lock.
    for (int i = 0; i < 3; ++i) checkLogin(*f.db, i % 2 ? QStringLiteral("Admin") : QStringLiteral("ADMIN"), QStringLiteral("x"), guard);
    QCOMPARE(checkLogin(*f.db, QStringLiteral("admin"), QStringLiteral("admin"), guard).status, Status::Locked);
}

// "Címtár szinkronizálása…" shows what it would do and writes it only on "Végrehajtás".
void TstShellDirectory::syncPreviewThenApply()
{
    ShellFixture f;
    central(f, m_dir.config());
    mapLeaders(f, m_dir);
    LoggedIn peter(f, QStringLiteral("nagy.peter"), QStringLiteral("peter123"));
    QVERIFY(!peter.window->findChild<QAction*>(QStringLiteral("act_directory_sync")));
    LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
    QAction* act = admin.window->findChild<QAction*>(QStringLiteral("act_directory_sync"));
    QVERIFY(act);
    QCOMPARE(act->text().remove(QLatin1Char('&')), QStringLiteral("Címtár szinkronizálása…"));
    const int before = f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user"));
    onNextModal([&](QWidget* w) {
        auto* d = qobject_cast<DirectorySyncDialog*>(w);
        QVERIFY(d);
        // anna is there already (made by hand in central()), bela is in no mapped group.
        QCOMPARE(d->tree_changes->topLevelItemCount(), 0);
        d->reject();
    });
    act->trigger();
    QCOMPARE(expiredModalActions(), 0);
    m_dir.addPerson(QStringLiteral("dora"), QStringLiteral("Fehér Dóra"), QStringLiteral("dora-jelszo"));
    m_dir.setMembers(QStringLiteral("vezetok"), {QStringLiteral("anna"), QStringLiteral("dora")});
    onNextModal([&](QWidget* w) {
        auto* d = qobject_cast<DirectorySyncDialog*>(w);
        QVERIFY(d);
        QCOMPARE(d->tree_changes->topLevelItemCount(), 1);
        QCOMPARE(d->tree_changes->topLevelItem(0)->text(0), QStringLiteral("új felhasználó"));
        QVERIFY(d->tree_changes->topLevelItem(0)->text(1).startsWith(QStringLiteral("Fehér Dóra (dora)")));
        QVERIFY2(d->lbl_summary->text().contains(QStringLiteral("1 új")), qPrintable(d->lbl_summary->text()));
        keepPicture(d, QStringLiteral("directory_sync_preview"));
        QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user")), before);
        QTest::mouseClick(d->cmd_apply, Qt::LeftButton);
    });
    act->trigger();
    QCOMPARE(expiredModalActions(), 0);
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user")), before + 1);
    // And she logs in by the directory at once.
    QCOMPARE(checkLogin(*f.db, QStringLiteral("dora"), QStringLiteral("dora-jelszo")).status, Status::Ok);
    m_dir.setMembers(QStringLiteral("vezetok"), {QStringLiteral("anna")});
    m_dir.remove(m_dir.personDn(QStringLiteral("dora")));
}

// nexo-shell --sync-directory runs without a display, says what it did and ends with 0; a
// directory it cannot reach ends it with 1 and a Hungarian message, nothing written.
void TstShellDirectory::syncFromTheCommandLine()
{
    ShellFixture f;
    Directory::Config cfg = m_dir.config();
    cfg.urls = TestDirectory::deadUrl();
    central(f, cfg);
    mapLeaders(f, m_dir);
    QVERIFY(f.db->execute(QStringLiteral("UPDATE qnd_user SET directory_dn = 'uid=regi,ou=people,dc=nincs' WHERE id = 900")));
    QString said;
    QCOMPARE(runShell({QStringLiteral("--sync-directory"), QStringLiteral("--db"), f.dbPath()}, &said), 1);
    QVERIFY2(said.contains(QStringLiteral("A címtárkiszolgáló nem érhető el")), qPrintable(said));
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE id = 900 AND access_denied = %1").arg(f.db->boolLiteral(false))), 1);

    m_dir.config().save(*f.db);
    QCOMPARE(runShell({QStringLiteral("--sync-directory"), QStringLiteral("--db"), f.dbPath()}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("már nincs a címtárban: tiltva")) && said.contains(QStringLiteral("1 új")), qPrintable(said));
    f.db->settings().forget();
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE id = 900 AND access_denied = %1").arg(f.db->boolLiteral(true))), 1);
    QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE directory_dn = ?"),
                     {Directory::dnKey(m_dir.personDn(QStringLiteral("anna")))}), 1);
}

QTEST_MAIN(TstShellDirectory)
#include "tst_shell_directory.moc"
