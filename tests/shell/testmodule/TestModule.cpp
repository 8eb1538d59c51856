// A stand-in module library for the shell's tests: its panel records what the shell hands it,
// and its factory fails in each way a real module can.
#include "ClassRegistry.h"
#include "DbError.h"
#include "IAddin.h"
#include "Session.h"
#include "IModule.h"
#include "RuntimeError.h"
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <stdexcept>

using namespace NexoFrame;

class TestPanel : public QWidget, public IAddin {
    Q_OBJECT
    Q_INTERFACES(NexoFrame::IAddin)
public:
    TestPanel()
    {
        setObjectName(QStringLiteral("TestPanel"));
        auto* layout = new QVBoxLayout(this);
        m_label = new QLabel(QStringLiteral("Tesztpanel"), this);
        m_label->setObjectName(QStringLiteral("lbl_state"));
        auto* thrower = new QPushButton(QStringLiteral("Hiba"), this);
        thrower->setObjectName(QStringLiteral("cmd_throw"));
        connect(thrower, &QPushButton::clicked, this, [] { throw DbError(QStringLiteral("Szándékos hiba egy gombnyomásra.")); });
        layout->addWidget(m_label);
        layout->addWidget(thrower);
        layout->addStretch();
    }

    void IAddin_SetVisualTheme(int) override {}
    void IAddin_TimerEvent() override {}
    void IAddin_AttachToSite(IAddinSite* site, int mode, const QString& parameter) override
    {
        m_site = site;
        if (parameter == QLatin1String("attach-throws"))
            throw RuntimeError(QStringLiteral("Szándékos hiba a csatoláskor."), 1001,
                               QStringLiteral("NexoTest.Panel IAddin_AttachToSite"));
        setProperty("attachedMode", mode);
        setProperty("attachedParameter", parameter);
        setProperty("siteUserId", site->session() ? site->session()->userId() : -1);
        setProperty("siteHasConnection", site->session() != nullptr);
        m_label->setText(QStringLiteral("Tesztpanel, mód: %1").arg(mode));
    }
    void IAddin_OnVerb(int) override {}
    void IAddin_RemoveFromSite() override
    {
        m_site = nullptr;
        emit removedFromSite();
        if (property("attachedParameter").toString() == QLatin1String("remove-throws"))
            throw std::runtime_error("Szándékos hiba a leválasztáskor.");
    }

signals:
    void removedFromSite();

private:
    IAddinSite* m_site = nullptr;
    QLabel* m_label;
};

class TestModule : public QObject, public IModule {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID NexoFrame_IModule_iid)
    Q_INTERFACES(NexoFrame::IModule)
public:
    QStringList progIds() const override
    {
        return {QStringLiteral("NexoTest.Panel"), QStringLiteral("NexoTest.FactoryThrows"),
                QStringLiteral("NexoTest.NotAPanel"), QStringLiteral("NexoTest.Nothing")};
    }

    // Any other ProgID a test maps to this library gets the recording panel.
    QObject* createObject(const QString& progId, QObject* parent) override
    {
        if (progId == QLatin1String("NexoTest.FactoryThrows")) throw DbError(QStringLiteral("Szándékos hiba a gyárban."));
        if (progId == QLatin1String("NexoTest.NotAPanel")) return new QObject(parent);
        if (progId == QLatin1String("NexoTest.Nothing")) return nullptr;
        return new TestPanel;
    }

    bool registerServer(const QString& registryFile, const QString& libraryPath) override
    {
        ClassRegistry r(registryFile);
        for (const QString& id : progIds()) r.add(id, {libraryPath, QStringLiteral("TestPanel")});
        return r.sync();
    }
    bool unregisterServer(const QString& registryFile) override
    {
        ClassRegistry r(registryFile);
        for (const QString& id : progIds()) r.remove(id);
        return r.sync();
    }
    bool canUnloadNow() const override { return true; }
};

#include "TestModule.moc"
