#include "PagedList.h"
#include "ControlTexts.h"
#include "Engine.h"
#include "SqlExec.h"
#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>
#include <QStyleOptionViewItem>
#include <QTableView>
#include <algorithm>
#include <optional>

namespace NexoFrame::Controls {

QString sortExpression(const Engine& engine, const TableDef* table, const QString& column)
{
    return engine.sortExpression(table, column);
}

namespace {

QString expressionOf(const SortTerm& t) { return t.expression.isEmpty() ? quoted(t.column) : t.expression; }

} // namespace

PageOrder::PageOrder(const Engine& engine, const QList<SortTerm>& terms, const QString& key, bool keyDescending)
    : m_terms(terms), m_key(key)
{
    if (!key.isEmpty()) m_terms.append({key, keyDescending});
    for (bool reversed : {false, true}) {
        QStringList order;
        for (qsizetype i = 0; i < m_terms.size(); ++i) {
            const bool descending = m_terms[i].descending != reversed;
            // The key is never null: said plainly, as its own index has it.
            order << (keyed() && i == m_terms.size() - 1 ? quoted(key) + (descending ? QStringLiteral(" DESC") : QString())
                                                         : engine.orderTerm(expressionOf(m_terms[i]), descending));
        }
        m_orderBy[reversed] = order.join(QStringLiteral(", "));
    }
}

QStringList PageOrder::expressions() const
{
    QStringList l;
    for (const SortTerm& t : m_terms) l << expressionOf(t);
    return l;
}

namespace {

using Part = PageOrder::Part;

Part operator&&(const Part& a, const Part& b)
{
    return {a.where + QStringLiteral(" AND ") + b.where, a.binds + b.binds};
}

} // namespace

// Null is the least value in every order: first ascending, last descending. A row is after
// another when the terms before one are equal and that one is past it; the first term also
// bounds the range alone, so that the index serving the order is entered there rather than
// read from its start.
QList<PageOrder::Part> PageOrder::after(const QVariantList& values, bool reversed) const
{
    const int n = int(m_terms.size());
    const auto expr = [this](int i) { return expressionOf(m_terms[i]); };
    const auto descending = [&](int i) { return m_terms[i].descending != reversed; };
    const auto isNull = [&](int i) { return values.value(i).isNull(); };
    const auto notNull = [&](int i) { return keyed() && i == n - 1; }; // the key
    const auto equal = [&](int i) -> Part {
        if (isNull(i)) return {expr(i) + QStringLiteral(" IS NULL"), {}};
        return {expr(i) + QStringLiteral(" = ?"), {values[i]}};
    };
    // Strictly past the value in term i; `rangeOnly`: nulls left to a part of their own.
    const auto past = [&](int i, bool rangeOnly) -> std::optional<Part> {
        if (!descending(i)) {
            if (isNull(i)) return Part{expr(i) + QStringLiteral(" IS NOT NULL"), {}};
            return Part{expr(i) + QStringLiteral(" > ?"), {values[i]}};
        }
        if (isNull(i)) return std::nullopt;
        if (rangeOnly || notNull(i)) return Part{expr(i) + QStringLiteral(" < ?"), {values[i]}};
        return Part{QStringLiteral("(%1 < ? OR %1 IS NULL)").arg(expr(i)), {values[i]}};
    };
    // Past the row from term `from` on, the terms before it being equal.
    const auto rest = [&](int from, bool rangeOnlyFirst) -> std::optional<Part> {
        QStringList any;
        QVariantList binds;
        for (int i = from; i < n; ++i) {
            const std::optional<Part> p = past(i, rangeOnlyFirst && i == from);
            if (!p) continue;
            Part all{QString(), {}};
            for (int j = from; j < i; ++j) all = all.where.isEmpty() ? equal(j) : all && equal(j);
            all = all.where.isEmpty() ? *p : all && *p;
            any << (i == from ? all.where : QLatin1Char('(') + all.where + QLatin1Char(')'));
            binds += all.binds;
        }
        if (any.isEmpty()) return std::nullopt;
        return Part{any.size() == 1 ? any.first() : QLatin1Char('(') + any.join(QStringLiteral(" OR ")) + QLatin1Char(')'), binds};
    };

    QList<Part> parts;
    if (n == 0 || values.size() != n) return parts;
    if (n == 1) {
        if (const auto p = past(0, false)) parts << *p;
        return parts;
    }
    const QString first = expr(0);
    if (isNull(0)) {
        // Among the nulls; past them (ascending) every other value.
        if (const auto p = rest(1, false)) parts << (Part{first + QStringLiteral(" IS NULL"), {}} && *p);
        if (!descending(0)) parts << Part{first + QStringLiteral(" IS NOT NULL"), {}};
        return parts;
    }
    const Part bound{first + (descending(0) ? QStringLiteral(" <= ?") : QStringLiteral(" >= ?")), {values[0]}};
    parts << (bound && *rest(0, true));
    if (descending(0)) parts << Part{first + QStringLiteral(" IS NULL"), {}};
    return parts;
}

QString PagedQuery::select() const
{
    QString sql = QStringLiteral("SELECT %1 FROM %2").arg(columns.join(QStringLiteral(", ")), from);
    if (!where.isEmpty()) sql += QStringLiteral(" WHERE ") + where;
    if (!order.isEmpty()) sql += QStringLiteral(" ORDER BY ") + order.orderBy();
    return sql;
}

QStringList PagedQuery::keyedColumns() const
{
    QStringList all = columns;
    for (const QString& e : order.expressions())
        if (!all.contains(e)) all << e;
    return all;
}

QList<int> PagedQuery::sortPlaces() const
{
    const QStringList all = keyedColumns();
    QList<int> at;
    for (const QString& e : order.expressions()) at << int(all.indexOf(e));
    return at;
}

PagedQuery::Statement PagedQuery::first(int limit, bool reversed) const
{
    if (!order.keyed()) return counted(limit, 0);
    QString sql = QStringLiteral("SELECT %1 FROM %2").arg(keyedColumns().join(QStringLiteral(", ")), from);
    if (!where.isEmpty()) sql += QStringLiteral(" WHERE ") + where;
    return {sql + QStringLiteral(" ORDER BY %1 LIMIT ?").arg(order.orderBy(reversed)), binds + QVariantList{limit}};
}

PagedQuery::Statement PagedQuery::next(const PageOrder::Part& part, int limit, bool reversed) const
{
    QString sql = QStringLiteral("SELECT %1 FROM %2 WHERE ").arg(keyedColumns().join(QStringLiteral(", ")), from);
    sql += where.isEmpty() ? part.where : QStringLiteral("(%1) AND %2").arg(where, part.where);
    return {sql + QStringLiteral(" ORDER BY %1 LIMIT ?").arg(order.orderBy(reversed)), binds + part.binds + QVariantList{limit}};
}

PagedQuery::Statement PagedQuery::counted(int limit, int offset) const
{
    return {select() + QStringLiteral(" LIMIT ? OFFSET ?"), binds + QVariantList{limit, offset}};
}

void PagedModel::start(const PagedQuery& query)
{
    // The first page is read inside the reset: the view lays itself out once, for the rows it
    // will show, instead of for none and then again.
    beginResetModel();
    m_query = query;
    m_sortPlaces = query.order.keyed() ? query.sortPlaces() : QList<int>();
    forget();
    m_atStart = true;
    m_moreAfter = !query.from.isEmpty();
    if (m_moreAfter) {
        QList<QVariantList> rows;
        m_moreAfter = read(nullptr, false, &rows) && rows.size() == kPage;
        place(rows, false);
    }
    endResetModel();
}

QVariant PagedModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid()) return {};
    if (role == Qt::DisplayRole) {
        // Shown as painted: a page is read whole, but only a screen of it is seen at once.
        QStringList& shown = m_cells[index.row()];
        if (shown.isEmpty()) shown = cells(m_rows[index.row()]);
        return shown.value(index.column());
    }
    if (role == Qt::TextAlignmentRole) return alignment(index.column());
    return {};
}

