#include "Access.h"
#include "Connection.h"
#include "Secrets.h"
#include "TestDatabase.h"

#include <QCollator>
#include <QtTest>
#include <algorithm>

using namespace NexoFrame;

namespace {

constexpr int kGenerated = 3000;
const QString kTable = QStringLiteral("qnd_auth_unit");

// Index order as the database sorts it: nulls first, then by value, text in Hungarian
// alphabetical order (and by its characters where that finds two texts equal).
int compareValues(const QVariant& a, const QVariant& b)
{
    if (a.isNull() || b.isNull()) return int(!a.isNull()) - int(!b.isNull());
    if (a.typeId() == QMetaType::QString || b.typeId() == QMetaType::QString) {
        static const QCollator hungarian(QLocale(QLocale::Hungarian, QLocale::Hungary));
        const int c = hungarian.compare(a.toString(), b.toString());
        return c != 0 ? c : a.toString().compare(b.toString());
    }
    return a.toLongLong() < b.toLongLong() ? -1 : a.toLongLong() > b.toLongLong();
}

int compareKeys(const QVariantList& row, const QVariantList& keys)
{
    for (int i = 0; i < keys.size(); ++i)
        if (int c = compareValues(row[i], keys[i])) return c;
    return 0;
}

QList<int> ids(const QList<QVariantList>& rows)
{
    QList<int> l;
    for (const QVariantList& r : rows) l << r.last().toInt();
    return l;
}

QList<int> walk(Recordset& rs, int limit = INT_MAX)
{
    QList<int> l;
    for (; !rs.eof() && l.size() < limit; rs.moveNext()) l << rs.field("id").toInt();
    return l;
}

} // namespace

class tst_recordset : public QObject {
    Q_OBJECT
    TestDatabase m_db;
    std::unique_ptr<Connection> m_c;

    // Rows of the table as (index columns..., id), sorted in the index's order.
    QList<QVariantList> sorted(const QStringList& cols)
    {
        auto rows = m_c->select("SELECT " + (cols + QStringList{"id"}).join(',') + " FROM " + kTable);
        std::stable_sort(rows.begin(), rows.end(), [](const QVariantList& a, const QVariantList& b) {
            return compareKeys(a, b) < 0;
        });
        return rows;
    }

private slots:
    void initTestCase();
    void seek_data();
    void seek();
    void walkInIndexOrder_data();
    void walkInIndexOrder();
    void bookmarks();
    void editing();
    void cloneAndIndexNames();
    void hungarianOrder();
    void idleShowsAnotherUsersWrites();
    void newKeys();
    void settingsUniquenessDeleteCheck();
    void cipher();
    void rights_data();
    void rights();
    void liveDescendants();
    void manyRowsKeepTheirValues();
    void boundValuesComeBackAsBound();
    void aReadLeftHalfwayFreesTheLink();
    void aReadCutOffIsAFailure();
    void aDamagedPageIsAFailure();
};

void tst_recordset::initTestCase()
{
    m_c = m_db.open();

    // 40 parents with 5 names each, repeated, so that ties fall back to the key; a few rows
    // without a name, which sort first within their parent.
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    QVERIFY(m_c->transactions().lockMaster());
    QVERIFY(m_c->transactions().beginTrans());
    for (int i = 0; i < kGenerated; ++i) {
        rs->addNew();
        rs->setField("parent_id", 100 + i % 40);
        if (i % 101 != 7) rs->setField("name", QString("n%1").arg(i * 37 % 200, 3, 10, QChar('0')));
        rs->setField("prefix", QString("gen_%1").arg(i % 13));
        QVERIFY2(rs->update(), qPrintable(rs->lastError()));
    }
    QVERIFY(m_c->transactions().commitTrans());
    m_c->transactions().unlockMaster();
    QCOMPARE(m_c->select("SELECT COUNT(*), COUNT(name) FROM qnd_auth_unit WHERE parent_id>=100").first(),
             (QVariantList{kGenerated, kGenerated - 30}));
}

