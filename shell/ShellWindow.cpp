#include "ShellWindow.h"
#include "Access.h"
#include "Connection.h"
#include "InstallLayout.h"
#include "Modules.h"
#include "ShellNotices.h"
#include "ShellConfig.h"
#include "ShellDirectory.h"
#include "ShellLogs.h"
#include "ShellTwoStep.h"
#include "ShellOwnMenu.h"
#include <QCoreApplication>
#include <QFileInfo>
#include <QIcon>
#include <QProcess>
#include <QToolBar>
#include <QAction>
#include <QCloseEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTabWidget>
#include <functional>

namespace NexoFrame::Shell {

namespace {

// Which menu item a tab was opened from; -1 for a panel opened by ProgID alone.
const char* const kMenuId = "nexoMenuId";

IAddin* addinOf(QObject* object)
{
    if (IAddin* a = qobject_cast<IAddin*>(object)) return a;
    return dynamic_cast<IAddin*>(object);
}

QString tabTitle(QString caption) { return caption.replace(QLatin1Char('&'), QStringLiteral("&&")); }

const MenuEntry* findEntry(const QList<MenuEntry>& entries, const std::function<bool(const MenuEntry&)>& match)
{
    for (const MenuEntry& e : entries) {
        if (match(e)) return &e;
        if (const MenuEntry* c = findEntry(e.children, match)) return c;
    }
    return nullptr;
}

} // namespace

QObject* Site::createObject(const QString& progId, QString* error)
{
    QString reason;
    QObject* object = m_modules.create(progId, &reason);
    if (error) *error = reason;
    return object;
}

MainWindow::MainWindow(Connection& connection, Modules& modules, const LoginResult& user,
                       const QString& databasePath, QWidget* parent)
    : QMainWindow(parent), m_connection(connection), m_modules(modules), m_user(user),
      m_site(connection, modules)
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QStringLiteral("Quandra Express Keretrendszer – NexoFrame"));

    m_tabs = new QTabWidget;
    m_tabs->setObjectName(QStringLiteral("tabPanels"));
    m_tabs->setTabsClosable(true);
    m_tabs->setMovable(true);
    m_tabs->setDocumentMode(true);
    connect(m_tabs, &QTabWidget::tabCloseRequested, this, &MainWindow::closePanel);

    m_placeholder = new QLabel;
    m_placeholder->setObjectName(QStringLiteral("lbl_placeholder"));
    m_placeholder->setAlignment(Qt::AlignCenter);
    m_placeholder->setWordWrap(true);
    m_placeholder->setForegroundRole(QPalette::PlaceholderText);

    m_stack = new QStackedWidget;
    m_stack->addWidget(m_placeholder);
    m_stack->addWidget(m_tabs);
    setCentralWidget(m_stack);

    auto* closeTab = new QAction(QStringLiteral("Panel bezárása"), this);
    closeTab->setShortcut(QKeySequence::Close);
    connect(closeTab, &QAction::triggered, this, [this] {
        if (m_tabs->count() > 0) closePanel(m_tabs->currentIndex());
    });
    addAction(closeTab);

    auto* userLabel = new QLabel(QStringLiteral("Felhasználó: %1 (%2)").arg(user.displayName, user.userName));
    userLabel->setObjectName(QStringLiteral("lbl_user"));
    auto* dbLabel = new QLabel(QStringLiteral("Adatbázis: %1").arg(databasePath));
    dbLabel->setObjectName(QStringLiteral("lbl_database"));
    statusBar()->addWidget(userLabel);
    statusBar()->addPermanentWidget(dbLabel);

    m_toolbar = addToolBar(QStringLiteral("Gombsor"));
    m_toolbar->setObjectName(QStringLiteral("tb_menu"));
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_toolbar->setMovable(false);

    buildMenu();
    updatePlaceholder();
}

MainWindow::~MainWindow() { closeAllPanels(); }

