#include "RightsExplorer.h"
#include "Connection.h"
#include "ControlTexts.h"
#include "CsvFile.h"
#include "DateFormats.h"
#include "MenuAccess.h"
#include "ModuleTexts.h"
#include "OlapAccess.h"
#include "RightsHistory.h"
#include "ListDefinition.h"
#include "LockRetry.h"
#include "LogKeeping.h"
#include "ReportCatalogue.h"
#include "Module.h"
#include "Texts.h"
#include "TwoStep.h"
#include "WaitCursor.h"
#include "cMessage2.h"
#include <QCheckBox>
#include <QComboBox>
#include <QCompleter>
#include <QDateTimeEdit>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSet>
#include <QSpinBox>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace NexoFrame {

namespace {

// The why-path's tab and its button.
const QString kWhy = QStringLiteral("Miért?");
// The effective rights' and the unused grants' tabs, also their dialogs' titles.
const QString kEffectiveRights = QStringLiteral("Hatályos jogok");
const QString kUnusedRights = QStringLiteral("Nem használt jogok");

const QColor kGranted(0x1b, 0x7a, 0x2b);
const QColor kRefused(0xb0, 0x20, 0x20);

QString yesNo(bool on) { return on ? QStringLiteral("engedélyezve") : QStringLiteral("tiltva"); }

QTreeWidgetItem* step(QTreeWidgetItem* parent, QTreeWidget* tree, const QString& text, bool ok)
{
    auto* item = parent ? new QTreeWidgetItem(parent, {text}) : new QTreeWidgetItem(tree, {text});
    item->setForeground(0, ok ? QColor(Qt::black) : kRefused);
    return item;
}

// Every live menu item with the captions above it.
QList<std::pair<int, QString>> menuItems(Connection& c)
{
    QHash<int, std::pair<int, QString>> rows;
    QList<int> order;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, parent_id, caption FROM qnd_menu WHERE del_status=0 ORDER BY parent_id, sort_order, id"))) {
        rows.insert(r[0].toInt(), {r[1].toInt(), r[2].toString().trimmed()});
        order << r[0].toInt();
    }
    QList<std::pair<int, QString>> out;
    for (int id : std::as_const(order)) {
        QStringList path;
        for (int at = id, depth = 0; rows.contains(at) && depth < 64; at = rows[at].first, ++depth) path.prepend(rows[at].second);
        out.append({id, path.join(QStringLiteral(" / "))});
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    return out;
}

} // namespace

