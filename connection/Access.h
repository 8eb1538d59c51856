#pragma once
#include <QList>
#include <QString>
#include <QVariantList>
#include <initializer_list>

// Who may reach what: the one rule behind the login, the menu, the printed reports, the OLAP
// reports, the lists, the rights trees' tick impact and the rights explorer. A live user (not
// deleted, not barred) of a live group holds his group's role slots, and reaches a thing that
// shares a slot with them; anyone else holds none and owns nothing.

namespace NexoFrame {

class Connection;
class Recordset;

// The role slots auth_0 .. auth_9 ticked on a row, or held by a group.
class RoleSet {
public:
    static constexpr int kSlots = 10;

    constexpr RoleSet() = default;
    static RoleSet of(std::initializer_list<int> held);
    static RoleSet of(const QList<int>& held); // a slot out of range is ignored
    // From a row read with columns(), beginning at `from`. SQLite keeps true as -1; a cell
    // never set (NULL) is unticked.
    static RoleSet fromRow(const QVariantList& row, int from);
    // From a recordset's current row.
    static RoleSet fromRecord(const Recordset& rs);
    // The select list "auth_0,…,auth_9", or "g.auth_0,…" with an alias.
    static QString columns(const QString& alias = {});
    static QString column(int slot) { return QStringLiteral("auth_%1").arg(slot); }

    bool has(int slot) const { return slot >= 0 && slot < kSlots && (m_bits & (1u << slot)); }
    void set(int slot, bool on);
    bool shares(RoleSet other) const { return (m_bits & other.m_bits) != 0; }
    bool isEmpty() const { return m_bits == 0; }
    QList<int> list() const; // ascending
    RoleSet operator&(RoleSet other) const { return fromBits(m_bits & other.m_bits); }
    RoleSet operator|(RoleSet other) const { return fromBits(m_bits | other.m_bits); }
    bool operator==(const RoleSet&) const = default;

private:
    static RoleSet fromBits(unsigned bits)
    {
        RoleSet r;
        r.m_bits = bits;
        return r;
    }
    unsigned m_bits = 0;
};

// Who asks: a user with his group, or a group alone (userId -1, as the rights explorer asks
// about a group). `roles` are the group's slots when live(), otherwise none.
struct Holder {
    int userId = -1;
    QString userName; // display name
    QString login;
    bool userFound = false, userLive = false, userBarred = false;
    int groupId = -1;
    QString groupName;
    bool groupFound = false, groupLive = false;
    RoleSet roles;

    bool userInOrder() const { return userFound && userLive && !userBarred; }
    bool live() const { return (userId < 0 || userInOrder()) && groupFound && groupLive; }
    // A thing he reaches by its slots.
    bool reaches(RoleSet thing) const { return roles.shares(thing); }
    // Only a live user has things of his own (menu items he made, lists he owns).
    bool canOwn() const { return userId > 0 && live(); }
    bool owns(int ownerId) const { return canOwn() && ownerId == userId; }
};

Holder userHolder(Connection& c, int userId);
Holder groupHolder(Connection& c, int groupId);
// Every live user of a live group, by id, in one read.
QList<Holder> liveUsers(Connection& c);

// The same rule for set-based queries. `liveUsersFrom` joins qnd_user u with his
// qnd_user_group g; `liveUsersWhere` keeps the live users of live groups.
QString liveUsersFrom();
QString liveUsersWhere();
// True when the rows aliased `a` and `b` share a role slot (leaving `except` out).
QString sharesSlotSql(const QString& a, const QString& b, int except = -1);
// True when the row aliased `alias` holds one of `roles` (never, for none).
QString holdsAnySql(const QString& alias, RoleSet roles);

// Whether the user holds the right named by `key`: see the README for the rule. The
// explorer's why-path is the same computation, so the two cannot disagree.
bool rightsTest(Connection& c, int userId, const QString& key);

// A role's name, as every list and tree shows it: the setting MAINFRAME / CUE_NAME_<slot>
// without its colons, or "Szerepkör <slot>" where it is not set.
QString roleName(Connection& c, int slot);

} // namespace NexoFrame
