#include "Connection.h"
#include "ModalSuite.h"
#include "TestDatabase.h"
#include "Module.h"
#include "cDDXAuthUnit.h"
#include "cMessage2.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QtTest>
#include <csignal>
#include <thread>

using namespace NexoFrame;

namespace {

const QString kQuestion = QStringLiteral(
    "Az adatállományt a rendszer nem tudja lokkolni. Valószinűleg valaki más is használja az adatbázist.");
const QString kRetry = QStringLiteral("Megpróbáljam újból?");

// The engine under test, counting how often the master lock is asked for.
class CountingEngine : public Engine {
public:
    explicit CountingEngine(const QString& target) : m_e(makeEngineFor(target)) {}
    int tries = 0;
    QString name() const override { return m_e->name(); }
    bool open(QSqlDatabase& db, const QString& n, const QString& t, QString* e) override { return m_e->open(db, n, t, e); }
    bool reopen(QSqlDatabase& db, QString* e) override { return m_e->reopen(db, e); }
    bool connectionLost(QSqlDatabase& db) const override { return m_e->connectionLost(db); }
    QString databaseName() const override { return m_e->databaseName(); }
    QString folder() const override { return m_e->folder(); }
    QString sqlType(const ColumnDef& c) const override { return m_e->sqlType(c); }
    QString indexColumn(const QString& c) const override { return m_e->indexColumn(c); }
    QString orderTerm(const QString& c, bool d) const override { return m_e->orderTerm(c, d); }
    QStringList tables(QSqlDatabase& db) const override { return m_e->tables(db); }
    QStringList indexes(QSqlDatabase& db) const override { return m_e->indexes(db); }
    bool prepareSchema(QSqlDatabase& db, QString* e) const override { return m_e->prepareSchema(db, e); }
    QString greatest(const QString& a, const QString& b) const override { return m_e->greatest(a, b); }
    bool writesInWith() const override { return m_e->writesInWith(); }
    QVariant storedBool(bool v) const override { return m_e->storedBool(v); }
    bool tryMasterLock(QSqlDatabase& db, int w) override { ++tries; return m_e->tryMasterLock(db, w); }
    bool commitAndRelease(QSqlDatabase& db) override { return m_e->commitAndRelease(db); }
    void releaseMasterLock(QSqlDatabase& db) override { m_e->releaseMasterLock(db); }
    bool lockOutlivesTransaction() const override { return m_e->lockOutlivesTransaction(); }
    bool rollbackAndBegin(QSqlDatabase& db) override { return m_e->rollbackAndBegin(db); }
    bool beginPlain(QSqlDatabase& db) override { return m_e->beginPlain(db); }
    bool commit(QSqlDatabase& db) override { return m_e->commit(db); }
    bool rollback(QSqlDatabase& db) override { return m_e->rollback(db); }
    void idle(QSqlDatabase& db) override { m_e->idle(db); }
    QString boolLiteral(bool v) const override { return m_e->boolLiteral(v); }

private:
    std::unique_ptr<Engine> m_e;
};

} // namespace

class tst_masterlock : public ModalSuite {
    Q_OBJECT
    TestDatabase m_db;
    CountingEngine* m_engine = nullptr;
    std::unique_ptr<Connection> m_c;
    QProcess m_holder;

    // A valid new unit, confirmed and ready to be written.
    std::unique_ptr<cDDXAuthUnit> newUnit(const QString& name)
    {
        auto u = std::make_unique<cDDXAuthUnit>();
        u->set_name(name);
        u->set_prefix("lock_test");
        if (!u->SetFinal()) return nullptr;
        return u;
    }
    int count(const QString& name)
    {
        return m_c->select("SELECT COUNT(*) FROM qnd_auth_unit WHERE name=?", {name}).first().first().toInt();
    }

    // What each lock question showed: its texts and the lock tries made before it.
    struct Asked { QString message, subMessage; int tries; };
    QList<Asked> m_asked;

    void answer(const QString& button)
    {
        onNextModal([this, button](QWidget* dlg) {
            const cMessage2& msg = module().message();
            m_asked << Asked{msg.lblMessage->text(), msg.lblSubMessage->text(), m_engine->tries};
            clickButton(dlg, button);
        });
    }
    void checkAsked(QList<int> triesBefore)
    {
        QCOMPARE(m_asked.size(), triesBefore.size());
        for (int i = 0; i < m_asked.size(); ++i) {
            QCOMPARE(m_asked[i].message, kQuestion);
            QCOMPARE(m_asked[i].subMessage, kRetry);
            QCOMPARE(m_asked[i].tries, triesBefore[i]);
        }
    }

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init() { ModalSuite::init(); m_asked.clear(); m_engine->tries = 0; }
    void refusedLockAsksAfterThreeSilentTries();
    void killedHolderLeavesTheLockFree();
    void creationWaitsForTheHolder();
};

