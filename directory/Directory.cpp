#include "Directory.h"
#include "Connection.h"
#include "DbError.h"
#include "SettingKeys.h"
#include <ldap.h>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTcpSocket>
#include <QUrl>

namespace NexoFrame::Directory {

namespace K = SettingKeys;

namespace {

QString setting(Connection& c, QLatin1StringView key, const QString& defaultValue = {})
{
    return c.settings().read(K::kLdap, key, defaultValue);
}

QByteArray utf8(const QString& s) { return s.toUtf8(); }

// What the library said, for the messages: its text and, when the server gave one, its detail.
QString diagnostic(LDAP* ld, int rc)
{
    QString text = QString::fromUtf8(ldap_err2string(rc));
    char* detail = nullptr;
    if (ld && ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &detail) == LDAP_OPT_SUCCESS && detail) {
        if (*detail) text += QStringLiteral(" (%1)").arg(QString::fromUtf8(detail));
        ldap_memfree(detail);
    }
    return text;
}

bool looksLikeTls(const QString& text)
{
    return text.contains(QLatin1String("TLS"), Qt::CaseInsensitive)
        || text.contains(QLatin1String("certificate"), Qt::CaseInsensitive)
        || text.contains(QLatin1String("SSL"), Qt::CaseInsensitive);
}

// Whether something listens at one of the ldaps:// URLs: the library says only that it could
// not reach a server whose TLS handshake failed, and the user needs to know which it was.
bool ldapsListens(const QString& urls, int timeoutSeconds)
{
    for (const QString& u : urls.split(QRegularExpression(QStringLiteral("[\\s,;]+")), Qt::SkipEmptyParts)) {
        const QUrl url(u);
        if (url.scheme().compare(QLatin1String("ldaps"), Qt::CaseInsensitive) != 0) continue;
        QTcpSocket s;
        s.connectToHost(url.host(), quint16(url.port(636)));
        if (s.waitForConnected(timeoutSeconds * 1000)) return true;
    }
    return false;
}

// A failure of a link's first round trips (TLS, bind) as the user is told it.
[[noreturn]] void fail(LDAP* ld, int rc, bool tls, const QString& who, const Config* c = nullptr)
{
    const QString why = diagnostic(ld, rc);
    if (rc == LDAP_SERVER_DOWN && c && ldapsListens(c->urls, std::max(1, c->timeoutSeconds)))
        throw Error(Error::Kind::Tls,
                    QStringLiteral("A titkosított kapcsolat (TLS) nem jött létre a címtárkiszolgálóval: a kiszolgáló "
                                   "elérhető, de a tanúsítványát nem lehetett ellenőrizni (%1).").arg(why));
    if (rc == LDAP_INVALID_CREDENTIALS)
        throw Error(Error::Kind::BadBind,
                    QStringLiteral("A címtár nem fogadta el a(z) „%1” bejelentkezését: hibás név vagy jelszó.").arg(who));
    if (tls && (looksLikeTls(why) || rc == LDAP_CONNECT_ERROR))
        throw Error(Error::Kind::Tls,
                    QStringLiteral("A titkosított kapcsolat (TLS) nem jött létre a címtárkiszolgálóval: %1").arg(why));
    if (rc == LDAP_SERVER_DOWN || rc == LDAP_CONNECT_ERROR || rc == LDAP_TIMEOUT)
        throw Error(Error::Kind::Unreachable, QStringLiteral("A címtárkiszolgáló nem érhető el: %1").arg(why));
    if (rc == LDAP_UNWILLING_TO_PERFORM || rc == LDAP_INAPPROPRIATE_AUTH || rc == LDAP_CONFIDENTIALITY_REQUIRED
        || rc == LDAP_STRONG_AUTH_REQUIRED)
        throw Error(Error::Kind::Refused, QStringLiteral("A címtár visszautasította a bejelentkezést: %1").arg(why));
    throw Error(Error::Kind::Refused, QStringLiteral("A címtár hibát jelzett: %1").arg(why));
}

bool usesTls(const Config& c)
{
    return c.startTls || c.urls.contains(QLatin1String("ldaps://"), Qt::CaseInsensitive);
}

// A link to the configured server(s), TLS set up as configured, bound as `dn`.
LDAP* open(const Config& c, const QString& dn, const QString& password)
{
    if (!c.configured())
        throw Error(Error::Kind::Setting, QStringLiteral("Nincs megadva a címtárkiszolgáló címe és a felhasználók ága."));
    const QStringList urls = c.urls.split(QRegularExpression(QStringLiteral("[\\s,;]+")), Qt::SkipEmptyParts);
    for (const QString& u : urls)
        if (!u.startsWith(QLatin1String("ldap://"), Qt::CaseInsensitive)
            && !u.startsWith(QLatin1String("ldaps://"), Qt::CaseInsensitive))
            throw Error(Error::Kind::Setting,
                        QStringLiteral("A(z) „%1” nem címtárkiszolgáló címe (ldap://… vagy ldaps://…).").arg(u));
    LDAP* ld = nullptr;
    int rc = ldap_initialize(&ld, utf8(urls.join(QLatin1Char(' '))).constData());
    if (rc != LDAP_SUCCESS || !ld)
        throw Error(Error::Kind::Setting, QStringLiteral("A címtárkiszolgáló címe hibás: %1").arg(diagnostic(nullptr, rc)));
    auto closeAndFail = [&](int code, bool tls, const QString& who) {
        try {
            fail(ld, code, tls, who, &c);
        } catch (...) {
            ldap_unbind_ext_s(ld, nullptr, nullptr);
            throw;
        }
    };
    const int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    timeval timeout{std::max(1, c.timeoutSeconds), 0};
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &timeout);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &timeout);
    // The server's certificate is always checked: against the configured CA, or the system's.
    const int demand = LDAP_OPT_X_TLS_DEMAND;
    ldap_set_option(ld, LDAP_OPT_X_TLS_REQUIRE_CERT, &demand);
    if (!c.caFile.trimmed().isEmpty())
        ldap_set_option(ld, LDAP_OPT_X_TLS_CACERTFILE, utf8(c.caFile.trimmed()).constData());
    const int isServer = 0;
    ldap_set_option(ld, LDAP_OPT_X_TLS_NEWCTX, &isServer);
    if (c.startTls && !c.urls.contains(QLatin1String("ldaps://"), Qt::CaseInsensitive)) {
        rc = ldap_start_tls_s(ld, nullptr, nullptr);
        // A server that answers but takes no StartTLS is a TLS refusal, not one that is down.
        if (rc != LDAP_SUCCESS) closeAndFail(rc == LDAP_SERVER_DOWN ? rc : LDAP_CONNECT_ERROR, rc != LDAP_SERVER_DOWN, dn);
    }
    QByteArray pw = utf8(password);
    berval cred{ber_len_t(pw.size()), pw.data()};
    rc = ldap_sasl_bind_s(ld, dn.isEmpty() ? nullptr : utf8(dn).constData(), LDAP_SASL_SIMPLE, &cred, nullptr, nullptr,
                          nullptr);
    if (rc != LDAP_SUCCESS) closeAndFail(rc, usesTls(c), dn);
    return ld;
}

} // namespace

