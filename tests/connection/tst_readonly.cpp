#include "Connection.h"
#include "ReadOnlySource.h"
#include "TestDatabase.h"
#include "HostileSql.h"

#include <QMutex>
#include <QThread>
#include <QTimer>
#include <QtTest>
#include <atomic>

using namespace NexoFrame;

namespace {

// Counts to fifty million inside the engine before the one row comes out.
const QString kLongQuery = QStringLiteral(
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000000) SELECT count(*) FROM n");

int userCount(Connection& c) { return c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_user")).value(0).value(0).toInt(); }

} // namespace

// The link that runs users' own SQL: it streams what a query reads and nothing else gets
// through, on either engine.
class tst_readonly : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void streamsRowsAndColumns();
    void valuesOfEachKind();
    void stopsWhenTheSinkSaysSo();
    void changesAreRefused_data();
    void changesAreRefused();
    void oneStatementWithItsTrimmings_data();
    void oneStatementWithItsTrimmings();
    void errorsInTheEnginesWords();
    void cancelFromAnotherThread();
    void timeout();
    void hostileSourcesAreHarmless();
    void hostileSourcesWithASuperuserProgram();
    void serverRefusesWithoutAReader();

private:
    // The rows a statement hands over through the link; the link's refusal fails the test.
    QList<QVariantList> rowsOf(const QString& sql)
    {
        QList<QVariantList> rows;
        QString err;
        const bool ran = m_source->run(sql, nullptr, [&](const QVariantList& r) { rows << r; return true; }, &err);
        QTest::qVerify(ran, "m_source->run(sql)", qPrintable(err), __FILE__, __LINE__);
        return rows;
    }

    std::unique_ptr<TestDatabase> m_db;
    std::unique_ptr<Connection> m_c;
    std::unique_ptr<ReadOnlySource> m_source;
};

void tst_readonly::init()
{
    m_db = std::make_unique<TestDatabase>();
    m_c = m_db->open();
    const Engine& e = m_c->engine();
    auto type = [&](ColType t, int length = 0) { return e.sqlType(ColumnDef{QString(), t, length, QVariant()}); };
    QString err;
    QVERIFY2(m_c->execute(QStringLiteral("CREATE TABLE ro_sample (id %1, name %2, amount %3, made %4, flag %5)")
                              .arg(type(ColType::Long), type(ColType::Text, 40), type(ColType::Double),
                                   type(ColType::DateTime), type(ColType::Bool)),
                          {}, &err),
             qPrintable(err));
    const QStringList names{"Zsolt", "Ábel", "Csaba", "Cukor", "Attila"};
    for (int i = 0; i < names.size(); ++i) {
        const QVariantList values{i + 1, names[i], 1.5 * i, QDateTime(QDate(2024, 1, i + 1), QTime(8, i)), i % 2 == 0};
        const ColType types[] = {ColType::Long, ColType::Text, ColType::Double, ColType::DateTime, ColType::Bool};
        QVariantList stored;
        for (int k = 0; k < values.size(); ++k) stored << e.toDb(ColumnDef{QString(), types[k], 0, QVariant()}, values[k]);
        QVERIFY2(m_c->execute(QStringLiteral("INSERT INTO ro_sample (id, name, amount, made, flag) VALUES (?, ?, ?, ?, ?)"),
                              stored, &err),
                 qPrintable(err));
    }
    QVERIFY(m_c->execute(QStringLiteral("INSERT INTO ro_sample (id) VALUES (6)")));
    // A table made after the reader role: granted as a new --create-reader grants it.
    m_db->makeReader();
    m_source = ReadOnlySource::open(*m_c, &err);
    QVERIFY2(m_source, qPrintable(err));
}

void tst_readonly::cleanup()
{
    m_source.reset();
    m_c.reset();
    m_db.reset();
}

