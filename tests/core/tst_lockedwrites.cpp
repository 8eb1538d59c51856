#include "ConfigTransfer.h"
#include "Connection.h"
#include "ListWizard.h"
#include "ModalSuite.h"
#include "Module.h"
#include "RightsHistory.h"
#include "RoleTicks.h"
#include "Snapshots.h"
#include "TestDatabase.h"
#include "cDDXAuthUnit.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidgetItem>
#include <stdexcept>

using namespace NexoFrame;

// Every locked write goes through Connection::writeLocked: whatever fails in its middle, the
// write goes back whole, the transaction ends and the master lock is free for everyone else.
// Faults come from the database itself: a trigger that refuses one statement of the write.
class tst_lockedwrites : public ModalSuite {
    Q_OBJECT
    TestDatabase m_db;
    std::unique_ptr<Connection> m_c;
    QTemporaryDir m_dir;

    int historyRows() { return m_c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_rights_history")).value(0).value(0).toInt(); }
    // What a failed write must leave as it was: every row, and the history.
    QStringList state() { return fullDump(*m_c) << QString::number(historyRows()); }
    bool released() { return m_db.released(*m_c); }
    QVariant yes(bool v) const { return m_c->engine().storedBool(v); }

    // Refuses `event` ("INSERT", "UPDATE") on `table` for the rows `when` names (NEW.column ...).
    void failOn(const QString& event, const QString& table, const QString& when)
    {
        QString err;
        if (testingPostgres()) {
            QVERIFY2(m_c->execute(QStringLiteral("CREATE OR REPLACE FUNCTION nexo_fault() RETURNS trigger AS $$ BEGIN "
                                                 "RAISE EXCEPTION 'beiktatott hiba'; END $$ LANGUAGE plpgsql"), {}, &err),
                     qPrintable(err));
            QVERIFY2(m_c->execute(QStringLiteral("CREATE TRIGGER nexo_fault BEFORE %1 ON %2 FOR EACH ROW WHEN (%3) "
                                                 "EXECUTE FUNCTION nexo_fault()").arg(event, table, when), {}, &err),
                     qPrintable(err));
        } else {
            QVERIFY2(m_c->execute(QStringLiteral("CREATE TRIGGER nexo_fault BEFORE %1 ON %2 WHEN %3 BEGIN "
                                                 "SELECT RAISE(ABORT, 'beiktatott hiba'); END").arg(event, table, when), {}, &err),
                     qPrintable(err));
        }
        m_faultTable = table;
    }
    void heal()
    {
        QVERIFY(m_c->execute(testingPostgres() ? QStringLiteral("DROP TRIGGER nexo_fault ON %1").arg(m_faultTable)
                                               : QStringLiteral("DROP TRIGGER nexo_fault")));
        m_faultTable.clear();
    }
    QString m_faultTable;

    // One kind of write: what it needs first, the statement that fails in its middle, the write
    // itself (true when it went through), and what shows that it went through once healed.
    struct Write {
        std::function<void()> prepare;
        QString event, table, when;
        std::function<bool()> write;
        std::function<bool()> written;
    };
    Write kind(const QString& name);

private slots:
    void initTestCase()
    {
        m_c = m_db.open();
        QVERIFY(m_dir.isValid());
        module().setConnection(m_c.get());
        module().setCurrentUserId(1);
        m_c->session().setUserId(1);
    }
    void cleanupTestCase() { module().setConnection(nullptr); }
    void cleanup()
    {
        if (!m_faultTable.isEmpty()) heal();
        ModalSuite::cleanup();
    }

    void anyThrowEndsTheWrite();
    void refusedLockAsksAfterTheQuietTries();
    void lockWithTheFirstStatement();
    void faultInTheMiddle_data();
    void faultInTheMiddle();
};

void tst_lockedwrites::anyThrowEndsTheWrite()
{
    const QStringList before = state();
    const auto putSetting = [this](const QString& key) {
        if (!m_c->settings().write(QStringLiteral("KMN"), key, QStringLiteral("x"))) throw DbError(QStringLiteral("nem írható"));
    };
    QString why;
    QCOMPARE(m_c->transactions().writeLocked([&] { putSetting("A"); throw DbError(QStringLiteral("adatbázishiba")); return true; }, &why),
             Transactions::LockedWrite::Failed);
    QCOMPARE(why, QStringLiteral("adatbázishiba"));
    QCOMPARE(m_c->transactions().writeLocked([&] { putSetting("B"); return false; }, &why), Transactions::LockedWrite::Failed);
    QCOMPARE(why, QString());
    // Anything else goes on to the caller, after the write has gone back.
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, m_c->transactions().writeLocked([&]() -> bool {
        putSetting("C");
        throw std::runtime_error("programhiba");
    }, &why));
    QVERIFY(released());
    QCOMPARE(state(), before);

