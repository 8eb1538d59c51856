#include "Connection.h"
#include "TestDatabase.h"

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

using namespace NexoFrame;

namespace {

QByteArray bytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// A loopback port where nothing listens.
int freePort()
{
    QTcpServer s;
    s.listen(QHostAddress::LocalHost);
    return s.serverPort();
}

void refusedEverywhere(const QString& target, const QString& message)
{
    QString err;
    std::unique_ptr<Connection> c = Connection::openDatabase(target, Connection::DemoData::IfCreated, &err);
    QVERIFY(!c);
    QVERIFY2(err.contains(message), qPrintable(err));

    Connection plain(makeEngineFor(target));
    err.clear();
    QVERIFY(!plain.open(target, &err));
    QVERIFY(!plain.isOpen());
    QVERIFY2(err.contains(message), qPrintable(err));
    QVERIFY(!plain.transactions().lockMaster());
    QVERIFY(!plain.transactions().beginTrans());
}

} // namespace

// Databases the connection must refuse: a clear Hungarian message, no connection, and
// nothing written.
class tst_open : public QObject {
    Q_OBJECT

private slots:
    void refusedFiles_data();
    void refusedFiles();
    void refusedServers_data();
    void refusedServers();
    void anotherProgramsDatabaseIsLeftAlone();
    void secondOpenLeavesTheSchemaAlone();
    void aReadInProgressDoesNotHoldUpASave();
};

void tst_open::refusedFiles_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("message");
    QTest::newRow("not a database") << "text" << "nem adatbázis";
    QTest::newRow("read-only database") << "readonly" << "csak olvasható";
    QTest::newRow("missing folder") << "nofolder" << "mappája nem létezik";
}

void tst_open::refusedFiles()
{
    if (testingPostgres()) QSKIP("database files are SQLite's");
    QFETCH(QString, kind);
    QFETCH(QString, message);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QString path = dir.filePath("adat.db");

    if (kind == "text") {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        for (int i = 0; i < 200; ++i) f.write("Ez egy sima szoveges fajl, nem adatbazis.\n");
    } else if (kind == "readonly") {
        QString err;
        QVERIFY2(Connection::openDatabase(path, Connection::DemoData::IfEmpty, &err), qPrintable(err)); // closed again at once
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther));
    } else {
        path = dir.filePath("nincs_ilyen_mappa/adat.db");
    }
    const QByteArray before = bytes(path);
    const QStringList filesBefore = QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);

    refusedEverywhere(path, message);

    QCOMPARE(bytes(path), before);
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), filesBefore);
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

void tst_open::refusedServers_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("message");
    QTest::newRow("server down") << "down" << "nem érhető el";
    QTest::newRow("wrong password") << "password" << "hibás a felhasználónév vagy a jelszó";
    QTest::newRow("missing database") << "missing" << "adatbázis nem létezik";
    QTest::newRow("no database named") << "unnamed" << "hiányzik az adatbázis neve";
}

void tst_open::refusedServers()
{
    if (!testingPostgres()) QSKIP("a server is PostgreSQL's");
    QFETCH(QString, kind);
    QFETCH(QString, message);
    QString target;
    if (kind == "down") target = QStringLiteral("postgresql://postgres@127.0.0.1:%1/nexo").arg(freePort());
    else if (kind == "password") target = TestDatabase::serverUri("nexo_pw", "rossz_jelszo", "postgres");
    else if (kind == "missing") target = TestDatabase::serverUri("postgres", QString(), "nincs_ilyen_adatbazis");
    else target = TestDatabase::serverUri("postgres", QString(), QString());
    refusedEverywhere(target, message);
    // The message never shows the password it was given.
    QString err;
    Connection::openDatabase(target, Connection::DemoData::None, &err);
    QVERIFY(!err.contains("rossz_jelszo"));
}

void tst_open::anotherProgramsDatabaseIsLeftAlone()
{
    TestDatabase db;
    {
        // A database of its own: nothing of ours in it.
        Connection raw(makeEngineFor(db.target()));
        QString err;
        QVERIFY2(raw.open(db.target(), &err), qPrintable(err));
        QVERIFY2(raw.execute("CREATE TABLE szamlak (id integer primary key, osszeg integer)", {}, &err), qPrintable(err));
        QVERIFY2(raw.execute("INSERT INTO szamlak VALUES (1, 5000)", {}, &err), qPrintable(err));
    }
    QString err;
    QVERIFY(!Connection::openDatabase(db.target(), Connection::DemoData::IfEmpty, &err));
    QVERIFY2(err.contains("másik program"), qPrintable(err));

    Connection raw(makeEngineFor(db.target()));
    QVERIFY(raw.open(db.target(), &err));
    QCOMPARE(raw.engine().tables(raw.db()), QStringList{"szamlak"});
    QCOMPARE(raw.select("SELECT osszeg FROM szamlak").first().first().toInt(), 5000);
}

void tst_open::secondOpenLeavesTheSchemaAlone()
{
    TestDatabase db;
    auto first = db.open(Connection::DemoData::IfCreated);
    QVERIFY(first->createdSchema());
    const int users = first->select("SELECT COUNT(*) FROM qnd_user").first().first().toInt();
    QVERIFY(users > 0);
    QVERIFY(first->execute("UPDATE qnd_user SET display_name=? WHERE id=1", {"Megmarad"}));
    first.reset();

    auto second = db.open(Connection::DemoData::IfCreated);
    QVERIFY(!second->createdSchema());
    QCOMPARE(second->select("SELECT COUNT(*) FROM qnd_user").first().first().toInt(), users);
    QCOMPARE(second->select("SELECT display_name FROM qnd_user WHERE id=1").first().first().toString(),
             QStringLiteral("Megmarad"));
}

void tst_open::aReadInProgressDoesNotHoldUpASave()
{
    // Another user's long read (a report, a list) is half way through its rows: a save goes
    // in at once, without the lock question, and the read still sees what it started with.
    TestDatabase db;
    auto writer = db.open(Connection::DemoData::IfCreated);
    auto reader = db.open(Connection::DemoData::None);
    const int before = reader->select("SELECT COUNT(*) FROM qnd_auth_unit").first().first().toInt();
    QVERIFY(reader->transactions().beginTrans());
    int seen = 0;
    bool asked = false;
    reader->selectEach("SELECT id FROM qnd_auth_unit ORDER BY id", {}, [&](const QVariantList&) {
        if (++seen == 2) {
            QString why;
            const auto done = writer->transactions().writeLocked(
                [&] {
                    Recordset& rs = writer->editRecordset(Tables::AuthUnit);
                    rs.addNew();
                    rs.setField("parent_id", 1);
                    rs.setField("name", QStringLiteral("Olvasás közben"));
                    return rs.update();
                },
                &why, [&] { return asked = true, false; });
            if (done != Transactions::LockedWrite::Done) qWarning() << why;
            return done == Transactions::LockedWrite::Done;
        }
        return true;
    });
    QVERIFY(!asked);
    QCOMPARE(seen, before);
    QVERIFY(reader->transactions().commitTrans());
    QCOMPARE(reader->select("SELECT COUNT(*) FROM qnd_auth_unit").first().first().toInt(), before + 1);
}

QTEST_GUILESS_MAIN(tst_open)
#include "tst_open.moc"
