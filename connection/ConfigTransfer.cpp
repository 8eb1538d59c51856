#include "ConfigTransfer.h"
#include "Access.h"
#include "Connection.h"
#include "Recordset.h"
#include "SettingKeys.h"
#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSet>
#include <algorithm>

namespace NexoFrame {

namespace {

const QString kFormat = QStringLiteral("nexoframe-beallitasok");

// What goes into the file of each table, in the order the import needs them: the groups
// first, so that the groups' visibility rules can name groups the file adds.
struct SectionDef {
    const char* key;
    const char* title;
    int table;
    const char* caption;   // the column that names a row on its path
    bool sortOrdered;      // siblings in sort_order (else in id) order
    int childTable = 0;    // rows owned by a row, carried with it (an OLAP report's fields)
    const char* childLink = nullptr;
};
const SectionDef kSections[] = {
    {"groups", "Felhasználócsoportok", Tables::UserGroup, "name", false},
    {"rights", "Jogosultsági egységek", Tables::AuthUnit, "name", false},
    {"menu", "Menüpontok", Tables::Menu, "caption", true},
    {"olap", "OLAP kimutatások", Tables::OlapReport, "caption", false, Tables::OlapReportField, "report_id"},
    {"reports", "Riportok", Tables::Report, "caption", true},
};

// Who made a row and when belongs to the database it is in, not to the configuration.
bool isAudit(const QString& column)
{
    static const QSet<QString> audit{QStringLiteral("del_status"), QStringLiteral("temp_status"),
                                     QStringLiteral("create_user"), QStringLiteral("create_date"),
                                     QStringLiteral("last_action_user_id1"), QStringLiteral("last_action_date1"),
                                     QStringLiteral("last_action_user_id2"), QStringLiteral("last_action_date2")};
    return audit.contains(column);
}

// A group's visibility rules hold -1 (anyone), -2 (nobody) or the id of a group: carried by
// the group's name.
bool isGroupReference(const TableDef& t, const QString& column)
{
    return t.number == Tables::UserGroup && column.startsWith(QLatin1String("right_"));
}

QStringList carriedColumns(const TableDef& t, const QString& except1, const QString& except2 = {})
{
    QStringList l;
    for (const ColumnDef& c : t.columns)
        if (c.name != t.primaryKey && c.name != except1 && c.name != except2 && c.name != QLatin1String("parent_id")
            && !isAudit(c.name))
            l << c.name;
    return l;
}

// A value (stored, or the file's) as the column's kind wants it, either way: the file and the
// database differ only in how a date is written.
template <class Out, class In, class DateOf>
Out ofKind(const ColumnDef& col, const In& v, DateOf date)
{
    switch (col.type) {
    case ColType::Bool: return v.toBool();
    case ColType::Long: return v.toInt();
    case ColType::Double: return v.toDouble();
    case ColType::Text:
    case ColType::Memo: return v.toString();
    case ColType::Date:
    case ColType::DateTime: return v.isNull() ? Out() : Out(date(v));
    }
    return Out();
}

// A stored value as the file holds it.
QJsonValue storedValue(const Connection& c, const ColumnDef& col, const QVariant& raw)
{
    return ofKind<QJsonValue>(col, c.engine().fromDb(col, raw),
                              [](const QVariant& v) { return v.toDateTime().toString(Qt::ISODate); });
}

struct Damaged {
    QString why;
};

// A file's value checked against its column; over-long text is cut to the column.
QJsonValue fileValue(const ColumnDef& col, const QJsonValue& v, const QString& where)
{
    const auto bad = [&] {
        return Damaged{QStringLiteral("%1: a(z) „%2” mező értéke nem megfelelő.").arg(where, col.name)};
    };
    switch (col.type) {
    case ColType::Bool:
        if (v.isBool()) return v;
        if (v.isDouble()) return v.toDouble() != 0;
        throw bad();
    case ColType::Long:
        if (!v.isDouble() || v.toDouble() != double(qint64(v.toDouble())) || std::abs(v.toDouble()) > 2147483647.0) throw bad();
        return v.toInt();
    case ColType::Double:
        if (!v.isDouble()) throw bad();
        return v.toDouble();
    case ColType::Text:
        if (!v.isString()) throw bad();
        return col.length > 0 ? v.toString().left(col.length) : v.toString();
    case ColType::Memo:
        if (!v.isString()) throw bad();
        return v;
    case ColType::Date:
    case ColType::DateTime:
        if (v.isNull()) return v;
        if (!v.isString() || !QDateTime::fromString(v.toString(), Qt::ISODate).isValid()) throw bad();
        return QDateTime::fromString(v.toString(), Qt::ISODate).toString(Qt::ISODate);
    }
    return v;
}

QVariant toVariant(const ColumnDef& col, const QJsonValue& v)
{
    return ofKind<QVariant>(col, v, [](const QJsonValue& d) { return QDateTime::fromString(d.toString(), Qt::ISODate); });
}

QString shown(const QJsonValue& v)
{
    if (v.isBool()) return v.toBool() ? QStringLiteral("igen") : QStringLiteral("nem");
    if (v.isDouble()) return QString::number(v.toDouble());
    if (v.isNull()) return QStringLiteral("üres");
    QString s = v.toString().simplified();
    if (s.size() > 60) s = s.left(57) + QStringLiteral("…");
    return QStringLiteral("„%1”").arg(s);
}

// One live row of a table in the database, with its place in the tree.
struct Row {
    int id = 0;
    int parent = 0;
    QString caption;
    QString prefix;
    QJsonObject values;
    QString key;      // its natural key: parent's key, caption, and the count among equal siblings
    QString path;     // for people: the captions, " / " between
    bool matched = false;
};

QString keyOf(const QString& parentKey, const QString& caption, int occurrence)
{
    return parentKey + QChar(0x1f) + caption + QChar(0x1e) + QString::number(occurrence);
}

// A table's rows as the configuration sees them: live, not below a deleted row, and (in
// the menu) not a user's own item, which holds no role and belongs to whoever made it.
QList<Row> loadTree(Connection& c, const SectionDef& s, const QStringList& columns, const QHash<int, QString>& groupNames)
{
    const TableDef& t = *c.tableDef(s.table);
    const bool tree = t.hasColumn(QStringLiteral("parent_id"));
    const bool menu = s.table == Tables::Menu;
    QStringList select{QStringLiteral("id"), tree ? QStringLiteral("parent_id") : QStringLiteral("0"),
                       QString::fromLatin1(s.caption), QStringLiteral("del_status"),
                       s.sortOrdered ? QStringLiteral("sort_order") : QStringLiteral("0"),
                       menu ? QStringLiteral("create_user") : QStringLiteral("0")};
    select += columns;
    QList<QVariantList> raw = c.select(QStringLiteral("SELECT %1 FROM %2").arg(select.join(QLatin1Char(',')), t.name));
    std::sort(raw.begin(), raw.end(), [](const QVariantList& a, const QVariantList& b) {
        if (a[4].toLongLong() != b[4].toLongLong()) return a[4].toLongLong() < b[4].toLongLong();
        return a[0].toLongLong() < b[0].toLongLong();
    });
    QHash<int, QList<int>> children; // parent id -> positions in raw, in sibling order
    for (int i = 0; i < raw.size(); ++i) children[raw[i][1].toInt()] << i;

    QList<Row> out;
    // Depth first, parents before children: a child follows its parent before the parent's
    // next sibling, so that a file names a child's parent by the latest row of its path.
    struct Todo {
        int parent;
        QString parentKey, parentPath;
        QList<int> rows;
        int next = 0;
        QHash<QString, int> seen;
    };
    QList<Todo> stack{{0, QString(), QString(), children.value(0), 0, {}}};
    while (!stack.isEmpty()) {
        Todo& top = stack.last();
        if (top.next >= top.rows.size()) {
            stack.removeLast();
            continue;
        }
        const QVariantList& r = raw[top.rows[top.next++]];
        const int id = r[0].toInt();
        if (id == top.parent || r[3].toInt() != 0) continue;
        if (menu && r[5].toInt() > 0) {
            bool anyRole = false;
            for (int k = 0; k < columns.size(); ++k)
                if (columns[k].startsWith(QLatin1String("auth_")) && c.engine().fromDb(*t.column(columns[k]), r[6 + k]).toBool())
                    anyRole = true;
            if (!anyRole) continue;
        }
        Row row;
        row.id = id;
        row.parent = top.parent;
        row.caption = r[2].toString();
        row.key = keyOf(top.parentKey, row.caption, ++top.seen[row.caption]);
        row.path = top.parentPath.isEmpty() ? row.caption : top.parentPath + QStringLiteral(" / ") + row.caption;
        for (int k = 0; k < columns.size(); ++k) {
            const ColumnDef& col = *t.column(columns[k]);
            QJsonValue v = storedValue(c, col, r[6 + k]);
            if (isGroupReference(t, col.name) && v.toInt() >= 0)
                v = groupNames.contains(v.toInt()) ? QJsonValue(groupNames.value(v.toInt())) : QJsonValue(-2);
            row.values.insert(col.name, v);
        }
        if (t.hasColumn(QStringLiteral("prefix"))) row.prefix = row.values.value(QStringLiteral("prefix")).toString();
        out << row;
        if (tree && children.contains(id)) stack << Todo{id, row.key, row.path, children.value(id), 0, {}};
    }
    return out;
}

// An OLAP report's fields (or any owned rows) in their order, as the file holds them.
QJsonArray loadChildren(Connection& c, const SectionDef& s, int ownerId)
{
    const TableDef& t = *c.tableDef(s.childTable);
    const QStringList columns = carriedColumns(t, QString::fromLatin1(s.childLink));
    QList<QVariantList> raw = c.select(QStringLiteral("SELECT %1 FROM %2 WHERE %3=? ORDER BY field_sort_order, id")
                                           .arg(columns.join(QLatin1Char(',')), t.name, QString::fromLatin1(s.childLink)),
                                       {ownerId});
    QJsonArray out;
    for (const QVariantList& r : raw) {
        QJsonObject o;
        for (int k = 0; k < columns.size(); ++k) o.insert(columns[k], storedValue(c, *t.column(columns[k]), r[k]));
        out << o;
    }
    return out;
}

QHash<int, QString> liveGroupNames(Connection& c)
{
    QHash<int, QString> names;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, name FROM qnd_user_group WHERE del_status=0 ORDER BY id")))
        names.insert(r[0].toInt(), r[1].toString());
    return names;
}

// Works the file out against the database; with `write`, inside the caller's transaction,
// makes the database hold what the file holds.
class Importer {
public:
    Importer(Connection& c, const QJsonObject& doc, bool write) : m_c(c), m_doc(doc), m_write(write) {}