    // Inside a caller's write, a failed part goes back to where it began; the caller's stays.
    QCOMPARE(m_c->transactions().writeLocked([&] {
        putSetting("D");
        const auto inner = m_c->transactions().writeLocked([&] { putSetting("E"); return false; }, &why);
        return inner == Transactions::LockedWrite::Failed && m_c->transactions().hasMasterLock();
    }, &why),
             Transactions::LockedWrite::Done);
    QVERIFY(released());
    QCOMPARE(m_c->settings().read("KMN", "D"), QStringLiteral("x"));
    for (const char* gone : {"A", "B", "C", "E"}) QCOMPARE(m_c->settings().read("KMN", gone), QString());
}

void tst_lockedwrites::refusedLockAsksAfterTheQuietTries()
{
    QString err;
    auto holder = Connection::openDatabase(m_db.target(), Connection::DemoData::None, &err);
    QVERIFY(holder && holder->transactions().lockMaster());
    int asked = 0;
    bool ran = false;
    QElapsedTimer t;
    t.start();
    QString why;
    QCOMPARE(m_c->transactions().writeLocked([&] { return ran = true; }, &why, [&] { return ++asked < 2; }), Transactions::LockedWrite::Refused);
    QCOMPARE(asked, 2);
    QVERIFY(!ran);
    // Twice three quiet tries waited for the holder before each question.
    QVERIFY2(t.elapsed() >= 2 * Transactions::kQuietLockTries * Transactions::kQuietLockWaitMs - 100, qPrintable(QString::number(t.elapsed())));
    // No one to ask: the write gives up after the quiet tries.
    QCOMPARE(m_c->transactions().writeLocked([&] { return ran = true; }, &why), Transactions::LockedWrite::Refused);
    QVERIFY(!ran && !m_c->transactions().hasMasterLock());
    holder->transactions().unlockMaster();
    QCOMPARE(m_c->transactions().writeLocked([&] { return ran = true; }, &why, [&] { return ++asked, true; }), Transactions::LockedWrite::Done);
    QVERIFY(ran);
    QCOMPARE(asked, 2);
}

