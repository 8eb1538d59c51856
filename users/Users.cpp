#include "Users.h"
#include "BrowseView.h"
#include "Connection.h"
#include "ErrorList.h"
#include "LoginGuard.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "RightsKeys.h"
#include "TwoStep.h"
#include "cDDXUser.h"
#include "cDDXUserGroup.h"
#include "cMessage2.h"
#include <QAction>
#include <QHelpEvent>
#include <QLabel>
#include <QMenu>
#include <QSplitter>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QToolTip>
#include <QVBoxLayout>

namespace NexoFrame {

namespace {

using Controls::BrowseColumn;
using Controls::BrowseView;
using Controls::BrowseViewDef;

// The two numbered views of the panel (53 and 54 are the logs').
BrowseViewDef groupsView()
{
    return {31, Tables::UserGroup,
            {BrowseColumn{QStringLiteral("name"), QStringLiteral("Megnevezés"), 180},
             BrowseColumn{QStringLiteral("remark"), QStringLiteral("Megjegyzés"), 200}},
            QStringLiteral("id"), QStringLiteral("del_status=0"), QStringLiteral("name")};
}

BrowseViewDef usersView()
{
    return {32, Tables::User,
            {BrowseColumn{QStringLiteral("user_name"), QStringLiteral("Felhasználó név"), 130},
             BrowseColumn{QStringLiteral("display_name"), QStringLiteral("Teljes név"), 170},
             BrowseColumn{QStringLiteral("abbreviation"), QStringLiteral("Rövidítés"), 70},
             BrowseColumn{QStringLiteral("assignment"), QStringLiteral("Beosztás"), 120},
             BrowseColumn{QStringLiteral("email"), QStringLiteral("E-mail"), 170},
             BrowseColumn{QStringLiteral("access_denied"), QStringLiteral("Belépés tiltva"), 130},
             // The row's key, shown as the second step's mark (TwoStepMarkDelegate).
             BrowseColumn{QStringLiteral("id"), QStringLiteral("Kétlépcsős"), 80, false},
             BrowseColumn{QStringLiteral("is_driver"), QStringLiteral("Gépjárművezető"), 100},
             // Empty for a local user: the mark of who comes from the directory.
             BrowseColumn{QStringLiteral("directory_dn"), QStringLiteral("Címtári bejegyzés"), 220}},
            QStringLiteral("id"), QStringLiteral("del_status=0"), QStringLiteral("user_name")};
}

int columnOf(const BrowseViewDef& view, const char* column)
{
    for (int i = 0; i < view.columns.size(); ++i)
        if (view.columns[i].column == QLatin1String(column)) return i;
    return -1;
}

// A locked user's name in the colour of refusals, and the lock's end beside the barred mark
// (both keep him out, so they share a column).
class LockMarkDelegate : public QStyledItemDelegate {
public:
    LockMarkDelegate(const Users* panel, bool withText, QObject* parent)
        : QStyledItemDelegate(parent), m_panel(panel), m_withText(withText)
    {
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const QString lock = m_panel->lockText(index.row());
        if (lock.isEmpty()) return;
        if (m_withText) option->text = option->text.isEmpty() ? lock : option->text + QLatin1Char(' ') + lock;
        option->palette.setColor(QPalette::Text, QColor(0xb0, 0x00, 0x20));
    }
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override
    {
        const QString lock = m_panel->lockText(index.row());
        if (event->type() != QEvent::ToolTip || lock.isEmpty())
            return QStyledItemDelegate::helpEvent(event, view, option, index);
        QToolTip::showText(event->globalPos(),
                           QStringLiteral("%1: túl sok volt a sikertelen bejelentkezés ezzel a felhasználónévvel, ezért "
                                          "a program addig a helyes jelszóval sem engedi be. A „Zárolás feloldása” "
                                          "paranccsal előbb is feloldható.").arg(lock),
                           view);
        return true;
    }

private:
    const Users* m_panel;
    bool m_withText;
};

// "be" in the key's column for a user who logs in with a second step.
class TwoStepMarkDelegate : public QStyledItemDelegate {
public:
    TwoStepMarkDelegate(const Users* panel, QObject* parent) : QStyledItemDelegate(parent), m_panel(panel) {}

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->text = m_panel->twoStepText(index.row());
        option->displayAlignment = Qt::AlignLeft | Qt::AlignVCenter;
    }
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override
    {
        if (event->type() != QEvent::ToolTip || m_panel->twoStepText(index.row()).isEmpty())
            return QStyledItemDelegate::helpEvent(event, view, option, index);
        QToolTip::showText(event->globalPos(),
                           QStringLiteral("A felhasználó a jelszava után a hitelesítő alkalmazása kódjával lép be. "
                                          "A „Kétlépcsős azonosítás törlése” paranccsal törölhető."),
                           view);
        return true;
    }

private:
    const Users* m_panel;
};

} // namespace

