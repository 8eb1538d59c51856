#include "ControlUtils.h"
#include "Module.h"
#include "RuntimeError.h"
#include "TestSite.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QtTest>

using namespace NexoFrame;

namespace {

using Values = QList<std::pair<QString, QVariant>>;

void put(int table, int key, const Values& values)
{
    Recordset& rs = module().connection()->editRecordset(table);
    rs.setIndex(QString());
    QVERIFY(rs.seek({key}));
    rs.edit();
    for (const auto& [k, v] : values) rs.setField(k, v);
    QVERIFY2(rs.update(), qPrintable(rs.lastError()));
}

QStringList entries(QWidget* w)
{
    QStringList l;
    auto* box = qobject_cast<QComboBox*>(w);
    for (int i = 0; i < listOf(w)->ListCount(); ++i)
        l << (box ? box->itemText(i) : static_cast<QListWidget*>(w)->item(i)->text()) + '=' +
                 QString::number(listOf(w)->ItemData(i));
    return l;
}

} // namespace

class tst_controlutils : public QObject {
    Q_OBJECT
    std::unique_ptr<TestSite> m_site;
    std::unique_ptr<QWidget> m_list;

private slots:
    void init()
    {
        m_site = std::make_unique<TestSite>();
        module().setConnection(&m_site->db());
    }
    void cleanup() { module().setConnection(nullptr); }

    void listProcedures_data() { kinds(); }
    void listProcedures()
    {
        QWidget* w = list();
        QVERIFY(!ComboSelectByData(w, 5, 6));
        QVERIFY(!ComboSelectFirst(w));
        QCOMPARE(ComboGetData(w, 77), 77);

        for (auto [t, d] : {std::pair{"A", 10}, {"B", 20}, {"C", 20}, {"D", 0}}) ComboAddItemData(w, t, d);
        // Filling does not select, so the caller's default still answers.
        QCOMPARE(ComboGetData(w, -3), -3);
        QVERIFY(ComboSelectByData(w, 20));
        QCOMPARE(listOf(w)->ListIndex(), 1);
        listOf(w)->setListIndex(3);
        QCOMPARE(ComboGetData(w, -3), 0);
        QVERIFY(!ComboSelectByData(w, 99, 98));
        QCOMPARE(listOf(w)->ListIndex(), 3);
        QVERIFY(ComboSelectByData(w, 99, 20));
        QCOMPARE(ComboGetData(w, -3), 20);
        QVERIFY(ComboSelectByData(w, 10, 20));
        QCOMPARE(listOf(w)->ListIndex(), 0);
        QVERIFY(ComboSelectByData(w, 0) && ComboSelectFirst(w));
        QCOMPARE(listOf(w)->ListIndex(), 0);
    }

    void fill_data() { kinds(); }
    void fill()
    {
        QVERIFY(m_site->db().execute("DELETE FROM qnd_user_group"));
        auto rs = m_site->db().openRecordset(Tables::UserGroup);
        QWidget* w = list();
        ComboAddItemData(w, "régi", 42);
        ComboFill(w, *rs, "name", "id", "name", true);
        QCOMPARE(entries(w), QStringList{"<Nincsen>=-1"});
        ComboFill(w, *rs, "name", "id", "name", false);
        QCOMPARE(listOf(w)->ListCount(), 0);

        // The deleted row is listed all the same.
        QVERIFY(m_site->db().execute(
            "INSERT INTO qnd_user_group (id, name, del_status) VALUES (1, 'Zeta', 0), (2, 'Alfa', 0), (3, 'Mu', 2)"));
        ComboFill(w, *rs, "name", "id", "name", true);
        QCOMPARE(entries(w), (QStringList{"<Nincsen>=-1", "Alfa=2", "Mu=3", "Zeta=1"}));
        QCOMPARE(rs->index(), QString());
        QCOMPARE(ComboGetData(w, -9), -9);
        ComboFill(w, *rs, "name", "id", "", false);
        QCOMPARE(entries(w), (QStringList{"Zeta=1", "Alfa=2", "Mu=3"}));
    }

    void controls()
    {
        QLineEdit edit;
        QVERIFY_THROWS_EXCEPTION(RuntimeError, listOf(&edit));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, ComboSelectFirst(static_cast<QComboBox*>(nullptr)));
        QComboBox one;
        ComboAddItemData(&one, "egy", 1);
        QVERIFY_THROWS_EXCEPTION(RuntimeError, listOf(&one)->ItemData(1));

        QCheckBox box;
        QVERIFY(CheckSet(&box, true) && CheckGet(&box));
        QVERIFY(CheckSet(&box, false) && box.checkState() == Qt::Unchecked);
        box.setCheckState(Qt::PartiallyChecked); // only a full tick counts
        QVERIFY(!CheckGet(&box));

