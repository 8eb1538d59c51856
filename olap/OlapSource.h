#pragma once
// A report's SQL source read into the cube over the read-only link. The engine groups the
// rows at the finest grain the report shows and the cube rolls its totals up from those
// groups; a report whose facts no group can stand in for, or a source the grouping cannot
// wrap, has its rows streamed into the cube one by one.
#include "Pivot.h"
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <atomic>

namespace NexoFrame {

class ReadOnlySource;

// The outcome of running a report's SQL source read-only and pivoting its rows by the
// report's fields.
struct OlapRun {
    Olap::PivotResult result;
    QString error; // Hungarian; empty on success
    bool grouped = false; // the engine grouped the rows (otherwise they were streamed)
    bool ok() const { return error.isEmpty(); }
};

// A report's fields as the cube needs them, copied out of the record: a run's worker takes
// these, never the record.
struct OlapField {
    QString name;           // the source's column
    bool fact = false;
    bool formula = false;   // a formula fact: no column of its own
    Olap::PivotFact asFact; // column still unknown (-1)
    Olap::PivotDimension asDimension;
};
// The cube's spec once the source's columns are known; empty with `error` when a field has no column.
Olap::PivotSpec pivotSpecOf(const QList<OlapField>& fields, const QStringList& columns, QString* error);

enum class OlapRead { Grouped, Streamed };
// How the preview reads: grouped by a server, which aggregates far faster than it sends
// rows; a file's rows streamed into the cube, whose hashing beats SQLite's sorting GROUP BY
// (and SQLite has no accurate variance to group by).
OlapRead preferredRead(bool server);

// Runs `sql` (a report's source, as the user wrote it) on `source` and pivots what comes
// back. `server`: the link goes to a server. `pageFilter` picks values of the page
// dimensions (by position among them). Grouped falls back to streaming by itself; Streamed
// feeds every row of the source, as the cube's own reference. A cancelled or late run is
// never tried again the other way.
OlapRun readIntoCube(ReadOnlySource& source, bool server, const QString& sql, const QList<OlapField>& fields,
                     const QList<std::pair<int, QVariant>>& pageFilter, OlapRead read = OlapRead::Grouped,
                     const std::atomic<bool>* cancelled = nullptr);

} // namespace NexoFrame