RightsExplorer::RightsExplorer(QWidget* parent)
    : AdminPanel(QStringLiteral("NexoFrame.RightsExplorer"), QStringLiteral("RightsExplorer"), parent)
{
    tabs = new QTabWidget(this);
    tabs->setObjectName(QStringLiteral("tabs"));

    // Why may a user, or why not.
    auto* why = new QWidget(tabs);
    cbo_user = new QComboBox(why);
    cbo_user->setObjectName(QStringLiteral("cbo_user"));
    cbo_user->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cbo_user->setMinimumContentsLength(28);
    txt_key = new QLineEdit(why);
    txt_key->setObjectName(QStringLiteral("txt_key"));
    txt_key->setPlaceholderText(QStringLiteral("pl. mainframe_base_user_new"));
    auto* ask = new QPushButton(kWhy, why);
    ask->setObjectName(QStringLiteral("cmd_why"));
    ask->setDefault(true);
    tree_path = new QTreeWidget(why);
    tree_path->setObjectName(QStringLiteral("tree_path"));
    tree_path->setHeaderHidden(true);
    lbl_decision = new QLabel(why);
    lbl_decision->setObjectName(QStringLiteral("lbl_decision"));
    QFont big = lbl_decision->font();
    big.setBold(true);
    big.setPointSizeF(big.pointSizeF() * 1.2);
    lbl_decision->setFont(big);
    lbl_decision->setWordWrap(true);
    cbo_kind = new QComboBox(why);
    cbo_kind->setObjectName(QStringLiteral("cbo_kind"));
    cbo_kind->addItems({QStringLiteral("Jogosultsági kulcs"), QStringLiteral("Menüpont"), QStringLiteral("Riport"),
                        QStringLiteral("OLAP kimutatás"), QStringLiteral("Lista")});
    cbo_item = new QComboBox(why);
    cbo_item->setObjectName(QStringLiteral("cbo_item"));
    cbo_item->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cbo_item->setMinimumContentsLength(30);
    cbo_item->hide();
    auto* whyForm = new QHBoxLayout;
    whyForm->addWidget(new QLabel(QStringLiteral("Felhasználó:"), why));
    whyForm->addWidget(cbo_user);
    whyForm->addWidget(cbo_kind);
    whyForm->addWidget(txt_key, 1);
    whyForm->addWidget(cbo_item, 1);
    whyForm->addWidget(ask);
    connect(cbo_kind, &QComboBox::currentIndexChanged, this, [this](int kind) {
        txt_key->setVisible(kind == KeyKind);
        cbo_item->setVisible(kind != KeyKind);
        fillItems();
    });
    auto* whyBox = new QVBoxLayout(why);
    whyBox->addLayout(whyForm);
    whyBox->addWidget(lbl_decision);
    whyBox->addWidget(tree_path, 1);
    tabs->addTab(why, kWhy);
    const auto explain = [this] {
        runStep("cmd_why_Click", [&] {
            if (cbo_kind->currentIndex() == KeyKind) showWhy(cbo_user->currentData().toInt(), txt_key->text());
            else showWhyItem(cbo_user->currentData().toInt(), cbo_kind->currentIndex(), cbo_item->currentData().toInt());
        });
    };
    connect(ask, &QPushButton::clicked, this, explain);
    connect(txt_key, &QLineEdit::returnPressed, this, explain);

    // What a user or a group may, beside another.
    auto* rights = new QWidget(tabs);
    opt_users = new QRadioButton(QStringLiteral("Felhasználók"), rights);
    opt_users->setObjectName(QStringLiteral("opt_users"));
    opt_users->setChecked(true);
    opt_groups = new QRadioButton(QStringLiteral("Csoportok"), rights);
    opt_groups->setObjectName(QStringLiteral("opt_groups"));
    cbo_subject = new QComboBox(rights);
    cbo_subject->setObjectName(QStringLiteral("cbo_subject"));
    cbo_subject->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cbo_subject->setMinimumContentsLength(24);
    cbo_compare = new QComboBox(rights);
    cbo_compare->setObjectName(QStringLiteral("cbo_compare"));
    cbo_compare->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    cbo_compare->setMinimumContentsLength(24);
    txt_filter = new QLineEdit(rights);
    txt_filter->setObjectName(QStringLiteral("txt_filter"));
    txt_filter->setPlaceholderText(ControlTexts::kSearch);
    txt_filter->setClearButtonEnabled(true);
    chk_differences = new QCheckBox(QStringLiteral("Csak az eltérések"), rights);
    chk_differences->setObjectName(QStringLiteral("chk_differences"));
    auto* save = new QPushButton(ModuleTexts::kSaveCsv, rights);
    save->setObjectName(QStringLiteral("cmd_export"));
    tree_rights = new QTreeWidget(rights);
    tree_rights->setObjectName(QStringLiteral("tree_rights"));
    tree_rights->setRootIsDecorated(true);
    tree_rights->setUniformRowHeights(true);
    auto* top = new QHBoxLayout;
    top->addWidget(opt_users);
    top->addWidget(opt_groups);
    top->addWidget(cbo_subject);
    top->addWidget(new QLabel(QStringLiteral("Összevetve:"), rights));
    top->addWidget(cbo_compare);
    top->addStretch();
    auto* second = new QHBoxLayout;
    second->addWidget(txt_filter, 1);
    second->addWidget(chk_differences);
    second->addWidget(save);
    auto* rightsBox = new QVBoxLayout(rights);
    rightsBox->addLayout(top);
    rightsBox->addLayout(second);
    rightsBox->addWidget(tree_rights, 1);
    tabs->addTab(rights, kEffectiveRights);
    const auto refresh = [this] {
        runStep("tree_rights_Refresh", [&] { showRights(); });
    };
    connect(opt_users, &QRadioButton::toggled, this, [this, refresh] {
        fillSubjects();
        refresh();
    });
    connect(cbo_subject, &QComboBox::activated, this, refresh);
    connect(cbo_compare, &QComboBox::activated, this, refresh);
    connect(txt_filter, &QLineEdit::textChanged, this, [this] { applyFilter(); });
    connect(chk_differences, &QCheckBox::toggled, this, [this] { applyFilter(); });
    connect(save, &QPushButton::clicked, this, [this] {
        QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Mentés CSV-be"), QStringLiteral("jogok.csv"),
                                                    ControlTexts::kCsvFiles);
        if (path.isEmpty()) return;
        QString why;
        if (!exportRights(path, &why)) QMessageBox::warning(this, kEffectiveRights, why);
    });

    // Who changed which right, when; and the way back to a past moment.
    auto* past = new QWidget(tabs);
    const auto moment = [past](const char* name, const QDateTime& at) {
        auto* e = new QDateTimeEdit(at, past);
        e->setObjectName(QString::fromLatin1(name));
        e->setDisplayFormat(DateFormats::kSecond);
        e->setCalendarPopup(true);
        return e;
    };
    const QDateTime now = QDateTime::currentDateTime();
    dtp_from = moment("dtp_from", QDateTime(now.date().addDays(-7), QTime(0, 0)));
    dtp_to = moment("dtp_to", QDateTime(now.date(), QTime(23, 59, 59)));
    auto* list = new QPushButton(QStringLiteral("Változások"), past);
    list->setObjectName(QStringLiteral("cmd_changes"));
    tree_changes = new QTreeWidget(past);
    tree_changes->setObjectName(QStringLiteral("tree_changes"));
    tree_changes->setRootIsDecorated(false);
    tree_changes->setHeaderLabels({QStringLiteral("Időpont"), QStringLiteral("Ki"), QStringLiteral("Hol"), QStringLiteral("Mi"),
                                   QStringLiteral("Mit"), QStringLiteral("Előtte"), QStringLiteral("Utána")});
    cbo_revert_role = new QComboBox(past);
    cbo_revert_role->setObjectName(QStringLiteral("cbo_revert_role"));
    dtp_moment = moment("dtp_moment", QDateTime(now.date(), QTime(0, 0)));
    auto* back = new QPushButton(QStringLiteral("Visszaállítás…"), past);
    back->setObjectName(QStringLiteral("cmd_revert"));
    auto* state = new QPushButton(QStringLiteral("Állapot akkor"), past);
    state->setObjectName(QStringLiteral("cmd_state"));
    state->setToolTip(QStringLiteral("A szerepkör pipái minden jogosultsági fában, ahogy a megadott időpontban álltak"));
    auto* range = new QHBoxLayout;
    range->addWidget(new QLabel(QStringLiteral("Időszak:"), past));
    range->addWidget(dtp_from);
    range->addWidget(new QLabel(QStringLiteral("–"), past));
    range->addWidget(dtp_to);
    range->addWidget(list);
    range->addStretch();
    auto* revertRow = new QHBoxLayout;
    revertRow->addWidget(new QLabel(QStringLiteral("Visszaállítás:"), past));
    revertRow->addWidget(cbo_revert_role);
    revertRow->addWidget(new QLabel(QStringLiteral("olyanra, amilyen volt"), past));
    revertRow->addWidget(dtp_moment);
    revertRow->addWidget(state);
    revertRow->addWidget(back);
    revertRow->addStretch();
    lbl_history_start = new QLabel(past);
    lbl_history_start->setObjectName(QStringLiteral("lbl_history_start"));
    lbl_history_start->setWordWrap(true);
    lbl_history_start->hide();
    auto* pastBox = new QVBoxLayout(past);
    pastBox->addLayout(range);
    pastBox->addWidget(lbl_history_start);
    pastBox->addWidget(tree_changes, 1);
    pastBox->addLayout(revertRow);
    tabs->addTab(past, QStringLiteral("Előzmények"));
    connect(list, &QPushButton::clicked, this, [this] { runStep("cmd_changes_Click", [this] { showChanges(); }); });
    connect(state, &QPushButton::clicked, this, [this] { runStep("cmd_state_Click", [this] { showStateAt(); }); });
    connect(back, &QPushButton::clicked, this, [this] { runStep("cmd_revert_Click", [this] { revert(); }); });

    // Grants nobody uses: what a role may open but its users have not opened for long.
    auto* unused = new QWidget(tabs);
    cbo_unused_role = new QComboBox(unused);
    cbo_unused_role->setObjectName(QStringLiteral("cbo_unused_role"));
    spn_days = new QSpinBox(unused);
    spn_days->setObjectName(QStringLiteral("spn_days"));
    spn_days->setRange(1, 3650);
    spn_days->setValue(kUnusedGrantDays);
    spn_days->setSuffix(QStringLiteral(" napja"));
    auto* look = new QPushButton(QStringLiteral("Keresés"), unused);
    look->setObjectName(QStringLiteral("cmd_unused"));
    tree_unused = new QTreeWidget(unused);
    tree_unused->setObjectName(QStringLiteral("tree_unused"));
    tree_unused->setRootIsDecorated(false);
    tree_unused->setHeaderLabels({QStringLiteral("Hol"), QStringLiteral("Mi"), QStringLiteral("A szerepkör felhasználói")});
    auto* revoke = new QPushButton(QStringLiteral("A kijelöltek visszavonása a szerepkörtől…"), unused);
    revoke->setObjectName(QStringLiteral("cmd_revoke"));
    auto* unusedTop = new QHBoxLayout;
    unusedTop->addWidget(new QLabel(QStringLiteral("Szerepkör:"), unused));
    unusedTop->addWidget(cbo_unused_role);
    unusedTop->addWidget(new QLabel(QStringLiteral("felhasználói nem nyitották meg legalább"), unused));
    unusedTop->addWidget(spn_days);
    unusedTop->addWidget(look);
    unusedTop->addStretch();
    auto* unusedBox = new QVBoxLayout(unused);
    unusedBox->addLayout(unusedTop);
    unusedBox->addWidget(tree_unused, 1);
    unusedBox->addWidget(revoke, 0, Qt::AlignRight);
    tabs->addTab(unused, kUnusedRights);
    connect(look, &QPushButton::clicked, this, [this] { runStep("cmd_unused_Click", [this] { showUnused(); }); });
    connect(revoke, &QPushButton::clicked, this, [this] { runStep("cmd_revoke_Click", [this] { revokeUnused(); }); });

    body()->addWidget(tabs, 1);
}

