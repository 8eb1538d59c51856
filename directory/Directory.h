#pragma once
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <stdexcept>

typedef struct ldap LDAP;
typedef struct ldapmsg LDAPMessage;

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Directory {

// How a user's groups are read: the group lists its members' names (member: DNs; memberUid:
// login names), or the user lists his groups (memberOf, as Active Directory and the memberof
// overlay keep it).
enum class Membership { Member, MemberOf, MemberUid };

// Where the users are kept and how they are read: the settings of section LDAP. The bind
// password is a stored secret (sealed like the others, never shown to users' SQL).
struct Config {
    QString urls;              // one or more ldap:// or ldaps:// URLs, separated by spaces
    bool startTls = false;     // on an ldap:// URL: TLS asked for before the bind, required
    QString caFile;            // the CA certificate(s) a server's certificate is checked against
    QString bindDn;
    QString bindPassword;
    QString userBase;
    QString userFilter = QStringLiteral("(objectClass=person)");
    QString loginAttribute = QStringLiteral("uid");
    QString nameAttribute = QStringLiteral("cn");
    QString mailAttribute = QStringLiteral("mail");
    QString phoneAttribute = QStringLiteral("telephoneNumber");
    QString groupBase;
    QString groupFilter = QStringLiteral("(objectClass=groupOfNames)");
    Membership membership = Membership::Member;
    int timeoutSeconds = 10;

    // Whether a directory is named at all (a URL and the users' base).
    bool configured() const { return !urls.trimmed().isEmpty() && !userBase.trimmed().isEmpty(); }

    static Config load(Connection& c);
    // Throws DbError when a setting cannot be written.
    void save(Connection& c) const;
};

QString membershipName(Membership m);
Membership membershipFromName(const QString& name);

// A failure of the directory, with what to tell the user in Hungarian.
class Error : public std::runtime_error {
public:
    enum class Kind { Unreachable, Tls, BadBind, NotFound, Refused, Setting };
    Error(Kind kind, const QString& message) : std::runtime_error(message.toStdString()), m_kind(kind), m_message(message) {}
    Kind kind() const { return m_kind; }
    const QString& message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

// A value as it may stand inside a search filter: the characters RFC 4515 gives a meaning
// ( * ( ) \ NUL ) escaped as \xx, so that a typed name never widens a search.
QString escapeFilter(const QString& value);
// A DN in the form two spellings of it share (case and spaces around separators aside).
QString dnKey(const QString& dn);
// A login name in the form the directory compares it (case-folded).
QString loginKey(const QString& login);

struct Person {
    QString dn;
    QString key;           // dnKey(dn) when a sync made it ahead (on its reading thread); else empty
    QString login;
    QString name;
    QString mail;
    QString phone;
    QStringList memberOf;  // group DNs the entry lists (read only with Membership::MemberOf)

    // His DN key: the one made ahead, else made now.
    QString dnKey() const { return key.isEmpty() ? Directory::dnKey(dn) : key; }
};

// Every entry's DN key made ahead (Person::key), where the reading has time to spare.
void makeKeys(QList<Person>& people);

struct Group {
    QString dn;
    QString name;
    QStringList members;   // member DNs, or login names for memberUid
};

// One link to the directory, bound as the configured service user. Every call throws Error.
class Link {
public:
    explicit Link(const Config& config);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // Every user under the users' base matching the filter, read in pages of `pageSize`.
    QList<Person> people(int pageSize = 1000);
    // The same, handed over a page at a time as each comes (the page is the receiver's to keep).
    void people(const std::function<void(QList<Person>&)>& eachPage, int pageSize = 1000);
    // Every group under the groups' base matching the filter.
    QList<Group> groups(int pageSize = 1000);
    // The one user whose login attribute equals `login` (escaped); none when there is no such
    // user or more than one.
    QList<Person> findPerson(const QString& login);

private:
    using EntryFn = std::function<void(LDAPMessage*)>;
    using PeopleFn = std::function<void(QList<Person>&)>;
    void readPeople(const QString& filter, int pageSize, const PeopleFn& eachPage);
    void search(const QString& base, const QString& filter, const QStringList& attributes, int pageSize,
                const EntryFn& each, const std::function<void()>& pageDone = {});
    QStringList values(LDAPMessage* entry, const QString& attribute) const;
    QString value(LDAPMessage* entry, const QString& attribute) const;

    const Config& m_config;
    LDAP* m_ld = nullptr;
};

// A user's groups (DN keys) as the configured membership tells them: from the groups read
// beforehand (member: their DNs; memberUid: their login names), or from his own entry
// (memberOf). It needs no other user, so users can be placed one by one as they are read.
class GroupsOf {
public:
    GroupsOf(const Config& config, const QList<Group>& groups);
    QStringList operator()(const Person& p) const;

private:
    Membership m_way;
    QHash<QString, QStringList> m_byMember;  // a member's DN key or login key: his groups' DN keys
};

// Whether `password` is the password of the directory user `login`: his entry is found
// through the service user, then a link binds as him. An empty password is refused before
// any bind (a directory may take an empty password for an anonymous success). `person`, when
// given, receives his entry. Throws Error when the directory cannot be asked.
bool authenticate(const Config& config, const QString& login, const QString& password, Person* person = nullptr);

// What "Kapcsolat próbája" reports: the users and groups a sync would read.
struct Census {
    int people = 0;
    int groups = 0;
};
// Binds and counts; an empty users' search is an Error of its own (Kind::NotFound).
Census probe(const Config& config);

} // namespace NexoFrame::Directory
