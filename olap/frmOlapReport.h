#pragma once
#include "OlapRun.h"
#include "EditDialog.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTableWidget;

namespace NexoFrame {

namespace Olap {
class OlapPreview;
}
class cDDXOlapReport;

// One OLAP report: its data, SQL source, chart, dimensions and facts (kept in the record's
// collection until OK), and a preview of the report as its users will see it.
class frmOlapReport : public EditDialog {
    Q_OBJECT
public:
    explicit frmOlapReport(QWidget* parent = nullptr);

    QTabWidget* TabControl = nullptr;
    QLineEdit* txt_name = nullptr;
    QLineEdit* txt_parent_name = nullptr;
    QPlainTextEdit* txt_description = nullptr;
    QPlainTextEdit* txt_sql_source = nullptr;
    QCheckBox* chk_chart_visible = nullptr;
    QComboBox* cbo_chart_type = nullptr;
    QCheckBox* chk_chart_option_show_legend = nullptr;
    QCheckBox* chk_chart_option_show_markers = nullptr;
    QCheckBox* chk_chart_option_stack_series = nullptr;
    QCheckBox* chk_chart_option_series_in_rows = nullptr;
    QTableWidget* rpt_dim = nullptr;
    QTableWidget* rpt_fact = nullptr;
    QLabel* lbl_dim_empty = nullptr;
    QLabel* lbl_fact_empty = nullptr;
    QPushButton* cmdNew = nullptr;
    QPushButton* cmdModify = nullptr;
    QPushButton* cmdDelete = nullptr;
    QPushButton* cmdNewFact = nullptr;
    QPushButton* cmdModifyFact = nullptr;
    QPushButton* cmdDeleteFact = nullptr;
    Olap::OlapPreview* preview = nullptr;
    QPushButton* cmd_preview = nullptr;

    // The field commands; `fact` picks the facts' grid and forms.
    void NewField(bool fact);
    void ModifyField(bool fact);
    void DeleteField(bool fact);
    // Runs the report as it stands in the form and shows it on the preview tab.
    void RefreshPreview();
    void GridFill();

protected:
    bool InitializeControls() override;
    bool DisplayData() override;
    bool GetData() override;

private:
    cDDXOlapReport* report() const;
    void chartVisibleChanged();
    int selectedPosition(bool fact) const;
    QList<std::pair<int, QVariant>> m_pageFilter;
    // Runs the preview off the user interface's thread; closing the form cancels it.
    OlapRunner* m_runner = nullptr;
};

} // namespace NexoFrame
