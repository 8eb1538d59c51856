#include "AuthUnits.h"
#include "Recordset.h"
#include "Schema.h"
#include "cDDXAuthUnit.h"

namespace NexoFrame {

AuthUnits::AuthUnits(QWidget* parent)
    : TreePanel(QStringLiteral("NexoFrame.AuthUnits"), QStringLiteral("AuthUnits"), parent)
{
}

int AuthUnits::tableNumber() const { return Tables::AuthUnit; }

QString AuthUnits::nodeText(const Recordset& row) const { return row.field(QStringLiteral("name")).toString(); }

QString AuthUnits::nodeText(const cDDXRecord& record) const
{
    return record.value(QStringLiteral("name")).toString();
}

std::unique_ptr<cDDXRecord> AuthUnits::makeRecord() const { return std::make_unique<cDDXAuthUnit>(); }

} // namespace NexoFrame
