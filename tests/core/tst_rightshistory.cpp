#include "Access.h"
#include "Connection.h"
#include "Menus.h"
#include "ModalSuite.h"
#include "Snapshots.h"
#include "Module.h"
#include "RoleTicks.h"
#include "Recordset.h"
#include "RightsHistory.h"
#include "TestSite.h"
#include "TreeTesting.h"
#include "cDDXUser.h"
#include "cDDXUserGroup.h"
#include <QLabel>
#include <QSet>
#include <QTest>
#include <QTreeWidgetItem>

using namespace NexoFrame;

namespace {

// Every cell the history watches in a table, "row column value", yes/no as 1/0.
QSet<QString> cells(Connection& c, const QString& table, const QStringList& columns)
{
    QStringList terms;
    for (const QString& col : columns) terms << QStringLiteral("CASE WHEN %1 IS NULL THEN '' ELSE CAST(%1 AS VARCHAR(20)) END").arg(col);
    QSet<QString> out;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, %1 FROM %2").arg(terms.join(QStringLiteral(", ")), table)))
        for (int i = 0; i < columns.size(); ++i) {
            QString v = r[i + 1].toString();
            // Yes/no columns: SQLite keeps true as -1.
            if ((v == QLatin1String("-1") && columns[i].startsWith(QLatin1String("auth_"))) || v == QLatin1String("true")) v = QStringLiteral("1");
            if (v == QLatin1String("false")) v = QStringLiteral("0");
            out << QStringLiteral("%1 %2 %3").arg(r[0].toString(), columns[i], v);
        }
    return out;
}

QStringList roleColumns() { return RoleSet::columns().split(QLatin1Char(',')); }

// The history rows after `fromId`, as "table row column old>new".
QStringList history(Connection& c, int fromId, int userId = -2)
{
    QStringList l;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT table_name, row_id, column_name, old_value, new_value, user_id "
                                                         "FROM qnd_rights_history WHERE id > ? ORDER BY id"),
                                          {fromId})) {
        if (userId != -2 && r[5].toInt() != userId) l << QStringLiteral("wrong user");
        l << QStringLiteral("%1 %2 %3 %4>%5").arg(r[0].toString(), r[1].toString(), r[2].toString(), r[3].toString(), r[4].toString());
    }
    l.sort();
    return l;
}

int lastHistoryId(Connection& c) { return c.select(QStringLiteral("SELECT COALESCE(MAX(id), 0) FROM qnd_rights_history")).value(0).value(0).toInt(); }

// What changed between two sets of cells, as the history writes it.
QStringList changes(const QString& table, const QSet<QString>& before, const QSet<QString>& after)
{
    QHash<QString, QString> old;
    for (const QString& b : before) old.insert(b.section(QLatin1Char(' '), 0, 1), b.section(QLatin1Char(' '), 2));
    QStringList l;
    for (const QString& a : after) {
        const QString key = a.section(QLatin1Char(' '), 0, 1), now = a.section(QLatin1Char(' '), 2);
        if (old.value(key) != now) l << QStringLiteral("%1 %2 %3>%4").arg(table, key, old.value(key), now);
    }
    l.sort();
    return l;
}

void edit(Connection& c, int table, int id, const QString& column, const QVariant& value)
{
    Recordset& rs = c.editRecordset(table);
    rs.setIndex(QString());
    QVERIFY(rs.seek({id}));
    rs.edit();
    rs.setField(column, value);
    QVERIFY2(rs.update(), qPrintable(rs.lastError()));
}

} // namespace

