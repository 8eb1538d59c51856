// Many users on one database, and users that die in the middle of a save. Every writer is
// a process of its own (nexo_writer) saving through the record lifecycle.
// NEXO_MANY_USERS_SAVES raises the saves per writer for a longer run (bench/many_users.sh).
#include "Connection.h"
#include "TestDatabase.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QtTest>
#include <memory>

using namespace NexoFrame;

namespace {

constexpr int kWriters = 8;
constexpr int kShared = 5;

QString writerProgram() { return qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/nexo_writer"); }

int savesPerWriter()
{
    const int n = qEnvironmentVariableIntValue("NEXO_MANY_USERS_SAVES");
    return n > 0 ? n : 100;
}

int count(Connection& c, const QString& sql, const QVariantList& binds = {})
{
    return c.select(sql, binds).first().first().toInt();
}

// Every row of the units table, to tell whether anything changed.
QByteArray digest(Connection& c)
{
    QCryptographicHash h(QCryptographicHash::Sha1);
    for (const QVariantList& r : c.select("SELECT id, parent_id, name, prefix, del_status, last_action_user_id1 "
                                          "FROM qnd_auth_unit ORDER BY id"))
        for (const QVariant& v : r) h.addData(v.toString().toUtf8() + '\x1f');
    return h.result();
}

} // namespace

class tst_manyusers : public QObject {
    Q_OBJECT

private slots:
    void eightWritersLoseNothing();
    void killedInTheMiddleOfASaveLeavesNothingBehind();
};

void tst_manyusers::eightWritersLoseNothing()
{
    TestDatabase db;
    auto c = db.open();
    const int saves = savesPerWriter();
    QVERIFY(c->execute("CREATE TABLE nexo_test_history (seq integer PRIMARY KEY, row_id integer, user_id integer, "
                       "token varchar(50))"));
    // The shared rows, created by user 1.
    QStringList shared;
    QVERIFY(c->transactions().lockMaster());
    for (int i = 0; i < kShared; ++i) {
        const int id = c->keys().newKey(Tables::AuthUnit);
        QVERIFY(c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, del_status, last_action_user_id1, "
                           "last_action_user_id2) VALUES (?, 500, ?, 'shared', 0, 1, -1)",
                           {id, QString("közös %1").arg(i)}));
        shared << QString::number(id);
    }
    QVERIFY(c->transactions().unlockMaster());

    std::vector<std::unique_ptr<QProcess>> writers;
    for (int w = 0; w < kWriters; ++w) {
        auto p = std::make_unique<QProcess>();
        p->setProcessChannelMode(QProcess::MergedChannels);
        p->start(writerProgram(), {db.target(), QString::number(w), QString::number(saves), shared.join(',')});
        writers.push_back(std::move(p));
    }
    for (int w = 0; w < kWriters; ++w) {
        QProcess& p = *writers[w];
        // No writer is stuck: each finishes, and finishes well.
        QVERIFY2(p.waitForFinished(240000), qPrintable(QString("writer %1 is stuck").arg(w)));
        const QString out = QString::fromUtf8(p.readAll());
        QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0, qPrintable(out));
        QVERIFY2(out.contains(QString("DONE %1").arg(saves)), qPrintable(out));
    }

    // Every insert is there once, each with a key of its own.
    const int inserts = (saves + 1) / 2;
    QCOMPARE(count(*c, "SELECT COUNT(*) FROM qnd_auth_unit WHERE parent_id=501"), kWriters * inserts);
    QCOMPARE(count(*c, "SELECT COUNT(DISTINCT id) FROM qnd_auth_unit WHERE parent_id=501"), kWriters * inserts);
    for (int w = 0; w < kWriters; ++w)
        for (int i = 0; i < saves; i += 2)
            QCOMPARE(count(*c, "SELECT COUNT(*) FROM qnd_auth_unit WHERE parent_id=501 AND name=?",
                           {QString("w%1-%2").arg(w).arg(i)}),
                     1);
    // Every save was recorded under the lock, in one order.
    QCOMPARE(count(*c, "SELECT COUNT(*) FROM nexo_test_history"), kWriters * saves);
    QCOMPARE(count(*c, "SELECT MAX(seq) FROM nexo_test_history"), kWriters * saves);

    // Each shared row holds its last update, and its audit pair names the last two writers in
    // the order the updates were made.
    for (const QString& idText : shared) {
        const int id = idText.toInt();
        const auto history = c->select("SELECT user_id, token FROM nexo_test_history WHERE row_id=? ORDER BY seq", {id});
        QVERIFY(!history.isEmpty());
        const auto row = c->select("SELECT name, last_action_user_id1, last_action_user_id2, last_action_date1, "
                                   "last_action_date2 FROM qnd_auth_unit WHERE id=?",
                                   {id}).first();
        QCOMPARE(row[0].toString(), history.last()[1].toString());
        QCOMPARE(row[1].toInt(), history.last()[0].toInt());
        QCOMPARE(row[2].toInt(), history.size() > 1 ? history[history.size() - 2][0].toInt() : 1);
        const ColumnDef date{"d", ColType::DateTime, 0, {}};
        QVERIFY(c->engine().fromDb(date, row[4]).toDateTime() <= c->engine().fromDb(date, row[3]).toDateTime());
    }

    // Nothing stays locked.
    QVERIFY(c->transactions().lockMaster());
    QVERIFY(c->transactions().unlockMaster());
}

void tst_manyusers::killedInTheMiddleOfASaveLeavesNothingBehind()
{
    TestDatabase db;
    auto c = db.open();
    for (int round = 0; round < 5; ++round) {
        QProcess p;
        p.start(writerProgram(), {db.target(), QString::number(50 + round), "1", "", "--hold"});
        QByteArray out;
        while (!out.contains('\n') && p.waitForReadyRead(20000)) out += p.readAllStandardOutput();
        QVERIFY2(out.startsWith("WRITTEN "), out.constData());
        const int id = out.mid(8).trimmed().toInt();
        // Its row is written but not committed, and it holds the lock.
        const QByteArray before = digest(*c);
        QVERIFY(!c->transactions().lockMaster());

        p.kill(); // SIGKILL: nothing of the process gets to run
        QVERIFY(p.waitForFinished());
        QCOMPARE(p.exitStatus(), QProcess::CrashExit);

        // The lock comes free without anyone releasing it (a server first notices the dead
        // session), the killed save is not there, and every other row is as it was.
        QVERIFY(c->transactions().lockMaster(5000));
        QVERIFY(c->transactions().unlockMaster());
        QCOMPARE(count(*c, "SELECT COUNT(*) FROM qnd_auth_unit WHERE id=? OR name=?",
                       {id, QString("w%1-0").arg(50 + round)}),
                 0);
        QCOMPARE(digest(*c), before);
        // And the next save goes through, with a key of its own.
        QVERIFY(c->transactions().lockMaster());
        const int next = c->keys().newKey(Tables::AuthUnit);
        QVERIFY(c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name) VALUES (?, 0, ?)",
                           {next, QString("utána %1").arg(round)}));
        QVERIFY(c->transactions().unlockMaster());
    }
}

QTEST_GUILESS_MAIN(tst_manyusers)
#include "tst_manyusers.moc"
