#include "Connection.h"
#include "ModalSuite.h"
#include "Module.h"
#include "RuntimeError.h"
#include "TestDatabase.h"
#include "cDDXAuthUnit.h"

#include <QtTest>

using namespace NexoFrame;

namespace {

const QString kName = QStringLiteral("A név megadása kötelező!");
const QString kPrefix = QStringLiteral("A frefix megadása kötelező!");
const QStringList kDeleteWrites = {"del_status", "last_action_user_id1", "last_action_date1",
                                   "last_action_user_id2", "last_action_date2"};

QDateTime stamp(const QVariant& v) { return v.toDateTime(); }
QDateTime seconds(QDateTime d) { return d.addMSecs(-d.time().msec()); }

// The columns of `row` that differ from `want`, as "column: stored" lines; empty when all match.
QString differences(const QVariantMap& row, const QVariantMap& want)
{
    QString d;
    for (auto it = want.cbegin(); it != want.cend(); ++it)
        if (row.value(it.key()) != it.value()) d += it.key() + ": " + row.value(it.key()).toString() + "\n";
    return d;
}

void set(cDDXRecord& r, const QVariantMap& values)
{
    for (auto it = values.cbegin(); it != values.cend(); ++it) r.setValue(it.key(), it.value());
}

QStringList descriptions()
{
    QStringList l;
    for (const Error& e : module().errors()) l << e.description();
    return l;
}

} // namespace

// The record lifecycle, on authorisation units in a real database.
class tst_record : public ModalSuite {
    Q_OBJECT
    TestDatabase m_db;
    std::unique_ptr<Connection> m_c;
    QStringList m_columns;

    // The stored row, column by column, read past the recordsets with plain SQL (booleans
    // and dates as the engine hands them back to the module).
    QVariantMap row(int id)
    {
        QVariantMap m;
        const TableDef& t = *m_c->tableDef(Tables::AuthUnit);
        const auto rows = m_c->select("SELECT " + m_columns.join(',') + " FROM qnd_auth_unit WHERE id=?", {id});
        if (!rows.isEmpty())
            for (int i = 0; i < m_columns.size(); ++i)
                m[m_columns[i]] = m_c->engine().fromDb(*t.column(m_columns[i]), rows.first()[i]);
        return m;
    }
    // Nothing may stay locked or open: our connection ends clean and another one can lock.
    bool released() { return m_db.released(*m_c); }
    std::unique_ptr<cDDXAuthUnit> load(int id)
    {
        auto u = std::make_unique<cDDXAuthUnit>();
        return u->CoreLoad(id) ? std::move(u) : nullptr;
    }
    int insert(const QString& name, int user)
    {
        module().setCurrentUserId(user);
        cDDXAuthUnit u;
        u.set_name(name);
        u.set_prefix("p_" + name);
        return u.SetFinal() && u.CoreUpdate() ? u.id() : -1;
    }

private slots:
    void initTestCase()
    {
        m_c = m_db.open();
        module().setConnection(m_c.get());
        m_columns = m_c->tableDef(Tables::AuthUnit)->columnNames();
    }
    void cleanupTestCase() { module().setConnection(nullptr); }
    void init()
    {
        ModalSuite::init();
        module().setCurrentUserId(1);
    }

    void unconfirmedIsRefusedWithoutLocking();
    void newRecordDefaults();
    void insertModifyDeleteWriteTheirColumns();
    void validationFailure_data();
    void validationFailure();
    void failedWrite_data();
    void failedWrite();
    void deletedRecordSkipsChecks();
    void cloneCopiesEveryValue();
    void auditPairFollowsTheStoredRow();
    void earlierEntriesDoNotDecide();
};