// A write whose lock goes to a server with its first statement: refused there, nothing of the
// statement ran; the tries and the question follow, and what the write does afterwards (its
// savepoints too) is kept whole, or nothing is.
void tst_lockedwrites::lockWithTheFirstStatement()
{
    const QStringList before = state();
    QString err;
    auto holder = Connection::openDatabase(m_db.target(), Connection::DemoData::None, &err);
    QVERIFY(holder && holder->transactions().lockMaster());
    const auto write = [&](const QString& key) {
        return [this, key] {
            // A savepoint waits for the first statement, as the lock does.
            const auto inner = m_c->transactions().writeLocked([&] {
                m_c->settings().write(QStringLiteral("ELSO"), key + QStringLiteral("_belso"), QStringLiteral("x"));
                return false;
            }, nullptr);
            return inner == Transactions::LockedWrite::Failed
                && m_c->settings().write(QStringLiteral("ELSO"), key, QStringLiteral("x"));
        };
    };
    int asked = 0;
    QString why;
    QCOMPARE(m_c->transactions().writeLocked(write("A"), &why, [&] { return ++asked, false; }, true),
             Transactions::LockedWrite::Refused);
    QCOMPARE(asked, 1);
    QVERIFY(why.isEmpty());
    QVERIFY(!m_c->transactions().hasMasterLock());
    QCOMPARE(state(), before);
    // The link is clean: no transaction, nothing left waiting for the next statement.
    QCOMPARE(m_c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_settings WHERE section = 'ELSO'")).value(0).value(0).toInt(), 0);

    // The holder finishes while the question is asked: the write goes through whole.
    const auto done = m_c->transactions().writeLocked(write("B"), &why, [&] {
        holder->transactions().unlockMaster();
        return true;
    }, true);
    QVERIFY2(done == Transactions::LockedWrite::Done, qPrintable(why));
    QVERIFY(released());
    m_c->idle();
    QCOMPARE(m_c->settings().read("ELSO", "B"), QStringLiteral("x"));
    QCOMPARE(m_c->settings().read("ELSO", "B_belso"), QString());
    QCOMPARE(m_c->settings().read("ELSO", "A"), QString());

    // Free, a write takes the lock with its first statement and keeps it to the end.
    QVERIFY2(m_c->transactions().writeLocked(write("C"), &why, {}, true) == Transactions::LockedWrite::Done, qPrintable(why));
    QVERIFY(released());
    m_c->idle();
    QCOMPARE(m_c->settings().read("ELSO", "C"), QStringLiteral("x"));
    QCOMPARE(m_c->settings().read("ELSO", "C_belso"), QString());
}

tst_lockedwrites::Write tst_lockedwrites::kind(const QString& name)
{
    Connection& c = *m_c;
    const auto scalar = [&c](const QString& sql, const QVariantList& binds = {}) { return c.select(sql, binds).value(0).value(0); };
    if (name == "record") {
        // The row is written, then its role change cannot be kept in the history.
        auto unit = std::make_shared<std::unique_ptr<cDDXAuthUnit>>();
        return {[unit] {
                    *unit = std::make_unique<cDDXAuthUnit>();
                    QVERIFY((*unit)->CoreLoad(23));
                    (*unit)->set_name("Hibás mentés");
                    (*unit)->setValue("auth_4", !(*unit)->value("auth_4").toBool());
                    QVERIFY((*unit)->SetFinal());
                    (*unit)->SetModified();
                },
                "INSERT", "qnd_rights_history", "NEW.table_name = 'qnd_auth_unit'",
                [unit] { return (*unit)->CoreUpdate(); },
                [scalar] { return scalar("SELECT name FROM qnd_auth_unit WHERE id = 23").toString() == "Hibás mentés"; }};
    }
    if (name == "subtree tick") {
        // The node's own row and its history are written, then one row below it is refused.
        auto node = std::make_shared<QTreeWidgetItem>();
        node->setData(0, Qt::UserRole, QStringLiteral("RID20"));
        auto granted = std::make_shared<bool>();
        return {[=, &c] {
                    // Row 25 holds what its parent holds, so that the tick changes it too.
                    QVERIFY(c.execute("UPDATE qnd_auth_unit SET auth_3 = (SELECT auth_3 FROM qnd_auth_unit WHERE id = 20) WHERE id = 25"));
                    *granted = !c.select("SELECT auth_3 FROM qnd_auth_unit WHERE id = 20").value(0).value(0).toBool();
                },
                "UPDATE", "qnd_auth_unit", "NEW.id = 25",
                [=, &c] {
                    RoleTicks ticks(c, Tables::AuthUnit, 3);
                    try {
                        return ticks.toggle(node.get(), *granted);
                    } catch (const DbError&) {
                        return false;
                    }
                },
                [=, &c] {
                    for (int id : {20, 25})
                        if (c.select("SELECT auth_3 FROM qnd_auth_unit WHERE id = ?", {id}).value(0).value(0).toBool() != *granted) return false;
                    return true;
                }};
    }
    if (name == "list" || name == "list key") {
        // A new list: its key, its row, then its role slot's history (the key alone for the
        // second: a key that cannot be had throws from the middle of the list's own code).
        auto wizard = std::make_shared<Controls::ListWizard>();
        const QString caption = QStringLiteral("Hibás lista (%1)").arg(name);
        return {[=, this, &c] {
                    wizard->setProperty("CanEdit", true);
                    wizard->setProperty("Database", QVariant::fromValue<QObject*>(&c));
                    wizard->setProperty("WorkFolder", m_dir.path());
                    wizard->setProperty("UserID", 1);
                    QVERIFY2(wizard->Init(), qPrintable(wizard->lastError()));
                },
                "INSERT", name == "list" ? "qnd_rights_history" : "qnd_key", "NEW.table_name = 'qnd_list'",
                [=] {
                    const int id = wizard->saveList(0, caption,
                                                    R"({"format": "nexo-lista", "version": 1, "source": "qnd_user_list_view",
                                                        "columns": [{"field": "display_name"}]})");
                    if (id < 0 && !wizard->lastError().startsWith(QStringLiteral("A lista nem lett mentve.")))
                        qWarning("%s", qPrintable(wizard->lastError()));
                    return id > 0;
                },
                [=] { return scalar("SELECT COUNT(*) FROM qnd_list WHERE caption = ?", {caption}).toInt() == 1; }};
    }
    if (name == "import") {
        // A group's slot (the file's first part) is written back, then a printed report's
        // (its last part) is refused.
        const QString file = m_dir.filePath(QStringLiteral("beallitasok.json"));
        const int report = scalar("SELECT MIN(id) FROM qnd_report WHERE del_status = 0").toInt();
        return {[=, this, &c] {
                    QVERIFY(c.execute("UPDATE qnd_user_group SET auth_5 = ? WHERE id = 2", {yes(false)}));
                    QVERIFY(c.execute("UPDATE qnd_report SET auth_5 = ? WHERE id = ?", {yes(false), report}));
                    QString why;
                    QVERIFY2(exportConfig(c, file, &why), qPrintable(why));
                    QVERIFY(c.execute("UPDATE qnd_user_group SET auth_5 = ? WHERE id = 2", {yes(true)}));
                    QVERIFY(c.execute("UPDATE qnd_report SET auth_5 = ? WHERE id = ?", {yes(true), report}));
                },
                "UPDATE", "qnd_report", "NEW.id > 0",
                [=, &c] {
                    ConfigImport plan;
                    QString why;
                    if (!previewConfig(c, file, &plan, &why)) qWarning("%s", qPrintable(why));
                    return importConfig(c, &plan, &why);
                },
                [=] { return !scalar("SELECT auth_5 FROM qnd_report WHERE id = ?", {report}).toBool(); }};
    }
    // "revert": three menu items' slot put back; the third is refused.
    QList<int> items;
    for (const QVariantList& r : c.select("SELECT id FROM qnd_menu WHERE del_status = 0 ORDER BY id")) items << r[0].toInt();
    items = items.mid(0, 3);
    auto plan = std::make_shared<QList<RevertStep>>();
    for (int id : items) plan->append({QStringLiteral("qnd_menu"), id, QStringLiteral("auth_7"), QStringLiteral("0"), QStringLiteral("1")});
    return {[=, this, &c] { QVERIFY(c.execute("UPDATE qnd_menu SET auth_7 = ?", {yes(false)})); },
            "UPDATE", "qnd_menu", QStringLiteral("NEW.id = %1").arg(items.value(2)),
            [=, &c] {
                QString why;
                return revertTo(c, *plan, &why);
            },
            [=] { return scalar(QStringLiteral("SELECT auth_7 FROM qnd_menu WHERE id = %1").arg(items.value(2))).toBool(); }};
}

void tst_lockedwrites::faultInTheMiddle_data()
{
    QTest::addColumn<QString>("name");
    for (const char* k : {"record", "subtree tick", "list", "list key", "import", "revert"}) QTest::newRow(k) << QString::fromLatin1(k);
}

void tst_lockedwrites::faultInTheMiddle()
{
    QFETCH(QString, name);
    Write w = kind(name);
    w.prepare();
    if (QTest::currentTestFailed()) return;
    const int historyBefore = historyRows();
    const QStringList before = state();
    failOn(w.event, w.table, w.when);
    QVERIFY(!w.write());
    QVERIFY(released());
    QCOMPARE(historyRows(), historyBefore);
    QCOMPARE(state(), before);
    QVERIFY(!w.written());

    // The connection goes on: without the fault the same write goes through.
    heal();
    module().errors().Clear();
    QVERIFY(w.write());
    QVERIFY(released());
    QVERIFY(w.written());
}

QTEST_MAIN(tst_lockedwrites)
#include "tst_lockedwrites.moc"
