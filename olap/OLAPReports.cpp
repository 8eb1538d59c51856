#include "OLAPReports.h"
#include "Access.h"
#include "Connection.h"
#include "ErrorList.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "OlapAccess.h"
#include "OlapPreview.h"
#include "OlapRun.h"
#include "PreviewExport.h"
#include "Recordset.h"
#include "RightsKeys.h"
#include "cDDXOlapReport.h"
#include "cMessage2.h"
#include <QAction>
#include <QComboBox>
#include <QMenu>
#include <QPushButton>
#include <QDialog>
#include <QDialogButtonBox>
#include <QShortcut>
#include <QStyle>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace NexoFrame {

namespace {

const QString kUnderReport = QStringLiteral("Riport alá nem köthető be könyvtár vagy egy másik riport!");

} // namespace

OLAPReports::OLAPReports(QWidget* parent)
    : TreePanel(QStringLiteral("NexoFrame.OLAPReports"), QStringLiteral("OLAPReports"), parent)
{
    auto* copy = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_C), tree_Item, nullptr, nullptr, Qt::WidgetShortcut);
    auto* paste = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_V), tree_Item, nullptr, nullptr, Qt::WidgetShortcut);
    connect(copy, &QShortcut::activated, this, &OLAPReports::CopyReport);
    connect(paste, &QShortcut::activated, this, &OLAPReports::PasteReport);
}

int OLAPReports::tableNumber() const { return Tables::OlapReport; }

QString OLAPReports::nodeText(const Recordset& row) const { return row.field(QStringLiteral("caption")).toString(); }
QString OLAPReports::nodeText(const cDDXRecord& record) const { return record.value(QStringLiteral("caption")).toString(); }

std::unique_ptr<cDDXRecord> OLAPReports::makeRecord() const { return std::make_unique<cDDXOlapReport>(); }

std::unique_ptr<cDDXRecord> OLAPReports::makeNewRecord(int variant) const
{
    auto r = std::make_unique<cDDXOlapReport>();
    r->set_report_type(variant == ReportNode ? cDDXOlapReport::Report : cDDXOlapReport::Folder);
    return r;
}

int OLAPReports::nodeKind(const Recordset& row) const
{
    return row.field(QStringLiteral("report_type")).toInt() == cDDXOlapReport::Folder ? FolderNode : ReportNode;
}

int OLAPReports::nodeKind(const cDDXRecord& record) const
{
    return record.value(QStringLiteral("report_type")).toInt() == cDDXOlapReport::Folder ? FolderNode : ReportNode;
}

void OLAPReports::styleNode(QTreeWidgetItem* node, int kind)
{
    // The images: CLOSE_FOLDER / OPEN_FOLDER for folders, REPORT for reports.
    const bool folder = kind != ReportNode;
    node->setIcon(0, style()->standardIcon(kind == kRootKind ? QStyle::SP_DirOpenIcon
                                           : folder          ? QStyle::SP_DirClosedIcon
                                                             : QStyle::SP_FileDialogContentsView));
    node->setData(0, Qt::UserRole + 3, folder ? QStringLiteral("CLOSE_FOLDER") : QStringLiteral("REPORT"));
    if (kind == kRootKind) node->setData(0, Qt::UserRole + 3, QStringLiteral("OPEN_FOLDER"));
    if (folder) {
        QFont f = node->font(0);
        f.setBold(true);
        node->setFont(0, f);
    }
}

void OLAPReports::nodeExpanded(QTreeWidgetItem* node, bool expanded)
{
    const QString image = node->data(0, Qt::UserRole + 3).toString();
    if (image != QLatin1String("CLOSE_FOLDER") && image != QLatin1String("OPEN_FOLDER")) return;
    node->setData(0, Qt::UserRole + 3, expanded ? QStringLiteral("OPEN_FOLDER") : QStringLiteral("CLOSE_FOLDER"));
    node->setIcon(0, style()->standardIcon(expanded ? QStyle::SP_DirOpenIcon : QStyle::SP_DirClosedIcon));
}

