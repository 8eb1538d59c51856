#include "OlapAccess.h"
#include "Connection.h"

namespace NexoFrame {

OlapAccess::OlapAccess(Connection& c)
{
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, parent_id, report_type, %1 FROM qnd_olap_report WHERE del_status=0").arg(RoleSet::columns())))
        m_rows.insert(r[0].toInt(), Row{r[1].toInt(), RoleSet::fromRow(r, 3), r[2].toInt() != 0});
}

void OlapAccess::setCell(int id, int slot, bool ticked)
{
    const auto it = m_rows.find(id);
    if (it != m_rows.end()) it->roles.set(slot, ticked);
}

bool OlapAccess::cell(int id, int slot) const { return m_rows.value(id).roles.has(slot); }

bool OlapAccess::reaches(int id, RoleSet roles) const
{
    // Up to the root: every row on the way live (a deleted or missing one is not in the map)
    // and sharing a slot. The bound ends the walk on a damaged tree that loops.
    for (int depth = 0; depth < 64; ++depth) {
        const auto it = m_rows.constFind(id);
        if (it == m_rows.constEnd() || !it->roles.shares(roles)) return false;
        if (it->parent == 0) return true;
        id = it->parent;
    }
    return false;
}

QSet<int> OlapAccess::reports(RoleSet roles) const
{
    QSet<int> out;
    if (roles.isEmpty()) return out;
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it)
        if (it->report && reaches(it.key(), roles)) out << it.key();
    return out;
}

QSet<int> OlapAccess::shownTree(RoleSet roles) const
{
    QSet<int> out;
    for (int id : reports(roles))
        for (int at = id; at != 0 && !out.contains(at); at = m_rows.value(at).parent) out << at;
    return out;
}

QHash<int, QString> OlapAccess::usersReaching(const QList<Holder>& users, int id) const
{
    QHash<int, QString> out;
    for (const Holder& u : users)
        if (reaches(id, u.roles)) out.insert(u.userId, u.userName);
    return out;
}

} // namespace NexoFrame
