#pragma once
#include "AdminPanel.h"
#include "ReportCatalogue.h"
#include <QTreeWidget>

class QToolBar;

namespace NexoFrame {

// The list of the reports a user may run, by folder. Starting an entry (double click, Enter,
// or the panel's commands) raises reportStarted with what the report class needs.
class ReportList : public QTreeWidget {
    Q_OBJECT
public:
    explicit ReportList(QWidget* parent = nullptr);
    void fill(const QList<ReportEntry>& entries);
    // The report entry of the current row; nullptr on a folder, a separator or nothing.
    const ReportEntry* current() const;
    QTreeWidgetItem* itemOf(int id) const;
    // As the user's start: raises reportStarted for the current entry.
    void startCurrent(bool print);

signals:
    void reportStarted(const NexoFrame::ReportEntry& entry, bool print);

private:
    QList<ReportEntry> m_entries;
};

// The panel through which users run the suite's printed reports: each report is an object
// of the report engine, created by its ProgID, given the database, the panel's module
// identifier, its file and parameters and the company header, then asked to run.
class Reports : public AdminPanel {
    Q_OBJECT
public:
    explicit Reports(QWidget* parent = nullptr);

    ReportList* lst_report = nullptr;
    QToolBar* cmd_bar = nullptr;

    // The start procedure: previews the report (DoReport), or prints it at once (DoPrint).
    void StartReport(const ReportEntry& entry, bool print = false);

protected:
    void InitializeSite() override;
};

} // namespace NexoFrame
