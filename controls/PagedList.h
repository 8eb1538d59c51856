#pragma once
// A list read page by page as it scrolls, for the browse views and the list wizard's grid.
// The next page is read after the last row shown, by its sort values and key (a million rows
// down costs what the first page costs); Ctrl+End reads the last page by the reversed order,
// and scrolling up from there reads the pages before it the same way. A source without a key
// (nothing breaks ties) counts rows off from the start as before.
#include <QAbstractTableModel>
#include <QStringList>
#include <QVariant>
#include <functional>

class QTableView;

namespace NexoFrame {
class Engine;
struct TableDef;
}

namespace NexoFrame::Controls {

// What a column of a table or view is sorted by, in ORDER BY and in the comparisons that read
// the next page: text in Hungarian order, by its sort key column where the engine keeps one.
// Every list sorts through here, so that a column's order changes in this one place.
QString sortExpression(const Engine& engine, const TableDef* table, const QString& column);

struct SortTerm {
    QString column;
    bool descending = false;
    QString expression; // sortExpression's; empty: the column itself
};

// A list's order: its terms, then the key (unique, never null) that breaks ties. Nulls come
// first in an ascending term and last in a descending one, on both engines.
class PageOrder {
public:
    PageOrder() = default;
    // `key` empty: a source without one, read by counting rows.
    PageOrder(const Engine& engine, const QList<SortTerm>& terms, const QString& key, bool keyDescending);

    bool keyed() const { return !m_key.isEmpty(); }
    bool isEmpty() const { return m_terms.isEmpty() && m_key.isEmpty(); }
    QString orderBy(bool reversed = false) const { return m_orderBy[reversed]; }
    // The values a row carries for its place in the order: the sort expressions, key last.
    QStringList expressions() const;

    // The rows after the row with these values (reversed: before it, nearest first), as
    // conditions to read one after another until a page is full. Each is a range of the index
    // that serves the order; the values are bound.
    struct Part {
        QString where;
        QVariantList binds;
    };
    QList<Part> after(const QVariantList& values, bool reversed) const;

private:
    QList<SortTerm> m_terms; // the key last, when there is one
    QString m_key;
    QString m_orderBy[2];
};

// The statement of a list: what it shows, from where, which rows, in which order.
struct PagedQuery {
    QStringList columns; // SQL of the values each row hands over, in order
    QString from;
    QString where; // without "WHERE"; empty: every row
    QVariantList binds;
    PageOrder order;

    // Every row, in order, the columns only.
    QString select() const;
    // What a page reads: the columns, then the sort values no column already holds.
    QStringList keyedColumns() const;
    // Where each sort value (key last) stands in a row a page reads.
    QList<int> sortPlaces() const;
    struct Statement {
        QString sql;
        QVariantList binds;
    };
    // A page of at most `limit` rows: the first (of the reversed order too), the one after a
    // row, or `offset` rows down when unkeyed.
    Statement first(int limit, bool reversed = false) const;
    Statement next(const PageOrder::Part& part, int limit, bool reversed = false) const;
    Statement counted(int limit, int offset) const;
};

// The rows of a list read so far, a window of it: from its start downwards, or from its end
// upwards after Ctrl+End. A row's first value is its key (or whatever the statement puts
// first); its cells are the subclass's.
class PagedModel : public QAbstractTableModel {
public:
    static constexpr int kPage = 200;
    using QAbstractTableModel::QAbstractTableModel;

    std::function<void(const QString&)> status; // a failed read's words; "" after a good one

    // Starts afresh on the first page (no query: empty).
    void start(const PagedQuery& query);
    void clear() { start({}); }
    const PagedQuery& query() const { return m_query; }
    QVariant keyAt(int row) const { return m_keys.value(row); }
    int rowOf(const QVariant& key, int from = 0) const { return int(m_keys.indexOf(key, from)); }
    bool atStart() const { return m_atStart; }

    // Reads the list's last page (nothing when the list is all read); the rows before are
    // read as the view scrolls up.
    void toEnd();
    void toStart();
    // The page before the first row read (after Ctrl+End); how many rows came.
    int fetchBefore();

    int rowCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : int(m_rows.size()); }
    QVariant data(const QModelIndex& index, int role) const override;
    bool canFetchMore(const QModelIndex& parent) const override { return !parent.isValid() && m_moreAfter; }
    void fetchMore(const QModelIndex& parent) override;

protected:
    // Runs a statement, each row to `row`; false with the engine's words in `error`.
    virtual bool run(const PagedQuery::Statement& s, const std::function<void(const QVariantList&)>& row, QString* error) = 0;
    // A row's cells from the values read (the sort values after them are left alone), made
    // when the row is first shown.
    virtual QStringList cells(const QVariantList& row) const = 0;
    // The sort values of a row as they are bound again.
    virtual QVariantList bindable(const QVariantList& values) const { return values; }
    virtual QVariant alignment(int column) const = 0;

private:
    // Reads a page: the rows, their sort values at the window's edge. False on failure.
    bool read(const QVariantList* edge, bool reversed, QList<QVariantList>* rows);
    void take(const QList<QVariantList>& rows, bool front);
    // The same without telling the views: inside a reset.
    void place(const QList<QVariantList>& rows, bool front);
    void forget();

    PagedQuery m_query;
    QList<int> m_sortPlaces;
    QList<QVariantList> m_rows;          // as read
    mutable QList<QStringList> m_cells;  // as shown, made when first painted
    QList<QVariant> m_keys;
    QVariantList m_first, m_last; // sort values of the window's first and last rows
    bool m_atStart = true, m_moreAfter = false;
};

// What every paged grid does: rows one text line high (as the style draws an item), the last
// column up to the edge, Ctrl+End and Ctrl+Home through the model, and the rows before the
// window read when the view reaches its top.
void setUpPagedGrid(QTableView* grid, PagedModel* model);

} // namespace NexoFrame::Controls