    QList<ConfigChange> run()
    {
        m_groupNames = liveGroupNames(m_c);
        roleNames();
        for (const SectionDef& s : kSections) section(s);
        return m_changes;
    }

private:
    void roleNames()
    {
        const QJsonValue v = m_doc.value(QStringLiteral("role_names"));
        if (v.isUndefined()) return;
        const QJsonArray names = v.toArray();
        if (!v.isArray() || names.size() != RoleSet::kSlots) throw Damaged{QStringLiteral("A szerepkörök neveinek listája sérült.")};
        for (int i = 0; i < RoleSet::kSlots; ++i) {
            if (names[i].isNull()) continue;
            if (!names[i].isString()) throw Damaged{QStringLiteral("A szerepkörök neveinek listája sérült.")};
            const QString wanted = names[i].toString();
            const QString now = m_c.settings().read(SettingKeys::kMainframe, SettingKeys::roleNameKey(i), QStringLiteral("\x01"));
            ConfigChange ch;
            ch.section = QStringLiteral("Szerepkörök nevei");
            ch.what = QStringLiteral("%1. szerepkör").arg(i);
            if (now == wanted) {
                ch.kind = ConfigChange::Same;
            } else {
                ch.kind = now == QStringLiteral("\x01") ? ConfigChange::Add : ConfigChange::Change;
                ch.details << QStringLiteral("név: %1 → %2").arg(ch.kind == ConfigChange::Add ? QStringLiteral("nincs") : shown(now), shown(wanted));
                if (m_write && !m_c.settings().write(SettingKeys::kMainframe, SettingKeys::roleNameKey(i), wanted))
                    throw DbError(m_c.editRecordset(Tables::Settings).lastError());
            }
            m_changes << ch;
        }
    }

