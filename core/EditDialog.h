#pragma once
#include "Enums.h"
#include <QDialog>
#include <functional>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QSpinBox;
class QPushButton;
class QVBoxLayout;

namespace NexoFrame {

class cDDXRecord;

// The shape every edit dialog shares: the record comes in as oData, DisplayData fills the
// controls, OK copies them back (GetData), saves through the record's lifecycle
// (SaveData) and reports the outcome in ReturnValue. Ctrl+Enter is OK, Esc cancels.
class EditDialog : public QDialog {
    Q_OBJECT
public:
    // formName: "NexoFrame.frmAuthUnit" and the like, used in error reports.
    EditDialog(const QString& formName, const QString& title, QWidget* parent = nullptr);
    ~EditDialog() override;

    eReturnValue ReturnValue() const { return m_returnValue; }
    cDDXRecord* oData() const { return m_data; }
    void setOData(cDDXRecord* record) { m_data = record; }
    bool Initialize();

    QPushButton* cmd_ok = nullptr;
    QPushButton* cmd_cancel = nullptr;

    // Opens a dialog of type Form on a record, as the records' ShowForm does.
    template <class Form>
    static eReturnValue showFor(cDDXRecord* record)
    {
        Form f;
        f.setOData(record);
        f.Initialize();
        f.exec();
        const eReturnValue v = f.ReturnValue();
        f.setOData(nullptr);
        return v;
    }

protected:
    virtual bool InitializeControls() { return true; }
    virtual bool DisplayData() = 0;
    virtual bool GetData() = 0;
    virtual bool SaveData();
    // What a form does after a successful save, before it closes (false keeps it open).
    virtual bool AfterSave() { return true; }

    void DoOK();
    void cancel();
    void keyPressEvent(QKeyEvent* e) override;

    // Runs one step with the dialogs' error trap; false when the step failed.
    bool trap(const char* step, const std::function<bool()>& fn);

    // Layout helpers: labelled rows above the OK / cancel buttons.
    QFormLayout* form() const { return m_form; }
    QLineEdit* addText(const QString& label, const QString& objectName, int maxLength, bool readOnly = false);
    QCheckBox* addCheck(const QString& label, const QString& objectName);
    QSpinBox* addNumber(const QString& label, const QString& objectName); // a 32-bit integer
    QComboBox* addCombo(const QString& label, const QString& objectName);
    // A section caption over the rows that follow (objectName: "ShortcutCaption1" ...).
    QLabel* addSection(const QString& caption, const QString& objectName);
    // Trimmed text of a box, cut to the column's length.
    static QString textOf(const QLineEdit* box, int maxLength);

private:
    // A labelled row of one field, named for the tests and the forms' code.
    template <class Field>
    Field* addField(const QString& label, const QString& objectName);

    QString m_formName;
    cDDXRecord* m_data = nullptr;
    eReturnValue m_returnValue = rvCancel;
    QFormLayout* m_form = nullptr;
};

} // namespace NexoFrame
