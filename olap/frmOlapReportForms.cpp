#include "frmOlapReportForms.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "ErrorList.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "OlapCodes.h"
#include "cDDXOlapReport.h"
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QSpinBox>

namespace NexoFrame {

namespace {

cDDXOlapReportField* fieldOf(const EditDialog* d) { return static_cast<cDDXOlapReportField*>(d->oData()); }

void fill(QComboBox* box, const QList<OlapCodes::Code>& codes, int preselected)
{
    box->clear();
    for (const OlapCodes::Code& c : OlapCodes::alphabetical(codes)) ComboAddItemData(box, QString::fromLatin1(c.second), c.first);
    ComboSelectByData(box, preselected);
}

// Selects the item of a stored code; a code no item carries leaves no selection.
void showCode(QComboBox* box, int code)
{
    box->setCurrentIndex(box->findData(code));
}

int columnLength(const char* column)
{
    const TableDef* t = Schema::instance().table(Tables::OlapReportField);
    const ColumnDef* c = t ? t->column(QString::fromLatin1(column)) : nullptr;
    return c ? c->length : 0;
}

} // namespace

frmOlapReportFolder::frmOlapReportFolder(QWidget* parent)
    : EditDialog(QStringLiteral("NexoFrame.frmOlapReportFolder"), QStringLiteral("Könyvtár"), parent)
{
    txt_parent_name = addText(QStringLiteral("Szülő könyvtár:"), QStringLiteral("txt_parent_name"), 0, true);
    txt_parent_name->setFocusPolicy(Qt::NoFocus);
    txt_name = addText(ModuleTexts::kNameLabel, QStringLiteral("txt_name"), cDDXOlapReport().columnLength(QStringLiteral("caption")));
}

QString frmOlapReportFolder::captionOf(int id)
{
    Connection* c = module().connection();
    if (id < 1 || !c || !c->seek(Tables::OlapReport, QStringLiteral("PrimaryKey"), {id})) return {};
    return c->browseRecordset(Tables::OlapReport).field(QStringLiteral("caption")).toString();
}

bool frmOlapReportFolder::DisplayData()
{
    auto* r = static_cast<cDDXOlapReport*>(oData());
    txt_name->setText(r->caption());
    txt_parent_name->setText(captionOf(r->parent_id()));
    return true;
}

bool frmOlapReportFolder::GetData()
{
    auto* r = static_cast<cDDXOlapReport*>(oData());
    r->set_caption(textOf(txt_name, txt_name->maxLength()));
    return true;
}

OlapFieldForm::OlapFieldForm(const QString& formName, const QString& title, QWidget* parent)
    : EditDialog(formName, title, parent)
{
    txt_caption = addText(QStringLiteral("Felirat:"), QStringLiteral("txt_caption"), columnLength("caption"));
    txt_field_name = addText(QStringLiteral("Mezőnév:"), QStringLiteral("txt_field_name"), columnLength("field_name"));
}

void OlapFieldForm::addSortOrder()
{
    nb_field_sort_order = addNumber(QStringLiteral("Sorrend:"), QStringLiteral("nb_field_sort_order"));
}

bool OlapFieldForm::DisplayData()
{
    const cDDXOlapReportField* f = fieldOf(this);
    txt_caption->setText(f->caption());
    txt_field_name->setText(f->field_name());
    showField(*f);
    nb_field_sort_order->setValue(f->field_sort_order());
    return true;
}

bool OlapFieldForm::GetData()
{
    cDDXOlapReportField* f = fieldOf(this);
    f->set_caption(textOf(txt_caption, txt_caption->maxLength()));
    f->set_field_name(textOf(txt_field_name, txt_field_name->maxLength()));
    takeField(*f);
    f->set_field_sort_order(nb_field_sort_order->value());
    return true;
}

bool OlapFieldForm::SaveData()
{
    // The field goes back to the report form; only the report's save writes it.
    return trap("SaveData", [this] {
        cDDXOlapReportField* f = fieldOf(this);
        bool ok = true;
        if (f->caption().trimmed().isEmpty()) {
            AddError(eError, kFieldCheckNumber, ModuleTexts::kCaptionRequired);
            ok = false;
        }
        if (f->field_name().trimmed().isEmpty()) {
            AddError(eError, kFieldCheckNumber, QStringLiteral("A mező megadása kötelező!"));
            ok = false;
        }
        return ok;
    });
}

frmOlapReportDIM::frmOlapReportDIM(QWidget* parent)
    : OlapFieldForm(QStringLiteral("NexoFrame.frmOlapReportDIM"), QStringLiteral("Dimenzió"), parent)
{
    cbo_dim_field_type = addCombo(QStringLiteral("Mező adattípus:"), QStringLiteral("cbo_dim_field_type"));
    cbo_dim_field_axis = addCombo(QStringLiteral("Elhelyezkedés:"), QStringLiteral("cbo_dim_field_axis"));
    cbo_dim_order = addCombo(QStringLiteral("Rendezési sorrend:"), QStringLiteral("cbo_dim_order"));
    chk_dim_total = addCheck(QStringLiteral("Összesítés:"), QStringLiteral("chk_dim_total"));
    addSortOrder();
}

bool frmOlapReportDIM::InitializeControls()
{
    fill(cbo_dim_field_type, OlapCodes::dimTypes, 1);
    fill(cbo_dim_field_axis, OlapCodes::dimAxes, 1);
    cbo_dim_order->clear();
    for (const auto& [code, name] : OlapCodes::dimOrders) ComboAddItemData(cbo_dim_order, name, code);
    ComboSelectByData(cbo_dim_order, 0);
    return true;
}

void frmOlapReportDIM::showField(const cDDXOlapReportField& f)
{
    showCode(cbo_dim_field_type, f.dim_field_type());
    showCode(cbo_dim_field_axis, f.dim_field_axis());
    showCode(cbo_dim_order, f.dim_order());
    CheckSet(chk_dim_total, f.dim_total() != 0);
}

void frmOlapReportDIM::takeField(cDDXOlapReportField& f)
{
    f.set_dim_field_type(ComboGetData(cbo_dim_field_type, f.dim_field_type()));
    f.set_dim_field_axis(ComboGetData(cbo_dim_field_axis, f.dim_field_axis()));
    f.set_dim_order(ComboGetData(cbo_dim_order, f.dim_order()));
    f.set_dim_total(CheckGet(chk_dim_total) ? -1 : 0);
}

frmOlapReportFACT::frmOlapReportFACT(QWidget* parent)
    : OlapFieldForm(QStringLiteral("NexoFrame.frmOlapReportFACT"), QStringLiteral("Összesítés"), parent)
{
    cbo_fact_algorithm = addCombo(QStringLiteral("Algoritmus:"), QStringLiteral("cbo_fact_algorithm"));
    cbo_fact_count_level = addCombo(QStringLiteral("Szint:"), QStringLiteral("cbo_fact_count_level"));
    txt_fact_formula = addText(QStringLiteral("Képlet:"), QStringLiteral("txt_fact_formula"), columnLength("fact_formula"));
    txt_fact_formula->setPlaceholderText(QStringLiteral("pl. [Összeg] / [Darab]"));
    addSortOrder();
    connect(cbo_fact_algorithm, &QComboBox::currentIndexChanged, this, [this] { algorithmChosen(); });
}

bool frmOlapReportFACT::InitializeControls()
{
    fill(cbo_fact_algorithm, OlapCodes::factAlgorithms, 1);
    fill(cbo_fact_count_level, OlapCodes::countLevels, 0);
    algorithmChosen();
    return true;
}

void frmOlapReportFACT::algorithmChosen()
{
    // Only a formula fact has a formula.
    const bool formula = cbo_fact_algorithm->currentData().toInt() == OlapCodes::kFormula
                         && cbo_fact_algorithm->currentIndex() >= 0;
    if (!formula) txt_fact_formula->clear();
    txt_fact_formula->setEnabled(formula);
}

void frmOlapReportFACT::showField(const cDDXOlapReportField& f)
{
    showCode(cbo_fact_algorithm, f.fact_algorithm());
    showCode(cbo_fact_count_level, f.fact_count_level());
    txt_fact_formula->setText(f.fact_formula());
    txt_fact_formula->setEnabled(f.fact_algorithm() == OlapCodes::kFormula);
}

void frmOlapReportFACT::takeField(cDDXOlapReportField& f)
{
    f.set_fact_algorithm(ComboGetData(cbo_fact_algorithm, f.fact_algorithm()));
    f.set_fact_count_level(ComboGetData(cbo_fact_count_level, f.fact_count_level()));
    f.set_fact_formula(textOf(txt_fact_formula, txt_fact_formula->maxLength()));
}

} // namespace NexoFrame
