#include "DirectorySync.h"
#include "Connection.h"
#include "DbError.h"
#include <algorithm>
#include <QDateTime>
#include <QHash>
#include <QSet>
#include <future>

namespace NexoFrame::Directory {

namespace {

struct Mapped {
    int id;
    QString name;
    QString dn;  // dnKey
};

struct Here {
    int id;
    QString login, name, mail, phone;
    int groupId;
    bool barred;
};

const TableDef& users() { return *Schema::instance().table(Tables::User); }

// A value cut to its column, as the column's length stands in the schema.
struct Cut {
    explicit Cut(const char* column) : length(users().column(QString::fromLatin1(column))->length) {}
    QString operator()(const QString& s) const { return s.trimmed().left(length); }
    int length;
};

} // namespace

QString kindText(SyncChange::Kind k)
{
    switch (k) {
    case SyncChange::Kind::New: return QStringLiteral("új felhasználó");
    case SyncChange::Kind::Changed: return QStringLiteral("módosul");
    case SyncChange::Kind::Gone: return QStringLiteral("már nincs a címtárban: tiltva");
    case SyncChange::Kind::NoGroup: return QStringLiteral("nincs leképezett csoportban: tiltva");
    case SyncChange::Kind::Clash: return QStringLiteral("helyi felhasználó viseli a nevét: kimarad");
    }
    return {};
}

int SyncPlan::count(SyncChange::Kind k) const
{
    return int(std::count_if(changes.cbegin(), changes.cend(), [k](const SyncChange& c) { return c.kind == k; }));
}

QString SyncPlan::summary() const
{
    using K = SyncChange::Kind;
    return QStringLiteral("A címtárban %1 felhasználó: %2 új, %3 módosul, %4 már nincs a címtárban (tiltva), %5 nincs "
                          "leképezett csoportban (tiltva), %6 névütközés miatt kimarad, %7 változatlan.")
        .arg(people)
        .arg(count(K::New))
        .arg(count(K::Changed))
        .arg(count(K::Gone))
        .arg(count(K::NoGroup))
        .arg(count(K::Clash))
        .arg(unchanged);
}

SyncPlan planSync(Connection& c, const Config& config)
{
    // The directory is read on a thread of its own while the users here are read: most of its
    // time is the server's, and the two reads overlap. (Its link lives and ends on that thread.)
    struct Read {
        QList<Person> people;
        QHash<QString, QStringList> groupsOf;
    };
    auto fromDirectory = std::async(std::launch::async, [config] {
        Link link(config);
        Read r;
        r.people = link.people();
        const QList<Group> groups = config.membership == Membership::MemberOf ? QList<Group>() : link.groups();
        r.groupsOf = Link::membership(config, r.people, groups);
        return r;
    });

    // The mapped groups in the order a member of several is placed by: priority, then name.
    QList<Mapped> mapped;
    for (const QVariantList& r : c.select(QStringLiteral(
             "SELECT id, name, directory_dn FROM qnd_user_group WHERE del_status = 0 AND directory_dn IS NOT NULL "
             "AND directory_dn <> '' ORDER BY COALESCE(directory_priority, 0), name COLLATE nexo_hu, id")))
        mapped << Mapped{r.value(0).toInt(), r.value(1).toString(), dnKey(r.value(2).toString())};

    QHash<QString, int> order;  // a mapped group's place, by dnKey; the first of equal DNs counts
    for (qsizetype i = mapped.size() - 1; i >= 0; --i) order.insert(mapped[i].dn, int(i));

    QHash<QString, Here> here;  // by dnKey
    QSet<QString> localNames;
    c.selectEach(QStringLiteral("SELECT id, user_name, display_name, email, phone, user_group_id, access_denied, directory_dn "
                                "FROM qnd_user WHERE del_status = 0"),
                 {}, [&](const QVariantList& r) {
                     const QString dn = r.value(7).toString();
                     if (dn.isEmpty()) {
                         localNames.insert(loginKey(r.value(1).toString()));
                         return true;
                     }
                     here.insert(dn, Here{r.value(0).toInt(), r.value(1).toString(), r.value(2).toString(), r.value(3).toString(),
                                          r.value(4).toString(), r.value(5).toInt(), r.value(6).toBool()});
                     return true;
                 });

    // The directory's faults (Error) come out here, after the database's own.
    const auto [people, groupsOf] = fromDirectory.get();
    SyncPlan plan;
    plan.people = int(people.size());
    QSet<QString> seen;
    seen.reserve(people.size());
    const Cut login("user_name"), name("display_name"), mail("email"), phone("phone");
    for (const Person& p : people) {
        const QString key = dnKey(p.dn);
        seen.insert(key);
        // The first of the mapped groups (in their order) he is a member of.
        const Mapped* group = nullptr;
        for (const QString& g : groupsOf.value(key)) {
            const int at = order.value(g, -1);
            if (at >= 0 && (!group || at < int(group - mapped.constData()))) group = &mapped[at];
        }
        SyncChange ch;
        ch.login = login(p.login);
        ch.dn = p.dn;
        ch.name = name(p.name);
        ch.mail = mail(p.mail);
        ch.phone = phone(p.phone);
        auto it = here.constFind(key);
        if (it == here.constEnd()) {
            if (!group) continue;  // nobody to make: he would be barred at once
            if (localNames.contains(loginKey(ch.login))) {
                ch.kind = SyncChange::Kind::Clash;
            } else {
                ch.kind = SyncChange::Kind::New;
                ch.groupId = group->id;
                ch.groupName = group->name;
            }
            plan.changes << ch;
            continue;
        }
        const Here& h = *it;
        ch.userId = h.id;
        ch.groupId = group ? group->id : h.groupId;
        ch.groupName = group ? group->name : QString();
        ch.barred = !group;
        if (!group) {
            if (h.barred) {
                ++plan.unchanged;
                continue;
            }
            ch.kind = SyncChange::Kind::NoGroup;
            plan.changes << ch;
            continue;
        }
        if (h.login != ch.login) ch.what << QStringLiteral("név: %1 → %2").arg(h.login, ch.login);
        if (h.name != ch.name) ch.what << QStringLiteral("teljes név: %1 → %2").arg(h.name, ch.name);
        if (h.mail != ch.mail) ch.what << QStringLiteral("e-mail: %1 → %2").arg(h.mail, ch.mail);
        if (h.phone != ch.phone) ch.what << QStringLiteral("telefon: %1 → %2").arg(h.phone, ch.phone);
        if (h.groupId != ch.groupId) ch.what << QStringLiteral("csoport: → %1").arg(group->name);
        if (h.barred) ch.what << QStringLiteral("tiltás feloldva");
        if (ch.what.isEmpty()) {
            ++plan.unchanged;
            continue;
        }
        ch.kind = SyncChange::Kind::Changed;
        plan.changes << ch;
    }
    for (auto it = here.cbegin(); it != here.cend(); ++it) {
        if (seen.contains(it.key()) || it->barred) continue;
        SyncChange ch;
        ch.kind = SyncChange::Kind::Gone;
        ch.userId = it->id;
        ch.login = it->login;
        ch.dn = it.key();
        ch.name = it->name;
        ch.groupId = it->groupId;
        ch.barred = true;
        plan.changes << ch;
    }
    return plan;
}

namespace {

// New users in blocks: each block's rows written at once (on a server by COPY), and their
// groups' rights history read from them in one statement (a first sync makes thousands; a row
// at a time would take a round trip each).
void insertNew(Connection& c, QList<const SyncChange*> fresh, const QDateTime& now, int by)
{
    // In the order of their names (as plain text: for the usual ASCII logins that is the
    // index's own order): each row then goes next to the one before it in the name indexes,
    // instead of to a page of its own anywhere in them, and the keys follow the names.
    std::sort(fresh.begin(), fresh.end(), [](const SyncChange* a, const SyncChange* b) { return a->login < b->login; });
    constexpr int kBlock = 5000;
    const TableDef& t = users();
    const ColumnDef& group = *t.column(QStringLiteral("user_group_id"));
    const Engine& e = c.engine();
    const QStringList columns{QStringLiteral("create_user"), QStringLiteral("create_date"), QStringLiteral("password"),
                              QStringLiteral("access_denied"), QStringLiteral("del_status"), QStringLiteral("user_group_id"),
                              QStringLiteral("user_name"), QStringLiteral("display_name"), QStringLiteral("email"),
                              QStringLiteral("phone"), QStringLiteral("directory_dn")};
    const QVariantList shared{by, e.toDb(*t.column(QStringLiteral("create_date")), now), QString(),
                              e.toDb(*t.column(QStringLiteral("access_denied")), false), 0};
    for (qsizetype from = 0; from < fresh.size(); from += kBlock) {
        const auto block = fresh.mid(from, kBlock);
        QVariantList perRow;
        for (const SyncChange* ch : block) perRow << ch->groupId << ch->login << ch->name << ch->mail << ch->phone << dnKey(ch->dn);
        const int first = c.keys().insertKeyed(Tables::User, columns, shared, perRow, int(block.size()));
        c.history().recordNewRows(t, group, first, first + int(block.size()) - 1);
    }
}

} // namespace

bool applySync(Connection& c, const SyncPlan& plan, QString* why)
{
    QString error;
    const auto done = c.transactions().writeLocked(
        [&] {
            Recordset& rs = c.editRecordset(Tables::User);
            const QDateTime now = QDateTime::currentDateTime();
            const int by = c.session().userId();
            QList<const SyncChange*> fresh;
            for (const SyncChange& ch : plan.changes)
                if (ch.kind == SyncChange::Kind::New) fresh << &ch;
            insertNew(c, fresh, now, by);
            for (const SyncChange& ch : plan.changes) {
                if (ch.kind == SyncChange::Kind::Clash || ch.kind == SyncChange::Kind::New) continue;
                rs.setIndex(QString());
                if (!rs.seek({ch.userId})) throw DbError(QStringLiteral("A(z) „%1” felhasználó közben eltűnt.").arg(ch.login));
                rs.edit();
                rs.stampAudit(by, now);
                if (ch.kind == SyncChange::Kind::Changed) {
                    rs.setField(QStringLiteral("user_name"), ch.login);
                    rs.setField(QStringLiteral("display_name"), ch.name);
                    rs.setField(QStringLiteral("email"), ch.mail);
                    rs.setField(QStringLiteral("phone"), ch.phone);
                    rs.setField(QStringLiteral("user_group_id"), ch.groupId);
                }
                rs.setField(QStringLiteral("access_denied"), ch.barred);
                if (!rs.update()) {
                    const QString e = rs.lastError();
                    rs.cancelUpdate();
                    throw DbError(QStringLiteral("A(z) „%1” felhasználó nem menthető: %2").arg(ch.login, e));
                }
            }
            return true;
        },
        &error);
    if (done == Transactions::LockedWrite::Done) return true;
    if (why)
        *why = done == Transactions::LockedWrite::Refused
                   ? QStringLiteral("Az adatbázist más zárolja, a szinkronizálás most nem írható. Próbálja újra később.")
                   : QStringLiteral("A szinkronizálás nem sikerült, semmi sem változott: %1").arg(error);
    return false;
}

} // namespace NexoFrame::Directory
