#include "Directory.h"
#include "Secrets.h"
#include "SettingKeys.h"
#include "TestDatabase.h"
#include "TestDirectory.h"
#include <QTcpServer>
#include <QtTest>

using namespace NexoFrame;
using namespace NexoFrame::Directory;
using Kind = Error::Kind;

namespace {

// The kind of the failure `f` throws, with its message kept for the report.
template <typename F>
Kind failure(F&& f, QString* message = nullptr)
{
    try {
        f();
    } catch (const Error& e) {
        if (message) *message = e.message();
        return e.kind();
    }
    qFatal("no directory failure");
}

// A port on 127.0.0.1 where nothing listens (a stopped server).
QString deadUrl()
{
    QTcpServer s;
    s.listen(QHostAddress::LocalHost);
    return QStringLiteral("ldap://127.0.0.1:%1").arg(s.serverPort());
}

} // namespace

class TstDirectory : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void settingsRoundTripWithTheSecretSealed();
    void bindFailuresAreToldApart();
    void tlsChecksTheServersCertificate();
    void membershipReadEachWay_data();
    void membershipReadEachWay();
    void loginBindsAsTheUser();
    void hostileNamesNeverWidenASearch();
    void pagedSearchReadsPastTheServersLimit();

private:
    TestDirectory m_dir;
};

void TstDirectory::initTestCase()
{
    m_dir.addPerson(QStringLiteral("anna"), QStringLiteral("Kovács Anna"), QStringLiteral("anna-jelszo"),
                    QStringLiteral("anna@example.test"));
    m_dir.addPerson(QStringLiteral("bela"), QStringLiteral("Kiss Béla"), QStringLiteral("bela-jelszo"));
    m_dir.addPerson(QStringLiteral("cecil"), QStringLiteral("Nagy Cecil"), QStringLiteral("cecil-jelszo"));
    m_dir.addGroup(QStringLiteral("vezetok"), {QStringLiteral("anna")});
    m_dir.addGroup(QStringLiteral("sofor"), {QStringLiteral("anna"), QStringLiteral("bela")});
}

void TstDirectory::settingsRoundTripWithTheSecretSealed()
{
    TestDatabase db;
    auto c = db.open();
    Config cfg = m_dir.config(Membership::MemberOf);
    cfg.startTls = true;
    cfg.save(*c);
    c->settings().forget();
    const Config back = Config::load(*c);
    QCOMPARE(back.urls, cfg.urls);
    QVERIFY(back.startTls);
    QCOMPARE(back.bindPassword, cfg.bindPassword);
    QCOMPARE(back.membership, Membership::MemberOf);
    QCOMPARE(back.userFilter, cfg.userFilter);
    // The password is kept sealed, apart from the plain settings users' SQL may read.
    QVERIFY(Secrets::isSecretSetting(QStringLiteral("LDAP"), QStringLiteral("BindPassword")));
    QVERIFY(c->select(QStringLiteral("SELECT value FROM qnd_settings WHERE section = 'LDAP' AND key_name = 'BindPassword'"))
                .isEmpty());
    const auto sealed = c->select(QStringLiteral("SELECT value FROM qnd_secret WHERE section = 'LDAP' AND key_name = 'BindPassword'"));
    QCOMPARE(sealed.size(), 1);
    QVERIFY(sealed.first().value(0).toString() != cfg.bindPassword);
}

void TstDirectory::bindFailuresAreToldApart()
{
    Config cfg = m_dir.config();
    QString message;
    Config wrong = cfg;
    wrong.bindPassword = QStringLiteral("rossz");
    QCOMPARE(failure([&] { Link l(wrong); }, &message), Kind::BadBind);
    QVERIFY2(message.contains(QStringLiteral("hibás név vagy jelszó")), qPrintable(message));

    Config down = cfg;
    down.urls = deadUrl();
    QCOMPARE(failure([&] { Link l(down); }, &message), Kind::Unreachable);
    QVERIFY2(message.startsWith(QStringLiteral("A címtárkiszolgáló nem érhető el")), qPrintable(message));

    Config noBranch = cfg;
    noBranch.userBase = QStringLiteral("ou=nincs,") + cfg.userBase;
    QCOMPARE(failure([&] { probe(noBranch); }, &message), Kind::NotFound);

    Config empty = cfg;
    empty.userFilter = QStringLiteral("(uid=senkisem)");
    QCOMPARE(failure([&] { probe(empty); }, &message), Kind::NotFound);
    QVERIFY2(message.contains(QStringLiteral("egy felhasználót sem")), qPrintable(message));

    Config badUrl = cfg;
    badUrl.urls = QStringLiteral("http://127.0.0.1");
    QCOMPARE(failure([&] { Link l(badUrl); }), Kind::Setting);

    const Census census = probe(cfg);
    QCOMPARE(census.people, 3);
    QCOMPARE(census.groups, 2);
}

