#include "ReportAuthorizations.h"
#include "ReportCatalogue.h"
#include "Recordset.h"
#include "Schema.h"
#include <QStyle>
#include <QToolBar>
#include <QTreeWidget>

namespace NexoFrame {

namespace {

// A separator entry is shown as the line it draws in the reports list.
QString shownName(const QString& caption)
{
    return caption.trimmed() == QLatin1String("-") ? QStringLiteral("――――――――") : caption;
}

} // namespace

ReportAuthorizations::ReportAuthorizations(QWidget* parent)
    : TreePanel(QStringLiteral("NexoFrame.ReportAuthorizations"), QStringLiteral("ReportAuthorizations"), parent)
{
}

int ReportAuthorizations::tableNumber() const { return Tables::Report; }

QString ReportAuthorizations::nodeText(const Recordset& row) const { return shownName(row.field(QStringLiteral("caption")).toString()); }
QString ReportAuthorizations::nodeText(const cDDXRecord& record) const { return shownName(record.value(QStringLiteral("caption")).toString()); }

std::unique_ptr<cDDXRecord> ReportAuthorizations::makeRecord() const { return std::make_unique<cDDXReport>(); }

int ReportAuthorizations::nodeKind(const Recordset& row) const
{
    return row.field(QStringLiteral("report_type")).toInt() == cDDXReport::Folder ? cDDXReport::Folder : cDDXReport::Report;
}

int ReportAuthorizations::nodeKind(const cDDXRecord& record) const
{
    return record.value(QStringLiteral("report_type")).toInt() == cDDXReport::Folder ? cDDXReport::Folder : cDDXReport::Report;
}

void ReportAuthorizations::styleNode(QTreeWidgetItem* node, int kind)
{
    const bool folder = kind != cDDXReport::Report;
    node->setIcon(0, style()->standardIcon(folder ? QStyle::SP_DirIcon : QStyle::SP_FileDialogContentsView));
    if (folder) {
        QFont f = node->font(0);
        f.setBold(true);
        node->setFont(0, f);
    }
}

} // namespace NexoFrame
