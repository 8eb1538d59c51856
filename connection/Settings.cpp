#include "Settings.h"
#include "Connection.h"
#include "Secrets.h"
#include "SettingKeys.h"

namespace NexoFrame {

QString Settings::read(const QString& section, const QString& key, const QString& defaultValue)
{
    // A secret is kept apart, sealed (see Secrets.h).
    const bool secret = Secrets::isSecretSetting(section, key);
    auto rows = m_c.select(QStringLiteral("SELECT value FROM %1 WHERE section=? AND key_name=?")
                           .arg(secret ? QString::fromLatin1(Secrets::kTable) : QStringLiteral("qnd_settings")),
                       {section, key});
    if (rows.isEmpty() || rows.first().value(0).isNull()) return defaultValue;
    const QString value = rows.first().value(0).toString();
    return secret ? Secrets::unseal(value) : value;
}

bool Settings::write(const QString& section, const QString& key, const QString& value)
{
    const bool secret = Secrets::isSecretSetting(section, key);
    Recordset& rs = m_c.editRecordset(secret ? Tables::Secret : Tables::Settings);
    rs.setIndex(QStringLiteral("section_key"));
    if (rs.seek({section, key})) rs.edit();
    else {
        rs.addNew();
        rs.setField(QStringLiteral("section"), section);
        rs.setField(QStringLiteral("key_name"), key);
    }
    rs.setField(QStringLiteral("value"), secret ? Secrets::seal(value) : value);
    return rs.update();
}

bool Settings::userManagementLocal()
{
    return read(SettingKeys::kMainframe, SettingKeys::kCentralUserManagement, QStringLiteral("0"))
        == QLatin1String("0");
}

} // namespace NexoFrame
