#pragma once
#include "Connection.h"
#include "IAddin.h"
#include "ShellLogin.h"
#include "ShellMenu.h"
#include <QMainWindow>
#include <QString>

class QAction;
class QLabel;
class QMenu;
class QStackedWidget;
class QTabWidget;
class QToolBar;

namespace NexoFrame {
class Modules;
}

namespace NexoFrame::Shell {

// What the panels see of the shell: the shared connection, who is logged in, and the
// classes of the registry.
class Site : public IAddinSite {
public:
    Site(Connection& connection, Modules& modules) : m_connection(connection), m_modules(modules) {}
    Session* session() override { return &m_connection.session(); }
    QObject* createObject(const QString& progId, QString* error) override;

private:
    Connection& m_connection;
    Modules& m_modules;
};

// The main window: the menu of the logged-in user's roles and one tab per open panel.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow(Connection& connection, Modules& modules, const LoginResult& user,
               const QString& databasePath, QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens a menu item's panel (or brings its tab forward) and logs the opening.
    // Returns the panel, or nullptr when it could not be opened (the user was told why).
    QWidget* openMenuItem(const MenuEntry& item);
    // Opens a panel by ProgID in a new tab. nullptr when it failed (the user was told why).
    QWidget* openPanel(const QString& progId, int mode, const QString& parameter, const QString& title);
    // Detaches and deletes the panel of a tab.
    void closePanel(int tabIndex);
    void closeAllPanels();

    QTabWidget* tabs() const { return m_tabs; }
    const QList<MenuEntry>& menuEntries() const { return m_menu; }
    // The visible menu item of an id, or nullptr.
    const MenuEntry* menuEntry(int id) const;
    // The action of a visible menu item, or nullptr.
    QAction* menuAction(int id) const;
    // The first visible item that opens this ProgID in this mode, or nullptr.
    const MenuEntry* menuEntryFor(const QString& progId, int mode) const;
    // Reads the menu again and rebuilds the menu bar and the toolbar.
    void rebuildMenu();
    QToolBar* toolbar() const { return m_toolbar; }
    // Starts the external program of a "SHELL" item; false when it could not be started
    // (the user was told why).
    bool startExternal(const MenuEntry& item);
    // The user's own menu items ("Saját menüpont…").
    void editOwnMenu();
    // The system menu's configuration commands; an empty path asks for one. True when done.
    bool exportConfig(const QString& path = {});
    bool importConfig(const QString& path = {});
    // "Adatbázis mentése…"; an empty path asks for one. True when the backup was written.
    bool backupDatabase(const QString& path = {});
    // "Naplók karbantartása…": the logs' keeping periods and their pruning; false when refused.
    bool maintainLogs();
    // Where the pictures of menu items are looked up.
    static QString iconFolder();
    Site* site() { return &m_site; }
    Modules& modules() { return m_modules; }

protected:
    void closeEvent(QCloseEvent* event) override;

private slots:
    void panelChangedTable(int table);

private:
    void buildMenu();
    void clearMenu();
    void addEntries(QMenu* menu, const QList<MenuEntry>& entries);
    QAction* makeAction(const MenuEntry& e, QObject* owner);
    void updatePlaceholder();

    Connection& m_connection;
    Modules& m_modules;
    LoginResult m_user;
    Site m_site;
    QList<MenuEntry> m_menu;
    QHash<int, QAction*> m_actions;
    QList<QObject*> m_menuObjects; // what the last build made, deleted at the next
    QToolBar* m_toolbar = nullptr;
    QStackedWidget* m_stack;
    QTabWidget* m_tabs;
    QLabel* m_placeholder;
};

} // namespace NexoFrame::Shell
