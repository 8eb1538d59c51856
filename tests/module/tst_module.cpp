#include "ClassRegistry.h"
#include "Connection.h"
#include "Factory.h"
#include "IAddin.h"
#include "IModule.h"
#include "Module.h"
#include "Nexo.h"
#include "TestSite.h"
#include <QPluginLoader>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

using namespace NexoFrame;

class TstModule : public QObject {
    Q_OBJECT
private slots:
    void factoryHandsOutEveryProgId()
    {
        const QStringList ids = Factory::progIds();
        QVERIFY(ids.contains(QStringLiteral("NexoFrame.AuthUnits")));
        for (const QString& id : ids) {
            std::unique_ptr<QObject> o(Factory::create(id));
            QVERIFY2(o, qPrintable(id));
            QVERIFY(!Factory::className(id).isEmpty());
        }
        std::unique_ptr<QObject> panel(Factory::create(QStringLiteral("nexoframe.authunits")));
        QVERIFY(qobject_cast<QWidget*>(panel.get()) && qobject_cast<IAddin*>(panel.get()));
        QCOMPARE(panel->property("UserControlName").toString(), QStringLiteral("AuthUnits"));
        QVERIFY(!Factory::create(QStringLiteral("NexoFrame.Nothing")));
    }

    void pluginRegistersAndTellsWhenItMayGo()
    {
        const QString lib = qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/libNexoFrame.so");
        if (!QFile::exists(lib)) QSKIP("the module library is not built");
        QPluginLoader loader(lib);
        auto* mod = qobject_cast<IModule*>(loader.instance());
        QVERIFY2(mod, qPrintable(loader.errorString()));

        QTemporaryDir dir;
        const QString regFile = dir.filePath(QStringLiteral("classes.ini"));
        QVERIFY(mod->registerServer(regFile, lib));
        ClassRegistry reg(regFile);
        QVERIFY(reg.contains(QStringLiteral("NexoFrame.AuthUnits")));
        QCOMPARE(reg.entry(QStringLiteral("NexoFrame.AuthUnits")).library, lib);
        QCOMPARE(reg.entry(QStringLiteral("NexoFrame.AuthUnits")).className, QStringLiteral("AuthUnits"));

        QVERIFY(mod->canUnloadNow());
        QObject* panel = mod->createObject(QStringLiteral("NexoFrame.AuthUnits"));
        QVERIFY(panel && !mod->canUnloadNow());
        delete panel;
        QVERIFY(mod->canUnloadNow());

        QVERIFY(mod->unregisterServer(regFile));
        QVERIFY(!ClassRegistry(regFile).contains(QStringLiteral("NexoFrame.AuthUnits")));
    }

    void nexoKeepsTheFirstConnectionAndRereadsTheUser()
    {
        Module::instance().setConnection(nullptr);
        TestSite a(1), b(2);
        Nexo nexo;
        QVERIFY(nexo.setProperty("NexoConnection", QVariant::fromValue(&a.db())));
        QCOMPARE(module().connection(), &a.db());
        QCOMPARE(module().currentUserId(), 1);
        a.db().session().setUserId(3);
        nexo.setNexoConnection(&b.db());
        QCOMPARE(module().connection(), &a.db());
        QCOMPARE(module().currentUserId(), 3);
        Module::instance().setConnection(nullptr);
    }
};

QTEST_MAIN(TstModule)
#include "tst_module.moc"
