#include "Connection.h"
#include "Menus.h"
#include "ModalDriver.h"
#include "Module.h"
#include "RoleTicks.h"
#include "TestSite.h"
#include "cDDXUser.h"
#include "cDDXUserGroup.h"
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

QStringList slots10()
{
    QStringList l;
    for (int i = 0; i < 10; ++i) l << QStringLiteral("auth_%1").arg(i);
    return l;
}

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

} // namespace

class tst_rightshistory : public QObject {
    Q_OBJECT

private slots:
    void init() { resetModalDriver(); }

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
            const QSet<QString> before = cells(c, QStringLiteral("qnd_menu"), slots10());
            const int from = lastHistoryId(c);
            p.nodeOf(id)->setCheckState(0, on ? Qt::Checked : Qt::Unchecked);
            const QStringList want = changes(QStringLiteral("qnd_menu"), before, cells(c, QStringLiteral("qnd_menu"), slots10()));
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
        QVERIFY(!c.hasMasterLock());
    }

    // A group's slots and visibility rules, and a user's group, each change kept.
    void groupsAndUsers()
    {
        TestSite site(1);
        Connection& c = site.db();
        module().takeSite(&site);
        const QStringList groupColumns = slots10() + QStringList{QStringLiteral("right_event"), QStringLiteral("right_project"),
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
};

QTEST_MAIN(tst_rightshistory)
#include "tst_rightshistory.moc"
