#include "Settings.h"
#include "Connection.h"
#include "Secrets.h"
#include "SettingKeys.h"

namespace NexoFrame {

QString Settings::read(const QString& section, const QString& key, const QString& defaultValue)
{
    // A secret is kept apart, sealed (see Secrets.h).
    const bool secret = Secrets::isSecretSetting(section, key);
    const QString name = section + QChar(0x1f) + key;
    // Secrets (the reader's login) are read afresh: an administrator may renew them meanwhile.
    auto kept = secret ? m_cache.constEnd() : m_cache.constFind(name);
    if (kept == m_cache.constEnd()) {
        auto rows = m_c.select(QStringLiteral("SELECT value FROM %1 WHERE section=? AND key_name=?")
                                   .arg(secret ? QString::fromLatin1(Secrets::kTable) : QStringLiteral("qnd_settings")),
                               {section, key});
        const QVariant stored = rows.isEmpty() ? QVariant() : rows.first().value(0);
        if (secret) return stored.isNull() ? defaultValue : Secrets::unseal(stored.toString());
        kept = m_cache.insert(name, stored);
    }
    if (kept->isNull()) return defaultValue;
    const QString value = kept->toString();
    return secret ? Secrets::unseal(value) : value;
}

bool Settings::write(const QString& section, const QString& key, const QString& value)
{
    const bool secret = Secrets::isSecretSetting(section, key);
    // Asked again next time: the write may yet be rolled back.
    m_cache.remove(section + QChar(0x1f) + key);
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