void tst_recordset::seek_data()
{
    QTest::addColumn<QString>("index");
    QTest::addColumn<bool>("atLeast");
    QTest::addColumn<QVariantList>("keys");
    QTest::addColumn<bool>("found");

    QTest::newRow("key equal") << "PrimaryKey" << false << QVariantList{1500} << true;
    QTest::newRow("key equal, missing") << "PrimaryKey" << false << QVariantList{999999} << false;
    QTest::newRow("key at least, in a gap") << "PrimaryKey" << true << QVariantList{31} << true;
    QTest::newRow("key at least, past the end") << "PrimaryKey" << true << QVariantList{999999} << false;
    QTest::newRow("two columns equal") << "real_parent_id_2" << false << QVariantList{105, "n185"} << true;
    QTest::newRow("two columns equal, missing name") << "real_parent_id_2" << false << QVariantList{105, "n186"} << false;
    QTest::newRow("two columns at least, between names") << "real_parent_id_2" << true << QVariantList{105, "n186"} << true;
    QTest::newRow("two columns at least, past the parent") << "real_parent_id_2" << true << QVariantList{105, "zzz"} << true;
    QTest::newRow("two columns equal, null name") << "real_parent_id_2" << false << QVariantList{107, QVariant()} << true;
    QTest::newRow("partial key equal") << "real_parent_id_2" << false << QVariantList{107} << true;
    QTest::newRow("partial key equal, missing") << "real_parent_id_2" << false << QVariantList{99} << false;
    QTest::newRow("partial key at least") << "real_parent_id_2" << true << QVariantList{99} << true;
    QTest::newRow("partial key at least, past the end") << "real_parent_id_2" << true << QVariantList{140} << false;
    QTest::newRow("text index equal") << "prefix" << false << QVariantList{"gen_4"} << true;
}

void tst_recordset::seek()
{
    QFETCH(QString, index);
    QFETCH(bool, atLeast);
    QFETCH(QVariantList, keys);
    QFETCH(bool, found);

    const QStringList cols = m_c->tableDef(Tables::AuthUnit)->index(index)->columns;
    const auto order = sorted(cols);
    auto hit = std::find_if(order.begin(), order.end(),
                            [&](const QVariantList& r) { return compareKeys(r, keys) >= 0; });
    if (!atLeast && hit != order.end() && compareKeys(*hit, keys) != 0) hit = order.end();
    QCOMPARE(hit != order.end(), found);

    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setIndex(index);
    QCOMPARE(rs->seek(atLeast ? Recordset::SeekOp::GreaterOrEqual : Recordset::SeekOp::Equal, keys), found);
    QCOMPARE(rs->noMatch(), !found);
    QCOMPARE(rs->eof(), !found);
    if (!found) {
        QVERIFY_THROWS_EXCEPTION(DbError, rs->field("id"));
        return;
    }
    // From the hit on, moving on follows the index through several fetch windows.
    const QList<int> expected = ids(order.mid(hit - order.begin(), 600));
    QCOMPARE(walk(*rs, 600), expected);
}

void tst_recordset::walkInIndexOrder_data()
{
    QTest::addColumn<QString>("index");
    QTest::addColumn<QString>("orderBy");
    QTest::newRow("PrimaryKey") << "PrimaryKey" << "id";
    QTest::newRow("real_parent_id_2") << "real_parent_id_2" << "parent_id,name,id";
    QTest::newRow("prefix") << "prefix" << "prefix,id";
}

void tst_recordset::walkInIndexOrder()
{
    QFETCH(QString, index);
    QFETCH(QString, orderBy);
    QStringList terms;
    for (const QString& c : orderBy.split(',')) terms << m_c->engine().orderTerm(c, false);
    QList<int> expected;
    for (const QVariantList& r : m_c->select("SELECT id FROM qnd_auth_unit ORDER BY " + terms.join(',')))
        expected << r[0].toInt();

    // On a server, no window read may scan the whole table: every one follows an index.
    auto tableScans = [this] {
        if (!testingPostgres()) return 0;
        m_c->select("SELECT pg_stat_force_next_flush()");
        return m_c->select("SELECT seq_scan FROM pg_stat_user_tables WHERE relname='qnd_auth_unit'").first().first().toInt();
    };
    const int scansBefore = tableScans();

    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setIndex(index);
    rs->moveFirst();
    QList<int> forward = walk(*rs, 1000);
    // A write elsewhere drops the cached window; the walk goes on from the current row.
    QVERIFY(m_c->execute("UPDATE qnd_auth_unit SET auth_5=? WHERE id=?", {true, expected.last()}));
    forward += walk(*rs);
    QCOMPARE(forward, expected);
    QVERIFY(rs->eof());
    rs->moveNext(); // past the end stays there
    QVERIFY(rs->eof());

    rs->moveLast();
    QList<int> backward;
    for (; !rs->eof(); rs->movePrevious()) backward << rs->field("id").toInt();
    std::reverse(expected.begin(), expected.end());
    QCOMPARE(backward, expected);

    rs->moveLast();
    rs->movePrevious();
    rs->moveNext();
    QCOMPARE(rs->field("id").toInt(), expected.first());
    QCOMPARE(tableScans(), scansBefore);
    QCOMPARE(rs->recordCount(), int(expected.size()));
}