void tst_masterlock::initTestCase()
{
    m_db.open();
    auto engine = std::make_unique<CountingEngine>(m_db.target());
    m_engine = engine.get();
    m_c = std::make_unique<Connection>(std::move(engine));
    QString err;
    QVERIFY2(m_c->open(m_db.target(), &err) && m_c->ensureSchema(&err), qPrintable(err));
    module().setConnection(m_c.get());
    module().setCurrentUserId(1);

    m_holder.start(qEnvironmentVariable("NEXO_TEST_BIN") + "/nexo_lockholder", {m_db.target()});
    QVERIFY2(m_holder.waitForStarted(), qPrintable(m_holder.errorString()));
    QByteArray out;
    while (!out.contains('\n') && m_holder.waitForReadyRead(10000)) out += m_holder.readAllStandardOutput();
    QCOMPARE(out.trimmed(), QByteArray("LOCKED"));
}

void tst_masterlock::cleanupTestCase()
{
    module().setConnection(nullptr);
    m_holder.kill();
    m_holder.waitForFinished();
}

void tst_masterlock::refusedLockAsksAfterThreeSilentTries()
{
    QVERIFY(!m_c->transactions().lockMaster());
    m_engine->tries = 0;

    // No: nothing is written and nothing stays locked.
    auto unit = newUnit("Zárolt egység");
    QVERIFY(unit);
    answer("Nem");
    QVERIFY(!unit->CoreUpdate());
    checkAsked({4});
    QCOMPARE(m_engine->tries, 4);
    QCOMPARE(count("Zárolt egység"), 0);
    QVERIFY(!m_c->transactions().hasMasterLock());
    QVERIFY(!m_c->transactions().inTransaction());

    // Yes: three more silent tries, then the same question again.
    m_engine->tries = 0;
    m_asked.clear();
    answer("Igen");
    answer("Nem");
    QVERIFY(!unit->CoreUpdate());
    checkAsked({4, 8});
    QCOMPARE(m_engine->tries, 8);
    QCOMPARE(count("Zárolt egység"), 0);
    QVERIFY(!m_c->transactions().hasMasterLock());
}

void tst_masterlock::killedHolderLeavesTheLockFree()
{
    m_holder.kill(); // SIGKILL: the holder gets no chance to release anything
    QVERIFY(m_holder.waitForFinished());
    QCOMPARE(m_holder.exitStatus(), QProcess::CrashExit);

    auto unit = newUnit("Szabad egység");
    QVERIFY(unit);
    bool asked = false;
    onNextModal([&](QWidget* dlg) { asked = true; dlg->close(); }, 500);
    QVERIFY(unit->CoreUpdate());
    QVERIFY(!asked);
    // A server takes a moment to notice the dead session; then the first quiet try gets in.
    QVERIFY(m_engine->tries <= 2);
    QCOMPARE(count("Szabad egység"), 1);
    QVERIFY(!m_c->transactions().hasMasterLock());
    resetModalDriver(); // the guard above found nothing to answer
}

void tst_masterlock::creationWaitsForTheHolder()
{
    // A database without its demo data yet, locked by another process for a while: the open
    // that fills it waits past the quiet tries without asking anyone, then fills it.
    TestDatabase empty;
    QVERIFY(!empty.open(Connection::DemoData::None)->hasData());
    QProcess holder;
    holder.start(qEnvironmentVariable("NEXO_TEST_BIN") + "/nexo_lockholder", {empty.target()});
    QVERIFY(holder.waitForStarted());
    QByteArray out;
    while (!out.contains('\n') && holder.waitForReadyRead(10000)) out += holder.readAllStandardOutput();
    QCOMPARE(out.trimmed(), QByteArray("LOCKED"));
    const pid_t pid = pid_t(holder.processId());
    std::thread killer([pid] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2000));
        ::kill(pid, SIGKILL);
    });
    QElapsedTimer waited;
    waited.start();
    QString err;
    auto filled = Connection::openDatabase(empty.target(), Connection::DemoData::IfEmpty, &err);
    killer.join();
    holder.waitForFinished();
    QVERIFY2(filled, qPrintable(err));
    QVERIFY(waited.elapsed() >= 1500);
    QVERIFY(filled->hasData());
    QVERIFY(!filled->transactions().hasMasterLock() && !filled->transactions().inTransaction());
}

QTEST_MAIN(tst_masterlock)
#include "tst_masterlock.moc"
