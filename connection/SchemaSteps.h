#pragma once
#include "Schema.h"
#include <QList>
#include <QString>
#include <functional>

namespace NexoFrame {

class Connection;

// What a step of the layout works with: its connection and the pieces a layout change is
// made of, written the same for both engines. Each throws DbError when its statement fails.
class SchemaStepContext {
public:
    explicit SchemaStepContext(Connection& c) : m_c(c) {}
    Connection& connection() { return m_c; }
    bool postgres() const;

    // One statement; the second form gives each engine its own.
    void run(const QString& sql);
    void run(const QString& sqlite, const QString& postgres);
    bool hasTable(const QString& table);
    bool hasColumn(const QString& table, const QString& column);
    // Adds a column as the schema defines it now (type, length, collation, default) to a table
    // the database has; nothing when the table is missing or has the column already.
    void addColumn(const QString& table, const QString& column);
    void addColumn(const QString& table, const ColumnDef& column);
    // Makes a table again at the newest layout, its rows kept (the columns it has), with its
    // indexes and its sort keys' triggers; drops the views first. Nothing when it is missing.
    void rebuildTable(const QString& table);
    // Drops every view of the schema, for a step that rebuilds a table a view reads; the
    // upgrade makes them all again at its end.
    void dropViews();

private:
    Connection& m_c;
};

// One numbered change of the database's layout.
struct SchemaStep {
    int number = 0;
    QString what;                                 // what it changes, in Hungarian
    std::function<void(SchemaStepContext&)> run;  // none: only what the upgrade makes by itself
};

namespace SchemaSteps {

// The steps, oldest first, numbered 1, 2, 3, … (SchemaSteps.cpp says how to add one).
const QList<SchemaStep>& all();
// The layout this program makes and works with: the last step's number.
int newest();

// For the tests of the upgrade: a step after the shipped ones, and the shipped list back.
void addForTests(SchemaStep step);
void resetForTests();

} // namespace SchemaSteps

} // namespace NexoFrame