void tst_record::unconfirmedIsRefusedWithoutLocking()
{
    // Another connection holds the lock: a try to take it would end in the lock question.
    QString err;
    auto holder = Connection::openDatabase(m_db.target(), Connection::DemoData::None, &err);
    QVERIFY(holder && holder->transactions().lockMaster());
    bool asked = false;
    onNextModal([&](QWidget* dlg) { asked = true; dlg->close(); }, 300);

    auto loaded = load(22);
    QVERIFY(loaded && loaded->IsTemp());
    loaded->set_name("Sosem írjuk ki");
    loaded->SetModified();
    cDDXAuthUnit fresh;
    fresh.set_name("Új");
    fresh.set_prefix("uj");
    for (cDDXAuthUnit* u : {loaded.get(), &fresh}) {
        QVERIFY(!u->CoreUpdate());
        QCOMPARE(module().errors().Count(), 1);
        const Error& e = module().errors().Item(1);
        QCOMPARE(e.description(), QString("This element is temporary"));
        QCOMPARE(e.Number(), 0x80040064L);
        QCOMPARE(e.ErrorType(), eError);
        QVERIFY(!m_c->transactions().hasMasterLock());
    }
    QVERIFY(!asked);
    QCOMPARE(row(22)["name"].toString(), QString("Új kimutatás"));
    holder->transactions().unlockMaster();
    QVERIFY(released());
    resetModalDriver(); // the guard found nothing to answer
}

void tst_record::newRecordDefaults()
{
    cDDXAuthUnit u;
    QCOMPARE(u.ItemStatus(), IsNew);
    QVERIFY(u.IsTemp());
    QCOMPARE(u.id(), -1);
    QCOMPARE(u.parent_id(), 0);
    QCOMPARE(u.name(), QString());
    QCOMPARE(u.prefix(), QString());
    QVERIFY(u.auth_0());
    for (int i = 1; i <= 9; ++i) QVERIFY(!u.property(qPrintable(QString("auth_%1").arg(i))).toBool());
    QCOMPARE(u.del_status(), 0);
    QCOMPARE(u.temp_status(), 0);
    for (int v : {u.create_user(), u.last_action_user_id1(), u.last_action_user_id2()}) QCOMPARE(v, -1);
    const QDateTime today = QDate::currentDate().startOfDay();
    for (const QDateTime& d : {u.create_date(), u.last_action_date1(), u.last_action_date2()}) QCOMPARE(d, today);

    // Every column of the table is a property of the record, by the schema; a name the
    // table lacks is a fault, not an empty value.
    const TableDef* t = Schema::instance().table(QStringLiteral("qnd_auth_unit"));
    for (const ColumnDef& c : t->columns) QVERIFY2(u.metaObject()->indexOfProperty(qPrintable(c.name)) >= 0, qPrintable(c.name));
    QVERIFY(u.setProperty("prefix", QStringLiteral("a_b")));
    QCOMPARE(u.value(QStringLiteral("prefix")).toString(), QStringLiteral("a_b"));
    QVERIFY_THROWS_EXCEPTION(RuntimeError, u.value(QStringLiteral("prefx")));
    QVERIFY_THROWS_EXCEPTION(RuntimeError, u.setValue(QStringLiteral("prefx"), 1));

    // A failed load leaves the defaults.
    u.set_name("x");
    QVERIFY(!u.CoreLoad(987654));
    QCOMPARE(u.name(), QString());
    QCOMPARE(u.ItemStatus(), IsNew);
}

