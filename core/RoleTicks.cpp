#include "RoleTicks.h"
#include "Connection.h"
#include "LockRetry.h"
#include <QApplication>
#include <QPalette>
#include <QTreeWidgetItem>
#include <algorithm>

namespace NexoFrame {

RoleTicks::RoleTicks(Connection& connection, int table, int slot, std::function<QTreeWidgetItem*(int)> itemOf)
    : m_c(connection), m_table(table), m_slot(slot), m_itemOf(std::move(itemOf)),
      m_column(QStringLiteral("auth_%1").arg(slot))
{
}

RoleTicks::~RoleTicks() = default;

QColor RoleTicks::grantColour() { return QApplication::palette().color(QPalette::Active, QPalette::WindowText); }
QColor RoleTicks::greyColour() { return QApplication::palette().color(QPalette::Disabled, QPalette::WindowText); }

bool RoleTicks::isGrey(const QTreeWidgetItem* item)
{
    return item->foreground(0).color() == greyColour();
}

int RoleTicks::idOf(const QTreeWidgetItem* item)
{
    return item->data(0, Qt::UserRole).toString().mid(3).toInt();
}

void RoleTicks::apply(int id, QTreeWidgetItem* item, bool first, bool second)
{
    if (!m_rs) {
        m_rs = m_c.openRecordset(m_table, {m_column, QStringLiteral("del_status")});
        m_rs->setIndex(QStringLiteral("Primarykey"));
    }
    Recordset& rs = *m_rs;
    if (!rs.seek({id})) return;
    rs.edit();
    const bool grant = second;
    rs.setField(m_column, grant);
    if (item) {
        item->setForeground(0, first && second ? grantColour() : greyColour());
        item->setCheckState(0, grant ? Qt::Checked : Qt::Unchecked);
    }
    if (!rs.update()) throw DbError(rs.lastError());
}

bool RoleTicks::toggle(QTreeWidgetItem* node, bool checked)
{
    if (!LockWithRetry(m_c, [this](int waitMs) { return m_c.openTableExclusive(m_table, waitMs); })) return false;
    try {
        if (!m_c.beginUpdate()) throw DbError(QStringLiteral("A módosítás nem kezdhető el."));
        const int id = idOf(node);
        apply(id, node, true, checked);
        // Below the node the change is inherited. The rows are found in the database, so
        // that parts of the tree not loaded yet change too.
        // In key order the recordset reads the rows ahead in windows instead of one by one.
        QList<int> below = m_c.liveDescendants(m_table, id);
        std::sort(below.begin(), below.end());
        m_rs->setReadAhead(128);
        for (int child : std::as_const(below)) apply(child, m_itemOf(child), false, checked);
        m_rs->setReadAhead(1);
        // A grant lifts every revoked (grey) node above; a revoke leaves them alone.
        if (checked) {
            for (QTreeWidgetItem* up = node->parent(); up && idOf(up) > 0 && isGrey(up); up = up->parent())
                apply(idOf(up), up, true, true);
        }
        if (!m_c.endUpdate()) throw DbError(QStringLiteral("A módosítás nem menthető."));
    } catch (...) {
        if (m_c.inTransaction()) m_c.rollbackTrans();
        m_c.closeTableExclusive(m_table);
        throw;
    }
    // Closing commits: a tick the database did not keep must not pass for written.
    if (!m_c.closeTableExclusive(m_table))
        throw DbError(QStringLiteral("A módosítás nem menthető: %1").arg(m_c.lastError()));
    return true;
}

} // namespace NexoFrame
