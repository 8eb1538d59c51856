#pragma once
#include "OlapSource.h"
#include <QFutureWatcher>
#include <QObject>
#include <QString>
#include <memory>

class QProgressDialog;
class QWidget;

namespace NexoFrame {

class Connection;
class cDDXOlapReport;

QList<OlapField> olapFieldsOf(const cDDXOlapReport& report);
Olap::PivotSpec pivotSpecOf(const cDDXOlapReport& report, const QStringList& columns, QString* error);

// Runs reports in a worker (QtConcurrent) while the user interface stays alive, with a
// cancellable progress dialog over `parent` after a moment. The job gets copies of all it
// needs (the SQL, the fields, the page filter, where the read-only link goes), so that the
// report, the form or the panel may go while it runs: destroying the runner cancels the job
// and drops its result; starting another run does the same to the one still going.
class OlapRunner : public QObject {
    Q_OBJECT
public:
    explicit OlapRunner(QWidget* parent);
    ~OlapRunner() override;
    // `pageFilter` picks values of the page dimensions (by position among them).
    void start(Connection& connection, const cDDXOlapReport& report, const QList<std::pair<int, QVariant>>& pageFilter = {});
    void cancel();
    bool running() const;

signals:
    // The outcome of the latest run started; a cancelled run ends with its message.
    void finished(const NexoFrame::OlapRun& run);

private:
    struct Job;
    void done();
    QWidget* m_parent;
    std::shared_ptr<Job> m_job;
    QFutureWatcher<OlapRun>* m_watcher = nullptr;
    QProgressDialog* m_progress = nullptr;
};

// The same, waited for: returns when the run has ended (the user interface stays alive).
OlapRun runReport(QWidget* parent, Connection& connection, const cDDXOlapReport& report,
                  const QList<std::pair<int, QVariant>>& pageFilter = {});

} // namespace NexoFrame
