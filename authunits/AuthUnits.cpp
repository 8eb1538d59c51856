#include "AuthUnits.h"
#include "Connection.h"
#include "Module.h"
#include "RightsPath.h"
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

namespace NexoFrame {

QHash<int, QString> AuthUnits::usersReaching(int id)
{
    Connection& c = *module().connection();
    const QString key = c.select(QStringLiteral("SELECT prefix FROM qnd_auth_unit WHERE id=?"), {id}).value(0).value(0).toString().trimmed();
    QHash<int, QString> out;
    if (key.isEmpty()) return out;
    // Only a user whose group holds a slot can hold a right.
    for (const QVariantList& u : c.select(QStringLiteral("SELECT u.id, u.display_name FROM qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id "
                                                         "WHERE u.del_status = 0 AND g.del_status = 0 AND NOT COALESCE(u.access_denied, FALSE)")))
        if (explainRight(c, u[0].toInt(), key).granted) out.insert(u[0].toInt(), u[1].toString());
    return out;
}

} // namespace NexoFrame
