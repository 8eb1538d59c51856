#include "HistoryLog.h"
#include "SqlExec.h"
#include "Connection.h"
#include "DateFormats.h"
#include <QDateTime>

namespace NexoFrame {

namespace {

QString now() { return DateFormats::storedText(QDateTime::currentDateTime()); }

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

namespace {

// The rows of changed cells: when and who and where for all, which cell and its values each.
Keys::Beside changedCells(const HistoryLog& log, const TableDef& t, bool rowIsNew, const QList<HistoryLog::Change>& changes,
                          int userId)
{
    Keys::Beside rows;
    rows.table = Tables::RightsHistory;
    rows.columns = {QStringLiteral("changed_at"), QStringLiteral("user_id"), QStringLiteral("table_name"),
                    QStringLiteral("column_name"), QStringLiteral("old_value"), QStringLiteral("new_value")};
    rows.ref = QStringLiteral("row_id");
    for (const HistoryLog::Change& c : changes) {
        const QString before = log.text(*c.column, c.oldValue), after = log.text(*c.column, c.newValue);
        // A new row's role slots left at no keep no row: a row that grants nothing was no
        // grant before it was made either. Its other kept cells are kept whatever they hold,
        // so that the state at a moment before the row knows it was not there.
        if (before == after && !(rowIsNew && !c.column->name.startsWith(QLatin1String("auth_")))) continue;
        rows.perRow << c.column->name << (rowIsNew ? QVariant() : QVariant(before)) << QVariant(after);
        ++rows.rows;
    }
    rows.shared = {now(), userId, t.name};
    return rows;
}

} // namespace

Keys::Beside HistoryLog::newRowRows(const TableDef& t, const QList<Change>& changes) const
{
    if (!m_enabled) return {};
    return changedCells(*this, t, true, changes, m_c.session().userId());
}

void HistoryLog::recordNewRows(const TableDef& t, const ColumnDef& c, int firstKey, int lastKey)
{
    if (!m_enabled || lastKey < firstKey) return;
    // The value's text as text() gives it: a number's digits, a text as it is.
    if (c.type != ColType::Long && c.type != ColType::Text)
        throw DbError(QStringLiteral("A(z) %1 oszlop új sorainak előzménye nem írható egyben.").arg(c.name));
    const QString value = c.type == ColType::Long ? QStringLiteral("CAST(t.%1 AS VARCHAR(255))").arg(quoted(c.name)) : QStringLiteral("t.%1").arg(quoted(c.name));
    try {
        m_c.keys().insertSelected(
            Tables::RightsHistory,
            {QStringLiteral("changed_at"), QStringLiteral("user_id"), QStringLiteral("table_name"), QStringLiteral("row_id"),
             QStringLiteral("column_name"), QStringLiteral("old_value"), QStringLiteral("new_value")},
            QString(), {}, QStringLiteral("?, ?, ?, t.%1, ?, NULL, COALESCE(%2, '')").arg(quoted(t.primaryKey), value),
            QStringLiteral("FROM %1 t WHERE t.%2 BETWEEN ? AND ?").arg(quoted(t.name), quoted(t.primaryKey)),
            {now(), m_c.session().userId(), t.name, c.name, firstKey, lastKey});
    } catch (const DbError& e) {
        throw DbError(QStringLiteral("A jogosultság-változás nem jegyezhető fel: %1").arg(e.message()));
    }
}

void HistoryLog::record(const TableDef& t, const QVariant& rowId, bool rowIsNew, const QList<Change>& changes)
{
    if (!m_enabled) return;
    const Keys::Beside rows = changedCells(*this, t, rowIsNew, changes, m_c.session().userId());
    if (rows.rows == 0) return;
    try {
        // The row's key goes with the values every history row shares, after them.
        const qsizetype shared = rows.shared.size();
        m_c.keys().insertKeyed(rows.table, rows.columns.mid(0, shared) + QStringList{rows.ref} + rows.columns.mid(shared),
                               rows.shared + QVariantList{rowId}, rows.perRow, rows.rows);
    } catch (const DbError& e) {
        throw DbError(QStringLiteral("A jogosultság-változás nem jegyezhető fel: %1").arg(e.message()));
    }
}

std::pair<int, int> HistoryLog::recordRows(const TableDef& t, const ColumnDef& c, const QString& rowsCte, const QVariant& cteValue,
                                           bool on)
{
    const QString before = on ? QStringLiteral("0") : QStringLiteral("1"), after = on ? QStringLiteral("1") : QStringLiteral("0");
    try {
        const auto [first, rows] = m_c.keys().insertSelected(
            Tables::RightsHistory,
            {QStringLiteral("changed_at"), QStringLiteral("user_id"), QStringLiteral("table_name"), QStringLiteral("row_id"),
             QStringLiteral("column_name"), QStringLiteral("old_value"), QStringLiteral("new_value")},
            rowsCte, {cteValue}, QStringLiteral("?, ?, ?, t.id, ?, ?, ?"),
            QStringLiteral("FROM %1 t WHERE t.id IN (SELECT id FROM d) AND (CASE WHEN t.%2 THEN 1 ELSE 0 END) <> ?")
                .arg(quoted(t.name), quoted(c.name)),
            {now(), m_c.session().userId(), t.name, c.name, before, after, on ? 1 : 0});
        return {first, first + rows - 1};
    } catch (const DbError& e) {
        throw DbError(QStringLiteral("A jogosultság-változás nem jegyezhető fel: %1").arg(e.message()));
    }
}

} // namespace NexoFrame
