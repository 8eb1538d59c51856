#include "TreePanel.h"
#include "Access.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "ErrorList.h"
#include "LockRetry.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "Record.h"
#include "RoleTicks.h"
#include "RightsHistory.h"
#include "cMessage2.h"
#include <QHelpEvent>
#include <QShortcut>
#include <QToolTip>
#include "cMessage2.h"
#include <QAction>
#include <QComboBox>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace NexoFrame {

namespace {

constexpr int kLoadedRole = Qt::UserRole + 1;
constexpr int kCheckRole = Qt::UserRole + 2;

QString keyOf(int id) { return QStringLiteral("RID") + QString::number(id); }

// The wait cursor for the length of a load.
struct WaitCursor {
    WaitCursor() { WaitCursorOn(); }
    ~WaitCursor() { WaitCursorOff(); }
};

} // namespace

TreePanel::TreePanel(const QString& progId, const QString& controlName, QWidget* parent)
    : AdminPanel(progId, controlName, parent)
{
    tree_Item = new QTreeWidget(this);
    tree_Item->setObjectName(QStringLiteral("tree_Item"));
    tree_Item->setHeaderHidden(true);
    tree_Item->setUniformRowHeights(true);
    tree_Item->setContextMenuPolicy(Qt::CustomContextMenu);
    body()->addWidget(tree_Item, 1);

    connect(tree_Item, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* item) {
        ensureChildren(item);
        nodeExpanded(item, true);
    });
    connect(tree_Item, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* item) { nodeExpanded(item, false); });
    connect(tree_Item, &QTreeWidget::itemChanged, this, &TreePanel::onItemChanged);
    connect(tree_Item, &QTreeWidget::itemClicked, this, &TreePanel::onItemClicked);
    connect(tree_Item, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        if (!hasContextMenu() || !popup || (QGuiApplication::keyboardModifiers() & Qt::ShiftModifier)) return;
        if (QTreeWidgetItem* it = tree_Item->itemAt(pos)) tree_Item->setCurrentItem(it);
        // Modify and delete need an item; the root is none.
        for (QAction* a : popup->actions())
            if (a->property("treeAction").toInt() != int(TreeAction::New)) a->setVisible(SelectedId() > 0);
        popup->popup(tree_Item->viewport()->mapToGlobal(pos));
    });
}

TreePanel::~TreePanel() = default;

std::unique_ptr<cDDXRecord> TreePanel::makeNewRecord(int) const { return makeRecord(); }

void TreePanel::setupCommandBar()
{
    if (cmd_bar_class) return;
    cmd_bar_class = new QToolBar(ModuleTexts::kMasterData, this);
    cmd_bar_class->setObjectName(QStringLiteral("cmd_bar_class"));
    cmd_bar_class->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    popup = new QMenu(QStringLiteral("Popup"), this);
    popup->setObjectName(QStringLiteral("Popup"));
    const QList<TreeCommand> cmds = commands();
    for (int i = 0; i < cmds.size(); ++i) {
        const int id = cmds[i].id;
        const QStyle::StandardPixmap icon = cmds[i].action == TreeAction::New      ? QStyle::SP_FileIcon
                                            : cmds[i].action == TreeAction::Modify ? QStyle::SP_FileDialogDetailedView
                                                                                   : QStyle::SP_TrashIcon;
        for (QWidget* owner : {static_cast<QWidget*>(cmd_bar_class), static_cast<QWidget*>(popup)}) {
            auto* a = new QAction(style()->standardIcon(icon), cmds[i].caption, owner);
            a->setProperty("treeAction", int(cmds[i].action));
            a->setData(id);
            a->setObjectName(QStringLiteral("cmd_%1").arg(id));
            connect(a, &QAction::triggered, this, [this, id] { runCommand(id); });
            owner->addAction(a);
        }
    }
    // The role bar goes above the command bar once the mode is known.
    body()->insertWidget(1, cmd_bar_class);
}

