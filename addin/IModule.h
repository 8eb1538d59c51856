#pragma once
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtPlugin>

namespace NexoFrame {

// What the shell asks of a module library loaded with QPluginLoader: its class factory and
// its self-registration in the shell's class registry.
class IModule {
public:
    virtual ~IModule() = default;
    // The ProgIDs this library hands out.
    virtual QStringList progIds() const = 0;
    // Creates the object of a ProgID (a panel widget or a record), or nullptr.
    virtual QObject* createObject(const QString& progId, QObject* parent = nullptr) = 0;
    // Writes / removes this library's ProgIDs in the registry file.
    virtual bool registerServer(const QString& registryFile, const QString& libraryPath) = 0;
    virtual bool unregisterServer(const QString& registryFile) = 0;
    // True when no object this library created is alive.
    virtual bool canUnloadNow() const = 0;
};

} // namespace NexoFrame

#define NexoFrame_IModule_iid "hu.quandra.NexoFrame.IModule/1.0"
Q_DECLARE_INTERFACE(NexoFrame::IModule, NexoFrame_IModule_iid)
