#include "ModalDriver.h"
#include "ShellDirectory.h"
#include "ShellFixture.h"
#include "ShellNotices.h"
#include "TestDirectory.h"
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTcpServer>

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

QString deadUrl()
{
    QTcpServer s;
    s.listen(QHostAddress::LocalHost);
    return QStringLiteral("ldap://127.0.0.1:%1").arg(s.serverPort());
}

} // namespace

class TstShellDirectory : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void settingsDialogTestsAndSaves();

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

        d->txt_bind_password->setText(QStringLiteral("rossz"));
        QVERIFY(!d->testConnection());
        QVERIFY2(d->lbl_result->text().contains(QStringLiteral("hibás név vagy jelszó")), qPrintable(d->lbl_result->text()));
        d->txt_bind_password->setText(good.bindPassword);

        d->txt_urls->setText(deadUrl());
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

QTEST_MAIN(TstShellDirectory)
#include "tst_shell_directory.moc"