void TstDirectory::tlsChecksTheServersCertificate()
{
    Config ldaps = m_dir.config();
    ldaps.urls = m_dir.ldapsUrl();
    QCOMPARE(probe(ldaps).people, 3);
    Config startTls = m_dir.config();
    startTls.startTls = true;
    QCOMPARE(probe(startTls).people, 3);

    // A certificate no configured CA signed is refused, on both ways of asking for TLS.
    QTemporaryDir other;
    const QString foreign = other.filePath(QStringLiteral("other.pem"));
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"),
                  {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("rsa:2048"),
                   QStringLiteral("-nodes"), QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"),
                   QStringLiteral("/CN=idegen"), QStringLiteral("-keyout"), other.filePath(QStringLiteral("k.pem")),
                   QStringLiteral("-out"), foreign});
    QVERIFY(openssl.waitForFinished(60000) && openssl.exitCode() == 0);
    ldaps.caFile = foreign;
    startTls.caFile = foreign;
    QString message;
    QCOMPARE(failure([&] { Link l(ldaps); }, &message), Kind::Tls);
    QVERIFY2(message.contains(QStringLiteral("TLS")), qPrintable(message));
    QCOMPARE(failure([&] { Link l(startTls); }), Kind::Tls);
}

void TstDirectory::membershipReadEachWay_data()
{
    QTest::addColumn<Membership>("way");
    QTest::newRow("member") << Membership::Member;
    QTest::newRow("memberOf") << Membership::MemberOf;
    QTest::newRow("memberUid") << Membership::MemberUid;
}

void TstDirectory::membershipReadEachWay()
{
    QFETCH(Membership, way);
    const Config cfg = m_dir.config(way);
    Link link(cfg);
    const auto people = link.people();
    const auto groups = link.groups();
    const auto of = Link::membership(cfg, people, groups);
    const QString suffix = way == Membership::MemberUid ? QStringLiteral("-posix") : QString();
    auto groupsOf = [&](const QString& uid) {
        QStringList g = of.value(dnKey(m_dir.personDn(uid)));
        g.sort();
        return g;
    };
    QCOMPARE(groupsOf(QStringLiteral("anna")),
             (QStringList{dnKey(m_dir.groupDn(QStringLiteral("sofor") + suffix)),
                          dnKey(m_dir.groupDn(QStringLiteral("vezetok") + suffix))}));
    QCOMPARE(groupsOf(QStringLiteral("bela")), QStringList{dnKey(m_dir.groupDn(QStringLiteral("sofor") + suffix))});
    QVERIFY(groupsOf(QStringLiteral("cecil")).isEmpty());
    // The entry's own attributes as configured.
    for (const Person& p : people)
        if (p.login == QLatin1String("anna")) {
            QCOMPARE(p.name, QStringLiteral("Kovács Anna"));
            QCOMPARE(p.mail, QStringLiteral("anna@example.test"));
        }
}

