#pragma once
// The cube behind an OLAP report's preview: the rows of its SQL source cut by its
// dimensions and aggregated by its facts, with totals. Pure computation: no database, no
// widgets.
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <memory>

namespace NexoFrame::Olap {

// The codes of the report field table.
enum DimType { xoft_None = 0, xoft_String = 1, xoft_Boolean = 2, xoft_Word = 3, xoft_Smallint = 4, xoft_Integer = 5,
               xoft_Float = 6, xoft_Currency = 7, xoft_DateTime = 8, xoft_Date = 9, xoft_Time = 10 };
enum DimAxis { xda_every = -1, xda_vertical = 0, xda_horizontal = 1, xda_outside = 2, xda_invisible = 3 };
enum FactAlgorithm { xfaa_SUM = 1, xfaa_MIN = 2, xfaa_MAX = 3, xfaa_LAST = 4, xfam_FORMULA = 4096, xfam_COUNT = 4097,
                     xfam_SUM = 4098, xfam_MIN = 4099, xfam_MAX = 4100, xfam_AVG = 4101, xfam_AVEDEV = 4102,
                     xfam_VAR = 4103, xfam_STDDEV = 4104, xfam_VARP = 4105, xfam_STDDEVP = 4106, xfam_RMS = 4107,
                     xfam_RANKUP = 4108, xfam_RANKDOWN = 4109 };

struct PivotDimension {
    QString caption;
    int column = -1;            // position in the source rows
    int type = xoft_String;     // DimType
    int axis = xda_horizontal;  // DimAxis; xda_every counts as a row dimension
    bool descending = false;    // dim_order -1
    bool totals = true;         // dim_total -1
    int sortOrder = 0;          // field_sort_order: position among the dimensions of its axis
};

struct PivotFact {
    QString caption;
    int column = -1;            // position in the source rows; -1 for a formula fact
    int algorithm = xfaa_SUM;   // FactAlgorithm
    QString formula;            // for xfam_FORMULA: an expression over the other facts' captions
    int sortOrder = 0;
};

struct PivotSpec {
    QList<PivotDimension> dimensions;
    QList<PivotFact> facts;
    // Page filter: for each xda_outside dimension (by its index in `dimensions`) the value
    // kept; a dimension not listed keeps every value.
    QList<std::pair<int, QVariant>> pageFilter;
};

// One header entry of an axis: the values of the axis' dimensions (outermost first) that
// lead to it; a total has fewer values than the axis has dimensions (the grand total none).
struct PivotHeader {
    QVariantList values;
    bool isTotal = false;
};

class PivotResult {
public:
    QList<PivotDimension> rowDimensions;    // in sort order
    QList<PivotDimension> columnDimensions;
    QList<PivotDimension> pageDimensions;   // xda_outside ones
    QList<PivotFact> facts;                 // in sort order
    QList<PivotHeader> rows;                // in display order, totals after their group
    QList<PivotHeader> columns;
    // Every distinct value of each page dimension, sorted, for a filter choice.
    QList<QVariantList> pageValues;
    qint64 sourceRows = 0;

    // The value of fact f at (row r, column c); an invalid QVariant for an empty cell; a
    // QString starting with "#" for a formula error ("#HIBA: ...").
    QVariant cell(int r, int c, int f) const;

    // The text a user sees for a header value or a cell: dates as yyyy.MM.dd, date-times
    // as yyyy.MM.dd hh:mm, times as hh:mm:ss, booleans as "Igen"/"Nem", currency as
    // "1 234 Ft", whole numbers grouped ("1 234"), other numbers with a decimal comma and
    // two decimals ("1 234,57"; below 0,01 three significant digits); null as "".
    // A cell's value carries its own type, so cellText needs none.
    static QString headerText(const QVariant& value, int dimType);
    static QString cellText(const QVariant& value);
    // The caption of a total header of an axis whose dimensions (in sort order) are
    // `axisDimensions`: "Összesen" for the grand total, "<value> összesen" for a subtotal
    // (the innermost value of its prefix, as headerText shows it). For a header that is no
    // total: the text of its innermost value.
    static QString totalText(const PivotHeader& header, const QList<PivotDimension>& axisDimensions);
    // The grand total's caption.
    static inline const QString kGrandTotal = QStringLiteral("Összesen");

private:
    friend class Pivot;
    struct Cells;
    std::shared_ptr<const Cells> m_cells;
};

// Feeds rows one by one (so that a large source never sits in memory whole) and builds the
// result. Memory grows with the number of distinct cells, not with the number of rows
// (except for AVEDEV, which keeps the values of its cells).
//
// Rules the preview relies on:
// - Values of a dimension are read by its type (a date may come as text "yyyy-MM-dd
//   hh:mm:ss", a boolean as -1/0) and sorted by value: numbers numerically, dates by date,
//   text in Hungarian order; null comes first in either direction.
// - A dimension with totals gets a subtotal after each group of its values (its values
//   are the outer prefix); the outermost one's total is the grand total, last of all.
//   A total aggregates the rows of its group (the average of a total is no average of
//   averages): rows feed the cells of full combinations only, and result() folds their
//   running statistics exactly into the totals.
// - Facts read their column as a number; nulls (and, except for COUNT, text that is no
//   number) are skipped. A cell with source rows but no value is empty, except COUNT (0).
//   VAR and STDDEV need two values. RANKUP/RANKDOWN rank a cell's sum within its column
//   among the cells that are no total (ties share the lower rank); total cells stay empty.
// - A formula fact names other facts by caption in brackets ("[Összeg] / [Darab]") with
//   muparser's syntax (decimal point, "," between function arguments); a cell where a
//   named fact is empty is empty; an error shows as "#HIBA: <reason>".
// - sourceRows counts every row fed, the page filter's rejects included.
class Pivot {
public:
    explicit Pivot(PivotSpec spec);
    ~Pivot();
    void addRow(const QVariantList& row);

    // What a group of rows must say of a fact's column for addGroup: flags of PivotSummary's
    // members beyond the count. None of them for a fact that no group can stand in for
    // (LAST needs the rows' order, AVEDEV every value): groupable() is false then.
    enum Need { NeedSum = 1, NeedMin = 2, NeedMax = 4, NeedSquares = 8, NeedDeviations = 16 };
    static bool groupable(const PivotSpec& spec);
    static int needsOf(int algorithm);

    // Feeds `rows` source rows at once that share the values of `row`'s dimension columns
    // (other columns are not read), as an engine's GROUP BY sums them up: `summaries[c]` is
    // the summary of source column c over those rows, for every column a fact reads. Only for
    // a groupable spec. The cube comes out as feeding the rows themselves would make it
    // (within the rounding of a sum taken in another order).
    struct Summary {
        qint64 count = 0; // values that are not null; they must all be numbers for the rest
        double sum = 0, min = 0, max = 0;
        double squares = 0;    // the sum of their squares
        double deviations = 0; // the sum of their squared deviations from their mean
    };
    void addGroup(const QVariantList& row, qint64 rows, const QList<Summary>& summaries);

    PivotResult result() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace NexoFrame::Olap
