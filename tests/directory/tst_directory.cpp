#include "Directory.h"
#include "DirectorySync.h"
#include "Secrets.h"
#include "SettingKeys.h"
#include "TestDatabase.h"
#include "TestDirectory.h"
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
    void manyNewUsersAreWrittenInBlocks();
    void stoppedServerRefusesThenServesAgain();
    void syncFollowsTheDirectory_data();
    void syncFollowsTheDirectory();

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
    down.urls = TestDirectory::deadUrl();
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
    const GroupsOf of(cfg, groups);
    const QString suffix = way == Membership::MemberUid ? QStringLiteral("-posix") : QString();
    auto groupsOf = [&](const QString& uid) {
        QStringList g;
        for (const Person& p : people)
            if (dnKey(p.dn) == dnKey(m_dir.personDn(uid))) g = of(p);
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
    down.urls = TestDirectory::deadUrl();
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

// A first sync of more users than a page of the directory holds, written as read: each user
// made with his own values (none shifted to a neighbour across the pages' and statements'
// edges), under a key of his own, and his group kept in the rights history once, as made. A
// user the database refuses on the second page stops it all, and nothing is kept.
void TstDirectory::manyNewUsersAreWrittenInBlocks()
{
    constexpr int kUsers = 1037;
    TestDirectory dir;
    QString ldif;
    QStringList uids;
    for (int i = 0; i < kUsers; ++i) {
        uids << QStringLiteral("sok%1").arg(i);
        ldif += dir.personLdif(uids.last(), QStringLiteral("Sok Ember %1").arg(i), QStringLiteral("x"), QStringLiteral("sok%1@ceg.hu").arg(i));
    }
    dir.modify(ldif);
    dir.addGroup(QStringLiteral("sokan"), uids);
    TestDatabase db;
    auto c = db.open();
    const int group = c->select(QStringLiteral("SELECT MIN(id) FROM qnd_user_group WHERE del_status = 0")).value(0).value(0).toInt();
    QVERIFY(c->execute(QStringLiteral("UPDATE qnd_user_group SET directory_dn = ? WHERE id = ?"), {dir.groupDn(QStringLiteral("sokan")), group}));
    // A user the database refuses, on a page after others were written: the sync stops its
    // reading, says why, and keeps none of them.
    if (testingPostgres()) {
        QVERIFY(c->execute(QStringLiteral("CREATE FUNCTION refuse_one() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                                          "IF NEW.user_name = 'sok1020' THEN RAISE EXCEPTION 'sok1020 nem kell'; END IF; "
                                          "RETURN NEW; END $$")));
        QVERIFY(c->execute(QStringLiteral("CREATE TRIGGER refuse_one BEFORE INSERT ON qnd_user FOR EACH ROW EXECUTE FUNCTION refuse_one()")));
    } else {
        QVERIFY(c->execute(QStringLiteral("CREATE TRIGGER refuse_one BEFORE INSERT ON qnd_user WHEN NEW.user_name = 'sok1020' "
                                          "BEGIN SELECT RAISE(ABORT, 'sok1020 nem kell'); END")));
    }
    SyncPlan plan;
    QString why;
    // The groups read beside the users fail (their branch is not there): nothing is kept.
    Config noGroups = dir.config();
    noGroups.groupBase = QStringLiteral("ou=nincs,") + noGroups.groupBase;
    QVERIFY(!syncNow(*c, noGroups, &plan, &why));
    QVERIFY2(why.startsWith(QStringLiteral("A címtár nem olvasható be")) && why.contains(QStringLiteral("ou=nincs")), qPrintable(why));
    QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE directory_dn <> ''")).value(0).value(0).toInt(), 0);
    QVERIFY(db.released(*c));
    QVERIFY(!syncNow(*c, dir.config(), &plan, &why));
    QVERIFY2(why.startsWith(QStringLiteral("A szinkronizálás nem sikerült, semmi sem változott")) && why.contains(QStringLiteral("sok1020 nem kell")),
             qPrintable(why));
    QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE directory_dn <> ''")).value(0).value(0).toInt(), 0);
    QVERIFY(db.released(*c));
    QVERIFY(c->execute(QStringLiteral("DROP TRIGGER refuse_one") + (testingPostgres() ? QStringLiteral(" ON qnd_user") : QString())));

    // Written as read: the users come on two pages.
    QVERIFY2(syncNow(*c, dir.config(), &plan, &why), qPrintable(why));
    QCOMPARE(plan.count(SyncChange::Kind::New), kUsers);
    QCOMPARE(plan.people, kUsers);

    const auto made = c->select(QStringLiteral("SELECT id, user_name, display_name, email, user_group_id FROM qnd_user "
                                               "WHERE directory_dn <> '' ORDER BY id"));
    QCOMPARE(made.size(), kUsers);
    QSet<int> ids;
    QSet<QString> names;
    for (const QVariantList& u : made) {
        names.insert(u[1].toString());
        const QString n = u[1].toString().mid(3);
        QCOMPARE(u[2].toString(), QStringLiteral("Sok Ember %1").arg(n));
        QCOMPARE(u[3].toString(), QStringLiteral("sok%1@ceg.hu").arg(n));
        QCOMPARE(u[4].toInt(), group);
        ids.insert(u[0].toInt());
    }
    QCOMPARE(ids.size(), kUsers);
    QCOMPARE(names, QSet<QString>(uids.cbegin(), uids.cend()));
    const auto history = c->select(QStringLiteral("SELECT row_id, old_value, new_value FROM qnd_rights_history "
                                                  "WHERE table_name = 'qnd_user' AND column_name = 'user_group_id'"));
    QCOMPARE(history.size(), kUsers);
    QSet<int> kept;
    for (const QVariantList& h : history) {
        QVERIFY(h[1].isNull());
        QCOMPARE(h[2].toString(), QString::number(group));
        kept.insert(h[0].toInt());
    }
    QCOMPARE(kept, ids);
    // The key service stands at the last key made.
    QVERIFY(c->keys().newKey(Tables::User) > *std::max_element(ids.cbegin(), ids.cend()));
}

// A directory of its own (scripts/ldap-server.sh), stopped: the same settings that bound a
// moment ago now say the server cannot be reached, and a login is refused, not let through;
// started again on its ports, it answers again.
void TstDirectory::stoppedServerRefusesThenServesAgain()
{
    QTemporaryDir folder;
    const QString script = qEnvironmentVariable("NEXO_SCRIPTS") + QStringLiteral("/ldap-server.sh");
    auto server = [&](const QString& command) {
        QProcess p;
        p.start(script, {command, folder.path()});
        return p.waitForFinished(120000) && p.exitCode() == 0;
    };
    QVERIFY(server(QStringLiteral("start")));
    auto read = [&](const QString& name) {
        QFile f(folder.filePath(name));
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).trimmed() : QString();
    };
    Config cfg;
    cfg.urls = read(QStringLiteral("url"));
    cfg.bindDn = read(QStringLiteral("admin-dn"));
    cfg.bindPassword = read(QStringLiteral("admin-pw"));
    cfg.userBase = read(QStringLiteral("base"));
    cfg.userFilter = QStringLiteral("(objectClass=organizationalUnit)");
    cfg.loginAttribute = QStringLiteral("ou");
    cfg.timeoutSeconds = 3;
    QCOMPARE(probe(cfg).people, 2);  // ou=people and ou=groups
    QVERIFY(authenticate(cfg, QStringLiteral("people"), QStringLiteral("x")) == false);
    QVERIFY(server(QStringLiteral("stop")));
    QString message;
    QCOMPARE(failure([&] { probe(cfg); }, &message), Kind::Unreachable);
    QVERIFY2(message.startsWith(QStringLiteral("A címtárkiszolgáló nem érhető el")), qPrintable(message));
    QCOMPARE(failure([&] { authenticate(cfg, QStringLiteral("people"), QStringLiteral("x")); }), Kind::Unreachable);
    QVERIFY(server(QStringLiteral("restart")));
    QCOMPARE(probe(cfg).people, 2);
    QVERIFY(server(QStringLiteral("stop")));
}

