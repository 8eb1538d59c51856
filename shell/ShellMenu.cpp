#include "ShellMenu.h"
#include "Connection.h"
#include <QCoreApplication>
#include <QDateTime>
#include <QHash>
#include <QSet>

namespace NexoFrame::Shell {

Placeholders placeholdersOf(const Connection& c)
{
    return {QCoreApplication::applicationDirPath(), c.databaseFolder(), c.systemDatabaseFolder()};
}

QString expandPlaceholders(QString command, const Placeholders& v)
{
    command.replace(QStringLiteral("%SYSTEM_MDB_FOLDER_PATH%"), v.systemMdbFolder, Qt::CaseInsensitive);
    command.replace(QStringLiteral("%MDB_FOLDER_PATH%"), v.mdbFolder, Qt::CaseInsensitive);
    command.replace(QStringLiteral("%APP_PATH%"), v.appPath, Qt::CaseInsensitive);
    return command;
}

QStringList splitCommand(const QString& command)
{
    // As a POSIX shell splits words: blanks separate them, '...' keeps everything, "..."
    // keeps everything but a backslash before " \ $ `, and a backslash outside quotes
    // keeps the next character. Nothing is expanded.
    QStringList words;
    QString word;
    bool inWord = false;
    QChar quote;
    const int n = int(command.size());
    for (int i = 0; i < n; ++i) {
        const QChar c = command.at(i);
        if (quote == QLatin1Char('\'')) {
            if (c == quote) quote = QChar();
            else word += c;
            continue;
        }
        if (quote == QLatin1Char('"')) {
            if (c == quote) quote = QChar();
            else if (c == QLatin1Char('\\') && i + 1 < n && QStringLiteral("\"\\$`").contains(command.at(i + 1))) word += command.at(++i);
            else word += c;
            continue;
        }
        if (c.isSpace()) {
            if (inWord) words << word;
            word.clear();
            inWord = false;
            continue;
        }
        inWord = true;
        if (c == QLatin1Char('\'') || c == QLatin1Char('"')) quote = c;
        else if (c == QLatin1Char('\\') && i + 1 < n) word += command.at(++i);
        else word += c;
    }
    if (inWord) words << word;
    return words;
}

QString menuText(const QString& caption, const QString& accessKey)
{
    QString text = caption;
    text.replace(QLatin1Char('&'), QStringLiteral("&&"));
    if (accessKey.size() != 1 || !accessKey.at(0).isLetterOrNumber()) return text;
    const int at = text.indexOf(accessKey, 0, Qt::CaseInsensitive);
    if (at >= 0) text.insert(at, QLatin1Char('&'));
    return text;
}

} // namespace NexoFrame::Shell
