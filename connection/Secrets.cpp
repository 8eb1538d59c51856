#include "Secrets.h"
#include <QCryptographicHash>
#include "SettingKeys.h"

namespace NexoFrame::Secrets {

namespace {

struct Column {
    const char* table;
    const char* column; // "*": every column
};

// The list. qnd_user.password: the users' stored passwords (a reversible cipher);
// qnd_two_step: the second step's secrets (sealed) and the last step used; qnd_recovery_code:
// the recovery codes' hashes.
const Column kColumns[] = {
    {"qnd_user", "password"},
    {kTable, "*"},
    {"qnd_two_step", "*"},
    {"qnd_recovery_code", "*"},
};

struct Setting {
    QLatin1StringView section;
    QLatin1StringView key;
};

const Setting kSettings[] = {
    {SettingKeys::kMainframe, SettingKeys::kReaderPassword},
    {SettingKeys::kLdap, SettingKeys::kLdapBindPassword},
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

namespace {

// Characters the transform moves between; anything else is left as it stands, so that the
// result stays storable text of the same length.
const QString& cipherAlphabet()
{
    static const QString a = [] {
        QString s;
        for (char16_t c = 32; c < 127; ++c) s += QChar(c);
        s += QString::fromUtf8("áéíóöőúüűÁÉÍÓÖŐÚÜŰ");
        return s;
    }();
    return a;
}

} // namespace

void cipher(QString& text, const QString& key1, const QString& key2)
{
    // Each position reflects its character in the alphabet around a point drawn from a
    // keyed hash stream: x -> (k - x) mod n. A reflection is its own inverse, and the
    // position-dependent point defeats a fixed substitution table.
    const QString& alpha = cipherAlphabet();
    const int n = int(alpha.size());
    QByteArray stream;
    int block = 0;
    for (int i = 0; i < text.size(); ++i) {
        while (stream.size() < 2 * (i + 1)) {
            QCryptographicHash h(QCryptographicHash::Sha256);
            h.addData(key1.toUtf8());
            h.addData(QByteArrayView("\x1f", 1));
            h.addData(key2.toUtf8());
            h.addData(QByteArray::number(block++));
            stream += h.result();
        }
        const int x = int(alpha.indexOf(text[i]));
        if (x < 0) continue;
        const int k = ((uchar(stream[2 * i]) << 8) | uchar(stream[2 * i + 1])) % n;
        text[i] = alpha[((k - x) % n + n) % n];
    }
}

QString seal(const QString& plain) { return ciphered(plain, kKey1, kKey2); }
QString unseal(const QString& stored) { return ciphered(stored, kKey1, kKey2); }

} // namespace NexoFrame::Secrets
