#pragma once
// A list of the list wizard: which source, which columns, which rows, in which order,
// grouped how. Kept in the database (qnd_list.definition) as one JSON object:
//
//   "format"      "nexo-lista"
//   "version"     1; a definition of a later version is refused, not half read
//   "source"      the table or view, as qnd_list_source names it
//   "columns"     [{ "field", "caption" }] in the order shown; the caption is the heading
//   "match"       "all" (every condition holds) or "any" (one of them does)
//   "conditions"  [{ "field", "op", "value", "value2", "ask" }]
//                 op: "contains", "begins", "equals", "not_equals" (text);
//                     "equals", "not_equals", "from", "to", "between" (numbers and dates);
//                     "yes", "no" (yes/no columns); "empty", "not_empty" (any column).
//                 Dates are written 2026-05-31, "today", "today-30" or "today+60". A
//                 condition with "ask" ("Kezdő dátum?") is asked when the list runs, its
//                 value the answer's default. Values are always bound, never pasted.
//   "sort"        [{ "field", "descending": true|false }]
//   "group"       { "field", "sums": [numeric fields] }: rows of one value together, with
//                 their count and sums
#include "Access.h"
#include "PagedList.h"
#include "Schema.h"
#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Controls {

enum class ListOp { Contains, BeginsWith, Equals, NotEquals, From, To, Between, Yes, No, Empty, NotEmpty };

struct ListColumn {
    QString field;
    QString caption;
};

struct ListCondition {
    QString field;
    ListOp op = ListOp::Equals;
    QString value;
    QString value2;
    QString ask; // the question asked when the list runs; empty: not asked
};

struct ListSortKey {
    QString field;
    bool descending = false;
};

struct ListDefinition {
    static constexpr int kVersion = 1;
    QString source;
    QList<ListColumn> columns;
    bool matchAny = false;
    QList<ListCondition> conditions;
    QList<ListSortKey> sort;
    QString groupField;
    QStringList sums;

    bool asksParameters() const;
    QByteArray toJson() const;
    // False with a Hungarian message: not JSON, another format, a later version, a bad key.
    static bool fromJson(const QByteArray& json, ListDefinition* out, QString* error);
};

// A column a source offers, with its heading and its type from the schema.
struct ListSourceColumn {
    QString field;
    QString caption;
    ColType type = ColType::Text;
};

struct ListSource {
    int id = 0;
    QString table;
    QString caption;
    QString keyColumn; // breaks ties so that pages follow one another; empty when none
    QList<ListSourceColumn> columns;
    const ListSourceColumn* column(const QString& field) const;
};

// The sources the installation allows (qnd_list_source), in their order. A source whose
// table, or a column whose name, is not the schema's is left out: only names of the
// schema ever reach a statement.
QList<ListSource> listSources(Connection& c);
const ListSource* findSource(const QList<ListSource>& sources, const QString& table);

// What a column of a type can be asked, in the order offered, with the Hungarian words.
QList<ListOp> operatorsFor(ColType type);
QString operatorName(ListOp op);
QString operatorKey(ListOp op);
int operatorValues(ListOp op); // how many values it takes: 0, 1 or 2

// A day from "today", "today-30", "today+60" (or "ma", "ma-30"), "2026-05-31" or "2026.05.31.";
// invalid if none.
QDate dayOf(const QString& text, const QDate& today);

// The statement of a list: columns, conditions, order. Every value is bound; every name
// comes from the source.
struct ListQuery {
    QString select;   // SELECT ... FROM ... WHERE ... ORDER BY ...: every row
    QVariantList binds;
    PagedQuery rows;  // the same, as the grid reads it page by page
    QString groups;   // SELECT group, COUNT(*), SUM(...) ... GROUP BY group, when grouped
    QStringList fields;
    QStringList headings;
    QList<ColType> types;
};
bool buildQuery(Connection& c, const ListSource& source, const ListDefinition& def, const QDate& today, ListQuery* out,
                QString* error);

// The lists a holder may use: his own and those that share a role slot with him (none, when
// he is not live). A condition on qnd_list (as "l") with its values.
struct ListScope {
    QString where;
    QVariantList binds;
};
ListScope listsOfUser(const Holder& holder);

// A value as the list shows it: dates the Hungarian way, yes as "✓", numbers with a comma.
QString shownValue(const QVariant& v, ColType type);

} // namespace NexoFrame::Controls