void TstDirectory::loginBindsAsTheUser()
{
    const Config cfg = m_dir.config();
    Person who;
    QVERIFY(authenticate(cfg, QStringLiteral("anna"), QStringLiteral("anna-jelszo"), &who));
    QCOMPARE(who.dn, m_dir.personDn(QStringLiteral("anna")));
    // The directory matches names without regard to case.
    QVERIFY(authenticate(cfg, QStringLiteral("ANNA"), QStringLiteral("anna-jelszo")));
    QVERIFY(!authenticate(cfg, QStringLiteral("anna"), QStringLiteral("bela-jelszo")));
    QVERIFY(!authenticate(cfg, QStringLiteral("senki"), QStringLiteral("x")));
    // An empty password is refused before any bind: even a directory that is down is not asked.
    QVERIFY(!authenticate(cfg, QStringLiteral("anna"), QString()));
    Config down = cfg;
    down.urls = deadUrl();
    QVERIFY(!authenticate(down, QStringLiteral("anna"), QString()));
    QCOMPARE(failure([&] { authenticate(down, QStringLiteral("anna"), QStringLiteral("anna-jelszo")); }), Kind::Unreachable);
    // A password as long as a directory takes.
    const QString longPassword = QString(300, QLatin1Char('h')) + QStringLiteral("ő");
    m_dir.addPerson(QStringLiteral("hosszu"), QStringLiteral("Hosszú Jelszó"), longPassword);
    QVERIFY(authenticate(cfg, QStringLiteral("hosszu"), longPassword));
    QVERIFY(!authenticate(cfg, QStringLiteral("hosszu"), longPassword.chopped(1)));
    m_dir.remove(m_dir.personDn(QStringLiteral("hosszu")));
}

void TstDirectory::hostileNamesNeverWidenASearch()
{
    QCOMPARE(escapeFilter(QStringLiteral("*)(uid=*")), QStringLiteral("\\2a\\29\\28uid=\\2a"));
    QCOMPARE(escapeFilter(QStringLiteral("a\\b")), QStringLiteral("a\\5cb"));
    QCOMPARE(escapeFilter(QString(QChar(0))), QStringLiteral("\\00"));
    QCOMPARE(escapeFilter(QStringLiteral("Árvíztűrő")), QStringLiteral("Árvíztűrő"));

    const Config cfg = m_dir.config();
    Link link(cfg);
    for (const QString& hostile : {QStringLiteral("*"), QStringLiteral("*)(uid=*"), QStringLiteral("anna)(|(uid=*"),
                                   QStringLiteral("a*"), QStringLiteral("\\2a"), QString(2000, QLatin1Char('x')),
                                   QStringLiteral("anna\" OR \"1\"=\"1")})
        QVERIFY2(link.findPerson(hostile).isEmpty(), qPrintable(hostile.left(40)));
    QVERIFY(!authenticate(cfg, QStringLiteral("*"), QStringLiteral("anna-jelszo")));
    QVERIFY(!authenticate(cfg, QStringLiteral("*)(uid=*"), QStringLiteral("anna-jelszo")));

    // A name full of metacharacters is still found, exactly.
    const QString odd = QStringLiteral("o*(d)d\\");
    m_dir.modify(QStringLiteral("dn: cn=Furcsa,%1\nchangetype: add\nobjectClass: inetOrgPerson\nuid: %2\ncn: Furcsa\nsn: F\n"
                                "userPassword: furcsa\n")
                     .arg(m_dir.people(), odd));
    QCOMPARE(link.findPerson(odd).size(), 1);
    QVERIFY(authenticate(cfg, odd, QStringLiteral("furcsa")));
    QVERIFY(link.findPerson(QStringLiteral("o*")).isEmpty());
}

void TstDirectory::pagedSearchReadsPastTheServersLimit()
{
    // The server hands a plain search at most 500 entries; the pages read them all.
    const Config cfg = m_dir.config();
    Link link(cfg);
    const qsizetype before = link.people().size();
    QString added, removed;
    for (int i = 0; i < 620; ++i) {
        const QString uid = QStringLiteral("tomeg%1").arg(i);
        added += m_dir.personLdif(uid, QStringLiteral("Tömeg %1").arg(i), QStringLiteral("x"));
        removed += QStringLiteral("dn: %1\nchangetype: delete\n\n").arg(m_dir.personDn(uid));
    }
    m_dir.modify(added);
    QCOMPARE(link.people(100).size(), before + 620);
    QCOMPARE(link.people().size(), before + 620);
    m_dir.modify(removed);
}

QTEST_MAIN(TstDirectory)
#include "tst_directory.moc"