QString membershipName(Membership m)
{
    switch (m) {
    case Membership::MemberOf: return QStringLiteral("memberOf");
    case Membership::MemberUid: return QStringLiteral("memberUid");
    case Membership::Member: break;
    }
    return QStringLiteral("member");
}

Membership membershipFromName(const QString& name)
{
    if (name.compare(QLatin1String("memberOf"), Qt::CaseInsensitive) == 0) return Membership::MemberOf;
    if (name.compare(QLatin1String("memberUid"), Qt::CaseInsensitive) == 0) return Membership::MemberUid;
    return Membership::Member;
}

Config Config::load(Connection& c)
{
    Config d;
    d.urls = setting(c, K::kLdapUrls);
    d.startTls = setting(c, K::kLdapStartTls) == QLatin1String("1");
    d.caFile = setting(c, K::kLdapCaFile);
    d.bindDn = setting(c, K::kLdapBindDn);
    d.bindPassword = setting(c, K::kLdapBindPassword);
    d.userBase = setting(c, K::kLdapUserBase);
    d.userFilter = setting(c, K::kLdapUserFilter, d.userFilter);
    d.loginAttribute = setting(c, K::kLdapLoginAttribute, d.loginAttribute);
    d.nameAttribute = setting(c, K::kLdapNameAttribute, d.nameAttribute);
    d.mailAttribute = setting(c, K::kLdapMailAttribute, d.mailAttribute);
    d.phoneAttribute = setting(c, K::kLdapPhoneAttribute, d.phoneAttribute);
    d.groupBase = setting(c, K::kLdapGroupBase);
    d.groupFilter = setting(c, K::kLdapGroupFilter, d.groupFilter);
    d.membership = membershipFromName(setting(c, K::kLdapMembership));
    return d;
}

