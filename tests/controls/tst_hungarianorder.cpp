#include "Backup.h"
#include "BrowseView.h"
#include "Recordset.h"
#include "TestDatabase.h"

#include <QProcess>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTableView>
#include <QtTest>

using namespace NexoFrame;
using namespace NexoFrame::Controls;

namespace {

// Hungarian order: "a" and "á" are one letter until the rest decides, "cs" comes after every
// "c", "ö" after "o".
const QStringList kNames{"Ábel", "Álmos", "Cukor", "csiga", "Olga", "Ödön", "Zoltán"};

// The names the technical groups' list shows, in its order, every page read.
QStringList listed(Connection& c, bool descending = false)
{
    BrowseView v;
    v.setConnection(&c);
    v.setView({descending ? 92 : 91, Tables::UserGroup, {{"name", "Név"}}, "id", "technical=1", "name", descending});
    while (v.table()->model()->canFetchMore({})) v.table()->model()->fetchMore({});
    QStringList l;
    for (int r = 0; r < v.loadedRows(); ++r) l << v.table()->model()->index(r, 0).data().toString();
    return l;
}

// The technical groups in the name index's order, walked one row at a time.
QStringList walked(Connection& c)
{
    Recordset rs(&c, c.tableDef(Tables::UserGroup));
    rs.setIndex(QStringLiteral("name"));
    QStringList l;
    for (rs.moveFirst(); !rs.eof(); rs.moveNext())
        if (rs.field(QStringLiteral("technical")).toBool()) l << rs.field(QStringLiteral("name")).toString();
    return l;
}

// The plain sqlite3 client on a file: every statement must pass, as for any other program.
QString sqlite3(const QString& file, const QString& script)
{
    QProcess p;
    p.start(QStringLiteral("sqlite3"), {QStringLiteral("-bail"), file});
    if (!p.waitForStarted()) return QStringLiteral("sqlite3 nem indul");
    p.write(script.toUtf8());
    p.closeWriteChannel();
    p.waitForFinished(60000);
    const QString err = QString::fromUtf8(p.readAllStandardError());
    if (p.exitCode() != 0 || !err.isEmpty()) return QStringLiteral("kilépési kód %1: %2").arg(p.exitCode()).arg(err);
    return QString();
}

// Every row of every table, as stored, read by a link of its own.
QStringList everyRow(Connection& c)
{
    QStringList rows;
    for (const TableDef& t : Schema::instance().tables()) {
        QSqlQuery q(c.db());
        if (!q.exec(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(t.name))) qFatal("%s", qPrintable(t.name));
        while (q.next()) {
            QStringList cells{t.name};
            for (int i = 0; i < q.record().count(); ++i) cells << q.value(i).toString();
            rows << cells.join(QLatin1Char('|'));
        }
    }
    return rows;
}

} // namespace

