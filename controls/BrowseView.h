#pragma once
#include "Connection.h"
#include "PagedList.h"
#include <QPointer>
#include <QWidget>

class QLabel;
class QLineEdit;
class QTableView;
class QTimer;

namespace NexoFrame::Controls {

struct BrowseColumn {
    QString column;
    QString caption;
    int width = 120;
    // False for a column that shows something else than its stored value (a mark the panel
    // paints over it): a click on its header leaves the order as it was.
    bool sortable = true;
};

// A numbered view: which table, which columns (first shown column first), the key column,
// a fixed condition every read carries (same syntax as setFilter, e.g. "del_status=0"),
// and the default order column (empty: the key).
struct BrowseViewDef {
    int number = 0;
    int table = 0;
    QList<BrowseColumn> columns;
    QString keyColumn = QStringLiteral("id");
    QString baseFilter;
    QString orderColumn;
    bool orderDescending = false; // newest first, say
};

class BrowseModel;

// The rows of a table with a search box, read page by page as the list scrolls, sorted and
// searched by the database.
class BrowseView : public QWidget {
    Q_OBJECT
public:
    explicit BrowseView(QWidget* parent = nullptr);
    ~BrowseView() override;

    void setConnection(Connection* c);
    // Throws DbError when the table, a column or the base filter is not the schema's.
    // Restores the saved column layout and reads the first rows.
    void setView(const BrowseViewDef& def);
    const BrowseViewDef& view() const { return m_def; }

    // "column=value" conditions joined by " AND ". The columns must be the table's (else
    // DbError, and the filter stays as it was); the values are bound. Reads anew.
    void setFilter(const QString& filter);
    QString filter() const { return m_filter; }

    // Re-reads from the start; keeps the selected row when it is still there, else the first.
    void refresh();
    int selectedId() const;                   // -1 when none
    bool selectId(int id);                    // false when not among the rows
    int loadedRows() const;

    void setSearchText(const QString& text);  // as typed into the search box, applied at once
    QLineEdit* searchBox() const { return m_search; }
    QTableView* table() const { return m_grid; }
    // The statement the list reads its pages by.
    const PagedQuery& query() const { return m_query; }

    void saveLayout();

    // Every row the list holds under its filter and search (not only those read so far), in
    // its order and with its columns as arranged, as shown, into a CSV file. False and a
    // Hungarian message on failure; a failed export leaves no half file.
    bool exportCsv(const QString& path, QString* error = nullptr);

signals:
    void selectionChanged(int id);
    void activated(int id);

private:
    struct Where {
        QStringList terms;
        QVariantList binds;
    };
    Where parse(const TableDef& table, const QString& filter) const;
    bool listed(int id);
    void reportStatus(const QString& message);
    void currentMoved();
    void restoreLayout();
    void showOrder(); // the header's sort mark on the order column
    void keepLayout(); // saves the layout when it differs from the one saved or restored
    QString layoutText() const;

    QPointer<Connection> m_connection;
    BrowseViewDef m_def;
    const TableDef* m_table = nullptr;
    QList<const ColumnDef*> m_columns;
    Where m_base, m_filterWhere, m_read; // m_read: the conditions of the rows shown
    PagedQuery m_query;                  // the rows shown, in their order
    QString m_filter, m_searchText, m_orderColumn, m_savedLayout;
    bool m_descending = false;
    bool m_restoring = false;
    int m_lastId = -1;
    BrowseModel* m_model;
    QTableView* m_grid;
    QLineEdit* m_search;
    QLabel* m_status;
    QTimer* m_searchTimer;
    QTimer* m_saveTimer;
};

} // namespace NexoFrame::Controls
