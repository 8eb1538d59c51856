#pragma once
#include <QDialog>
#include <functional>
#include <memory>

class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace NexoFrame {
class IUserMenu;
struct MenuEntry;
}

namespace NexoFrame::Shell {

class MainWindow;
using NexoFrame::MenuEntry;

// "Saját menüpontok": the user's menu as he sees it, where he adds entries of his own and
// changes or deletes them through the module's user menu form. Other items are only places
// to add under. The main menu follows every change at once.
class OwnMenuDialog : public QDialog {
    Q_OBJECT
public:
    explicit OwnMenuDialog(MainWindow& window);
    ~OwnMenuDialog() override;

    QTreeWidget* tree = nullptr;
    QPushButton* cmd_new = nullptr;
    QPushButton* cmd_modify = nullptr;
    QPushButton* cmd_delete = nullptr;
    QPushButton* cmd_close = nullptr;

    void addItem();
    void modifyItem();
    void deleteItem();
    // The id of the selected item (0 for "Főmenü"), -1 when nothing is selected.
    int selectedId() const;
    QTreeWidgetItem* nodeOf(int id) const;

private:
    void reload(int selectId);
    void selectionChanged();
    const MenuEntry* selectedEntry() const;
    // The module's forms; nullptr after telling the user why not.
    IUserMenu* forms();
    // Calls the module's forms under the shell's guard; true when something was saved.
    bool callForms(const QString& failed, const std::function<bool(IUserMenu&)>& call);
    void changed(int selectId);

    MainWindow& m_window;
    std::unique_ptr<QObject> m_forms;
};

} // namespace NexoFrame::Shell
