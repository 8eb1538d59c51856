#pragma once
#include <QObject>
#include <QStringList>

namespace NexoFrame {

// ProgID to object, for every class the module hands out.
namespace Factory {
QStringList progIds();
QString className(const QString& progId);
// A panel (a QWidget implementing IAddin) or a record; nullptr for an unknown ProgID.
QObject* create(const QString& progId, QObject* parent = nullptr);
} // namespace Factory

} // namespace NexoFrame
