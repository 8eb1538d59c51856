#pragma once
#include <QString>
#include <QStringList>

namespace NexoFrame {

// What no SQL that users write may read: the one list both engines keep it by. The
// read-only link on SQLite hides these through its authorizer; the server's reader role is
// never granted them. A later secret is added here and nowhere else.
namespace Secrets {

// Settings that hold a stored secret live in their own table (qnd_secret, same section and
// key) instead of qnd_settings, so that a whole table can be kept from the reader.
inline constexpr const char* kTable = "qnd_secret";

// Whether `column` of `table` holds a secret (names compared without regard to case). Every
// column of the secret settings' table counts.
bool isSecretColumn(const QString& table, const QString& column);
// Whether every column of `table` is secret.
bool isSecretTable(const QString& table);
// The secret columns of `table`, lower-case; empty when it has none.
QStringList secretColumnsOf(const QString& table);
// Whether a setting of `section` / `key` is a secret (kept in the secret table).
bool isSecretSetting(const QString& section, const QString& key);

// The keyed, self-inverse transform of stored passwords and secrets: a reflection of each
// character in a fixed alphabet around a point drawn from a keyed hash stream. It keeps them
// from a casual look, not from whoever has the program and its keys.
void cipher(QString& text, const QString& key1, const QString& key2);
inline QString ciphered(QString text, const QString& key1, const QString& key2)
{
    cipher(text, key1, key2);
    return text;
}

// The stored form of a secret setting and back: the same keyed cipher as the passwords, with
// the secrets' own keys. Keeps it from a casual look, not from whoever has the program.
QString seal(const QString& plain);
QString unseal(const QString& stored);

} // namespace Secrets

} // namespace NexoFrame