void RightsExplorer::showUnused()
{
    Connection* c = &connection();
    Controls::WaitCursor wait;
    tree_unused->clear();
    const QDateTime since = QDateTime(QDate::currentDate().addDays(-spn_days->value()), QTime(0, 0));
    for (const UnusedGrant& g : unusedGrants(*c, cbo_unused_role->currentData().toInt(), since)) {
        auto* item = new QTreeWidgetItem(tree_unused, {tableText(g.table), g.table == QLatin1String("qnd_menu") ? rowPath(g.itemId) : g.caption,
                                                       g.users.join(QStringLiteral(", "))});
        item->setData(0, Qt::UserRole, g.table);
        item->setData(1, Qt::UserRole, g.itemId);
        item->setCheckState(0, Qt::Checked);
        item->setToolTip(2, g.users.join(QLatin1Char('\n')));
    }
    for (int i = 0; i < 2; ++i) tree_unused->resizeColumnToContents(i);
}

bool RightsExplorer::revokeUnused()
{
    Connection* c = &connection();
    const int slot = cbo_unused_role->currentData().toInt();
    QList<UnusedGrant> chosen;
    for (int i = 0; i < tree_unused->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* item = tree_unused->topLevelItem(i);
        if (item->checkState(0) == Qt::Checked) chosen.append({item->data(0, Qt::UserRole).toString(), item->data(1, Qt::UserRole).toInt(), item->text(1), {}});
    }
    if (chosen.isEmpty()) return false;
    QMessageBox ask(QMessageBox::Question, kUnusedRights,
                    QStringLiteral("%1 jog visszavonása a(z) „%2” szerepkörtől. A változás az előzményekben megmarad, onnan visszaállítható.")
                        .arg(chosen.size())
                        .arg(cbo_unused_role->currentText()),
                    QMessageBox::NoButton, this);
    QPushButton* yes = ask.addButton(QStringLiteral("Visszavonás"), QMessageBox::AcceptRole);
    ask.addButton(Texts::kCancel, QMessageBox::RejectRole);
    ask.exec();
    if (ask.clickedButton() != yes) return false;
    QString why;
    bool ok;
    {
        Controls::WaitCursor wait;
        ok = revertTo(*c, revokePlan(chosen, slot), &why, lockQuestion());
    }
    if (!ok) {
        module().message().MsgInfo(why);
        return false;
    }
    showUnused();
    return true;
}

QString RightsExplorer::rowPath(int menuId) const
{
    for (const auto& [id, path] : menuItems(connection()))
        if (id == menuId) return path;
    return QString::number(menuId);
}

QString RightsExplorer::tableText(const QString& table) const
{
    static const QHash<QString, QString> names{{QStringLiteral("qnd_auth_unit"), QStringLiteral("Jogosultságok")},
                                               {QStringLiteral("qnd_menu"), QStringLiteral("Menük")},
                                               {QStringLiteral("qnd_olap_report"), QStringLiteral("OLAP kimutatások")},
                                               {QStringLiteral("qnd_report"), QStringLiteral("Riportok")},
                                               {QStringLiteral("qnd_list"), QStringLiteral("Listák")},
                                               {QStringLiteral("qnd_user_group"), QStringLiteral("Csoportok")},
                                               {QStringLiteral("qnd_user"), QStringLiteral("Felhasználók")}};
    return names.value(table, table);
}

