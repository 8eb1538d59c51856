#include "DirectorySync.h"
#include "Connection.h"
#include "DbError.h"
#include <algorithm>
#include <QDateTime>
#include <QHash>
#include <QScopeGuard>
#include <QSet>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>

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

QString unreadable(const QString& reason) { return QStringLiteral("A címtár nem olvasható be: %1").arg(reason); }

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

namespace {

// What the users here are compared with, and the rule that says what becomes of each user
// read: one home for the plan shown before writing and for the sync that writes as it reads.
class Planner {
public:
    explicit Planner(Connection& c)
    {
        // The mapped groups in the order a member of several is placed by: priority, then name.
        for (const QVariantList& r : c.select(QStringLiteral(
                 "SELECT id, name, directory_dn FROM qnd_user_group WHERE del_status = 0 AND directory_dn IS NOT NULL "
                 "AND directory_dn <> '' ORDER BY COALESCE(directory_priority, 0), name COLLATE nexo_hu, id")))
            m_mapped << Mapped{r.value(0).toInt(), r.value(1).toString(), dnKey(r.value(2).toString())};
        for (qsizetype i = m_mapped.size() - 1; i >= 0; --i) m_order.insert(m_mapped[i].dn, int(i));
        c.selectEach(QStringLiteral("SELECT id, user_name, display_name, email, phone, user_group_id, access_denied, directory_dn "
                                    "FROM qnd_user WHERE del_status = 0"),
                     {}, [&](const QVariantList& r) {
                         const QString dn = r.value(7).toString();
                         if (dn.isEmpty()) {
                             m_localNames.insert(loginKey(r.value(1).toString()));
                             return true;
                         }
                         m_here.insert(dn, Here{r.value(0).toInt(), r.value(1).toString(), r.value(2).toString(),
                                                r.value(3).toString(), r.value(4).toString(), r.value(5).toInt(),
                                                r.value(6).toBool()});
                         return true;
                     });
    }

    // What becomes of `p`, a member of the groups `groupKeys`; none when nothing changes.
    std::optional<SyncChange> take(const Person& p, const QStringList& groupKeys, SyncPlan& plan)
    {
        ++plan.people;
        const QString key = p.dnKey();
        m_seen.insert(key);
        // The first of the mapped groups (in their order) he is a member of.
        const Mapped* group = nullptr;
        for (const QString& g : groupKeys) {
            const int at = m_order.value(g, -1);
            if (at >= 0 && (!group || at < int(group - m_mapped.constData()))) group = &m_mapped[at];
        }
        SyncChange ch;
        ch.login = m_login(p.login);
        ch.dn = p.dn;
        ch.name = m_name(p.name);
        ch.mail = m_mail(p.mail);
        ch.phone = m_phone(p.phone);
        auto it = m_here.constFind(key);
        if (it == m_here.constEnd()) {
            if (!group) return std::nullopt;  // nobody to make: he would be barred at once
            if (m_localNames.contains(loginKey(ch.login))) {
                ch.kind = SyncChange::Kind::Clash;
            } else {
                ch.kind = SyncChange::Kind::New;
                ch.groupId = group->id;
                ch.groupName = group->name;
            }
            return ch;
        }
        const Here& h = *it;
        ch.userId = h.id;
        ch.groupId = group ? group->id : h.groupId;
        ch.groupName = group ? group->name : QString();
        ch.barred = !group;
        if (!group) {
            if (h.barred) {
                ++plan.unchanged;
                return std::nullopt;
            }
            ch.kind = SyncChange::Kind::NoGroup;
            return ch;
        }
        if (h.login != ch.login) ch.what << QStringLiteral("név: %1 → %2").arg(h.login, ch.login);
        if (h.name != ch.name) ch.what << QStringLiteral("teljes név: %1 → %2").arg(h.name, ch.name);
        if (h.mail != ch.mail) ch.what << QStringLiteral("e-mail: %1 → %2").arg(h.mail, ch.mail);
        if (h.phone != ch.phone) ch.what << QStringLiteral("telefon: %1 → %2").arg(h.phone, ch.phone);
        if (h.groupId != ch.groupId) ch.what << QStringLiteral("csoport: → %1").arg(group->name);
        if (h.barred) ch.what << QStringLiteral("tiltás feloldva");
        if (ch.what.isEmpty()) {
            ++plan.unchanged;
            return std::nullopt;
        }
        ch.kind = SyncChange::Kind::Changed;
        return ch;
    }