void tst_record::insertModifyDeleteWriteTheirColumns()
{
    // Insert as user 7: every column, the creator and the latest change.
    module().setCurrentUserId(7);
    cDDXAuthUnit u;
    const QVariantMap values{{"parent_id", 20}, {"name", "Beszúrt egység"}, {"prefix", "vtk_beszurt"}, {"auth_0", false},
                             {"auth_3", true}, {"auth_9", true}, {"temp_status", 5}};
    set(u, values);
    QVERIFY(u.SetFinal());
    QVERIFY(!u.IsTemp());
    const QDateTime before = seconds(QDateTime::currentDateTime());
    QVERIFY(u.CoreUpdate());
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(u.ItemStatus(), IsNew); // the write does not change the status
    QVERIFY(u.id() > 41);
    QVERIFY(released());
    QVariantMap r = row(u.id());
    QCOMPARE(differences(r, {{"parent_id", 20}, {"name", "Beszúrt egység"}, {"prefix", "vtk_beszurt"}, {"auth_0", false},
                             {"auth_1", false}, {"auth_2", false}, {"auth_3", true}, {"auth_4", false}, {"auth_5", false},
                             {"auth_6", false}, {"auth_7", false}, {"auth_8", false}, {"auth_9", true},
                             {"del_status", 0}, {"temp_status", 5},
                             {"create_user", 7}, {"last_action_user_id1", 7}, {"last_action_user_id2", -1},
                             {"last_action_date1", r["create_date"]}}),
             QString());
    QVERIFY(stamp(r["create_date"]) >= before && stamp(r["create_date"]) <= after);
    // In a file, true is stored as -1.
    if (!testingPostgres())
        QCOMPARE(m_c->select("SELECT auth_3 FROM qnd_auth_unit WHERE id=?", {u.id()}).first().first().toInt(), -1);
    QCOMPARE(stamp(r["last_action_date2"]), QDate::currentDate().startOfDay());

    // Loaded and confirmed but unchanged: nothing is written.
    auto same = load(u.id());
    QVERIFY(same && same->SetFinal());
    QVERIFY(same->CoreUpdate());
    QCOMPARE(row(u.id()), r);
    QVERIFY(released());

    // Users 8 then 9 change it: the audit pair shifts, the creation stays.
    for (int user : {8, 9}) {
        module().setCurrentUserId(user);
        auto m = load(u.id());
        QVERIFY(m);
        QCOMPARE(m->ItemStatus(), isLoaded);
        set(*m, {{"name", QString("Módosította %1").arg(user)}, {"prefix", "vtk_mod"}, {"parent_id", 21},
                 {"auth_3", false}, {"auth_5", true}});
        QVERIFY(m->SetFinal());
        m->SetModified();
        QCOMPARE(m->ItemStatus(), isModified);
        QVERIFY(m->CoreUpdate());
        QVERIFY(released());
        const QVariantMap was = r;
        r = row(u.id());
        QCOMPARE(differences(r, {{"name", QString("Módosította %1").arg(user)}, {"prefix", "vtk_mod"}, {"parent_id", 21},
                                 {"auth_3", false}, {"auth_5", true}, {"create_user", 7}, {"create_date", was["create_date"]},
                                 {"last_action_user_id1", user}, {"last_action_user_id2", user - 1},
                                 {"last_action_date2", was["last_action_date1"]}}),
                 QString());
    }
    // The history kept the first change of the roles from what was stored, the second none.
    QCOMPARE(m_c->select("SELECT column_name, old_value, new_value FROM qnd_rights_history WHERE table_name='qnd_auth_unit' "
                         "AND row_id=? AND user_id=8 ORDER BY column_name", {u.id()}).size(), 2);
    QCOMPARE(m_c->select("SELECT id FROM qnd_rights_history WHERE table_name='qnd_auth_unit' AND row_id=? AND user_id=9",
                         {u.id()}).size(), 0);

    // Soft delete as user 10, after a change in memory only: the row keeps its values and
    // gets del_status 2 and the audit columns.
    module().setCurrentUserId(10);
    auto d = load(u.id());
    QVERIFY(d);
    set(*d, {{"name", "Ezt nem írjuk ki"}, {"auth_7", true}});
    QVERIFY(d->Delete());
    QCOMPARE(d->ItemStatus(), isDeleted);
    QVERIFY(!d->IsTemp());
    QVERIFY(d->CoreUpdate());
    QVERIFY(released());
    QCOMPARE(d->del_status(), 0);
    QVariantMap kept = r;
    for (const QString& c : kDeleteWrites) kept.remove(c);
    const QVariantMap deleted = row(u.id());
    QCOMPARE(differences(deleted, kept), QString());
    QCOMPARE(differences(deleted, {{"del_status", 2}, {"last_action_user_id1", 10}, {"last_action_user_id2", 9},
                                   {"last_action_date2", r["last_action_date1"]}}),
             QString());
    QVERIFY(stamp(deleted["last_action_date1"]) >= stamp(r["last_action_date1"]));

    // A row another program removed while it was being edited: the change says so and
    // stores nothing, on every engine (a server finds it out from the UPDATE alone).
    auto gone = load(u.id());
    QVERIFY(gone);
    QVERIFY(m_c->execute("DELETE FROM qnd_auth_unit WHERE id=?", {u.id()}));
    set(*gone, {{"name", "Eltűnt"}});
    QVERIFY(gone->SetFinal());
    gone->SetModified();
    QVERIFY(!gone->CoreUpdate());
    QVERIFY(released());
    QVERIFY2(module().errors().Item(1).description().contains("nem létezik"), qPrintable(module().errors().Item(1).description()));
    QVERIFY(m_c->select("SELECT id FROM qnd_auth_unit WHERE id=?", {u.id()}).isEmpty());
    module().errors().Clear();

    // A row that is not there cannot be deleted.
    cDDXAuthUnit ghost;
    QVERIFY(!ghost.Delete());
    QCOMPARE(ghost.ItemStatus(), IsNew);
    QVERIFY(!ghost.IsTemp());
    QCOMPARE(module().errors().Count(), 1);
    QCOMPARE(module().errors().Item(1).Number(), 0x80040064L);
}