void OLAPReports::setupCommandBar()
{
    TreePanel::setupCommandBar();
    auto* preview = new QAction(style()->standardIcon(QStyle::SP_MediaPlay), ModuleTexts::kPreview, cmd_bar_class);
    preview->setObjectName(QStringLiteral("cmd_preview"));
    connect(preview, &QAction::triggered, this, &OLAPReports::PreviewReport);
    cmd_bar_class->addAction(preview);
}

void OLAPReports::GetAuthorisation()
{
    // Asked quietly: the answers only choose between the full panel and the viewer.
    const Session& s = session();
    m_rights = {s.may(RightsKeys::kOlapReportAdd), s.may(RightsKeys::kOlapReportModify), s.may(RightsKeys::kOlapReportDelete)};
}

void OLAPReports::InitializePanel()
{
    m_viewer = !roleMode() && !right(0) && !right(1) && !right(2);
    // A viewer gets no definition command; the preview stays.
    for (QWidget* owner : {static_cast<QWidget*>(cmd_bar_class), static_cast<QWidget*>(popup)})
        for (QAction* a : owner->actions())
            if (a->property("treeAction").isValid()) a->setVisible(!m_viewer);
}

void OLAPReports::treeReloading()
{
    if (!m_viewer) return;
    Connection& c = connection();
    m_shown = OlapAccess(c).shownTree(userHolder(c, session().userId()).roles);
}

void OLAPReports::InitializeSite()
{
    TreePanel::InitializeSite();
    if (!m_viewer) return;
    // A viewer's tree holds only what he may use: all of it is opened at once.
    QList<QTreeWidgetItem*> folders{tree_Item->topLevelItem(0)};
    while (!folders.isEmpty()) {
        QTreeWidgetItem* node = folders.takeFirst();
        node->setExpanded(true); // loads its children
        for (int i = 0; i < node->childCount(); ++i) folders << node->child(i);
    }
}

bool OLAPReports::holdsDefinitionRight()
{
    for (QLatin1StringView key : {RightsKeys::kOlapReportAdd, RightsKeys::kOlapReportModify, RightsKeys::kOlapReportDelete})
        if (session().may(key)) return true;
    return false;
}

bool OLAPReports::mayPreview(int id)
{
    if (typeOf(id) != cDDXOlapReport::Report) return false;
    if (holdsDefinitionRight()) return true;
    Connection& c = connection();
    return OlapAccess(c).reaches(id, userHolder(c, session().userId()).roles);
}

QHash<int, QString> OLAPReports::usersReaching(int id)
{
    Connection& c = connection();
    return OlapAccess(c).usersReaching(liveUsers(c), id);
}

QString OLAPReports::impactText(int id)
{
    Connection& c = connection();
    const QList<Holder> users = liveUsers(c);
    OlapAccess access(c);
    const bool ticked = access.cell(id, currentSlot());
    const QHash<int, QString> now = access.usersReaching(users, id);
    access.setCell(id, currentSlot(), !ticked);
    QString text = impactWords(now, access.usersReaching(users, id), ticked);
    // A tick under a folder without it reaches no one through this role alone.
    if (!ticked && !access.reaches(id, RoleSet::of({currentSlot()})))
        text += QStringLiteral("\nEgy fölötte lévő mappán nincs pipa a(z) „%1” szerepkörnél.").arg(cbo_role ? cbo_role->currentText() : QString::number(currentSlot()));
    return text;
}

int OLAPReports::typeOf(int id) const
{
    Connection* c = &connection();
    if (id < 1 || !c->seek(Tables::OlapReport, QStringLiteral("PrimaryKey"), {id})) return -1;
    return c->browseRecordset(Tables::OlapReport).field(QStringLiteral("report_type")).toInt();
}