QString RightsExplorer::rowText(const QString& table, int row) const
{
    Connection* c = &connection();
    const TableDef* t = c->tableDef(table);
    if (!t) return QString::number(row);
    const QString name = t->hasColumn(QStringLiteral("caption")) ? QStringLiteral("caption")
                       : t->hasColumn(QStringLiteral("display_name")) ? QStringLiteral("display_name")
                                                                        : QStringLiteral("name");
    const QString text = c->select(QStringLiteral("SELECT \"%1\" FROM \"%2\" WHERE id=?").arg(name, t->name), {row}).value(0).value(0).toString();
    return text.isEmpty() ? QStringLiteral("#%1").arg(row) : text;
}

QString RightsExplorer::columnText(const QString& column, const QString& table) const
{
    if (column.startsWith(QLatin1String("auth_"))) return roleName(column.mid(5).toInt());
    // A group's rule, or a user's secret removed (TwoStep::remove keeps that as qnd_user's).
    if (column == QLatin1String("two_step"))
        return table == QLatin1String("qnd_user") ? QStringLiteral("Kétlépcsős azonosítás") : QStringLiteral("Kétlépcsős azonosítás kötelező");
    static const QHash<QString, QString> names{{QStringLiteral("right_event"), QStringLiteral("Láthatóság: események")},
                                               {QStringLiteral("right_project"), QStringLiteral("Láthatóság: projektek")},
                                               {QStringLiteral("right_partner"), QStringLiteral("Láthatóság: partnerek")},
                                               {QStringLiteral("user_group_id"), QStringLiteral("Csoport")}};
    return names.value(column, column);
}

QString RightsExplorer::valueText(const QString& column, const QString& value) const
{
    if (column == QLatin1String("user_group_id")) return rowText(QStringLiteral("qnd_user_group"), value.toInt());
    if (column.startsWith(QLatin1String("auth_")) || column == QLatin1String("two_step"))
        return value == QLatin1String("1") ? QStringLiteral("igen") : QStringLiteral("nem");
    return value;
}

void RightsExplorer::showKeeping()
{
    Connection* c = &connection();
    // The history rebuilds no state before its start, once it has been pruned.
    const QDateTime start = LogKeeping::historyStart(*c);
    lbl_history_start->setVisible(start.isValid());
    if (start.isValid())
        lbl_history_start->setText(QStringLiteral("Az előzmények %1 óta vannak meg: a korábbiakat a naplók karbantartása archiválta, "
                                                  "az akkori állapot a kiinduló állapot.")
                                       .arg(start.toString(DateFormats::kSecond)));
    // Unused grants are looked for no further back than the usage logs are kept.
    const LogKeeping::Periods kept = LogKeeping::periods(*c);
    int longest = 3650;
    for (const LogKeeping::Log log : {LogKeeping::MenuLog, LogKeeping::ReportLog})
        if (kept.days[log] > 0) longest = std::min(longest, kept.days[log]);
    spn_days->setMaximum(std::max(1, longest));
}

void RightsExplorer::showChanges()
{
    Connection* c = &connection();
    Controls::WaitCursor wait;
    showKeeping();
    tree_changes->clear();
    tree_changes->setColumnCount(7);
    tree_changes->setHeaderLabels({QStringLiteral("Időpont"), QStringLiteral("Ki"), QStringLiteral("Hol"), QStringLiteral("Mi"),
                                   QStringLiteral("Mit"), QStringLiteral("Előtte"), QStringLiteral("Utána")});
    for (const RightsChange& ch : rightsChanges(*c, dtp_from->dateTime(), dtp_to->dateTime())) {
        const QString who = ch.userName.isEmpty() ? QStringLiteral("#%1").arg(ch.userId) : ch.userName;
        if (const auto log = LogKeeping::logOfTable(ch.table); log != LogKeeping::LogCount) {
            // A pruning of a log: how many rows went, up to when, into which archive.
            const QDateTime cut = QDateTime::fromString(ch.newValue, DateFormats::kStored);
            new QTreeWidgetItem(tree_changes, {ch.at.toString(DateFormats::kSecond), ch.userId < 0 ? QStringLiteral("(parancssor)") : who,
                                               LogKeeping::info(log).caption,
                                               QStringLiteral("%1 sor archiválva és törölve").arg(ch.rowId), QStringLiteral("Naplók karbantartása"),
                                               ch.oldValue, QStringLiteral("%1 előtti sorok").arg(cut.toString(DateFormats::kSecond))});
            continue;
        }
        new QTreeWidgetItem(tree_changes, {ch.at.toString(DateFormats::kSecond),
                                           who, tableText(ch.table),
                                           rowText(ch.table, ch.rowId), columnText(ch.column, ch.table),
                                           ch.rowWasNew ? QStringLiteral("(új)") : valueText(ch.column, ch.oldValue), valueText(ch.column, ch.newValue)});
    }
    for (int i = 0; i < tree_changes->columnCount(); ++i) tree_changes->resizeColumnToContents(i);
}

void RightsExplorer::showStateAt()
{
    Connection* c = &connection();
    Controls::WaitCursor wait;
    const int slot = std::max(0, cbo_revert_role->currentData().toInt());
    if (cbo_revert_role->currentData().toInt() < 0) cbo_revert_role->setCurrentIndex(cbo_revert_role->findData(1));
    const QString column = RoleSet::column(std::max(1, slot));
    const QDateTime at = dtp_moment->dateTime();
    tree_changes->clear();
    tree_changes->setColumnCount(5);
    tree_changes->setHeaderLabels({QStringLiteral("Hol"), QStringLiteral("Mi"), QStringLiteral("Szerepkör"),
                                   at.toString(DateFormats::kSecond), QStringLiteral("Most")});
    if (const QString unknown = LogKeeping::unknownBefore(*c, at); !unknown.isEmpty()) {
        auto* note = new QTreeWidgetItem(tree_changes, {unknown});
        note->setFirstColumnSpanned(true);
        note->setForeground(0, kRefused);
        return;
    }
    for (const char* table : {"qnd_auth_unit", "qnd_menu", "qnd_olap_report", "qnd_report", "qnd_list"}) {
        const QString t = QString::fromLatin1(table);
        const QHash<int, QString> then = columnAt(*c, t, column, at);
        const QHash<int, QString> now = columnAt(*c, t, column, QDateTime::currentDateTime().addYears(100));
        QList<int> rows = then.keys();
        std::sort(rows.begin(), rows.end());
        for (int row : std::as_const(rows)) {
            auto* item = new QTreeWidgetItem(tree_changes, {tableText(t), rowText(t, row), columnText(column, t), valueText(column, then.value(row)),
                                                            now.contains(row) ? valueText(column, now.value(row)) : QStringLiteral("(törölve)")});
            if (then.value(row) != now.value(row))
                for (int col = 0; col < 5; ++col) item->setBackground(col, QColor(0xff, 0xf0, 0xb0));
        }
    }
    for (int i = 0; i < tree_changes->columnCount(); ++i) tree_changes->resizeColumnToContents(i);
}

