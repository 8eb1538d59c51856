#include "Nexo.h"
#include "Connection.h"
#include "Module.h"

namespace NexoFrame {

Nexo::Nexo(QObject* parent) : QObject(parent) { Module::objectCreated(); }
Nexo::~Nexo() { Module::objectDestroyed(); }

Connection* Nexo::nexoConnection() const { return module().connection(); }

void Nexo::setNexoConnection(Connection* connection)
{
    Module& m = module();
    if (!m.connection()) m.setConnection(connection);
}

} // namespace NexoFrame