void MainWindow::buildMenu()
{
    guarded(this, QStringLiteral("A főmenü nem olvasható be."), [this] {
        m_menu = userMenu(m_connection, m_user.userId);
    });
    for (const MenuEntry& e : std::as_const(m_menu)) {
        if (e.children.isEmpty() && !e.isFolder()) {
            menuBar()->addAction(makeAction(e, this));
            continue;
        }
        auto* sub = new QMenu(menuText(e.caption, e.accessKey), menuBar());
        m_menuObjects << sub;
        menuBar()->addMenu(sub);
        if (!e.isFolder()) {
            sub->addAction(makeAction(e, this));
            sub->addSeparator();
        }
        addEntries(sub, e.children);
    }
    // The shell's own menu, after the database's.
    auto* system = new QMenu(QStringLiteral("&Keretrendszer"), menuBar());
    system->setObjectName(QStringLiteral("mnu_system"));
    m_menuObjects << system;
    // The directory's commands first: an administrator of a central installation uses them most.
    if (addDirectoryCommands(system, m_connection, m_user.userId)) system->addSeparator();
    menuBar()->addMenu(system);
    QAction* own = system->addAction(QStringLiteral("&Saját menüpont…"), this, [this] { editOwnMenu(); });
    own->setObjectName(QStringLiteral("act_own_menu"));
    if (rightsTest(m_connection, m_user.userId, kTwoStepRight)) {
        QAction* a = system->addAction(QStringLiteral("Kétlépcsős &azonosítás…"), this,
                                       [this] { manageTwoStep(this, m_connection, m_user); });
        a->setObjectName(QStringLiteral("act_two_step"));
    }
    // Carrying the configuration to another database, for those whose rights allow it.
    const bool mayExport = rightsTest(m_connection, m_user.userId, kConfigExportRight);
    const bool mayImport = rightsTest(m_connection, m_user.userId, kConfigImportRight);
    const bool mayBackup = rightsTest(m_connection, m_user.userId, kDatabaseBackupRight);
    const bool mayMaintainLogs = rightsTest(m_connection, m_user.userId, kLogMaintenanceRight);
    if (mayExport || mayImport || mayBackup || mayMaintainLogs) system->addSeparator();
    if (mayExport) {
        QAction* a = system->addAction(QStringLiteral("Beállítások &exportálása…"), this, [this] { exportConfig(); });
        a->setObjectName(QStringLiteral("act_config_export"));
    }
    if (mayImport) {
        QAction* a = system->addAction(QStringLiteral("Beállítások &importálása…"), this, [this] { importConfig(); });
        a->setObjectName(QStringLiteral("act_config_import"));
    }
    if (mayBackup) {
        QAction* a = system->addAction(QStringLiteral("Adatbázis &mentése…"), this, [this] { backupDatabase(); });
        a->setObjectName(QStringLiteral("act_database_backup"));
    }
    if (mayMaintainLogs) {
        QAction* a = system->addAction(QStringLiteral("&Naplók karbantartása…"), this, [this] { maintainLogs(); });
        a->setObjectName(QStringLiteral("act_logs_maintain"));
    }
    system->addSeparator();
    system->addAction(QStringLiteral("&Kilépés"), this, &QWidget::close);
    m_toolbar->setVisible(!m_toolbar->actions().isEmpty());
}

void MainWindow::clearMenu()
{
    menuBar()->clear();
    m_toolbar->clear();
    // The action being triggered may be among them: they go once its signal has returned.
    for (QObject* o : std::as_const(m_menuObjects)) o->deleteLater();
    for (QAction* a : std::as_const(m_actions)) a->deleteLater();
    m_menuObjects.clear();
    m_actions.clear();
}

void MainWindow::rebuildMenu()
{
    clearMenu();
    buildMenu();
    updatePlaceholder();
}

void MainWindow::panelChangedTable(int table)
{
    if (table == Tables::Menu) rebuildMenu();
}

QString MainWindow::iconFolder() { return InstallLayout::dataPath(QStringLiteral("icons")); }

