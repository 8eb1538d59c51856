#pragma once
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>

namespace NexoFrame {

// A table, column or role name as an SQL identifier (a quote in it doubled), the same on
// both engines.
inline QString quoted(const QString& name)
{
    QString q = name;
    q.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + q + QLatin1Char('"');
}

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