// Columns by name, rows in Hungarian order by the collation both engines name nexo_hu (there
// on the second link too), dates and booleans usable as such.
void tst_readonly::streamsRowsAndColumns()
{
    QStringList columns;
    QList<QVariantList> rows;
    QString err;
    const QString order = m_c->engine().orderTerm(QStringLiteral("name COLLATE nexo_hu"), false);
    QVERIFY2(m_source->run(QStringLiteral("SELECT id, name AS nev, amount, made, flag FROM ro_sample ORDER BY ") + order, &columns,
                           [&](const QVariantList& r) {
                               rows << r;
                               return true;
                           },
                           &err),
             qPrintable(err));
    QCOMPARE(columns, (QStringList{"id", "nev", "amount", "made", "flag"}));
    QCOMPARE(rows.size(), 6);
    QStringList names;
    for (const QVariantList& r : rows) names << r[1].toString();
    QCOMPARE(names, (QStringList{"", "Ábel", "Attila", "Cukor", "Csaba", "Zsolt"}));
    QVERIFY(rows[0][1].isNull() && rows[0][2].isNull() && rows[0][3].isNull() && rows[0][4].isNull());
    const QVariantList& csaba = rows[4];
    QCOMPARE(csaba[0].toInt(), 3);
    QCOMPARE(csaba[2].toDouble(), 3.0);
    QCOMPARE(csaba[3].typeId(), QMetaType::QDateTime);
    QCOMPARE(csaba[3].toDateTime(), QDateTime(QDate(2024, 1, 3), QTime(8, 2)));
    QCOMPARE(csaba[4].toBool(), true);
    QCOMPARE(rows[3][4].toBool(), false); // Cukor

    // Many rows come through one by one.
    qint64 count = 0, sum = 0;
    QVERIFY2(m_source->run(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200000) "
                                          "SELECT i FROM n"),
                           &columns,
                           [&](const QVariantList& r) {
                               ++count;
                               sum += r[0].toLongLong();
                               return true;
                           },
                           &err),
             qPrintable(err));
    QCOMPARE(count, 200000);
    QCOMPARE(sum, qint64(200000) * 200001 / 2);
}

// What the engines hand out, as ReadOnlySource.h promises it.
void tst_readonly::valuesOfEachKind()
{
    const QString sql = testingPostgres()
        ? QStringLiteral("SELECT 5::bigint, 3::smallint, 7, 2.5::float8, 12.25::numeric, 'szöveg'::text, NULL::int, true, "
                         "DATE '2024-02-29', TIME '08:30:15.5', TIMESTAMP '2024-01-05 08:30:00', "
                         "TIMESTAMPTZ '2024-01-05 08:30:00+02', '\\x414243'::bytea")
        : QStringLiteral("SELECT 5, 3, 7, 2.5, 12.25, 'szöveg', NULL, -1, date('2024-02-29'), time('08:30:15'), made, made, "
                         "x'414243' FROM ro_sample WHERE id = 1");
    const QVariantList row = rowsOf(sql).value(0);
    QCOMPARE(row.size(), 13);
    QCOMPARE(row[0].toLongLong(), 5);
    QCOMPARE(row[1].toInt(), 3);
    QCOMPARE(row[2].toInt(), 7);
    QCOMPARE(row[3].typeId(), QMetaType::Double);
    QCOMPARE(row[3].toDouble(), 2.5);
    QCOMPARE(row[4].typeId(), QMetaType::Double);
    QCOMPARE(row[4].toDouble(), 12.25);
    QCOMPARE(row[5], QVariant(QStringLiteral("szöveg")));
    QVERIFY(row[6].isNull());
    QCOMPARE(row[7].toBool(), true);
    QCOMPARE(row[12].toByteArray(), QByteArray("ABC"));
    if (testingPostgres()) {
        QCOMPARE(row[0].typeId(), QMetaType::LongLong);
        QCOMPARE(row[7].typeId(), QMetaType::Bool);
        QCOMPARE(row[8], QVariant(QDate(2024, 2, 29)));
        QCOMPARE(row[9], QVariant(QTime(8, 30, 15, 500)));
        QCOMPARE(row[10], QVariant(QDateTime(QDate(2024, 1, 5), QTime(8, 30))));
        QCOMPARE(row[11].toDateTime(), QDateTime(QDate(2024, 1, 5), QTime(6, 30), Qt::UTC));
        QCOMPARE(row[11].toDateTime().timeSpec(), Qt::LocalTime);
    } else {
        // Computed dates stay text; a column declared as a date is a QDateTime.
        QCOMPARE(row[8], QVariant(QStringLiteral("2024-02-29")));
        QCOMPARE(row[10], QVariant(QDateTime(QDate(2024, 1, 1), QTime(8, 0))));
    }
}