Users::Users(QWidget* parent) : AdminPanel(QStringLiteral("NexoFrame.Users"), QStringLiteral("Users"), parent)
{
    splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setObjectName(QStringLiteral("PaneSplitter"));
    auto pane = [this](const char* barName, QToolBar*& bar, BrowseView*& list, const char* listName) {
        auto* box = new QWidget(splitter);
        auto* v = new QVBoxLayout(box);
        v->setContentsMargins(0, 0, 0, 0);
        bar = new QToolBar(ModuleTexts::kMasterData, box);
        bar->setObjectName(QString::fromLatin1(barName));
        bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        list = new BrowseView(box);
        list->setObjectName(QString::fromLatin1(listName));
        v->addWidget(bar);
        v->addWidget(list, 1);
        splitter->addWidget(box);
    };
    pane("cmd_bar_class", cmd_bar_class, brw_item, "brw_item");
    pane("cmd_bar_class_1", cmd_bar_class_1, brw_item_1, "brw_item_1");
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    body()->addWidget(splitter, 1);
    popup = new QMenu(QStringLiteral("Popup"), this);
    popup_1 = new QMenu(QStringLiteral("Popup"), this);
    for (auto [list, menu] : {std::pair{brw_item, popup}, std::pair{brw_item_1, popup_1}}) {
        list->table()->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(list->table(), &QWidget::customContextMenuRequested, this, [list, menu](const QPoint& pos) {
            if (!menu->actions().isEmpty()) menu->popup(list->table()->viewport()->mapToGlobal(pos));
        });
    }
    // The users follow the selected group at once.
    connect(brw_item, &BrowseView::selectionChanged, this, [this](int group) {
        runStep("brw_item_SelectionChanged", [&] { brw_item_1->setFilter(QStringLiteral("user_group_id=%1").arg(group)); });
    });
    connect(brw_item, &BrowseView::activated, this, [this] { if (!cmd_bar_class->actions().isEmpty()) ModifyGroup(); });
    connect(brw_item_1, &BrowseView::activated, this, [this] { if (!cmd_bar_class_1->actions().isEmpty()) ModifyUser(); });
    // Every read of the users' list (a group picked, a search, a sort, a refresh) reads the
    // locked names and the users with a second step once; the rows then only look them up.
    QTableView* users = brw_item_1->table();
    connect(users->model(), &QAbstractItemModel::modelReset, this, &Users::listRead);
    connect(users->model(), &QAbstractItemModel::rowsInserted, this, &Users::updateCommands);
    connect(users->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &Users::updateCommands);
    users->setItemDelegateForColumn(columnOf(usersView(), "user_name"), new LockMarkDelegate(this, false, users));
    users->setItemDelegateForColumn(columnOf(usersView(), "access_denied"), new LockMarkDelegate(this, true, users));
    users->setItemDelegateForColumn(columnOf(usersView(), "id"), new TwoStepMarkDelegate(this, users));
}

Users::~Users() = default;

void Users::InitializeSite()
{
    Connection* c = &connection();
    if (!m_guard || &m_guard->connection() != c) m_guard = std::make_unique<LoginGuard>(*c);
    m_central = !c->settings().userManagementLocal();
    // Kept also when the users are kept in a directory: the groups hold its mapping and the role
    // slots, local users are made here, and a directory user's own fields are read-only in his form.
    titleLabel()->setText(!m_central
                              ? QStringLiteral("Felhasználó csoportok, felhasználók")
                              : QStringLiteral("Felhasználó csoportok, felhasználók (Központosított felhasználó kezelés van érvényben!)"));
    {
        buildCommands(cmd_bar_class, popup,
                      {{QStringLiteral("Új csoport"), QStringLiteral("Új csoport"), RightsKeys::kGroupNew, &Users::NewGroup},
                       {QStringLiteral("Csoport módosítása"), QStringLiteral("Csoportok módosítása"),
                        RightsKeys::kGroupModify, &Users::ModifyGroup},
                       {QStringLiteral("Csoport törlése"), QStringLiteral("Csoportok törlése"),
                        RightsKeys::kGroupDelete, &Users::DeleteGroup}});
        buildCommands(cmd_bar_class_1, popup_1,
                      {{QStringLiteral("Új felhasználó"), QStringLiteral("Új felhasználó"), RightsKeys::kUserNew, &Users::NewUser},
                       {QStringLiteral("Felhasználó módosítása"), QStringLiteral("Felhasználó módosítása"),
                        RightsKeys::kUserModify, &Users::ModifyUser},
                       {QStringLiteral("Felhasználó törlése"), QStringLiteral("Felhasználó törlése"),
                        RightsKeys::kUserDelete, &Users::DeleteUser},
                       {QStringLiteral("Zárolás feloldása"), QStringLiteral("Zárolás feloldása"), RightsKeys::kUserModify,
                        &Users::UnlockUser},
                       {QStringLiteral("Kétlépcsős azonosítás törlése"), QStringLiteral("Kétlépcsős azonosítás törlése"),
                        RightsKeys::kUserModify, &Users::RemoveTwoStep}});
        cmd_delete_user = cmd_bar_class_1->actions().value(2);
        mnu_delete_user = popup_1->actions().value(2);
        cmd_unlock = cmd_bar_class_1->actions().value(3);
        mnu_unlock = popup_1->actions().value(3);
        cmd_two_step = cmd_bar_class_1->actions().value(4);
        mnu_two_step = popup_1->actions().value(4);
    }
    cmd_bar_class->setVisible(!cmd_bar_class->actions().isEmpty());
    cmd_bar_class_1->setVisible(!cmd_bar_class_1->actions().isEmpty());
    brw_item_1->setConnection(c);
    brw_item_1->setView(usersView());
    brw_item_1->setFilter(QStringLiteral("user_group_id=-1"));
    brw_item->setConnection(c);
    brw_item->setView(groupsView());
}

