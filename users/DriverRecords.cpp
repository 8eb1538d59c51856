#include "DriverRecords.h"
#include "Schema.h"

namespace NexoFrame {

int cDDXEvent::tableNumber() const { return Tables::Event; }
int cDDXPartner::tableNumber() const { return Tables::Partner; }

} // namespace NexoFrame