    // The users here the directory no longer has, once every user has been read.
    QList<SyncChange> gone() const
    {
        QList<SyncChange> out;
        for (auto it = m_here.cbegin(); it != m_here.cend(); ++it) {
            if (m_seen.contains(it.key()) || it->barred) continue;
            SyncChange ch;
            ch.kind = SyncChange::Kind::Gone;
            ch.userId = it->id;
            ch.login = it->login;
            ch.dn = it.key();
            ch.name = it->name;
            ch.groupId = it->groupId;
            ch.barred = true;
            out << ch;
        }
        return out;
    }

private:
    QList<Mapped> m_mapped;
    QHash<QString, int> m_order;  // a mapped group's place, by dnKey; the first of equal DNs counts
    QHash<QString, Here> m_here;  // by dnKey
    QSet<QString> m_localNames, m_seen;
    const Cut m_login{"user_name"}, m_name{"display_name"}, m_mail{"email"}, m_phone{"phone"};
};

// The writes of a sync, under the caller's lock: new users gathered and written in blocks,
// the others one by one.
class Writer {
public:
    explicit Writer(Connection& c)
        : m_c(c), m_rs(c.editRecordset(Tables::User)), m_now(QDateTime::currentDateTime()), m_by(c.session().userId())
    {
    }

    void write(const SyncChange& ch)
    {
        if (ch.kind == SyncChange::Kind::Clash) return;
        if (ch.kind == SyncChange::Kind::New) {
            m_fresh << &ch;
            return;
        }
        m_rs.setIndex(QString());
        if (!m_rs.seek({ch.userId})) throw DbError(QStringLiteral("A(z) „%1” felhasználó közben eltűnt.").arg(ch.login));
        m_rs.edit();
        m_rs.stampAudit(m_by, m_now);
        if (ch.kind == SyncChange::Kind::Changed) {
            m_rs.setField(QStringLiteral("user_name"), ch.login);
            m_rs.setField(QStringLiteral("display_name"), ch.name);
            m_rs.setField(QStringLiteral("email"), ch.mail);
            m_rs.setField(QStringLiteral("phone"), ch.phone);
            m_rs.setField(QStringLiteral("user_group_id"), ch.groupId);
        }
        m_rs.setField(QStringLiteral("access_denied"), ch.barred);
        if (!m_rs.update()) {
            const QString e = m_rs.lastError();
            m_rs.cancelUpdate();
            throw DbError(QStringLiteral("A(z) „%1” felhasználó nem menthető: %2").arg(ch.login, e));
        }
    }

    // The new users gathered so far (the changes they point at must live until then), in
    // blocks: each block's rows written at once (on a server by COPY), and their groups'
    // rights history read from them in one statement (a first sync makes thousands; a row at a
    // time would take a round trip each).
    void writeNew()
    {
        // In the order of their names (as plain text: for the usual ASCII logins that is the
        // index's own order): each row then goes next to the one before it in the name indexes,
        // instead of to a page of its own anywhere in them, and the keys follow the names.
        std::sort(m_fresh.begin(), m_fresh.end(), [](const SyncChange* a, const SyncChange* b) { return a->login < b->login; });
        constexpr int kBlock = 5000;
        const TableDef& t = users();
        const ColumnDef& group = *t.column(QStringLiteral("user_group_id"));
        const Engine& e = m_c.engine();
        const QStringList columns{QStringLiteral("create_user"), QStringLiteral("create_date"), QStringLiteral("password"),
                                  QStringLiteral("access_denied"), QStringLiteral("del_status"), QStringLiteral("user_group_id"),
                                  QStringLiteral("user_name"), QStringLiteral("display_name"), QStringLiteral("email"),
                                  QStringLiteral("phone"), QStringLiteral("directory_dn")};
        const QVariantList shared{m_by, e.toDb(*t.column(QStringLiteral("create_date")), m_now), QString(),
                                  e.toDb(*t.column(QStringLiteral("access_denied")), false), 0};
        for (qsizetype from = 0; from < m_fresh.size(); from += kBlock) {
            const auto block = m_fresh.mid(from, kBlock);
            QVariantList perRow;
            for (const SyncChange* ch : block)
                perRow << ch->groupId << ch->login << ch->name << ch->mail << ch->phone << dnKey(ch->dn);
            const int first = m_c.keys().insertKeyed(Tables::User, columns, shared, perRow, int(block.size()));
            m_c.history().recordNewRows(t, group, first, first + int(block.size()) - 1);
        }
        m_fresh.clear();
    }

private:
    Connection& m_c;
    Recordset& m_rs;
    const QDateTime m_now;
    const int m_by;
    QList<const SyncChange*> m_fresh;
};

// The directory's users as its own thread reads them, a page at a time, for a writer on
// another; the groups beside them on a link of their own, so that the first page need not
// wait for them (a user's groups are known once both have come).
class Pages {
public:
    // The reading thread's work. Any failure (Error) is handed to the writer.
    void read(const Config& config)
    {
        auto groups = std::async(std::launch::async, [&] {
            run([&] {
                auto groupsOf = std::make_shared<const GroupsOf>(
                    config, config.membership == Membership::MemberOf ? QList<Group>() : Link(config).groups());
                std::lock_guard lock(m_mutex);
                m_groupsOf = groupsOf;
                m_changed.notify_one();
            });
        });
        run([&] {
            Link(config).people([this](QList<Person>& page) {
                makeKeys(page);
                std::lock_guard lock(m_mutex);
                if (m_stopped) throw Stopped();
                m_ready.push_back(std::move(page));
                m_changed.notify_one();
            });
        });
        groups.wait();
        std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_one();
    }