void tst_recordset::bookmarks()
{
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setIndex("real_parent_id_2");
    QVERIFY(rs->seek({110, "n090"}));
    const int id = rs->field("id").toInt();
    const QByteArray mark = rs->bookmark();
    rs->moveNext();
    const int next = rs->field("id").toInt();

    rs->moveLast();
    rs->setBookmark(mark);
    QCOMPARE(rs->field("id").toInt(), id);
    rs->moveNext(); // moving on from a bookmark keeps the index order
    QCOMPARE(rs->field("id").toInt(), next);

    // A bookmark is good on another recordset of the table, whatever its index.
    std::unique_ptr<Recordset> other = m_c->openRecordset(Tables::AuthUnit);
    other->setBookmark(mark);
    QCOMPARE(other->field("name").toString(), QString("n090"));

    QVERIFY(m_c->execute("DELETE FROM qnd_auth_unit WHERE id=?", {id}));
    QVERIFY_THROWS_EXCEPTION(DbError, rs->setBookmark(mark));
    QVERIFY(rs->eof());
}

void tst_recordset::editing()
{
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    QVERIFY_THROWS_EXCEPTION(DbError, rs->setField("name", "x")); // not editing
    QVERIFY(!rs->update());

    // A new row: unset columns are null or their column default; long text is cut.
    rs->addNew();
    QVERIFY(rs->editing());
    rs->setField("name", QString(150, QChar(u'é')));
    rs->setField("parent_id", 7);
    QVERIFY2(rs->update(), qPrintable(rs->lastError()));
    QVERIFY(!rs->editing());
    rs->setBookmark(rs->lastModified());
    const int id = rs->field("id").toInt();
    QVERIFY(id > kGenerated);
    QCOMPARE(rs->field("name").toString(), QString(100, QChar(u'é')));
    QCOMPARE(rs->field("parent_id").toInt(), 7);
    QVERIFY(rs->isNull("prefix"));
    QVERIFY(rs->isNull("create_date"));
    QCOMPARE(rs->field("auth_0"), QVariant(true));
    QCOMPARE(rs->field("auth_1"), QVariant(false));
    QCOMPARE(rs->field("create_user").toInt(), -1);
    const QVariantList stored = m_c->select("SELECT length(name), prefix FROM qnd_auth_unit WHERE id=?", {id}).first();
    QCOMPARE(stored[0].toInt(), 100);
    QVERIFY(stored[1].isNull());
    QVERIFY_THROWS_EXCEPTION(DbError, rs->field("no_such_column"));

    // Cancel drops the pending change, in the recordset and in the file.
    rs->edit();
    rs->setField("prefix", "elvetett");
    QCOMPARE(rs->field("prefix").toString(), QString("elvetett"));
    rs->cancelUpdate();
    QVERIFY(rs->isNull("prefix"));
    QVERIFY(m_c->select("SELECT prefix FROM qnd_auth_unit WHERE id=?", {id}).first().first().isNull());

    // Edit writes the changed columns; a value can be set back to null.
    rs->edit();
    rs->setField("prefix", "megmaradt");
    rs->setField("name", QVariant());
    QVERIFY(rs->update());
    QCOMPARE(rs->lastModified(), rs->bookmark());
    QCOMPARE(rs->field("prefix").toString(), QString("megmaradt"));
    QVERIFY(rs->isNull("name"));
    const QVariantList edited = m_c->select("SELECT prefix, name, parent_id FROM qnd_auth_unit WHERE id=?", {id}).first();
    QCOMPARE(edited[0].toString(), QString("megmaradt"));
    QVERIFY(edited[1].isNull());
    QCOMPARE(edited[2].toInt(), 7);

    // A row that vanished under an edit is not "updated".
    rs->edit();
    rs->setField("prefix", "elveszett");
    QVERIFY(m_c->execute("DELETE FROM qnd_auth_unit WHERE id=?", {id}));
    QVERIFY(!rs->update());
    QVERIFY(!rs->lastError().isEmpty());
    QVERIFY(m_c->select("SELECT id FROM qnd_auth_unit WHERE id=?", {id}).isEmpty());
}

