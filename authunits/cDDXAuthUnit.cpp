#include "cDDXAuthUnit.h"
#include "ErrorList.h"
#include "Schema.h"
#include "frmAuthUnit.h"

namespace NexoFrame {

cDDXAuthUnit::cDDXAuthUnit(QObject* parent) : cDDXRecord(parent) { init(); }

int cDDXAuthUnit::tableNumber() const { return Tables::AuthUnit; }

QList<FieldSpec> cDDXAuthUnit::entityFields() const
{
    QList<FieldSpec> f{{QStringLiteral("parent_id"), FieldKind::Long, 0},
                       {QStringLiteral("name"), FieldKind::Text, QString()},
                       {QStringLiteral("prefix"), FieldKind::Text, QString()}};
    // Slot 0 holds every new right; the offered roles start without it.
    for (int i = 0; i < 10; ++i) f << FieldSpec{QStringLiteral("auth_%1").arg(i), FieldKind::Bool, i == 0};
    return f;
}

void cDDXAuthUnit::checks()
{
    if (name().trimmed().isEmpty()) AddError(eError, kFieldCheckNumber, QStringLiteral("A név megadása kötelező!"));
    if (prefix().trimmed().isEmpty())
        AddError(eError, kFieldCheckNumber, QStringLiteral("A frefix megadása kötelező!"));
}

eReturnValue cDDXAuthUnit::ShowForm() { return EditDialog::showFor<frmAuthUnit>(this); }

} // namespace NexoFrame
