#include "Access.h"
#include "BrowseView.h"
#include "Connection.h"
#include "Secrets.h"
#include "LoginGuard.h"
#include "ModalSuite.h"
#include "RecordTesting.h"
#include "Module.h"
#include "QuickPick.h"
#include "Snapshots.h"
#include "TestSite.h"
#include "TwoStepTesting.h"
#include "Users.h"
#include "DriverRecords.h"
#include "cDDXUser.h"
#include "cDDXUserGroup.h"
#include "frmUser.h"
#include "frmUserGroup.h"
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QLineEdit>
#include <QMenu>
#include <QSplitter>
#include <QTableView>
#include <QTableWidget>
#include <QTest>
#include <QToolBar>

using namespace NexoFrame;

namespace {


// The live reminders of a user: type, date, reminder date and time, as stored.
QList<QVariantList> reminders(Connection& c, int user)
{
    return c.select(QStringLiteral("SELECT event_type_id, event_date, reminder_date, reminder_time, subject FROM crm_event "
                                   "WHERE dedicate_user_id=? AND del_status=0 ORDER BY event_type_id"),
                    {user});
}

// A driver saved through the record, with both documents unless told otherwise.
std::unique_ptr<cDDXUser> saveDriver(const QString& login, const QString& licence = QStringLiteral("AB123456"))
{
    auto u = std::make_unique<cDDXUser>();
    u->set_user_group_id(3);
    u->set_user_name(login);
    u->set_display_name(QStringLiteral("Sofőr ") + login);
    u->set_is_driver(true);
    u->set_identity_card_number(QStringLiteral("123456AB"));
    u->set_identity_card_expiration(QDateTime(QDate(2027, 3, 10), QTime(0, 0)));
    u->set_drivers_license_number(licence);
    u->set_drivers_license_expiration(QDateTime(QDate(2028, 1, 2), QTime(0, 0)));
    if (!u->SetFinal() || !u->CoreUpdate()) qWarning() << errorTexts();
    return u;
}

QStringList actionTexts(const QWidget* w)
{
    QStringList l;
    for (QAction* a : w->actions()) l << a->text();
    return l;
}

// A user's password as the form shows it.
QString shownPassword(Connection& c, int id)
{
    return Secrets::ciphered(c.select(QStringLiteral("SELECT password FROM qnd_user WHERE id=?"), {id}).value(0).value(0).toString(),
                                frmUser::kKey1, frmUser::kKey2);
}

// Types into both password boxes of the form; the error list that OK then brings up is read
// into `listed` and closed.
void typePassword(QWidget* form, const QString& password, const QString& confirmation, QList<QStringList>* listed = nullptr)
{
    auto* f = qobject_cast<frmUser*>(form);
    f->txt_password->setText(password);
    f->txt_password_2->setText(confirmation);
    if (listed)
        onNextModal([listed](QWidget* list) {
            *listed << listedErrors(list);
            clickButton(list, QStringLiteral("cmdCancel"));
        });
}

const QDateTime kMonday(QDate(2026, 3, 2), QTime(14, 20));

// Failed logins of `name` at kMonday; three lock it (LoginMaxFailures is set to 3).
void fail(Connection& c, const QString& name, int count)
{
    QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("LoginMaxFailures"), QStringLiteral("3")));
    LoginGuard guard(c, [] { return kMonday; });
    for (int i = 0; i < count; ++i) guard.recordFailure(name, QStringLiteral("pc-12"));
}

} // namespace

class TstUsers : public ModalSuite {
    Q_OBJECT
private slots:
    void groupChecksAndDefaults()
    {
        ModuleSite site;
        cDDXUserGroup fresh;
        for (int i = 0; i < RoleSet::kSlots; ++i) QVERIFY(fresh.value(RoleSet::column(i)).toBool());
        QCOMPARE(fresh.right_event(), -1);
        QCOMPARE(fresh.right_partner(), -1);
        fresh.set_name(QStringLiteral("   "));
        QVERIFY(!fresh.Validate(eDontCheckWarning));
        QCOMPARE(errorTexts(), QStringList{"A megnevezés megadása kötelező!"});
        module().errors().Clear();

        cDDXUserGroup g;
        QVERIFY(g.CoreLoad(2));
        g.SetModified();
        QVERIFY(g.Validate(eDontCheckWarning)); // its own name
        const QString other = site.db().select(QStringLiteral("SELECT name FROM qnd_user_group WHERE id=3")).value(0).value(0).toString();
        g.set_name(other);
        QVERIFY(!g.Validate(eDontCheckWarning));
        QCOMPARE(errorTexts(), QStringList{"A megnevezésnek egyedinek kell lennie!"});
        module().errors().Clear();
        g.setItemStatus(isDeleted);
        g.set_name(QString());
        QVERIFY(g.Validate(eDontCheckWarning));
    }