// Stopping early is no failure, and the link is ready for the next query (a server stops
// sending the rest).
void tst_readonly::stopsWhenTheSinkSaysSo()
{
    int seen = 0;
    QString err;
    QVERIFY2(m_source->run(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000000) "
                                          "SELECT i FROM n"),
                           nullptr, [&](const QVariantList&) { return ++seen < 10; }, &err),
             qPrintable(err));
    QCOMPARE(seen, 10);
    QCOMPARE(rowsOf(QStringLiteral("SELECT name FROM ro_sample WHERE id = 2")), (QList<QVariantList>{{QStringLiteral("Ábel")}}));
}

void tst_readonly::changesAreRefused_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("message");
    const QString readOnly = QStringLiteral("nem módosíthatja");
    const QString twice = QStringLiteral("csak egy lekérdezés");
    QTest::newRow("delete") << "DELETE FROM qnd_user" << readOnly;
    QTest::newRow("update") << "UPDATE qnd_user SET user_name = 'x'" << readOnly;
    QTest::newRow("insert") << "INSERT INTO qnd_user (id, user_name) VALUES (999999, 'x')" << readOnly;
    QTest::newRow("drop table") << "DROP TABLE qnd_user" << readOnly;
    QTest::newRow("create table") << "CREATE TABLE ro_new (a integer)" << readOnly;
    QTest::newRow("two statements") << "SELECT 1; DELETE FROM qnd_user" << twice;
    QTest::newRow("second after a comment") << "SELECT ';' /* ; */ -- ;\n ; DELETE FROM qnd_user" << twice;
    QTest::newRow("deleting inside a query") << "WITH d AS (DELETE FROM qnd_user RETURNING id) SELECT count(*) FROM d" << "";
}

void tst_readonly::changesAreRefused()
{
    QFETCH(QString, sql);
    QFETCH(QString, message);
    const int before = userCount(*m_c);
    QVERIFY(before > 0);
    bool called = false;
    QString err;
    QVERIFY(!m_source->run(sql, nullptr, [&](const QVariantList&) { return called = true; }, &err));
    QVERIFY(!called);
    QVERIFY2(err.contains(message), qPrintable(err));
    QVERIFY2(err.startsWith(QStringLiteral("A lekérdezés")) || err.startsWith(QStringLiteral("Egyszerre")), qPrintable(err));
    QCOMPARE(userCount(*m_c), before);
    QVERIFY(!m_c->engine().tables(m_c->db()).contains(QStringLiteral("ro_new")));
    // The link still reads.
    QVERIFY2(m_source->run(QStringLiteral("SELECT 1"), nullptr, [](const QVariantList&) { return true; }, &err), qPrintable(err));
}

void tst_readonly::oneStatementWithItsTrimmings_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("value");
    QTest::newRow("trailing semicolons and comments") << "SELECT 'a' ; ;\n-- vége\n/* megjegyzés */  " << "a";
    QTest::newRow("semicolon in a literal") << "SELECT 'x;y'" << "x;y";
    QTest::newRow("quote doubled") << "SELECT 'it''s; fine'" << "it's; fine";
    QTest::newRow("semicolon in an identifier") << "SELECT 'b' AS \"a;b\"" << "b";
    QTest::newRow("semicolon in comments") << "SELECT /* ; */ 'c' -- ; DELETE FROM qnd_user\n" << "c";
    if (testingPostgres()) {
        QTest::newRow("dollar quotes") << "SELECT $q$d;'$q$ || $$;$$" << "d;';";
        QTest::newRow("nested comments") << "SELECT /* /* ; */ ; */ 'e'" << "e";
        QTest::newRow("backslash escape") << "SELECT E'f\\';' -- ;" << "f';";
    } else {
        QTest::newRow("bracketed name") << "SELECT 'g' AS [a;b]" << "g";
    }
}