void Users::buildCommands(QToolBar* bar, QMenu* menu, const QList<Command>& commands)
{
    if (!bar->actions().isEmpty()) return;
    const QStyle::StandardPixmap icons[] = {QStyle::SP_FileIcon, QStyle::SP_FileDialogDetailedView, QStyle::SP_TrashIcon,
                                            QStyle::SP_DialogResetButton, QStyle::SP_DialogDiscardButton};
    for (int i = 0; i < commands.size(); ++i) {
        const Command cmd = commands[i];
        for (auto [owner, caption] : {std::pair<QWidget*, QString>{bar, cmd.barCaption}, {menu, cmd.menuCaption}}) {
            auto* a = new QAction(style()->standardIcon(icons[i % std::size(icons)]), caption, owner);
            a->setData(cmd.right);
            connect(a, &QAction::triggered, this, [this, run = cmd.run] { (this->*run)(); });
            owner->addAction(a);
        }
    }
}

void Users::showNew(BrowseView* list, const QString& right, std::unique_ptr<cDDXRecord> record)
{
    if (!testRight(right)) return;
    if (record->ShowForm() != rvOK) return;
    list->refresh();
    list->selectId(record->id());
}

void Users::modify(BrowseView* list, const QString& right, std::unique_ptr<cDDXRecord> record)
{
    const int id = list->selectedId();
    if (id < 1 || !testRight(right)) return;
    if (!record->CoreLoad(id) || record->ShowForm() != rvOK) return;
    list->refresh();
}

void Users::remove(BrowseView* list, const QString& right, std::unique_ptr<cDDXRecord> record)
{
    const int id = list->selectedId();
    if (id < 1 || !testRight(right)) return;
    // A row the record will not give up is refused before the question, in its own words.
    if (record->CoreLoad(id)) {
        if (const QString why = record->deleteRefusal(); !why.isEmpty()) {
            module().message().MsgError(why);
            return;
        }
    }
    if (module().message().MsgQuestionYesNo(ModuleTexts::kConfirmDelete) != 2) return;
    if (record->CoreLoad(id) && record->Delete() && record->CoreUpdate()) {
        list->refresh();
        return;
    }
    ShowErrorList(QStringLiteral("Hiba lista"));
}

void Users::NewGroup()
{
    runStep("NewGroup", [this] { showNew(brw_item, RightsKeys::kGroupNew, std::make_unique<cDDXUserGroup>()); });
}

void Users::ModifyGroup()
{
    runStep("ModifyGroup", [this] { modify(brw_item, RightsKeys::kGroupModify, std::make_unique<cDDXUserGroup>()); });
}

void Users::DeleteGroup()
{
    runStep("DeleteGroup", [this] { remove(brw_item, RightsKeys::kGroupDelete, std::make_unique<cDDXUserGroup>()); });
}

void Users::NewUser()
{
    runStep("NewUser", [this] {
        const int group = brw_item->selectedId();
        if (group < 1) return;
        auto user = std::make_unique<cDDXUser>();
        user->set_user_group_id(group);
        showNew(brw_item_1, RightsKeys::kUserNew, std::move(user));
    });
}

void Users::ModifyUser()
{
    runStep("ModifyUser", [this] { modify(brw_item_1, RightsKeys::kUserModify, std::make_unique<cDDXUser>()); });
}

