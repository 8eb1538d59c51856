#pragma once
#include "Connection.h"
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

namespace NexoFrame {

// Carrying an installation's configuration to another database (a test database's to the
// live one): the rights tree, the role names, the user groups (users and their passwords
// stay behind), the installation's menu (not the users' own items), the OLAP definitions
// with their fields and the printed reports' catalogue, each with its role slots.
//
// The file is JSON, "format": "nexoframe-beallitasok", "version": 1. Rows are named by what
// an administrator sees, never by ids: a rights unit by its prefix (when no other unit has
// it) or else by the names on its path, a group by its name, a menu item, an OLAP entry and
// a report by the captions on their paths; siblings of the same caption count in their order.
inline constexpr int kConfigVersion = 1;

// Writes the configuration of the open database to `path`. False with a Hungarian message.
bool exportConfig(Connection& c, const QString& path, QString* error);

// One line of an import's preview.
struct ConfigChange {
    enum Kind { Add, Change, Same, Leave };
    Kind kind = Same;
    QString section;   // "Jogosultsági egységek", "Menüpontok", ...
    QString what;      // the row's path, " / " between the levels
    QStringList details; // for a change: what changes, "mező: régi → új"
};

struct ConfigImport {
    QString path;
    QJsonObject document;
    QList<ConfigChange> changes;
    int count(ConfigChange::Kind k) const;
    bool changesAnything() const { return count(ConfigChange::Add) + count(ConfigChange::Change) > 0; }
};

// Reads a configuration file and works out what importing it would add, change and leave
// in the open database. A file of another format or version, or a damaged one, is refused
// with a Hungarian message; nothing is written either way.
bool previewConfig(Connection& c, const QString& path, ConfigImport* plan, QString* error);
// Imports a previewed file: worked out once more and written in one transaction under the
// master lock (role slots kept in the rights history; `askAgain` asks when another user
// keeps the lock). False with a Hungarian message and nothing written. `plan` is refreshed
// to what was written.
bool importConfig(Connection& c, ConfigImport* plan, QString* error, const Transactions::AskAgain& askAgain = {});

} // namespace NexoFrame
