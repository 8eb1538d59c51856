#pragma once
#include <QHash>
#include <QString>
#include <QVariantList>
#include <utility>

namespace NexoFrame {

class Connection;

// The key service: new primary keys from qnd_key, the table that hands them out to every
// program sharing the database. Reached as Connection::keys().
class Keys {
public:
    explicit Keys(Connection& c) : m_c(c) {}

    // Next primary key of an integer-keyed table; never hands out a key twice and moves past
    // any key already stored.
    int newKey(int table, const QString& column = QStringLiteral("id"));
    // `count` new keys in a row (one statement); the first of them.
    int newKeys(int table, int count, const QString& column = QStringLiteral("id"));
    // Menu items and OLAP reports (with their fields) keyed below kFirstOwnKey are the base
    // structure delivered with the system. A row an installation adds to them is keyed from
    // kFirstOwnKey up, unless `systemEdit` is set (the base itself is being edited); in other
    // tables this is newKey. The panels' records and the configuration import both key so.
    static constexpr int kFirstOwnKey = 1000000;
    static bool hasDeliveredBase(int table);
    int newOwnKey(int table, bool systemEdit, const QString& column = QStringLiteral("id"));
    // The lowest key newOwnKey hands out.
    static int ownKeyFloor(int table, bool systemEdit);
    // Inserts `rows` new rows into `table`, keyed by a block of new keys, in one statement
    // where the engine can write in a WITH clause (one round trip to a server), else with
    // the block taken just before. `columns` are the other columns, `shared` values that
    // every row gets (bound to the first columns) and `perRow` each row's own values for
    // the rest, row after row. No key below `lowest`. Returns the first key; throws DbError
    // when it fails.
    // `beside`: rows of another table written with a single new row, naming its key in the
    // column `ref` (its rights history), in the same statement where the engine allows.
    struct Beside {
        int table = 0;
        QStringList columns; // the shared ones, then each row's own; `ref` goes after the shared
        QString ref;
        QVariantList shared, perRow;
        int rows = 0;
    };
    int insertKeyed(int table, const QStringList& columns, const QVariantList& shared, const QVariantList& perRow, int rows,
                    int lowest = 0, const Beside* beside = nullptr);
    // Inserts the rows that "SELECT <selectList> <from>" gives (the columns after the key, in
    // `columns`' order; `with`, a WITH clause before it, with its values `withBinds`), keyed
    // from the next key on, reading them once: the key row stays locked until the caller's
    // transaction ends, so nobody else takes these keys meanwhile. The first key and the
    // number of rows (none: 0, 0). Throws DbError when it fails.
    std::pair<int, int> insertSelected(int table, const QStringList& columns, const QString& with, const QVariantList& withBinds,
                                       const QString& selectList, const QString& from, const QVariantList& binds);
    // From how many rows insertKeyed writes with the engine's bulk way, where it has one.
    static constexpr int kCopiedFrom = 50;
    // Forgets what this session handed out (a new link starts afresh).
    void reset() { m_lastKey.clear(); }

private:
    int handOut(int table, int count, const QString& column, int lowest);
    // The statement that hands out `count` keys of `t` (two values: the table's name and
    // the lowest last key), and those values.
    QString handOutSql(const QString& table, int count, const QString& column) const;
    QVariantList handOutValues(int table, const QString& name, int count, int lowest) const;
    Connection& m_c;
    QHash<int, int> m_lastKey;
    // The statements of insertKeyed by their shape (tables, columns, rows): a save writes the
    // same few again and again, and spelling one out costs more than its hash.
    QHash<QString, QString> m_keyedSql;
};

} // namespace NexoFrame
