#include "DriverRecords.h"
#include "Connection.h"
#include "Schema.h"

namespace NexoFrame {

int cDDXEvent::tableNumber() const { return Tables::Event; }
bool cDDXEvent::ownsTransaction() const { return !connection()->transactions().inTransaction(); }
int cDDXPartner::tableNumber() const { return Tables::Partner; }

} // namespace NexoFrame