bool PagedModel::read(const QVariantList* edge, bool reversed, QList<QVariantList>* rows)
{
    QString error;
    const auto sink = [rows](const QVariantList& r) { *rows << r; };
    bool ok = true;
    if (!m_query.order.keyed()) {
        ok = run(m_query.counted(kPage, int(m_rows.size())), sink, &error);
    } else if (!edge) {
        ok = run(m_query.first(kPage, reversed), sink, &error);
    } else {
        for (const PageOrder::Part& p : m_query.order.after(bindable(*edge), reversed)) {
            if (rows->size() >= kPage) break;
            if (!(ok = run(m_query.next(p, kPage - int(rows->size()), reversed), sink, &error))) break;
        }
    }
    if (!ok) rows->clear();
    if (status) status(ok ? QString() : ControlTexts::kListUnreadable.arg(error));
    return ok;
}

void PagedModel::forget()
{
    m_rows.clear();
    m_cells.clear();
    m_keys.clear();
    m_first.clear();
    m_last.clear();
}

void PagedModel::place(const QList<QVariantList>& rows, bool front)
{
    if (rows.isEmpty()) return;
    const auto sortOf = [this](const QVariantList& r) {
        QVariantList values;
        values.reserve(m_sortPlaces.size());
        for (int at : m_sortPlaces) values << r.value(at);
        return values;
    };
    QList<QVariant> keysOf;
    keysOf.reserve(rows.size());
    for (const QVariantList& r : rows) keysOf << r.value(0);
    if (front || m_rows.isEmpty()) m_first = sortOf(rows.first());
    if (!front || m_rows.isEmpty()) m_last = sortOf(rows.last());
    const QList<QStringList> unshown(rows.size());
    if (front) {
        m_rows = rows + m_rows;
        m_cells = unshown + m_cells;
        m_keys = keysOf + m_keys;
    } else {
        m_rows += rows;
        m_cells += unshown;
        m_keys += keysOf;
    }
}