    QString roleText(int slot)
    {
        if (!m_roleTexts.contains(slot)) m_roleTexts.insert(slot, readRoleText(slot));
        return m_roleTexts.value(slot);
    }

    QString readRoleText(int slot) { return QStringLiteral("%1. szerepkör (%2)").arg(slot).arg(roleName(m_c, slot)); }

    QString columnText(const QString& column)
    {
        if (column.startsWith(QLatin1String("auth_"))) return roleText(column.mid(5).toInt());
        return column;
    }

    void section(const SectionDef& s)
    {
        const TableDef& t = *m_c.tableDef(s.table);
        const QString title = QString::fromUtf8(s.title);
        const QString captionColumn = QString::fromLatin1(s.caption);
        const bool tree = t.hasColumn(QStringLiteral("parent_id"));
        const QStringList columns = carriedColumns(t, captionColumn);
        const QJsonValue sv = m_doc.value(QStringLiteral("sections")).toObject().value(QString::fromLatin1(s.key));
        if (sv.isUndefined()) return; // a file may carry only some parts
        if (!sv.isArray()) throw Damaged{QStringLiteral("A(z) „%1” rész sérült.").arg(title)};
        const QJsonArray rows = sv.toArray();

        QList<Row> target = loadTree(m_c, s, columns, m_groupNames);
        QHash<QString, int> byKey, byPrefix;
        QHash<QString, int> prefixCount;
        for (int i = 0; i < target.size(); ++i) {
            byKey.insert(target[i].key, i);
            if (!target[i].prefix.isEmpty()) {
                ++prefixCount[target[i].prefix];
                byPrefix.insert(target[i].prefix, i);
            }
        }
        QHash<QString, int> filePrefixCount;
        for (const QJsonValue& r : rows) {
            const QString p = r.toObject().value(QStringLiteral("values")).toObject().value(QStringLiteral("prefix")).toString();
            if (!p.isEmpty()) ++filePrefixCount[p];
        }

        // Pass one: every file row named and matched, and its id known (or handed out), so
        // that children find their parents and the groups' rules the groups they name.
        struct FileRow {
            QString key, parentKey, caption, path;
            QJsonObject values;
            int target = -1; // position in `target`
            int id = 0;
        };
        QList<FileRow> file;
        QHash<QString, int> idOfKey{{QString(), 0}};
        QHash<QString, QString> pathOfKey{{QString(), QString()}};
        QHash<QString, QHash<QString, int>> seen; // parent key -> caption -> count
        for (int n = 0; n < rows.size(); ++n) {
            const QString where = QStringLiteral("%1, %2. sor").arg(title).arg(n + 1);
            const QJsonObject o = rows[n].toObject();
            const QJsonArray path = o.value(QStringLiteral("path")).toArray();
            if (!rows[n].isObject() || path.isEmpty() || (!tree && path.size() != 1) || !o.value(QStringLiteral("values")).isObject())
                throw Damaged{QStringLiteral("%1: a sor nem olvasható.").arg(where)};
            FileRow f;
            QString parentKey;
            // The parent is the row before it with the path one shorter, already seen.
            for (int k = 0; k < path.size(); ++k)
                if (!path[k].isString()) throw Damaged{QStringLiteral("%1: az útvonal nem olvasható.").arg(where)};
            if (path.size() > 1) {
                QJsonArray parentPath = path;
                parentPath.removeLast();
                const QString pk = m_pathKeys.value(s.key).value(QJsonDocument(parentPath).toJson(QJsonDocument::Compact));
                if (pk.isEmpty()) throw Damaged{QStringLiteral("%1: a(z) „%2” sor szülője hiányzik a fájlból.").arg(where, path.last().toString())};
                parentKey = pk;
            }
            f.caption = path.last().toString();
            const ColumnDef* cc = t.column(captionColumn);
            if (cc->length > 0) f.caption = f.caption.left(cc->length);
            f.parentKey = parentKey;
            f.key = keyOf(parentKey, f.caption, ++seen[parentKey][f.caption]);
            f.path = pathOfKey.value(parentKey).isEmpty() ? f.caption : pathOfKey.value(parentKey) + QStringLiteral(" / ") + f.caption;
            pathOfKey.insert(f.key, f.path);
            // The latest row of a path names it for its children (equal siblings: the last one).
            m_pathKeys[s.key].insert(QJsonDocument(path).toJson(QJsonDocument::Compact), f.key);

            const QJsonObject values = o.value(QStringLiteral("values")).toObject();
            for (const QString& col : columns) {
                if (!values.contains(col)) continue;
                const QJsonValue v = values.value(col);
                if (isGroupReference(t, col)) {
                    if (v.isString()) f.values.insert(col, v.toString());
                    else if (v.isDouble() && (v.toInt() == -1 || v.toInt() == -2)) f.values.insert(col, v.toInt());
                    else throw Damaged{QStringLiteral("%1: a(z) „%2” mező értéke nem megfelelő.").arg(where, col)};
                } else {
                    f.values.insert(col, fileValue(*t.column(col), v, where));
                }
            }
            // A unit is named by its prefix when that names one unit on both sides.
            const QString prefix = f.values.value(QStringLiteral("prefix")).toString();
            int match = -1;
            if (!prefix.isEmpty() && filePrefixCount.value(prefix) == 1 && prefixCount.value(prefix) == 1)
                match = byPrefix.value(prefix);
            else if (byKey.contains(f.key) && !target[byKey.value(f.key)].matched)
                match = byKey.value(f.key);
            if (match >= 0 && target[match].matched) match = -1;
            if (match >= 0) {
                target[match].matched = true;
                f.target = match;
                f.id = target[match].id;
            } else {
                // Keyed as if made in the panel: an installation's item is not base structure there.
                f.id = m_write ? m_c.keys().newOwnKey(s.table, m_c.session().systemEdit()) : -(n + 1);
            }
            idOfKey.insert(f.key, f.id);
            file << f;
        }
        if (s.table == Tables::UserGroup) {
            // Names of the groups as they will stand, for the rules that name them.
            for (const FileRow& f : std::as_const(file))
                if (!m_groupIds.contains(f.caption)) m_groupIds.insert(f.caption, f.id);
            for (const Row& r : std::as_const(target))
                if (!m_groupIds.contains(r.caption)) m_groupIds.insert(r.caption, r.id);
        }

        // Pass two: what each row adds or changes, written parents first.
        const QJsonArray noChildren;
        for (int n = 0; n < file.size(); ++n) {
            const FileRow& f = file[n];
            ConfigChange ch;
            ch.section = title;
            ch.what = f.path;
            const QJsonObject o = rows[n].toObject();
            const bool hasChildren = s.childTable && o.contains(QStringLiteral("fields"));
            const QJsonArray children = hasChildren ? childRows(s, o.value(QStringLiteral("fields")), ch.what) : noChildren;
            const int parentId = idOfKey.value(f.parentKey);
            if (f.target < 0) {
                ch.kind = ConfigChange::Add;
                if (hasChildren && !children.isEmpty()) ch.details << QStringLiteral("%1 mező").arg(children.size());
                if (m_write) {
                    store(t, f.id, true, [&](Recordset& rs) {
                        if (tree) rs.setField(QStringLiteral("parent_id"), parentId);
                        rs.setField(captionColumn, f.caption);
                        for (auto it = f.values.begin(); it != f.values.end(); ++it) rs.setField(it.key(), valueFor(t, it.key(), it.value()));
                    });
                    if (hasChildren) writeChildren(s, f.id, children);
                }
            } else {
                const Row& r = target[f.target];
                QStringList changed;
                for (auto it = f.values.begin(); it != f.values.end(); ++it) {
                    const QJsonValue now = r.values.value(it.key());
                    if (now == it.value() || (it.value().isDouble() && now.isDouble() && now.toDouble() == it.value().toDouble()))
                        continue;
                    changed << it.key();
                    ch.details << QStringLiteral("%1: %2 → %3").arg(columnText(it.key()), shown(now), shown(it.value()));
                }
                const bool moved = tree && r.parent != parentId;
                if (moved) ch.details << QStringLiteral("helye: %1 → %2").arg(shown(parentPath(target, r)), shown(pathOfKey.value(f.parentKey)));
                const bool renamed = r.caption != f.caption;
                if (renamed) ch.details << QStringLiteral("név: %1 → %2").arg(shown(r.caption), shown(f.caption));
                bool childrenDiffer = false;
                if (hasChildren) {
                    const QJsonArray now = loadChildren(m_c, s, r.id);
                    childrenDiffer = now != children;
                    if (childrenDiffer) ch.details << QStringLiteral("mezők: %1 → %2").arg(now.size()).arg(children.size());
                }
                ch.kind = ch.details.isEmpty() ? ConfigChange::Same : ConfigChange::Change;
                if (m_write && (!changed.isEmpty() || moved || renamed)) {
                    store(t, f.id, false, [&](Recordset& rs) {
                        if (moved) rs.setField(QStringLiteral("parent_id"), parentId);
                        if (renamed) rs.setField(captionColumn, f.caption);
                        for (const QString& col : std::as_const(changed)) rs.setField(col, valueFor(t, col, f.values.value(col)));
                    });
                }
                if (m_write && childrenDiffer) writeChildren(s, f.id, children);
            }
            m_changes << ch;
        }
        for (const Row& r : std::as_const(target)) {
            if (r.matched) continue;
            ConfigChange ch;
            ch.kind = ConfigChange::Leave;
            ch.section = title;
            ch.what = r.path;
            m_changes << ch;
        }
    }