void tst_recordset::cloneAndIndexNames()
{
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setIndex("Primarykey");
    QVERIFY(rs->seek({20}));
    rs->setIndex("REAL_PARENT_ID_2");
    QVERIFY(rs->seek({20, "Listavarázsló"}));
    QCOMPARE(rs->field("id").toInt(), 25);
    QVERIFY_THROWS_EXCEPTION(DbError, rs->setIndex("no_such_index"));
    QVERIFY(m_c->seek(Tables::AuthUnit, "primarykey", {22}));
    QCOMPARE(m_c->browseRecordset(Tables::AuthUnit).field("prefix").toString(), QString("vtk_controlling_olap_report_add"));

    // A clone starts on the same row and then moves on its own.
    rs->setIndex("real_parent_id_2");
    QVERIFY(rs->seek({25}));
    std::unique_ptr<Recordset> copy = rs->clone();
    QCOMPARE(copy->field("id").toInt(), rs->field("id").toInt());
    QCOMPARE(copy->index(), rs->index());
    // "Lista " before "Listák", "Listák e" before "Listák n".
    QCOMPARE(walk(*copy, 4), (QList<int>{30, 29, 28, 26}));
    QCOMPARE(rs->field("id").toInt(), 30);
    QVERIFY(rs->seek({21}));
    QCOMPARE(copy->field("id").toInt(), 27);
}

void tst_recordset::hungarianOrder()
{
    // Accented vowels beside their plain letters, the double letters (cs, zs) and ö after o,
    // as a Hungarian reader expects; byte order would put every accented name after "Z".
    const QStringList names = {"Zsolt", "Ödön", "Éva", "Csaba", "Ábel", "Olga", "Zoltán", "Attila", "Cukor", "Emese"};
    QVERIFY(m_c->transactions().lockMaster());
    for (const QString& n : names)
        QVERIFY(m_c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name) VALUES (?, 900, ?)",
                             {m_c->keys().newKey(Tables::AuthUnit), n}));
    QVERIFY(m_c->transactions().unlockMaster());
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setIndex("real_parent_id_2");
    QVERIFY(rs->seek({900}));
    QStringList order;
    for (; !rs->eof() && rs->field("parent_id").toInt() == 900; rs->moveNext()) order << rs->field("name").toString();
    QCOMPARE(order, (QStringList{"Ábel", "Attila", "Cukor", "Csaba", "Emese", "Éva", "Olga", "Ödön", "Zoltán", "Zsolt"}));
    // Seeks compare the same way: the first name from "B" on is "Cukor", not one after "Z".
    QVERIFY(rs->seek(Recordset::SeekOp::GreaterOrEqual, {900, "B"}));
    QCOMPARE(rs->field("name").toString(), QString("Cukor"));
    QVERIFY(rs->seek({900, "Éva"}));
    QVERIFY(!rs->seek({900, "éva"}));
}

void tst_recordset::idleShowsAnotherUsersWrites()
{
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setReadAhead(64);
    QVERIFY(rs->seek({20}));
    QVERIFY(rs->seek({24}));
    const QString before = rs->field("name").toString();

    // Another user, on a connection of his own, renames the row.
    QString err;
    auto other = Connection::openDatabase(m_db.target(), Connection::DemoData::None, &err);
    QVERIFY2(other, qPrintable(err));
    QVERIFY(other->execute("UPDATE qnd_auth_unit SET name=? WHERE id=24", {"Másik gépen írva"}));

    // The rows read ahead still answer until the cache is dropped; then the write shows.
    QVERIFY(rs->seek({24}));
    QCOMPARE(rs->field("name").toString(), before);
    m_c->idle();
    QVERIFY(rs->seek({24}));
    QCOMPARE(rs->field("name").toString(), QString("Másik gépen írva"));
    QVERIFY(other->execute("UPDATE qnd_auth_unit SET name=? WHERE id=24", {before}));
}

