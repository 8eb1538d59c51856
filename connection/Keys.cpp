#include "Keys.h"
#include "SqlExec.h"
#include "Connection.h"

namespace NexoFrame {

int Keys::newKey(int table, const QString& column) { return newKeys(table, 1, column); }

bool Keys::hasDeliveredBase(int table)
{
    return table == Tables::Menu || table == Tables::OlapReport || table == Tables::OlapReportField;
}

int Keys::newOwnKey(int table, bool systemEdit, const QString& column)
{
    return handOut(table, 1, column, systemEdit || !hasDeliveredBase(table) ? 0 : kFirstOwnKey);
}

int Keys::newKeys(int table, int count, const QString& column) { return handOut(table, count, column, 0); }

int Keys::handOut(int table, int count, const QString& column, int lowest)
{
    const TableDef* def = Schema::instance().table(table);
    if (!def) throw DbError(QStringLiteral("Ismeretlen táblaszám: %1").arg(table));
    const TableDef& t = *def;
    // The key table hands out each key once, also to two machines asking at once (the
    // row's lock makes the second wait), and moves past every key already stored, such
    // as one the module raised itself. A key handed out earlier in this session is never
    // handed out again, even when its row was rolled back. A block of `count` keys ends
    // at the key stored.
    const int n = std::max(1, count);
    const QString sql = QStringLiteral("INSERT INTO qnd_key (table_name, last_key) VALUES (?, %1) "
                                       "ON CONFLICT (table_name) DO UPDATE SET last_key = %2 RETURNING last_key")
                            .arg(m_c.engine().greatest(QStringLiteral("(SELECT COALESCE(MAX(%1), 0) + %3 FROM %2)")
                                                        .arg(quoted(column), quoted(t.name))
                                                        .arg(n),
                                                    QStringLiteral("?")),
                                 m_c.engine().greatest(QStringLiteral("qnd_key.last_key + %1").arg(n), QStringLiteral("excluded.last_key")));
    // Keys kept above `lowest` move the stored last key there, so that the next ones follow.
    auto rows = m_c.select(sql, {t.name, std::max(m_lastKey.value(table, 0) + n, lowest + n - 1)});
    if (rows.isEmpty()) throw DbError(QStringLiteral("Nem kapható új kulcs (%1).").arg(t.name));
    const int last = rows.first().value(0).toInt();
    m_lastKey[table] = last;
    return last - n + 1;
}

} // namespace NexoFrame
