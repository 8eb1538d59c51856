#pragma once
#include "Enums.h"
#include <QDialog>
#include <QString>

class QLabel;
class QPushButton;
class QTableWidget;

namespace NexoFrame {

// The error list ("Hiba lista"): shows the collected faults of a record. Errors block the
// operation and only cancel is offered; warnings alone may be accepted with OK.
class frmErrorMessage : public QDialog {
    Q_OBJECT
public:
    explicit frmErrorMessage(QWidget* parent = nullptr);
    ~frmErrorMessage() override;

    // Fills the list from the module's Errors and empties them.
    void Initialize(const QString& caption);

    // Cancel unless OK was pressed, so closing the window counts as cancel.
    eReturnValue ReturnValue() const { return m_returnValue; }
    bool hasErrors() const { return m_hasErrors; }

    QLabel* pctIco = nullptr;
    QLabel* lblInfo = nullptr;
    QTableWidget* grd_error = nullptr;
    QPushButton* cmdOK = nullptr;
    QPushButton* cmdCancel = nullptr;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void cmdOK_Click();
    void cmdCancel_Click();

    eReturnValue m_returnValue = rvCancel;
    bool m_hasErrors = false;
};

} // namespace NexoFrame
