#include "Access.h"
#include "Backup.h"
#include "Connection.h"
#include "LoginGuard.h"
#include "OldLayouts.h"
#include "ReadOnlySource.h"
#include "SchemaSteps.h"
#include "TestDatabase.h"

#include <QFile>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlRecord>
#include <QtTest>

using namespace NexoFrame;
using OldLayouts::Layout;
using Kind = SchemaState::Kind;
using Gate = SchemaUpgrade::Gate;

namespace {

std::unique_ptr<Connection> opened(const TestDatabase& db, QString* error = nullptr)
{
    QString err;
    auto c = Connection::openDatabase(db.target(), Connection::DemoData::None, &err);
    if (error) *error = err;
    else if (!c) qWarning().noquote() << err;
    return c;
}

// The layout as the engine keeps it: tables, views, columns with their types, lengths,
// defaults and collations, indexes with their columns, order and collations. Columns by name,
// since a column a step adds stands last in its table.
QStringList layoutOf(Connection& c)
{
    QStringList l;
    const auto rows = [&](const QString& sql, const QString& prefix) {
        for (const QVariantList& r : c.select(sql)) {
            QStringList cells;
            for (const QVariant& v : r) cells << v.toString();
            l << prefix + cells.join(QLatin1Char('|'));
        }
    };
    if (isServerTarget(c.target())) {
        rows(QStringLiteral("SELECT table_name, table_type FROM information_schema.tables WHERE table_schema = current_schema()"), "relation ");
        rows(QStringLiteral("SELECT table_name, column_name, data_type, character_maximum_length, column_default, is_nullable, "
                            "collation_name FROM information_schema.columns WHERE table_schema = current_schema()"), "column ");
        rows(QStringLiteral("SELECT indexname, indexdef FROM pg_indexes WHERE schemaname = current_schema()"), "index ");
        rows(QStringLiteral("SELECT viewname, definition FROM pg_views WHERE schemaname = current_schema()"), "view ");
    } else {
        for (const QVariantList& o : c.select(QStringLiteral("SELECT type, name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%'"))) {
            const QString name = o[1].toString(), sql = o[2].toString();
            if (o[0] == QLatin1String("view")) l << QStringLiteral("view %1 %2").arg(name, sql);
            if (o[0] != QLatin1String("table")) continue;
            l << QStringLiteral("table ") + name;
            for (const QVariantList& col : c.select(QStringLiteral("SELECT name, type, \"notnull\", dflt_value, pk FROM pragma_table_info(?)"), {name})) {
                const QString n = col[0].toString();
                const auto collation = QRegularExpression(QStringLiteral("\"%1\" (?:[^,(]|\\(\\d+\\))*COLLATE (\\w+)").arg(n)).match(sql);
                l << QStringLiteral("column %1.%2 %3 %4 %5 %6 %7").arg(name, n, col[1].toString(), col[2].toString(), col[3].toString(),
                                                                      col[4].toString(), collation.captured(1));
            }
            for (const QVariantList& ix : c.select(QStringLiteral("SELECT name, \"unique\" FROM pragma_index_list(?)"), {name})) {
                QStringList cols;
                for (const QVariantList& k : c.select(QStringLiteral("SELECT name, \"desc\", coll FROM pragma_index_xinfo(?) WHERE key ORDER BY seqno"),
                                                     {ix[0]}))
                    cols << QStringLiteral("%1 %2 %3").arg(k[0].toString(), k[1].toString(), k[2].toString());
                l << QStringLiteral("index %1 on %2 unique %3: %4").arg(ix[0].toString(), name, ix[1].toString(), cols.join(", "));
            }
        }
    }
    l.sort();
    return l;
}

// Columns a step adds to tables that had rows: an upgrade keeps the rows and fills these with
// what the step says, which that step's own test checks.
bool addedByAStep(const QString& column)
{
    return column == QLatin1String("directory_dn") || column == QLatin1String("directory_priority")
        || column == QLatin1String("two_step");
}

// Every row of the tables given (all of the database's when none), as stored; the sort keys
// a file keeps (the program's, made from the texts) and the columns steps add left out.
QStringList rowsOf(Connection& c, QStringList tables = {})
{
    if (tables.isEmpty()) tables = c.engine().tables(c.db());
    tables.sort();
    QStringList d;
    for (const QString& t : std::as_const(tables)) {
        QSqlQuery q(c.db());
        if (!q.exec(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(t))) qFatal("%s", qPrintable(q.lastError().text()));
        const QSqlRecord names = q.record();
        while (q.next()) {
            QStringList cells{t};
            for (int i = 0; i < names.count(); ++i)
                if (!names.fieldName(i).endsWith(QLatin1String("_sk")) && !addedByAStep(names.fieldName(i)))
                    cells << (q.value(i).isNull() ? QStringLiteral("NULL") : q.value(i).toString());
            d << cells.join(QLatin1Char('|'));
        }
    }
    return d;
}

// What a database holds, read through a link of its own: layout and rows, and a file's bytes.
struct Snapshot {
    QStringList layout, rows;
    QByteArray bytes;
    bool operator==(const Snapshot&) const = default;
};

Snapshot snapshotOf(const TestDatabase& db)
{
    Connection raw(makeEngineFor(db.target()));
    QString err;
    if (!raw.open(db.target(), &err)) qFatal("%s", qPrintable(err));
    Snapshot s{layoutOf(raw), rowsOf(raw), {}};
    raw.close();
    if (!isServerTarget(db.target())) {
        QFile f(db.target());
        if (f.open(QIODevice::ReadOnly)) s.bytes = f.readAll();
    }
    return s;
}

// A database made whole by this program, to compare an upgraded one with.
QStringList freshLayout()
{
    TestDatabase fresh;
    auto c = opened(fresh);
    return c ? layoutOf(*c) : QStringList();
}

// The steps a database records, with the program version that took each.
QStringList stepsOf(Connection& c)
{
    QStringList l;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT step, program_version FROM qnd_schema_step ORDER BY step")))
        l << r[0].toString() + QLatin1Char(' ') + r[1].toString();
    return l;
}

QString step(int n) { return QStringLiteral("%1 " NEXO_PROGRAM_VERSION).arg(n); }

// Every step this program knows, as an upgrade records them.
QStringList everyStep()
{
    QStringList l;
    for (const SchemaStep& s : SchemaSteps::all()) l << step(s.number);
    return l;
}

} // namespace