void Config::save(Connection& c) const
{
    const QList<std::pair<QLatin1StringView, QString>> values{
        {K::kLdapUrls, urls.trimmed()},
        {K::kLdapStartTls, startTls ? QStringLiteral("1") : QStringLiteral("0")},
        {K::kLdapCaFile, caFile.trimmed()},
        {K::kLdapBindDn, bindDn.trimmed()},
        {K::kLdapBindPassword, bindPassword},
        {K::kLdapUserBase, userBase.trimmed()},
        {K::kLdapUserFilter, userFilter.trimmed()},
        {K::kLdapLoginAttribute, loginAttribute.trimmed()},
        {K::kLdapNameAttribute, nameAttribute.trimmed()},
        {K::kLdapMailAttribute, mailAttribute.trimmed()},
        {K::kLdapPhoneAttribute, phoneAttribute.trimmed()},
        {K::kLdapGroupBase, groupBase.trimmed()},
        {K::kLdapGroupFilter, groupFilter.trimmed()},
        {K::kLdapMembership, membershipName(membership)},
    };
    for (const auto& [key, value] : values)
        if (!c.settings().write(K::kLdap, key, value))
            throw DbError(QStringLiteral("A(z) %1 / %2 beállítás nem menthető.").arg(K::kLdap, key));
}

QString escapeFilter(const QString& value)
{
    QString out;
    out.reserve(value.size());
    // Multi-byte characters pass through whole: only the ASCII metacharacters are escaped.
    for (const QChar ch : value) {
        const char16_t u = ch.unicode();
        if (u == '*' || u == '(' || u == ')' || u == '\\' || u == 0)
            out += QStringLiteral("\\%1").arg(int(u), 2, 16, QLatin1Char('0'));
        else
            out += ch;
    }
    return out;
}

QString dnKey(const QString& dn)
{
    // A character walk rather than a pattern: a sync asks this of every member of every group.
    const QString lower = dn.trimmed().toLower();
    // A server hands its DNs without blanks around the separators: nothing to take out.
    if (!lower.contains(u' ')) return lower;
    QString out;
    out.reserve(lower.size());
    for (qsizetype i = 0; i < lower.size(); ++i) {
        const QChar ch = lower[i];
        if (ch == u',' || ch == u'=' || ch == u'+') {
            while (!out.isEmpty() && out.back().isSpace()) out.chop(1);
            out += ch;
            while (i + 1 < lower.size() && lower[i + 1].isSpace()) ++i;
        } else {
            out += ch;
        }
    }
    return out;
}

QString loginKey(const QString& login) { return login.trimmed().toCaseFolded(); }

Link::Link(const Config& config) : m_config(config)
{
    m_ld = open(config, config.bindDn, config.bindPassword);
}

Link::~Link()
{
    if (m_ld) ldap_unbind_ext_s(m_ld, nullptr, nullptr);
}

QStringList Link::values(LDAPMessage* entry, const QString& attribute) const
{
    QStringList out;
    if (attribute.trimmed().isEmpty()) return out;
    berval** v = ldap_get_values_len(m_ld, entry, utf8(attribute.trimmed()).constData());
    if (!v) return out;
    for (int i = 0; v[i]; ++i) out << QString::fromUtf8(v[i]->bv_val, qsizetype(v[i]->bv_len));
    ldap_value_free_len(v);
    return out;
}

QString Link::value(LDAPMessage* entry, const QString& attribute) const { return values(entry, attribute).value(0); }

