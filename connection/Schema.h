#pragma once
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace NexoFrame {

enum class ColType { Long, Bool, Text, Memo, Date, DateTime, Double };

struct ColumnDef {
    QString name;
    ColType type = ColType::Long;
    int length = 0;          // characters, for Text
    QVariant defaultValue;   // what a new row holds when nothing is written
};

struct IndexDef {
    QString name;            // the name callers seek on ("PrimaryKey", "real_parent_id_2", ...)
    QStringList columns;
    bool unique = false;
};

// A column that holds the key of a row of another table (or of its own, in a tree). Not an
// SQL foreign key: rows are deleted softly, a log keeps naming what it logged, and some values
// point nowhere on purpose. The database's check finds rows that point at nothing; a row that
// live rows still point at is not deleted where the reference says so.
struct ForeignRef {
    QString column;
    QString targetTable;     // the column holds that table's key
    QString noneCondition;   // SQL on the column true of the values that point nowhere on purpose ("= 0"); empty: none
    QString faultText;       // a row that points at nothing, in Hungarian ("a felhasználó csoportja nem létezik")
    QString blocksDelete;    // when set, live rows pointing at a row keep it from being deleted: what they are
                             // after their count ("felhasználó tartozik a csoporthoz")
};

struct TableDef {
    QString name;
    int number = 0;          // the table number callers address it by
    QString primaryKey;      // single key column
    QList<ColumnDef> columns;
    QList<IndexDef> indexes; // "PrimaryKey" included
    // A view is read like a table; its SELECT joins tables of the schema (no indexes of its own).
    QString viewSql;
    bool isView() const { return !viewSql.isEmpty(); }
    // Columns whose every change the rights history keeps (role slots, visibility rules,
    // a user's group), written with the change in its transaction.
    QStringList historyColumns;
    // Text columns kept in Hungarian order by an index: where the engine cannot store that
    // order in the schema, each keeps its sort key in a column of its own (Engine::sortKeyColumn).
    QStringList sortKeys;
    // The columns that point at rows of tables of the schema.
    QList<ForeignRef> references;

    int columnIndex(const QString& column) const;       // case-insensitive, -1 if none
    const ColumnDef* column(const QString& column) const;
    const IndexDef* index(const QString& name) const;   // case-insensitive, nullptr if none
    QStringList columnNames() const;
    bool hasColumn(const QString& c) const { return columnIndex(c) >= 0; }

    QHash<QString, int> lookup; // lower-case column name -> position, filled by the schema
};

// Every table the system uses, with the indexes it seeks on.
class Schema {
public:
    static const Schema& instance();
    const QList<TableDef>& tables() const { return m_tables; }
    const TableDef* table(const QString& name) const;   // case-insensitive
    const TableDef* table(int number) const;

private:
    Schema();
    QList<TableDef> m_tables;
};

// Whether a column is one of the audit columns every record keeps (del_status, temp_status,
// who made and changed the row and when).
bool isAuditColumn(const QString& name);

// Table numbers of the registry.
namespace Tables {
inline constexpr int Settings = 1;
inline constexpr int Keys = 2;
inline constexpr int AuthUnit = 15;
inline constexpr int UserGroup = 17;
inline constexpr int User = 18;
inline constexpr int Menu = 19;
inline constexpr int OlapReport = 20;
inline constexpr int OlapReportField = 21;
inline constexpr int MenuLog = 22;
inline constexpr int ReportLog = 23;
inline constexpr int MenuLogView = 24;   // the menu log with who and which item
inline constexpr int ReportLogView = 25; // the report log with who and which report
inline constexpr int Report = 26;        // the printed reports' catalogue
inline constexpr int List = 27;          // the list wizard's lists
inline constexpr int ListSource = 28;    // what lists may be built from
inline constexpr int UserListView = 29;  // live users with their group's name
inline constexpr int DriverDocumentView = 31; // drivers' expiring documents
inline constexpr int Event = 30;
inline constexpr int Partner = 40;
inline constexpr int PartnerSite = 41;
inline constexpr int Zipcode = 42;
inline constexpr int Distance = 43;
inline constexpr int OlapSample = 50;
inline constexpr int RightsHistory = 60; // every change of who may do what
inline constexpr int LoginFailure = 61;  // failed logins, for the lock-out
inline constexpr int Secret = 62;        // settings that hold a stored secret
inline constexpr int SchemaStep = 63;    // the layout's steps the database has taken
inline constexpr int TwoStep = 64;       // a user's secret of the second login step
inline constexpr int RecoveryCode = 65;  // his single-use recovery codes
} // namespace Tables

} // namespace NexoFrame
