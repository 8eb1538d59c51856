#pragma once
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>

namespace NexoFrame {

// One statement without results, for the engines' own housekeeping.
inline bool execSql(QSqlDatabase& db, const QString& sql, QString* err = nullptr)
{
    QSqlQuery q(db);
    const bool ok = q.exec(sql);
    if (!ok && err) *err = q.lastError().text();
    q.finish();
    return ok;
}

} // namespace NexoFrame