void Link::search(const QString& base, const QString& filter, const QStringList& attributes, int pageSize,
                  const EntryFn& each, const std::function<void()>& pageDone)
{
    QList<QByteArray> names;
    for (const QString& a : attributes)
        if (!a.trimmed().isEmpty()) names << utf8(a.trimmed());
    std::vector<char*> attrs;
    for (QByteArray& n : names) attrs.push_back(n.data());
    attrs.push_back(nullptr);
    const QByteArray b = utf8(base.trimmed()), f = utf8(filter.trimmed().isEmpty() ? QStringLiteral("(objectClass=*)") : filter.trimmed());
    berval* cookie = nullptr;
    for (;;) {
        LDAPControl* page = nullptr;
        int rc = ldap_create_page_control(m_ld, ber_int_t(pageSize), cookie, 0, &page);
        if (cookie) {
            ber_bvfree(cookie);
            cookie = nullptr;
        }
        if (rc != LDAP_SUCCESS) fail(m_ld, rc, false, m_config.bindDn);
        LDAPControl* controls[] = {page, nullptr};
        LDAPMessage* result = nullptr;
        timeval timeout{std::max(1, m_config.timeoutSeconds) * 6, 0};
        rc = ldap_search_ext_s(m_ld, b.constData(), LDAP_SCOPE_SUBTREE, f.constData(), attrs.data(), 0, controls, nullptr,
                               &timeout, 0, &result);
        ldap_control_free(page);
        if (rc != LDAP_SUCCESS && rc != LDAP_PARTIAL_RESULTS) {
            if (result) ldap_msgfree(result);
            if (rc == LDAP_NO_SUCH_OBJECT)
                throw Error(Error::Kind::NotFound, QStringLiteral("A(z) „%1” ág nincs meg a címtárban.").arg(base.trimmed()));
            if (rc == LDAP_FILTER_ERROR)
                throw Error(Error::Kind::Setting, QStringLiteral("A(z) „%1” szűrő hibás.").arg(filter));
            if (rc == LDAP_SERVER_DOWN || rc == LDAP_TIMEOUT) fail(m_ld, rc, false, m_config.bindDn);
            throw Error(Error::Kind::Refused, QStringLiteral("A címtár keresése nem sikerült: %1").arg(diagnostic(m_ld, rc)));
        }
        // The page is freed also when a receiver throws (a sync stopped by its writer).
        const auto freed = qScopeGuard([&] {
            if (result) ldap_msgfree(result);
        });
        for (LDAPMessage* e = ldap_first_entry(m_ld, result); e; e = ldap_next_entry(m_ld, e)) each(e);
        LDAPControl** returned = nullptr;
        int code = LDAP_SUCCESS;
        ldap_parse_result(m_ld, result, &code, nullptr, nullptr, nullptr, &returned, 0);
        ldap_msgfree(result);
        result = nullptr;
        if (LDAPControl* c = returned ? ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, returned, nullptr) : nullptr) {
            ber_int_t estimate = 0;
            berval next{0, nullptr};
            if (ldap_parse_pageresponse_control(m_ld, c, &estimate, &next) == LDAP_SUCCESS && next.bv_len > 0)
                cookie = ber_bvdup(&next);
            if (next.bv_val) ber_memfree(next.bv_val);
        }
        if (returned) ldap_controls_free(returned);
        if (code != LDAP_SUCCESS) {
            if (cookie) ber_bvfree(cookie);
            throw Error(Error::Kind::Refused, QStringLiteral("A címtár keresése nem sikerült: %1").arg(diagnostic(m_ld, code)));
        }
        if (pageDone) {
            try {
                pageDone();
            } catch (...) {
                if (cookie) ber_bvfree(cookie);
                throw;
            }
        }
        if (!cookie) break;
    }
}