void TstDirectory::syncFollowsTheDirectory_data() { membershipReadEachWay_data(); }

// Users added, renamed, moved between groups and removed in the directory, synced each time:
// a member of two mapped groups goes to the one of lower priority; one gone or in no mapped
// group is barred, never deleted; a local user and his name are left alone; group moves are
// kept in the rights history.
void TstDirectory::syncFollowsTheDirectory()
{
    QFETCH(Membership, way);
    TestDirectory dir;  // a branch of its own: this test changes it
    const QString suffix = way == Membership::MemberUid ? QStringLiteral("-posix") : QString();
    dir.addPerson(QStringLiteral("anna"), QStringLiteral("Kovács Anna"), QStringLiteral("a"), QStringLiteral("anna@ceg.hu"));
    dir.addPerson(QStringLiteral("bela"), QStringLiteral("Kiss Béla"), QStringLiteral("b"));
    dir.addPerson(QStringLiteral("cecil"), QStringLiteral("Nagy Cecil"), QStringLiteral("c"));
    dir.addPerson(QStringLiteral("admin"), QStringLiteral("Betolakodó"), QStringLiteral("d"));
    const QString hostileName = QString(400, QLatin1Char('x')) + QStringLiteral("O'Brien \"*)(uid=*\"");
    dir.addPerson(QStringLiteral("hosszu"), hostileName, QStringLiteral("h"));
    dir.addGroup(QStringLiteral("vezetok"), {QStringLiteral("anna"), QStringLiteral("admin")});
    dir.addGroup(QStringLiteral("sofor"), {QStringLiteral("anna"), QStringLiteral("bela"), QStringLiteral("hosszu")});

    TestDatabase db;
    auto c = db.open();
    const Config cfg = dir.config(way);
    const auto groupIds = c->select(QStringLiteral("SELECT id, name FROM qnd_user_group WHERE del_status = 0 ORDER BY id"));
    QVERIFY(groupIds.size() >= 2);
    const int leaders = groupIds[0][0].toInt(), drivers = groupIds[1][0].toInt();
    // Priorities: the drivers' group first, then by name; the leaders' group after it.
    QVERIFY(c->execute(QStringLiteral("UPDATE qnd_user_group SET directory_dn = ?, directory_priority = 2 WHERE id = ?"),
                       {dir.groupDn(QStringLiteral("vezetok") + suffix).toUpper(), leaders}));
    QVERIFY(c->execute(QStringLiteral("UPDATE qnd_user_group SET directory_dn = ?, directory_priority = 1 WHERE id = ?"),
                       {dir.groupDn(QStringLiteral("sofor") + suffix), drivers}));
    const auto adminBefore = c->select(QStringLiteral("SELECT * FROM qnd_user WHERE user_name = 'admin'"));
    const int localUsers = c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user")).value(0).value(0).toInt();
    auto user = [&](const QString& login) {
        return c->select(QStringLiteral("SELECT id, user_group_id, display_name, email, access_denied, del_status FROM qnd_user "
                                        "WHERE directory_dn = ?"),
                         {dnKey(dir.personDn(login))})
            .value(0);
    };
    // In turn as the panel syncs (the plan, then its writing) and as the command line does
    // (written as read): both come to the same users.
    int syncs = 0;
    auto sync = [&] {
        QString why;
        if (++syncs % 2 == 0) {
            SyncPlan made;
            if (!syncNow(*c, cfg, &made, &why)) qWarning() << why;
            return made;
        }
        const SyncPlan plan = planSync(*c, cfg);
        if (!applySync(*c, plan, &why)) qWarning() << why;
        return plan;
    };
    using K = SyncChange::Kind;

    SyncPlan plan = sync();
    QCOMPARE(plan.people, 5);
    QCOMPARE(plan.count(K::New), 3);    // anna, bela, hosszu; cecil is in no mapped group
    QCOMPARE(plan.count(K::Clash), 1);  // a local admin has the name
    QVERIFY2(plan.summary().startsWith(QStringLiteral("A címtárban 5 felhasználó: 3 új")), qPrintable(plan.summary()));
    QCOMPARE(user(QStringLiteral("anna")).value(1).toInt(), drivers);
    QCOMPARE(user(QStringLiteral("anna")).value(3).toString(), QStringLiteral("anna@ceg.hu"));
    QCOMPARE(user(QStringLiteral("bela")).value(2).toString(), QStringLiteral("Kiss Béla"));
    QCOMPARE(user(QStringLiteral("hosszu")).value(2).toString(), hostileName.left(255));
    QVERIFY(user(QStringLiteral("cecil")).isEmpty());
    QCOMPARE(c->select(QStringLiteral("SELECT * FROM qnd_user WHERE user_name = 'admin'")), adminBefore);
    QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user")).value(0).value(0).toInt(), localUsers + 3);
    // Nothing stored to check a directory user's password against.
    QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE directory_dn <> '' AND password <> ''")).value(0).value(0).toInt(), 0);
    // Again with nothing changed: nothing to do.
    plan = sync();
    QCOMPARE(plan.changes.size(), 1);  // the clash stays
    QCOMPARE(plan.unchanged, 3);

    // Renamed, and moved: anna leaves the drivers and is left with the leaders.
    dir.setName(QStringLiteral("bela"), QStringLiteral("Kiss Béla Ottó"));
    dir.setMembers(QStringLiteral("sofor"), {QStringLiteral("bela"), QStringLiteral("hosszu")});
    plan = sync();
    QCOMPARE(plan.count(K::Changed), 2);
    QCOMPARE(user(QStringLiteral("bela")).value(2).toString(), QStringLiteral("Kiss Béla Ottó"));
    const int anna = user(QStringLiteral("anna")).value(0).toInt();
    QCOMPARE(user(QStringLiteral("anna")).value(1).toInt(), leaders);
    const auto history = c->select(QStringLiteral("SELECT old_value, new_value FROM qnd_rights_history WHERE table_name = 'qnd_user' "
                                                  "AND row_id = ? AND column_name = 'user_group_id' ORDER BY id"),
                                   {anna});
    // Made into the drivers' group, then moved to the leaders'.
    QCOMPARE(history.size(), 2);
    QCOMPARE(history[0][1].toInt(), drivers);
    QCOMPARE(history[1][0].toInt(), drivers);
    QCOMPARE(history[1][1].toInt(), leaders);

    // Removed from the directory, and out of every mapped group: barred, never deleted.
    dir.remove(dir.personDn(QStringLiteral("bela")));
    dir.setMembers(QStringLiteral("vezetok"), {QStringLiteral("admin")});
    plan = sync();
    QCOMPARE(plan.count(K::Gone), 1);
    QCOMPARE(plan.count(K::NoGroup), 1);
    for (const char* login : {"bela", "anna"}) {
        QVERIFY2(user(QString::fromLatin1(login)).value(4).toBool(), login);
        QCOMPARE(user(QString::fromLatin1(login)).value(5).toInt(), 0);
    }
    // Back in a mapped group: let in again.
    dir.setMembers(QStringLiteral("vezetok"), {QStringLiteral("anna")});
    plan = sync();
    QCOMPARE(plan.count(K::Changed), 1);
    QVERIFY(!user(QStringLiteral("anna")).value(4).toBool());
    QCOMPARE(c->select(QStringLiteral("SELECT * FROM qnd_user WHERE user_name = 'admin'")), adminBefore);
}

QTEST_MAIN(TstDirectory)
#include "tst_directory.moc"