        // On twice, Off once: the pointer is normal again; someone else's cursor stays.
        QGuiApplication::setOverrideCursor(Qt::CrossCursor);
        WaitCursorOn(&edit);
        QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
        QCOMPARE(edit.cursor().shape(), Qt::WaitCursor);
        WaitCursorOn();
        WaitCursorOff(&edit);
        QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::CrossCursor);
        QCOMPARE(edit.cursor().shape(), Qt::ArrowCursor);
        QGuiApplication::restoreOverrideCursor();

        edit.setFont(QFont(edit.font().family(), 5));
        PrepareForm(&edit);
        QCOMPARE(edit.font().pointSizeF(), 8.0);
        QVERIFY(!edit.windowIcon().isNull());
    }

    void values()
    {
        const QVariant s = NullTo(QVariant(QMetaType::fromType<QString>()), QMetaType::fromType<QString>());
        QVERIFY(!s.isNull() && s.metaType() == QMetaType::fromType<QString>() && s.toString().isEmpty());
        const QVariant n = NullTo(QVariant(), QMetaType::fromType<int>());
        QVERIFY(!n.isNull() && n.metaType() == QMetaType::fromType<int>() && n.toInt() == 0);
        QVERIFY(!NullTo(QVariant(), QMetaType::fromType<QDateTime>()).toDateTime().isValid());
        QCOMPARE(NullTo(5, QMetaType::fromType<QString>()).metaType(), QMetaType::fromType<int>());

        QCOMPARE(ReadSetting("Nap", "7").toString(), QString("3"));
        QCOMPARE(ReadSetting("Nincs ilyen", "7").toString(), QString("7"));
        QCOMPARE(ReadSetting("SystemEdit", "x").toString(), QString("x")); // another section's key
    }

    void cityOfZipcode()
    {
        QVERIFY(m_site->db().execute("INSERT INTO kmn_iranyitoszam (zipcode, city) VALUES ('1998', '  budapest  '),"
                                     " ('1999', 'BudaPest, IV. ker.'), ('5000', ' Szolnok '), ('5001', NULL)"));
        QStringList cities;
        for (const char* c : {"1117", "1139", "1998", "1999", "2092", "5000", "5001", "9999", ""})
            cities << CityOfZipcode(c);
        QCOMPARE(cities, (QStringList{"Budapest", "Budapest", "Budapest", "Budapest", "Budakeszi", "Szolnok", "", "", ""}));
    }

    void homeAndDistance()
    {
        QCOMPARE(OwnPartnerId(), 1);
        QCOMPARE(HomeZipcode(), QString("1117"));
        QCOMPARE(DistanceOfZipcode("   "), 0.0);
        QCOMPARE(DistanceOfZipcode(" 1139 "), 10.0); // the home city: the (Budapest, Budapest) row
        QCOMPARE(DistanceOfZipcode("6720"), 171.0);
        QCOMPARE(DistanceOfZipcode("9999"), 0.0);
        QVERIFY(m_site->db().execute("DELETE FROM kmn_tavolsag WHERE varos1='Budapest' AND varos2='Budapest'"));
        QCOMPARE(DistanceOfZipcode("1052"), 0.0);

        // The mailing code when only its flag is set; neither flag: the default site's code.
        put(Tables::Partner, 1, {{"pa_irszlevel", "6720"}, {"pa_kmn_default_2", true}});
        QCOMPARE(HomeZipcode(), QString("1117"));
        put(Tables::Partner, 1, {{"pa_kmn_default_1", false}});
        QCOMPARE(HomeZipcode(), QString("6720"));
        QCOMPARE(DistanceOfZipcode("1052"), 0.0); // no (Szeged, Budapest) row
        put(Tables::Partner, 1, {{"pa_kmn_default_2", false}});
        put(Tables::PartnerSite, 1, {{"mh_isz", "2000"}});
        QCOMPARE(HomeZipcode(), QString("2000"));
        put(Tables::PartnerSite, 1, {{"kmn_default", false}});
        QCOMPARE(HomeZipcode(), QString(""));
        QCOMPARE(DistanceOfZipcode("6720"), 0.0);

        put(Tables::Partner, 1, {{"pa_kmn_partner_type", 1}});
        QCOMPARE(OwnPartnerId(), 1); // kept until the program's next idle
        m_site->db().idle();
        QCOMPARE(OwnPartnerId(), -1);
        QCOMPARE(HomeZipcode(), QString(""));
    }

private:
    static void kinds()
    {
        QTest::addColumn<bool>("combo");
        QTest::newRow("QComboBox") << true;
        QTest::newRow("QListWidget") << false;
    }
    QWidget* list()
    {
        QFETCH(bool, combo);
        m_list = combo ? std::unique_ptr<QWidget>(new QComboBox) : std::make_unique<QListWidget>();
        return m_list.get();
    }
};

QTEST_MAIN(tst_controlutils)
#include "tst_controlutils.moc"