void PagedModel::take(const QList<QVariantList>& rows, bool front)
{
    if (rows.isEmpty()) return;
    const int at = front ? 0 : int(m_rows.size());
    beginInsertRows({}, at, at + int(rows.size()) - 1);
    place(rows, front);
    endInsertRows();
}

void PagedModel::fetchMore(const QModelIndex& parent)
{
    if (!canFetchMore(parent)) return;
    QList<QVariantList> rows;
    const bool ok = read(m_rows.isEmpty() ? nullptr : &m_last, false, &rows);
    m_moreAfter = ok && rows.size() == kPage;
    take(rows, false);
}

void PagedModel::toEnd()
{
    if (!m_query.order.keyed() || !m_moreAfter) return;
    QList<QVariantList> rows;
    if (!read(nullptr, true, &rows)) return;
    std::reverse(rows.begin(), rows.end());
    beginResetModel();
    forget();
    m_atStart = rows.size() < kPage;
    m_moreAfter = false;
    place(rows, false);
    endResetModel();
}

void PagedModel::toStart()
{
    if (!m_atStart) start(m_query);
}

int PagedModel::fetchBefore()
{
    if (m_atStart || m_rows.isEmpty()) return 0;
    QList<QVariantList> rows;
    if (!read(&m_first, true, &rows)) return 0;
    std::reverse(rows.begin(), rows.end());
    m_atStart = rows.size() < kPage;
    take(rows, true);
    return int(rows.size());
}

namespace {

// The grid's keys that leave the window read so far: Ctrl+End and Ctrl+Home move it to the
// list's end or start first, Up and Page Up on its first row read the page before.
class PagedKeys : public QObject {
public:
    PagedKeys(QTableView* grid, PagedModel* model) : QObject(grid), m_grid(grid), m_model(model) {}

    void before()
    {
        const int top = m_grid->verticalScrollBar()->value();
        const int came = m_model->fetchBefore();
        if (!came) return;
        // The rows shown stay where they were.
        m_grid->doItemsLayout();
        m_grid->verticalScrollBar()->setValue(m_grid->verticalScrollMode() == QAbstractItemView::ScrollPerItem
                                                  ? top + came
                                                  : top + m_grid->rowViewportPosition(came) - m_grid->rowViewportPosition(0));
    }

protected:
    bool eventFilter(QObject*, QEvent* e) override
    {
        if (e->type() != QEvent::KeyPress) return false;
        const auto* key = static_cast<QKeyEvent*>(e);
        const bool control = key->modifiers() & Qt::ControlModifier;
        if (control && (key->key() == Qt::Key_End || key->key() == Qt::Key_Home)) {
            const bool end = key->key() == Qt::Key_End;
            if (end) m_model->toEnd();
            else m_model->toStart();
            // A window read anew: the row to stand on is its last (first), not what the view
            // remembers of the rows before.
            const int row = end ? m_model->rowCount() - 1 : 0;
            if (row < 0) return true;
            m_grid->setCurrentIndex(m_model->index(row, std::max(0, m_grid->currentIndex().column())));
            if (end) m_grid->scrollToBottom();
            else m_grid->scrollToTop();
            return true;
        }
        if ((key->key() == Qt::Key_Up || key->key() == Qt::Key_PageUp) && m_grid->currentIndex().row() <= 0) before();
        return false;
    }

private:
    QTableView* m_grid;
    PagedModel* m_model;
};

} // namespace

void setUpPagedGrid(QTableView* grid, PagedModel* model)
{
    QStyleOptionViewItem line;
    line.initFrom(grid);
    line.features = QStyleOptionViewItem::HasDisplay;
    line.text = QStringLiteral("Ágy");
    const int height = grid->style()->sizeFromContents(QStyle::CT_ItemViewItem, &line, QSize(), grid).height();
    QHeaderView* rows = grid->verticalHeader();
    rows->setMinimumSectionSize(height);
    rows->setDefaultSectionSize(height);
    rows->setSectionResizeMode(QHeaderView::Fixed);
    grid->horizontalHeader()->setStretchLastSection(true);
    auto* keys = new PagedKeys(grid, model);
    grid->installEventFilter(keys);
    QObject::connect(grid->verticalScrollBar(), &QScrollBar::valueChanged, keys, [grid, model, keys](int value) {
        if (value == grid->verticalScrollBar()->minimum() && !model->atStart()) keys->before();
    });
}

} // namespace NexoFrame::Controls
