#include "LogsViewer.h"
#include "BrowseView.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "Module.h"
#include <QComboBox>
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
    cmd_bar = new QToolBar(QStringLiteral("Törzsadat"), this);
    cmd_bar->setObjectName(QStringLiteral("cmd_bar_class"));
    cmd_bar->addWidget(new QLabel(QStringLiteral("Felhasználó: "), cmd_bar));
    cbo_user = new QComboBox(cmd_bar);
    cbo_user->setObjectName(QStringLiteral("Felhasználó"));
    cbo_user->setMinimumContentsLength(24);
    cmd_bar->addWidget(cbo_user);
    brw_item = new Controls::BrowseView(this);
    brw_item->setObjectName(QStringLiteral("brw_item"));
    body()->addWidget(cmd_bar);
    body()->addWidget(brw_item, 1);
    connect(cbo_user, &QComboBox::currentIndexChanged, this, [this](int i) {
        StepRunner r = runner("cbo_user_Change");
        r.step([&] { selectUser(cbo_user->itemData(i).toInt()); });
    });
}

void LogsViewer::InitializeSite()
{
    Connection* c = module().connection();
    cbo_user->blockSignals(true);
    cbo_user->clear();
    ComboAddItemData(cbo_user, QStringLiteral("- Minden felhasználó -"), -1);
    auto users = c->openRecordset(Tables::User, {QStringLiteral("id"), QStringLiteral("display_name"), QStringLiteral("del_status")});
    users->setIndex(QStringLiteral("display_name"));
    for (users->moveFirst(); !users->eof(); users->moveNext())
        if (users->field(QStringLiteral("del_status")).toInt() == 0)
            ComboAddItemData(cbo_user, users->field(QStringLiteral("display_name")).toString(),
                              users->field(QStringLiteral("id")).toInt());
    cbo_user->setCurrentIndex(0);
    cbo_user->blockSignals(false);
    // Only the two logs have views; another mode opens none and leaves the title.
    if (mode() != 0 && mode() != 1) return;
    titleLabel()->setText(mode() == 0 ? QStringLiteral("Menü log") : QStringLiteral("Kimutatás log"));
    brw_item->setConnection(c);
    brw_item->setView(logView(mode()));
}

void LogsViewer::selectUser(int userId)
{
    const int i = cbo_user->findData(userId);
    if (i >= 0 && i != cbo_user->currentIndex()) {
        cbo_user->setCurrentIndex(i); // comes back here through the signal
        return;
    }
    if (brw_item->view().table == 0) return;
    brw_item->setFilter(userId == -1 ? QString() : QStringLiteral("user_id=%1").arg(userId));
}

} // namespace NexoFrame