void TreePanel::applyMode()
{
    titleLabel()->setText(titleText(roleMode()));
    if (roleMode()) buildRoleBar();
    else if (role_bar) role_bar->hide();
}

void TreePanel::buildRoleBar()
{
    if (role_bar) {
        role_bar->show();
        return;
    }
    role_bar = new QToolBar(QStringLiteral("Szerepkörök"), this);
    role_bar->setObjectName(QStringLiteral("role_bar"));
    auto* label = new QLabel(QStringLiteral("Szerepkörök:"), role_bar);
    role_bar->addWidget(label)->setData(-1000001);
    cbo_role = new QComboBox(role_bar);
    cbo_role->setObjectName(QStringLiteral("cbo_role"));
    cbo_role->setMinimumContentsLength(18);
    role_bar->addWidget(cbo_role)->setData(-1000002);
    auto* warn = new QLabel(QStringLiteral(" Figyelem: A változtatások azonnal érvénybe lépnek!"), role_bar);
    QPalette red = warn->palette();
    red.setColor(QPalette::WindowText, QColor(0xb0, 0x00, 0x00));
    warn->setPalette(red);
    role_bar->addWidget(warn)->setData(-1000006);
    lbl_impact = new QLabel(role_bar);
    lbl_impact->setObjectName(QStringLiteral("lbl_impact"));
    lbl_impact->setContentsMargins(12, 0, 0, 0);
    role_bar->addWidget(lbl_impact)->setData(-1000007);
    // The tooltip of a node says what its tick would do; Ctrl+Z takes the last tick back.
    tree_Item->viewport()->installEventFilter(this);
    auto* undo = new QShortcut(QKeySequence::Undo, tree_Item);
    connect(undo, &QShortcut::activated, this, [this] {
        runStep("tree_Item_Undo", [this] { undoLastTick(); });
    });
    body()->insertWidget(1, role_bar);
}

void TreePanel::InitializeSite()
{
    if (roleMode() && cbo_role && cbo_role->count() == 0) {
        Connection* c = &connection();
        // Slot 0 is never offered here.
        for (int n = 1; n < RoleSet::kSlots; ++n) cbo_role->addItem(roleName(*c, n), n);
        cbo_role->setCurrentIndex(0);
        connect(cbo_role, &QComboBox::currentIndexChanged, this, [this](int i) {
            if (i >= 0) selectRole(cbo_role->itemData(i).toInt());
        });
    }
    reloadTree();
}

void TreePanel::selectRole(int slot)
{
    if (slot < 1 || slot > 9) return;
    m_slot = slot;
    if (cbo_role) {
        const int i = cbo_role->findData(slot);
        if (i >= 0 && i != cbo_role->currentIndex()) {
            cbo_role->setCurrentIndex(i); // comes back here through the signal
            return;
        }
    }
    runStep("cbo_role_Change", [this] { reloadTree(); });
}

QTreeWidgetItem* TreePanel::addNode(QTreeWidgetItem* parent, int id, const QString& text, bool checked, int kind)
{
    auto* item = new QTreeWidgetItem(parent);
    item->setText(0, text);
    item->setData(0, Qt::UserRole, keyOf(id));
    if (firstLevelBold() && RoleTicks::idOf(parent) == 0) {
        QFont f = item->font(0);
        f.setBold(true);
        item->setFont(0, f);
    }
    if (roleMode()) {
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(0, checked ? Qt::Checked : Qt::Unchecked);
        item->setData(0, kCheckRole, checked);
        // A right not held shows grey, so that a grant below it lifts it too.
        if (tickCoversSubtree()) item->setForeground(0, checked ? RoleTicks::grantColour() : RoleTicks::greyColour());
    }
    m_nodes.insert(id, item);
    styleNode(item, kind);
    return item;
}

