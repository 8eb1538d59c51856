#pragma once
#include "Record.h"

namespace NexoFrame {

// One field of an OLAP report (qnd_olap_report_field): a dimension (field_type 0) or a fact
// (field_type 1). Written only inside its report's save.
class cDDXOlapReportField : public cDDXRecord {
    Q_OBJECT
    Q_PROPERTY(int report_id READ report_id WRITE set_report_id)
    Q_PROPERTY(QString caption READ caption WRITE set_caption)
    Q_PROPERTY(QString field_name READ field_name WRITE set_field_name)
    Q_PROPERTY(int field_type READ field_type WRITE set_field_type)
    Q_PROPERTY(int dim_field_type READ dim_field_type WRITE set_dim_field_type)
    Q_PROPERTY(int dim_field_axis READ dim_field_axis WRITE set_dim_field_axis)
    Q_PROPERTY(int dim_order READ dim_order WRITE set_dim_order)
    Q_PROPERTY(int dim_total READ dim_total WRITE set_dim_total)
    Q_PROPERTY(int fact_algorithm READ fact_algorithm WRITE set_fact_algorithm)
    Q_PROPERTY(QString fact_formula READ fact_formula WRITE set_fact_formula)
    Q_PROPERTY(int fact_count_level READ fact_count_level WRITE set_fact_count_level)
    Q_PROPERTY(int field_sort_order READ field_sort_order WRITE set_field_sort_order)

public:
    enum FieldType { Dimension = 0, Fact = 1 };

    explicit cDDXOlapReportField(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXOlapReportField"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;
    // Takes every column value of `source`, the key included; the status stays.
    void CoreCopy(const cDDXOlapReportField& source);

    NEXO_LONG(report_id)
    NEXO_TEXT(caption)
    NEXO_TEXT(field_name)
    NEXO_LONG(field_type)
    NEXO_LONG(dim_field_type)
    NEXO_LONG(dim_field_axis)
    NEXO_LONG(dim_order)
    NEXO_LONG(dim_total)
    NEXO_LONG(fact_algorithm)
    NEXO_TEXT(fact_formula)
    NEXO_LONG(fact_count_level)
    NEXO_LONG(field_sort_order)

protected:
    bool ownsTransaction() const override { return false; }
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXOlapReportField>(); }
};

} // namespace NexoFrame
