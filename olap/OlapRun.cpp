#include "OlapRun.h"
#include "Connection.h"
#include "ReadOnlySource.h"
#include "cDDXOlapReport.h"
#include <QEventLoop>
#include <QProgressDialog>
#include <QThread>
#include <atomic>
#include <mutex>

namespace NexoFrame {

Olap::PivotSpec pivotSpecOf(const cDDXOlapReport& report, const QStringList& columns, QString* error)
{
    Olap::PivotSpec spec;
    auto columnOf = [&](const QString& name) {
        for (int i = 0; i < columns.size(); ++i)
            if (columns[i].compare(name.trimmed(), Qt::CaseInsensitive) == 0) return i;
        return -1;
    };
    for (int i = 1; i <= report.ReportFieldCount(); ++i) {
        const cDDXOlapReportField* f = report.ReportField(i);
        const int column = columnOf(f->field_name());
        const bool formula = f->field_type() == cDDXOlapReportField::Fact && f->fact_algorithm() == Olap::xfam_FORMULA;
        if (column < 0 && !formula) {
            *error = QStringLiteral("A(z) „%1” mező nincs a lekérdezés eredményében.").arg(f->field_name());
            return {};
        }
        if (f->field_type() == cDDXOlapReportField::Fact) {
            spec.facts << Olap::PivotFact{f->caption(), formula ? -1 : column, f->fact_algorithm(), f->fact_formula(),
                                          f->field_sort_order()};
        } else {
            spec.dimensions << Olap::PivotDimension{f->caption(), column, f->dim_field_type(), f->dim_field_axis(),
                                                    f->dim_order() != 0, f->dim_total() != 0, f->field_sort_order()};
        }
    }
    if (spec.facts.isEmpty()) *error = QStringLiteral("A riporthoz nincs meghatározva összesítés.");
    return spec;
}

OlapRun runReport(QWidget* parent, Connection& connection, const cDDXOlapReport& report,
                  const QList<std::pair<int, QVariant>>& pageFilter)
{
    OlapRun run;
    const QString sql = report.sql_source().trimmed();
    if (sql.isEmpty()) {
        run.error = QStringLiteral("A riportnak nincs SQL forrása.");
        return run;
    }
    // Where the link goes is read here, on the connection's thread; the worker opens it.
    QString whereError;
    const ReadOnlySource::Target target = ReadOnlySource::targetOf(connection, &whereError);
    if (!target.valid()) {
        run.error = whereError;
        return run;
    }
    // The read-only link lives in the worker thread, as a database link belongs to the
    // thread that opened it; only the cancel crosses over.
    std::mutex guard;
    ReadOnlySource* live = nullptr;
    std::atomic<bool> cancelled{false};
    QThread* worker = QThread::create([&] {
        QString error;
        auto source = ReadOnlySource::open(target, &error);
        if (!source) {
            run.error = error;
            return;
        }
        {
            std::lock_guard lock(guard);
            live = source.get();
        }
        if (cancelled) source->cancel();
        std::unique_ptr<Olap::Pivot> pivot;
        QStringList columns;
        QString specError;
        const bool ok = source->run(sql, &columns, [&](const QVariantList& row) {
            if (!pivot) {
                Olap::PivotSpec spec = pivotSpecOf(report, columns, &specError);
                if (!specError.isEmpty()) return false;
                for (const auto& [pageIndex, value] : pageFilter) {
                    // The page filter names the page dimensions in order; the cube wants their index among all dimensions.
                    int seen = -1;
                    for (int d = 0; d < spec.dimensions.size(); ++d)
                        if (spec.dimensions[d].axis == Olap::xda_outside && ++seen == pageIndex)
                            spec.pageFilter.append({d, value});
                }
                pivot = std::make_unique<Olap::Pivot>(spec);
            }
            pivot->addRow(row);
            return true;
        }, &error);
        {
            std::lock_guard lock(guard);
            live = nullptr;
        }
        if (!specError.isEmpty()) run.error = specError;
        else if (!ok) run.error = error;
        else {
            if (!pivot) {
                // No rows: the headers still come from the report's fields.
                Olap::PivotSpec spec = pivotSpecOf(report, columns, &specError);
                if (!specError.isEmpty()) {
                    run.error = specError;
                    return;
                }
                pivot = std::make_unique<Olap::Pivot>(spec);
            }
            run.result = pivot->result();
        }
    });
    QProgressDialog progress(QStringLiteral("A riport lekérdezése fut…"), QStringLiteral("Mégsem"), 0, 0, parent);
    progress.setWindowTitle(QStringLiteral("Előnézet"));
    progress.setMinimumDuration(400);
    QObject::connect(&progress, &QProgressDialog::canceled, [&] {
        cancelled = true;
        std::lock_guard lock(guard);
        if (live) live->cancel();
    });
    QEventLoop loop;
    QObject::connect(worker, &QThread::finished, &loop, &QEventLoop::quit);
    worker->start();
    if (!worker->isFinished()) loop.exec();
    worker->wait();
    delete worker;
    progress.reset();
    if (cancelled && !run.ok()) run.error = QStringLiteral("A lekérdezés megszakítva.");
    return run;
}

} // namespace NexoFrame
