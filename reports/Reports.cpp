#include "Reports.h"
#include "Connection.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "RuntimeError.h"
#include "cMessage2.h"
#include <QAction>
#include <QFrame>
#include <QHeaderView>
#include <QLabel>
#include <QMetaObject>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>
#include <memory>

namespace NexoFrame {

namespace {

constexpr int kEntryRole = Qt::UserRole + 1; // index into the list's entries, -1 on folders

bool isSeparator(const ReportEntry& e) { return e.type == cDDXReport::Report && e.name.trimmed() == QLatin1String("-"); }

} // namespace

ReportList::ReportList(QWidget* parent) : QTreeWidget(parent)
{
    setHeaderHidden(true);
    setRootIsDecorated(true);
    setUniformRowHeights(false);
    connect(this, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        if (item && item->data(0, kEntryRole).toInt() >= 0) startCurrent(false);
    });
}

void ReportList::fill(const QList<ReportEntry>& entries)
{
    clear();
    m_entries = entries;
    QHash<int, QTreeWidgetItem*> items;
    for (int i = 0; i < m_entries.size(); ++i) {
        const ReportEntry& e = m_entries[i];
        QTreeWidgetItem* parent = items.value(e.parentId);
        auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(this);
        items.insert(e.id, item);
        item->setData(0, kEntryRole, e.type == cDDXReport::Folder ? -1 : i);
        if (e.type == cDDXReport::Folder) {
            item->setText(0, e.name);
            item->setIcon(0, style()->standardIcon(QStyle::SP_DirIcon));
            QFont f = item->font(0);
            f.setBold(true);
            item->setFont(0, f);
        } else if (isSeparator(e)) {
            // A line between groups of reports; it can be chosen, and starts nothing.
            auto* line = new QFrame(this);
            line->setFrameShape(QFrame::HLine);
            line->setFrameShadow(QFrame::Sunken);
            setItemWidget(item, 0, line);
        } else {
            item->setText(0, e.name);
            item->setIcon(0, style()->standardIcon(QStyle::SP_FileDialogContentsView));
            item->setToolTip(0, e.fileName);
        }
    }
    expandAll();
    for (int i = 0; i < topLevelItemCount(); ++i)
        if (QTreeWidgetItem* first = topLevelItem(i); first->data(0, kEntryRole).toInt() >= 0 || first->childCount() > 0) {
            setCurrentItem(first->childCount() > 0 ? first->child(0) : first);
            break;
        }
}

const ReportEntry* ReportList::current() const
{
    const QTreeWidgetItem* item = currentItem();
    const int i = item ? item->data(0, kEntryRole).toInt() : -1;
    return i >= 0 && i < m_entries.size() ? &m_entries[i] : nullptr;
}

QTreeWidgetItem* ReportList::itemOf(int id) const
{
    for (QTreeWidgetItemIterator it(const_cast<ReportList*>(this)); *it; ++it) {
        const int i = (*it)->data(0, kEntryRole).toInt();
        if (i >= 0 && m_entries[i].id == id) return *it;
    }
    return nullptr;
}

void ReportList::startCurrent(bool print)
{
    if (const ReportEntry* e = current()) emit reportStarted(*e, print);
}

Reports::Reports(QWidget* parent) : AdminPanel(QStringLiteral("NexoFrame.Reports"), QStringLiteral("Reports"), parent)
{
    cmd_bar = new QToolBar(QStringLiteral("Riportok"), this);
    cmd_bar->setObjectName(QStringLiteral("cmd_bar"));
    cmd_bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    QAction* preview = cmd_bar->addAction(style()->standardIcon(QStyle::SP_FileDialogContentsView), ModuleTexts::kPreview);
    preview->setObjectName(QStringLiteral("cmd_preview"));
    QAction* print = cmd_bar->addAction(style()->standardIcon(QStyle::SP_DialogSaveButton), QStringLiteral("Nyomtatás"));
    print->setObjectName(QStringLiteral("cmd_print"));
    print->setToolTip(QStringLiteral("Nyomtatás az alapértelmezett nyomtatóra, előnézet nélkül"));
    lst_report = new ReportList(this);
    lst_report->setObjectName(QStringLiteral("lst_report"));
    body()->addWidget(cmd_bar);
    body()->addWidget(lst_report, 1);
    connect(preview, &QAction::triggered, lst_report, [this] { lst_report->startCurrent(false); });
    connect(print, &QAction::triggered, lst_report, [this] { lst_report->startCurrent(true); });
    connect(lst_report, &ReportList::reportStarted, this, [this](const ReportEntry& e, bool toPrinter) {
        runStep("lst_report_ReportStart", [&] { StartReport(e, toPrinter); });
    });
}

void Reports::InitializeSite()
{
    titleLabel()->setText(QStringLiteral("Riportok"));
    Connection* c = &connection();
    lst_report->fill(reportsOfUser(*c, session().userId()));
}

void Reports::StartReport(const ReportEntry& e, bool print)
{
    if (e.name.trimmed().isEmpty() || e.name.trimmed() == QLatin1String("-")) return;
    QString why;
    std::unique_ptr<QObject> report(Site() ? Site()->createObject(e.progId, &why) : nullptr);
    if (!report) {
        module().message().MsgInfo(QStringLiteral("Nem sikerült a riport objektumot létrehozni! (") + e.progId + QLatin1Char(')'));
        return;
    }
    Connection* c = &connection();
    QList<std::pair<QString, QVariant>> values{{QStringLiteral("DAOConnection"), QVariant::fromValue<QObject*>(c)},
                                               {QStringLiteral("ReportID"), e.id},
                                               {QStringLiteral("ModulID"), mode()},
                                               {QStringLiteral("FileName"), e.fileName},
                                               {QStringLiteral("ReportName"), e.name}};
    for (int i = 0; i < 5; ++i) values.append({QStringLiteral("StringPar%1").arg(i + 1), e.parameters[i]});
    for (const auto& [name, value] : companyHeader(*c)) values.append({name, value});
    for (const auto& [name, value] : std::as_const(values)) {
        // A class without one of the contract's members is a fault of that class: the
        // panel's error trap names it.
        const QByteArray key = name.toLatin1();
        if (report->metaObject()->indexOfProperty(key.constData()) < 0 || !report->setProperty(key.constData(), value))
            throw RuntimeError(QStringLiteral("A riport objektum nem fogadja el a(z) „%1” tulajdonságot (%2).").arg(name, e.progId), 438);
    }
    QString logError;
    if (!c->writeUsageLog(Tables::ReportLog, QStringLiteral("report_id"), session().userId(), e.id, &logError))
        qWarning("report log: %s", qPrintable(logError));
    const char* method = print ? "DoPrint" : "DoReport";
    if (!QMetaObject::invokeMethod(report.get(), method, Qt::DirectConnection))
        throw RuntimeError(QStringLiteral("A riport objektumnak nincs %1 metódusa (%2).").arg(QString::fromLatin1(method), e.progId), 438);
}

} // namespace NexoFrame
