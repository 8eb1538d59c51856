#pragma once
#include "IModule.h"
#include <QObject>

namespace NexoFrame {

// The module library as the shell loads it: its class factory (ProgID to object), its
// registration in the shell's class registry, and whether it may be unloaded.
class NexoModule : public QObject, public IModule {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID NexoFrame_IModule_iid)
    Q_INTERFACES(NexoFrame::IModule)
public:
    NexoModule();

    QStringList progIds() const override;
    QObject* createObject(const QString& progId, QObject* parent = nullptr) override;
    bool registerServer(const QString& registryFile, const QString& libraryPath) override;
    bool unregisterServer(const QString& registryFile) override;
    bool canUnloadNow() const override;
};

} // namespace NexoFrame