// Texts stay in Hungarian order on both engines; a SQLite file stays one that every SQLite
// client can read and write, and the program shows what they wrote in that order.
class tst_hungarianorder : public QObject {
    Q_OBJECT

private slots:
    // The program's own writes, and another link's, are in order at once in the lists and
    // the recordsets; SQL that names nexo_hu runs on both engines.
    void ownAndOtherWrites()
    {
        TestDatabase db;
        auto c = db.open(Connection::DemoData::IfCreated);
        c->session().setUserId(1);
        const auto add = [](Connection& on, int id, const QString& name) {
            Recordset rs(&on, on.tableDef(Tables::UserGroup));
            rs.addNew();
            rs.setField(QStringLiteral("id"), id);
            rs.setField(QStringLiteral("name"), name);
            rs.setField(QStringLiteral("technical"), true);
            QVERIFY2(rs.update(), qPrintable(rs.lastError()));
        };
        add(*c, 801, QStringLiteral("Zoltán"));
        add(*c, 802, QStringLiteral("csiga"));
        add(*c, 803, QStringLiteral("Ábel"));
        add(*c, 804, QStringLiteral("Ödön"));
        QString err;
        auto other = Connection::openDatabase(db.target(), Connection::DemoData::None, &err);
        QVERIFY2(other, qPrintable(err));
        add(*other, 805, QStringLiteral("Olga"));
        add(*other, 806, QStringLiteral("Cukor"));
        add(*other, 807, QStringLiteral("Almos"));
        QVERIFY(other->execute(QStringLiteral("UPDATE qnd_user_group SET name = ? WHERE id = 807"), {QStringLiteral("Álmos")}));
        c->idle();
        QCOMPARE(listed(*c), kNames);
        QCOMPARE(walked(*c), kNames);
        QCOMPARE(walked(*other), kNames);
        // Pages follow one another by the sort values: a page of one row at a time still
        // gives every row once, both ways.
        QStringList reversed = kNames;
        std::reverse(reversed.begin(), reversed.end());
        QCOMPARE(listed(*c, true), reversed);
        // A seek by a name finds it, and a seek from a prefix lands in Hungarian order.
        Recordset rs(c.get(), c->tableDef(Tables::UserGroup));
        rs.setIndex(QStringLiteral("name"));
        QVERIFY(rs.seek({QStringLiteral("Ödön")}));
        QCOMPARE(rs.field(QStringLiteral("id")).toInt(), 804);
        QVERIFY(rs.seek(Recordset::SeekOp::GreaterOrEqual, {QStringLiteral("cs")}));
        QCOMPARE(rs.field(QStringLiteral("name")).toString(), QStringLiteral("csiga"));
        const auto rows = c->select(QStringLiteral("SELECT name FROM qnd_user_group WHERE technical = ? AND id > 800 "
                                                   "ORDER BY name COLLATE nexo_hu"), {c->engine().storedBool(true)});
        QStringList bare;
        for (const QVariantList& r : rows) bare << r[0].toString();
        QCOMPARE(bare, kNames);
        if (!testingPostgres()) {
            // The keys are written with the rows, by either link.
            QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group WHERE name IS NOT NULL AND name_sk IS NULL"))
                         .value(0).value(0).toInt(), 0);
        }
    }

    // The plain sqlite3 client writes, sorts and checks every table of a demo database; the
    // program then shows its rows in Hungarian order, and a dump of the file read into a new
    // one gives a database the program shows the same.
    void theSqliteClient()
    {
        if (testingPostgres()) QSKIP("the sqlite3 client works on files; a server keeps its own ICU collation");
        TestDatabase db;
        db.open(Connection::DemoData::IfCreated);
        QString script = QStringLiteral(
            "INSERT INTO qnd_user_group (id) VALUES (900);\n"
            "DELETE FROM qnd_user_group WHERE id = 900;\n"
            "INSERT INTO qnd_user_group (id, name, technical) VALUES (901, 'Zoltán', -1), (902, 'Ödön', -1), (903, 'csiga', -1),"
            " (904, 'Cukor', -1), (905, 'Almos', -1), (906, 'Olga', -1);\n"
            "INSERT INTO qnd_user_group (name, technical) VALUES ('Ábel', -1);\n"
            "UPDATE qnd_user_group SET name = 'Álmos' WHERE id = 905;\n"
            "SELECT name FROM qnd_user_group ORDER BY name;\n"
            // More than a page of them, for the pages that follow one another by the sort keys.
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 450) INSERT INTO qnd_user_group "
            "(id, name, technical) SELECT 2000 + i, CASE i % 5 WHEN 0 THEN 'Ő' WHEN 1 THEN 'cs' WHEN 2 THEN 'A' WHEN 3 THEN 'á' "
            "ELSE 'c' END || (i % 7) || ' ' || i, -1 FROM n;\n"
            "UPDATE qnd_key SET last_key = last_key + 1;\n");
        // Every table: a row in, changed, sorted by every text column, and out again.
        for (const TableDef& t : Schema::instance().tables()) {
            if (t.isView()) continue;
            QString text;
            for (const ColumnDef& col : t.columns)
                if (col.type == ColType::Text && col.name != t.primaryKey) text = col.name;
            script += QStringLiteral("INSERT INTO %1 DEFAULT VALUES;\n").arg(t.name);
            if (!text.isEmpty()) {
                script += QStringLiteral("UPDATE %1 SET %2 = 'Ötödik' WHERE rowid = last_insert_rowid();\n").arg(t.name, text);
                script += QStringLiteral("SELECT count(*) FROM (SELECT * FROM %1 ORDER BY %2);\n").arg(t.name, text);
            }
            script += QStringLiteral("DELETE FROM %1 WHERE rowid = (SELECT max(rowid) FROM %1);\n").arg(t.name);
        }
        script += QStringLiteral("PRAGMA integrity_check;\nVACUUM;\n");
        const QString file = db.target();
        QString failed = sqlite3(file, script);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        // Keys the client left empty are no fault: the program fills them when it opens the file.
        Backup::CheckReport report;
        QString err;
        QVERIFY2(Backup::check(file, &report, &err), qPrintable(err));
        QCOMPARE(report.faults, QStringList());

        QStringList shown, rows;
        {
            auto c = db.open(Connection::DemoData::None);
            QCOMPARE(c->schemaState().kind, SchemaState::Kind::Current);
            shown = listed(*c);
            QStringList bare;
            for (const QVariantList& r : c->select(QStringLiteral("SELECT name FROM qnd_user_group WHERE technical <> 0 "
                                                                  "ORDER BY name COLLATE nexo_hu, id")))
                bare << r[0].toString();
            QCOMPARE(shown.size(), 457);
            QCOMPARE(shown, bare);
            QCOMPARE(walked(*c), bare);
            QStringList reversed = bare;
            std::reverse(reversed.begin(), reversed.end());
            QCOMPARE(listed(*c, true), reversed);
            QStringList ours = shown;
            ours.removeIf([](const QString& n) { return !kNames.contains(n); });
            QCOMPARE(ours, kNames);
            // Another program's change while the program is open: in order after its next idle.
            failed = sqlite3(file, QStringLiteral("UPDATE qnd_user_group SET name = 'Ábrahám' WHERE id = 901;\n"));
            QVERIFY2(failed.isEmpty(), qPrintable(failed));
            c->idle();
            QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group WHERE name IS NOT NULL AND name_sk IS NULL"))
                         .value(0).value(0).toInt(), 0);
            QVERIFY(walked(*c).indexOf("Ábrahám") == walked(*c).indexOf("Ábel") + 1);
            failed = sqlite3(file, QStringLiteral("UPDATE qnd_user_group SET name = 'Zoltán' WHERE id = 901;\n"));
            QVERIFY2(failed.isEmpty(), qPrintable(failed));
            c->idle();
            rows = everyRow(*c);
        }

        // .dump | sqlite3 y.sqlite
        const QString copy = db.filePath(QStringLiteral("y.sqlite"));
        QProcess dump, load;
        dump.setStandardOutputProcess(&load);
        dump.start(QStringLiteral("sqlite3"), {file, QStringLiteral(".dump")});
        load.start(QStringLiteral("sqlite3"), {QStringLiteral("-bail"), copy});
        QVERIFY(dump.waitForFinished(60000) && load.waitForFinished(60000));
        QCOMPARE(dump.exitCode(), 0);
        QCOMPARE(load.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(load.readAllStandardError()), QString());
        auto restored = Connection::openDatabase(copy, Connection::DemoData::None, &err);
        QVERIFY2(restored, qPrintable(err));
        QCOMPARE(restored->schemaState().kind, SchemaState::Kind::Current);
        QCOMPARE(listed(*restored), shown);
        QCOMPARE(everyRow(*restored), rows);
        // Nothing in the file names what only this program knows.
        const auto named = restored->select(QStringLiteral("SELECT name FROM sqlite_master WHERE sql LIKE '%COLLATE%' "
                                                           "OR sql LIKE '%nexo_sort_key%'"));
        QCOMPARE(named.size(), 0);
        restored.reset();
        // A key that is not its text's is: the check names the row.
        failed = sqlite3(copy, QStringLiteral("UPDATE qnd_user_group SET name_sk = x'00' WHERE id = 903;\n"));
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        QVERIFY2(Backup::check(copy, &report, &err), qPrintable(err));
        QCOMPARE(report.faults.size(), 1);
        QVERIFY2(report.faults[0].contains(QStringLiteral("rendezőkulcsa")) && report.faults[0].contains(QStringLiteral("903")),
                 qPrintable(report.faults[0]));
    }
};

QTEST_MAIN(tst_hungarianorder)
#include "tst_hungarianorder.moc"
