#include "SchemaUpgrade.h"
#include "Access.h"
#include "Connection.h"
#include "ReaderRole.h"
#include "SchemaSteps.h"
#include "SqlExec.h"
#include <QDateTime>
#include <QDebug>
#include <QSqlRecord>

#ifndef NEXO_PROGRAM_VERSION
#define NEXO_PROGRAM_VERSION "?"
#endif

namespace NexoFrame {

namespace {

const QString kStepTable = QStringLiteral("qnd_schema_step");

void run(Connection& c, const QString& sql)
{
    QString err;
    if (!c.execute(sql, {}, &err)) throw DbError(QStringLiteral("Az adatbázis szerkezete nem alakítható ki: %1").arg(err));
}

QString indexName(const TableDef& t, const IndexDef& ix) { return t.name + QLatin1Char('_') + ix.name; }

QString columnSql(const Engine& e, const TableDef& t, const ColumnDef& c)
{
    QString def = quoted(c.name) + QLatin1Char(' ') + e.sqlType(c);
    if (c.name.compare(t.primaryKey, Qt::CaseInsensitive) == 0) def += QStringLiteral(" PRIMARY KEY");
    else if (!c.defaultValue.isNull() && c.type != ColType::Text && c.type != ColType::Memo)
        def += QStringLiteral(" DEFAULT ") + e.toDb(c, c.defaultValue).toString();
    return def;
}

QString indexSql(const Engine& e, const TableDef& t, const IndexDef& ix)
{
    // The key closes every index, so that rows equal on the index columns keep one order and a
    // window read needs no sort. The key is never null, so it is ordered plainly, as the
    // primary key's own index is.
    QStringList columns;
    for (const QString& c : ix.columns) {
        const QString key = e.sortKeyColumn(t, c);
        columns << (c.compare(t.primaryKey, Qt::CaseInsensitive) == 0 ? quoted(c)
                    : !key.isEmpty()                                   ? quoted(key)
                                                                       : e.indexColumn(quoted(c)));
    }
    if (!ix.unique && !ix.columns.contains(t.primaryKey, Qt::CaseInsensitive)) columns << quoted(t.primaryKey);
    return QStringLiteral("CREATE %1INDEX ").arg(ix.unique ? QStringLiteral("UNIQUE ") : QString()) + quoted(indexName(t, ix))
        + QStringLiteral(" ON ") + quoted(t.name) + QStringLiteral(" (") + columns.join(QLatin1Char(',')) + QLatin1Char(')');
}

bool isPrimary(const IndexDef& ix) { return ix.name == QLatin1String("PrimaryKey"); }

void createTable(Connection& c, const TableDef& t, const QString& name)
{
    QStringList columns;
    for (const ColumnDef& col : t.columns) columns << columnSql(c.engine(), t, col);
    columns << c.engine().sortKeyColumnsSql(t);
    run(c, QStringLiteral("CREATE TABLE ") + quoted(name) + QStringLiteral(" (") + columns.join(QStringLiteral(", ")) + QLatin1Char(')'));
}

void createIndexes(Connection& c, const TableDef& t)
{
    for (const IndexDef& ix : t.indexes)
        if (!isPrimary(ix)) run(c, indexSql(c.engine(), t, ix));
    for (const QString& sql : c.engine().sortKeyStatements(t)) run(c, sql);
}

// A table with its indexes, or a view.
void create(Connection& c, const TableDef& t)
{
    if (t.isView()) {
        run(c, QStringLiteral("CREATE VIEW ") + quoted(t.name) + QStringLiteral(" AS ") + t.viewSql);
        return;
    }
    createTable(c, t, t.name);
    createIndexes(c, t);
}

void prepare(Connection& c)
{
    QString err;
    if (!c.engine().prepareSchema(c.db(), &err)) throw DbError(err);
}

// The last step the database records; 0 when it records none.
int recordedVersion(Connection& c)
{
    return c.select(QStringLiteral("SELECT MAX(step) FROM qnd_schema_step")).value(0).value(0).toInt();
}

bool keepsSteps(Connection& c) { return c.engine().tables(c.db()).contains(kStepTable); }

void record(Connection& c, int step)
{
    const ColumnDef& when = *Schema::instance().table(Tables::SchemaStep)->column(QStringLiteral("applied_at"));
    QString err;
    if (!c.execute(QStringLiteral("INSERT INTO qnd_schema_step (step, applied_at, program_version) VALUES (?, ?, ?)"),
                   {step, c.engine().toDb(when, QDateTime::currentDateTime()), QStringLiteral(NEXO_PROGRAM_VERSION)}, &err))
        throw DbError(QStringLiteral("A szerkezet változata nem jegyezhető fel: %1").arg(err));
}

// Before the steps: the tables the database lacks, at the newest layout, and the record of the
// layout it stands at when it kept none.
void makeMissingTables(Connection& c)
{
    const QStringList existing = c.engine().tables(c.db());
    bool prepared = false;
    for (const TableDef& t : Schema::instance().tables()) {
        if (t.isView() || existing.contains(t.name.toLower())) continue;
        if (!prepared) prepare(c);
        prepared = true;
        create(c, t);
    }
    if (recordedVersion(c) == 0) record(c, 1);
}

// After the steps: the indexes the tables lack, every view made again (a view keeps no rows,
// and a step may have dropped or outdated it), and on a server the reader role's grants on
// whatever is new.
void complete(Connection& c)
{
    const QStringList indexes = c.engine().indexes(c.db());
    for (const TableDef& t : Schema::instance().tables())
        for (const IndexDef& ix : t.indexes)
            if (!t.isView() && !isPrimary(ix) && !indexes.contains(indexName(t, ix).toLower())) run(c, indexSql(c.engine(), t, ix));
    SchemaStepContext(c).dropViews();
    for (const TableDef& t : Schema::instance().tables())
        if (t.isView()) create(c, t);
    QString message;
    if (!ReaderRole::grantAgain(c, &message)) throw DbError(message);
}

QString versionText(const Connection& c)
{
    return QStringLiteral("az adatbázis szerkezete %1. változatú, a programé %2.").arg(c.schemaState().version).arg(SchemaSteps::newest());
}

} // namespace

bool SchemaStepContext::postgres() const { return isServerTarget(m_c.target()); }

void SchemaStepContext::run(const QString& sql) { NexoFrame::run(m_c, sql); }

void SchemaStepContext::run(const QString& sqlite, const QString& postgres) { run(this->postgres() ? postgres : sqlite); }

bool SchemaStepContext::hasTable(const QString& table) { return m_c.engine().tables(m_c.db()).contains(table.toLower()); }

bool SchemaStepContext::hasColumn(const QString& table, const QString& column)
{
    if (!hasTable(table)) return false;
    QSqlQuery q(m_c.db());
    const bool read = q.exec(QStringLiteral("SELECT * FROM %1 WHERE 1 = 0").arg(quoted(table)));
    const bool has = read && q.record().indexOf(column) >= 0;
    const QString why = q.lastError().text();
    q.finish();
    if (!read) throw DbError(QStringLiteral("A(z) %1 tábla oszlopai nem olvashatók: %2").arg(table, why));
    return has;
}

void SchemaStepContext::addColumn(const QString& table, const QString& column)
{
    const TableDef* t = Schema::instance().table(table);
    const ColumnDef* c = t ? t->column(column) : nullptr;
    if (!c) throw DbError(QStringLiteral("A(z) %1.%2 oszlop nincs a program szerkezetében.").arg(table, column));
    addColumn(table, *c);
}

void SchemaStepContext::addColumn(const QString& table, const ColumnDef& column)
{
    if (!hasTable(table) || hasColumn(table, column.name)) return;
    TableDef t;
    t.name = table;
    run(QStringLiteral("ALTER TABLE %1 ADD COLUMN ").arg(quoted(table)) + columnSql(m_c.engine(), t, column));
}

void SchemaStepContext::rebuildTable(const QString& table)
{
    const TableDef* t = Schema::instance().table(table);
    if (!t || t->isView()) throw DbError(QStringLiteral("A(z) %1 tábla nincs a program szerkezetében.").arg(table));
    if (!hasTable(table)) return;
    // SQLite's way of changing a table: a new one at the newest layout, the rows copied (the
    // columns both have), the old one dropped with its indexes and triggers, the new renamed.
    QSqlQuery q(m_c.db());
    const bool read = q.exec(QStringLiteral("SELECT * FROM %1 WHERE 1 = 0").arg(quoted(table)));
    const QSqlRecord old = q.record();
    const QString why = q.lastError().text();
    q.finish();
    if (!read) throw DbError(QStringLiteral("A(z) %1 tábla oszlopai nem olvashatók: %2").arg(table, why));
    QStringList common;
    for (const ColumnDef& c : t->columns)
        if (old.indexOf(c.name) >= 0) common << quoted(c.name);
    const QString fresh = t->name + QStringLiteral("_rebuilt");
    dropViews();
    createTable(m_c, *t, fresh);
    run(QStringLiteral("INSERT INTO %1 (%3) SELECT %3 FROM %2").arg(quoted(fresh), quoted(t->name), common.join(QStringLiteral(", "))));
    run(QStringLiteral("DROP TABLE ") + quoted(t->name));
    run(QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(quoted(fresh), quoted(t->name)));
    createIndexes(m_c, *t);
}

void SchemaStepContext::dropViews()
{
    const QStringList existing = m_c.engine().tables(m_c.db());
    for (const TableDef& t : Schema::instance().tables())
        if (t.isView() && existing.contains(t.name.toLower())) run(QStringLiteral("DROP VIEW ") + quoted(t.name));
}

SchemaState SchemaUpgrade::inspect(Connection& c)
{
    SchemaState s;
    const QStringList tables = c.engine().tables(c.db());
    const QStringList indexes = c.engine().indexes(c.db());
    for (const TableDef& t : Schema::instance().tables()) {
        if (t.number == Tables::SchemaStep) continue;
        if (!tables.contains(t.name.toLower())) {
            s.missing << t.name;
            continue;
        }
        for (const IndexDef& ix : t.indexes)
            if (!isPrimary(ix) && !indexes.contains(indexName(t, ix).toLower())) s.missing << indexName(t, ix);
    }
    const bool recorded = tables.contains(kStepTable);
    s.version = recorded ? std::max(1, recordedVersion(c)) : 1;
    const int newest = SchemaSteps::newest();
    if (s.version > newest) s.kind = SchemaState::Kind::Newer;
    else if (s.version < newest || !s.missing.isEmpty()) s.kind = SchemaState::Kind::Older;
    else s.kind = recorded ? SchemaState::Kind::Current : SchemaState::Kind::Unrecorded;
    return s;
}

void SchemaUpgrade::createWhole(Connection& c)
{
    prepare(c);
    for (const TableDef& t : Schema::instance().tables()) create(c, t);
    record(c, SchemaSteps::newest());
}

SchemaUpgrade::Gate SchemaUpgrade::gate(Connection& c, int userId)
{
    const SchemaState::Kind kind = c.schemaState().kind;
    if (kind == SchemaState::Kind::Current) return Gate::Open;
    const bool may = rightsTest(c, userId, QString(kRight));
    if (kind == SchemaState::Kind::Unrecorded) {
        QString error;
        if (may && !upgrade(c, &error)) qWarning().noquote() << error;
        return Gate::Open;
    }
    return may && kind == SchemaState::Kind::Older ? Gate::Ask : Gate::Refuse;
}

bool SchemaUpgrade::upgrade(Connection& c, QString* error, const Transactions::AskAgain& askAgain)
{
    QString failure;
    const auto fail = [&](const QString& message) {
        if (error) *error = QStringLiteral("Az adatbázis frissítése nem sikerült. %1").arg(message);
        return false;
    };
    // One transaction under the master lock; another user's upgrade may have done it meanwhile,
    // and a later program's database is never touched.
    const auto locked = [&](const QString& what, const std::function<void()>& work) {
        QString why;
        const auto outcome = c.transactions().writeLocked([&] {
            if (keepsSteps(c) && recordedVersion(c) > SchemaSteps::newest()) {
                c.inspectSchema();
                throw DbError(newerMessage(c));
            }
            work();
            return true;
        }, &why, askAgain);
        if (outcome == Transactions::LockedWrite::Refused)
            failure = QStringLiteral("Az adatbázist más használja, próbálja újra később.");
        else if (outcome == Transactions::LockedWrite::Failed)
            failure = QStringLiteral("%1: %2 A korábbi lépések megmaradtak, ez a lépés semmit nem hagyott az adatbázisban.").arg(what, why);
        return outcome == Transactions::LockedWrite::Done;
    };
    try {
        c.inspectSchema();
        if (c.schemaState().kind == SchemaState::Kind::Newer) return fail(newerMessage(c));
        if (c.schemaState().kind == SchemaState::Kind::Current) return true;
        if (!locked(QStringLiteral("A hiányzó táblák létrehozása"), [&] { makeMissingTables(c); })) return fail(failure);
        for (const SchemaStep& step : SchemaSteps::all()) {
            if (step.number <= c.schemaState().version) continue;
            const bool done = locked(QStringLiteral("A(z) %1. lépés (%2)").arg(step.number).arg(step.what), [&] {
                if (recordedVersion(c) >= step.number) return;
                if (step.run) {
                    SchemaStepContext context(c);
                    step.run(context);
                }
                record(c, step.number);
            });
            if (!done) return fail(failure);
        }
        if (!locked(QStringLiteral("Az indexek, a nézetek és az olvasási jogok beállítása"), [&] { complete(c); })) return fail(failure);
        c.inspectSchema();
        c.keepSortKeys();
    } catch (const DbError& e) {
        return fail(e.message());
    }
    return true;
}

QString SchemaUpgrade::question(const Connection& c)
{
    return QStringLiteral("Az adatbázis a program egy korábbi változatával készült (%1), ezért használat előtt frissíteni "
                          "kell. A frissítés minden meglévő adatot megtart; amíg tart, más nem menthet az adatbázisba.\n\n"
                          "Javasoljuk, hogy a frissítés előtt készítsen mentést az adatbázisról.\n\nAdatbázis: %2")
        .arg(versionText(c), c.databaseName());
}

QString SchemaUpgrade::refusedMessage()
{
    return QStringLiteral("Az adatbázis a program egy korábbi változatával készült, és frissíteni kell, mielőtt dolgozni "
                          "lehetne vele. A frissítést csak arra jogosult felhasználó indíthatja el: kérje meg a "
                          "rendszergazdát, hogy lépjen be a programba, és frissítse az adatbázist. Addig az adatbázisban "
                          "semmi nem változik.");
}

QString SchemaUpgrade::newerMessage(const Connection& c)
{
    return QStringLiteral("Az adatbázist a program egy újabb változata már átalakította (%1). Ez a program nem dolgozhat "
                          "vele, és nem is változtat rajta: indítsa el a program újabb változatát.\n\nAdatbázis: %2")
        .arg(versionText(c), c.databaseName());
}

QString SchemaUpgrade::doneMessage(const Connection& c)
{
    return QStringLiteral("Az adatbázis frissítése elkészült: a szerkezete most %1. változatú.").arg(c.schemaState().version);
}

} // namespace NexoFrame
