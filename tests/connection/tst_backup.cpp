// Backups, restores and checks as cron runs them: the real nexo-shell with no display, while
// eight writers save from processes of their own (nexo_writer).
#include "Backup.h"
#include "Connection.h"
#include "HeadlessShell.h"
#include "ReadOnlySource.h"
#include "TestDatabase.h"

#include <QCryptographicHash>
#include <QFile>
#include <QProcess>
#include <QtTest>
#include <memory>

using namespace NexoFrame;

namespace {

constexpr int kWriters = 8;
constexpr int kSaves = 80;
constexpr int kShared = 5;

QString program(const QString& name) { return qEnvironmentVariable("NEXO_TEST_BIN") + QLatin1Char('/') + name; }

// Every row of every table of the schema (and of `extra`), in key order, as text.
QMap<QString, QStringList> contents(Connection& c, const QStringList& extra = {})
{
    QMap<QString, QString> tables;
    for (const TableDef& t : Schema::instance().tables())
        if (!t.isView()) tables.insert(t.name, t.primaryKey);
    for (const QString& t : extra) tables.insert(t, QStringLiteral("1"));
    QMap<QString, QStringList> all;
    for (auto it = tables.cbegin(); it != tables.cend(); ++it)
        for (const QVariantList& r : c.select(QStringLiteral("SELECT * FROM %1 ORDER BY %2").arg(it.key(), it.value()))) {
            QStringList values;
            for (const QVariant& v : r) values << (v.isNull() ? QStringLiteral("<null>") : v.toString());
            all[it.key()] << values.join(QChar(0x1f));
        }
    return all;
}

QList<QVariantList> history(Connection& c)
{
    return c.select(QStringLiteral("SELECT seq, row_id, user_id, token FROM nexo_test_history ORDER BY seq"));
}

std::unique_ptr<Connection> openCopy(const QString& target)
{
    QString err;
    auto c = Connection::openExisting(target, Engine::OpenMode::Existing, &err);
    if (!c) qWarning("%s", qPrintable(err));
    return c;
}

// The main file and its write-ahead log, to tell that nothing was written.
QByteArray fileState(const QString& path)
{
    QCryptographicHash h(QCryptographicHash::Sha1);
    for (const QString& f : {path, path + QStringLiteral("-wal")}) {
        QFile file(f);
        if (file.open(QIODevice::ReadOnly)) h.addData(file.readAll());
    }
    return h.result();
}

} // namespace

class tst_backup : public QObject {
    Q_OBJECT

private slots:
    void backupWhileEightWriteIsOneMoment();
    void checkFindsPlantedFaultsAndWritesNothing();
    void commandsNeverMakeADatabase();
};