bool TreePanel::hasLiveChildren(Recordset& rs, int id)
{
    if (!rs.seek(Recordset::SeekOp::GreaterOrEqual, {id})) return false;
    for (; !rs.eof() && rs.field(QStringLiteral("parent_id")).toInt() == id; rs.moveNext())
        if (rs.field(QStringLiteral("del_status")).toInt() == 0 && showsRow(rs.field(QStringLiteral("id")).toInt())) return true;
    return false;
}

void TreePanel::loadChildren(QTreeWidgetItem* node)
{
    const int parentId = RoleTicks::idOf(node);
    node->setData(0, kLoadedRole, true);
    Connection* c = &connection();
    if (!m_rs) m_rs = c->openRecordset(tableNumber());
    Recordset& rs = *m_rs;
    rs.setIndex(childIndex());
    const QString authColumn = RoleSet::column(m_slot);
    struct Row { int id; QString text; bool checked; int kind; };
    QList<Row> rows;
    if (rs.seek(Recordset::SeekOp::GreaterOrEqual, {parentId})) {
        for (; !rs.eof() && rs.field(QStringLiteral("parent_id")).toInt() == parentId; rs.moveNext()) {
            if (rs.field(QStringLiteral("del_status")).toInt() != 0 || !showsRow(rs.field(QStringLiteral("id")).toInt())) continue;
            rows.append({rs.field(QStringLiteral("id")).toInt(), nodeText(rs), rs.field(authColumn).toBool(), nodeKind(rs)});
        }
    }
    for (const Row& r : rows) {
        QTreeWidgetItem* item = addNode(node, r.id, r.text, r.checked, r.kind);
        item->setChildIndicatorPolicy(hasLiveChildren(rs, r.id) ? QTreeWidgetItem::ShowIndicator
                                                                : QTreeWidgetItem::DontShowIndicatorWhenChildless);
    }
    rs.setIndex(QString());
    c->idle();
}

void TreePanel::ensureChildren(QTreeWidgetItem* node)
{
    if (!node || node->data(0, kLoadedRole).toBool()) return;
    WaitCursor wait;
    const bool wasFilling = m_filling;
    m_filling = true;
    try {
        loadChildren(node);
    } catch (...) {
        m_filling = wasFilling;
        throw;
    }
    m_filling = wasFilling;
}

void TreePanel::reloadChildren(QTreeWidgetItem* node)
{
    const QList<QTreeWidgetItem*> children = node->takeChildren();
    for (QTreeWidgetItem* child : children) dropNode(child);
    node->setData(0, kLoadedRole, false);
    ensureChildren(node);
}

void TreePanel::dropNode(QTreeWidgetItem* node)
{
    QList<QTreeWidgetItem*> stack{node};
    while (!stack.isEmpty()) {
        QTreeWidgetItem* it = stack.takeLast();
        m_nodes.remove(RoleTicks::idOf(it));
        for (int i = 0; i < it->childCount(); ++i) stack << it->child(i);
    }
    delete node;
}

void TreePanel::reloadTree()
{
    WaitCursor wait;
    treeReloading();
    m_filling = true;
    tree_Item->setUpdatesEnabled(false);
    tree_Item->clear();
    m_nodes.clear();
    auto* root = new QTreeWidgetItem(tree_Item);
    root->setText(0, rootText());
    root->setData(0, Qt::UserRole, keyOf(0));
    QFont f = root->font(0);
    f.setBold(true);
    root->setFont(0, f);
    if (roleMode()) {
        root->setCheckState(0, Qt::Checked);
        root->setData(0, kCheckRole, true);
        root->setForeground(0, RoleTicks::grantColour());
        // The root stands for the whole tree and is not a row to tick.
        root->setFlags(root->flags() & ~Qt::ItemIsUserCheckable);
    }
    m_nodes.insert(0, root);
    styleNode(root, kRootKind);
    try {
        loadChildren(root);
    } catch (...) {
        tree_Item->setUpdatesEnabled(true);
        m_filling = false;
        throw;
    }
    root->setExpanded(true);
    tree_Item->setCurrentItem(root);
    tree_Item->setUpdatesEnabled(true);
    m_filling = false;
}

