#pragma once
#include "ReportFile.h"
#include <QDateTime>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <memory>

class QPagedPaintDevice;

namespace NexoFrame {
class ReadOnlySource;
}

namespace NexoFrame::Controls {

// The rows of a report's query in the order they print, with each row's depth in the tree
// (0 without one).
struct ReportRows {
    QStringList fields;
    QList<QVariantList> rows;
    QList<int> depth;

    // By name, ignoring case (the server folds unquoted names to lower case); -1 if absent.
    int field(const QString& name) const;
};

// The query's ":name" parameters as "?" with their values in order; a ":" inside quotes or
// comments, and "::" casts, are left alone. False with a message for an unknown name.
bool bindNamed(const QString& sql, const QVariantMap& values, QString* statement, QVariantList* bound, QString* error);

// Runs a report's query with its parameter values, puts a tree in order and checks that
// every field the file names is in the result. False with a Hungarian message.
bool fetchRows(ReadOnlySource& source, const ReportFile& file, const QVariantMap& values, ReportRows* out,
               QString* error);

// A value as a column shows it (no column: as plain text), dates the Hungarian way.
QString formatValue(const QVariant& v, const ReportColumn* column, const QDate& today);
// True for true, a non-zero number (the suite stores true as -1) and text other than 0/false.
bool truthy(const QVariant& v);
// {name} replaced by lookup(name); a name it does not know (null string) stays as written.
QString fillPlaceholders(const QString& text, const std::function<QString(const QString&)>& lookup);

// What stands at the top of every page.
struct ReportHeader {
    QString company;
    QStringList details; // small lines under the company's name, empty ones left out
    QString title;
    QString subtitle;
    QDateTime printed;
};

// Lays a report out on A4 pages and paints it: the header and the column headings on every
// page, rows wrapped within their columns, group headings, subtotals and the grand total,
// and "1. oldal / 3" under each page. The whole report is laid out first, so the number of
// pages is known before the first is painted.
class ReportLayout {
public:
    ReportLayout(const ReportFile& file, const ReportRows& rows, const ReportHeader& header);
    ~ReportLayout();

    // A4 in the file's orientation with the report's margins.
    static void setUpPage(QPagedPaintDevice* device, QPageLayout::Orientation orientation);
    // Paints every page on the device (set up already); false with a message.
    bool print(QPagedPaintDevice* device, QString* error);
    // Pages of the last print.
    int pageCount() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace NexoFrame::Controls