void tst_readonly::oneStatementWithItsTrimmings()
{
    QFETCH(QString, sql);
    QFETCH(QString, value);
    QCOMPARE(rowsOf(sql), QList<QVariantList>{QVariantList{value}});

    QString err;
    QVERIFY(!m_source->run(QStringLiteral(" ; -- semmi\n"), nullptr, [](const QVariantList&) { return true; }, &err));
    QVERIFY2(err.contains(QStringLiteral("Üres")), qPrintable(err));
}

void tst_readonly::errorsInTheEnginesWords()
{
    QString err;
    QVERIFY(!m_source->run(QStringLiteral("SELEC name FROM ro_sample"), nullptr, [](const QVariantList&) { return true; }, &err));
    QVERIFY2(err.startsWith(QStringLiteral("A lekérdezés nem futtatható: ")), qPrintable(err));
    QVERIFY2(err.contains(QStringLiteral("syntax error")), qPrintable(err));
    QVERIFY2(err.contains(QStringLiteral("SELEC")), qPrintable(err));

    QVERIFY(!m_source->run(QStringLiteral("SELECT * FROM nincs_ilyen_tabla"), nullptr, [](const QVariantList&) { return true; }, &err));
    QVERIFY2(err.contains(QStringLiteral("nincs_ilyen_tabla")), qPrintable(err));
}

// The preview runs a source on a worker; its cancel button calls cancel() from the user
// interface's thread, here from a timer.
void tst_readonly::cancelFromAnotherThread()
{
    QMutex guard;
    ReadOnlySource* running = nullptr;
    std::atomic<bool> done{false};
    bool ok = true, rowSeen = false, afterwards = false;
    QString err, openErr, afterErr;
    // Where the link goes is taken here, on the connection's thread, as the preview does.
    const ReadOnlySource::Target target = ReadOnlySource::targetOf(*m_c, &openErr);
    std::unique_ptr<QThread> worker(QThread::create([&] {
        std::unique_ptr<ReadOnlySource> source = ReadOnlySource::open(target, &openErr);
        if (source) {
            {
                QMutexLocker locker(&guard);
                running = source.get();
            }
            ok = source->run(kLongQuery, nullptr, [&](const QVariantList&) { return rowSeen = true; }, &err, 600000);
            afterwards = source->run(QStringLiteral("SELECT 1"), nullptr, [](const QVariantList&) { return true; }, &afterErr);
            QMutexLocker locker(&guard);
            running = nullptr;
        }
        source.reset();
        done = true;
    }));
    QTimer timer;
    int ticks = 0;
    connect(&timer, &QTimer::timeout, this, [&] {
        // Until the run has surely started: cancel() between runs does nothing.
        if (++ticks < 3) return;
        QMutexLocker locker(&guard);
        if (running) running->cancel();
    });
    timer.start(100);
    worker->start();
    QTRY_VERIFY_WITH_TIMEOUT(done.load(), 120000);
    worker->wait();
    QVERIFY2(openErr.isEmpty(), qPrintable(openErr));
    QVERIFY(!ok);
    QVERIFY(!rowSeen);
    QCOMPARE(err, QStringLiteral("A lekérdezés megszakítva."));
    QVERIFY2(afterwards, qPrintable(afterErr));
}

void tst_readonly::timeout()
{
    QString err;
    bool rowSeen = false;
    QVERIFY(!m_source->run(kLongQuery, nullptr, [&](const QVariantList&) { return rowSeen = true; }, &err, 300));
    QVERIFY(!rowSeen);
    QVERIFY2(err.contains(QStringLiteral("nem fejeződött be")), qPrintable(err));
    QVERIFY2(m_source->run(QStringLiteral("SELECT 1"), nullptr, [](const QVariantList&) { return true; }, &err), qPrintable(err));

    // No limit at all: a read that takes its time runs to its end.
    qint64 rows = 0;
    QVERIFY2(m_source->run(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300000) "
                                          "SELECT i, i * 2 FROM n"),
                           nullptr, [&](const QVariantList&) { return ++rows > 0; }, &err, 0),
             qPrintable(err));
    QCOMPARE(rows, qint64(300000));
}