bool RightsExplorer::revert()
{
    Connection* c = &connection();
    const int slot = cbo_revert_role->currentData().toInt();
    const QDateTime at = dtp_moment->dateTime();
    if (const QString unknown = LogKeeping::unknownBefore(*c, at); !unknown.isEmpty()) {
        module().message().MsgWarning(unknown);
        return false;
    }
    QList<RevertStep> plan;
    {
        Controls::WaitCursor wait;
        plan = revertPlan(*c, at, slot);
    }
    const QString what = slot < 0 ? QStringLiteral("minden jogosultság") : roleName(slot);
    if (plan.isEmpty()) {
        module().message().MsgInfo(QStringLiteral("Nincs mit visszaállítani: %1 %2 óta nem változott.")
                                       .arg(what, at.toString(DateFormats::kSecond)));
        return false;
    }
    // The preview: every change the revert will write, then the question.
    QDialog dlg(this);
    dlg.setWindowTitle(QStringLiteral("Visszaállítás"));
    dlg.resize(820, 480);
    auto* steps = new QTreeWidget(&dlg);
    steps->setObjectName(QStringLiteral("tree_plan"));
    steps->setRootIsDecorated(false);
    steps->setHeaderLabels({QStringLiteral("Hol"), QStringLiteral("Mi"), QStringLiteral("Mit"), QStringLiteral("Most"), QStringLiteral("Visszaállítva")});
    for (const RevertStep& s : std::as_const(plan))
        new QTreeWidgetItem(steps, {tableText(s.table), rowText(s.table, s.rowId), columnText(s.column, s.table), valueText(s.column, s.now),
                                    valueText(s.column, s.then)});
    for (int i = 0; i < steps->columnCount(); ++i) steps->resizeColumnToContents(i);
    auto* buttons = new QDialogButtonBox(&dlg);
    buttons->addButton(QStringLiteral("Visszaállítás"), QDialogButtonBox::AcceptRole)->setObjectName(QStringLiteral("cmd_ok"));
    buttons->addButton(Texts::kCancel, QDialogButtonBox::RejectRole)->setObjectName(QStringLiteral("cmd_cancel"));
    connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    auto* box = new QVBoxLayout(&dlg);
    box->addWidget(new QLabel(QStringLiteral("%1 visszaállítása olyanra, amilyen %2-kor volt: %3 változás.")
                                  .arg(what, at.toString(DateFormats::kSecond))
                                  .arg(plan.size()),
                              &dlg));
    box->addWidget(steps, 1);
    box->addWidget(buttons);
    if (dlg.exec() != QDialog::Accepted) return false;
    QString why;
    bool ok;
    {
        Controls::WaitCursor wait;
        ok = revertTo(*c, plan, &why, lockQuestion());
    }
    if (!ok) {
        module().message().MsgInfo(why);
        return false;
    }
    showChanges();
    showRights();
    return true;
}

QString RightsExplorer::roleName(int slot) const { return QStringLiteral("%1 (%2)").arg(m_roleNames.value(slot)).arg(slot); }

QString RightsExplorer::roleNames(RoleSet roles) const
{
    QStringList names;
    for (int s : roles.list()) names << roleName(s);
    return names.isEmpty() ? QStringLiteral("nincs") : names.join(QStringLiteral(", "));
}

void RightsExplorer::InitializeSite()
{
    titleLabel()->setText(QStringLiteral("Jogosultság-elemző"));
    Connection* c = &connection();
    m_roleNames.clear();
    for (int i = 0; i < RoleSet::kSlots; ++i) m_roleNames << NexoFrame::roleName(*c, i);
    // Every user, the deleted and barred ones marked: they are asked about too.
    cbo_user->clear();
    for (const QVariantList& u : c->select(QStringLiteral("SELECT id, display_name, user_name, del_status, access_denied FROM qnd_user "
                                                          "ORDER BY %1, id")
                                               .arg(c->engine().orderTerm(c->engine().sortExpression(c->tableDef(Tables::User), QStringLiteral("display_name")), false)))) {
        QString text = QStringLiteral("%1 (%2)").arg(u[1].toString(), u[2].toString());
        if (u[3].toInt() != 0) text += QStringLiteral(" – törölt");
        else if (u[4].toLongLong() != 0 || u[4].toBool()) text += QStringLiteral(" – letiltott");
        cbo_user->addItem(text, u[0].toInt());
    }
    cbo_user->setCurrentIndex(std::max(0, cbo_user->findData(session().userId())));
    // The keys offered as they are typed: every live unit's prefix.
    QStringList prefixes;
    for (const QVariantList& r : c->select(QStringLiteral("SELECT DISTINCT prefix FROM qnd_auth_unit WHERE del_status=0 AND prefix<>''")))
        prefixes << r[0].toString();
    prefixes.sort();
    auto* completer = new QCompleter(prefixes, txt_key);
    completer->setCaseSensitivity(Qt::CaseSensitive);
    completer->setFilterMode(Qt::MatchContains);
    txt_key->setCompleter(completer);
    fillSubjects();
    showRights();
    showKeeping();
    cbo_revert_role->clear();
    cbo_revert_role->addItem(QStringLiteral("Minden jogosultság"), -1);
    cbo_unused_role->clear();
    for (int i = 0; i < RoleSet::kSlots; ++i) {
        cbo_revert_role->addItem(roleName(i), i);
        if (i > 0) cbo_unused_role->addItem(roleName(i), i);
    }
    showChanges();
}

