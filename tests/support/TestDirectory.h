#pragma once
#include "Directory.h"
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QString>
#include <QStringList>

namespace NexoFrame {

// A branch of its own in the throwaway directory NEXO_TEST_LDAP names (scripts/with-ldap.sh),
// removed again when this goes: people under ou=people, groups under ou=groups of it. Entries
// are written with the manager's rights through ldapmodify. Without a directory the suite
// fails, it never skips.
class TestDirectory {
public:
    TestDirectory()
    {
        m_dir = qEnvironmentVariable("NEXO_TEST_LDAP");
        if (m_dir.isEmpty() || !QFile::exists(m_dir + QStringLiteral("/url")))
            qFatal("NEXO_TEST_LDAP does not name a test directory (scripts/test.sh and scripts/with-ldap.sh start one)");
        m_branch = QStringLiteral("ou=t%1x%2,%3")
                       .arg(QCoreApplication::applicationPid())
                       .arg(QRandomGenerator::global()->bounded(1000000))
                       .arg(file(QStringLiteral("base")));
        modify(QStringLiteral("dn: %1\nchangetype: add\nobjectClass: organizationalUnit\nou: %2\n\n"
                              "dn: ou=people,%1\nchangetype: add\nobjectClass: organizationalUnit\nou: people\n\n"
                              "dn: ou=groups,%1\nchangetype: add\nobjectClass: organizationalUnit\nou: groups\n")
                   .arg(m_branch, m_branch.section(QLatin1Char(','), 0, 0).mid(3)));
    }
    ~TestDirectory()
    {
        QProcess p;
        p.start(QStringLiteral("ldapdelete"), {QStringLiteral("-x"), QStringLiteral("-r"), QStringLiteral("-H"), url(),
                                               QStringLiteral("-D"), adminDn(), QStringLiteral("-w"), adminPassword(), m_branch});
        p.waitForFinished(60000);
    }

    QString file(const QString& name) const
    {
        QFile f(m_dir + QLatin1Char('/') + name);
        if (!f.open(QIODevice::ReadOnly)) qFatal("test directory: %s is missing", qPrintable(f.fileName()));
        return QString::fromUtf8(f.readAll()).trimmed();
    }
    QString url() const { return file(QStringLiteral("url")); }
    // An address on 127.0.0.1 where nothing listens, as a stopped server's.
    static QString deadUrl()
    {
        QTcpServer s;
        s.listen(QHostAddress::LocalHost);
        return QStringLiteral("ldap://127.0.0.1:%1").arg(s.serverPort());
    }
    QString ldapsUrl() const { return file(QStringLiteral("ldaps-url")); }
    QString caFile() const { return m_dir + QStringLiteral("/ca.pem"); }
    QString adminDn() const { return file(QStringLiteral("admin-dn")); }
    QString adminPassword() const { return file(QStringLiteral("admin-pw")); }
    QString people() const { return QStringLiteral("ou=people,") + m_branch; }
    QString groups() const { return QStringLiteral("ou=groups,") + m_branch; }
    QString personDn(const QString& uid) const { return QStringLiteral("uid=%1,%2").arg(uid, people()); }
    QString groupDn(const QString& cn) const { return QStringLiteral("cn=%1,%2").arg(cn, groups()); }
    // A service user that may read the branch (any bound user may).
    QString serviceDn() const { return personDn(QStringLiteral("svc")); }
    QString servicePassword() const { return QStringLiteral("svc_titok"); }

    // The settings that read this branch, bound as the service user (made on first use).
    Directory::Config config(Directory::Membership m = Directory::Membership::Member)
    {
        if (!m_service) {
            // The service user lives outside the users' filter (no inetOrgPerson), so it is never a user.
            modify(QStringLiteral("dn: %1\nchangetype: add\nobjectClass: account\nobjectClass: simpleSecurityObject\n"
                                  "uid: svc\nuserPassword: %2\n")
                       .arg(serviceDn(), servicePassword()));
            m_service = true;
        }
        Directory::Config c;
        c.urls = url();
        c.caFile = caFile();
        c.bindDn = serviceDn();
        c.bindPassword = servicePassword();
        c.userBase = people();
        c.userFilter = QStringLiteral("(objectClass=inetOrgPerson)");
        c.loginAttribute = QStringLiteral("uid");
        c.groupBase = groups();
        c.membership = m;
        c.groupFilter = m == Directory::Membership::MemberUid ? QStringLiteral("(objectClass=posixGroup)")
                                                               : QStringLiteral("(objectClass=groupOfNames)");
        c.timeoutSeconds = 5;
        return c;
    }

