#pragma once
// A report file: one JSON object that holds a printed report's query and layout, so that a
// new report is a new file. Keys (only "query" and "columns" are required):
//
//   "title"       the report's title ("Felhasználók csoportonként")
//   "subtitle"    a line under it; {name} puts in a parameter's shown value, {today} the day
//   "orientation" "portrait" (default) or "landscape"; the page is A4
//   "query"       one SELECT, as a string or an array of lines; :name is a parameter, bound
//                 as a value, never pasted. Besides the parameters there are :today and,
//                 for a date parameter :d, :d_next (the day after, for an end that takes
//                 in the whole day)
//   "parameters"  [{ "name", "caption", "type": "int" | "date" | "choice" | "text",
//                    "default" (a date: "today", "today-30", "today+{days}" or 2024-05-31),
//                    "stringPar": 1..5 (that StringParN, when not empty, beats "default"),
//                    "ask": true (asked in a dialog before the report runs),
//                    "min", "max" (int), "choices": a SELECT of value and caption (choice) }]
//   "columns"     [{ "field", "caption", "width" (relative, default 1),
//                    "align": "left" | "center" | "right",
//                    "format": "text" | "int" | "number" | "date" | "datetime" | "mark" | "days",
//                    "decimals" (number, default 2), "mark": the sign of a true value
//                    (default "✓"), "sum": true (summed in subtotals; a mark column counts
//                    its marks) }]
//                 "days" shows how many days the date value lies after today.
//   "groups"      [{ "field", "heading": "{field} ...", "footer": "Összesen: {count} ..." }]
//                 outermost first; a group breaks where its field or an outer one changes
//                 (the query orders the rows). The footer line carries the sums of the
//                 summed columns; "" leaves it out. Headings and footers take {field} of the
//                 group's first row, footers also {count} and {sum:field}
//   "total"       the grand total line, with {count} and {sum:field}; none without it
//   "tree"        { "id", "parent", "column" }: rows ordered depth-first (siblings in query
//                 order), "column" indented by depth; a row whose parent is not listed
//                 is left out with its branch, as a unit below a deleted one
//   "empty"       the text shown when the query gives no rows
#include <QList>
#include <QPageLayout>
#include <QString>
#include <QVariant>
#include <Qt>

namespace NexoFrame::Controls {

enum class ColumnFormat { Text, Int, Number, Date, DateTime, Mark, Days };
enum class ParameterType { Int, Date, Choice, Text };

struct ReportColumn {
    QString field;
    QString caption;
    double width = 1;
    Qt::Alignment align = Qt::AlignLeft;
    ColumnFormat format = ColumnFormat::Text;
    int decimals = 2;
    QString mark = QStringLiteral("✓");
    bool sum = false;
};

struct ReportParameter {
    QString name;
    QString caption;
    ParameterType type = ParameterType::Text;
    QString defaultValue;
    int stringPar = 0;
    bool ask = true;
    int min = 0;
    int max = 999999;
    QString choices;
};

struct ReportGroup {
    QString field;
    QString heading;
    QString footer;
};

struct ReportTree {
    QString id;
    QString parent;
    QString column;
    bool enabled() const { return !id.isEmpty(); }
};

struct ReportFile {
    QString title;
    QString subtitle;
    QPageLayout::Orientation orientation = QPageLayout::Portrait;
    QString query;
    QList<ReportParameter> parameters;
    QList<ReportColumn> columns;
    QList<ReportGroup> groups;
    bool hasTotal = false;
    QString total;
    ReportTree tree;
    QString empty = QStringLiteral("Nincs megjeleníthető adat.");

    // The file named by a report's FileName: an absolute path as it is; a relative one in
    // NEXO_REPORTS, else in the "reports" folder beside the program or, installed, in its
    // data folder.
    static QString resolve(const QString& fileName);
    // False with a Hungarian message naming the file and what is wrong in it.
    static bool load(const QString& path, ReportFile* out, QString* error);
    static bool parse(const QByteArray& json, const QString& name, ReportFile* out, QString* error);

    const ReportParameter* parameter(const QString& name) const;
};

// A parameter's value from its text ("today-30", "2024-05-31", "12"): dates relative to
// `today`, with {name} taken from the values already known. False with a Hungarian message.
bool parameterValue(const ReportParameter& p, const QString& text, const QDate& today,
                    const QVariantMap& known, QVariant* value, QString* error);

} // namespace NexoFrame::Controls