bool OLAPReports::baseRefused(int id)
{
    if (session().systemEdit() || id >= 1000000) return false;
    module().message().MsgWarning(cDDXOlapReport::kBaseReadOnly);
    return true;
}

bool OLAPReports::canCreateUnder(int parentId)
{
    if (!testRight(RightsKeys::kOlapReportAdd)) return false;
    if (parentId > 0 && typeOf(parentId) != cDDXOlapReport::Folder) {
        module().message().MsgWarning(kUnderReport);
        return false;
    }
    return true;
}

bool OLAPReports::canModify(int id)
{
    return !baseRefused(id) && testRight(RightsKeys::kOlapReportModify);
}

bool OLAPReports::canDelete(int id)
{
    return !baseRefused(id) && testRight(RightsKeys::kOlapReportDelete);
}

void OLAPReports::CopyReport()
{
    runStep("CopyReport", [this] {
        const int id = SelectedId();
        if (typeOf(id) == cDDXOlapReport::Report) m_copySource = id;
    });
}

void OLAPReports::PasteReport()
{
    runStep("PasteReport", [this] {
        const int folder = SelectedId();
        if (m_copySource < 1 || (folder != 0 && typeOf(folder) != cDDXOlapReport::Folder)) return;
        if (!testRight(RightsKeys::kOlapReportAdd)) return;
        cDDXOlapReport copy;
        if (!copy.CoreLoad(m_copySource)) return;
        copy.SetDataToClone();
        copy.set_parent_id(folder);
        if (copy.ShowForm() != rvOK) return;
        emit tableChanged(tableNumber());
        QTreeWidgetItem* node = nodeOf(folder);
        if (!node) return;
        // Reloading the folder's children shows the copy where its caption puts it.
        reloadChildren(node);
        node->setExpanded(true);
        if (QTreeWidgetItem* added = nodeOf(copy.id())) tree_Item->setCurrentItem(added);
    });
}

void OLAPReports::PreviewReport()
{
    runStep("PreviewReport", [this] {
        const int id = SelectedId();
        if (typeOf(id) != cDDXOlapReport::Report) return;
        if (!mayPreview(id)) {
            module().message().MsgWarning(module().rightsDeniedText());
            return;
        }
        cDDXOlapReport report;
        if (!report.CoreLoad(id)) return;
        QDialog dialog(this);
        dialog.setWindowTitle(report.caption());
        auto* layout = new QVBoxLayout(&dialog);
        auto* preview = new Olap::OlapPreview(&dialog);
        layout->addWidget(preview, 1);
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, &dialog);
        // The exports of the form's preview, beside "Bezárás".
        for (QPushButton* b : previewExportButtons(preview, &dialog, [&report] { return report.caption(); }))
            buttons->addButton(b, QDialogButtonBox::ActionRole);
        connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
        layout->addWidget(buttons);
        QList<std::pair<int, QVariant>> filter;
        // The run goes on while the dialog is up; closing it cancels the run, and a new page
        // filter replaces a run still going.
        auto* runner = new OlapRunner(&dialog);
        connect(runner, &OlapRunner::finished, &dialog, [&](const OlapRun& run) {
            if (!run.ok()) {
                preview->setMessage(run.error);
                return;
            }
            preview->setResult(run.result, {report.chart_visible(), report.chart_type(), report.chart_option_show_legend(),
                                            report.chart_option_show_markers(), report.chart_option_stack_series(),
                                            report.chart_option_series_in_rows()});
        });
        connect(preview, &Olap::OlapPreview::pageFilterChanged, &dialog, [&](int page, const QVariant& value) {
            filter.removeIf([page](const auto& p) { return p.first == page; });
            if (value.isValid()) filter.append({page, value});
            runner->start(connection(), report, filter);
        });
        runner->start(connection(), report, filter);
        dialog.resize(900, 650);
        dialog.exec();
    });
}

} // namespace NexoFrame
