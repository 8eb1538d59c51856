#pragma once
#include "EditDialog.h"

class QComboBox;
class QCheckBox;
class QLineEdit;
class QSpinBox;

namespace NexoFrame {

class cDDXOlapReportField;

// A folder of the report tree: its name under its parent.
class frmOlapReportFolder : public EditDialog {
    Q_OBJECT
public:
    explicit frmOlapReportFolder(QWidget* parent = nullptr);
    QLineEdit* txt_name = nullptr;
    QLineEdit* txt_parent_name = nullptr;

    // The caption of a report tree row, empty for none.
    static QString captionOf(int id);

protected:
    bool DisplayData() override;
    bool GetData() override;
};

// What the two field forms share: caption, field name and sort order, shown, taken and checked
// together, and the field handed back to the report form without touching the database.
class OlapFieldForm : public EditDialog {
    Q_OBJECT
public:
    QLineEdit* txt_caption = nullptr;
    QLineEdit* txt_field_name = nullptr;
    QSpinBox* nb_field_sort_order = nullptr;

protected:
    OlapFieldForm(const QString& formName, const QString& title, QWidget* parent);
    void addSortOrder();
    bool DisplayData() override;
    bool GetData() override;
    bool SaveData() override;
    // The fields of the form's own kind.
    virtual void showField(const cDDXOlapReportField& f) = 0;
    virtual void takeField(cDDXOlapReportField& f) = 0;
};

class frmOlapReportDIM : public OlapFieldForm {
    Q_OBJECT
public:
    explicit frmOlapReportDIM(QWidget* parent = nullptr);
    QComboBox* cbo_dim_field_type = nullptr;
    QComboBox* cbo_dim_field_axis = nullptr;
    QComboBox* cbo_dim_order = nullptr;
    QCheckBox* chk_dim_total = nullptr;

protected:
    bool InitializeControls() override;
    void showField(const cDDXOlapReportField& f) override;
    void takeField(cDDXOlapReportField& f) override;
};

class frmOlapReportFACT : public OlapFieldForm {
    Q_OBJECT
public:
    explicit frmOlapReportFACT(QWidget* parent = nullptr);
    QComboBox* cbo_fact_algorithm = nullptr;
    QComboBox* cbo_fact_count_level = nullptr;
    QLineEdit* txt_fact_formula = nullptr;

protected:
    bool InitializeControls() override;
    void showField(const cDDXOlapReportField& f) override;
    void takeField(cDDXOlapReportField& f) override;

private:
    void algorithmChosen();
};

} // namespace NexoFrame
