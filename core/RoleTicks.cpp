#include "RoleTicks.h"
#include "Connection.h"
#include <QApplication>
#include <QPalette>
#include <QTreeWidgetItem>

namespace NexoFrame {

RoleTicks::RoleTicks(Connection& connection, int table, int slot, std::function<QTreeWidgetItem*(int)> itemOf)
    : m_c(connection), m_table(table), m_slot(slot), m_itemOf(std::move(itemOf))
{
}

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
    Recordset& rs = m_c.editRecordset(m_table);
    if (rs.index().compare(QStringLiteral("Primarykey"), Qt::CaseInsensitive) != 0)
        rs.setIndex(QStringLiteral("Primarykey"));
    if (!rs.seek({id})) return;
    rs.edit();
    const bool grant = second;
    rs.setField(QStringLiteral("auth_%1").arg(m_slot), grant);
    if (item) {
        item->setForeground(0, first && second ? grantColour() : greyColour());
        item->setCheckState(0, grant ? Qt::Checked : Qt::Unchecked);
    }
    if (!rs.update()) throw DbError(rs.lastError());
}

bool RoleTicks::toggle(QTreeWidgetItem* node, bool checked)
{
    if (!m_c.openTableExclusive(m_table)) return false;
    try {
        if (!m_c.beginUpdate()) throw DbError(QStringLiteral("A módosítás nem kezdhető el."));
        const int id = idOf(node);
        apply(id, node, true, checked);
        // Below the node the change is inherited. The rows are found in the database, so
        // that parts of the tree not loaded yet change too.
        for (int child : m_c.liveDescendants(m_table, id)) apply(child, m_itemOf(child), false, checked);
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
    m_c.closeTableExclusive(m_table);
    return true;
}

} // namespace NexoFrame
