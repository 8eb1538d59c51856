#pragma once
// Each test gets its own database (of the engine under test), class registry and data
// folders in a fresh temp dir.
#include "ClassRegistry.h"
#include "Connection.h"
#include "HeadlessShell.h"
#include "ShellLogin.h"
#include "Modules.h"
#include "ShellWindow.h"
#include "TestDatabase.h"
#include <QTemporaryDir>
#include <QTest>
#include <memory>

struct ShellFixture {
    QTemporaryDir dir;
    NexoFrame::TestDatabase database;
    std::unique_ptr<NexoFrame::Connection> db;

    ShellFixture()
    {
        qputenv("NEXO_REGISTRY", registryPath().toUtf8());
        qputenv("XDG_DATA_HOME", path(QStringLiteral("data")).toUtf8());
        qputenv("XDG_CONFIG_HOME", path(QStringLiteral("config")).toUtf8());
    }
    QString path(const QString& name) const { return dir.filePath(name); }
    // What the shell's --db takes.
    QString dbPath() const { return database.target(); }
    QString registryPath() const { return path(QStringLiteral("classes.ini")); }

    // The demo database, or nullptr when it cannot be made.
    NexoFrame::Connection* open()
    {
        QString error;
        db = NexoFrame::Connection::openDatabase(dbPath(), NexoFrame::Connection::DemoData::IfEmpty, &error);
        if (!db) qWarning("demo database: %s", qUtf8Printable(error));
        return db.get();
    }
    // Maps ProgIDs to the stand-in module, as a real module would register them.
    void standIn(const QStringList& progIds) const
    {
        NexoFrame::ClassRegistry r(registryPath());
        for (const QString& id : progIds) r.add(id, {QStringLiteral(NEXO_TEST_MODULE), QStringLiteral("TestPanel")});
        r.sync();
    }
    // Menu items of their own for panels (the stand-ins), in modes 0 and 1, for the
    // administrators' role, under a folder "Tesztpanelek": the shell opens only what a
    // user's menu holds.
    void menuItems(const QStringList& progIds) const
    {
        const QString yes = db->boolLiteral(true);
        QVERIFY(db->execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, sort_order, caption, class_name, auth_1) "
                                           "VALUES (2000000, 0, 90, 'Tesztpanelek', '', %1)").arg(yes)));
        int id = 2000001;
        for (const QString& progId : progIds) {
            for (int mode : {0, 1}) {
                QVERIFY(db->execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, sort_order, caption, class_name, parameter_i, auth_1) "
                                                   "VALUES (?, 2000000, ?, ?, ?, ?, %1)").arg(yes),
                                    {id, id, QStringLiteral("%1 (%2)").arg(progId).arg(mode), progId, mode}));
                ++id;
            }
        }
    }
    int count(const QString& sql, const QVariantList& binds = {}) const
    {
        const auto rows = db->select(sql, binds);
        return rows.isEmpty() ? -1 : rows.first().value(0).toInt();
    }
    NexoFrame::Shell::LoginResult login(const QString& name, const QString& password) const
    {
        return NexoFrame::Shell::checkLogin(*db, name, password);
    }
};

// A logged-in user's window over the fixture's database and registry; with the module
// library built beside the tests registered when asked.
struct LoggedIn {
    NexoFrame::Modules modules;
    NexoFrame::Shell::LoginResult user;
    std::unique_ptr<NexoFrame::Shell::MainWindow> window;

    LoggedIn(ShellFixture& f, const QString& name, const QString& password, bool realModule = false)
        : modules(f.registryPath()), user(f.login(name, password))
    {
        QString error;
        if (realModule
            && !modules.registerLibrary(qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/libNexoFrame.so"), &error))
            qWarning("register: %s", qPrintable(error));
        f.db->session().setUserId(user.userId);
        window = std::make_unique<NexoFrame::Shell::MainWindow>(*f.db, modules, user, f.dbPath());
    }
    QTabWidget* tabs() const { return window->tabs(); }
};
