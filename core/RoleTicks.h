#pragma once
#include <QColor>
#include <QString>
#include <functional>
#include <memory>

class QTreeWidgetItem;

namespace NexoFrame {

class Connection;
class Recordset;

// Writing a role's tick in a rights tree (authorisation units, menus, OLAP reports): a
// tick grants the node and everything below it, an untick revokes them, and a grant also
// grants every grey node above. Each change goes straight to the row's "auth_<slot>"
// column inside the exclusive table open and the update bracket; nothing else is written.
class RoleTicks {
public:
    // itemOf: the loaded tree node of an id, or nullptr when that part of the tree is not
    // loaded yet (its rows are still written).
    RoleTicks(Connection& connection, int table, int slot,
              std::function<QTreeWidgetItem*(int)> itemOf);
    ~RoleTicks();

    // False when the table could not be opened exclusively: nothing was written.
    bool toggle(QTreeWidgetItem* node, bool checked);

    static QColor grantColour();
    static QColor greyColour();
    static bool isGrey(const QTreeWidgetItem* item);
    static int idOf(const QTreeWidgetItem* item); // the number after "RID"

private:
    void apply(int id, QTreeWidgetItem* item, bool first, bool second);

    Connection& m_c;
    int m_table;
    int m_slot;
    std::function<QTreeWidgetItem*(int)> m_itemOf;
    QString m_column;
    std::unique_ptr<Recordset> m_rs;
};

} // namespace NexoFrame