    // The next page, waited for; none when every page has come. A reader's failure is
    // thrown here.
    std::optional<QList<Person>> next()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_failed || m_ended || (m_groupsOf && !m_ready.empty()); });
        if (m_failed) std::rethrow_exception(m_failed);
        if (m_ready.empty()) return std::nullopt;
        QList<Person> page = std::move(m_ready.front());
        m_ready.pop_front();
        return page;
    }

    // Known by the time a page is handed out.
    const GroupsOf& groupsOf() const { return *m_groupsOf; }

    // The writer gives up: the reader stops after the page it is reading.
    void stop()
    {
        std::lock_guard lock(m_mutex);
        m_stopped = true;
    }

private:
    struct Stopped {};

    // A reader's work; its failure stops the other and goes to the writer.
    void run(const std::function<void()>& work)
    {
        try {
            work();
        } catch (const Stopped&) {
        } catch (...) {
            std::lock_guard lock(m_mutex);
            if (!m_failed) m_failed = std::current_exception();
            m_stopped = true;
            m_changed.notify_one();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<QList<Person>> m_ready;
    std::shared_ptr<const GroupsOf> m_groupsOf;
    std::exception_ptr m_failed;
    bool m_ended = false, m_stopped = false;
};

QString notWritten(Transactions::LockedWrite done, const QString& error)
{
    return done == Transactions::LockedWrite::Refused
               ? QStringLiteral("Az adatbázist más zárolja, a szinkronizálás most nem írható. Próbálja újra később.")
               : QStringLiteral("A szinkronizálás nem sikerült, semmi sem változott: %1").arg(error);
}

} // namespace

SyncPlan planSync(Connection& c, const Config& config)
{
    // The directory is read on a thread of its own while the users here are read: most of its
    // time is the server's, and the two reads overlap. (Its link lives and ends on that thread.)
    struct Read {
        QList<Person> people;
        QList<Group> groups;
    };
    auto fromDirectory = std::async(std::launch::async, [config] {
        Link link(config);
        Read r;
        r.people = link.people();
        makeKeys(r.people);
        if (config.membership != Membership::MemberOf) r.groups = link.groups();
        return r;
    });
    Planner planner(c);
    // The directory's faults (Error) come out here, after the database's own.
    const auto [people, groups] = fromDirectory.get();
    const GroupsOf groupsOf(config, groups);
    SyncPlan plan;
    for (const Person& p : people)
        if (auto ch = planner.take(p, groupsOf(p), plan)) plan.changes << *ch;
    plan.changes << planner.gone();
    return plan;
}

bool applySync(Connection& c, const SyncPlan& plan, QString* why)
{
    QString error;
    const auto done = c.transactions().writeLocked(
        [&] {
            Writer w(c);
            for (const SyncChange& ch : plan.changes) w.write(ch);
            w.writeNew();
            return true;
        },
        &error);
    if (done == Transactions::LockedWrite::Done) return true;
    if (why) *why = notWritten(done, error);
    return false;
}

bool syncNow(Connection& c, const Config& config, SyncPlan* made, QString* why)
{
    SyncPlan plan;
    QString error, unread;
    // What was read is let go after the commit, not before it (tens of thousands of entries).
    Pages pages;
    std::optional<Planner> planner;
    const auto done = c.transactions().writeLocked(
        [&] {
            // The directory is read on a thread of its own while its users are written here,
            // a page behind: the server's time and the database's overlap.
            auto reader = std::async(std::launch::async, [&] { pages.read(config); });
            const auto joined = qScopeGuard([&] {
                pages.stop();
                reader.wait();
            });
            try {
                planner.emplace(c);
                Writer w(c);
                while (auto page = pages.next()) {
                    QList<SyncChange> changes;
                    for (const Person& p : *page)
                        if (auto ch = planner->take(p, pages.groupsOf()(p), plan)) changes << std::move(*ch);
                    for (const SyncChange& ch : changes) w.write(ch);
                    w.writeNew();
                    plan.changes.append(std::move(changes));
                }
                const QList<SyncChange> gone = planner->gone();
                for (const SyncChange& ch : gone) w.write(ch);
                plan.changes << gone;
            } catch (const Error& e) {
                unread = unreadable(e.message());
                return false;
            }
            return true;
        },
        &error);
    if (done == Transactions::LockedWrite::Done) {
        if (made) *made = std::move(plan);
        return true;
    }
    if (why) *why = unread.isEmpty() ? notWritten(done, error) : unread;
    return false;
}

} // namespace NexoFrame::Directory
