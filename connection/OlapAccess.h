#pragma once
#include "Access.h"
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

namespace NexoFrame {

class Connection;

// Who may use an OLAP report: the report and every folder above it are live and each shares
// a role slot with the user's live group, as a menu item's folders must. One read of the tree
// answers for any number of holders; a cell may be set as a tick would leave it, to say what
// the tick would change.
class OlapAccess {
public:
    explicit OlapAccess(Connection& connection);

    // The cell auth_<slot> of a row, as a tick would set it (nothing is written).
    void setCell(int id, int slot, bool ticked);
    bool cell(int id, int slot) const;
    // Whether a holder of `roles` reaches the row (a report or a folder): it and every row
    // above it live and sharing a slot with him.
    bool reaches(int id, RoleSet roles) const;
    // The reports a holder of `roles` may use.
    QSet<int> reports(RoleSet roles) const;
    // Those reports and the folders above them: the tree he is shown.
    QSet<int> shownTree(RoleSet roles) const;
    // Which of `users` reach a row (id -> name).
    QHash<int, QString> usersReaching(const QList<Holder>& users, int id) const;

private:
    struct Row {
        int parent = 0;
        RoleSet roles;
        bool report = false;
    };
    QHash<int, Row> m_rows; // the live rows
};

} // namespace NexoFrame