int TreePanel::SelectedId() const
{
    QTreeWidgetItem* item = tree_Item->currentItem();
    if (!item) return -1;
    return item->data(0, Qt::UserRole).toString().mid(3).toInt();
}

void TreePanel::onItemChanged(QTreeWidgetItem* item, int)
{
    if (m_filling || !roleMode()) return;
    const bool checked = item->checkState(0) == Qt::Checked;
    if (item->data(0, kCheckRole).toBool() == checked) return; // a colour or text change
    m_justTicked = true;
    runStep("tree_Item_NodeCheck", [&] {
        m_filling = true;
        struct Reset {
            bool& flag;
            ~Reset() { flag = false; }
        } reset{m_filling};
        RoleTicks ticks(connection(), tableNumber(), m_slot,
                        tickCoversSubtree() ? RoleTicks::Reach::Subtree : RoleTicks::Reach::OwnRow);
        WaitCursor wait; // a large subtree takes a moment
        Connection& c = connection();
        const int id = RoleTicks::idOf(item);
        const QHash<int, QString> before = id > 0 ? usersReaching(id) : QHash<int, QString>();
        const qint64 from = lastRightsChange(c);
        if (ticks.toggle(item, checked)) {
            m_tickFrom = from;
            m_tickTo = lastRightsChange(c);
            if (id > 0) showImpact(before, usersReaching(id));
            emit tableChanged(tableNumber());
        }
        // Remember what is shown now, also when the table could not be opened.
        for (QTreeWidgetItem* it : std::as_const(m_nodes))
            it->setData(0, kCheckRole, it->checkState(0) == Qt::Checked);
    });
}

QHash<int, QString> TreePanel::usersReaching(int id)
{
    // The item and the user's group share a slot.
    Connection& c = connection();
    const TableDef* t = c.tableDef(tableNumber());
    QHash<int, QString> out;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT u.id, u.display_name FROM %1 JOIN %2 t ON t.id = ? WHERE %3 AND %4")
                                              .arg(liveUsersFrom(), t->name, liveUsersWhere(), sharesSlotSql(QStringLiteral("g"), QStringLiteral("t"))),
                                          {id}))
        out.insert(r[0].toInt(), r[1].toString());
    return out;
}

namespace {

QString names(QList<QString> l)
{
    std::sort(l.begin(), l.end());
    if (l.size() > 25) {
        const qsizetype more = l.size() - 25;
        l = l.mid(0, 25);
        l << QStringLiteral("és még %1").arg(more);
    }
    return l.join(QStringLiteral(", "));
}

} // namespace

void TreePanel::showImpact(const QHash<int, QString>& before, const QHash<int, QString>& after)
{
    if (!lbl_impact) return;
    QList<QString> gained, lost;
    for (auto it = after.cbegin(); it != after.cend(); ++it)
        if (!before.contains(it.key())) gained << *it;
    for (auto it = before.cbegin(); it != before.cend(); ++it)
        if (!after.contains(it.key())) lost << *it;
    QStringList parts, tips;
    if (!gained.isEmpty()) {
        parts << QStringLiteral("+%1 felhasználó").arg(gained.size());
        tips << QStringLiteral("Megkapta: %1").arg(names(gained));
    }
    if (!lost.isEmpty()) {
        parts << QStringLiteral("−%1 felhasználó").arg(lost.size());
        tips << QStringLiteral("Elvesztette: %1").arg(names(lost));
    }
    lbl_impact->setText(parts.isEmpty() ? QStringLiteral("A pipa egyetlen felhasználó jogát sem változtatta meg. (Ctrl+Z: visszavonás)")
                                        : parts.join(QStringLiteral(", ")) + QStringLiteral(" (Ctrl+Z: visszavonás)"));
    lbl_impact->setToolTip(tips.join(QLatin1Char('\n')));
}

