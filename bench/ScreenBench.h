#pragma once
// What the screen benchmarks share: the plain Qt view a screen is held against, and the page
// a million rows down against the first one.
#include "BenchSupport.h"
#include "PagedList.h"
#include <QElapsedTimer>
#include <QSqlQueryModel>
#include <QHeaderView>
#include <QTableView>
#include <algorithm>

namespace NexoFrame::Bench {

// Lets a change show: a view lays itself out and repaints from timers a change starts, so one
// pass of the event loop may leave work for the next one, timed or not.
inline void settle()
{
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
}

// What a Qt developer writes first: the statement in a QSqlQueryModel, in a QTableView as
// large as the screen's grid and with as many rows on it (as high as the grid's), shown until
// painted.
class PlainView {
public:
    explicit PlainView(const QTableView* grid)
        : m_size(grid->size()), m_rowHeight(grid->verticalHeader()->defaultSectionSize())
    {
    }

    // Shows the rows of `sql` in a view made for them; nanoseconds until painted.
    qint64 open(QSqlDatabase& db, const QString& sql, const QVariantList& binds)
    {
        QElapsedTimer t;
        t.start();
        QSqlQueryModel model;
        QTableView view;
        shape(view);
        view.setModel(&model);
        model.setQuery(query(db, sql, binds));
        view.show();
        settle();
        const qint64 ns = t.nsecsElapsed();
        check(model);
        return ns;
    }
    // Shows them in the view kept open, in place of what it showed.
    qint64 show(QSqlDatabase& db, const QString& sql, const QVariantList& binds)
    {
        if (!m_view) {
            m_view = std::make_unique<QTableView>();
            shape(*m_view);
            m_view->setModel(&m_model);
            m_view->show();
            settle();
        }
        QElapsedTimer t;
        t.start();
        m_model.setQuery(query(db, sql, binds));
        settle();
        const qint64 ns = t.nsecsElapsed();
        check(m_model);
        return ns;
    }

private:
    void shape(QTableView& view) const
    {
        view.resize(m_size);
        // The header's own least height (its numbers' line) would keep the rows higher.
        view.verticalHeader()->setMinimumSectionSize(std::min(m_rowHeight, view.verticalHeader()->minimumSectionSize()));
        view.verticalHeader()->setDefaultSectionSize(m_rowHeight);
    }
    static QSqlQuery query(QSqlDatabase& db, const QString& sql, const QVariantList& binds)
    {
        QSqlQuery q(db);
        if (!q.prepare(sql)) fail(q.lastError().text());
        for (int i = 0; i < binds.size(); ++i) q.bindValue(i, binds[i]);
        if (!q.exec()) fail(q.lastError().text());
        return q;
    }
    static void check(const QSqlQueryModel& model)
    {
        if (model.lastError().isValid()) fail(model.lastError().text());
        if (model.rowCount() == 0) fail(QStringLiteral("the plain view shows no rows"));
    }
    QSize m_size;
    int m_rowHeight;
    QSqlQueryModel m_model;
    std::unique_ptr<QTableView> m_view;
};

// Runs a statement as a grid reads it, each row to the sink.
using PageReader = std::function<void(const Controls::PagedQuery::Statement&, const std::function<void(const QVariantList&)>&)>;

// The grid's next page after its `row`-th row, the sort values of that row known as after
// scrolling there, against its first page: both read as the grid reads them, in turns.
// `bindable` makes read values bindable again, as the grid does.
inline void deepPage(const Controls::PagedQuery& rows, int row, int rounds, const PageReader& read,
                     const std::function<QVariantList(const QVariantList&)>& bindable, const char* engine)
{
    constexpr int kPage = Controls::PagedModel::kPage;
    Controls::PagedQuery at = rows;
    at.columns = rows.order.expressions();
    QVariantList values;
    read(at.counted(1, row - 1), [&](const QVariantList& r) { values = r; });
    if (values.size() != at.columns.size()) fail(QStringLiteral("row %1 not found").arg(row));
    const QVariantList bound = bindable(values);
    qint64 first = 0, deep = 0;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer t;
        t.start();
        int n = 0;
        read(rows.first(kPage), [&](const QVariantList&) { ++n; });
        first += t.nsecsElapsed();
        if (n != kPage) fail(QStringLiteral("the first page holds %1 rows").arg(n));
        t.restart();
        n = 0;
        for (const Controls::PageOrder::Part& p : rows.order.after(bound, false)) {
            if (n >= kPage) break;
            read(rows.next(p, kPage - n), [&](const QVariantList&) { ++n; });
        }
        deep += t.nsecsElapsed();
        if (n != kPage) fail(QStringLiteral("the page after row %1 holds %2 rows").arg(row).arg(n));
    }
    std::printf("%s deep page: %.2f ms after row %d, first page %.2f ms\n", engine, deep / 1e6 / rounds, row,
                first / 1e6 / rounds);
    std::printf("%s deep page ratio: %.2f\n", engine, double(deep) / double(first));
}

} // namespace NexoFrame::Bench
