#include "Secrets.h"
#include "Connection.h"
#include "SettingKeys.h"

namespace NexoFrame::Secrets {

namespace {

struct Column {
    const char* table;
    const char* column; // "*": every column
};

// The list. qnd_user.password: the users' stored passwords (a reversible cipher).
const Column kColumns[] = {
    {"qnd_user", "password"},
    {kTable, "*"},
};

struct Setting {
    QLatin1StringView section;
    QLatin1StringView key;
};

const Setting kSettings[] = {
    {SettingKeys::kMainframe, SettingKeys::kReaderPassword},
};

const QString kKey1 = QStringLiteral("n3x0-titok-7q");
const QString kKey2 = QStringLiteral("kv8w2rjmd5");

} // namespace

bool isSecretColumn(const QString& table, const QString& column)
{
    for (const Column& c : kColumns)
        if (table.compare(QLatin1String(c.table), Qt::CaseInsensitive) == 0
            && (qstrcmp(c.column, "*") == 0 || column.compare(QLatin1String(c.column), Qt::CaseInsensitive) == 0))
            return true;
    return false;
}

bool isSecretTable(const QString& table)
{
    for (const Column& c : kColumns)
        if (table.compare(QLatin1String(c.table), Qt::CaseInsensitive) == 0 && qstrcmp(c.column, "*") == 0) return true;
    return false;
}

QStringList secretColumnsOf(const QString& table)
{
    QStringList l;
    for (const Column& c : kColumns)
        if (table.compare(QLatin1String(c.table), Qt::CaseInsensitive) == 0) l << QString::fromLatin1(c.column);
    return l;
}

bool isSecretSetting(const QString& section, const QString& key)
{
    for (const Setting& s : kSettings)
        if (section.compare(s.section, Qt::CaseInsensitive) == 0 && key.compare(s.key, Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

QString seal(const QString& plain) { return Connection::ciphered(plain, kKey1, kKey2); }
QString unseal(const QString& stored) { return Connection::ciphered(stored, kKey1, kKey2); }

} // namespace NexoFrame::Secrets