void Users::DeleteUser()
{
    runStep("DeleteUser", [this] { remove(brw_item_1, RightsKeys::kUserDelete, std::make_unique<cDDXUser>()); });
}

void Users::UnlockUser()
{
    runStep("UnlockUser", [this] {
        const QModelIndex current = brw_item_1->table()->currentIndex();
        const QString name = current.isValid() ? cellAt(current.row(), "user_name") : QString();
        if (!m_guard || !locks().contains(LoginGuard::keyOf(name)) || !testRight(RightsKeys::kUserModify)) return;
        m_guard->clear(name);
        brw_item_1->refresh();
    });
}

void Users::RemoveTwoStep()
{
    runStep("RemoveTwoStep", [this] {
        const QModelIndex current = brw_item_1->table()->currentIndex();
        const int id = brw_item_1->selectedId();
        if (!current.isValid() || !enrolled().contains(id) || !testRight(RightsKeys::kUserModify)) return;
        const QString who = QStringLiteral("%1 (%2)").arg(cellAt(current.row(), "display_name"), cellAt(current.row(), "user_name"));
        if (module().message().MsgQuestionYesNo(
                QStringLiteral("Törli %1 kétlépcsős azonosítását?").arg(who),
                QStringLiteral("A titkos kulcsa és a helyreállító kódjai törlődnek. Ha a csoportja vagy a szerepköre "
                               "megköveteli, a következő bejelentkezésekor újra be kell állítania."))
            != cMessage2::rYes)
            return;
        QString error;
        if (!TwoStep::remove(connection(), id, &error)) {
            module().message().MsgError(error);
            return;
        }
        brw_item_1->refresh();
    });
}

void Users::listRead()
{
    m_locksStale = true;
    m_enrolledStale = true;
    updateCommands();
}

const QHash<QString, QDateTime>& Users::locks() const
{
    // Asked only once a row wants its mark: a list read that shows no rows reads nothing.
    if (m_locksStale && m_guard) {
        m_locksStale = false;
        m_locked.clear();
        try {
            m_locksRead = m_guard->now();
            m_locked = m_guard->lockedNames();
        } catch (const DbError&) {
            // The list still shows; the marks come back with its next read.
        }
    }
    return m_locked;
}

const QSet<int>& Users::enrolled() const
{
    if (m_enrolledStale && m_guard) {
        m_enrolledStale = false;
        m_enrolled.clear();
        try {
            m_enrolled = TwoStep::enrolledUsers(connection());
        } catch (const DbError&) {
            // As with the locks: the marks come back with the list's next read.
        }
    }
    return m_enrolled;
}

void Users::updateCommands()
{
    // The list's own column says who comes from the directory: no read to wait for.
    const QModelIndex current = brw_item_1->table()->currentIndex();
    const bool fromDirectory = m_central && current.isValid() && !cellAt(current.row(), "directory_dn").isEmpty();
    for (QAction* a : {cmd_delete_user, mnu_delete_user})
        if (a) a->setEnabled(!fromDirectory);
    // Right after a read of the list the marks' own reads wait until its rows are on screen,
    // which asks them first anyway: a group picked shows its users before anything else.
    if (m_locksStale || m_enrolledStale) {
        for (QAction* a : {cmd_unlock, mnu_unlock, cmd_two_step, mnu_two_step})
            if (a) a->setEnabled(false);
        QTimer::singleShot(0, this, &Users::commandsForCurrent);
        return;
    }
    commandsForCurrent();
}

void Users::commandsForCurrent()
{
    const QModelIndex current = brw_item_1->table()->currentIndex();
    const bool locked = current.isValid() && locks().contains(LoginGuard::keyOf(cellAt(current.row(), "user_name")));
    const bool twoStep = current.isValid() && enrolled().contains(brw_item_1->selectedId());
    for (QAction* a : {cmd_unlock, mnu_unlock})
        if (a) a->setEnabled(locked);
    for (QAction* a : {cmd_two_step, mnu_two_step})
        if (a) a->setEnabled(twoStep);
}

QString Users::cellAt(int row, const char* column) const
{
    static const BrowseViewDef view = usersView();
    return brw_item_1->table()->model()->index(row, columnOf(view, column)).data().toString();
}

QString Users::twoStepText(int row) const
{
    return enrolled().contains(cellAt(row, "id").toInt()) ? QStringLiteral("be") : QString();
}

QString Users::lockText(int row) const
{
    const auto it = locks().constFind(LoginGuard::keyOf(cellAt(row, "user_name")));
    if (it == m_locked.constEnd()) return {};
    return QStringLiteral("Zárolva %1-ig").arg(LoginGuard::untilText(*it, m_locksRead));
}

} // namespace NexoFrame