void tst_recordset::newKeys()
{
    QSet<int> seen;
    for (int i = 0; i < 5; ++i) {
        const int k = m_c->keys().newKey(Tables::AuthUnit);
        QVERIFY2(!seen.contains(k), "a key was handed out twice");
        seen << k;
    }
    // Keys handed out but not stored stay used, even after a rollback.
    QVERIFY(m_c->transactions().lockMaster());
    QVERIFY(m_c->transactions().beginTrans());
    const int rolledBack = m_c->keys().newKey(Tables::AuthUnit);
    QVERIFY(m_c->transactions().rollbackTrans());
    m_c->transactions().unlockMaster();
    QVERIFY(m_c->keys().newKey(Tables::AuthUnit) > rolledBack);

    QVERIFY(m_c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name) VALUES (1000000, 0, 'magas')"));
    QCOMPARE(m_c->keys().newKey(Tables::AuthUnit), 1000001);
    QCOMPARE(m_c->keys().newKey(Tables::AuthUnit), 1000002);
}

void tst_recordset::settingsUniquenessDeleteCheck()
{
    QCOMPARE(m_c->settings().read("MAINFRAME", "CUE_NAME_1"), QString("Adminisztrátor:"));
    QCOMPARE(m_c->settings().read("MAINFRAME", "NINCS_ILYEN", "alap"), QString("alap"));
    QCOMPARE(m_c->settings().read("NINCS", "CUE_NAME_1"), QString());
    QVERIFY(m_c->settings().write("KMN", "Teszt", "egy"));
    QCOMPARE(m_c->settings().read("KMN", "Teszt", "alap"), QString("egy"));
    QVERIFY(m_c->settings().write("KMN", "Teszt", "kettő"));
    QCOMPARE(m_c->settings().read("KMN", "Teszt"), QString("kettő"));
    QCOMPARE(m_c->select("SELECT COUNT(*) FROM qnd_settings WHERE key_name='Teszt'").first().first().toInt(), 1);

    QVERIFY(m_c->isUnique(Tables::User, "id", "user_name", "admin", 1));      // its own row
    QVERIFY(!m_c->isUnique(Tables::User, "id", "user_name", "admin", 2));
    QVERIFY(m_c->isUnique(Tables::User, "id", "user_name", "o'brien\"; DROP TABLE qnd_user; --", 2));
    QVERIFY(m_c->isUnique(Tables::User, "id", "user_name", "toth.gabor", 1)); // deleted rows do not count
    QVERIFY(!m_c->select("SELECT COUNT(*) FROM qnd_user").isEmpty());

    QString reason;
    QVERIFY(m_c->deleteCheck(Tables::UserGroup, 1, &reason)); // users still belong to it
    QVERIFY(!reason.isEmpty());
    QVERIFY(m_c->deleteCheck(Tables::AuthUnit, 777777, &reason)); // no such row
    QVERIFY(!m_c->deleteCheck(Tables::AuthUnit, 22, &reason));
    QVERIFY(m_c->execute("INSERT INTO qnd_user_group (id, name, del_status) VALUES (50, 'Üres', 0)"));
    QVERIFY(!m_c->deleteCheck(Tables::UserGroup, 50));
}

void tst_recordset::cipher()
{
    const QString k1 = "tazeq3wnk8", k2 = "prvd57gh2eb";
    QString alphabet;
    for (char16_t c = 32; c < 127; ++c) alphabet += QChar(c);
    alphabet += QString::fromUtf8("áéíóöőúüűÁÉÍÓÖŐÚÜŰ");
    const QStringList samples = {"admin", "peter123", "Árvíztűrő tükörfúrógép", "a b'c\"d%e_f",
                                 "", QString(40, 'a'), "tazeq3wnk8"};
    for (const QString& s : samples) {
        const QString once = Secrets::ciphered(s, k1, k2);
        QCOMPARE(once.size(), s.size());
        QCOMPARE(Secrets::ciphered(once, k1, k2), s);
        for (QChar c : once) QVERIFY2(alphabet.contains(c), qPrintable(once));
        if (s.size() > 3) {
            QVERIFY(once != s);
            QVERIFY(Secrets::ciphered(s, "masikkulcs", k2) != once);
            QVERIFY(Secrets::ciphered(s, k1, "masik") != once);
        }
    }
    // No fixed substitution: one character repeated comes out as many different ones.
    const QString as = Secrets::ciphered(QString(40, 'a'), k1, k2);
    QVERIFY(QSet<QChar>(as.begin(), as.end()).size() > 10);
    // Characters outside the alphabet pass unchanged.
    QCOMPARE(Secrets::ciphered("\t\n", k1, k2), QString("\t\n"));
}