// A backup taken while eight processes save is the database at one moment. Each save records
// itself, in its own transaction, in nexo_test_history (seq 1, 2, ...), so the restored copy
// must hold exactly the source's first k history rows for some k, and every row the writers
// touched must be as the last of those k left it: a copy that read tables at different moments,
// or missed a committed save, or kept half of one, fails this. After the writers stop, a second
// backup (over the first file) restored must equal the source table by table, every row.
void tst_backup::backupWhileEightWriteIsOneMoment()
{
    TestDatabase source;
    auto c = source.open();
    QVERIFY(c->execute(QStringLiteral("CREATE TABLE nexo_test_history (seq integer PRIMARY KEY, row_id integer, user_id integer, "
                                      "token varchar(50))")));
    QVERIFY(c->transactions().lockMaster());
    for (int parent : {500, 501})
        QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, del_status) VALUES (?, 0, ?, 'many_users', 0)"),
                           {parent, QStringLiteral("Írók %1").arg(parent)}));
    QStringList shared;
    for (int i = 0; i < kShared; ++i) {
        const int id = c->keys().newKey(Tables::AuthUnit);
        QVERIFY(c->execute(QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, del_status) VALUES (?, 500, ?, 'shared', 0)"),
                           {id, QStringLiteral("közös %1").arg(i)}));
        shared << QString::number(id);
    }
    QVERIFY(c->transactions().unlockMaster());
    const QMap<QString, QStringList> before = contents(*c);

    std::vector<std::unique_ptr<QProcess>> writers;
    for (int w = 0; w < kWriters; ++w) {
        auto p = std::make_unique<QProcess>();
        p->setProcessChannelMode(QProcess::MergedChannels);
        p->start(program(QStringLiteral("nexo_writer")),
                 {source.target(), QString::number(w), QString::number(kSaves), shared.join(QLatin1Char(',')), QStringLiteral("--wait")});
        QVERIFY(p->waitForStarted());
        writers.push_back(std::move(p));
    }
    for (auto& p : writers) {
        QByteArray line;
        while (line != "READY") {
            while (!p->canReadLine()) QVERIFY2(p->waitForReadyRead(30000), "a writer did not get ready");
            line = p->readLine().trimmed();
        }
    }
    for (auto& p : writers) p->write("go\n");
    QElapsedTimer started;
    started.start();
    while (history(*c).size() < 2 * kWriters && started.elapsed() < 60000) QTest::qWait(5);

    const QString file = source.filePath(QStringLiteral("mentes.bak"));
    QString said;
    QCOMPARE(runShell({QStringLiteral("--backup"), file, QStringLiteral("--db"), source.target()}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("Az adatbázis mentése elkészült")), qPrintable(said));
    int running = 0;
    for (auto& p : writers) running += p->state() != QProcess::NotRunning;
    QVERIFY2(running > 0, "the writers finished before the backup did: nothing was written during it");
    for (auto& p : writers) {
        QVERIFY(p->waitForFinished(180000));
        const QString out = QString::fromUtf8(p->readAll());
        QVERIFY2(p->exitStatus() == QProcess::NormalExit && p->exitCode() == 0, qPrintable(out));
    }
    const QList<QVariantList> all = history(*c);
    QCOMPARE(all.size(), kWriters * kSaves);

    TestDatabase firstCopy;
    const QString firstTarget = testingPostgres() ? firstCopy.target() : firstCopy.filePath(QStringLiteral("elso.sqlite"));
    QCOMPARE(runShell({QStringLiteral("--restore"), file, QStringLiteral("--db"), firstTarget}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("A mentés visszaállítva")), qPrintable(said));
    {
        auto copy = openCopy(firstTarget);
        QVERIFY(copy);
        const QList<QVariantList> kept = history(*copy);
        QVERIFY2(kept.size() >= 2 * kWriters && kept.size() < all.size(), qPrintable(QString::number(kept.size())));
        QCOMPARE(kept, all.mid(0, kept.size()));
        // Rows of the writers as the first k saves left them; the rest as before the writers.
        QMap<int, QString> expected;
        for (const QVariantList& r : c->select(QStringLiteral("SELECT id, name FROM qnd_auth_unit WHERE id IN (%1)").arg(shared.join(QLatin1Char(',')))))
            expected[r.value(0).toInt()] = QStringLiteral("közös %1").arg(shared.indexOf(r.value(0).toString()));
        for (const QVariantList& h : kept) expected[h.value(1).toInt()] = h.value(3).toString();
        QMap<int, QString> found;
        for (const QVariantList& r : copy->select(QStringLiteral("SELECT id, name FROM qnd_auth_unit WHERE parent_id = 501 OR id IN (%1)")
                                                      .arg(shared.join(QLatin1Char(',')))))
            found[r.value(0).toInt()] = r.value(1).toString();
        QCOMPARE(found, expected);
        QMap<QString, QStringList> untouched = contents(*copy), was = before;
        for (auto* m : {&untouched, &was}) {
            for (const char* t : {"qnd_auth_unit", "qnd_key", "qnd_rights_history"}) m->remove(QString::fromLatin1(t));
        }
        QCOMPARE(untouched, was);
    }
    Backup::CheckReport report;
    QString err;
    QVERIFY2(Backup::check(firstTarget, &report, &err), qPrintable(err));
    QVERIFY2(report.faults.isEmpty(), qPrintable(report.faults.join(QLatin1Char('\n'))));

    // With the writers stopped: the copy is the source, every table, every row.
    QCOMPARE(runShell({QStringLiteral("--backup"), file, QStringLiteral("--db"), source.target()}, &said), 0);
    TestDatabase secondCopy;
    const QString secondTarget = testingPostgres() ? secondCopy.target() : secondCopy.filePath(QStringLiteral("masodik.sqlite"));
    QCOMPARE(runShell({QStringLiteral("--restore"), file, QStringLiteral("--db"), secondTarget}, &said), 0);
    auto copy = openCopy(secondTarget);
    QVERIFY(copy);
    const QStringList extra{QStringLiteral("nexo_test_history")};
    const QMap<QString, QStringList> want = contents(*c, extra), got = contents(*copy, extra);
    QCOMPARE(got.keys(), want.keys());
    for (auto it = want.cbegin(); it != want.cend(); ++it) QVERIFY2(got.value(it.key()) == it.value(), qPrintable(it.key()));
    if (testingPostgres()) {
        // The reader role reads the restored tables again.
        QVERIFY2(said.contains(QStringLiteral("jogai újra beállítva")), qPrintable(said));
        auto reader = ReadOnlySource::open(*copy, &err);
        QVERIFY2(reader, qPrintable(err));
        int users = 0;
        QVERIFY2(reader->run(QStringLiteral("SELECT COUNT(*) FROM qnd_user"), nullptr, [&](const QVariantList& r) {
            users = r.value(0).toInt();
            return true;
        }, &err), qPrintable(err));
        QCOMPARE(users, want.value(QStringLiteral("qnd_user")).size());
    }
}

