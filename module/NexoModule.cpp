#include "NexoModule.h"
#include "AuthUnits.h"
#include "ClassRegistry.h"
#include "Factory.h"
#include "Module.h"

namespace NexoFrame {

NexoModule::NexoModule()
{
    // The library's start routine: the module-wide objects exist from here on.
    Module::instance();
}

QStringList NexoModule::progIds() const { return Factory::progIds(); }

QObject* NexoModule::createObject(const QString& progId, QObject* parent)
{
    return Factory::create(progId, parent);
}

bool NexoModule::registerServer(const QString& registryFile, const QString& libraryPath)
{
    ClassRegistry reg(registryFile);
    for (const QString& id : progIds()) reg.add(id, {libraryPath, Factory::className(id)});
    return reg.sync();
}

bool NexoModule::unregisterServer(const QString& registryFile)
{
    ClassRegistry reg(registryFile);
    for (const QString& id : progIds()) reg.remove(id);
    return reg.sync();
}

bool NexoModule::canUnloadNow() const { return Module::liveObjects() == 0; }

} // namespace NexoFrame
