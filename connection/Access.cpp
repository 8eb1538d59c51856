#include "Access.h"
#include "Connection.h"
#include "Recordset.h"
#include "RightsPath.h"
#include "SettingKeys.h"

namespace NexoFrame {

namespace {

bool ticked(const QVariant& v) { return v.toLongLong() != 0 || v.toBool(); }

} // namespace

RoleSet RoleSet::of(std::initializer_list<int> held) { return of(QList<int>(held)); }

RoleSet RoleSet::of(const QList<int>& held)
{
    RoleSet r;
    for (int s : held) r.set(s, true);
    return r;
}

RoleSet RoleSet::fromRow(const QVariantList& row, int from)
{
    RoleSet r;
    for (int i = 0; i < kSlots; ++i) r.set(i, ticked(row.value(from + i)));
    return r;
}

RoleSet RoleSet::fromRecord(const Recordset& rs)
{
    RoleSet r;
    for (int i = 0; i < kSlots; ++i) r.set(i, ticked(rs.field(column(i))));
    return r;
}

QString RoleSet::columns(const QString& alias)
{
    QStringList l;
    for (int i = 0; i < kSlots; ++i) l << (alias.isEmpty() ? QString() : alias + QLatin1Char('.')) + column(i);
    return l.join(QLatin1Char(','));
}

void RoleSet::set(int slot, bool on)
{
    if (slot < 0 || slot >= kSlots) return;
    if (on) m_bits |= 1u << slot;
    else m_bits &= ~(1u << slot);
}

QList<int> RoleSet::list() const
{
    QList<int> l;
    for (int i = 0; i < kSlots; ++i)
        if (has(i)) l << i;
    return l;
}

Holder userHolder(Connection& c, int userId)
{
    Holder h;
    h.userId = userId;
    const QList<QVariantList> r = c.select(QStringLiteral("SELECT u.display_name, u.user_name, u.del_status, u.access_denied, u.user_group_id, "
                                                          "g.id, g.name, g.del_status, %1 FROM qnd_user u "
                                                          "LEFT JOIN qnd_user_group g ON g.id = u.user_group_id WHERE u.id=?")
                                               .arg(RoleSet::columns(QStringLiteral("g"))),
                                           {userId});
    if (r.isEmpty()) return h;
    const QVariantList& u = r[0];
    h.userFound = true;
    h.userName = u[0].toString();
    h.login = u[1].toString();
    h.userLive = u[2].toInt() == 0;
    h.userBarred = ticked(u[3]);
    h.groupId = u[4].toInt();
    h.groupFound = !u[5].isNull();
    h.groupName = u[6].toString();
    h.groupLive = h.groupFound && u[7].toInt() == 0;
    if (h.live()) h.roles = RoleSet::fromRow(u, 8);
    return h;
}

Holder groupHolder(Connection& c, int groupId)
{
    Holder h;
    h.groupId = groupId;
    const QList<QVariantList> g = c.select(QStringLiteral("SELECT name, del_status, %1 FROM qnd_user_group WHERE id=?").arg(RoleSet::columns()), {groupId});
    if (g.isEmpty()) return h;
    h.groupFound = true;
    h.groupName = g[0][0].toString();
    h.groupLive = g[0][1].toInt() == 0;
    if (h.live()) h.roles = RoleSet::fromRow(g[0], 2);
    return h;
}

QList<Holder> liveUsers(Connection& c)
{
    QList<Holder> out;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT u.id, u.display_name, u.user_name, g.id, g.name, %1 FROM %2 WHERE %3 ORDER BY u.id")
                                              .arg(RoleSet::columns(QStringLiteral("g")), liveUsersFrom(), liveUsersWhere()))) {
        Holder h;
        h.userId = r[0].toInt();
        h.userName = r[1].toString();
        h.login = r[2].toString();
        h.groupId = r[3].toInt();
        h.groupName = r[4].toString();
        h.userFound = h.userLive = h.groupFound = h.groupLive = true;
        h.roles = RoleSet::fromRow(r, 5);
        out << h;
    }
    return out;
}

QString liveUsersFrom() { return QStringLiteral("qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id"); }

QString liveUsersWhere() { return QStringLiteral("u.del_status = 0 AND g.del_status = 0 AND NOT COALESCE(u.access_denied, FALSE)"); }

QString sharesSlotSql(const QString& a, const QString& b, int except)
{
    QStringList shared;
    for (int i = 0; i < RoleSet::kSlots; ++i)
        if (i != except) shared << QStringLiteral("(%1.%3 AND %2.%3)").arg(a, b, RoleSet::column(i));
    return QLatin1Char('(') + shared.join(QStringLiteral(" OR ")) + QLatin1Char(')');
}

QString holdsAnySql(const QString& alias, RoleSet roles)
{
    QStringList held;
    for (int i : roles.list()) held << alias + QLatin1Char('.') + RoleSet::column(i);
    return held.isEmpty() ? QStringLiteral("(1 = 0)") : QLatin1Char('(') + held.join(QStringLiteral(" OR ")) + QLatin1Char(')');
}

QString roleName(Connection& c, int slot)
{
    const QString name = c.settings().read(SettingKeys::kMainframe, SettingKeys::roleNameKey(slot)).remove(QLatin1Char(':')).trimmed();
    return name.isEmpty() ? QStringLiteral("Szerepkör %1").arg(slot) : name;
}

bool rightsTest(Connection& c, int userId, const QString& key)
{
    return explainRight(c, userId, key).granted;
}

} // namespace NexoFrame