// A clean database passes; each planted fault is named, the exit status is 4, and the check
// leaves the database as it was.
void tst_backup::checkFindsPlantedFaultsAndWritesNothing()
{
    TestDatabase db;
    auto c = db.open();
    QString said;
    QCOMPARE(runShell({QStringLiteral("--check"), QStringLiteral("--db"), db.target()}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("nem talált hibát")), qPrintable(said));

    const QString yes = c->boolLiteral(true);
    const QStringList plants{
        QStringLiteral("UPDATE qnd_user SET user_group_id = 999 WHERE id = 7"),
        QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, del_status) VALUES (900, 777, 'Elárvult', 'x', 0)"),
        QStringLiteral("INSERT INTO qnd_rights_history (id, changed_at, user_id, table_name, row_id, column_name, old_value, new_value) "
                       "VALUES (1, '2026-01-02 03:04:05', 1, 'qnd_menu', 2, 'auth_12', '0', '%1')").arg(yes),
        QStringLiteral("INSERT INTO qnd_rights_history (id, changed_at, user_id, table_name, row_id, column_name, old_value, new_value) "
                       "VALUES (2, '2026-01-02 03:04:05', 1, 'qnd_menu', 424242, 'auth_1', '0', '%1')").arg(yes),
        QStringLiteral("INSERT INTO qnd_key (table_name, last_key) VALUES ('qnd_user', 3)"),
    };
    for (const QString& sql : plants) QVERIFY2(c->execute(sql), qPrintable(sql));
    const QByteArray state = testingPostgres() ? QByteArray() : fileState(db.target());
    const QString digest = contents(*c).value(QStringLiteral("qnd_user")).join(QLatin1Char('\n'));

    QCOMPARE(runShell({QStringLiteral("--check"), QStringLiteral("--db"), db.target()}, &said), 4);
    for (const char* named : {"a felhasználó csoportja nem létezik (qnd_user tábla, 1 sor; azonosító: 7)",
                              "A jogosultság szülője nem létezik (qnd_auth_unit tábla, 1 sor; azonosító: 900)",
                              "0–9-en kívüli szerepkört nevez meg (qnd_rights_history tábla, 1 sor; azonosító: 1)",
                              "tétele nem létezik (qnd_menu) (qnd_rights_history tábla, 1 sor; azonosító: 2)",
                              "qnd_user tábla kulcsszámlálója (qnd_key: 3) elmarad a legnagyobb tárolt kulcs (7)",
                              "Az ellenőrzés 5 hibát talált."})
        QVERIFY2(said.contains(QString::fromUtf8(named), Qt::CaseInsensitive), qPrintable(named + QStringLiteral("\n\n") + said));
    if (!testingPostgres()) QCOMPARE(fileState(db.target()), state);
    QCOMPARE(contents(*c).value(QStringLiteral("qnd_user")).join(QLatin1Char('\n')), digest);

    // A table the program reads that lost a column.
    QVERIFY(c->execute(QStringLiteral("ALTER TABLE qnd_list_source DROP COLUMN caption")));
    QCOMPARE(runShell({QStringLiteral("--check"), QStringLiteral("--db"), db.target()}, &said), 4);
    QVERIFY2(said.contains(QStringLiteral("qnd_list_source táblából hiányzó oszlop: caption")), qPrintable(said));
}