QString TreePanel::impactText(int id)
{
    Connection& c = connection();
    const QHash<int, QString> now = usersReaching(id);
    const TableDef* t = c.tableDef(tableNumber());
    const bool ticked =
        c.select(QStringLiteral("SELECT %1 FROM %2 WHERE id=?").arg(RoleSet::column(m_slot), t->name), {id}).value(0).value(0).toBool();
    // Who holds the slot, and of them who reaches the item by another slot too.
    QList<QString> through, only;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT u.display_name, CASE WHEN %1 THEN 1 ELSE 0 END FROM %2 JOIN %3 t ON t.id = ? "
                                                         "WHERE %4 AND %5")
                                              .arg(sharesSlotSql(QStringLiteral("g"), QStringLiteral("t"), m_slot), liveUsersFrom(), t->name,
                                                   liveUsersWhere(), holdsAnySql(QStringLiteral("g"), RoleSet::of({m_slot}))),
                                          {id})) {
        through << r[0].toString();
        if (r[1].toInt() == 0) only << r[0].toString();
    }
    const QString role = cbo_role ? cbo_role->currentText() : QString::number(m_slot);
    QString text = QStringLiteral("Most %1 élő felhasználó éri el.").arg(now.size());
    if (through.isEmpty()) return text + QStringLiteral("\nA(z) „%1” szerepkör egyetlen élő felhasználó csoportjában sincs meg.").arg(role);
    if (ticked)
        text += QStringLiteral("\nA(z) „%1” szerepkörön át %2 felhasználó éri el.").arg(role).arg(through.size())
            + (only.isEmpty() ? QStringLiteral("\nA pipa levételével senki sem veszítené el (más szerepkörön át is elérik).")
                              : QStringLiteral("\nA pipa levételével elveszítené: %1").arg(names(only)));
    else
        text += only.isEmpty() ? QStringLiteral("\nA pipa senkinek sem adna új jogot.") : QStringLiteral("\nA pipával megkapná: %1").arg(names(only));
    return text;
}

QString TreePanel::impactWords(const QHash<int, QString>& now, const QHash<int, QString>& afterTick, bool ticked) const
{
    // Who reaches it with the tick and not without: those a tick gives it to, an untick takes it from.
    const QHash<int, QString>& with = ticked ? now : afterTick;
    const QHash<int, QString>& without = ticked ? afterTick : now;
    QList<QString> changed;
    for (auto it = with.cbegin(); it != with.cend(); ++it)
        if (!without.contains(it.key())) changed << *it;
    QString text = QStringLiteral("Most %1 élő felhasználó éri el.").arg(now.size());
    if (ticked)
        return text + (changed.isEmpty() ? QStringLiteral("\nA pipa levételével senki sem veszítené el.")
                                         : QStringLiteral("\nA pipa levételével elveszítené: %1").arg(names(changed)));
    return text + (changed.isEmpty() ? QStringLiteral("\nA pipa senkinek sem adna új jogot.") : QStringLiteral("\nA pipával megkapná: %1").arg(names(changed)));
}

bool TreePanel::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == tree_Item->viewport() && event->type() == QEvent::ToolTip && roleMode()) {
        auto* help = static_cast<QHelpEvent*>(event);
        if (QTreeWidgetItem* item = tree_Item->itemAt(help->pos()); item && RoleTicks::idOf(item) > 0) {
            QString text;
            runStep("tree_Item_ToolTip", [&] { text = impactText(RoleTicks::idOf(item)); });
            QToolTip::showText(help->globalPos(), text, tree_Item);
            return true;
        }
    }
    return AdminPanel::eventFilter(watched, event);
}

