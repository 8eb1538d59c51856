#pragma once
#include <QHash>
#include <QString>

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
    // Forgets what this session handed out (a new link starts afresh).
    void reset() { m_lastKey.clear(); }

private:
    int handOut(int table, int count, const QString& column, int lowest);
    Connection& m_c;
    QHash<int, int> m_lastKey;
};

} // namespace NexoFrame