    void userChecksAndCuts()
    {
        ModuleSite site;
        Connection& c = site.db();
        cDDXUser u;
        u.set_user_group_id(999);
        u.set_user_name(QStringLiteral("admin"));
        QVERIFY(!u.Validate(eDontCheckWarning));
        QCOMPARE(errorTexts(), (QStringList{"A felhasználó csoport megadása kötelező!", "A teljes név megadása kötelező!",
                                           "A felhasználó névnek egyedinek kell lennie!"}));
        module().errors().Clear();

        // Through the form: the names are cut to their columns, the password is stored only
        // through the cipher, and a case-only difference of the two boxes is refused.
        cDDXUser created;
        created.set_user_group_id(2);
        QStringList listed;
        onNextModal([&](QWidget* d) {
            auto* f = qobject_cast<frmUser*>(d);
            QVERIFY(f);
            QCOMPARE(f->cbo_user_group_id->currentData().toInt(), 2);
            f->txt_user_name->setText(QString(120, QLatin1Char('u')));
            f->txt_display_name->setText(QStringLiteral("Hosszú Nevű"));
            f->txt_abbreviation->setText(QStringLiteral("HNEVU-123456"));
            f->txt_password->setText(QStringLiteral("Titok"));
            f->txt_password_2->setText(QStringLiteral("titok"));
            onNextModal([&](QWidget* list) {
                listed = listedErrors(list);
                clickButton(list, QStringLiteral("cmdCancel"));
            });
            onNextModal([](QWidget* again) {
                qobject_cast<frmUser*>(again)->txt_password_2->setText(QStringLiteral("Titok"));
                clickButton(again, QStringLiteral("cmd_ok"));
            });
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(created.ShowForm(), rvOK);
        QCOMPARE(listed, QStringList{"Az új jelszó és a megerősítése nem azonos!"});
        const QVariantList row = c.select(QStringLiteral("SELECT user_name, abbreviation, password FROM qnd_user WHERE id=?"),
                                          {created.id()}).value(0);
        QCOMPARE(row.value(0).toString(), QString(100, QLatin1Char('u')));
        QCOMPARE(row.value(1).toString(), QStringLiteral("HNEVU-1234"));
        QVERIFY(row.value(2).toString() != QStringLiteral("Titok"));
        QCOMPARE(Secrets::ciphered(row.value(2).toString(), frmUser::kKey1, frmUser::kKey2), QStringLiteral("Titok"));
    }

    void passwordWithoutTheRight()
    {
        ModuleSite site(3); // nagy.peter: no right to change passwords
        Connection& c = site.db();
        const QString before = c.select(QStringLiteral("SELECT password FROM qnd_user WHERE id=3")).value(0).value(0).toString();
        cDDXUser u;
        QVERIFY(u.CoreLoad(3));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUser*>(d);
            QVERIFY(!f->txt_password->isEnabled() && !f->txt_password_2->isEnabled());
            QCOMPARE(f->txt_password->text(), QStringLiteral("peter123"));
            f->txt_assignment->setText(QStringLiteral("Értékesítő"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(u.ShowForm(), rvOK);
        QCOMPARE(c.select(QStringLiteral("SELECT password, assignment FROM qnd_user WHERE id=3")).value(0),
                 (QVariantList{before, "Értékesítő"}));
    }

    void minimumPasswordLength()
    {
        ModuleSite site;
        Connection& c = site.db();
        // Off unless set: one letter is taken.
        cDDXUser admin;
        QVERIFY(admin.CoreLoad(1));
        onNextModal([](QWidget* f) {
            typePassword(f, QStringLiteral("x"), QStringLiteral("x"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(admin.ShowForm(), rvOK);
        QCOMPARE(shownPassword(c, 1), QStringLiteral("x"));

        // Set to 8: seven letters are refused, listed beside the mismatch; eight are taken.
        QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("MinPasswordLength"), QStringLiteral("8")));
        QList<QStringList> listed;
        QVERIFY(admin.CoreLoad(1));
        onNextModal([&](QWidget* f) {
            typePassword(f, QStringLiteral("hétbetű"), QStringLiteral("Hétbetű"), &listed);
            onNextModal([](QWidget* again) {
                typePassword(again, QStringLiteral("jelszó12"), QStringLiteral("jelszó12"));
                clickButton(again, QStringLiteral("cmd_ok"));
            });
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(admin.ShowForm(), rvOK);
        QCOMPARE(listed, (QList<QStringList>{{QStringLiteral("Az új jelszó és a megerősítése nem azonos!"),
                                              QStringLiteral("A jelszónak legalább 8 karakter hosszúnak kell lennie!")}}));
        QCOMPARE(shownPassword(c, 1), QStringLiteral("jelszó12"));

        // An old short password saved again unchanged, here by someone who may not change
        // passwords (the boxes are shut), is kept.
        ModuleSite peterSite(3);
        QVERIFY(peterSite.db().settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("MinPasswordLength"), QStringLiteral("12")));
        cDDXUser peter;
        QVERIFY(peter.CoreLoad(3));
        onNextModal([](QWidget* d) {
            QVERIFY(!qobject_cast<frmUser*>(d)->txt_password->isEnabled());
            clickButton(d, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(peter.ShowForm(), rvOK);
        QCOMPARE(shownPassword(peterSite.db(), 3), QStringLiteral("peter123"));
    }

    void panelMarksAndUnlocksALockedUser()
    {
        TestSite site, peterSite(3);
        Connection& c = site.db();
        fail(c, QStringLiteral("kiss.bela"), 3);
        fail(c, QStringLiteral("varga.zoltan"), 1);
        fail(peterSite.db(), QStringLiteral("kiss.bela"), 3);
        Users p, q;
        p.IAddin_AttachToSite(&site, 0, QString());
        q.IAddin_AttachToSite(&peterSite, 0, QString());
        for (Users* panel : {&p, &q}) {
            panel->loginGuard()->setClock([] { return kMonday; });
            QVERIFY(panel->brw_item->selectId(5) && panel->brw_item_1->selectId(7)); // varga.zoltan: not locked
            QCOMPARE(panel->lockText(panel->brw_item_1->table()->currentIndex().row()), QString());
            QCoreApplication::processEvents(); // the commands follow the list once it is shown
            QVERIFY(!panel->cmd_unlock->isEnabled() && !panel->mnu_unlock->isEnabled());
        }
        p.splitter->setSizes({300, 1000});
        keepPicture(&p, QStringLiteral("users_locked"), {1300, 420});
        for (Users* panel : {&p, &q}) {
            QVERIFY(panel->brw_item_1->selectId(6)); // kiss.bela
            QCOMPARE(panel->lockText(panel->brw_item_1->table()->currentIndex().row()), QStringLiteral("Zárolva 14:35-ig"));
            QTRY_VERIFY(panel->cmd_unlock->isEnabled() && panel->mnu_unlock->isEnabled());
        }
        auto open = [](Connection& db, const char* name) {
            return db.select(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE user_name=? AND cleared_at IS NULL"),
                             {QString::fromLatin1(name)}).value(0).value(0).toInt();
        };
        // Without the right to modify users the command is refused with the frame's message.
        onNextModal([](QWidget* d) {
            QVERIFY(dialogText(d).contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")));
            clickButton(d, QStringLiteral("OK"));
        });
        q.cmd_unlock->trigger();
        QCOMPARE(open(peterSite.db(), "kiss.bela"), 3);
        // The administrator's unlock forgives that name's failures only; the row stays selected.
        module().takeSite(&site);
        p.cmd_unlock->trigger();
        QCOMPARE(open(c, "kiss.bela"), 0);
        QCOMPARE(open(c, "varga.zoltan"), 1);
        QCOMPARE(p.brw_item_1->selectedId(), 6);
        QCOMPARE(p.lockText(p.brw_item_1->table()->currentIndex().row()), QString());
        QCoreApplication::processEvents(); // the commands follow the list once it is shown
        QVERIFY(!p.cmd_unlock->isEnabled());
    }

    // An enrolled user is marked from one read of the list; removing his second step takes the
    // right to modify users and a question naming him, also when the users come from a directory.
    void panelMarksAndRemovesTwoStep()
    {
        TestSite site, peterSite(3);
        Connection& c = site.db();
        for (Connection* db : {&c, &peterSite.db()}) {
            QVERIFY(enrolWithOathtool(*db, 6)); // kiss.bela
            QVERIFY(db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("CentralUserManagement"), QStringLiteral("1")));
        }
        Users p, q;
        p.IAddin_AttachToSite(&site, 0, QString());
        q.IAddin_AttachToSite(&peterSite, 0, QString());
        const auto row = [](Users& panel) { return panel.brw_item_1->table()->currentIndex().row(); };
        for (Users* panel : {&p, &q}) {
            QVERIFY(panel->brw_item->selectId(5) && panel->brw_item_1->selectId(7)); // varga.zoltan: none
            QCOMPARE(panel->twoStepText(row(*panel)), QString());
            QCoreApplication::processEvents(); // the commands follow the list once it is shown
            QVERIFY(!panel->cmd_two_step->isEnabled() && !panel->mnu_two_step->isEnabled());
            QVERIFY(panel->brw_item_1->selectId(6));
            QCOMPARE(panel->twoStepText(row(*panel)), QStringLiteral("be"));
            QTRY_VERIFY(panel->cmd_two_step->isEnabled() && panel->mnu_two_step->isEnabled());
        }
        // The column the mark is painted in.
        QAbstractItemModel* list = p.brw_item_1->table()->model();
        const int column = 6;
        QCOMPARE(list->headerData(column, Qt::Horizontal).toString(), QStringLiteral("Kétlépcsős"));
        QVERIFY(p.brw_item_1->table()->itemDelegateForColumn(column));
        p.splitter->setSizes({300, 1100});
        keepPicture(&p, QStringLiteral("users_two_step"), {1400, 420});

        onNextModal([](QWidget* d) {
            QVERIFY(dialogText(d).contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")));
            clickButton(d, QStringLiteral("OK"));
        });
        q.cmd_two_step->trigger();
        QVERIFY(TwoStep::enrolled(peterSite.db(), 6));

        module().takeSite(&site);
        QString asked;
        onNextModal([&](QWidget* d) {
            asked = dialogText(d);
            clickButton(d, QStringLiteral("Nem"));
        });
        p.cmd_two_step->trigger();
        QVERIFY(asked.contains(QStringLiteral("Törli Kiss Béla (kiss.bela) kétlépcsős azonosítását?")));
        QVERIFY(asked.contains(QStringLiteral("a következő bejelentkezésekor újra be kell állítania")));
        QVERIFY(TwoStep::enrolled(c, 6));
        answerNextModal(QStringLiteral("Igen"));
        p.mnu_two_step->trigger();
        QVERIFY(!TwoStep::enrolled(c, 6));
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_recovery_code WHERE user_id=6")).value(0).value(0).toInt(), 0);
        QCOMPARE(twoStepHistoryRows(c, 6, "0"), 1);
        QCOMPARE(p.brw_item_1->selectedId(), 6);
        QCOMPARE(p.twoStepText(row(p)), QString());
        QCoreApplication::processEvents(); // the commands follow the list once it is shown
        QVERIFY(!p.cmd_two_step->isEnabled());
    }

    // Under central management a directory user leaves through the directory, whose sync bars
    // him: no way of deleting takes him, and the panel's command is off on his row. A local
    // user is deleted as before, and so is a directory user when management is local.
    void directoryUserIsNotDeleted()
    {
        TestSite site;
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_user SET directory_dn = 'uid=kiss.bela,ou=people,dc=ceg,dc=hu' WHERE id = 6")));
        QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("CentralUserManagement"), QStringLiteral("1")));
        const QString refusal = QStringLiteral("A(z) „kiss.bela” felhasználó a címtárból jön: nem törölhető, csak a címtárból "
                                               "távolítható el; a következő szinkronizálás letiltja.");
        const auto deleted = [&c](int id) {
            return c.select(QStringLiteral("SELECT del_status FROM qnd_user WHERE id=?"), {id}).value(0).value(0).toInt() != 0;
        };
        Users p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QVERIFY(p.brw_item->selectId(5) && p.brw_item_1->selectId(6));
        QCoreApplication::processEvents(); // the commands follow the list once it is shown
        QVERIFY(!p.cmd_delete_user->isEnabled() && !p.mnu_delete_user->isEnabled());
        // Run anyway, the command refuses before its question.
        QString said;
        onNextModal([&](QWidget* d) {
            said = dialogText(d);
            clickButton(d, QStringLiteral("OK"));
        });
        p.DeleteUser();
        QVERIFY2(said.contains(refusal), qPrintable(said));
        QVERIFY(!deleted(6));

        module().takeSite(&site);
        cDDXUser u;
        QVERIFY(u.CoreLoad(6));
        QVERIFY(!u.Delete());
        QCOMPARE(errorTexts(), QStringList{refusal});
        module().errors().Clear();

        QVERIFY(p.brw_item_1->selectId(7)); // varga.zoltan, a local user
        QCoreApplication::processEvents();
        QVERIFY(p.cmd_delete_user->isEnabled() && p.mnu_delete_user->isEnabled());
        answerNextModal(QStringLiteral("Igen"));
        p.DeleteUser();
        QVERIFY(deleted(7));

        QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("CentralUserManagement"), QStringLiteral("0")));
        QVERIFY(u.CoreLoad(6) && u.Delete() && u.CoreUpdate());
        QVERIFY(deleted(6));
    }

    void remindersFollowTheDriver()
    {
        ModuleSite site;
        Connection& c = site.db();
        QVERIFY(c.settings().write(QStringLiteral("KMN"), QStringLiteral("Nap"), QStringLiteral("5")));
        auto u = saveDriver(QStringLiteral("sofor1"));
        auto r = reminders(c, u->id());
        QCOMPARE(r.size(), 2);
        QCOMPARE(r[0].value(0).toInt(), 58);
        QCOMPARE(r[0].value(4).toString(), QStringLiteral("Személyi igazolvány lejár"));
        QCOMPARE(r[0].value(1).toDateTime().date(), QDate(2027, 3, 10));
        QCOMPARE(r[0].value(2).toDateTime().date(), QDate(2027, 3, 5));
        QCOMPARE(r[0].value(3).toDateTime().time(), QTime(8, 0));
        QCOMPARE(r[1].value(4).toString(), QStringLiteral("Jogosítvány lejár"));

        // A new date moves the reminder; no second row.
        QVERIFY(u->CoreLoad(u->id()));
        u->set_drivers_license_expiration(QDateTime(QDate(2029, 6, 1), QTime(0, 0)));
        u->SetModified();
        QVERIFY(u->SetFinal() && u->CoreUpdate());
        r = reminders(c, u->id());
        QCOMPARE(r.size(), 2);
        QCOMPARE(r[1].value(1).toDateTime().date(), QDate(2029, 6, 1));
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM crm_event WHERE dedicate_user_id=?"), {u->id()}).value(0).value(0).toInt(), 2);

        // No longer a driver: both go; a driver again: back where a number is entered.
        u->set_is_driver(false);
        u->SetModified();
        QVERIFY(u->CoreUpdate());
        QVERIFY(reminders(c, u->id()).isEmpty());
        u->set_is_driver(true);
        u->set_drivers_license_number(QString());
        QVERIFY(u->CoreUpdate());
        r = reminders(c, u->id());
        QCOMPARE(r.size(), 1);
        QCOMPARE(r[0].value(0).toInt(), 58);

        // Deleting the user deletes his reminders, whatever their state.
        QVERIFY(u->Delete() && u->CoreUpdate());
        QVERIFY(reminders(c, u->id()).isEmpty());

        // Without the setting the lead time is 3 days; without a licence number only 58.
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_settings WHERE section='KMN'")));
        c.idle(); // settings are read afresh after the program's next idle
        auto v = saveDriver(QStringLiteral("sofor2"), QStringLiteral("  "));
        r = reminders(c, v->id());
        QCOMPARE(r.size(), 1);
        QCOMPARE(r[0].value(2).toDateTime().date(), QDate(2027, 3, 7));
    }

    // New records of one table written together: keyed in their order, stamped, each knowing
    // its key; a temporary one among them stops them all before anything is written.
    void newRecordsWrittenTogether()
    {
        ModuleSite site;
        Connection& c = site.db();
        const auto count = [&c] { return c.select(QStringLiteral("SELECT COUNT(*) FROM crm_event")).value(0).value(0).toInt(); };
        const int before = count();
        const auto make = [](const QString& subject) {
            auto e = std::make_unique<cDDXEvent>();
            e->set_subject(subject);
            e->set_event_type_id(58);
            e->set_partner_id(1);
            e->set_dedicate_user_id(1);
            return e;
        };
        auto a = make(QStringLiteral("első")), b = make(QStringLiteral("második")), d = make(QStringLiteral("harmadik"));
        QVERIFY(a->SetFinal() && d->SetFinal()); // b left temporary
        const auto together = [&c](const QList<cDDXRecord*>& records) {
            bool ok = false;
            QString why;
            c.transactions().writeLocked([&] { return ok = cDDXRecord::CoreUpdateTogether(records); }, &why);
            return ok;
        };
        QVERIFY(!together({a.get(), b.get(), d.get()}));
        QCOMPARE(count(), before);
        QVERIFY(a->id() <= 0);
        QVERIFY(b->SetFinal());
        QVERIFY(together({a.get(), b.get(), d.get()}));
        QCOMPARE(count(), before + 3);
        QVERIFY(a->id() > 0);
        QCOMPARE(b->id(), a->id() + 1);
        QCOMPARE(d->id(), a->id() + 2);
        const auto rows = c.select(QStringLiteral("SELECT subject, create_user, create_date FROM crm_event WHERE id>=? ORDER BY id"), {a->id()});
        QCOMPARE(rows.size(), 3);
        QCOMPARE(rows[1].value(0).toString(), QStringLiteral("második"));
        QCOMPARE(rows[2].value(1).toInt(), module().currentUserId());
        QCOMPARE(c.engine().fromDb(*c.tableDef(Tables::Event)->column(QStringLiteral("create_date")), rows[2].value(2)).toDateTime(),
                 d->create_date());
        // Each can be changed on as any saved record.
        b->set_subject(QStringLiteral("módosított"));
        b->SetModified();
        QVERIFY(together({b.get()}));
        QCOMPARE(c.select(QStringLiteral("SELECT subject FROM crm_event WHERE id=?"), {b->id()}).value(0).value(0).toString(),
                 QStringLiteral("módosított"));
    }

    void aFailingReminderDoesNotBlockTheSave()
    {
        ModuleSite site;
        Connection& c = site.db();
        // No own company: the reminders are left alone, the user is saved.
        QVERIFY(c.execute(QStringLiteral("UPDATE pa_partner SET pa_kmn_partner_type=1")));
        auto u = saveDriver(QStringLiteral("sofor3"));
        QVERIFY(u->id() > 0);
        QVERIFY(reminders(c, u->id()).isEmpty());
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE user_name='sofor3'")).value(0).value(0).toInt(), 1);
        // The events table refusing writes: the user's save still goes through, no event is half made.
        QVERIFY(c.execute(QStringLiteral("UPDATE pa_partner SET pa_kmn_partner_type=6 WHERE pa_qndid=1")));
        QVERIFY(c.execute(testingPostgres() ? QStringLiteral("ALTER TABLE crm_event ADD CONSTRAINT no_rows CHECK (id < 0) NOT VALID")
                                            : QStringLiteral("CREATE TRIGGER no_rows BEFORE INSERT ON crm_event BEGIN SELECT RAISE(ABORT, 'tiltva'); END")));
        auto w = saveDriver(QStringLiteral("sofor4"));
        QVERIFY(w->id() > 0);
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE user_name='sofor4'")).value(0).value(0).toInt(), 1);
        QCOMPARE(module().errors().Count(), 0);
    }

    void partnerLinkOfADriver()
    {
        ModuleSite site;
        Connection& c = site.db();
        auto u = saveDriver(QStringLiteral("sofor5"));
        QVERIFY(u->CoreLoad(u->id()));
        // The form asks after saving a driver; the partner is made once, then updated.
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUser*>(d);
            f->qpi_mh_isz->setText(QStringLiteral("6720"));
            f->txt_mh_varos->setText(QStringLiteral("Szeged"));
            f->txt_phone->setText(QString(70, QLatin1Char('9')));
            onNextModal([](QWidget* q) {
                QVERIFY(dialogText(q).contains(QStringLiteral("Kívánja a gépjárművezetőt partnerként")));
                clickButton(q, QStringLiteral("Igen"));
            });
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(u->ShowForm(), rvOK);
        const int partner = c.select(QStringLiteral("SELECT partner_id FROM qnd_user WHERE id=?"), {u->id()}).value(0).value(0).toInt();
        QVERIFY(partner > 0);
        QVariantList p = c.select(QStringLiteral("SELECT pa_nev, pa_orszag, pa_uticel, pa_gepjarmuvezeto, pa_telefon, pa_km FROM pa_partner "
                                                 "WHERE pa_qndid=?"), {partner}).value(0);
        QCOMPARE(p.value(0).toString(), QStringLiteral("Sofőr sofor5"));
        QCOMPARE(p.value(1).toString(), QStringLiteral("Magyarország"));
        QVERIFY(p.value(2).toLongLong() != 0 && p.value(3).toLongLong() != 0);
        QCOMPARE(p.value(4).toString(), QString(50, QLatin1Char('9')));
        const int partners = c.select(QStringLiteral("SELECT COUNT(*) FROM pa_partner")).value(0).value(0).toInt();

        QVERIFY(u->CoreLoad(u->id()));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUser*>(d);
            f->txt_display_name->setText(QStringLiteral("Új Név"));
            onNextModal([](QWidget* q) {
                QVERIFY(dialogText(q).contains(QStringLiteral("A módosításokat a partnereknél is elvégezzem?")));
                clickButton(q, QStringLiteral("Igen"));
            });
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(u->ShowForm(), rvOK);
        QCOMPARE(c.select(QStringLiteral("SELECT COUNT(*) FROM pa_partner")).value(0).value(0).toInt(), partners);
        QCOMPARE(c.select(QStringLiteral("SELECT pa_nev FROM pa_partner WHERE pa_qndid=?"), {partner}).value(0).value(0).toString(),
                 QStringLiteral("Új Név"));

        // Not a driver: no question at all.
        cDDXUser plain;
        QVERIFY(plain.CoreLoad(2));
        onNextModal([](QWidget* d) { clickButton(d, QStringLiteral("cmd_ok")); });
        QCOMPARE(plain.ShowForm(), rvOK);
    }

    void groupForm()
    {
        ModuleSite site;
        Connection& c = site.db();
        QVERIFY(c.execute(QStringLiteral("DELETE FROM qnd_settings WHERE key_name LIKE 'CUE_NAME_%'")));
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_user_group SET del_status=2 WHERE id=4")));
        cDDXUserGroup g;
        QVERIFY(g.CoreLoad(2));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUserGroup*>(d);
            QCOMPARE(f->auth[0]->text(), QStringLiteral("Szerepkör 0:"));
            QCOMPARE(f->auth[9]->text(), QStringLiteral("Szerepkör 9:"));
            QComboBox* box = f->cboRightEvent;
            QCOMPARE(box->itemText(0), QStringLiteral("<bárki>"));
            QCOMPARE(box->itemText(box->count() - 1), QStringLiteral("<senki>"));
            QCOMPARE(box->count(), 2 + 4); // the four live groups, itself included
            QVERIFY(box->findData(2) >= 0 && box->findData(4) < 0);
            f->txt_name->setText(QString(300, QLatin1Char('n')));
            box->setCurrentIndex(box->findData(2));
            f->cboRightPartner->setCurrentIndex(f->cboRightPartner->count() - 1);
            f->auth[7]->setChecked(true);
            QVERIFY(!f->chk_two_step->isChecked());
            f->chk_two_step->setChecked(true);
            keepPicture(f, QStringLiteral("group_form_two_step"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        QCOMPARE(g.ShowForm(), rvOK);
        // The second step is a rule of the group, kept in the rights history as its other rules.
        QVERIFY(c.select(QStringLiteral("SELECT two_step FROM qnd_user_group WHERE id=2")).value(0).value(0).toLongLong() != 0);
        QCOMPARE(c.select(QStringLiteral("SELECT old_value, new_value FROM qnd_rights_history WHERE table_name='qnd_user_group' "
                                         "AND row_id=2 AND column_name='two_step'")),
                 (QList<QVariantList>{{QStringLiteral("0"), QStringLiteral("1")}}));
        QVERIFY(g.CoreLoad(2));
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUserGroup*>(d);
            QVERIFY(f->chk_two_step->isChecked());
            clickButton(f, QStringLiteral("cmd_cancel"));
        });
        g.ShowForm();
        QCOMPARE(c.select(QStringLiteral("SELECT LENGTH(name), right_event, right_partner FROM qnd_user_group WHERE id=2")).value(0),
                 (QVariantList{255, 2, -2}));
        QVERIFY(c.select(QStringLiteral("SELECT auth_7 FROM qnd_user_group WHERE id=2")).value(0).value(0).toLongLong() != 0);
    }

    void panelListsCommandsAndRights()
    {
        TestSite site;
        Connection& c = site.db();
        Users p;
        p.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(actionTexts(p.cmd_bar_class), (QStringList{"Új csoport", "Csoport módosítása", "Csoport törlése"}));
        QCOMPARE(actionTexts(p.popup), (QStringList{"Új csoport", "Csoportok módosítása", "Csoportok törlése"}));
        QCOMPARE(actionTexts(p.cmd_bar_class_1),
                 (QStringList{"Új felhasználó", "Felhasználó módosítása", "Felhasználó törlése", "Zárolás feloldása",
                              "Kétlépcsős azonosítás törlése"}));
        QCOMPARE(actionTexts(p.popup_1).last(), QStringLiteral("Kétlépcsős azonosítás törlése"));

        // The users follow the selected group at once; deleted users never show.
        QVERIFY(p.brw_item->selectId(3));
        QVERIFY(p.brw_item_1->selectId(3));
        QVERIFY(!p.brw_item_1->selectId(5));
        QVERIFY(p.brw_item->selectId(1));
        QCOMPARE(p.brw_item_1->loadedRows(), 1);

        // New user preset to the selected group.
        onNextModal([](QWidget* d) {
            auto* f = qobject_cast<frmUser*>(d);
            QCOMPARE(f->cbo_user_group_id->currentData().toInt(), 1);
            f->txt_user_name->setText(QStringLiteral("uj.ember"));
            f->txt_display_name->setText(QStringLiteral("Új Ember"));
            clickButton(f, QStringLiteral("cmd_ok"));
        });
        p.NewUser();
        QCOMPARE(p.brw_item_1->loadedRows(), 2);
        const int id = p.brw_item_1->selectedId();
        QCOMPARE(c.select(QStringLiteral("SELECT user_group_id FROM qnd_user WHERE id=?"), {id}).value(0).value(0).toInt(), 1);
        answerNextModal(QStringLiteral("Igen"));
        p.DeleteUser();
        QCOMPARE(p.brw_item_1->loadedRows(), 1);
        QCOMPARE(c.select(QStringLiteral("SELECT del_status FROM qnd_user WHERE id=?"), {id}).value(0).value(0).toInt(), 2);

        // Without the rights every command is refused with the frame's message.
        TestSite peterSite(3);
        Users q;
        q.IAddin_AttachToSite(&peterSite, 0, QString());
        QVERIFY(q.brw_item->selectId(3));
        QVERIFY(q.brw_item_1->selectId(3));
        for (void (Users::*command)() : {&Users::NewGroup, &Users::ModifyGroup, &Users::DeleteGroup, &Users::NewUser,
                                         &Users::ModifyUser, &Users::DeleteUser}) {
            onNextModal([](QWidget* d) {
                QVERIFY(dialogText(d).contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")));
                clickButton(d, QStringLiteral("OK"));
            });
            (q.*command)();
        }

        // Centralised management: the caption says so; the commands stay (the groups hold the
        // directory's mapping and the role slots, local users are made here), and a directory
        // user's name, e-mail, phone and password are the directory's: read-only, none stored.
        QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("CentralUserManagement"), QStringLiteral("1")));
        Users central;
        central.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(central.cmd_bar_class_1->actions().size(), 5);
        QCOMPARE(central.popup->actions().size(), 3);
        QCOMPARE(central.titleLabel()->text(),
                 QStringLiteral("Felhasználó csoportok, felhasználók (Központosított felhasználó kezelés van érvényben!)"));
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_user SET directory_dn = 'uid=x,dc=ceg,dc=hu', password = '' WHERE id = 3")));
        const auto groupOf3 = c.select(QStringLiteral("SELECT user_group_id FROM qnd_user WHERE id = 3")).value(0).value(0).toInt();
        QVERIFY(central.brw_item->selectId(groupOf3));
        QVERIFY(central.brw_item_1->selectId(3));
        bool seen = false;
        onNextModal([&](QWidget* d) {
            auto* form = qobject_cast<frmUser*>(d);
            QVERIFY(form);
            for (QLineEdit* box : {form->txt_user_name, form->txt_display_name, form->txt_email, form->txt_phone})
                QVERIFY2(box->isReadOnly(), qPrintable(box->objectName()));
            QVERIFY(!form->txt_abbreviation->isReadOnly());
            QVERIFY(!form->txt_password->isEnabled() && form->txt_password->text().isEmpty());
            form->txt_abbreviation->setText(QStringLiteral("XY"));
            seen = true;
            form->cmd_ok->click();
        });
        central.ModifyUser();
        QVERIFY(seen);
        const auto after = c.select(QStringLiteral("SELECT abbreviation, password FROM qnd_user WHERE id = 3")).value(0);
        QCOMPARE(after.value(0).toString(), QStringLiteral("XY"));
        QCOMPARE(after.value(1).toString(), QString());
        // The group's form names the directory group it stands for, and its priority.
        onNextModal([&](QWidget* d) {
            auto* form = qobject_cast<frmUserGroup*>(d);
            QVERIFY(form);
            QVERIFY(form->txt_directory_dn->text().isEmpty());
            form->txt_directory_dn->setText(QStringLiteral(" CN=Vezetők,OU=Csoportok,DC=ceg,DC=hu "));
            form->spn_directory_priority->setValue(7);
            form->cmd_ok->click();
        });
        central.ModifyGroup();
        const auto mapped = c.select(QStringLiteral("SELECT directory_dn, directory_priority FROM qnd_user_group WHERE id = ?"),
                                     {groupOf3}).value(0);
        QCOMPARE(mapped.value(0).toString(), QStringLiteral("CN=Vezetők,OU=Csoportok,DC=ceg,DC=hu"));
        QCOMPARE(mapped.value(1).toInt(), 7);
    }
};

QTEST_MAIN(TstUsers)
#include "tst_users.moc"
