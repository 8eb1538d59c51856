#include "AuthUnits.h"
#include "Connection.h"
#include "Factory.h"
#include "ModalSuite.h"
#include "Module.h"
#include "RoleTicks.h"
#include "RuntimeError.h"
#include "TestSite.h"
#include "frmAuthUnit.h"
#include <QComboBox>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>
#include <QToolBar>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {

bool roleOf(Connection& c, int id, int slot)
{
    return c.select(QStringLiteral("SELECT auth_%1 FROM qnd_auth_unit WHERE id=?").arg(slot), {id})
               .value(0).value(0).toLongLong() != 0;
}

QTreeWidgetItem* expandTo(AuthUnits& p, std::initializer_list<int> path)
{
    QTreeWidgetItem* it = nullptr;
    for (int id : path) {
        it = p.nodeOf(id);
        if (!it) return nullptr;
        it->setExpanded(true);
    }
    return it;
}

void tick(AuthUnits& p, QTreeWidgetItem* item, bool on)
{
    Q_UNUSED(p);
    item->setCheckState(0, on ? Qt::Checked : Qt::Unchecked);
}

QStringList childTexts(QTreeWidgetItem* node)
{
    QStringList l;
    for (int i = 0; node && i < node->childCount(); ++i) l << node->child(i)->text(0);
    return l;
}

// A PostgreSQL server of the test's own, to stop and start under an open panel.
struct PrivateServer {
    QTemporaryDir dir;
    QString uri;
    bool run(const QString& command)
    {
        QProcess p;
        p.start(qEnvironmentVariable("NEXO_SCRIPTS") + QStringLiteral("/pg-cluster.sh"), {command, dir.path()});
        if (!p.waitForFinished(120000) || p.exitCode() != 0) {
            qWarning("pg-cluster.sh %s: %s", qPrintable(command), p.readAllStandardError().constData());
            return false;
        }
        if (command == QLatin1String("start")) uri = QString::fromUtf8(p.readAllStandardOutput()).trimmed();
        return true;
    }
    ~PrivateServer() { run(QStringLiteral("stop")); }
};

// A host site over a connection the test opened itself.
struct OwnSite : IAddinSite {
    Connection* c;
    explicit OwnSite(Connection* connection) : c(connection) { c->session().setUserId(1); }
    Session* session() override { return &c->session(); }
};

// Fills the new-unit form and presses Ctrl+Enter.
void fillNewUnit(const QString& name)
{
    onNextModal([name](QWidget* d) {
        auto* f = qobject_cast<frmAuthUnit*>(d);
        QVERIFY(f);
        f->txt_name->setText(name);
        f->txt_prefix->setText(QStringLiteral("szerver_proba"));
        QTest::keyClick(f, Qt::Key_Return, Qt::ControlModifier);
    });
}

} // namespace

class TstAuthUnits : public ModalSuite {
    Q_OBJECT
private slots:
    void modesShowTheirBarsAndChecks()
    {
        TestSite site;
        AuthUnits edit;
        edit.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(edit.UserControlName(), QStringLiteral("AuthUnits"));
        QVERIFY(!edit.role_bar || !edit.role_bar->isVisibleTo(&edit));
        QTreeWidgetItem* root = edit.tree_Item->topLevelItem(0);
        QCOMPARE(root->text(0), QStringLiteral("Alap jogosultságok"));
        QVERIFY(root->font(0).bold());
        QVERIFY(!root->data(0, Qt::CheckStateRole).isValid());
        QVERIFY(!edit.nodeOf(1)->data(0, Qt::CheckStateRole).isValid());
        QCOMPARE(edit.cmd_bar_class->windowTitle(), QStringLiteral("Törzsadat"));
        QCOMPARE(edit.cmd_bar_class->actions().size(), 3);

        // Role names come without ":", and a missing one falls back to its number.
        site.db().execute(QStringLiteral("DELETE FROM qnd_settings WHERE key_name='CUE_NAME_5'"));
        for (int mode : {1, -7}) {
            AuthUnits roles;
            roles.IAddin_AttachToSite(&site, mode, QString());
            QVERIFY(roles.role_bar && roles.role_bar->isVisibleTo(&roles));
            QCOMPARE(roles.cbo_role->count(), 9);
            QCOMPARE(roles.cbo_role->itemText(0), QStringLiteral("Adminisztrátor"));
            QCOMPARE(roles.cbo_role->itemText(4), QStringLiteral("Szerepkör 5"));
            QCOMPARE(roles.cbo_role->itemData(8).toInt(), 9);
            QTreeWidgetItem* r = roles.tree_Item->topLevelItem(0);
            QVERIFY(r->font(0).bold());
            QCOMPARE(r->checkState(0), Qt::Checked);
            QCOMPARE(roles.nodeOf(1)->checkState(0), Qt::Checked); // slot 1 holds "Alapadatok"
        }
    }

