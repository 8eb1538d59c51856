#pragma once
#include "ListDefinition.h"
#include "ReportOutput.h"
#include <functional>

namespace NexoFrame::Controls {

// Hands every row of a list to the sink, in order; false with a Hungarian message.
using ListRowSink = std::function<bool(const QVariantList&)>;
using ListRowFeed = std::function<bool(const ListRowSink&, QString* error)>;

// Every row, as the grid shows it, under the headings. False with a Hungarian message; a
// failed export leaves no file behind.
bool exportListCsv(const QString& path, const ListQuery& q, const ListRowFeed& feed, QString* error);
// The same as a workbook: numbers as numbers, dates as dates, the headings bold and frozen;
// past a sheet's last row the list goes on on the next sheet. Its temporary files go into
// `tempFolder` (empty: the system's).
bool exportListXlsx(const QString& path, const QString& title, const ListQuery& q, const ListRowFeed& feed,
                    const QString& tempFolder, QString* error);

// The list on the report engine's pages: its columns, its groups with their counts and
// sums, the grand total.
ReportDocument listDocument(const QString& title, const ListDefinition& def, const ListQuery& q, const QList<QVariantList>& rows,
                            const ReportHeader& header);

} // namespace NexoFrame::Controls
