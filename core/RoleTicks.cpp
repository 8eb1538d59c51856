#include "RoleTicks.h"
#include "Access.h"
#include "Connection.h"
#include "LockRetry.h"
#include <QApplication>
#include <QPalette>
#include <QTreeWidgetItem>

namespace NexoFrame {

RoleTicks::RoleTicks(Connection& connection, int table, int slot, Reach reach)
    : m_c(connection), m_table(table), m_slot(slot), m_reach(reach), m_column(RoleSet::column(slot))
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

void RoleTicks::apply(int id, QTreeWidgetItem* item, bool grant)
{
    if (!m_rs) {
        m_rs = m_c.openRecordset(m_table, {m_column, QStringLiteral("del_status")});
        m_rs->setIndex(QStringLiteral("Primarykey"));
    }
    Recordset& rs = *m_rs;
    if (!rs.seek({id})) return;
    rs.edit();
    rs.setField(m_column, grant);
    if (item) {
        // Grey marks what a grant below would lift: only where ticks reach up and down.
        if (m_reach == Reach::Subtree) item->setForeground(0, grant ? grantColour() : greyColour());
        item->setCheckState(0, grant ? Qt::Checked : Qt::Unchecked);
    }
    if (!rs.update()) throw DbError(rs.lastError());
}

void RoleTicks::showInherited(QTreeWidgetItem* node, bool granted)
{
    for (int i = 0; i < node->childCount(); ++i) {
        QTreeWidgetItem* child = node->child(i);
        child->setForeground(0, greyColour());
        child->setCheckState(0, granted ? Qt::Checked : Qt::Unchecked);
        showInherited(child, granted);
    }
}

bool RoleTicks::toggle(QTreeWidgetItem* node, bool checked)
{
    QString why;
    const Transactions::LockedWrite done = m_c.transactions().writeLocked([&] {
        const int id = idOf(node);
        apply(id, node, checked);
        if (m_reach == Reach::Subtree) {
            // Below the node the change is inherited: the rows are found in the database, so
            // that parts of the tree not loaded yet change too.
            m_c.setBelow(m_table, id, m_column, checked);
            showInherited(node, checked);
            // A grant lifts every revoked (grey) node above; a revoke leaves them alone.
            if (checked) {
                for (QTreeWidgetItem* up = node->parent(); up && idOf(up) > 0 && isGrey(up); up = up->parent())
                    apply(idOf(up), up, true);
            }
        }
        return true;
    }, &why, lockQuestion());
    // A tick the database did not keep must not pass for written.
    if (done == Transactions::LockedWrite::Failed) throw DbError(QStringLiteral("A módosítás nem menthető: %1").arg(why));
    return done == Transactions::LockedWrite::Done;
}

} // namespace NexoFrame