void tst_record::validationFailure_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QStringList>("errors");
    QTest::newRow("empty") << "" << "" << QStringList{kName, kPrefix};
    QTest::newRow("blanks") << "   " << "  " << QStringList{kName, kPrefix};
    QTest::newRow("name blank") << "  " << "vtk" << QStringList{kName};
    QTest::newRow("prefix empty") << "Név" << "" << QStringList{kPrefix};
}

void tst_record::validationFailure()
{
    QFETCH(QString, name);
    QFETCH(QString, prefix);
    QFETCH(QStringList, errors);

    cDDXAuthUnit fresh;
    fresh.set_name(name);
    fresh.set_prefix(prefix);
    QVERIFY(!fresh.SetFinal());
    QVERIFY(fresh.IsTemp());
    QCOMPARE(descriptions(), errors);
    for (const Error& e : module().errors()) {
        QCOMPARE(e.Number(), 10L);
        QCOMPARE(e.ErrorType(), eError);
    }

    // Confirmed first, spoilt afterwards: the write checks again, rolls back and unlocks.
    module().errors().Clear(); // as showing the list would
    const QVariantMap before = row(23);
    auto u = load(23);
    QVERIFY(u && u->SetFinal());
    u->set_name(name);
    u->set_prefix(prefix);
    u->SetModified();
    QVERIFY(!u->CoreUpdate());
    QCOMPARE(descriptions(), errors);
    QVERIFY(released());
    QCOMPARE(row(23), before);
}

void tst_record::failedWrite_data()
{
    QTest::addColumn<bool>("vanishedRow");
    QTest::newRow("row gone under a modification") << true;
    QTest::newRow("insert refused by the database") << false;
}

void tst_record::failedWrite()
{
    QFETCH(bool, vanishedRow);
    const int count = m_c->select("SELECT COUNT(*) FROM qnd_auth_unit").first().first().toInt();
    std::unique_ptr<cDDXAuthUnit> u;
    if (vanishedRow) {
        const int id = insert("Eltűnő egység", 1);
        u = load(id);
        QVERIFY(u && u->SetFinal());
        u->set_name("Eltűnt egység");
        u->SetModified();
        QVERIFY(m_c->execute("DELETE FROM qnd_auth_unit WHERE id=?", {id}));
    } else {
        if (testingPostgres()) {
            QString err;
            QVERIFY2(m_c->execute("CREATE OR REPLACE FUNCTION refuse_name() RETURNS trigger AS $$ BEGIN "
                                  "IF NEW.name = 'Tiltott' THEN RAISE EXCEPTION 'tiltott név'; END IF; RETURN NEW; "
                                  "END $$ LANGUAGE plpgsql", {}, &err), qPrintable(err));
            QVERIFY(m_c->execute("CREATE TRIGGER refuse_name BEFORE INSERT ON qnd_auth_unit "
                                 "FOR EACH ROW EXECUTE FUNCTION refuse_name()"));
        } else {
            QVERIFY(m_c->execute("CREATE TRIGGER refuse_name BEFORE INSERT ON qnd_auth_unit "
                                 "WHEN NEW.name='Tiltott' BEGIN SELECT RAISE(ABORT, 'tiltott név'); END"));
        }
        u = std::make_unique<cDDXAuthUnit>();
        u->set_name("Tiltott");
        u->set_prefix("tiltott");
        QVERIFY(u->SetFinal());
    }
    QVERIFY(!u->CoreUpdate());
    QVERIFY(released());
    QVERIFY(module().errors().Count() >= 1);
    const QString text = module().errors().Item(1).description();
    QVERIFY2(text.startsWith("cDDXAuthUnit in Function "), qPrintable(text));
    if (!vanishedRow) {
        QVERIFY2(text.contains("tiltott név"), qPrintable(text));
        QVERIFY(m_c->execute(testingPostgres() ? "DROP TRIGGER refuse_name ON qnd_auth_unit" : "DROP TRIGGER refuse_name"));
    }
    QCOMPARE(m_c->select("SELECT COUNT(*) FROM qnd_auth_unit").first().first().toInt(), count);
    QVERIFY(m_c->select("SELECT id FROM qnd_auth_unit WHERE name IN ('Tiltott','Eltűnt egység')").isEmpty());
    // The connection goes on working after the failure.
    module().errors().Clear();
    QVERIFY(insert("Utána", 1) > 0);
}

