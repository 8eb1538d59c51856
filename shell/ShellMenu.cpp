#include "ShellMenu.h"
#include "Connection.h"
#include <QCoreApplication>
#include <QDateTime>
#include <QHash>
#include <QSet>

namespace NexoFrame::Shell {

namespace {

constexpr int kSlots = 10;

unsigned rolesOf(const Recordset& rs)
{
    unsigned bits = 0;
    for (int i = 0; i < kSlots; ++i)
        if (rs.field(QStringLiteral("auth_%1").arg(i)).toBool()) bits |= 1u << i;
    return bits;
}

// Assembles the tree from the root down over the rows grouped by parent.
QList<MenuEntry> build(int parent, QHash<int, QList<MenuEntry>>& byParent, QSet<int>& placed)
{
    QList<MenuEntry> out;
    for (MenuEntry e : byParent.value(parent)) {
        // A broken tree (an item below itself) must not loop the shell.
        if (placed.contains(e.id)) continue;
        placed.insert(e.id);
        e.children = build(e.id, byParent, placed);
        // The user's own new folder stays, so that he can fill it.
        if (e.isFolder() && e.children.isEmpty() && !e.own) continue;
        out << e;
    }
    return out;
}

} // namespace

unsigned groupRoles(Connection& c, int groupId)
{
    auto rs = c.openRecordset(Tables::UserGroup);
    if (!rs->seek({groupId})) return 0;
    return rolesOf(*rs);
}

QList<MenuEntry> visibleMenu(Connection& c, unsigned roles, int userId)
{
    auto rs = c.openRecordset(Tables::Menu);
    rs->setIndex(QStringLiteral("sort_order"));
    QHash<int, QList<MenuEntry>> byParent;
    for (rs->moveFirst(); !rs->eof(); rs->moveNext()) {
        if (rs->field(QStringLiteral("del_status")).toInt() != 0) continue;
        const bool own = userId > 0 && rs->field(QStringLiteral("create_user")).toInt() == userId;
        if (!own && !(rolesOf(*rs) & roles)) continue;
        MenuEntry e;
        e.own = own;
        e.pictureName = rs->field(QStringLiteral("picture_name")).toString().trimmed();
        e.toolbarVisible = rs->field(QStringLiteral("toolbar_visible")).toBool();
        e.id = rs->field(QStringLiteral("id")).toInt();
        e.caption = rs->field(QStringLiteral("caption")).toString().trimmed();
        e.accessKey = rs->field(QStringLiteral("access_key")).toString().trimmed();
        e.className = rs->field(QStringLiteral("class_name")).toString().trimmed();
        e.parameterS = rs->field(QStringLiteral("parameter_s")).toString();
        e.parameterI = rs->field(QStringLiteral("parameter_i")).toInt();
        const int parent = rs->field(QStringLiteral("parent_id")).toInt();
        if (parent == e.id) continue;
        byParent[parent] << e;
    }
    QSet<int> placed;
    return build(0, byParent, placed);
}

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
