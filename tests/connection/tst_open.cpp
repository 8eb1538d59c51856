#include "Connection.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace NexoFrame;

namespace {

QByteArray bytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

// Files the connection must refuse: a clear Hungarian message, no connection, and the file
// (and its folder) exactly as they were.
class tst_open : public QObject {
    Q_OBJECT

private slots:
    void refused_data();
    void refused();
};

void tst_open::refused_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("message");
    QTest::newRow("not a database") << "text" << "nem adatbázis";
    QTest::newRow("read-only database") << "readonly" << "csak olvasható";
    QTest::newRow("missing folder") << "nofolder" << "mappája nem létezik";
}

void tst_open::refused()
{
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
        QVERIFY2(Connection::openSqlite(path, true, &err), qPrintable(err)); // closed again at once
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther));
    } else {
        path = dir.filePath("nincs_ilyen_mappa/adat.db");
    }
    const QByteArray before = bytes(path);
    const QStringList filesBefore = QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);

    QString err;
    std::unique_ptr<Connection> c = Connection::openSqlite(path, true, &err);
    QVERIFY(!c);
    QVERIFY2(err.contains(message), qPrintable(err));

    Connection plain(makeSqliteEngine());
    err.clear();
    QVERIFY(!plain.open(path, &err));
    QVERIFY(!plain.isOpen());
    QVERIFY2(err.contains(message), qPrintable(err));
    QVERIFY(!plain.lockMaster(3));
    QVERIFY(!plain.beginTrans(3));

    QCOMPARE(bytes(path), before);
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), filesBefore);
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

QTEST_GUILESS_MAIN(tst_open)
#include "tst_open.moc"