QTreeWidgetItem* RightsExplorer::showWho(const RightPath& p)
{
    tree_path->clear();
    QTreeWidgetItem* user = step(nullptr, tree_path,
                                 !p.userFound ? QStringLiteral("Felhasználó: nincs ilyen (%1)").arg(p.userId)
                                              : QStringLiteral("Felhasználó: %1 (%2) – %3").arg(p.userName, p.login,
                                                                                                 !p.userLive    ? QStringLiteral("törölve")
                                                                                                 : p.userBarred ? QStringLiteral("letiltva")
                                                                                                                : QStringLiteral("élő")),
                                 p.userInOrder());
    QTreeWidgetItem* group = step(user, tree_path,
                                  !p.groupFound ? QStringLiteral("Csoport: nincs ilyen (%1)").arg(p.groupId)
                                                : QStringLiteral("Csoport: %1 – %2").arg(p.groupName, p.groupLive ? QStringLiteral("élő")
                                                                                                                  : QStringLiteral("törölve")),
                                  p.groupFound && p.groupLive);
    return step(group, tree_path, QStringLiteral("Szerepkörei: %1").arg(roleNames(p.roles)), !p.roles.isEmpty());
}

RightPath RightsExplorer::showWhy(int userId, const QString& key)
{
    Connection* c = &connection();
    const RightPath p = explainRight(*c, userId, key);
    QTreeWidgetItem* roles = showWho(p);
    QTreeWidgetItem* units = step(roles, tree_path,
                                  p.units.isEmpty() ? QStringLiteral("A(z) „%1” kulcsra egyetlen élő jogosultság előtagja sem illeszkedik.").arg(p.key)
                                                    : QStringLiteral("Jogosultságok, amelyek előtagja illeszkedik a(z) „%1” kulcsra (a leghosszabb dönt):").arg(p.key),
                                  !p.units.isEmpty());
    for (const RightUnit& u : p.units) {
        QString text = QStringLiteral("%1 [%2] – szerepkörök: %3").arg(u.name, u.prefix, roleNames(u.roles));
        if (!u.counts) text += QStringLiteral(" – nem számít: a fölötte lévő jogosultság (%1) törölve van").arg(u.deletedAbove);
        else if (u.deciding) text += QStringLiteral(" – DÖNT");
        else text += QStringLiteral(" – rövidebb előtag, nem dönt");
        QTreeWidgetItem* item = step(units, tree_path, text, u.counts);
        if (u.deciding) {
            QFont f = item->font(0);
            f.setBold(true);
            item->setFont(0, f);
        }
    }
    QTreeWidgetItem* end = step(units, tree_path,
                                p.granted ? QStringLiteral("Közös szerepkör: %1").arg(roleNames(p.sharedSlots)) : QStringLiteral("Nincs közös szerepkör."),
                                p.granted);
    end->setForeground(0, p.granted ? kGranted : kRefused);
    tree_path->expandAll();
    lbl_decision->setText(p.reason);
    QPalette pal = lbl_decision->palette();
    pal.setColor(QPalette::WindowText, p.granted ? kGranted : kRefused);
    lbl_decision->setPalette(pal);
    return p;
}

namespace {

struct KindInfo {
    const char* table;
    const char* entries; // id and text of every entry offered
};

KindInfo kindInfo(int kind)
{
    switch (kind) {
    case RightsExplorer::MenuKind: return {"qnd_menu", nullptr};
    case RightsExplorer::ReportKind:
        return {"qnd_report", "SELECT id, caption FROM qnd_report WHERE del_status=0 AND report_type=1 AND caption<>'-' ORDER BY caption COLLATE nexo_hu, id"};
    case RightsExplorer::OlapKind:
        return {"qnd_olap_report", "SELECT id, caption FROM qnd_olap_report WHERE del_status=0 AND report_type<>0 ORDER BY caption COLLATE nexo_hu, id"};
    default: return {"qnd_list", "SELECT id, caption FROM qnd_list WHERE del_status=0 ORDER BY caption COLLATE nexo_hu, id"};
    }
}

} // namespace

void RightsExplorer::fillItems()
{
    Connection* c = &connection();
    cbo_item->clear();
    const int kind = cbo_kind->currentIndex();
    if (kind == KeyKind) return;
    if (kind == MenuKind) {
        for (const auto& [id, path] : menuItems(*c)) cbo_item->addItem(path, id);
        return;
    }
    for (const QVariantList& r : c->select(QString::fromLatin1(kindInfo(kind).entries))) cbo_item->addItem(r[1].toString(), r[0].toInt());
}

bool RightsExplorer::reaches(int kind, int itemId, const Holder& holder) const
{
    Connection* c = &connection();
    switch (kind) {
    case MenuKind: return menuIds(visibleMenu(*c, holder)).contains(itemId);
    case ReportKind:
        for (const ReportEntry& e : reportsForRoles(*c, holder.roles))
            if (e.id == itemId) return true;
        return false;
    case OlapKind: return OlapAccess(*c).reports(holder.roles).contains(itemId);
    case ListKind: {
        const Controls::ListScope scope = Controls::listsOfUser(holder);
        return !c->select(QStringLiteral("SELECT l.id FROM qnd_list l WHERE l.id = ? AND ") + scope.where, QVariantList{itemId} + scope.binds)
                    .isEmpty();
    }
    default: return false;
    }
}

