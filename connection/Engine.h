#pragma once
#include "Schema.h"
#include <QSqlDatabase>
#include <QString>
#include <QVariant>
#include <memory>

namespace NexoFrame {

// What differs between the database engines. Everything above the connection sees only
// `Connection` and its recordsets.
class Engine {
public:
    virtual ~Engine() = default;
    virtual QString name() const = 0;

    // Opens `target` into `db` (which the engine creates under `connectionName`).
    // On failure returns false and a Hungarian message for the user.
    virtual bool open(QSqlDatabase& db, const QString& connectionName, const QString& target,
                      QString* error) = 0;
    virtual QString databaseName() const = 0;

    virtual QString sqlType(const ColumnDef& c) const = 0;
    virtual bool tableExists(QSqlDatabase& db, const QString& table) const = 0;

    // Value conversion between the module's types and what the engine stores.
    virtual QVariant toDb(const ColumnDef& c, const QVariant& v) const = 0;
    virtual QVariant fromDb(const ColumnDef& c, const QVariant& v) const = 0;

    // The master lock: a write transaction that excludes every other user of the database
    // and that the engine releases when the holder dies. Never waits.
    virtual bool tryMasterLock(QSqlDatabase& db) = 0;
    virtual bool beginPlain(QSqlDatabase& db) = 0;
    virtual bool commit(QSqlDatabase& db) = 0;
    virtual bool rollback(QSqlDatabase& db) = 0;

    // Forget cached state so the next read sees other users' writes.
    virtual void idle(QSqlDatabase& db, int flags) = 0;

    // How a boolean literal is written in SQL text handed to `execute`.
    virtual QString boolLiteral(bool v) const = 0;
};

std::unique_ptr<Engine> makeSqliteEngine();

} // namespace NexoFrame
