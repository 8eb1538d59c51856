#include "frmOlapReport.h"
#include "Connection.h"
#include "ControlTexts.h"
#include "ControlUtils.h"
#include "ErrorList.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "OlapCodes.h"
#include "OlapPreview.h"
#include "OlapRun.h"
#include "PreviewExport.h"
#include "SqlHighlighter.h"
#include "Texts.h"
#include "cDDXOlapReport.h"
#include "cMessage2.h"
#include "frmOlapReportForms.h"
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace NexoFrame {

namespace {

// The chart types offered, in the order of the list, with their stored codes.
const QList<std::pair<const char*, int>> kChartTypes{
    {"VtChChartType2dArea", 5}, {"VtChChartType2dBar", 1},   {"VtChChartType2dCombination", 9},
    {"VtChChartType2dLine", 3}, {"VtChChartType2dPie", 14},  {"VtChChartType2dStep", 7},
    {"VtChChartType2dXY", 16},  {"VtChChartType3dArea", 4},  {"VtChChartType3dBar", 0},
    {"VtChChartType3dCombination", 8}, {"VtChChartType3dLine", 2}, {"VtChChartType3dStep", 6}};

struct GridText {
    const char* warning;   // nothing selected
    const char* question;  // delete?
};
const GridText kDim{"Nem választott ki dimenzió!", "Valóban törölni kívánja  a kiválasztott dimenziót?"};
const GridText kFact{"Nem választott ki összesítést!", "Valóban törölni kívánja  a kiválasztott összesítést?"};

QTableWidget* makeGrid(QWidget* parent, const char* name, const QStringList& headers)
{
    auto* grid = new QTableWidget(0, int(headers.size()), parent);
    grid->setObjectName(QString::fromLatin1(name));
    grid->setHorizontalHeaderLabels(headers);
    grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    grid->setSelectionMode(QAbstractItemView::SingleSelection);
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->verticalHeader()->hide();
    grid->horizontalHeader()->setStretchLastSection(true);
    return grid;
}

} // namespace

frmOlapReport::frmOlapReport(QWidget* parent)
    : EditDialog(QStringLiteral("NexoFrame.frmOlapReport"), QStringLiteral("OLAP riport"), parent)
{
    TabControl = new QTabWidget(this);
    TabControl->setObjectName(QStringLiteral("TabControl"));
    // The tabs take the dialog's height, so the grids, the SQL and the preview get room.
    auto* outer = static_cast<QVBoxLayout*>(layout());
    outer->insertWidget(0, TabControl, 1);
    for (int i = 0; i < outer->count(); ++i)
        if (outer->itemAt(i)->spacerItem()) outer->setStretch(i, 0);
    const cDDXOlapReport probe;

    // Alapadatok
    auto* basics = new QWidget;
    auto* bv = new QVBoxLayout(basics);
    auto* bf = new QFormLayout;
    bv->addLayout(bf);
    bv->addStretch();
    txt_name = new QLineEdit;
    txt_name->setObjectName(QStringLiteral("txt_name"));
    txt_name->setMaxLength(probe.columnLength(QStringLiteral("caption")));
    txt_parent_name = new QLineEdit;
    txt_parent_name->setObjectName(QStringLiteral("txt_parent_name"));
    txt_parent_name->setReadOnly(true);
    txt_parent_name->setFocusPolicy(Qt::NoFocus);
    txt_description = new QPlainTextEdit;
    txt_description->setObjectName(QStringLiteral("txt_description"));
    txt_description->setFixedHeight(70);
    bf->addRow(ModuleTexts::kNameLabel, txt_name);
    bf->addRow(QStringLiteral("Könyvtár:"), txt_parent_name);
    bf->addRow(QStringLiteral("Leírás:"), txt_description);
    chk_chart_visible = new QCheckBox(QStringLiteral("Grafikon megjelenítése"));
    chk_chart_visible->setObjectName(QStringLiteral("chk_chart_visible"));
    bf->addRow(QString(), chk_chart_visible);
    cbo_chart_type = new QComboBox;
    cbo_chart_type->setObjectName(QStringLiteral("cbo_chart_type"));
    bf->addRow(QStringLiteral("Grafikon típusa:"), cbo_chart_type);
    auto check = [&](QCheckBox*& box, const char* name, const QString& text) {
        box = new QCheckBox(text);
        box->setObjectName(QString::fromLatin1(name));
        bf->addRow(QString(), box);
    };
    check(chk_chart_option_show_legend, "chk_chart_option_show_legend", QStringLiteral("Jelmagyarázat"));
    check(chk_chart_option_show_markers, "chk_chart_option_show_markers", QStringLiteral("Pontjelölők"));
    check(chk_chart_option_stack_series, "chk_chart_option_stack_series", QStringLiteral("Halmozott adatsorok"));
    check(chk_chart_option_series_in_rows, "chk_chart_option_series_in_rows", QStringLiteral("Adatsorok a sorokból"));
    connect(chk_chart_visible, &QCheckBox::toggled, this, [this] { chartVisibleChanged(); });
    TabControl->addTab(basics, QStringLiteral("Alapadatok"));

    // SQL Forrás
    txt_sql_source = new QPlainTextEdit;
    txt_sql_source->setObjectName(QStringLiteral("txt_sql_source"));
    txt_sql_source->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txt_sql_source->setLineWrapMode(QPlainTextEdit::NoWrap);
    new SqlHighlighter(txt_sql_source->document());
    TabControl->addTab(txt_sql_source, QStringLiteral("SQL Forrás"));

    // Dimenziók, Összesítések
    auto page = [&](bool fact) {
        auto* w = new QWidget;
        auto* v = new QVBoxLayout(w);
        QTableWidget*& grid = fact ? rpt_fact : rpt_dim;
        grid = fact ? makeGrid(w, "rpt_fact", {"Azonosító", "Felirat", "Mezőnév", "Algoritmus", "Szint", "Sorrend"})
                    : makeGrid(w, "rpt_dim", {"Azonosító", "Felirat", "Mezőnév", "Mező adattípus", "Elhelyezkedés",
                                              "Rendezési sorrend", "Összesítés", "Sorrend"});
        QLabel*& empty = fact ? lbl_fact_empty : lbl_dim_empty;
        empty = new QLabel(fact ? QStringLiteral("Nincs meghatározva összesítés.") : QStringLiteral("Nincs meghatározva dimenzió."));
        empty->setObjectName(QString::fromLatin1(fact ? "lbl_fact_empty" : "lbl_dim_empty"));
        empty->setAlignment(Qt::AlignCenter);
        v->addWidget(grid, 1);
        v->addWidget(empty);
        auto* buttons = new QHBoxLayout;
        auto button = [&](QPushButton*& b, const char* name, const QString& text, void (frmOlapReport::*run)(bool)) {
            b = new QPushButton(text);
            b->setObjectName(QString::fromLatin1(name));
            b->setAutoDefault(false);
            buttons->addWidget(b);
            connect(b, &QPushButton::clicked, this, [this, run, fact] {
                trap(fact ? "cmdFact_Click" : "cmd_Click", [&] {
                    (this->*run)(fact);
                    return true;
                });
            });
        };
        button(fact ? cmdNewFact : cmdNew, fact ? "cmdNewFact" : "cmdNew", QStringLiteral("Új"), &frmOlapReport::NewField);
        button(fact ? cmdModifyFact : cmdModify, fact ? "cmdModifyFact" : "cmdModify", ControlTexts::kModify,
               &frmOlapReport::ModifyField);
        button(fact ? cmdDeleteFact : cmdDelete, fact ? "cmdDeleteFact" : "cmdDelete", Texts::kDelete,
               &frmOlapReport::DeleteField);
        buttons->addStretch();
        v->addLayout(buttons);
        connect(grid, &QTableWidget::cellDoubleClicked, this, [this, fact] { ModifyField(fact); });
        TabControl->addTab(w, fact ? QStringLiteral("Összesítések") : QStringLiteral("Dimenziók"));
    };
    page(false);
    page(true);

    // Előnézet
    auto* previewPage = new QWidget;
    auto* pv = new QVBoxLayout(previewPage);
    auto* bar = new QHBoxLayout;
    cmd_preview = new QPushButton(QStringLiteral("Frissítés"));
    cmd_preview->setObjectName(QStringLiteral("cmd_preview"));
    cmd_preview->setAutoDefault(false);
    bar->addWidget(cmd_preview);
    bar->addStretch();
    pv->addLayout(bar);
    preview = new Olap::OlapPreview;
    pv->addWidget(preview, 1);
    for (QPushButton* b : previewExportButtons(preview, this, [this] { return txt_name->text(); })) bar->addWidget(b);
    TabControl->addTab(previewPage, ModuleTexts::kPreview);
    m_runner = new OlapRunner(this);
    connect(m_runner, &OlapRunner::finished, this, [this](const OlapRun& run) {
        if (!run.ok()) {
            preview->setMessage(run.error);
            return;
        }
        Olap::ChartOptions chart;
        chart.visible = CheckGet(chk_chart_visible);
        chart.type = ComboGetData(cbo_chart_type, 1);
        chart.showLegend = CheckGet(chk_chart_option_show_legend);
        chart.showMarkers = CheckGet(chk_chart_option_show_markers);
        chart.stackSeries = CheckGet(chk_chart_option_stack_series);
        chart.seriesInRows = CheckGet(chk_chart_option_series_in_rows);
        preview->setResult(run.result, chart);
    });
    connect(cmd_preview, &QPushButton::clicked, this, [this] { RefreshPreview(); });
    connect(TabControl, &QTabWidget::currentChanged, this, [this, previewPage](int i) {
        if (TabControl->widget(i) == previewPage) RefreshPreview();
    });
    connect(preview, &Olap::OlapPreview::pageFilterChanged, this, [this](int page, const QVariant& value) {
        m_pageFilter.removeIf([page](const auto& p) { return p.first == page; });
        if (value.isValid()) m_pageFilter.append({page, value});
        RefreshPreview();
    });

    cmd_ok->setText(ModuleTexts::kSave);
    resize(820, 620);
}

cDDXOlapReport* frmOlapReport::report() const { return static_cast<cDDXOlapReport*>(oData()); }

bool frmOlapReport::InitializeControls()
{
    cbo_chart_type->clear();
    for (const auto& [name, code] : kChartTypes) ComboAddItemData(cbo_chart_type, QString::fromLatin1(name), code);
    ComboSelectByData(cbo_chart_type, 1);
    return true;
}

void frmOlapReport::chartVisibleChanged()
{
    // Disabled, not cleared: the settings come back when the chart is shown again.
    const bool on = chk_chart_visible->isChecked();
    for (QWidget* w : std::initializer_list<QWidget*>{cbo_chart_type, chk_chart_option_show_legend, chk_chart_option_show_markers,
                                                      chk_chart_option_stack_series, chk_chart_option_series_in_rows})
        w->setEnabled(on);
}

bool frmOlapReport::DisplayData()
{
    cDDXOlapReport* r = report();
    txt_name->setText(r->caption());
    txt_parent_name->setText(frmOlapReportFolder::captionOf(r->parent_id()));
    txt_description->setPlainText(r->description());
    txt_sql_source->setPlainText(r->sql_source());
    CheckSet(chk_chart_visible, r->chart_visible());
    ComboSelectByData(cbo_chart_type, r->chart_type());
    CheckSet(chk_chart_option_show_legend, r->chart_option_show_legend());
    CheckSet(chk_chart_option_show_markers, r->chart_option_show_markers());
    CheckSet(chk_chart_option_stack_series, r->chart_option_stack_series());
    CheckSet(chk_chart_option_series_in_rows, r->chart_option_series_in_rows());
    chartVisibleChanged();
    GridFill();
    return true;
}

bool frmOlapReport::GetData()
{
    cDDXOlapReport* r = report();
    r->set_caption(textOf(txt_name, txt_name->maxLength()));
    r->set_description(txt_description->toPlainText());
    r->set_sql_source(txt_sql_source->toPlainText());
    r->set_chart_visible(CheckGet(chk_chart_visible));
    r->set_chart_type(ComboGetData(cbo_chart_type, r->chart_type()));
    r->set_chart_option_show_legend(CheckGet(chk_chart_option_show_legend));
    r->set_chart_option_show_markers(CheckGet(chk_chart_option_show_markers));
    r->set_chart_option_stack_series(CheckGet(chk_chart_option_stack_series));
    r->set_chart_option_series_in_rows(CheckGet(chk_chart_option_series_in_rows));
    return true;
}

void frmOlapReport::GridFill()
{
    for (QTableWidget* grid : {rpt_dim, rpt_fact}) grid->setRowCount(0);
    cDDXOlapReport* r = report();
    using namespace OlapCodes;
    for (int i = 1; i <= r->ReportFieldCount(); ++i) {
        const cDDXOlapReportField* f = r->ReportField(i);
        const bool fact = f->field_type() == cDDXOlapReportField::Fact;
        QStringList cells{QString::number(i), f->caption(), f->field_name()};
        if (fact)
            cells << nameOf(factAlgorithms, f->fact_algorithm()) << nameOf(countLevels, f->fact_count_level());
        else
            cells << nameOf(dimTypes, f->dim_field_type()) << nameOf(dimAxes, f->dim_field_axis()) << orderName(f->dim_order())
                  << (f->dim_total() == -1 ? QStringLiteral("Igen") : f->dim_total() == 0 ? QStringLiteral("Nem") : QString());
        cells << QString::number(f->field_sort_order());
        QTableWidget* grid = fact ? rpt_fact : rpt_dim;
        const int row = grid->rowCount();
        grid->insertRow(row);
        for (int c = 0; c < cells.size(); ++c) grid->setItem(row, c, new QTableWidgetItem(cells[c]));
    }
    for (QTableWidget* grid : {rpt_dim, rpt_fact}) grid->resizeColumnsToContents();
    lbl_dim_empty->setVisible(rpt_dim->rowCount() == 0);
    lbl_fact_empty->setVisible(rpt_fact->rowCount() == 0);
}

int frmOlapReport::selectedPosition(bool fact) const
{
    QTableWidget* grid = fact ? rpt_fact : rpt_dim;
    const int row = grid->currentRow();
    if (row < 0 || !grid->item(row, 0) || grid->selectedItems().isEmpty()) return -1;
    return grid->item(row, 0)->text().toInt();
}

void frmOlapReport::NewField(bool fact)
{
    auto field = std::make_unique<cDDXOlapReportField>();
    field->set_field_type(fact ? cDDXOlapReportField::Fact : cDDXOlapReportField::Dimension);
    if (field->ShowForm() != rvOK) return;
    report()->ReportFieldAdd(std::move(field));
    GridFill();
}

void frmOlapReport::ModifyField(bool fact)
{
    const int position = selectedPosition(fact);
    if (position < 1) {
        module().message().MsgWarning(QString::fromUtf8((fact ? kFact : kDim).warning));
        return;
    }
    // The dialog works on a copy: cancelling leaves the held field as it was.
    std::unique_ptr<cDDXRecord> copy = report()->ReportField(position)->Clone();
    auto* edited = static_cast<cDDXOlapReportField*>(copy.get());
    if (edited->ShowForm() != rvOK) return;
    report()->ReportFieldModify(position, *edited);
    GridFill();
}

void frmOlapReport::DeleteField(bool fact)
{
    const int position = selectedPosition(fact);
    const GridText& text = fact ? kFact : kDim;
    if (position < 1) {
        module().message().MsgWarning(QString::fromUtf8(text.warning));
        return;
    }
    if (module().message().MsgQuestionYesNo(QString::fromUtf8(text.question)) != 2) return;
    report()->ReportFieldDelete(position);
    GridFill();
}

void frmOlapReport::RefreshPreview()
{
    trap("RefreshPreview", [this] {
        // The report as it stands in the form, not as stored.
        std::unique_ptr<cDDXRecord> copy = report()->Clone();
        auto* shown = static_cast<cDDXOlapReport*>(copy.get());
        for (int i = 1; i <= report()->ReportFieldCount(); ++i) {
            auto field = std::make_unique<cDDXOlapReportField>();
            field->CoreCopy(*report()->ReportField(i));
            shown->CoreReportFieldAdd(std::move(field));
        }
        shown->set_sql_source(txt_sql_source->toPlainText());
        // The result comes back to the runner's handler above; another refresh meanwhile
        // replaces this one.
        m_runner->start(*module().connection(), *shown, m_pageFilter);
        return true;
    });
}

} // namespace NexoFrame