bool RightsExplorer::showWhyItem(int userId, int kind, int itemId)
{
    Connection* c = &connection();
    const RightPath p = whoIs(*c, userId);
    QTreeWidgetItem* roles = showWho(p);
    const QString table = QString::fromLatin1(kindInfo(kind).table);
    const bool owned = table == QLatin1String("qnd_menu") || table == QLatin1String("qnd_list");
    const QString ownerColumn = table == QLatin1String("qnd_menu") ? QStringLiteral("create_user") : QStringLiteral("owner_user_id");
    // The item and the folders above it, each with its slots.
    QTreeWidgetItem* at = roles;
    RoleSet shared;
    bool own = false, chainLive = true;
    QList<QVariantList> chain;
    for (int id = itemId, depth = 0; id > 0 && depth < 64; ++depth) {
        const QList<QVariantList> r = c->select(QStringLiteral("SELECT id, %1, caption, del_status, %2%3 FROM %4 WHERE id=?")
                                                    .arg(table == QLatin1String("qnd_list") ? QStringLiteral("0") : QStringLiteral("parent_id"),
                                                         RoleSet::columns(), owned ? QStringLiteral(", ") + ownerColumn : QString(), table),
                                                {id});
        if (r.isEmpty()) break;
        chain.prepend(r[0]);
        id = r[0][1].toInt();
    }
    for (int i = 0; i < chain.size(); ++i) {
        const QVariantList& r = chain[i];
        const RoleSet on = RoleSet::fromRow(r, 4);
        const RoleSet both = on & p.roles;
        const bool mine = owned && p.owns(r.value(4 + RoleSet::kSlots).toInt());
        const bool live = r[3].toInt() == 0;
        chainLive = chainLive && live;
        QString text = QStringLiteral("%1 – szerepkörök: %2").arg(r[2].toString(), roleNames(on));
        if (!live) text += QStringLiteral(" – törölve");
        else if (mine) text += QStringLiteral(" – a felhasználó saját eleme");
        else if (both.isEmpty()) text += QStringLiteral(" – nincs közös szerepkör a csoporttal");
        at = step(at, tree_path, text, live && (mine || !both.isEmpty()));
        if (i == chain.size() - 1) {
            shared = both;
            own = mine;
        }
    }
    const bool granted = reaches(kind, itemId, p);
    QString reason;
    if (!p.live())
        reason = QStringLiteral("Tiltva: a felhasználó vagy a csoportja nincs rendben.");
    else if (granted)
        reason = own ? QStringLiteral("Engedélyezve: a felhasználó saját eleme.")
                     : QStringLiteral("Engedélyezve: közös szerepkör: %1.").arg(roleNames(shared));
    else if (!chainLive) reason = QStringLiteral("Tiltva: az elem vagy egy fölötte lévő mappa törölve van.");
    else if (shared.isEmpty()) reason = QStringLiteral("Tiltva: az elemnek nincs közös szerepköre a csoporttal.");
    else reason = QStringLiteral("Tiltva: egy fölötte lévő mappát nem lát a felhasználó (vagy üres mappa).");
    step(at, tree_path, reason, granted)->setForeground(0, granted ? kGranted : kRefused);
    tree_path->expandAll();
    lbl_decision->setText(reason);
    QPalette pal = lbl_decision->palette();
    pal.setColor(QPalette::WindowText, granted ? kGranted : kRefused);
    lbl_decision->setPalette(pal);
    return granted;
}

void RightsExplorer::fillSubjects()
{
    Connection* c = &connection();
    const bool users = opt_users->isChecked();
    const QString sql = users ? QStringLiteral("SELECT id, display_name FROM qnd_user WHERE del_status=0 ORDER BY %1, id")
                              : QStringLiteral("SELECT id, name FROM qnd_user_group WHERE del_status=0 ORDER BY %1, id");
    const QList<QVariantList> rows =
        c->select(sql.arg(c->engine().orderTerm(c->engine().sortExpression(c->tableDef(users ? Tables::User : Tables::UserGroup),
                                                                           users ? QStringLiteral("display_name") : QStringLiteral("name")),
                                                false)));
    for (QComboBox* box : {cbo_subject, cbo_compare}) {
        box->clear();
        if (box == cbo_compare) box->addItem(QStringLiteral("<nincs összevetés>"), -1);
        for (const QVariantList& r : rows) box->addItem(r[1].toString(), r[0].toInt());
    }
    if (users) cbo_subject->setCurrentIndex(std::max(0, cbo_subject->findData(session().userId())));
}