void tst_recordset::rights_data()
{
    QTest::addColumn<int>("user");
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("granted");
    for (const char* k : {"mainframe_base_user_new", "mainframe_base_user_change_passorw", "mainframe_base_user_group_del",
                          "vtk_controlling_olap_report_add", "vtk_controlling_list_wizard_print", "vtk_controlling"})
        QTest::addRow("admin %s", k) << 1 << k << true;
    QTest::newRow("nagy.peter, user_new") << 3 << "mainframe_base_user_new" << false;
    QTest::newRow("nagy.peter, list print") << 3 << "vtk_controlling_list_wizard_print" << true;
    QTest::newRow("nagy.peter, list edit") << 3 << "vtk_controlling_list_wizard_edit" << false;
    QTest::newRow("kovacs.anna, user_mod") << 2 << "mainframe_base_user_mod" << true;
    QTest::newRow("access denied") << 4 << "vtk_controlling_list_wizard_print" << false;
    QTest::newRow("deleted user") << 5 << "vtk_controlling_list_wizard_print" << false;
    QTest::newRow("no such user") << 999 << "vtk_controlling" << false;
    QTest::newRow("unknown key") << 1 << "zzz_ismeretlen_jog" << false;
    QTest::newRow("empty key") << 1 << "" << false;
    QTest::newRow("below a deleted unit") << 1 << "old_rights_sub" << false;
    QTest::newRow("deleted unit") << 1 << "old_rights" << false;
}

void tst_recordset::rights()
{
    QFETCH(int, user);
    QFETCH(QString, key);
    QFETCH(bool, granted);
    QCOMPARE(rightsTest(*m_c, user, key), granted);
}

// Many rows at once go to a server by COPY and to a file by statements; either way each row
// keeps its own values under its own key, whatever its text holds.
void tst_recordset::manyRowsKeepTheirValues()
{
    const QStringList awkward{QStringLiteral("tab\there"), QStringLiteral("line\nbreak"), QStringLiteral("back\\slash"),
                              QStringLiteral("\\N"), QString(), QStringLiteral(""), QStringLiteral("car\rriage"),
                              QStringLiteral("ő'ű\"x")};
    // Enough rows that COPY sends them in several pieces.
    const int rows = Keys::kCopiedFrom + 1011;
    const QDateTime at(QDate(2026, 3, 4), QTime(5, 6, 7));
    QVariantList perRow;
    for (int r = 0; r < rows; ++r)
        perRow << 900 + r % 7 << awkward[r % awkward.size()] << m_c->engine().toDb(ColumnDef{{}, ColType::Bool, 0, {}}, r % 2 == 0);
    const ColumnDef date{{}, ColType::DateTime, 0, {}};
    int first = 0;
    QString why;
    QCOMPARE(m_c->transactions().writeLocked([&] {
        first = m_c->keys().insertKeyed(Tables::AuthUnit, {"create_date", "prefix", "parent_id", "name", "auth_4"},
                                        {m_c->engine().toDb(date, at), QStringLiteral("tömeges")}, perRow, rows);
        return true;
    }, &why),
             Transactions::LockedWrite::Done);
    const auto got = m_c->select("SELECT id, parent_id, name, auth_4, prefix, create_date FROM qnd_auth_unit WHERE id >= ? AND id < ? ORDER BY id",
                                 {first, first + rows});
    QCOMPARE(got.size(), rows);
    for (int r = 0; r < rows; ++r) {
        QCOMPARE(got[r][0].toInt(), first + r);
        QCOMPARE(got[r][1].toInt(), 900 + r % 7);
        QCOMPARE(got[r][2].isNull(), awkward[r % awkward.size()].isNull());
        QCOMPARE(got[r][2].toString(), awkward[r % awkward.size()]);
        QCOMPARE(m_c->engine().fromDb(ColumnDef{{}, ColType::Bool, 0, {}}, got[r][3]).toBool(), r % 2 == 0);
        QCOMPARE(got[r][4].toString(), QStringLiteral("tömeges"));
        QCOMPARE(m_c->engine().fromDb(date, got[r][5]).toDateTime(), at);
    }
}

