#include "cDDXOlapReport.h"
#include "Connection.h"
#include "EditDialog.h"
#include "ErrorList.h"
#include "ModuleTexts.h"
#include "frmOlapReport.h"
#include "frmOlapReportForms.h"

namespace NexoFrame {

const QString cDDXOlapReport::kBaseReadOnly = QStringLiteral("A rendszer alap riportszerkezete nem módosítható!");

cDDXOlapReportField::cDDXOlapReportField(QObject* parent) : cDDXRecord(parent) { init(); }

int cDDXOlapReportField::tableNumber() const { return Tables::OlapReportField; }

eReturnValue cDDXOlapReportField::ShowForm()
{
    return field_type() == Fact ? EditDialog::showFor<frmOlapReportFACT>(this) : EditDialog::showFor<frmOlapReportDIM>(this);
}

void cDDXOlapReportField::CoreCopy(const cDDXOlapReportField& source)
{
    for (const FieldSpec& f : allFields()) setValue(f.name, source.value(f.name));
}

cDDXOlapReport::cDDXOlapReport(QObject* parent) : cDDXRecord(parent) { init(); }
cDDXOlapReport::~cDDXOlapReport() = default;

int cDDXOlapReport::tableNumber() const { return Tables::OlapReport; }

eReturnValue cDDXOlapReport::ShowForm()
{
    return report_type() != Folder ? EditDialog::showFor<frmOlapReport>(this) : EditDialog::showFor<frmOlapReportFolder>(this);
}

cDDXOlapReportField* cDDXOlapReport::ReportField(int index) const
{
    return index >= 1 && index <= ReportFieldCount() ? m_fields[size_t(index - 1)].get() : nullptr;
}

void cDDXOlapReport::ReportFieldDelete(int index)
{
    if (index >= 1 && index <= ReportFieldCount()) m_fields.erase(m_fields.begin() + (index - 1));
}

void cDDXOlapReport::CoreReportFieldAdd(std::unique_ptr<cDDXOlapReportField> field) { m_fields.push_back(std::move(field)); }
void cDDXOlapReport::ReportFieldAdd(std::unique_ptr<cDDXOlapReportField> field) { CoreReportFieldAdd(std::move(field)); }
void cDDXOlapReport::ReportFieldInit() { m_fields.clear(); }

void cDDXOlapReport::ReportFieldModify(int index, const cDDXOlapReportField& field)
{
    if (cDDXOlapReportField* held = ReportField(index)) held->CoreCopy(field);
}

void cDDXOlapReport::entityLoaded()
{
    if (report_type() != Report) return; // a folder has no fields
    auto rs = connection()->openRecordset(Tables::OlapReportField, {QStringLiteral("id"), QStringLiteral("report_id")});
    rs->setIndex(QStringLiteral("report_id"));
    QList<int> ids;
    if (rs->seek({id()}))
        for (; !rs->eof() && rs->field(QStringLiteral("report_id")).toInt() == id(); rs->moveNext())
            ids << rs->field(QStringLiteral("id")).toInt();
    for (int fieldId : std::as_const(ids)) {
        auto field = std::make_unique<cDDXOlapReportField>();
        if (field->CoreLoad(fieldId)) CoreReportFieldAdd(std::move(field));
    }
    // The fields' loads used the shared browse recordset; the report's own bookmark stays.
}

bool cDDXOlapReport::afterNativeWrite()
{
    // A folder's save never touches the field table; the fields' result does not stop the commit.
    if (report_type() == Report) WriteReportFieldToDatabase();
    return true;
}

bool cDDXOlapReport::WriteReportFieldToDatabase()
{
    QString error;
    if (!connection()->execute(QStringLiteral("DELETE FROM qnd_olap_report_field WHERE report_id=?"), {id()}, &error)) {
        reportFailure("CoreUpdate", error);
        return true;
    }
    // Inserted anew in collection order: field keys are not kept across saves.
    for (const auto& field : m_fields) {
        field->set_report_id(id());
        field->SetFinal();
        field->SetModified();
        field->setItemStatus(IsNew);
        field->CoreUpdate();
    }
    return true;
}

void cDDXOlapReport::SetDataToClone()
{
    setItemStatus(IsNew);
    set_id(-1);
    for (const auto& field : m_fields) {
        field->set_report_id(-1);
        field->setItemStatus(IsNew);
        field->set_id(-1);
    }
}

void cDDXOlapReport::checks()
{
    if (caption().trimmed().isEmpty()) AddError(eError, kFieldCheckNumber, ModuleTexts::kCaptionRequired);
    Connection* c = connection();
    if (parent_id() != 0 && c->seek(tableNumber(), QStringLiteral("PrimaryKey"), {parent_id()})
        && c->browseRecordset(tableNumber()).field(QStringLiteral("report_type")).toInt() != Folder)
        AddError(eError, kFieldCheckNumber, QStringLiteral("Riport alá nem köthető be könyvtár vagy egy másik riport!"));
}

} // namespace NexoFrame
