#pragma once
#include <QColor>
#include <QString>
#include <memory>

class QTreeWidgetItem;

namespace NexoFrame {

class Connection;
class Recordset;

// Writing a role's tick in a rights tree. In the authorisation-unit and menu trees a tick
// grants the node and everything below it, an untick revokes them, and a grant also grants
// every grey node above; the rows below are written with one statement, also where the tree
// is not loaded. In the OLAP tree a tick writes the node's own row alone (its folders decide
// with it who reaches a report). Each change goes straight to the row's "auth_<slot>" column
// as one locked write (Connection::writeLocked); nothing else is written.
class RoleTicks {
public:
    enum class Reach { Subtree, OwnRow };
    RoleTicks(Connection& connection, int table, int slot, Reach reach = Reach::Subtree);
    ~RoleTicks();

    // False when the lock was refused: nothing was written. Throws DbError when the write
    // failed; nothing of it was kept then.
    bool toggle(QTreeWidgetItem* node, bool checked);

    static QColor grantColour();
    static QColor greyColour();
    static bool isGrey(const QTreeWidgetItem* item);
    static int idOf(const QTreeWidgetItem* item); // the number after "RID"

private:
    void apply(int id, QTreeWidgetItem* item, bool grant);
    // What the loaded nodes below show after the subtree was written.
    static void showInherited(QTreeWidgetItem* node, bool granted);

    Connection& m_c;
    int m_table;
    int m_slot;
    Reach m_reach;
    QString m_column;
    std::unique_ptr<Recordset> m_rs;
};

} // namespace NexoFrame
