#pragma once
#include "Keys.h"
#include "Schema.h"
#include <QString>
#include <QVariant>

namespace NexoFrame {

class Connection;

// Writing the rights history (qnd_rights_history): every change of a role slot, a group's
// visibility rule or a user's group, by the current user, now, inside the change's own
// transaction. Reached as Connection::history(); reading it back is RightsHistory's.
class HistoryLog {
public:
    explicit HistoryLog(Connection& c) : m_c(c) {}

    // One row for a changed cell of a history column. Nothing when the value did not change;
    // throws DbError when it cannot be written (the caller's transaction then goes back
    // whole). Only a row the change makes (`rowIsNew`) has no old value; a cell never set
    // before has the old value text() gives it.
    void record(const TableDef& t, const QVariant& rowId, const ColumnDef& c, bool rowIsNew, const QVariant& oldValue,
                const QVariant& newValue);
    // The same for the changed cells of one row, written as one statement.
    struct Change {
        const ColumnDef* column;
        QVariant oldValue, newValue;
    };
    void record(const TableDef& t, const QVariant& rowId, bool rowIsNew, const QList<Change>& changes);
    // The rows record() writes for a row being made, for Keys::insertKeyed to write with
    // that row in one statement (no rows: nothing to keep, or the history is off).
    Keys::Beside newRowRows(const TableDef& t, const QList<Change>& changes) const;
    // The same for one kept cell (a number or a text) of many rows just made, keyed
    // `firstKey`..`lastKey`: read from the rows as they were written, in one statement.
    void recordNewRows(const TableDef& t, const ColumnDef& c, int firstKey, int lastKey);
    // The same for every row of `t` that `rowsCte` (a WITH clause naming its rows "d", with
    // its one bound value `cteValue`) lists and whose yes/no column `c` is not `on` yet, in
    // one statement that reads the rows once. The keys of the rows written, first and last
    // (none: 0, -1), so that the change itself can be made to exactly those rows.
    std::pair<int, int> recordRows(const TableDef& t, const ColumnDef& c, const QString& rowsCte, const QVariant& cteValue, bool on);
    // Off while the starting state is written (a new database's demo data is no change).
    bool enabled() const { return m_enabled; }
    void setEnabled(bool on) { m_enabled = on; }
    // A value as the history keeps it: yes/no as "1"/"0" (a yes/no never set, NULL, is no:
    // rows written by an older program or another module hold such cells), the rest as
    // text, NULL as empty text.
    QString text(const ColumnDef& c, const QVariant& value) const;

private:
    Connection& m_c;
    bool m_enabled = true;
};

} // namespace NexoFrame
