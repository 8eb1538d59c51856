#pragma once
#include "Pivot.h"
#include <QString>

class QWidget;

namespace NexoFrame {

class Connection;
class cDDXOlapReport;

// Runs a report's SQL source read-only and pivots its rows by the report's fields, in a
// worker thread under a cancellable progress dialog. `pageFilter` picks values of the page
// dimensions (by position among them).
struct OlapRun {
    Olap::PivotResult result;
    QString error; // Hungarian; empty on success
    bool ok() const { return error.isEmpty(); }
};

Olap::PivotSpec pivotSpecOf(const cDDXOlapReport& report, const QStringList& columns, QString* error);
OlapRun runReport(QWidget* parent, Connection& connection, const cDDXOlapReport& report,
                  const QList<std::pair<int, QVariant>>& pageFilter = {});

} // namespace NexoFrame
