#pragma once
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

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

// The first column of a query's rows as text: the names the engines list.
inline QStringList namesOf(QSqlDatabase& db, const QString& sql)
{
    QStringList names;
    QSqlQuery q(db);
    if (q.exec(sql))
        while (q.next()) names << q.value(0).toString();
    q.finish();
    return names;
}

} // namespace NexoFrame