namespace {

// Runs every hostile text through `link` and checks after each that nothing changed, nothing
// secret came back, no file was written, the master lock is free and the link still cannot write.
void runHostile(Connection& c, ReadOnlySource& link)
{
    const QStringList secrets = Hostile::storedSecrets(c);
    QVERIFY(secrets.size() >= 2);
    const Hostile::State before = Hostile::stateOf(c);
    for (const Hostile::Source& h : Hostile::sources(testingPostgres())) {
        QList<QVariantList> rows;
        QString err;
        link.run(h.sql, nullptr, [&](const QVariantList& r) {
            rows << r;
            return true;
        }, &err, 10000);
        QString leaked;
        QVERIFY2(Hostile::leaksNothing(rows, secrets, &leaked), qPrintable(h.name + QStringLiteral(": ") + leaked));
        QVERIFY2(Hostile::stateOf(c) == before, qPrintable(h.name));
        QVERIFY2(Hostile::masterLockFree(c), qPrintable(h.name));
        // Nothing the text did outlives it: the link is as it was.
        QVERIFY2(!link.run(QStringLiteral("DELETE FROM qnd_menu_log"), nullptr, [](const QVariantList&) { return true; }, &err),
                 qPrintable(h.name));
        QVERIFY2(Hostile::stateOf(c) == before, qPrintable(h.name));
        QVERIFY2(link.run(QStringLiteral("SELECT count(*) FROM qnd_menu"), nullptr, [](const QVariantList&) { return true; }, &err),
                 qPrintable(h.name + QStringLiteral(": ") + err));
    }
}

void fillTheTargets(Connection& c)
{
    for (int i = 1; i <= 3; ++i)
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (?, 1, 1, ?)"),
                          {900000 + i, c.engine().toDb(ColumnDef{QString(), ColType::DateTime, 0, {}}, QDateTime(QDate(2026, 1, i), QTime(9, 0)))}));
    // A stored secret on either engine (on a server the reader's own password is one already).
    QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderPassword"),
                           testingPostgres() ? c.settings().read(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderPassword"))
                                             : QStringLiteral("olvaso-titok-42")));
}

} // namespace

void tst_readonly::hostileSourcesAreHarmless()
{
    fillTheTargets(*m_c);
    // A secret column reads as NULL on a file, and is refused on a server.
    QList<QVariantList> rows;
    QString err;
    const bool read = m_source->run(QStringLiteral("SELECT user_name, password FROM qnd_user"), nullptr, [&](const QVariantList& r) {
        rows << r;
        return true;
    }, &err);
    if (testingPostgres()) {
        QVERIFY(!read);
        QVERIFY2(err.contains(QStringLiteral("nincs joga")), qPrintable(err));
    } else {
        QVERIFY2(read, qPrintable(err));
        QVERIFY(!rows.isEmpty());
        for (const QVariantList& r : rows) QVERIFY(r.value(1).isNull());
    }
    runHostile(*m_c, *m_source);
}

// A program role with every power the server has: user SQL still runs as the reader.
void tst_readonly::hostileSourcesWithASuperuserProgram()
{
    if (!testingPostgres()) QSKIP("a server's roles only");
    fillTheTargets(*m_c);
    QString err;
    auto super = Connection::openDatabase(m_db->adminTarget(), Connection::DemoData::None, &err);
    QVERIFY2(super, qPrintable(err));
    auto link = ReadOnlySource::open(*super, &err);
    QVERIFY2(link, qPrintable(err));
    runHostile(*super, *link);
}

// Without the reader role the server runs no user SQL at all, and says what to do.
void tst_readonly::serverRefusesWithoutAReader()
{
    if (!testingPostgres()) QSKIP("a server's roles only");
    m_source.reset();
    QVERIFY(m_c->execute(QStringLiteral("DELETE FROM qnd_secret")));
    QString err;
    QVERIFY(!ReadOnlySource::open(*m_c, &err));
    QVERIFY2(err.contains(QStringLiteral("--create-reader")), qPrintable(err));
    // A reader that names the program's own role is refused too.
    QVERIFY(m_c->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderRole"), TestDatabase::programRole()));
    QVERIFY(m_c->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderPassword"), QStringLiteral("x")));
    QVERIFY(!ReadOnlySource::open(*m_c, &err));
    QVERIFY2(err.contains(QStringLiteral("--create-reader")), qPrintable(err));
}

QTEST_GUILESS_MAIN(tst_readonly)
#include "tst_readonly.moc"
