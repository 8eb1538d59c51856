#pragma once
#include "Access.h"
#include <QList>
#include <QString>

namespace NexoFrame {

class Connection;

// A unit whose prefix begins the key asked about.
struct RightUnit {
    int id = 0;
    QString name;
    QString prefix;
    bool counts = true;    // false: a unit above it is deleted, so it is gone from the tree
    int deletedAbove = 0;  // that unit
    RoleSet roles;         // the role slots ticked on it
    bool deciding = false; // among the live units with the longest prefix
};

// Why a user holds a right or not, step by step: the user, his group and the role slots he
// holds through it (the holder), the units whose prefix begins the key (the longest live ones
// decide), the slots the group and a deciding unit share. The rights test is this answer's
// `granted`.
struct RightPath : Holder {
    QString key;
    QList<RightUnit> units;  // longest prefix first
    RoleSet sharedSlots;     // held by the group and by a deciding unit
    bool granted = false;
    QString reason;          // the decision in a sentence
};

RightPath explainRight(Connection& c, int userId, const QString& key);
// The same for a holder read already: a user's, or a group's slots alone (groupHolder).
RightPath explainRight(Connection& c, const Holder& holder, const QString& key);

// The first steps of every path: the user, his group, the slots he holds through it.
RightPath whoIs(Connection& c, int userId);

// Every rights key (each live unit's prefix), in order, decided as explainRight decides it,
// for a user (userId >= 0) or for a group's slots alone (userId -1). One read of the units.
QList<RightPath> effectiveRights(Connection& c, int userId, int groupId = -1);

} // namespace NexoFrame
