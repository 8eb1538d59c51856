#pragma once
#include "Record.h"
#include "cDDXOlapReportField.h"
#include <vector>

namespace NexoFrame {

// A folder (report_type 0) or an OLAP report (report_type 1) of qnd_olap_report. A report
// holds its dimensions and facts in memory while it is edited and writes them anew, in
// collection order, inside its own save.
class cDDXOlapReport : public cDDXRecord {
    Q_OBJECT
    Q_PROPERTY(int parent_id READ parent_id WRITE set_parent_id)
    Q_PROPERTY(QString caption READ caption WRITE set_caption)
    Q_PROPERTY(QString description READ description WRITE set_description)
    Q_PROPERTY(int report_type READ report_type WRITE set_report_type)
    Q_PROPERTY(QString sql_source READ sql_source WRITE set_sql_source)
    Q_PROPERTY(bool chart_visible READ chart_visible WRITE set_chart_visible)
    Q_PROPERTY(int chart_type READ chart_type WRITE set_chart_type)
    Q_PROPERTY(bool chart_option_show_legend READ chart_option_show_legend WRITE set_chart_option_show_legend)
    Q_PROPERTY(bool chart_option_show_markers READ chart_option_show_markers WRITE set_chart_option_show_markers)
    Q_PROPERTY(bool chart_option_stack_series READ chart_option_stack_series WRITE set_chart_option_stack_series)
    Q_PROPERTY(bool chart_option_series_in_rows READ chart_option_series_in_rows WRITE set_chart_option_series_in_rows)
    Q_PROPERTY(bool auth_0 READ auth_0 WRITE set_auth_0)
    Q_PROPERTY(bool auth_1 READ auth_1 WRITE set_auth_1)
    Q_PROPERTY(bool auth_2 READ auth_2 WRITE set_auth_2)
    Q_PROPERTY(bool auth_3 READ auth_3 WRITE set_auth_3)
    Q_PROPERTY(bool auth_4 READ auth_4 WRITE set_auth_4)
    Q_PROPERTY(bool auth_5 READ auth_5 WRITE set_auth_5)
    Q_PROPERTY(bool auth_6 READ auth_6 WRITE set_auth_6)
    Q_PROPERTY(bool auth_7 READ auth_7 WRITE set_auth_7)
    Q_PROPERTY(bool auth_8 READ auth_8 WRITE set_auth_8)
    Q_PROPERTY(bool auth_9 READ auth_9 WRITE set_auth_9)

public:
    enum ReportType { Folder = 0, Report = 1 };
    static const QString kBaseReadOnly;

    explicit cDDXOlapReport(QObject* parent = nullptr);
    ~cDDXOlapReport() override;

    QString className() const override { return QStringLiteral("cDDXOlapReport"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;

    // The field collection, 1-based as the forms number it.
    cDDXOlapReportField* ReportField(int index) const;
    int ReportFieldCount() const { return int(m_fields.size()); }
    void ReportFieldDelete(int index);
    void CoreReportFieldAdd(std::unique_ptr<cDDXOlapReportField> field);
    void ReportFieldAdd(std::unique_ptr<cDDXOlapReportField> field);
    void ReportFieldInit();
    void ReportFieldModify(int index, const cDDXOlapReportField& field);
    bool WriteReportFieldToDatabase();
    // Turns the record and its fields into unsaved copies.
    void SetDataToClone();

    NEXO_LONG(parent_id)
    NEXO_TEXT(caption)
    NEXO_TEXT(description)
    NEXO_LONG(report_type)
    NEXO_TEXT(sql_source)
    NEXO_BOOL(chart_visible)
    NEXO_LONG(chart_type)
    NEXO_BOOL(chart_option_show_legend)
    NEXO_BOOL(chart_option_show_markers)
    NEXO_BOOL(chart_option_stack_series)
    NEXO_BOOL(chart_option_series_in_rows)
    NEXO_ROLE_SLOTS

protected:
    QString baseStructureMessage() const override { return kBaseReadOnly; }
    void checks() override;
    void entityDefaults() override { ReportFieldInit(); }
    void entityLoaded() override;
    bool afterNativeWrite() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXOlapReport>(); }

private:
    std::vector<std::unique_ptr<cDDXOlapReportField>> m_fields;
};

} // namespace NexoFrame