    // LDIF records (changetype given) applied as the manager; fails the test process on error.
    void modify(const QString& ldif) const
    {
        QProcess p;
        p.start(QStringLiteral("ldapmodify"), {QStringLiteral("-x"), QStringLiteral("-H"), url(), QStringLiteral("-D"), adminDn(),
                                               QStringLiteral("-w"), adminPassword()});
        p.write(ldif.toUtf8());
        p.closeWriteChannel();
        if (!p.waitForFinished(300000) || p.exitCode() != 0)
            qFatal("ldapmodify: %s", qPrintable(QString::fromUtf8(p.readAllStandardError())));
    }

    QString personLdif(const QString& uid, const QString& name, const QString& password, const QString& mail = {}) const
    {
        QString l = QStringLiteral("dn: %1\nchangetype: add\nobjectClass: inetOrgPerson\nuid: %2\ncn: %3\nsn: %3\n"
                                   "userPassword: %4\n")
                        .arg(personDn(uid), uid, name, password);
        if (!mail.isEmpty()) l += QStringLiteral("mail: %1\n").arg(mail);
        return l + QLatin1Char('\n');
    }
    void addPerson(const QString& uid, const QString& name, const QString& password, const QString& mail = {}) const
    {
        modify(personLdif(uid, name, password, mail));
    }
    // A group of names (member: DNs; the overlay keeps memberOf) and, beside it, a POSIX group
    // of the same members by login name (memberUid) under the name "<cn>-posix".
    void addGroup(const QString& cn, const QStringList& uids) const
    {
        QString l = QStringLiteral("dn: %1\nchangetype: add\nobjectClass: groupOfNames\ncn: %2\n").arg(groupDn(cn), cn);
        // A group of names needs a member: the manager stands in for an empty one.
        if (uids.isEmpty()) l += QStringLiteral("member: %1\n").arg(adminDn());
        for (const QString& u : uids) l += QStringLiteral("member: %1\n").arg(personDn(u));
        l += QStringLiteral("\ndn: %1\nchangetype: add\nobjectClass: posixGroup\ncn: %2-posix\ngidNumber: %3\n")
                 .arg(groupDn(cn + QStringLiteral("-posix")), cn)
                 .arg(1000 + (++m_gid));
        for (const QString& u : uids) l += QStringLiteral("memberUid: %1\n").arg(u);
        modify(l);
    }
    void setMembers(const QString& cn, const QStringList& uids) const
    {
        QString l = QStringLiteral("dn: %1\nchangetype: modify\nreplace: member\n").arg(groupDn(cn));
        if (uids.isEmpty()) l += QStringLiteral("member: %1\n").arg(adminDn());
        for (const QString& u : uids) l += QStringLiteral("member: %1\n").arg(personDn(u));
        l += QStringLiteral("\ndn: %1\nchangetype: modify\nreplace: memberUid\n").arg(groupDn(cn + QStringLiteral("-posix")));
        for (const QString& u : uids) l += QStringLiteral("memberUid: %1\n").arg(u);
        modify(l);
    }
    void setName(const QString& uid, const QString& name) const
    {
        modify(QStringLiteral("dn: %1\nchangetype: modify\nreplace: cn\ncn: %2\n").arg(personDn(uid), name));
    }
    void remove(const QString& dn) const { modify(QStringLiteral("dn: %1\nchangetype: delete\n").arg(dn)); }

private:
    QString m_dir;
    QString m_branch;
    bool m_service = false;
    mutable int m_gid = 0;
};

} // namespace NexoFrame