    void deletedUnitsAndTheirChildrenNeverAppear()
    {
        TestSite site;
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 1, QString());
        QVERIFY(p.nodeOf(1) && p.nodeOf(20));
        QVERIFY(!p.nodeOf(40));
        // Everything else is there once expanded, and nothing below the deleted unit.
        QList<QTreeWidgetItem*> stack{p.tree_Item->topLevelItem(0)};
        int seen = 0;
        while (!stack.isEmpty()) {
            QTreeWidgetItem* it = stack.takeLast();
            it->setExpanded(true);
            ++seen;
            for (int i = 0; i < it->childCount(); ++i) stack << it->child(i);
        }
        // The root and every live unit but the one under the deleted unit 40.
        QCOMPARE(seen, 1 + site.db().select(QStringLiteral("SELECT COUNT(*) FROM qnd_auth_unit WHERE del_status = 0 AND parent_id <> 40"))
                               .value(0).value(0).toInt());
        QVERIFY(!p.nodeOf(41));
        // Siblings come in name order.
        QTreeWidgetItem* users = p.nodeOf(6);
        QCOMPARE(users->child(0)->text(0), QStringLiteral("Felhasználó módosítása"));
        // A click on a node with children toggles it.
        QTreeWidgetItem* list = p.nodeOf(25);
        list->setExpanded(false);
        emit p.tree_Item->itemClicked(list, 0);
        QVERIFY(list->isExpanded());
        emit p.tree_Item->itemClicked(list, 0);
        QVERIFY(!list->isExpanded());
    }

    void tickingALeafGrantsTheGreyChainAbove()
    {
        TestSite site;
        Connection& c = site.db();
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 1, QString());
        p.selectRole(3);
        QCOMPARE(p.currentSlot(), 3);
        QTreeWidgetItem* leaf = expandTo(p, {1, 6, 7});
        QVERIFY(RoleTicks::isGrey(p.nodeOf(1)) && RoleTicks::isGrey(p.nodeOf(6)));
        const QString before = c.select(QStringLiteral("SELECT last_action_date1 FROM qnd_auth_unit WHERE id=7")).value(0).value(0).toString();

        tick(p, leaf, true);
        for (int id : {7, 6, 1}) {
            QVERIFY2(roleOf(c, id, 3), qPrintable(QString::number(id)));
            QCOMPARE(p.nodeOf(id)->checkState(0), Qt::Checked);
            QVERIFY(!RoleTicks::isGrey(p.nodeOf(id)));
        }
        // Siblings, the rest of the tree and other slots stay as they were.
        for (int id : {8, 9, 10, 2, 20}) QVERIFY(!roleOf(c, id, 3));
        QVERIFY(!roleOf(c, 7, 4));
        QCOMPARE(p.nodeOf(8)->checkState(0), Qt::Unchecked);
        // Role ticks bypass the record: no audit columns, no lock left behind.
        QCOMPARE(c.select(QStringLiteral("SELECT last_action_date1 FROM qnd_auth_unit WHERE id=7")).value(0).value(0).toString(), before);
        QVERIFY(!c.transactions().hasMasterLock());
        QCOMPARE(module().errors().Count(), 0);
    }

    void untickingAFirstLevelUnitRevokesItsSubtreeOnly()
    {
        TestSite site;
        Connection& c = site.db();
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 1, QString());
        expandTo(p, {20, 21}); // 25's subtree stays unloaded: its rows must change all the same
        tick(p, p.nodeOf(20), false);
        for (int id = 20; id <= 30; ++id) QVERIFY2(!roleOf(c, id, 1), qPrintable(QString::number(id)));
        for (int id : {20, 21, 22}) {
            QCOMPARE(p.nodeOf(id)->checkState(0), Qt::Unchecked);
            QVERIFY(RoleTicks::isGrey(p.nodeOf(id)));
        }
        for (int id : {1, 2, 6, 7}) QVERIFY(roleOf(c, id, 1));
        QCOMPARE(p.nodeOf(1)->checkState(0), Qt::Checked);

        // Loaded later, the revoked part shows unticked; ticking its head again grants the
        // subtree back (inherited: ticked but grey below the head).
        p.nodeOf(25)->setExpanded(true);
        QCOMPARE(p.nodeOf(26)->checkState(0), Qt::Unchecked);
        tick(p, p.nodeOf(21), true);
        QVERIFY(roleOf(c, 21, 1) && roleOf(c, 22, 1) && roleOf(c, 20, 1));
        QVERIFY(RoleTicks::isGrey(p.nodeOf(22)));
        QCOMPARE(p.nodeOf(22)->checkState(0), Qt::Checked);
        QVERIFY(!RoleTicks::isGrey(p.nodeOf(20)));
        QVERIFY(!roleOf(c, 26, 1));
    }

    void aTickUnderSomeoneElsesLockAsksAndWritesNothingOnNo()
    {
        TestSite site;
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 1, QString());
        QString err;
        auto other = Connection::openDatabase(site.target(), Connection::DemoData::None, &err);
        QVERIFY(other && other->transactions().lockMaster());
        onNextModal([](QWidget* d) {
            QVERIFY(dialogText(d).contains(QStringLiteral("Megpróbáljam újból?")));
            clickButton(d, QStringLiteral("Nem"));
        });
        tick(p, p.nodeOf(20), false);
        other->transactions().unlockMaster();
        QVERIFY(roleOf(site.db(), 20, 1) && roleOf(site.db(), 21, 1));
        QVERIFY(!site.db().transactions().hasMasterLock());
        // Free again, the next tick goes through without a question.
        tick(p, p.nodeOf(1), false);
        QVERIFY(!roleOf(site.db(), 1, 1));
    }

    void newEditAndDeleteGoThroughRecordAndDialog()
    {
        TestSite site;
        Connection& c = site.db();
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 0, QString());

        // New on the root: a first-level unit.
        p.tree_Item->setCurrentItem(p.tree_Item->topLevelItem(0));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmAuthUnit*>(d);
            QVERIFY(f);
            QCOMPARE(f->txt_parent_name->text(), QString());
            f->txt_name->setText(QStringLiteral("  Raktár  "));
            f->txt_prefix->setText(QStringLiteral("stock"));
            QTest::keyClick(f, Qt::Key_Return, Qt::ControlModifier);
        });
        p.NewItem();
        const int id = p.SelectedId();
        QVERIFY(id > 30);
        auto row = c.select(QStringLiteral("SELECT parent_id, name, prefix, auth_0, create_user FROM qnd_auth_unit WHERE id=?"), {id});
        QCOMPARE(row.value(0).value(0).toInt(), 0);
        QCOMPARE(row.value(0).value(1).toString(), QStringLiteral("Raktár"));
        QVERIFY(row.value(0).value(3).toBool());
        QCOMPARE(row.value(0).value(4).toInt(), 1);
        QCOMPARE(p.tree_Item->currentItem()->text(0), QStringLiteral("Raktár"));
        QCOMPARE(p.tree_Item->currentItem()->parent(), p.tree_Item->topLevelItem(0));

        // A child starts with its parent's name shown and its parent's prefix.
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmAuthUnit*>(d);
            QCOMPARE(f->txt_parent_name->text(), QStringLiteral("Raktár"));
            QCOMPARE(f->txt_prefix->text(), QStringLiteral("stock"));
            f->txt_name->setText(QStringLiteral("Bevételezés"));
            f->txt_prefix->setText(f->txt_prefix->text() + QStringLiteral("_in"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        p.NewItem();
        const int child = p.SelectedId();
        QCOMPARE(c.select(QStringLiteral("SELECT parent_id, prefix FROM qnd_auth_unit WHERE id=?"), {child}).value(0),
                 (QVariantList{id, QStringLiteral("stock_in")}));

        // A cancelled dialog and a declined delete change nothing.
        const auto snapshot = c.select(QStringLiteral("SELECT * FROM qnd_auth_unit ORDER BY id"));
        onNextModal([](QWidget* d) {
            qobject_cast<frmAuthUnit*>(d)->txt_name->setText(QStringLiteral("Más"));
            QTest::keyClick(d, Qt::Key_Escape);
        });
        p.ModifyItem();
        QCOMPARE(p.nodeOf(child)->text(0), QStringLiteral("Bevételezés"));
        answerNextModal(QStringLiteral("Nem"));
        p.DeleteItem();
        QVERIFY(p.nodeOf(child));
        QCOMPARE(c.select(QStringLiteral("SELECT * FROM qnd_auth_unit ORDER BY id")), snapshot);

        // An empty name is refused in the dialog, which stays open until cancelled.
        onNextModal([](QWidget* d) {
            qobject_cast<frmAuthUnit*>(d)->txt_name->setText(QStringLiteral("   "));
            onNextModal([](QWidget* list) {
                auto* grid = list->findChild<QTableWidget*>(QStringLiteral("grd_error"));
                QVERIFY(grid && grid->rowCount() == 1);
                QCOMPARE(grid->item(0, 0)->text(), QStringLiteral("A név megadása kötelező!"));
                clickButton(list, QStringLiteral("cmdCancel"));
            });
            onNextModal([](QWidget* again) { clickButton(again, QStringLiteral("cmd_cancel")); });
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        p.ModifyItem();
        QCOMPARE(c.select(QStringLiteral("SELECT * FROM qnd_auth_unit ORDER BY id")), snapshot);

        // Modify renames the node; delete marks the row and drops the node.
        p.tree_Item->setCurrentItem(p.nodeOf(child));
        onNextModal([](QWidget* d) {
            qobject_cast<frmAuthUnit*>(d)->txt_name->setText(QStringLiteral("Bevét"));
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        p.ModifyItem();
        QCOMPARE(p.nodeOf(child)->text(0), QStringLiteral("Bevét"));
        p.tree_Item->setCurrentItem(p.nodeOf(id));
        answerNextModal(QStringLiteral("Igen"));
        p.DeleteItem();
        QVERIFY(!p.nodeOf(id) && !p.nodeOf(child));
        QCOMPARE(c.select(QStringLiteral("SELECT del_status FROM qnd_auth_unit WHERE id=?"), {id}).value(0).value(0).toInt(), 2);

        // With nothing selected the commands do nothing; on the root modify and delete do nothing.
        p.tree_Item->setCurrentItem(nullptr);
        p.NewItem();
        p.tree_Item->setCurrentItem(p.tree_Item->topLevelItem(0));
        p.ModifyItem();
        p.DeleteItem();
        QCOMPARE(pendingModalActions(), 0);
    }

    void failuresGoToTheErrorHandlerAndRightsAreAsked()
    {
        // A site without a connection: the attach reports under the panel's ProgID and the
        // procedure, and leaving ends the attach with the panel usable.
        struct NoDb : IAddinSite {
            Session* session() override { return nullptr; }
        } broken;
        onNextModal([](QWidget* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("Hibakezelő"));
            QVERIFY(dialogText(d).contains(QStringLiteral("Váratlan hiba történt.")));
            QCOMPARE(d->findChild<QLabel*>(QStringLiteral("lblSource"))->text(),
                     QStringLiteral("NexoFrame.AuthUnits IAddin_AttachToSite"));
            clickButton(d, QStringLiteral("Kilépés"));
        });
        AuthUnits p;
        p.IAddin_AttachToSite(&broken, 0, QString());
        QVERIFY(!p.attaching() && p.isEnabled());

        // The rights test of the frame: a refusal shows the rights-denied text.
        struct Probe : AuthUnits {
            using AuthUnits::testRight;
        };
        TestSite site(3); // nagy.peter: sales only
        Probe probe;
        probe.IAddin_AttachToSite(&site, 0, QString());
        QVERIFY(probe.testRight(QStringLiteral("vtk_controlling_list_wizard_print")));
        onNextModal([](QWidget* d) {
            QVERIFY(dialogText(d).contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")));
            clickButton(d, QStringLiteral("OK"));
        });
        QVERIFY(!probe.testRight(QStringLiteral("mainframe_base_user_new")));
    }

    void siblingsInHungarianOrder()
    {
        TestSite site;
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix) VALUES (600, 0, 'Próba', 'proba')")));
        int id = 601;
        for (const char* n : {"Zsófia", "Ödön", "Zoltán", "Ábel", "Olga", "Attila"})
            QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix) VALUES (?, 600, ?, 'proba')"),
                              {id++, QString::fromUtf8(n)}));
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(childTexts(p.tree_Item->topLevelItem(0)),
                 (QStringList{"Alapadatok", "Kontrolling", "Próba"}));
        QTreeWidgetItem* proba = expandTo(p, {600});
        QCOMPARE(childTexts(proba), (QStringList{"Ábel", "Attila", "Olga", "Ödön", "Zoltán", "Zsófia"}));
    }

    void aServerThatGoesAwayIsAMessageThenTheNextSaveGoesThrough()
    {
        if (!testingPostgres()) QSKIP("a file does not go away as a server does");
        PrivateServer server;
        QVERIFY(server.run(QStringLiteral("start")));
        QString err;
        auto c = Connection::openDatabase(server.uri, Connection::DemoData::IfEmpty, &err);
        QVERIFY2(c, qPrintable(err));
        OwnSite site(c.get());
        AuthUnits p;
        p.IAddin_AttachToSite(&site, 0, QString());
        p.tree_Item->setCurrentItem(p.tree_Item->topLevelItem(0));

        // The server stops under the open panel: the form, opening, cannot show the parent's
        // name, and the save cannot write; both say why, and nothing is written.
        QVERIFY(server.run(QStringLiteral("stop")));
        QStringList said;
        auto note = [&](QWidget* d) {
            QString text = dialogText(d);
            // The error list shows its faults in a grid.
            for (auto* grid : d->findChildren<QTableWidget*>())
                for (int r = 0; r < grid->rowCount(); ++r)
                    for (int col = 0; col < grid->columnCount(); ++col)
                        if (grid->item(r, col)) text += QLatin1Char('\n') + grid->item(r, col)->text();
            said << text;
            clickButton(d, findButton(d, QStringLiteral("OK")) ? QStringLiteral("OK") : QStringLiteral("Mégsem"));
        };
        onNextModal(note);
        fillNewUnit(QStringLiteral("Leállás alatt"));
        onNextModal(note);
        onNextModal([](QWidget* d) { QTest::keyClick(d, Qt::Key_Escape); });
        p.NewItem();
        QCOMPARE(said.size(), 2);
        for (const QString& text : said) QVERIFY2(text.contains(QStringLiteral("nem érhető el")), qPrintable(text));
        QVERIFY(!c->transactions().hasMasterLock());

        // Back again: the next save goes through on a new link.
        QVERIFY(server.run(QStringLiteral("restart")));
        fillNewUnit(QStringLiteral("Újraindulás után"));
        p.NewItem();
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_auth_unit WHERE name=?"), {QStringLiteral("Újraindulás után")})
                     .first().first().toInt(), 1);
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_auth_unit WHERE name=?"), {QStringLiteral("Leállás alatt")})
                     .first().first().toInt(), 0);
        QCOMPARE(p.tree_Item->currentItem()->text(0), QStringLiteral("Újraindulás után"));

        // Lost in the middle of a write: nothing half-written stays, and the lock is gone
        // with the session.
        QVERIFY(c->transactions().lockMaster());
        QVERIFY(c->transactions().beginTrans());
        QVERIFY(c->execute(QStringLiteral("UPDATE qnd_auth_unit SET name='Félbemaradt' WHERE id=1")));
        QVERIFY(server.run(QStringLiteral("stop")));
        QVERIFY(server.run(QStringLiteral("restart")));
        // The failure shows at the savepoint's release or at the commit, whichever meets the
        // dead link first.
        bool committed = true;
        try {
            committed = c->transactions().commitTrans();
        } catch (const DbError&) {
            committed = false;
        }
        committed = c->transactions().unlockMaster() && committed;
        QVERIFY(!committed);
        QVERIFY(!c->transactions().hasMasterLock() && !c->transactions().inTransaction());
        QCOMPARE(c->select(QStringLiteral("SELECT name FROM qnd_auth_unit WHERE id=1")).first().first().toString(),
                 QStringLiteral("Alapadatok"));
        QVERIFY(c->transactions().lockMaster());
        QVERIFY(c->transactions().unlockMaster());
    }

    void hostContract()
    {
        TestSite site;
        std::unique_ptr<QObject> obj(Factory::create(QStringLiteral("NexoFrame.AuthUnits")));
        auto* p = qobject_cast<AuthUnits*>(obj.get());
        QVERIFY(p);
        IAddin* addin = qobject_cast<IAddin*>(obj.get());
        QVERIFY(addin);
        addin->IAddin_AttachToSite(&site, 0, QStringLiteral("x"));
        QCOMPARE(module().connection(), &site.db());
        QCOMPARE(module().currentUserName(), QStringLiteral("admin"));
        QCOMPARE(p->Site(), &site);

        onNextModal([](QWidget* d) {
            QVERIFY(dialogText(d).contains(QStringLiteral("Király")));
            QCOMPARE(d->windowTitle(), QString());
            clickButton(d, QStringLiteral("OK"));
        });
        addin->IAddin_OnVerb(1000);
        try {
            addin->IAddin_OnVerb(1);
            QFAIL("verb 1 must fail");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), kTypeMismatch);
        }
        addin->IAddin_RemoveFromSite();
        QCOMPARE(p->Site(), nullptr);
    }
};

QTEST_MAIN(TstAuthUnits)
#include "tst_authunits.moc"