// What goes to the database bound comes back the same: texts with quotes, line breaks and
// backslashes, a null text apart from an empty one, large numbers, dates to the second; and a
// bound value is never read as SQL.
void tst_recordset::boundValuesComeBackAsBound()
{
    const QStringList texts{QStringLiteral("O'Brien \"idéző\""), QStringLiteral("sor\nsor\ttab"), QStringLiteral("C:\\út\\"),
                            QStringLiteral("'); DROP TABLE qnd_user; --"), QStringLiteral("$1 ? :név"), QString(), QStringLiteral("")};
    const QDateTime at(QDate(2031, 12, 31), QTime(23, 59, 58));
    const ColumnDef date{{}, ColType::DateTime, 0, {}};
    QList<int> ids;
    for (int i = 0; i < texts.size(); ++i) {
        const int id = m_c->keys().newKey(Tables::AuthUnit);
        ids << id;
        QString err;
        QVERIFY2(m_c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name, create_user, create_date) VALUES (?, ?, ?, ?, ?)",
                              {id, 7000 + i, texts[i], qlonglong(2147483647), m_c->engine().toDb(date, at)}, &err),
                 qPrintable(err));
    }
    for (int i = 0; i < texts.size(); ++i) {
        // Found by the value itself, so that a value the server read otherwise finds nothing.
        const QString where = texts[i].isNull() ? QStringLiteral("name IS NULL AND parent_id = ?") : QStringLiteral("name = ? AND parent_id = ?");
        QVariantList binds;
        if (!texts[i].isNull()) binds << texts[i];
        binds << 7000 + i;
        const auto rows = m_c->select("SELECT id, name, create_user, create_date FROM qnd_auth_unit WHERE " + where, binds);
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows[0][0].toInt(), ids[i]);
        QCOMPARE(rows[0][1].isNull(), texts[i].isNull());
        QCOMPARE(rows[0][1].toString(), texts[i]);
        QCOMPARE(rows[0][2].toLongLong(), qlonglong(2147483647));
        QCOMPARE(m_c->engine().fromDb(date, rows[0][3]).toDateTime(), at);
    }
    QVERIFY(m_c->engine().tables(m_c->db()).contains(QStringLiteral("qnd_user")));
}

// A read whose reader stops early (an export cancelled, a lookup that found its row) leaves
// the link free: the next statements run and read their own rows.
void tst_recordset::aReadLeftHalfwayFreesTheLink()
{
    const auto count = [this] {
        return m_c->select("SELECT COUNT(*) FROM qnd_auth_unit WHERE parent_id BETWEEN ? AND ?", {100, 139}).value(0).value(0).toInt();
    };
    const int all = count();
    QVERIFY(all > 1000);
    // Read whole, then stopped early, then whole again: a statement kept from its first run
    // streams its rows on a server.
    for (const int stopAt : {0, 3, 0}) {
        int seen = 0;
        m_c->selectEach("SELECT id, name FROM qnd_auth_unit WHERE parent_id BETWEEN ? AND ? ORDER BY id", {100, 139},
                        [&](const QVariantList&) { return ++seen != stopAt; });
        QCOMPARE(seen, stopAt ? stopAt : all);
        QCOMPARE(count(), all);
    }
    std::unique_ptr<Recordset> rs = m_c->openRecordset(Tables::AuthUnit);
    rs->setIndex("PrimaryKey");
    QVERIFY(rs->seek({m_c->select("SELECT MIN(id) FROM qnd_auth_unit WHERE parent_id BETWEEN 100 AND 139").value(0).value(0)}));
    QVERIFY(rs->field("parent_id").toInt() >= 100);
}