// Databases of earlier layouts brought to the newest one: nothing written before a user who
// may upgrade says so, every row kept, the layout the same as a new database's.
class tst_schemaupgrade : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { SchemaSteps::resetForTests(); }

    void aNewDatabaseRecordsTheNewestStep()
    {
        TestDatabase db;
        auto c = db.open(Connection::DemoData::IfCreated);
        QCOMPARE(c->schemaState().kind, Kind::Current);
        QCOMPARE(c->schemaState().version, SchemaSteps::newest());
        QCOMPARE(stepsOf(*c), QStringList{step(SchemaSteps::newest())});
        // The demo's administrators hold the key, the others do not.
        QVERIFY(rightsTest(*c, 1, QString(SchemaUpgrade::kRight)));
        QVERIFY(!rightsTest(*c, 2, QString(SchemaUpgrade::kRight)));
        QCOMPARE(SchemaUpgrade::gate(*c, 2), Gate::Open);
    }

    // The layout of the last program before the steps were kept is step 1, an older one now
    // (its SQLite files name the program's own collation): nothing written until a holder of
    // the key upgrades it, and then it is a new database's layout with every row.
    void theFirstStepUnrecorded()
    {
        TestDatabase db;
        OldLayouts::make(db, Layout::FirstStep);
        db.makeReader();
        const Snapshot before = snapshotOf(db);
        {
            auto c = opened(db);
            QVERIFY(c);
            QCOMPARE(c->schemaState().kind, Kind::Older);
            QCOMPARE(c->schemaState().version, 1);
            // Only the tables and indexes later steps brought: the second step's, and the
            // trees' index of live children.
            QStringList missing = c->schemaState().missing;
            missing.sort();
            QCOMPARE(missing, (QStringList{QStringLiteral("qnd_auth_unit_live_children"), QStringLiteral("qnd_menu_live_children"),
                                           QStringLiteral("qnd_olap_report_live_children"), QStringLiteral("qnd_recovery_code"),
                                           QStringLiteral("qnd_report_live_children"), QStringLiteral("qnd_two_step")}));
            QCOMPARE(SchemaUpgrade::gate(*c, OldLayouts::kClerk), Gate::Refuse);
        }
        QVERIFY(snapshotOf(db) == before);
        // Nothing wrong with it for the check either.
        Backup::CheckReport report;
        QString err;
        QVERIFY2(Backup::check(db.target(), &report, &err), qPrintable(err));
        QCOMPARE(report.faults, QStringList());

        auto c = opened(db);
        QCOMPARE(SchemaUpgrade::gate(*c, OldLayouts::kAdmin), Gate::Ask);
        QVERIFY2(SchemaUpgrade::upgrade(*c, &err), qPrintable(err));
        QCOMPARE(c->schemaState().kind, Kind::Current);
        QCOMPARE(stepsOf(*c), everyStep());
        QCOMPARE(layoutOf(*c), freshLayout());
        QStringList kept = rowsOf(*c);
        kept.removeIf([](const QString& r) { return r.startsWith(QLatin1String("qnd_schema_step|")); });
        QCOMPARE(kept, before.rows);
    }

    // Opening it writes nothing, and neither does its login or a user without the key; a
    // holder of the key is asked, and the upgrade makes what it lacks and keeps every row.
    void beforeListsReportsAndHistory()
    {
        TestDatabase db;
        OldLayouts::make(db, Layout::BeforeListsReportsHistory);
        const Snapshot before = snapshotOf(db);
        QStringList oldTables, rows;
        {
            auto c = opened(db);
            QVERIFY(c);
            // Its tables' rows are kept; its views are made again.
            oldTables = c->engine().tables(c->db());
            oldTables.removeIf([](const QString& t) { return Schema::instance().table(t)->isView(); });
            rows = rowsOf(*c, oldTables);
            const SchemaState& s = c->schemaState();
            QCOMPARE(s.kind, Kind::Older);
            QCOMPARE(s.version, 1);
            for (const char* gone : {"qnd_report", "qnd_list", "qnd_list_source", "qnd_rights_history", "qnd_login_failure", "qnd_secret",
                                     "qnd_user_list_view", "qnd_menu_log_menu_id", "qnd_report_log_log_date"})
                QVERIFY2(s.missing.contains(QString::fromLatin1(gone)), gone);
            QVERIFY(!s.usable());
            LoginGuard guard(*c);
            guard.recordFailure(QStringLiteral("admin"), QStringLiteral("gep"));
            QVERIFY(!guard.lockedUntil(QStringLiteral("admin")).isValid());
            guard.clear(QStringLiteral("admin"));
            QCOMPARE(SchemaUpgrade::gate(*c, OldLayouts::kClerk), Gate::Refuse);
        }
        QVERIFY(snapshotOf(db) == before);

        auto c = opened(db);
        auto other = opened(db);
        QCOMPARE(SchemaUpgrade::gate(*c, OldLayouts::kAdmin), Gate::Ask);
        QString err;
        QVERIFY2(SchemaUpgrade::upgrade(*c, &err), qPrintable(err));
        QCOMPARE(c->schemaState().kind, Kind::Current);
        QCOMPARE(stepsOf(*c), everyStep());
        // Another user's shell that saw it old finds nothing left to do.
        QCOMPARE(other->schemaState().kind, Kind::Older);
        QVERIFY2(SchemaUpgrade::upgrade(*other, &err), qPrintable(err));
        QCOMPARE(stepsOf(*other), everyStep());

        QCOMPARE(layoutOf(*c), freshLayout());
        QCOMPARE(rowsOf(*c, oldTables), rows);
        // The report log's view now names the printed reports.
        const auto logged = c->select(QStringLiteral("SELECT report_name FROM qnd_report_log_view"));
        QVERIFY(logged.size() == 1 && logged[0][0].isNull());
    }

    // Each step in a transaction of its own: a failing step keeps nothing of itself and
    // stops there, the earlier ones stay, and the next upgrade goes on from there. On a server
    // the reader role may read what the steps added.
    void stepsOneTransactionEach()
    {
        TestDatabase db;
        db.open(Connection::DemoData::IfCreated);
        const auto addTable = [](SchemaStepContext& s) {
            s.run(QStringLiteral("CREATE TABLE teszt_naplo (id INTEGER PRIMARY KEY, szoveg VARCHAR(20))"),
                  QStringLiteral("CREATE TABLE teszt_naplo (id integer PRIMARY KEY, szoveg varchar(20) COLLATE nexo_hu)"));
            s.addColumn(QStringLiteral("qnd_menu_log"), ColumnDef{QStringLiteral("megjegyzes"), ColType::Text, 40, {}});
            // Idempotent: a column there is left alone.
            s.addColumn(QStringLiteral("qnd_menu_log"), ColumnDef{QStringLiteral("megjegyzes"), ColType::Text, 40, {}});
        };
        const int n = SchemaSteps::newest(); // a new database records only it
        SchemaSteps::addForTests({n + 1, QStringLiteral("Tesztnapló"), addTable});
        SchemaSteps::addForTests({n + 2, QStringLiteral("Hibás lépés"), [](SchemaStepContext& s) {
                                      s.run(QStringLiteral("INSERT INTO teszt_naplo (id, szoveg) VALUES (1, 'félbemaradt')"));
                                      s.run(QStringLiteral("UPDATE nincs_ilyen_tabla SET x = 1"));
                                  }});
        if (testingPostgres()) {
            // Another program's table, which the program's role may not grant on.
            Connection admin(makeEngineFor(db.adminTarget()));
            QString err;
            QVERIFY2(admin.open(db.adminTarget(), &err) && admin.execute(QStringLiteral("CREATE TABLE mas_modul (id integer)"), {}, &err),
                     qPrintable(err));
        }
        auto c = opened(db);
        QCOMPARE(c->schemaState().kind, Kind::Older);
        QCOMPARE(c->schemaState().missing, QStringList());
        QCOMPARE(SchemaUpgrade::gate(*c, 2), Gate::Refuse);
        QString err;
        QVERIFY(!SchemaUpgrade::upgrade(*c, &err));
        QVERIFY2(err.contains(QStringLiteral("%1. lépés (Hibás lépés)").arg(n + 2)), qPrintable(err));
        QCOMPARE(stepsOf(*c).size(), 2);
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM teszt_naplo")).value(0).value(0).toInt(), 0);
        QVERIFY(db.released(*c));

        SchemaSteps::resetForTests();
        SchemaSteps::addForTests({n + 1, QStringLiteral("Tesztnapló"), addTable});
        SchemaSteps::addForTests({n + 2, QStringLiteral("Jó lépés"), [](SchemaStepContext& s) {
                                      s.run(QStringLiteral("INSERT INTO teszt_naplo (id, szoveg) VALUES (1, 'kész')"));
                                  }});
        QVERIFY2(SchemaUpgrade::upgrade(*c, &err), qPrintable(err));
        QCOMPARE(stepsOf(*c), (QStringList{step(n), step(n + 1), step(n + 2)}));
        QCOMPARE(c->schemaState().kind, Kind::Current);
        QVERIFY(db.released(*c));
        // What users' own SQL reads: on a server, as the reader role, granted anew.
        auto reader = ReadOnlySource::open(*c, &err);
        QVERIFY2(reader, qPrintable(err));
        QList<QVariantList> read;
        QVERIFY2(reader->run(QStringLiteral("SELECT t.szoveg, l.megjegyzes FROM teszt_naplo t LEFT JOIN qnd_menu_log l ON l.id = -1"),
                             nullptr, [&](const QVariantList& r) { return read << r, true; }, &err),
                 qPrintable(err));
        QCOMPARE(read.size(), 1);
        QCOMPARE(read[0][0].toString(), QStringLiteral("kész"));
        QVERIFY(read[0][1].isNull());
    }

    // The directory's columns come to an older database's groups and users empty: every group
    // maps no directory group and every user is local, so each logs in as before; a group may
    // then be mapped and a user marked.
    void directoryColumnsCome()
    {
        TestDatabase db;
        OldLayouts::make(db, Layout::FirstStep);
        db.makeReader();
        auto c = opened(db);
        QVERIFY(c);
        const int groups = c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group")).value(0).value(0).toInt();
        const int users = c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user")).value(0).value(0).toInt();
        QString err;
        QVERIFY2(SchemaUpgrade::upgrade(*c, &err), qPrintable(err));
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group WHERE (directory_dn IS NULL OR directory_dn = '') "
                                          "AND COALESCE(directory_priority, 0) = 0")).value(0).value(0).toInt(), groups);
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE directory_dn IS NULL OR directory_dn = ''"))
                     .value(0).value(0).toInt(), users);
        QVERIFY(c->execute(QStringLiteral("UPDATE qnd_user_group SET directory_dn = ?, directory_priority = 5 WHERE id = 1"),
                           {QStringLiteral("cn=vezetok,ou=groups,dc=ceg,dc=hu")}));
        QCOMPARE(c->select(QStringLiteral("SELECT directory_priority FROM qnd_user_group WHERE directory_dn = ?"),
                           {QStringLiteral("cn=vezetok,ou=groups,dc=ceg,dc=hu")}).value(0).value(0).toInt(), 5);
        // No group requires a second step yet, and nobody has one: every login goes as before.
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group WHERE two_step = %1").arg(c->boolLiteral(false)))
                     .value(0).value(0).toInt(), groups);
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_two_step")).value(0).value(0).toInt(), 0);
        // On a server the reader may read them as the rest of the tables.
        Backup::CheckReport report;
        QVERIFY2(Backup::check(db.target(), &report, &err), qPrintable(err));
        QCOMPARE(report.faults, QStringList());
    }

    // The trees' index of live children comes to a database of the fifth step; a subtree's
    // walk on a file then reads that index alone, not the rows.
    void treesIndexComes()
    {
        TestDatabase db;
        const QStringList trees{QStringLiteral("qnd_auth_unit"), QStringLiteral("qnd_menu"), QStringLiteral("qnd_olap_report"),
                                QStringLiteral("qnd_report")};
        {
            auto c = opened(db);
            QVERIFY(c);
            for (const QString& t : trees) QVERIFY(c->execute(QStringLiteral("DROP INDEX %1_live_children").arg(t)));
            // A new database records only its newest step.
            QVERIFY(c->execute(QStringLiteral("UPDATE qnd_schema_step SET step = 5 WHERE step = 6")));
        }
        auto c = opened(db);
        QVERIFY(c);
        QCOMPARE(c->schemaState().kind, Kind::Older);
        QCOMPARE(c->schemaState().version, 5);
        QString err;
        QVERIFY2(SchemaUpgrade::upgrade(*c, &err), qPrintable(err));
        QCOMPARE(stepsOf(*c).last(), step(6));
        QCOMPARE(layoutOf(*c), freshLayout());
        if (isServerTarget(db.target())) return;
        // Its walk as the program writes it, planned on a table as large as an office's.
        QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, del_status) WITH RECURSIVE n(i) AS (SELECT 1000 "
                                          "UNION ALL SELECT i + 1 FROM n WHERE i < 30000) SELECT i, i / 10, 0 FROM n")));
        QVERIFY(c->execute(QStringLiteral("ANALYZE")));
        QStringList plan;
        QSqlQuery q(c->db());
        q.prepare(QStringLiteral("EXPLAIN QUERY PLAN ") + Connection::descendantsCte(QStringLiteral("qnd_menu"))
                  + QStringLiteral("SELECT id FROM d"));
        q.addBindValue(1000);
        QVERIFY(q.exec());
        while (q.next()) plan << q.value(3).toString();
        QVERIFY2(!plan.filter(QStringLiteral("qnd_menu_live_children")).isEmpty(), qPrintable(plan.join(QLatin1Char('\n'))));
        for (const QString& line : std::as_const(plan))
            if (line.contains(QStringLiteral("qnd_menu")) || line.startsWith(QStringLiteral("SEARCH t")) || line.contains(QStringLiteral("BLOOM")))
                QVERIFY2(line.contains(QStringLiteral("COVERING INDEX")), qPrintable(plan.join(QLatin1Char('\n'))));
    }

    // A database a later program has changed is refused as it is opened, and nothing in it
    // changes.
    void newerIsRefusedUntouched()
    {
        TestDatabase db;
        {
            auto c = db.open(Connection::DemoData::IfCreated);
            QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_schema_step (step, applied_at, program_version) VALUES (?, NULL, '9.9')"),
                               {SchemaSteps::newest() + 1}));
        }
        const Snapshot before = snapshotOf(db);
        QString err;
        QVERIFY(!opened(db, &err));
        QVERIFY2(err.contains(QStringLiteral("újabb változata")), qPrintable(err));
        QVERIFY2(err.contains(QStringLiteral("%1. változatú, a programé %2.").arg(SchemaSteps::newest() + 1).arg(SchemaSteps::newest())),
                 qPrintable(err));
        Connection raw(makeEngineFor(db.target()));
        QVERIFY(raw.open(db.target(), &err));
        raw.inspectSchema();
        QCOMPARE(raw.schemaState().kind, Kind::Newer);
        QVERIFY(!SchemaUpgrade::upgrade(raw, &err));
        QVERIFY2(err.contains(QStringLiteral("újabb változata")), qPrintable(err));
        raw.close();
        QVERIFY(snapshotOf(db) == before);
    }
};

QTEST_GUILESS_MAIN(tst_schemaupgrade)
#include "tst_schemaupgrade.moc"