    static QString parentPath(const QList<Row>& rows, const Row& r)
    {
        for (const Row& p : rows)
            if (p.id == r.parent) return p.path;
        return QString();
    }

    QJsonArray childRows(const SectionDef& s, const QJsonValue& v, const QString& owner)
    {
        const TableDef& t = *m_c.tableDef(s.childTable);
        const QStringList columns = carriedColumns(t, QString::fromLatin1(s.childLink));
        if (!v.isArray()) throw Damaged{QStringLiteral("%1: a mezők listája sérült.").arg(owner)};
        QJsonArray out;
        for (const QJsonValue& e : v.toArray()) {
            if (!e.isObject()) throw Damaged{QStringLiteral("%1: a mezők listája sérült.").arg(owner)};
            const QJsonObject in = e.toObject();
            QJsonObject o;
            // A field the file leaves out takes the column's default, as a new field would.
            for (const QString& col : columns) {
                const ColumnDef& cd = *t.column(col);
                o.insert(col, in.contains(col) ? fileValue(cd, in.value(col), owner)
                                               : storedValue(m_c, cd, m_c.engine().toDb(cd, cd.defaultValue)));
            }
            out << o;
        }
        return out;
    }

    QVariant valueFor(const TableDef& t, const QString& column, const QJsonValue& v)
    {
        if (isGroupReference(t, column) && v.isString()) return m_groupIds.value(v.toString(), -2);
        return toVariant(*t.column(column), v);
    }

