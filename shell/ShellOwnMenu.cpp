#include "ShellOwnMenu.h"
#include "IUserMenu.h"
#include "Modules.h"
#include "ShellNotices.h"
#include "ShellWindow.h"
#include "Texts.h"
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace NexoFrame::Shell {

namespace {

constexpr int kIdRole = Qt::UserRole;

void addNodes(QTreeWidgetItem* parent, const QList<MenuEntry>& entries)
{
    for (const MenuEntry& e : entries) {
        auto* node = new QTreeWidgetItem(parent, {e.accessKey + QStringLiteral(". ") + e.caption});
        node->setData(0, kIdRole, e.id);
        if (!e.own || !(e.isFolder() || e.isExternal())) {
            // Not his to change: shown as a place to add under.
            node->setForeground(0, node->treeWidget()->palette().color(QPalette::Disabled, QPalette::Text));
            node->setToolTip(0, QStringLiteral("A rendszer vagy a rendszergazda menüpontja: nem módosítható."));
        }
        addNodes(node, e.children);
    }
}

} // namespace

OwnMenuDialog::OwnMenuDialog(MainWindow& window) : QDialog(&window), m_window(window)
{
    setObjectName(QStringLiteral("frmOwnMenu"));
    setWindowTitle(QStringLiteral("Saját menüpontok"));
    auto* outer = new QVBoxLayout(this);
    auto* hint = new QLabel(QStringLiteral("Saját menüpontot a főmenübe vagy egy almenü alá vehet fel; "
                                           "a saját menüpontjait módosíthatja és törölheti."),
                            this);
    hint->setWordWrap(true);
    outer->addWidget(hint);
    auto* row = new QHBoxLayout;
    tree = new QTreeWidget(this);
    tree->setObjectName(QStringLiteral("tree_Item"));
    tree->setHeaderHidden(true);
    row->addWidget(tree, 1);
    auto* buttons = new QVBoxLayout;
    auto button = [&](const QString& text, const char* name) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAutoDefault(false);
        buttons->addWidget(b);
        return b;
    };
    cmd_new = button(QStringLiteral("Új menüpont…"), "cmd_new");
    cmd_modify = button(QStringLiteral("Módosítás…"), "cmd_modify");
    cmd_delete = button(Texts::kDelete, "cmd_delete");
    buttons->addStretch();
    cmd_close = button(Texts::kClose, "cmd_close");
    row->addLayout(buttons);
    outer->addLayout(row);
    connect(cmd_new, &QPushButton::clicked, this, &OwnMenuDialog::addItem);
    connect(cmd_modify, &QPushButton::clicked, this, &OwnMenuDialog::modifyItem);
    connect(cmd_delete, &QPushButton::clicked, this, &OwnMenuDialog::deleteItem);
    connect(cmd_close, &QPushButton::clicked, this, &QDialog::accept);
    connect(tree, &QTreeWidget::currentItemChanged, this, &OwnMenuDialog::selectionChanged);
    connect(tree, &QTreeWidget::itemDoubleClicked, this, [this] {
        if (cmd_modify->isEnabled()) modifyItem();
    });
    resize(560, 440);
    reload(0);
}

OwnMenuDialog::~OwnMenuDialog() = default;

void OwnMenuDialog::reload(int selectId)
{
    tree->clear();
    auto* root = new QTreeWidgetItem(tree, {Texts::kMainMenu});
    root->setData(0, kIdRole, 0);
    QFont bold = root->font(0);
    bold.setBold(true);
    root->setFont(0, bold);
    addNodes(root, m_window.menuEntries());
    tree->expandAll();
    QTreeWidgetItem* chosen = nodeOf(selectId);
    tree->setCurrentItem(chosen ? chosen : root);
    selectionChanged();
}

QTreeWidgetItem* OwnMenuDialog::nodeOf(int id) const
{
    for (QTreeWidgetItemIterator it(tree); *it; ++it)
        if ((*it)->data(0, kIdRole).toInt() == id) return *it;
    return nullptr;
}

int OwnMenuDialog::selectedId() const
{
    QTreeWidgetItem* item = tree->currentItem();
    return item ? item->data(0, kIdRole).toInt() : -1;
}

const MenuEntry* OwnMenuDialog::selectedEntry() const
{
    const int id = selectedId();
    return id > 0 ? m_window.menuEntry(id) : nullptr;
}

void OwnMenuDialog::selectionChanged()
{
    const int id = selectedId();
    const MenuEntry* e = selectedEntry();
    // An item that starts something holds no sub-items.
    cmd_new->setEnabled(id == 0 || (e && e->isFolder()));
    // His own entries are menus and external programs; an item of his that opens a panel was
    // made in the Menus panel and is changed there.
    const bool his = e && e->own && (e->isFolder() || e->isExternal());
    cmd_modify->setEnabled(his);
    cmd_delete->setEnabled(his);
}

IUserMenu* OwnMenuDialog::forms()
{
    if (!m_forms) {
        QString error;
        QObject* object = nullptr;
        const QString failed = QStringLiteral("A saját menüpontok nem szerkeszthetők.");
        if (!guarded(this, failed, [&] { object = m_window.modules().create(QStringLiteral("NexoFrame.UserMenu"), &error); }))
            return nullptr;
        if (!object || !qobject_cast<IUserMenu*>(object)) {
            delete object;
            Notices::error(this, failed + QStringLiteral("\n\n")
                                     + (error.isEmpty() ? QStringLiteral("A modul nem kínálja ezt a szolgáltatást.") : error));
            return nullptr;
        }
        m_forms.reset(object);
    }
    return qobject_cast<IUserMenu*>(m_forms.get());
}

void OwnMenuDialog::changed(int selectId)
{
    m_window.rebuildMenu();
    reload(selectId);
}

bool OwnMenuDialog::callForms(const QString& failed, const std::function<bool(IUserMenu&)>& call)
{
    IUserMenu* f = forms();
    bool done = false;
    return f && guarded(this, failed, [&] { done = call(*f); }) && done;
}

void OwnMenuDialog::addItem()
{
    const int parent = selectedId();
    if (!cmd_new->isEnabled() || parent < 0) return;
    if (callForms(QStringLiteral("A menüpont nem menthető."),
                  [&](IUserMenu& f) { return f.AddItem(m_window.site(), parent); }))
        changed(parent);
}

void OwnMenuDialog::modifyItem()
{
    const int id = selectedId();
    if (!cmd_modify->isEnabled()) return;
    if (callForms(QStringLiteral("A menüpont nem menthető."), [&](IUserMenu& f) { return f.EditItem(m_window.site(), id); }))
        changed(id);
}

void OwnMenuDialog::deleteItem()
{
    const int id = selectedId();
    if (!cmd_delete->isEnabled()) return;
    const MenuEntry* e = selectedEntry();
    QTreeWidgetItem* node = nodeOf(id);
    const int parent = node && node->parent() ? node->parent()->data(0, kIdRole).toInt() : 0;
    if (e && !e->children.isEmpty()) {
        Notices::warning(this, QStringLiteral("A menüpont nem törölhető, amíg menüpontok vannak alatta."));
        return;
    }
    if (callForms(QStringLiteral("A menüpont nem törölhető."), [&](IUserMenu& f) { return f.DeleteItem(m_window.site(), id); }))
        changed(parent);
}

} // namespace NexoFrame::Shell
