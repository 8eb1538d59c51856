#pragma once
// A tree panel on a large table, per engine: attaching until shown against one bare select
// of the rows, and ticking a node with 10,000 descendants against the same rows updated one
// by one with a prepared statement in one transaction.
#include <QString>
#include <functional>
#include <memory>

namespace NexoFrame {
class TreePanel;
}

namespace NexoFrame::Bench {

struct TreeBenchSpec {
    int table;                  // the tree's table number
    QString textColumn;         // the column of the node text, filled with "<textPrefix> <n>"
    QString textPrefix;
    QString extraColumns;       // more columns every row needs, e.g. ",prefix"
    QString extraValues;        // their values in SQL, e.g. ",'bench'"
    std::function<std::unique_ptr<TreePanel>()> makePanel;
};

// Prints "<engine> attach ratio: X" and "<engine> tick ratio: X" for SQLite and, when
// NEXO_TEST_PG names a server, for PostgreSQL.
int runTreeBench(int argc, char** argv, const TreeBenchSpec& spec);

} // namespace NexoFrame::Bench
