#pragma once
#include "AdminPanel.h"
#include <QHash>
#include <memory>

class QComboBox;
class QLabel;
class QMenu;
class QToolBar;
class QTreeWidget;
class QTreeWidgetItem;

namespace NexoFrame {

class cDDXRecord;
class Recordset;

enum class TreeAction { New, Modify, Delete };

struct TreeCommand {
    int id;
    QString caption;
    TreeAction action;
    int variant = 0; // for New: which kind of record (handed to makeNewRecord)
};

// A panel that shows one self-referencing table as a tree keyed "RID"+id, with the command
// bar "Törzsadat" (new, modify, delete through record and dialog) and, in role mode, the
// role bar "Szerepkörök" and a check box on every node whose ticks are written at once.
// Children are loaded when their parent is first expanded, so a large tree opens at once.
class TreePanel : public AdminPanel {
    Q_OBJECT
public:
    TreePanel(const QString& progId, const QString& controlName, QWidget* parent = nullptr);
    ~TreePanel() override;

    QTreeWidget* tree_Item = nullptr;
    QToolBar* cmd_bar_class = nullptr;
    QToolBar* role_bar = nullptr;
    QComboBox* cbo_role = nullptr;
    QLabel* lbl_impact = nullptr; // what the last tick changed, in users
    QMenu* popup = nullptr;

    static constexpr int kRootKind = -1;

    // Whether the panel sets roles (mode not 0) rather than editing the tree.
    virtual bool roleMode() const { return mode() != 0; }
    int currentSlot() const { return m_slot; }
    // Chooses a role (1..9) as the combo box does, and reloads the tree.
    void selectRole(int slot);
    void reloadTree();

    int SelectedId() const;
    QTreeWidgetItem* nodeOf(int id) const { return m_nodes.value(id); }
    // Loads the children of a node now (they normally come on first expansion).
    void ensureChildren(QTreeWidgetItem* node);
    // Reads a node's children again, as they are stored now.
    void reloadChildren(QTreeWidgetItem* node);

    // The commands, as the command bar and the context menu run them.
    void NewItem(int variant = 0);
    void ModifyItem();
    void DeleteItem();
    void runCommand(int id);

    // The live users (id -> name) who reach an item now: who holds it through any slot.
    virtual QHash<int, QString> usersReaching(int id);
    // What a tick of the chosen slot on an item would do, in words (the node's tooltip).
    virtual QString impactText(int id);
    // Takes back the last tick of this panel (Ctrl+Z): every cell it wrote gets its value
    // back, kept in the history like any change. False when there is none to take back.
    bool undoLastTick();

protected:
    // What the entity declares.
    virtual int tableNumber() const = 0;
    virtual QString rootText() const = 0;
    virtual QString titleText(bool roleMode) const = 0;
    virtual QList<TreeCommand> commands() const = 0;
    virtual QString nodeText(const Recordset& row) const = 0;
    virtual QString nodeText(const cDDXRecord& record) const = 0;
    virtual std::unique_ptr<cDDXRecord> makeRecord() const = 0;
    // A new record of a kind (the command's variant), before its parent is set.
    virtual std::unique_ptr<cDDXRecord> makeNewRecord(int variant) const;
    // Kinds of nodes (a folder and a report, say) and how each looks.
    virtual int nodeKind(const Recordset& /*row*/) const { return 0; }
    virtual int nodeKind(const cDDXRecord& /*record*/) const { return 0; }
    virtual void styleNode(QTreeWidgetItem* /*node*/, int /*kind*/) {}
    virtual void nodeExpanded(QTreeWidgetItem* /*node*/, bool /*expanded*/) {}
    virtual QString childIndex() const { return QStringLiteral("real_parent_id_2"); }
    virtual bool firstLevelBold() const { return false; }
    virtual bool clickToggles() const { return true; }
    virtual bool hasContextMenu() const { return true; }
    // Entity rules that may refuse a command (with their own message).
    virtual bool canCreateUnder(int /*parentId*/) { return true; }
    virtual bool canModify(int /*id*/) { return true; }
    virtual bool canDelete(int /*id*/) { return true; }
    // Whether a tick also writes the subtree below and lifts the grey nodes above (false: the
    // node's own row only).
    virtual bool tickCoversSubtree() const { return true; }
    // Whether a stored row is shown at all; a tree fill asks treeReloading first.
    virtual bool showsRow(int /*id*/) const { return true; }
    virtual void treeReloading() {}
    // The tooltip's words from who reaches an item now and who would after its tick.
    QString impactWords(const QHash<int, QString>& now, const QHash<int, QString>& afterTick, bool ticked) const;

    void setupCommandBar() override;
    void applyMode() override;
    void InitializeSite() override;

private:
    QTreeWidgetItem* addNode(QTreeWidgetItem* parent, int id, const QString& text, bool checked, int kind);
    // Deletes a node, and what was loaded below it, from the view.
    void dropNode(QTreeWidgetItem* node);
    void loadChildren(QTreeWidgetItem* node);
    bool hasLiveChildren(Recordset& rs, int id);
    void onItemChanged(QTreeWidgetItem* item, int column);
    void onItemClicked(QTreeWidgetItem* item, int column);
    void buildRoleBar();

    bool eventFilter(QObject* watched, QEvent* event) override;
    void showImpact(const QHash<int, QString>& before, const QHash<int, QString>& after);

    QHash<int, QTreeWidgetItem*> m_nodes;
    qint64 m_tickFrom = -1, m_tickTo = -1; // the history rows of the last tick
    std::unique_ptr<Recordset> m_rs;
    int m_slot = 1;
    bool m_filling = false;
    bool m_justTicked = false;
};

} // namespace NexoFrame