void MainWindow::addEntries(QMenu* menu, const QList<MenuEntry>& entries)
{
    menu->setToolTipsVisible(true);
    for (const MenuEntry& e : entries) {
        if (e.children.isEmpty() && !e.isFolder()) {
            menu->addAction(makeAction(e, this));
            continue;
        }
        // An item with both a panel and sub-items opens its panel from the head of its submenu.
        auto* sub = new QMenu(menuText(e.caption, e.accessKey), menu);
        m_menuObjects << sub;
        menu->addMenu(sub);
        if (!e.isFolder()) {
            sub->addAction(makeAction(e, this));
            sub->addSeparator();
        }
        addEntries(sub, e.children);
    }
}

QAction* MainWindow::makeAction(const MenuEntry& e, QObject* owner)
{
    auto* a = new QAction(menuText(e.caption, e.accessKey), owner);
    a->setData(e.id);
    if (!e.isExternal() && !m_modules.knows(e.className)) {
        a->setEnabled(false);
        const QString why = QStringLiteral("Ez a funkció nincs telepítve (%1).").arg(e.className);
        a->setToolTip(why);
        a->setStatusTip(why);
    }
    const QString picture = e.pictureName.isEmpty() ? QString() : iconFolder() + QLatin1Char('/') + e.pictureName;
    if (!picture.isEmpty() && QFileInfo::exists(picture)) a->setIcon(QIcon(picture));
    const int id = e.id;
    connect(a, &QAction::triggered, this, [this, id] {
        if (const MenuEntry* entry = menuEntry(id)) openMenuItem(*entry);
    });
    m_actions.insert(e.id, a);
    if (e.toolbarVisible) m_toolbar->addAction(a);
    return a;
}

const MenuEntry* MainWindow::menuEntry(int id) const
{
    return findEntry(m_menu, [id](const MenuEntry& e) { return e.id == id; });
}

QAction* MainWindow::menuAction(int id) const { return m_actions.value(id); }

const MenuEntry* MainWindow::menuEntryFor(const QString& progId, int mode) const { return menuItemFor(m_menu, progId, mode); }

QWidget* MainWindow::openMenuItem(const MenuEntry& item)
{
    // One tab per item: choosing it again brings the open panel forward.
    for (int i = 0; i < m_tabs->count(); ++i) {
        if (m_tabs->widget(i)->property(kMenuId).toInt() == item.id) {
            m_tabs->setCurrentIndex(i);
            return m_tabs->widget(i);
        }
    }
    const int id = item.id;
    QWidget* panel = nullptr;
    if (item.isExternal()) {
        if (!startExternal(item)) return nullptr;
    } else {
        panel = openPanel(item.className, item.parameterI, item.parameterS, item.caption);
        if (!panel) return nullptr;
        panel->setProperty(kMenuId, id);
    }
    QString error;
    if (!m_connection.writeUsageLog(Tables::MenuLog, QStringLiteral("menu_id"), m_user.userId, id, &error))
        Notices::warning(this, QStringLiteral("A megnyitás nem került be a menünaplóba.\n\n%1").arg(error));
    return panel;
}

bool MainWindow::startExternal(const MenuEntry& item)
{
    const QString command = expandPlaceholders(item.parameterS, placeholdersOf(m_connection));
    QStringList args = splitCommand(command);
    const QString failed = QStringLiteral("A(z) „%1” külső program nem indítható el.").arg(item.caption);
    if (args.isEmpty()) {
        Notices::error(this, failed + QStringLiteral("\n\nA menüponthoz nincs megadva parancssor."));
        return false;
    }
    const QString program = args.takeFirst();
    QProcess process;
    process.setProgram(program);
    process.setArguments(args);
    // Detached: the program lives on when the shell closes.
    if (!process.startDetached()) {
        Notices::error(this, failed + QStringLiteral("\n\nParancs: %1\n%2").arg(command, process.errorString()));
        return false;
    }
    statusBar()->showMessage(QStringLiteral("Elindítva: %1").arg(command), 5000);
    return true;
}

bool MainWindow::exportConfig(const QString& path)
{
    const bool ok = exportConfiguration(this, m_connection, m_user.userId, path);
    if (ok) statusBar()->showMessage(QStringLiteral("A beállítások mentve."), 8000);
    return ok;
}