class tst_rightshistory : public ModalSuite {
    Q_OBJECT

private slots:
    // Each tick of a tree: one history row per cell that changed, with whom, and nothing else.
    void everyTickIsKept()
    {
        TestSite site(2);
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_menu (id, parent_id, caption, access_key, class_name) VALUES "
                                         "(1000010, 1000000, 'Mappa', 'M', ''), (1000011, 1000010, 'Program', 'P', 'SHELL')")));
        QCOMPARE(history(c, 0), QStringList()); // the demo data is the starting state, not a change
        Menus p;
        p.IAddin_AttachToSite(&site, 1, QString());
        const auto tick = [&](int slot, int id, bool on, const QList<int>& open = {}) {
            p.selectRole(slot);
            for (int above : open) p.nodeOf(above)->setExpanded(true);
            const QSet<QString> before = cells(c, QStringLiteral("qnd_menu"), roleColumns());
            const int from = lastHistoryId(c);
            p.nodeOf(id)->setCheckState(0, on ? Qt::Checked : Qt::Unchecked);
            const QStringList want = changes(QStringLiteral("qnd_menu"), before, cells(c, QStringLiteral("qnd_menu"), roleColumns()));
            QVERIFY(!want.isEmpty());
            QCOMPARE(history(c, from, 2), want);
        };
        tick(5, 1000011, true, {1000000, 1000010}); // lifts the grey items above it
        tick(1, 10, false);     // a whole subtree, partly not loaded
        tick(1, 10, true);
    }

    // A failed tick leaves neither the change nor its history.
    void aFailedTickKeepsNothing()
    {
        TestSite site(1);
        Connection& c = site.db();
        QVERIFY(c.execute(testingPostgres()
                              ? QStringLiteral("ALTER TABLE qnd_menu ADD CONSTRAINT no_slot7 CHECK (NOT auth_7) NOT VALID")
                              : QStringLiteral("CREATE TRIGGER no_slot7 BEFORE UPDATE OF auth_7 ON qnd_menu WHEN NEW.auth_7 "
                                               "BEGIN SELECT RAISE(ABORT, 'tiltva'); END")));
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_menu SET auth_7 = ?"), {c.engine().storedBool(false)}));
        const int from = lastHistoryId(c);
        Menus p;
        p.IAddin_AttachToSite(&site, 1, QString());
        p.selectRole(7);
        answerNextModal(QStringLiteral("Kilépés"));
        p.nodeOf(10)->setCheckState(0, Qt::Checked);
        QCOMPARE(history(c, from), QStringList());
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_menu WHERE auth_7")).value(0).value(0).toInt(), 0);
        QVERIFY(!c.transactions().hasMasterLock());
    }

    // A role cell never set (NULL, as an older program or another module leaves it) is an
    // untick: a tick on it is kept as from "0", taken back by Ctrl+Z, shown unticked in the
    // state before it, and a revert to before it unticks it again.
    void cellsNeverSetCountAsUnticked()
    {
        ModuleSite site(1);
        Connection& c = site.db();
        const auto neverSet = [&] { QVERIFY(c.execute(QStringLiteral("UPDATE qnd_menu SET auth_7 = NULL"))); };
        const auto ticked = [&](int id) {
            return c.history().text(*c.tableDef(Tables::Menu)->column(QStringLiteral("auth_7")),
                                 c.select(QStringLiteral("SELECT auth_7 FROM qnd_menu WHERE id=?"), {id}).value(0).value(0));
        };
        neverSet();
        const QDateTime moment = QDateTime::currentDateTime();
        QTest::qWait(1100); // the history keeps seconds
        Menus p;
        p.IAddin_AttachToSite(&site, 1, QString());
        p.selectRole(7);
        const int from = lastHistoryId(c);
        p.nodeOf(10)->setCheckState(0, Qt::Checked); // "Kimutatások" and the six items below it
        QCOMPARE(ticked(10), QStringLiteral("1"));
        QCOMPARE(history(c, from).size(), 7);
        QVERIFY(history(c, from).contains(QStringLiteral("qnd_menu 10 auth_7 0>1")));
        QCOMPARE(columnAt(c, QStringLiteral("qnd_menu"), QStringLiteral("auth_7"), moment).value(10, QStringLiteral("nincs")), QStringLiteral("0"));

        QVERIFY(pressUndo(p));
        QCOMPARE(p.lbl_impact->text(), QStringLiteral("Az utolsó pipa visszavonva."));
        for (int id : {10, 11, 16}) QCOMPARE(ticked(id), QStringLiteral("0"));
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_menu WHERE auth_7")).value(0).value(0).toInt(), 0);
        QCOMPARE(p.nodeOf(10)->checkState(0), Qt::Unchecked);

        // Never set again, ticked again: the revert to before the tick unticks it.
        neverSet();
        const QDateTime again = QDateTime::currentDateTime();
        QTest::qWait(1100);
        p.nodeOf(10)->setCheckState(0, Qt::Checked);
        QCOMPARE(ticked(11), QStringLiteral("1"));
        QCOMPARE(rightsDumpAt(c, again).value(QStringLiteral("qnd_menu 11 auth_7")), QStringLiteral("0"));
        const QList<RevertStep> plan = revertPlan(c, again, 7);
        QCOMPARE(plan.size(), 7);
        QString why;
        QVERIFY2(revertTo(c, plan, &why), qPrintable(why));
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_menu WHERE auth_7")).value(0).value(0).toInt(), 0);
        QVERIFY(revertPlan(c, again, 7).isEmpty());
    }

    // A group's slots and visibility rules, and a user's group, each change kept.
    void groupsAndUsers()
    {
        ModuleSite site(1);
        Connection& c = site.db();
        const QStringList groupColumns = roleColumns() + QStringList{QStringLiteral("right_event"), QStringLiteral("right_project"),
                                                                 QStringLiteral("right_partner")};
        const QSet<QString> before = cells(c, QStringLiteral("qnd_user_group"), groupColumns);
        int from = lastHistoryId(c);
        cDDXUserGroup g;
        QVERIFY(g.CoreLoad(3));
        g.setValue(QStringLiteral("auth_7"), true);
        g.setValue(QStringLiteral("auth_4"), false);
        g.setValue(QStringLiteral("right_event"), 2);
        g.setValue(QStringLiteral("name"), QStringLiteral("Értékesítők és beszerzők")); // not a right: not kept
        g.SetModified();
        QVERIFY(g.SetFinal());
        QVERIFY2(g.CoreUpdate(), qPrintable(module().errors().Count() ? module().errors().Item(1).description() : QString()));
        QCOMPARE(history(c, from, 1), changes(QStringLiteral("qnd_user_group"), before, cells(c, QStringLiteral("qnd_user_group"), groupColumns)));
        QCOMPARE(history(c, from).size(), 3);

        from = lastHistoryId(c);
        cDDXUser u;
        QVERIFY(u.CoreLoad(3));
        u.setValue(QStringLiteral("user_group_id"), 4);
        u.setValue(QStringLiteral("display_name"), QStringLiteral("Nagy Péter Pál"));
        u.SetModified();
        QVERIFY(u.SetFinal());
        QVERIFY(u.CoreUpdate());
        QCOMPARE(history(c, from, 1), QStringList{QStringLiteral("qnd_user 3 user_group_id 3>4")});
    }

    // A subtree's history rows take the keys after the last one handed out, one after the
    // other, also when that key is above the largest stored (another program took it and has
    // not used it yet); the key table moves past them, and the next tick's rows follow on.
    void subtreeHistoryKeys()
    {
        TestSite site(1);
        Connection& c = site.db();
        const auto keys = [&c](int above) {
            QList<int> l;
            for (const QVariantList& r : c.select(QStringLiteral("SELECT id FROM qnd_rights_history WHERE id > ? ORDER BY id"), {above}))
                l << r.value(0).toInt();
            return l;
        };
        const auto lastKey = [&c] {
            return c.select(QStringLiteral("SELECT last_key FROM qnd_key WHERE table_name = 'qnd_rights_history'")).value(0).value(0).toInt();
        };
        const int largest = c.select(QStringLiteral("SELECT COALESCE(MAX(id), 0) FROM qnd_rights_history")).value(0).value(0).toInt();
        const int taken = largest + 50;
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_key (table_name, last_key) VALUES ('qnd_rights_history', ?) "
                                         "ON CONFLICT (table_name) DO UPDATE SET last_key = excluded.last_key"),
                          {taken}));
        const int units = int(c.liveDescendants(Tables::AuthUnit, 1).size()) + 1;
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_auth_unit SET auth_7 = %1").arg(c.boolLiteral(false))));
        QString why;
        QCOMPARE(c.transactions().writeLocked([&] {
            c.setBelow(Tables::AuthUnit, 1, QStringLiteral("auth_7"), true);
            return true;
        }, &why), Transactions::LockedWrite::Done);
        QList<int> made = keys(largest);
        QCOMPARE(made.size(), units - 1); // the node itself is the tree's to write
        QCOMPARE(made.first(), taken + 1);
        QCOMPARE(made.last(), taken + int(made.size()));
        QCOMPARE(lastKey(), made.last());

        const int after = made.last();
        QCOMPARE(c.transactions().writeLocked([&] {
            c.setBelow(Tables::AuthUnit, 1, QStringLiteral("auth_7"), false);
            return true;
        }, &why), Transactions::LockedWrite::Done);
        made = keys(after);
        QCOMPARE(made.size(), units - 1);
        QCOMPARE(made.first(), after + 1);
        QCOMPARE(made.last(), after + int(made.size()));
        QCOMPARE(lastKey(), made.last());
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_auth_unit WHERE auth_7 = %1").arg(c.boolLiteral(true))).value(0).value(0).toInt(), 0);
    }

    // The rights at a past moment are a dump taken then; a revert puts that dump back, as
    // changes of its own, and a revert of one role touches that role only.
    void timeTravelAndRevert()
    {
        TestSite site(1);
        Connection& c = site.db();
        const QMap<QString, QString> before = rightsDump(c);
        const QDateTime moment = QDateTime::currentDateTime();
        QTest::qWait(1100); // the history keeps seconds
        QVERIFY(c.transactions().beginTrans());
        c.setBelow(Tables::AuthUnit, 20, QStringLiteral("auth_3"), true);
        c.setBelow(Tables::Menu, 10, QStringLiteral("auth_5"), true);
        edit(c, Tables::UserGroup, 2, QStringLiteral("auth_3"), true);
        edit(c, Tables::UserGroup, 2, QStringLiteral("right_partner"), 4);
        edit(c, Tables::User, 3, QStringLiteral("user_group_id"), 2);
        edit(c, Tables::Report, 8, QStringLiteral("auth_5"), true);
        QVERIFY(c.transactions().commitTrans());
        cDDXUserGroup fresh; // made since: not part of the past
        module().takeSite(&site);
        fresh.setValue(QStringLiteral("name"), QStringLiteral("Új csoport"));
        fresh.setValue(QStringLiteral("auth_3"), true);
        fresh.SetModified();
        QVERIFY(fresh.SetFinal() && fresh.CoreUpdate());
        QVERIFY(rightsDump(c) != before);
        QCOMPARE(rightsDumpAt(c, moment), before);

        // One role back: only auth_3 moves.
        const QList<RevertStep> role3 = revertPlan(c, moment, 3);
        QVERIFY(!role3.isEmpty());
        for (const RevertStep& s : role3) QCOMPARE(s.column, QStringLiteral("auth_3"));
        QTest::qWait(1100);
        const QDateTime reverting = QDateTime::currentDateTime();
        QString why;
        QVERIFY2(revertTo(c, role3, &why), qPrintable(why));
        QVERIFY(revertPlan(c, moment, 3).isEmpty());
        QVERIFY(!revertPlan(c, moment, 5).isEmpty());
        QCOMPARE(rightsChanges(c, reverting, QDateTime::currentDateTime().addSecs(5)).size(), role3.size());

        // Everything back: the dump of that moment, the new group aside.
        QVERIFY2(revertTo(c, revertPlan(c, moment), &why), qPrintable(why));
        QMap<QString, QString> now = rightsDump(c);
        for (auto it = now.begin(); it != now.end();)
            it = before.contains(it.key()) ? std::next(it) : now.erase(it);
        QCOMPARE(now, before);
        QVERIFY(!c.transactions().hasMasterLock());
    }
};

QTEST_MAIN(tst_rightshistory)
#include "tst_rightshistory.moc"
