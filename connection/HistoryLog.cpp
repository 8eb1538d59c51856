#include "HistoryLog.h"
#include "SqlExec.h"
#include "Connection.h"
#include "DateFormats.h"
#include <QDateTime>

namespace NexoFrame {

namespace {

QString now() { return QDateTime::currentDateTime().toString(DateFormats::kStored); }

} // namespace

QString HistoryLog::text(const ColumnDef& c, const QVariant& value) const
{
    const QVariant v = m_c.engine().fromDb(c, value);
    if (c.type == ColType::Bool) return !v.isNull() && v.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    if (v.isNull()) return QString();
    return v.toString();
}

void HistoryLog::record(const TableDef& t, const QVariant& rowId, const ColumnDef& c, bool rowIsNew, const QVariant& oldValue,
                        const QVariant& newValue)
{
    record(t, rowId, rowIsNew, {{&c, oldValue, newValue}});
}

void HistoryLog::record(const TableDef& t, const QVariant& rowId, bool rowIsNew, const QList<Change>& changes)
{
    if (!m_enabled) return;
    QVariantList cells;
    int rows = 0;
    for (const Change& c : changes) {
        const QString before = text(*c.column, c.oldValue), after = text(*c.column, c.newValue);
        if (before == after) continue;
        cells << c.column->name << (rowIsNew ? QVariant() : QVariant(before)) << QVariant(after);
        ++rows;
    }
    if (rows == 0) return;
    try {
        m_c.keys().insertKeyed(Tables::RightsHistory,
                               {QStringLiteral("changed_at"), QStringLiteral("user_id"), QStringLiteral("table_name"),
                                QStringLiteral("row_id"), QStringLiteral("column_name"), QStringLiteral("old_value"),
                                QStringLiteral("new_value")},
                               {now(), m_c.session().userId(), t.name, rowId}, cells, rows);
    } catch (const DbError& e) {
        throw DbError(QStringLiteral("A jogosultság-változás nem jegyezhető fel: %1").arg(e.message()));
    }
}

void HistoryLog::recordRows(const TableDef& t, const ColumnDef& c, const QString& rowsCte, const QVariant& cteValue, bool on)
{
    if (!m_enabled) return;
    const QString differs = QStringLiteral("t.id IN (SELECT id FROM d) AND (CASE WHEN t.%1 THEN 1 ELSE 0 END) <> ?").arg(quoted(c.name));
    const int value = on ? 1 : 0;
    const int changing = m_c.select(rowsCte + QStringLiteral("SELECT COUNT(*) FROM %1 t WHERE ").arg(quoted(t.name)) + differs,
                                    {cteValue, value})
                             .value(0).value(0).toInt();
    if (changing == 0) return;
    const int first = m_c.keys().newKeys(Tables::RightsHistory, changing);
    QString error;
    if (!m_c.execute(rowsCte + QStringLiteral("INSERT INTO qnd_rights_history (id, changed_at, user_id, table_name, row_id, column_name, "
                                              "old_value, new_value) SELECT ? + ROW_NUMBER() OVER (ORDER BY t.id) - 1, ?, ?, ?, t.id, ?, "
                                              "CASE WHEN t.%1 THEN '1' ELSE '0' END, ? FROM %2 t WHERE ")
                                   .arg(quoted(c.name), quoted(t.name))
                         + differs,
                     {cteValue, first, now(), m_c.session().userId(), t.name, c.name, QString::number(value), value}, &error))
        throw DbError(QStringLiteral("A jogosultság-változás nem jegyezhető fel: %1").arg(error));
}

} // namespace NexoFrame
