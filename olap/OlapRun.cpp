#include "OlapRun.h"
#include "Connection.h"
#include "ModuleTexts.h"
#include "ReadOnlySource.h"
#include "Texts.h"
#include "cDDXOlapReport.h"
#include <QEventLoop>
#include <QProgressDialog>
#include <QtConcurrent/QtConcurrentRun>
#include <atomic>
#include <exception>
#include <mutex>

namespace NexoFrame {

QList<OlapField> olapFieldsOf(const cDDXOlapReport& report)
{
    QList<OlapField> fields;
    for (int i = 1; i <= report.ReportFieldCount(); ++i) {
        const cDDXOlapReportField* f = report.ReportField(i);
        OlapField o;
        o.name = f->field_name().trimmed();
        o.fact = f->field_type() == cDDXOlapReportField::Fact;
        o.formula = o.fact && f->fact_algorithm() == Olap::xfam_FORMULA;
        o.asFact = Olap::PivotFact{f->caption(), -1, f->fact_algorithm(), f->fact_formula(), f->field_sort_order()};
        o.asDimension = Olap::PivotDimension{f->caption(), -1, f->dim_field_type(), f->dim_field_axis(),
                                             f->dim_order() != 0, f->dim_total() != 0, f->field_sort_order()};
        fields << o;
    }
    return fields;
}

Olap::PivotSpec pivotSpecOf(const cDDXOlapReport& report, const QStringList& columns, QString* error)
{
    return pivotSpecOf(olapFieldsOf(report), columns, error);
}

// What a run shares between the worker and the runner: its inputs (copied) and the link
// to cancel. Outlives the runner when the runner goes first.
struct OlapRunner::Job {
    ReadOnlySource::Target target;
    QString sql;
    QList<OlapField> fields;
    QList<std::pair<int, QVariant>> pageFilter;
    std::mutex guard;
    ReadOnlySource* live = nullptr;
    std::atomic<bool> cancelled{false};

    void cancel()
    {
        cancelled = true;
        std::lock_guard lock(guard);
        if (live) live->cancel();
    }

    OlapRun run()
    {
        OlapRun out;
        QString error;
        auto source = ReadOnlySource::open(target, &error);
        if (!source) {
            out.error = error;
            return out;
        }
        {
            std::lock_guard lock(guard);
            live = source.get();
        }
        // Cancelled before it began (a second run started at once): it never runs. A cancel
        // from here on reaches the link.
        if (cancelled) {
            out.error = Texts::kQueryCancelled;
            return out;
        }
        out = readIntoCube(*source, target.server, sql, fields, pageFilter, preferredRead(target.server), &cancelled);
        {
            std::lock_guard lock(guard);
            live = nullptr;
        }
        return out;
    }
};

OlapRunner::OlapRunner(QWidget* parent) : QObject(parent), m_parent(parent) {}

OlapRunner::~OlapRunner()
{
    // The worker finishes on its own, cancelled, with nothing of ours left to touch.
    if (m_job) m_job->cancel();
}

bool OlapRunner::running() const { return m_job != nullptr; }

void OlapRunner::cancel()
{
    if (m_job) m_job->cancel();
}

void OlapRunner::start(Connection& connection, const cDDXOlapReport& report, const QList<std::pair<int, QVariant>>& pageFilter)
{
    // Another run going: cancelled, and its result never shown.
    if (m_job) m_job->cancel();
    if (m_watcher) {
        m_watcher->disconnect(this);
        m_watcher->deleteLater();
        m_watcher = nullptr;
    }
    auto job = std::make_shared<Job>();
    m_job = job;
    job->sql = report.sql_source().trimmed();
    if (job->sql.isEmpty()) {
        m_job.reset();
        emit finished(OlapRun{{}, QStringLiteral("A riportnak nincs SQL forrása.")});
        return;
    }
    // Where the link goes is read here, on the connection's thread; the worker opens it.
    QString whereError;
    job->target = ReadOnlySource::targetOf(connection, &whereError);
    if (!job->target.valid()) {
        m_job.reset();
        emit finished(OlapRun{{}, whereError});
        return;
    }
    job->fields = olapFieldsOf(report);
    job->pageFilter = pageFilter;

    if (!m_progress) {
        m_progress = new QProgressDialog(QStringLiteral("A riport lekérdezése fut…"), QStringLiteral("Mégsem"), 0, 0, m_parent);
        m_progress->setWindowTitle(ModuleTexts::kPreview);
        m_progress->setWindowModality(Qt::WindowModal);
        connect(m_progress, &QProgressDialog::canceled, this, &OlapRunner::cancel);
    }
    m_progress->setMinimumDuration(400);
    m_progress->reset();
    m_progress->setValue(0);

    m_watcher = new QFutureWatcher<OlapRun>(this);
    connect(m_watcher, &QFutureWatcher<OlapRun>::finished, this, &OlapRunner::done);
    m_watcher->setFuture(QtConcurrent::run([job] {
        try {
            OlapRun out = job->run();
            if (job->cancelled && !out.ok()) out.error = Texts::kQueryCancelled;
            return out;
        } catch (const std::exception& e) {
            return OlapRun{{}, QStringLiteral("A riport futtatása közben hiba keletkezett: %1").arg(QString::fromUtf8(e.what()))};
        } catch (...) {
            return OlapRun{{}, QStringLiteral("A riport futtatása közben ismeretlen hiba keletkezett.")};
        }
    }));
}

void OlapRunner::done()
{
    if (m_progress) m_progress->reset();
    const OlapRun run = m_watcher->result();
    m_watcher->deleteLater();
    m_watcher = nullptr;
    m_job.reset();
    emit finished(run);
}

OlapRun runReport(QWidget* parent, Connection& connection, const cDDXOlapReport& report,
                  const QList<std::pair<int, QVariant>>& pageFilter)
{
    OlapRunner runner(parent);
    OlapRun out;
    bool ended = false;
    QEventLoop loop;
    QObject::connect(&runner, &OlapRunner::finished, &loop, [&](const OlapRun& run) {
        out = run;
        ended = true;
        loop.quit();
    });
    runner.start(connection, report, pageFilter);
    if (!ended) loop.exec();
    return out;
}

} // namespace NexoFrame