// --check, --backup and --restore never make a database; a restore goes only into an empty one.
void tst_backup::commandsNeverMakeADatabase()
{
    TestDatabase db;
    auto c = db.open();
    TestDatabase empty;
    const QString missing = testingPostgres() ? TestDatabase::serverUri(TestDatabase::programRole(), QString(), QStringLiteral("nexo_nincs_ilyen"))
                                              : db.filePath(QStringLiteral("nincs.sqlite"));
    const QString file = db.filePath(QStringLiteral("mentes.bak"));
    QString said;
    for (const QStringList& command : {QStringList{QStringLiteral("--check")}, QStringList{QStringLiteral("--backup"), file}}) {
        QCOMPARE(runShell(command + QStringList{QStringLiteral("--db"), missing}, &said), 1);
        QVERIFY2(said.contains(QStringLiteral("nem létezik")), qPrintable(said));
    }
    QVERIFY(!QFile::exists(file));
    if (!testingPostgres()) QVERIFY(!QFile::exists(missing));
    // An empty server database stays empty: it is no NexoFrame database to back up or check.
    if (testingPostgres()) {
        QCOMPARE(runShell({QStringLiteral("--check"), QStringLiteral("--db"), empty.target()}, &said), 1);
        QVERIFY2(said.contains(QStringLiteral("üres")), qPrintable(said));
    }

    QCOMPARE(runShell({QStringLiteral("--backup"), file, QStringLiteral("--db"), db.target()}, &said), 0);
    QVERIFY2(!said.contains(QStringLiteral("Hiba")), qPrintable(said));
    const QString before = contents(*c).value(QStringLiteral("qnd_user")).join(QLatin1Char('\n'));
    QVERIFY(c->execute(QStringLiteral("UPDATE qnd_user SET display_name = 'Átírva' WHERE id = 2")));
    QCOMPARE(runShell({QStringLiteral("--restore"), file, QStringLiteral("--db"), db.target()}, &said), 1);
    QVERIFY2(said.contains(QStringLiteral("nem üres")), qPrintable(said));
    QVERIFY(contents(*c).value(QStringLiteral("qnd_user")).join(QLatin1Char('\n')) != before);
    // A backup of the other engine is refused by what it is.
    const QString other = testingPostgres() ? db.filePath(QStringLiteral("x.sqlite")) : db.filePath(QStringLiteral("x.dump"));
    {
        QFile f(other);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(testingPostgres() ? QByteArray("SQLite format 3\0", 16) : QByteArray("PGDMP"));
    }
    const QString target = testingPostgres() ? empty.target() : db.filePath(QStringLiteral("uj.sqlite"));
    QCOMPARE(runShell({QStringLiteral("--restore"), other, QStringLiteral("--db"), target}, &said), 1);
    QVERIFY2(said.contains(QStringLiteral("nem állítható vissza")), qPrintable(said));
    // The backup over the database file itself is refused.
    if (!testingPostgres()) {
        QCOMPARE(runShell({QStringLiteral("--backup"), db.target(), QStringLiteral("--db"), db.target()}, &said), 1);
        QVERIFY2(said.contains(QStringLiteral("nem írhatja felül")), qPrintable(said));
    }
}

QTEST_GUILESS_MAIN(tst_backup)
#include "tst_backup.moc"