bool MainWindow::importConfig(const QString& path)
{
    if (!importConfiguration(this, m_connection, m_user.userId, path)) return false;
    // The menu, the rights and the role names may all have changed.
    rebuildMenu();
    statusBar()->showMessage(QStringLiteral("A beállítások betöltve."), 8000);
    return true;
}

bool MainWindow::backupDatabase(const QString& path)
{
    const bool ok = Shell::backupDatabase(this, m_connection, m_user.userId, path);
    if (ok) statusBar()->showMessage(QStringLiteral("Az adatbázis mentése elkészült."), 8000);
    return ok;
}

bool MainWindow::maintainLogs() { return Shell::maintainLogs(this, m_connection, m_user.userId); }

void MainWindow::editOwnMenu()
{
    OwnMenuDialog dialog(*this);
    dialog.exec();
}

QWidget* MainWindow::openPanel(const QString& progId, int mode, const QString& parameter, const QString& title)
{
    const QString failed = QStringLiteral("A(z) „%1” panel nem nyitható meg.").arg(title);
    // However it is asked for (the menu, a user's own item, the command line), a panel opens
    // only for a user whose menu, as stored now, holds an item for it in this mode.
    bool allowed = false;
    if (!guarded(this, failed, [&] { allowed = mayOpenPanel(m_connection, m_user.userId, progId, mode); })) return nullptr;
    if (!allowed) {
        Notices::error(this, failed + QStringLiteral("\n\nÖnnek nincs joga az adott funkcióhoz!"));
        return nullptr;
    }
    QString error;
    QObject* object = nullptr;
    if (!guarded(this, failed, [&] { object = m_modules.create(progId, &error); })) return nullptr;
    if (!object) {
        Notices::error(this, failed + QStringLiteral("\n\n") + error);
        return nullptr;
    }
    auto* panel = qobject_cast<QWidget*>(object);
    IAddin* addin = panel ? addinOf(object) : nullptr;
    if (!addin) {
        delete object;
        Notices::error(this, failed + QStringLiteral("\n\nA(z) %1 osztály nem megjeleníthető panel.").arg(progId));
        return nullptr;
    }

    // In its tab before attaching, so that the panel has its place and size while it builds.
    panel->setProperty(kMenuId, -1);
    m_tabs->setCurrentIndex(m_tabs->addTab(panel, tabTitle(title)));
    updatePlaceholder();
    // A panel that saves to the menu table changes the menu at once.
    if (panel->metaObject()->indexOfSignal("tableChanged(int)") >= 0)
        connect(panel, SIGNAL(tableChanged(int)), this, SLOT(panelChangedTable(int)));
    if (!guarded(this, failed, [&] { addin->IAddin_AttachToSite(&m_site, mode, parameter); })) {
        const int index = m_tabs->indexOf(panel);
        if (index >= 0) m_tabs->removeTab(index);
        // It may have kept the site before it failed; that reference must not outlive it.
        try {
            addin->IAddin_RemoveFromSite();
        } catch (...) {
        }
        delete panel;
        updatePlaceholder();
        return nullptr;
    }
    return panel;
}

void MainWindow::closePanel(int tabIndex)
{
    QWidget* panel = m_tabs->widget(tabIndex);
    if (!panel) return;
    m_tabs->removeTab(tabIndex);
    if (IAddin* addin = addinOf(panel))
        guarded(this, QStringLiteral("A panel bezárása közben hiba történt."), [&] { addin->IAddin_RemoveFromSite(); });
    delete panel;
    updatePlaceholder();
}

void MainWindow::closeAllPanels()
{
    while (m_tabs->count() > 0) closePanel(m_tabs->count() - 1);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    closeAllPanels();
    event->accept();
}

void MainWindow::updatePlaceholder()
{
    if (m_tabs->count() > 0) {
        m_stack->setCurrentWidget(m_tabs);
        return;
    }
    m_placeholder->setText(m_menu.isEmpty()
                               ? QStringLiteral("Önnek egyetlen menüpont sem érhető el. Forduljon a rendszergazdához.")
                               : QStringLiteral("Válasszon egy funkciót a főmenüből."));
    m_stack->setCurrentWidget(m_placeholder);
}

} // namespace NexoFrame::Shell
