#pragma once
#include "Record.h"

namespace NexoFrame {

// One field of an OLAP report (qnd_olap_report_field): a dimension (field_type 0) or a fact
// (field_type 1). Written only inside its report's save.
class cDDXOlapReportField : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_qnd_olap_report_field

public:
    enum FieldType { Dimension = 0, Fact = 1 };

    explicit cDDXOlapReportField(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXOlapReportField"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;
    // Takes every column value of `source`, the key included; the status stays.
    void CoreCopy(const cDDXOlapReportField& source);

protected:
    bool ownsTransaction() const override { return false; }
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXOlapReportField>(); }
};

} // namespace NexoFrame
