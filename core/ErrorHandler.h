#pragma once
#include "RuntimeError.h"
#include <QDialog>
#include <QString>
#include <functional>

class QLabel;
class QPushButton;

namespace NexoFrame {

// What the user chose in the unexpected-error dialog.
enum class HandlerAction { Retry, Resume, Leave };

// The unexpected-error dialog of the panels ("Hibakezelő"): shows where and what went wrong
// and lets the user retry the failing step, go on with the next one, or leave the procedure.
class ErrorHandler : public QDialog {
    Q_OBJECT
public:
    explicit ErrorHandler(QWidget* parent = nullptr);
    ~ErrorHandler() override;

    using QWidget::show;
    // Modal; closing the dialog without a button means leave.
    HandlerAction show(const RuntimeError& error);

    QLabel* pctIco = nullptr;
    QLabel* lblMessage = nullptr;
    QLabel* lblSource = nullptr;
    QLabel* lblNumber = nullptr;
    QLabel* lblDescription = nullptr;
    QPushButton* cmdRetry = nullptr;
    QPushButton* cmdResume = nullptr;
    QPushButton* cmdLeave = nullptr;

private:
    HandlerAction m_action = HandlerAction::Leave;
};

// Runs the steps of one panel procedure under the module's error handler. A failing step
// runs the clean-up, is reported under the procedure's source, and is then retried,
// skipped (resume) or ends the procedure (leave): every later step is passed over.
class StepRunner {
public:
    // source: the panel's ProgID and the procedure, e.g. "NexoFrame.AuthUnits InitializeSite".
    // onError: clears busy flags and restores the panel before the error is shown.
    explicit StepRunner(QString source, std::function<void()> onError = {});

    // False when the procedure has been left (now or earlier); true when it goes on.
    bool step(const std::function<void()>& fn);
    bool left() const { return m_left; }
    QString source() const { return m_source; }

private:
    QString m_source;
    std::function<void()> m_onError;
    bool m_left = false;
};

} // namespace NexoFrame