void Link::readPeople(const QString& filter, int pageSize, const PeopleFn& eachPage)
{
    QList<Person> page;
    const Config& c = m_config;
    QStringList attrs{c.loginAttribute, c.nameAttribute, c.mailAttribute, c.phoneAttribute};
    if (c.membership == Membership::MemberOf) attrs << QStringLiteral("memberOf");
    search(
        c.userBase, filter, attrs, pageSize,
        [&](LDAPMessage* e) {
            Person p;
            char* dn = ldap_get_dn(m_ld, e);
            p.dn = QString::fromUtf8(dn);
            ldap_memfree(dn);
            p.login = value(e, c.loginAttribute).trimmed();
            if (p.login.isEmpty()) return;  // nobody can log in without a name
            p.name = value(e, c.nameAttribute);
            p.mail = value(e, c.mailAttribute);
            p.phone = value(e, c.phoneAttribute);
            if (c.membership == Membership::MemberOf) p.memberOf = values(e, QStringLiteral("memberOf"));
            page << p;
        },
        [&] {
            eachPage(page);
            page.clear();
        });
}

QList<Person> Link::people(int pageSize)
{
    QList<Person> out;
    people([&](QList<Person>& page) { out += std::move(page); }, pageSize);
    return out;
}

void Link::people(const PeopleFn& eachPage, int pageSize) { readPeople(m_config.userFilter, pageSize, eachPage); }

QList<Group> Link::groups(int pageSize)
{
    QList<Group> out;
    const Config& c = m_config;
    if (c.groupBase.trimmed().isEmpty()) return out;
    const QString memberAttr = c.membership == Membership::MemberUid ? QStringLiteral("memberUid") : QStringLiteral("member");
    QStringList attrs{QStringLiteral("cn")};
    if (c.membership != Membership::MemberOf) attrs << memberAttr;
    search(c.groupBase, c.groupFilter, attrs, pageSize, [&](LDAPMessage* e) {
        Group g;
        char* dn = ldap_get_dn(m_ld, e);
        g.dn = QString::fromUtf8(dn);
        ldap_memfree(dn);
        g.name = value(e, QStringLiteral("cn"));
        if (c.membership != Membership::MemberOf) g.members = values(e, memberAttr);
        out << g;
    });
    return out;
}

QList<Person> Link::findPerson(const QString& login)
{
    const QString own = m_config.userFilter.trimmed();
    const QString match = QStringLiteral("(%1=%2)").arg(m_config.loginAttribute.trimmed(), escapeFilter(login.trimmed()));
    QList<Person> out;
    readPeople(own.isEmpty() ? match : QStringLiteral("(&%1%2)").arg(own, match), 2,
               [&](QList<Person>& page) { out += std::move(page); });
    return out;
}

GroupsOf::GroupsOf(const Config& config, const QList<Group>& groups) : m_way(config.membership)
{
    if (m_way == Membership::MemberOf) return;
    for (const Group& g : groups) {
        const QString group = dnKey(g.dn);
        for (const QString& m : g.members) m_byMember[m_way == Membership::MemberUid ? loginKey(m) : dnKey(m)] << group;
    }
}

QStringList GroupsOf::operator()(const Person& p) const
{
    switch (m_way) {
    case Membership::MemberOf: {
        QStringList out;
        for (const QString& g : p.memberOf) out << dnKey(g);
        return out;
    }
    case Membership::MemberUid: return m_byMember.value(loginKey(p.login));
    case Membership::Member: break;
    }
    return m_byMember.value(p.dnKey());
}

void makeKeys(QList<Person>& people)
{
    for (Person& p : people) p.key = dnKey(p.dn);
}

bool authenticate(const Config& config, const QString& login, const QString& password, Person* person)
{
    if (password.isEmpty() || login.trimmed().isEmpty()) return false;
    QList<Person> found;
    {
        Link service(config);
        found = service.findPerson(login);
    }
    if (found.size() != 1) return false;
    LDAP* ld = nullptr;
    try {
        ld = open(config, found.first().dn, password);
    } catch (const Error& e) {
        if (e.kind() == Error::Kind::BadBind) return false;
        throw;
    }
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    if (person) *person = found.first();
    return true;
}

Census probe(const Config& config)
{
    Link link(config);
    Census c;
    c.people = int(link.people().size());
    if (c.people == 0)
        throw Error(Error::Kind::NotFound,
                    QStringLiteral("A kapcsolat jó, de a felhasználók ágában („%1”) a szűrő egy felhasználót sem talál.")
                        .arg(config.userBase.trimmed()));
    c.groups = int(link.groups().size());
    return c;
}

} // namespace NexoFrame::Directory