    void store(const TableDef& t, int id, bool add, const std::function<void(Recordset&)>& fill)
    {
        Recordset& rs = m_c.editRecordset(t.number);
        if (add) {
            rs.addNew();
            rs.setField(t.primaryKey, id);
        } else {
            rs.setIndex(QString());
            if (!rs.seek({id})) throw DbError(QStringLiteral("A(z) %1 tábla %2. sora közben eltűnt.").arg(t.name).arg(id));
            rs.edit();
        }
        rs.stampAudit(m_c.session().userId(), QDateTime::currentDateTime());
        // A menu item's maker sees it whatever its roles: the installation's items are nobody's.
        if (add && t.number == Tables::Menu) rs.setField(QStringLiteral("create_user"), -1);
        fill(rs);
        if (!rs.update()) throw DbError(rs.lastError());
    }

    void writeChildren(const SectionDef& s, int ownerId, const QJsonArray& children)
    {
        const TableDef& t = *m_c.tableDef(s.childTable);
        QString why;
        // The fields belong to their report: the file's list replaces the database's.
        if (!m_c.execute(QStringLiteral("DELETE FROM %1 WHERE %2=?").arg(t.name, QString::fromLatin1(s.childLink)), {ownerId}, &why))
            throw DbError(why);
        Recordset& rs = m_c.editRecordset(t.number);
        for (const QJsonValue& e : children) {
            const QJsonObject o = e.toObject();
            rs.addNew();
            rs.setField(t.primaryKey, m_c.keys().newOwnKey(t.number, m_c.session().systemEdit()));
            rs.setField(QString::fromLatin1(s.childLink), ownerId);
            for (auto it = o.begin(); it != o.end(); ++it) rs.setField(it.key(), toVariant(*t.column(it.key()), it.value()));
            if (!rs.update()) throw DbError(rs.lastError());
        }
    }

