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
    NEXO_COLUMNS_qnd_olap_report

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
