#include "RightsHistory.h"
#include "Connection.h"
#include "DateFormats.h"
#include "Recordset.h"
#include <QStringList>

namespace NexoFrame {

namespace {


QVariant valueOf(const ColumnDef& c, const QString& text)
{
    if (text.isEmpty() && c.type != ColType::Text && c.type != ColType::Memo) return QVariant(); // a cell never set
    switch (c.type) {
    case ColType::Bool: return text == QLatin1String("1");
    case ColType::Long: return text.toInt();
    case ColType::Double: return text.toDouble();
    default: return text;
    }
}

} // namespace

QList<RightsChange> rightsChanges(Connection& c, const QDateTime& from, const QDateTime& to)
{
    QList<RightsChange> out;
    const QList<QVariantList> rows = c.select(
        QStringLiteral("SELECT h.id, h.changed_at, h.user_id, u.display_name, h.table_name, h.row_id, h.column_name, h.old_value, "
                       "h.new_value FROM qnd_rights_history h LEFT JOIN qnd_user u ON u.id = h.user_id "
                       "WHERE h.changed_at >= ? AND h.changed_at <= ? ORDER BY h.changed_at, h.id"),
        {from.toString(DateFormats::kStored), to.toString(DateFormats::kStored)});
    const ColumnDef when{QStringLiteral("changed_at"), ColType::DateTime, 0, {}};
    for (const QVariantList& r : rows) {
        RightsChange ch;
        ch.id = r[0].toLongLong();
        ch.at = c.engine().fromDb(when, r[1]).toDateTime();
        ch.userId = r[2].toInt();
        ch.userName = r[3].toString();
        ch.table = r[4].toString();
        ch.rowId = r[5].toInt();
        ch.column = r[6].toString();
        ch.rowWasNew = r[7].isNull();
        ch.oldValue = r[7].toString();
        ch.newValue = r[8].toString();
        out << ch;
    }
    return out;
}

QHash<int, QString> columnAt(Connection& c, const QString& table, const QString& column, const QDateTime& moment)
{
    const TableDef* t = c.tableDef(table);
    const ColumnDef* col = t ? t->column(column) : nullptr;
    if (!col || !t->historyColumns.contains(col->name))
        throw DbError(QStringLiteral("A(z) %1.%2 oszlop változásait nem őrzi az előzmény.").arg(table, column));
    QHash<int, QString> values;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT \"%1\", \"%2\" FROM \"%3\"").arg(t->primaryKey, col->name, t->name)))
        values.insert(r[0].toInt(), c.history().text(*col, r[1]));
    // Back through the changes since, newest first: what is left is the earliest one's "before".
    QSet<int> madeSince;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT row_id, old_value FROM qnd_rights_history "
                                                         "WHERE table_name = ? AND column_name = ? AND changed_at > ? "
                                                         "ORDER BY changed_at DESC, id DESC"),
                                          {t->name, col->name, moment.toString(DateFormats::kStored)})) {
        const int row = r[0].toInt();
        if (r[1].isNull()) {
            madeSince.insert(row);
        } else {
            madeSince.remove(row);
            values.insert(row, r[1].toString());
        }
    }
    for (int row : std::as_const(madeSince)) values.remove(row);
    return values;
}

QList<RevertStep> revertPlan(Connection& c, const QDateTime& moment, int slot)
{
    QList<RevertStep> plan;
    for (const TableDef& t : Schema::instance().tables()) {
        QStringList columns = t.historyColumns;
        if (slot >= 0) columns = columns.contains(QStringLiteral("auth_%1").arg(slot)) ? QStringList{QStringLiteral("auth_%1").arg(slot)} : QStringList();
        for (const QString& column : std::as_const(columns)) {
            const ColumnDef& col = *t.column(column);
            QHash<int, QString> now;
            for (const QVariantList& r : c.select(QStringLiteral("SELECT \"%1\", \"%2\" FROM \"%3\"").arg(t.primaryKey, col.name, t.name)))
                now.insert(r[0].toInt(), c.history().text(col, r[1]));
            const QHash<int, QString> then = columnAt(c, t.name, column, moment);
            QList<int> rows = then.keys();
            std::sort(rows.begin(), rows.end());
            for (int row : std::as_const(rows))
                if (now.contains(row) && now.value(row) != then.value(row)) plan.append({t.name, row, column, now.value(row), then.value(row)});
        }
    }
    return plan;
}

qint64 lastRightsChange(Connection& c)
{
    return c.select(QStringLiteral("SELECT COALESCE(MAX(id), 0) FROM qnd_rights_history")).value(0).value(0).toLongLong();
}