    Connection& m_c;
    const QJsonObject& m_doc;
    bool m_write;
    QList<ConfigChange> m_changes;
    QHash<QString, int> m_groupIds;      // group name -> id, as the import leaves them
    QHash<int, QString> m_groupNames;    // and back
    QHash<QString, QHash<QByteArray, QString>> m_pathKeys; // section -> file path -> key
    QHash<int, QString> m_roleTexts;
};

bool fail(QString* error, const QString& why)
{
    if (error) *error = why;
    return false;
}

QList<ConfigChange> workOut(Connection& c, const QJsonObject& doc, bool write)
{
    return Importer(c, doc, write).run();
}

} // namespace

int ConfigImport::count(ConfigChange::Kind k) const
{
    return int(std::count_if(changes.begin(), changes.end(), [k](const ConfigChange& ch) { return ch.kind == k; }));
}

bool exportConfig(Connection& c, const QString& path, QString* error)
{
    QJsonObject doc;
    try {
        doc.insert(QStringLiteral("format"), kFormat);
        doc.insert(QStringLiteral("version"), kConfigVersion);
        doc.insert(QStringLiteral("exported_at"), QDateTime::currentDateTime().toString(Qt::ISODate));
        doc.insert(QStringLiteral("database"), c.databaseName());
        QJsonArray roles;
        for (int i = 0; i < RoleSet::kSlots; ++i) {
            const QString n = c.settings().read(SettingKeys::kMainframe, SettingKeys::roleNameKey(i), QStringLiteral("\x01"));
            roles << (n == QStringLiteral("\x01") ? QJsonValue() : QJsonValue(n));
        }
        doc.insert(QStringLiteral("role_names"), roles);
        const QHash<int, QString> groupNames = liveGroupNames(c);
        QJsonObject sections;
        for (const SectionDef& s : kSections) {
            const TableDef& t = *c.tableDef(s.table);
            const QList<Row> rows = loadTree(c, s, carriedColumns(t, QString::fromLatin1(s.caption)), groupNames);
            QHash<int, QJsonArray> pathOf{{0, QJsonArray()}};
            QJsonArray out;
            for (const Row& r : rows) {
                QJsonArray p = pathOf.value(r.parent);
                p << r.caption;
                pathOf.insert(r.id, p);
                QJsonObject o{{QStringLiteral("path"), p}, {QStringLiteral("values"), r.values}};
                if (s.childTable) o.insert(QStringLiteral("fields"), loadChildren(c, s, r.id));
                out << o;
            }
            sections.insert(QString::fromLatin1(s.key), out);
        }
        doc.insert(QStringLiteral("sections"), sections);
    } catch (const DbError& e) {
        return fail(error, QStringLiteral("A beállítások nem olvashatók az adatbázisból: %1").arg(e.message()));
    }
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(QJsonDocument(doc).toJson(QJsonDocument::Indented)) < 0 || !f.commit())
        return fail(error, QStringLiteral("A fájl nem írható: %1 (%2)").arg(path, f.errorString()));
    return true;
}

