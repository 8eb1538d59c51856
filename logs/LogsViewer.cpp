#include "LogsViewer.h"
#include "LazyComboBox.h"
#include "BrowseView.h"
#include "Connection.h"
#include "ControlTexts.h"
#include "ControlUtils.h"
#include "DateFormats.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "cMessage2.h"
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFileDialog>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <QStyle>
#include <QLabel>
#include <QToolBar>
#include <QVBoxLayout>

namespace NexoFrame {

namespace {

using Controls::BrowseColumn;
using Controls::BrowseViewDef;

BrowseViewDef logView(int mode)
{
    const bool menu = mode == 0;
    BrowseViewDef d;
    d.number = menu ? LogsViewer::kMenuLogView : LogsViewer::kReportLogView;
    d.table = menu ? Tables::MenuLogView : Tables::ReportLogView;
    d.columns = {BrowseColumn{QStringLiteral("log_date"), QStringLiteral("Időpont"), 140},
                 BrowseColumn{QStringLiteral("display_name"), QStringLiteral("Felhasználó"), 180},
                 menu ? BrowseColumn{QStringLiteral("menu_item"), QStringLiteral("Menüpont"), 360}
                      : BrowseColumn{QStringLiteral("report_name"), QStringLiteral("Kimutatás"), 300}};
    d.orderColumn = QStringLiteral("log_date");
    d.orderDescending = true;
    return d;
}

} // namespace

// Its faults are reported under the name the suite has always given it.
LogsViewer::LogsViewer(QWidget* parent) : AdminPanel(QStringLiteral("Velmont.LogsViewer"), QStringLiteral("LogsViewer"), parent)
{
    cmd_bar = new QToolBar(ModuleTexts::kMasterData, this);
    cmd_bar->setObjectName(QStringLiteral("cmd_bar_class"));
    cmd_bar->addWidget(new QLabel(QStringLiteral("Felhasználó: "), cmd_bar));
    cbo_user = new Controls::LazyComboBox(cmd_bar);
    cbo_user->setObjectName(QStringLiteral("Felhasználó"));
    // Sized by a length, not by measuring every user's name on each fill.
    cbo_user->setMinimumContentsLength(24);
    cmd_bar->addWidget(cbo_user);
    cmd_bar->addSeparator();
    chk_period = new QCheckBox(QStringLiteral("Időszak:"), cmd_bar);
    chk_period->setObjectName(QStringLiteral("chk_period"));
    cmd_bar->addWidget(chk_period);
    for (QDateEdit** edit : {&dtp_from, &dtp_to}) {
        *edit = new QDateEdit(QDate::currentDate(), cmd_bar);
        (*edit)->setCalendarPopup(true);
        (*edit)->setDisplayFormat(DateFormats::kDay);
        // The hint is measured for the format it was made with; room for the date and the button.
        (*edit)->setMinimumWidth((*edit)->fontMetrics().horizontalAdvance(QStringLiteral("2088.88.88.")) + 44);
        (*edit)->setEnabled(false);
        if (edit == &dtp_to) cmd_bar->addWidget(new QLabel(QStringLiteral(" – "), cmd_bar));
        cmd_bar->addWidget(*edit);
    }
    dtp_from->setObjectName(QStringLiteral("dtp_from"));
    dtp_to->setObjectName(QStringLiteral("dtp_to"));
    dtp_from->setDate(QDate::currentDate().addDays(-30));
    cmd_bar->addSeparator();
    QAction* exportAction = cmd_bar->addAction(style()->standardIcon(QStyle::SP_DialogSaveButton), ModuleTexts::kSaveCsv);
    exportAction->setObjectName(QStringLiteral("cmd_export"));
    exportAction->setToolTip(QStringLiteral("A listában látható sorok mentése CSV-fájlba"));
    cmd_bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    brw_item = new Controls::BrowseView(this);
    brw_item->setObjectName(QStringLiteral("brw_item"));
    body()->addWidget(cmd_bar);
    body()->addWidget(brw_item, 1);
    connect(cbo_user, &QComboBox::currentIndexChanged, this, [this](int i) {
        runStep("cbo_user_Change", [&] { selectUser(cbo_user->itemData(i).toInt()); });
    });
    const auto periodChanged = [this] {
        runStep("dtp_period_Change", [&] {
            dtp_from->setEnabled(chk_period->isChecked());
            dtp_to->setEnabled(chk_period->isChecked());
            applyFilter();
        });
    };
    connect(chk_period, &QCheckBox::toggled, this, periodChanged);
    connect(dtp_from, &QDateEdit::dateChanged, this, periodChanged);
    connect(dtp_to, &QDateEdit::dateChanged, this, periodChanged);
    connect(exportAction, &QAction::triggered, this, [this] {
        runStep("cmd_export_Click", [&] { exportCsv(); });
    });
}

void LogsViewer::InitializeSite()
{
    Connection* c = &connection();
    cbo_user->blockSignals(true);
    cbo_user->clear();
    ComboAddItemData(cbo_user, QStringLiteral("- Minden felhasználó -"), -1);
    cbo_user->setCurrentIndex(0);
    cbo_user->blockSignals(false);
    // The users are read when the list is first opened or stepped through: most visits to a
    // log never pick one, and an office may have a thousand of them.
    cbo_user->setFiller([c](QComboBox* box) {
        const QList<QVariantList> users = c->select(
            QStringLiteral("SELECT id, display_name FROM qnd_user WHERE del_status=0 ORDER BY %1, id")
                .arg(c->engine().orderTerm(c->engine().sortExpression(c->tableDef(Tables::User), QStringLiteral("display_name")), false)));
        // Items made whole before they join the list: one insertion, not two changes per user.
        QList<QStandardItem*> items;
        items.reserve(users.size());
        for (const QVariantList& u : users) {
            auto* item = new QStandardItem(u.value(1).toString());
            item->setData(u.value(0).toInt(), Qt::UserRole);
            items << item;
        }
        static_cast<QStandardItemModel*>(box->model())->invisibleRootItem()->appendRows(items);
    });
    // Only the two logs have views; another mode opens none and leaves the title.
    if (mode() != 0 && mode() != 1) return;
    titleLabel()->setText(mode() == 0 ? QStringLiteral("Menü log") : QStringLiteral("Kimutatás log"));
    brw_item->setConnection(c);
    brw_item->setView(logView(mode()));
}

void LogsViewer::selectUser(int userId)
{
    cbo_user->fill();
    const int i = cbo_user->findData(userId);
    if (i >= 0 && i != cbo_user->currentIndex()) {
        cbo_user->setCurrentIndex(i); // comes back here through the signal
        return;
    }
    m_userId = userId;
    applyFilter();
}

void LogsViewer::selectPeriod(const QDate& from, const QDate& to)
{
    const QSignalBlocker a(chk_period), b(dtp_from), c(dtp_to);
    chk_period->setChecked(from.isValid());
    dtp_from->setEnabled(from.isValid());
    dtp_to->setEnabled(from.isValid());
    if (from.isValid()) {
        dtp_from->setDate(from);
        dtp_to->setDate(to);
    }
    applyFilter();
}

void LogsViewer::applyFilter()
{
    if (brw_item->view().table == 0) return;
    QStringList terms;
    if (m_userId != -1) terms << QStringLiteral("user_id=%1").arg(m_userId);
    if (chk_period->isChecked()) {
        // Whole days: up to the start of the day after the last one.
        const QDate from = std::min(dtp_from->date(), dtp_to->date()), to = std::max(dtp_from->date(), dtp_to->date());
        terms << QStringLiteral("log_date>=") + from.toString(Qt::ISODate)
              << QStringLiteral("log_date<") + to.addDays(1).toString(Qt::ISODate);
    }
    brw_item->setFilter(terms.join(QStringLiteral(" AND ")));
}

bool LogsViewer::exportCsv(QString path)
{
    if (brw_item->view().table == 0) return false;
    if (path.isEmpty()) {
        const QString name = (mode() == 0 ? QStringLiteral("menu_log_") : QStringLiteral("kimutatas_log_"))
                             + QDate::currentDate().toString(DateFormats::kFileDay) + QStringLiteral(".csv");
        path = QFileDialog::getSaveFileName(this, QStringLiteral("Mentés CSV-be"), QDir::home().filePath(name),
                                            ControlTexts::kCsvFiles);
        if (path.isEmpty()) return false;
    }
    QString error;
    if (brw_item->exportCsv(path, &error)) return true;
    module().message().MsgInfo(error);
    return false;
}

} // namespace NexoFrame