void tst_record::deletedRecordSkipsChecks()
{
    QVERIFY(m_c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, del_status) VALUES (5000, 0, '', '', 0)"));
    auto u = load(5000);
    QVERIFY(u);
    QVERIFY(!u->SetFinal()); // an empty name and prefix do not pass as a change
    module().errors().Clear();
    QVERIFY(u->Delete());
    QVERIFY(u->CoreUpdate());
    QCOMPARE(module().errors().Count(), 0);
    QCOMPARE(row(5000)["del_status"].toInt(), 2);
    QCOMPARE(row(5000)["name"].toString(), QString());
    QVERIFY(released());
}

void tst_record::cloneCopiesEveryValue()
{
    auto src = load(28);
    QVERIFY(src);
    src->set_temp_status(3);
    src->set_last_action_user_id2(4);
    std::unique_ptr<cDDXRecord> copy = src->Clone();
    QVERIFY(copy);
    QVERIFY(qobject_cast<cDDXAuthUnit*>(copy.get()));
    QCOMPARE(copy->CloneSourceID(), 28);
    for (const FieldSpec& f : src->allFields())
        QVERIFY2(copy->value(f.name) == src->value(f.name), qPrintable(f.name));
    QCOMPARE(copy->value("prefix").toString(), QString("vtk_controlling_list_wizard_print"));
    copy->setValue("name", "Másolat");
    QCOMPARE(src->name(), QString("Listák nyomtatása"));
}

void tst_record::auditPairFollowsTheStoredRow()
{
    // Two users load the same row; the second save shifts the first one's change into the
    // pair, not what it loaded.
    const int id = insert("Közös egység", 1);
    module().setCurrentUserId(2);
    auto a = load(id);
    module().setCurrentUserId(3);
    auto b = load(id);
    QVERIFY(a && b);
    for (auto [rec, user] : {std::pair{a.get(), 2}, std::pair{b.get(), 3}}) {
        module().setCurrentUserId(user);
        rec->set_name(QString("Mentette %1").arg(user));
        QVERIFY(rec->SetFinal());
        rec->SetModified();
        QVERIFY(rec->CoreUpdate());
    }
    const QVariantMap r = row(id);
    QCOMPARE(r["name"].toString(), QString("Mentette 3"));
    QCOMPARE(r["last_action_user_id1"].toInt(), 3);
    QCOMPARE(r["last_action_user_id2"].toInt(), 2);
    QVERIFY(stamp(r["last_action_date2"]) <= stamp(r["last_action_date1"]));
}

void tst_record::earlierEntriesDoNotDecide()
{
    // An error another caller left behind: a valid record stays valid and no list comes up.
    module().errors().add(eError, 99, "Egy korábbi hívás hibája");
    bool asked = false;
    onNextModal([&](QWidget* dlg) { asked = true; dlg->close(); }, 300);
    cDDXAuthUnit valid;
    valid.set_name("Érvényes egység");
    valid.set_prefix("ervenyes");
    QVERIFY(valid.SetFinal());
    QVERIFY(!valid.IsTemp());
    QVERIFY(!asked);
    resetModalDriver();
    // Its own faults still refuse it, whatever else is in the collection.
    cDDXAuthUnit invalid;
    QVERIFY(!invalid.SetFinal());
    QVERIFY(descriptions().contains(kName));

    // Warnings alone bring up "Hiba lista": OK accepts them, cancel refuses.
    for (const char* button : {"OK", "Mégsem"}) {
        module().errors().Clear();
        module().errors().add(eWarning, 1, "Csak figyelmeztetés");
        answerNextModal(button);
        cDDXAuthUnit u;
        u.set_name("Figyelmeztetett");
        u.set_prefix("figy");
        QCOMPARE(u.SetFinal(), QString(button) == "OK");
    }
}

QTEST_MAIN(tst_record)
#include "tst_record.moc"
