#include "SchemaSteps.h"

namespace NexoFrame::SchemaSteps {

namespace {

// How the layout of a database changes from one program version to the next: one numbered
// step for each change, oldest first. A shipped step is never changed; a new one goes at the
// end with the next number, in the same commit as the change of Schema.cpp it brings existing
// databases to. An empty database is made whole at the newest layout and records the last
// number; an older one runs each step it has not taken, in a transaction of its own under the
// master lock, and records it in qnd_schema_step (SchemaUpgrade.cpp).
//
// Around the steps the upgrade makes by itself what needs no rows carried over: before them
// every table the database lacks, at the newest layout; after them every index it lacks and
// every view again, and on a server the reader role's grants. So a step that brings only a new
// table, index or view has no code, only its number; and a step meets a table made before it
// at the newest layout, which the helpers of SchemaStepContext leave as it is.
//
// Step 1 is the layout of every database made before the steps were kept (a database without
// qnd_schema_step): a still earlier one, made before the lists, printed reports, rights
// history and login lock-out had their tables, gets them as above.
//
// A step with work to do, for example a new column of the users:
//     {2, QStringLiteral("A felhasználók telefonmellék oszlopa"),
//      [](SchemaStepContext& s) { s.addColumn(QStringLiteral("qnd_user"), QStringLiteral("extension")); }},
QList<SchemaStep> shipped()
{
    return {
        {1, QStringLiteral("Kiinduló szerkezet"), {}},
        // A SQLite file no longer names the program's own collation: its text columns take the
        // plain one, and the names kept in Hungarian order get their sort key columns (filled
        // when the program next opens it). A server keeps its ICU collation.
        {2, QStringLiteral("Minden SQLite-program által írható fájl, magyar sorrend rendezőkulccsal"),
         [](SchemaStepContext& s) {
             if (s.postgres()) return;
             for (const TableDef& t : Schema::instance().tables()) {
                 bool text = !t.sortKeys.isEmpty();
                 for (const ColumnDef& c : t.columns) text = text || c.type == ColType::Text || c.type == ColType::Memo;
                 if (!t.isView() && text) s.rebuildTable(t.name);
             }
         }},
        {3, QStringLiteral("Címtári csoportok és felhasználók"),
         [](SchemaStepContext& s) {
             s.addColumn(QStringLiteral("qnd_user_group"), QStringLiteral("directory_dn"));
             s.addColumn(QStringLiteral("qnd_user_group"), QStringLiteral("directory_priority"));
             s.addColumn(QStringLiteral("qnd_user"), QStringLiteral("directory_dn"));
         }},
        // The secrets' and recovery codes' tables are made by the upgrade itself.
        {4, QStringLiteral("Kétlépcsős bejelentkezés"),
         [](SchemaStepContext& s) { s.addColumn(QStringLiteral("qnd_user_group"), QStringLiteral("two_step")); }},
        // The rights history's index by row: no reading of the program's goes by it, and a
        // subtree's tick put an entry of it at each of thousands of places, a cost that grew
        // with the history.
        {5, QStringLiteral("A jogosultság-előzmény soronkénti indexe elmarad"),
         [](SchemaStepContext& s) { s.run(QStringLiteral("DROP INDEX IF EXISTS qnd_rights_history_table_row")); }},
        // The trees' index of live children (the upgrade makes it): a subtree's walk read
        // every row it passed for its deletion mark.
        {6, QStringLiteral("A fák élő elemeinek indexe"), {}},
    };
}

QList<SchemaStep>& steps()
{
    static QList<SchemaStep> list = shipped();
    return list;
}

} // namespace

const QList<SchemaStep>& all() { return steps(); }

int newest() { return steps().last().number; }

void addForTests(SchemaStep step) { steps() << std::move(step); }

void resetForTests() { steps() = shipped(); }

} // namespace NexoFrame::SchemaSteps