QList<RevertStep> undoPlan(Connection& c, qint64 from, qint64 to)
{
    QList<RevertStep> plan;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT table_name, row_id, column_name, old_value, new_value FROM qnd_rights_history "
                                                         "WHERE id > ? AND id <= ? ORDER BY id DESC"),
                                          {from, to})) {
        if (r[3].isNull()) continue; // a row made then stays
        const TableDef* t = c.tableDef(r[0].toString());
        if (!t || !t->historyColumns.contains(r[2].toString())) continue; // a log's pruning, no cell
        plan.append({r[0].toString(), r[1].toInt(), r[2].toString(), r[4].toString(), r[3].toString()});
    }
    return plan;
}

QList<UnusedGrant> unusedGrants(Connection& c, int slot, const QDateTime& since)
{
    QList<UnusedGrant> out;
    if (slot < 0 || slot > 9) return out;
    const QString role = QStringLiteral("auth_%1").arg(slot);
    QStringList users;
    for (const QVariantList& u : c.select(QStringLiteral("SELECT u.display_name FROM qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id "
                                                         "WHERE u.del_status = 0 AND g.del_status = 0 AND NOT COALESCE(u.access_denied, FALSE) "
                                                         "AND g.%1 ORDER BY u.display_name COLLATE nexo_hu")
                                              .arg(role)))
        users << u[0].toString();
    if (users.isEmpty()) return out; // nobody holds the role: nothing is used or unused
    // Items that start something (menu items with a class, reports with a file) ticked for the
    // role, with no log row since `since` from any user of a live group that holds it.
    const struct {
        const char* table;
        const char* log;
        const char* item;
        const char* opens;
    } kinds[] = {{"qnd_menu", "qnd_menu_log", "menu_id", "t.class_name <> ''"}, {"qnd_report", "qnd_report_log", "report_id", "t.report_type = 1 AND t.caption <> '-'"}};
    for (const auto& k : kinds) {
        const QString sql = QStringLiteral("SELECT t.id, t.caption FROM %1 t WHERE t.del_status = 0 AND t.%2 AND %3 AND NOT EXISTS ("
                                           "SELECT 1 FROM %4 l JOIN qnd_user u ON u.id = l.user_id JOIN qnd_user_group g ON g.id = u.user_group_id "
                                           "WHERE l.%5 = t.id AND l.log_date >= ? AND g.%2) ORDER BY t.caption COLLATE nexo_hu, t.id")
                                .arg(QString::fromLatin1(k.table), role, QString::fromLatin1(k.opens), QString::fromLatin1(k.log),
                                     QString::fromLatin1(k.item));
        for (const QVariantList& r : c.select(sql, {since.toString(DateFormats::kStored)}))
            out.append({QString::fromLatin1(k.table), r[0].toInt(), r[1].toString().trimmed(), users});
    }
    return out;
}

QList<RevertStep> revokePlan(const QList<UnusedGrant>& grants, int slot)
{
    QList<RevertStep> plan;
    for (const UnusedGrant& g : grants) plan.append({g.table, g.itemId, QStringLiteral("auth_%1").arg(slot), QStringLiteral("1"), QStringLiteral("0")});
    return plan;
}

bool revertTo(Connection& c, const QList<RevertStep>& plan, QString* error, const Transactions::AskAgain& askAgain)
{
    if (plan.isEmpty()) return true;
    QString why;
    const Transactions::LockedWrite done = c.transactions().writeLocked([&] {
        for (const RevertStep& s : plan) {
            const TableDef* t = c.tableDef(s.table);
            Recordset& rs = c.editRecordset(t->number);
            rs.setIndex(QString());
            if (!rs.seek({s.rowId})) throw DbError(QStringLiteral("A(z) %1 tábla %2. sora már nem létezik.").arg(s.table).arg(s.rowId));
            rs.edit();
            rs.setField(s.column, valueOf(*t->column(s.column), s.then));
            if (!rs.update()) throw DbError(rs.lastError());
        }
        return true;
    }, &why, askAgain);
    if (done == Transactions::LockedWrite::Done) return true;
    if (error)
        *error = done == Transactions::LockedWrite::Refused
                     ? QStringLiteral("Az adatbázist most más felhasználó írja; a visszaállítás nem kezdhető el.")
                     : QStringLiteral("A visszaállítás nem sikerült, semmi sem változott. %1").arg(why);
    return false;
}

} // namespace NexoFrame