bool previewConfig(Connection& c, const QString& path, ConfigImport* plan, QString* error)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return fail(error, QStringLiteral("A fájl nem nyitható meg: %1 (%2)").arg(path, f.errorString()));
    QJsonParseError pe;
    const QJsonDocument d = QJsonDocument::fromJson(f.readAll(), &pe);
    if (pe.error != QJsonParseError::NoError)
        return fail(error, QStringLiteral("A fájl sérült, nem tölthető be (%1. bájt: %2). Semmi sem változott.").arg(pe.offset).arg(pe.errorString()));
    const QJsonObject doc = d.object();
    if (!d.isObject() || doc.value(QStringLiteral("format")).toString() != kFormat)
        return fail(error, QStringLiteral("A fájl nem NexoFrame-beállításokat tartalmaz, nem tölthető be. Semmi sem változott."));
    const QJsonValue version = doc.value(QStringLiteral("version"));
    if (!version.isDouble() || version.toInt() != kConfigVersion)
        return fail(error, QStringLiteral("A fájl %1 változatú beállításokat tartalmaz; ez a program csak a(z) %2. változatot tudja betölteni. Semmi sem változott.")
                               .arg(version.isDouble() ? QStringLiteral("%1.").arg(version.toDouble()) : QStringLiteral("ismeretlen"))
                               .arg(kConfigVersion));
    if (!doc.value(QStringLiteral("sections")).isObject())
        return fail(error, QStringLiteral("A fájl sérült: hiányoznak belőle a beállítások. Semmi sem változott."));
    plan->path = path;
    plan->document = doc;
    try {
        plan->changes = workOut(c, doc, false);
    } catch (const Damaged& e) {
        return fail(error, QStringLiteral("A fájl sérült, nem tölthető be. %1 Semmi sem változott.").arg(e.why));
    } catch (const DbError& e) {
        return fail(error, QStringLiteral("Az adatbázis nem olvasható: %1").arg(e.message()));
    }
    return true;
}

bool importConfig(Connection& c, ConfigImport* plan, QString* error, const Transactions::AskAgain& askAgain)
{
    QList<ConfigChange> done;
    QString why;
    const Transactions::LockedWrite result = c.transactions().writeLocked([&] {
        try {
            done = workOut(c, plan->document, true);
        } catch (const Damaged& e) {
            throw DbError(QStringLiteral("A fájl sérült. %1").arg(e.why));
        }
        return true;
    }, &why, askAgain);
    if (result == Transactions::LockedWrite::Refused)
        return fail(error, QStringLiteral("Az adatbázist most más felhasználó írja; a betöltés nem kezdhető el. Semmi sem változott."));
    if (result == Transactions::LockedWrite::Failed)
        return fail(error, QStringLiteral("A betöltés nem sikerült, semmi sem változott. %1").arg(why));
    plan->changes = done;
    return true;
}

} // namespace NexoFrame