// The server goes away in the middle of a long read: the read fails with the reason, and
// the next statement finds the link again. (A file has no link to lose.)
void tst_recordset::aReadCutOffIsAFailure()
{
    if (!testingPostgres()) QSKIP("a file has no link to lose");
    QString err;
    auto other = Connection::openDatabase(m_db.target(), Connection::DemoData::None, &err);
    QVERIFY2(other, qPrintable(err));
    const int pid = m_c->select("SELECT pg_backend_pid()").value(0).value(0).toInt();
    const QString sql = QStringLiteral("SELECT g, repeat('x', 200) FROM generate_series(1, ?) g");
    // Run once whole, so that the second run is the kept statement's, streamed.
    int seen = 0;
    m_c->selectEach(sql, {10}, [&](const QVariantList&) { return ++seen > 0; });
    QCOMPARE(seen, 10);
    seen = 0;
    bool failed = false;
    try {
        m_c->selectEach(sql, {2000000}, [&](const QVariantList&) {
            if (++seen == 5) other->select("SELECT pg_terminate_backend(?)", {pid});
            return true;
        });
    } catch (const DbError& e) {
        failed = true;
        QVERIFY(!e.message().isEmpty());
    }
    QVERIFY2(failed, qPrintable(QString::number(seen)));
    QVERIFY(seen < 2000000);
    QCOMPARE(m_c->select("SELECT 1 + 1").value(0).value(0).toInt(), 2);
}

void tst_recordset::liveDescendants()
{
    QList<int> below = m_c->liveDescendants(Tables::AuthUnit, 0);
    QVERIFY(below.contains(1) && below.contains(10) && below.contains(30));
    QVERIFY(!below.contains(40) && !below.contains(41)); // 41 lives under the deleted 40
    QList<int> users = m_c->liveDescendants(Tables::AuthUnit, 6);
    std::sort(users.begin(), users.end());
    QCOMPARE(users, (QList<int>{7, 8, 9, 10}));

    QVERIFY(m_c->execute("UPDATE qnd_auth_unit SET del_status=2 WHERE id=6"));
    below = m_c->liveDescendants(Tables::AuthUnit, 1);
    for (int gone : {6, 7, 8, 9, 10}) QVERIFY(!below.contains(gone));
    QVERIFY(below.contains(2) && below.contains(5));
    QVERIFY(m_c->execute("UPDATE qnd_auth_unit SET del_status=0 WHERE id=6"));
}

// A file damaged in the middle of a table: a recordset walking it fails with the engine's
// words where it meets the broken page, instead of ending there as if the table did.
void tst_recordset::aDamagedPageIsAFailure()
{
    if (testingPostgres()) QSKIP("a server keeps its own pages");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("damaged.sqlite"));
    int broken = 0;
    {
        QString err;
        auto c = Connection::openDatabase(path, Connection::DemoData::None, &err);
        QVERIFY2(c, qPrintable(err));
        QVERIFY(c->transactions().lockMaster());
        QVERIFY(c->transactions().beginTrans());
        for (int i = 1; i <= 3000; ++i)
            QVERIFY(c->execute("INSERT INTO qnd_auth_unit (id, parent_id, name, prefix) VALUES (?, 1, ?, 'p')",
                               {i, QString("egység %1").arg(i)}));
        QVERIFY(c->transactions().commitTrans());
        c->transactions().unlockMaster();
        // The table's third leaf in key order: the first window of rows starts before it.
        const auto leaves = c->select("SELECT pageno FROM dbstat WHERE name = 'qnd_auth_unit' AND pagetype = 'leaf' ORDER BY path");
        QVERIFY(leaves.size() > 10);
        broken = leaves[2].value(0).toInt();
        QVERIFY(c->execute("PRAGMA wal_checkpoint(TRUNCATE)"));
    }
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadWrite));
    QVERIFY(f.seek(qint64(broken - 1) * 4096));
    QVERIFY(f.write(QByteArray(64, '\xff')) == 64);
    f.close();

    QString err;
    auto c = Connection::openDatabase(path, Connection::DemoData::None, &err);
    QVERIFY2(c, qPrintable(err));
    auto rs = c->openRecordset(Tables::AuthUnit);
    rs->setIndex("PrimaryKey");
    QList<int> seen;
    bool failed = false;
    try {
        rs->moveFirst();
        seen = walk(*rs);
    } catch (const DbError& e) {
        failed = true;
        QVERIFY(!e.message().isEmpty());
    }
    QVERIFY2(failed, qPrintable(QString("%1 rows walked").arg(seen.size())));
}

QTEST_GUILESS_MAIN(tst_recordset)
#include "tst_recordset.moc"