bool TreePanel::undoLastTick()
{
    if (m_tickTo <= m_tickFrom) return false;
    Connection& c = connection();
    QList<RevertStep> plan = undoPlan(c, m_tickFrom, m_tickTo);
    QString why;
    if (!revertTo(c, plan, &why, lockQuestion())) {
        module().message().MsgInfo(why);
        return false;
    }
    m_tickFrom = m_tickTo = -1;
    reloadTree();
    if (lbl_impact) {
        lbl_impact->setText(QStringLiteral("Az utolsó pipa visszavonva."));
        lbl_impact->setToolTip(QString());
    }
    emit tableChanged(tableNumber());
    return true;
}

void TreePanel::onItemClicked(QTreeWidgetItem* item, int)
{
    if (m_justTicked) {
        m_justTicked = false;
        return;
    }
    if (!clickToggles()) return;
    if (item->childCount() > 0 || item->childIndicatorPolicy() == QTreeWidgetItem::ShowIndicator)
        item->setExpanded(!item->isExpanded());
}

void TreePanel::runCommand(int id)
{
    for (const TreeCommand& c : commands()) {
        if (c.id != id) continue;
        switch (c.action) {
        case TreeAction::New: NewItem(c.variant); break;
        case TreeAction::Modify: ModifyItem(); break;
        case TreeAction::Delete: DeleteItem(); break;
        }
    }
}

void TreePanel::NewItem(int variant)
{
    runStep("NewItem", [this, variant] {
        const int parentId = SelectedId();
        if (parentId < 0 || !canCreateUnder(parentId)) return;
        QTreeWidgetItem* parentNode = nodeOf(parentId);
        std::unique_ptr<cDDXRecord> rec = makeNewRecord(variant);
        rec->setValue(QStringLiteral("parent_id"), parentId);
        if (rec->ShowForm() != rvOK) return;
        emit tableChanged(tableNumber());
        rec->CoreLoad(rec->id());
        QTreeWidgetItem* node = nullptr;
        if (parentNode && parentNode->data(0, kLoadedRole).toBool()) {
            m_filling = true;
            node = addNode(parentNode, rec->id(), nodeText(*rec),
                           rec->value(RoleSet::column(m_slot)).toBool(), nodeKind(*rec));
            m_filling = false;
        } else if (parentNode) {
            ensureChildren(parentNode);
            node = nodeOf(rec->id());
        }
        if (!node) return;
        if (parentNode) {
            parentNode->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
            parentNode->setExpanded(true);
        }
        tree_Item->scrollToItem(node);
        tree_Item->setCurrentItem(node);
    });
}

void TreePanel::ModifyItem()
{
    runStep("ModifyItem", [this] {
        const int id = SelectedId();
        if (id < 1 || !canModify(id)) return;
        std::unique_ptr<cDDXRecord> rec = makeRecord();
        if (!rec->CoreLoad(id)) return;
        if (rec->ShowForm() != rvOK) return;
        emit tableChanged(tableNumber());
        rec->CoreLoad(id);
        if (QTreeWidgetItem* node = nodeOf(id)) {
            m_filling = true;
            node->setText(0, nodeText(*rec));
            m_filling = false;
            tree_Item->setCurrentItem(node);
        }
    });
}

void TreePanel::DeleteItem()
{
    runStep("DeleteItem", [this] {
        const int id = SelectedId();
        if (id < 1 || !canDelete(id)) return;
        if (module().message().MsgQuestionYesNo(ModuleTexts::kConfirmDelete) != 2) return;
        std::unique_ptr<cDDXRecord> rec = makeRecord();
        if (!rec->CoreLoad(id)) return;
        if (!rec->Delete()) {
            ShowErrorList(QStringLiteral("Hiba lista"));
            return;
        }
        if (!rec->CoreUpdate()) {
            ShowErrorList(QStringLiteral("Hiba lista"));
            return;
        }
        emit tableChanged(tableNumber());
        if (QTreeWidgetItem* node = nodeOf(id)) dropNode(node);
    });
}

} // namespace NexoFrame