void RightsExplorer::showRights()
{
    Connection* c = &connection();
    Controls::WaitCursor wait;
    const bool users = opt_users->isChecked();
    const int subject = cbo_subject->currentData().toInt();
    const int other = cbo_compare->currentData().toInt();
    const bool comparing = cbo_compare->currentIndex() > 0;
    const auto rightsOf = [&](int id) { return users ? effectiveRights(*c, id) : effectiveRights(*c, -1, id); };
    // The subject as the rules see him: a user with his group, or a group alone.
    const auto holder = [&](int id) { return users ? userHolder(*c, id) : groupHolder(*c, id); };
    const auto menuOf = [&](int id) { return menuIds(visibleMenu(*c, holder(id))); };
    const QList<RightPath> mine = rightsOf(subject);
    QList<RightPath> theirs;
    if (comparing) theirs = rightsOf(other);

    tree_rights->clear();
    QStringList heads{QStringLiteral("Kulcs / menüpont"), QStringLiteral("Megnevezés"), cbo_subject->currentText()};
    if (comparing) heads << cbo_compare->currentText();
    tree_rights->setHeaderLabels(heads);
    const auto textRow = [&](QTreeWidgetItem* section, const QString& key, const QString& name, bool a, bool b,
                             const QString& aText, const QString& bText) {
        QStringList cells{key, name, aText};
        if (comparing) cells << bText;
        auto* item = new QTreeWidgetItem(section, cells);
        item->setForeground(2, a ? kGranted : kRefused);
        if (comparing) {
            item->setForeground(3, b ? kGranted : kRefused);
            if (a != b) {
                for (int col = 0; col < cells.size(); ++col) item->setBackground(col, QColor(0xff, 0xf0, 0xb0));
                item->setData(0, Qt::UserRole, true);
            }
        }
        return item;
    };
    const auto row = [&](QTreeWidgetItem* section, const QString& key, const QString& name, bool a, bool b) {
        textRow(section, key, name, a, b, yesNo(a), yesNo(b));
    };
    auto* keys = new QTreeWidgetItem(tree_rights, {QStringLiteral("Jogosultsági kulcsok")});
    QHash<QString, bool> other_;
    for (const RightPath& p : std::as_const(theirs)) other_.insert(p.key, p.granted);
    for (const RightPath& p : mine) {
        QString name;
        for (const RightUnit& u : p.units)
            if (u.prefix == p.key) name = u.name;
        row(keys, p.key, name, p.granted, other_.value(p.key));
    }
    auto* menu = new QTreeWidgetItem(tree_rights, {QStringLiteral("Menüpontok")});
    const QSet<int> seen = menuOf(subject), seen2 = comparing ? menuOf(other) : QSet<int>();
    for (const auto& [id, path] : menuItems(*c)) row(menu, QString::number(id), path, seen.contains(id), seen2.contains(id));
    // The printed reports, the OLAP reports and the lists, each by the rule that shows them.
    const auto printed = [&](int id) {
        QSet<int> ids;
        for (const ReportEntry& e : reportsForRoles(*c, holder(id).roles)) ids << e.id;
        return ids;
    };
    const auto lists = [&](int id) {
        const Controls::ListScope scope = Controls::listsOfUser(holder(id));
        QSet<int> ids;
        for (const QVariantList& r : c->select(QStringLiteral("SELECT l.id FROM qnd_list l WHERE ") + scope.where, scope.binds)) ids << r[0].toInt();
        return ids;
    };
    const OlapAccess olapTree(*c);
    const auto olap = [&](int id) { return olapTree.reports(holder(id).roles); };
    struct Section {
        QString title;
        QString sql; // id and text of every entry
        std::function<QSet<int>(int)> granted;
    };
    const QList<Section> more{
        {QStringLiteral("Riportok"), QStringLiteral("SELECT id, caption FROM qnd_report WHERE del_status=0 AND report_type=1 AND caption<>'-' ORDER BY caption COLLATE nexo_hu, id"), printed},
        {QStringLiteral("OLAP kimutatások"), QStringLiteral("SELECT id, caption FROM qnd_olap_report WHERE del_status=0 AND report_type<>0 ORDER BY caption COLLATE nexo_hu, id"), olap},
        {QStringLiteral("Listák"), QStringLiteral("SELECT id, caption FROM qnd_list WHERE del_status=0 ORDER BY caption COLLATE nexo_hu, id"), lists}};
    QList<QTreeWidgetItem*> sections{keys, menu};
    for (const Section& sec : more) {
        auto* item = new QTreeWidgetItem(tree_rights, {sec.title});
        sections << item;
        const QSet<int> a = sec.granted(subject), b = comparing ? sec.granted(other) : QSet<int>();
        for (const QVariantList& r : c->select(sec.sql)) row(item, QString::number(r[0].toInt()), r[1].toString(), a.contains(r[0].toInt()), b.contains(r[0].toInt()));
    }
    // How the subject logs in: whether a code follows the password.
    auto* login = new QTreeWidgetItem(tree_rights, {QStringLiteral("Bejelentkezés")});
    sections << login;
    {
        const QString a = twoStepText(users, subject), b = comparing ? twoStepText(users, other) : QString();
        const auto needs = [](const QString& text) { return text.startsWith(QLatin1String("igen")); };
        // The reason may be longer than its column.
        QTreeWidgetItem* item = textRow(login, QStringLiteral("Kétlépcsős bejelentkezés"), QString(), needs(a), needs(b), a, b);
        item->setToolTip(2, a);
        if (comparing) item->setToolTip(3, b);
    }
    for (QTreeWidgetItem* section : std::as_const(sections)) {
        QFont f = section->font(0);
        f.setBold(true);
        section->setFont(0, f);
        section->setExpanded(true);
        section->setFirstColumnSpanned(true);
    }
    tree_rights->header()->resizeSection(0, 300);
    tree_rights->header()->resizeSection(1, 320);
    applyFilter();
}

QString RightsExplorer::twoStepText(bool user, int id) const
{
    Connection& c = connection();
    if (!TwoStep::available(c)) return QStringLiteral("nem");
    QString why;
    if (user) {
        why = TwoStep::requiredBecause(c, id);
        if (why.isEmpty() && TwoStep::enrolled(c, id)) why = QStringLiteral("bekapcsolta");
    } else {
        why = TwoStep::groupRequiresBecause(c, id);
    }
    return why.isEmpty() ? QStringLiteral("nem") : QStringLiteral("igen (%1)").arg(why);
}

void RightsExplorer::applyFilter()
{
    const QString text = txt_filter->text().trimmed();
    for (int s = 0; s < tree_rights->topLevelItemCount(); ++s) {
        QTreeWidgetItem* section = tree_rights->topLevelItem(s);
        for (int i = 0; i < section->childCount(); ++i) {
            QTreeWidgetItem* item = section->child(i);
            const bool matches = text.isEmpty() || item->text(0).contains(text, Qt::CaseInsensitive)
                || item->text(1).contains(text, Qt::CaseInsensitive);
            item->setHidden(!matches || (chk_differences->isChecked() && !item->data(0, Qt::UserRole).toBool()));
        }
    }
}

bool RightsExplorer::exportRights(const QString& path, QString* error)
{
    CsvFile file(path);
    if (!file.open(error)) return false;
    QStringList heads{QStringLiteral("Fajta")};
    for (int col = 0; col < tree_rights->columnCount(); ++col) heads << tree_rights->headerItem()->text(col);
    file.row(heads);
    for (int s = 0; s < tree_rights->topLevelItemCount(); ++s) {
        QTreeWidgetItem* section = tree_rights->topLevelItem(s);
        for (int i = 0; i < section->childCount(); ++i) {
            QTreeWidgetItem* item = section->child(i);
            if (item->isHidden()) continue;
            QStringList cells{section->text(0)};
            for (int col = 0; col < tree_rights->columnCount(); ++col) cells << item->text(col);
            file.row(cells);
        }
    }
    return file.commit(error);
}

} // namespace NexoFrame
