#include "BrowseView.h"
#include "PagingSample.h"
#include "QuickPick.h"
#include "TestSite.h"
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace NexoFrame;
using namespace NexoFrame::Controls;

namespace {

BrowseViewDef viewOf(int number, int table, const QList<BrowseColumn>& columns, const QString& base = {},
                     const QString& order = {})
{
    return {number, table, columns, "id", base, order};
}

BrowseViewDef usersView(int number = 1)
{
    return viewOf(number, Tables::User,
                  {{"user_name", "Azonosító"}, {"display_name", "Név"}, {"access_denied", "Tiltva"},
                   {"identity_card_expiration", "Lejárat"}, {"email", "E-mail"}},
                  {}, "user_name");
}

// Technical groups, in key order unlike any name order; the view shows only these.
BrowseViewDef groupsView()
{
    return viewOf(2, Tables::UserGroup, {{"name", "Név"}, {"right_event", "Esemény"}}, "technical=1");
}

void addGroups(Connection& c)
{
    int id = 11;
    for (const char* name : {"Zoltán", "Ödön", "Attila", "Ábel", "100% Kft"})
        QVERIFY(c.execute(QStringLiteral("INSERT INTO qnd_user_group (id, name, technical) VALUES (?, ?, ?)"),
                          {id++, QString::fromUtf8(name), c.engine().storedBool(true)}));
}

QStringList column(const BrowseView& v, int col = 0)
{
    QStringList l;
    for (int r = 0; r < v.loadedRows(); ++r) l << v.table()->model()->index(r, col).data().toString();
    return l;
}

QList<int> ids(const QSignalSpy& spy)
{
    QList<int> l;
    for (const QList<QVariant>& args : spy) l << args.at(0).toInt();
    return l;
}

} // namespace

class TstBrowse : public QObject {
    Q_OBJECT
    std::unique_ptr<TestSite> m_site;
    Connection& db() { return m_site->db(); }

private slots:
    void init() { m_site = std::make_unique<TestSite>(); }
    void cleanup() { m_site.reset(); }

    // Conditions reach the database as values, and only on the table's own columns.
    void filterAndCells()
    {
        BrowseView v;
        v.setConnection(&db());
        v.setView(usersView());
        QCOMPARE(column(v), (QStringList{"admin", "kiss.bela", "kovacs.anna", "nagy.peter", "szabo.eva", "toth.gabor", "varga.zoltan"}));
        const int denied = column(v).indexOf("szabo.eva");
        QCOMPARE(v.table()->model()->index(denied, 2).data().toString(), QStringLiteral("✓"));
        QCOMPARE(v.table()->model()->index(0, 2).data().toString(), QString());
        // A moment shows its day and time.
        QVERIFY(v.table()->model()->index(0, 3).data().toString().startsWith(QDate::currentDate().toString("yyyy.MM.dd ")));
        QCOMPARE(v.table()->model()->index(0, 4).data().toString(), QString()); // null

        v.setFilter("user_group_id=3");
        QCOMPARE(column(v), (QStringList{"nagy.peter", "toth.gabor"}));
        v.setFilter("USER_GROUP_ID = 3 and del_status=0");
        QCOMPARE(column(v), QStringList{"nagy.peter"});
        // AND splits only between blanks; inside a value it is the value's.
        v.setFilter("\tuser_group_id>=3 \t AnD  user_group_id<=3\tAND del_status<>2 ");
        QCOMPARE(column(v), QStringList{"nagy.peter"});
        v.setFilter("user_name=nagy.peterAND del_status=0");
        QCOMPARE(v.loadedRows(), 0);
        QVERIFY_THROWS_EXCEPTION(DbError, v.setFilter("user_group_id=3 AND"));
        QVERIFY_THROWS_EXCEPTION(DbError, v.setFilter("user_group_id=3 AND 1=1"));
        QVERIFY_THROWS_EXCEPTION(DbError, v.setFilter("user_group_id 3"));
        v.setFilter("USER_GROUP_ID = 3 and del_status=0");

        QVERIFY_THROWS_EXCEPTION(DbError, v.setFilter("nincs_ilyen=1"));
        QVERIFY_THROWS_EXCEPTION(DbError, v.setFilter("user_group_id=3 OR 1=1"));
        QCOMPARE(v.filter(), QStringLiteral("USER_GROUP_ID = 3 and del_status=0"));
        QCOMPARE(column(v), QStringList{"nagy.peter"});

        const QString sly = QStringLiteral("x' OR '1'='1");
        v.setFilter("user_name=" + sly);
        QCOMPARE(v.loadedRows(), 0);
        QCOMPARE(v.selectedId(), -1);
        QVERIFY(db().execute("INSERT INTO qnd_user (id, user_group_id, user_name, display_name) VALUES (50, 1, ?, ?)",
                             {sly, QStringLiteral("'; DROP TABLE qnd_user; --")}));
        v.refresh();
        QCOMPARE(column(v), QStringList{sly});
        v.setFilter("display_name='; DROP TABLE qnd_user; --");
        QCOMPARE(v.selectedId(), 50);
        v.setFilter({});
        QCOMPARE(v.loadedRows(), 8);

        QVERIFY_THROWS_EXCEPTION(DbError, v.setView(viewOf(3, Tables::User, {{"nincs_ilyen", "?"}})));
    }

    // A read that fails leaves an empty list and says why; the next good read clears it.
    void readFailure()
    {
        QVERIFY(db().execute("DELETE FROM kmn_tavolsag"));
        QVERIFY(db().execute("INSERT INTO kmn_tavolsag (id, varos1, varos2, \"KM\") VALUES (1, 'Szeged', 'Pécs', 190)"));
        QVERIFY(db().execute("ALTER TABLE kmn_tavolsag RENAME TO kmn_tavolsag_el"));
        BrowseView v;
        v.setConnection(&db());
        QSignalSpy selection(&v, &BrowseView::selectionChanged);
        v.setView(viewOf(4, Tables::Distance, {{"varos1", "Honnan"}, {"varos2", "Hová"}, {"KM", "km"}}));
        auto* status = v.findChild<QLabel*>("lbl_status");
        QVERIFY(status && !status->isHidden());
        QVERIFY(status->text().startsWith("A lista nem olvasható"));
        QCOMPARE(v.loadedRows(), 0);
        QVERIFY(selection.isEmpty()); // was none, is none

        QVERIFY(db().execute("ALTER TABLE kmn_tavolsag_el RENAME TO kmn_tavolsag"));
        v.refresh();
        QVERIFY(status->isHidden() && status->text().isEmpty());
        QCOMPARE(column(v), QStringList{"Szeged"});
        QCOMPARE(v.table()->model()->index(0, 2).data().toString(), QStringLiteral("190"));
        QCOMPARE(ids(selection), QList<int>{1});
    }

    // A large table opens with one page read; more come as asked, and only as far as needed.
    void fetchOnDemand()
    {
        const int total = 5000;
        QVERIFY(db().transactions().lockMaster());
        QVERIFY(db().transactions().beginTrans());
        QVERIFY(db().execute("DELETE FROM olap_sample_sales"));
        for (int i = 1; i <= total; ++i)
            QVERIFY(db().execute("INSERT INTO olap_sample_sales (id, region, product, amount) VALUES (?, ?, ?, ?)",
                                 {i, QStringLiteral("Régió %1").arg(i % 7), QStringLiteral("Termék %1").arg(i), i * 1.5}));
        QVERIFY(db().transactions().commitTrans());
        QVERIFY(db().transactions().unlockMaster());

        BrowseView v;
        v.setConnection(&db());
        v.setView(viewOf(5, Tables::OlapSample, {{"product", "Termék"}, {"amount", "Összeg"}}));
        const int page = v.loadedRows();
        QVERIFY(page > 0 && page <= total / 10);
        QCOMPARE(v.selectedId(), 1);
        QCOMPARE(v.table()->model()->index(2, 1).data().toString(), QStringLiteral("4,5"));
        QVERIFY(v.table()->model()->canFetchMore({}));
        v.table()->model()->fetchMore({});
        QCOMPARE(v.loadedRows(), 2 * page);

        QVERIFY(!v.selectId(total + 1));
        QCOMPARE(v.loadedRows(), 2 * page); // a missing row reads no further pages
        QVERIFY(v.selectId(total - 10));
        QCOMPARE(v.selectedId(), total - 10);
        QVERIFY(v.loadedRows() >= total - 10 && v.loadedRows() <= total);

        v.refresh(); // from the start again, still on the same row
        QCOMPARE(v.selectedId(), total - 10);
        v.setSearchText("Termék 499");
        QCOMPARE(v.loadedRows(), 11); // 499 and 4990..4999
        QCOMPARE(v.selectedId(), total - 10);
    }

    // Pages read after the last row's sort values give the rows that counting rows off gives,
    // in the same order: over ties, nulls and Hungarian names, both ways, and from the end
    // (Ctrl+End) back up to the start. Rows are one text line high.
    void keysetPaging()
    {
        QVERIFY(fillPagingSample(db()));
        BrowseView v;
        v.setConnection(&db());
        v.setView(viewOf(9, Tables::OlapSample, {{"id", "Az."}, {"region", "Régió"}, {"quantity", "Db"}, {"sale_date", "Nap"}}));
        v.resize(600, 400);
        v.show();
        QVERIFY(v.table()->verticalHeader()->defaultSectionSize() < 26);
        QAbstractItemModel* m = v.table()->model();
        QHeaderView* header = v.table()->horizontalHeader();
        for (int section : {1, 2, 3}) {
            for (int click = 0; click < 2; ++click) {
                v.table()->setCurrentIndex({}); // the new order starts at its top
                QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(header->sectionViewportPosition(section) + 5, 5));
                const QByteArray tag = QByteArray::number(section) + (click ? " desc" : " asc");
                QStringList counted;
                for (int from = 0;; from += 200) {
                    const QList<QVariantList> page = db().select(v.query().select() + " LIMIT 200 OFFSET ?", v.query().binds + QVariantList{from});
                    for (const QVariantList& r : page) counted << r.value(0).toString();
                    if (page.size() < 200) break;
                }
                QCOMPARE(counted.size(), kPagingRows);
                QTest::keyClick(v.table(), Qt::Key_End, Qt::ControlModifier);
                QCOMPARE(v.loadedRows(), 200); // the last page alone
                QVERIFY2(column(v) == counted.mid(counted.size() - 200), tag);
                QCOMPARE(v.selectedId(), counted.last().toInt());
                for (int up = 0; v.loadedRows() < kPagingRows && up < 10; ++up) v.table()->verticalScrollBar()->setValue(0);
                QVERIFY2(column(v) == counted, tag);
                QCOMPARE(v.selectedId(), counted.last().toInt());
                QTest::keyClick(v.table(), Qt::Key_Home, Qt::ControlModifier);
                QCOMPARE(v.selectedId(), counted.first().toInt());
                v.refresh(); // from the start, downwards
                QCOMPARE(v.loadedRows(), 200);
                while (m->canFetchMore({})) m->fetchMore({});
                QVERIFY2(column(v) == counted, tag);
            }
        }
    }

    // Header clicks sort in the database in Hungarian order; the search narrows and restores.
    void sortAndSearch()
    {
        addGroups(db());
        BrowseView v;
        v.setConnection(&db());
        v.setView(groupsView());
        v.resize(600, 400);
        v.show();
        QCOMPARE(column(v), (QStringList{"Zoltán", "Ödön", "Attila", "Ábel", "100% Kft"}));
        QVERIFY(v.selectId(12));
        QSignalSpy selection(&v, &BrowseView::selectionChanged);

        QHeaderView* header = v.table()->horizontalHeader();
        const QPoint nameHeader(header->sectionViewportPosition(0) + 10, header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, nameHeader);
        QCOMPARE(column(v), (QStringList{"100% Kft", "Ábel", "Attila", "Ödön", "Zoltán"}));
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, nameHeader);
        QCOMPARE(column(v), (QStringList{"Zoltán", "Ödön", "Attila", "Ábel", "100% Kft"}));
        QCOMPARE(header->sortIndicatorOrder(), Qt::DescendingOrder);
        QCOMPARE(v.selectedId(), 12);
        QVERIFY(selection.isEmpty());

        v.setSearchText("ödö"); // accented capitals fold too, on both engines
        QCOMPARE(column(v), QStringList{"Ödön"});
        v.setSearchText("zOL");
        QCOMPARE(column(v), QStringList{"Zoltán"});
        QCOMPARE(ids(selection), QList<int>{11});
        v.setSearchText("0%");
        QCOMPARE(column(v), QStringList{"100% Kft"});
        v.setSearchText("_");
        QCOMPARE(v.loadedRows(), 0);
        v.setSearchText("-1"); // right_event holds -1 everywhere, but numbers are not searched
        QCOMPARE(v.loadedRows(), 0);
        QCOMPARE(ids(selection), (QList<int>{11, 15, -1}));

        v.setSearchText({});
        QCOMPARE(v.loadedRows(), 5);
        v.searchBox()->setFocus();
        QTest::keyClicks(v.searchBox(), "ATT");
        QTRY_COMPARE(column(v), QStringList{"Attila"});
        QCOMPARE(v.searchBox()->placeholderText(), QStringLiteral("Keresés…"));

        // A column the panel paints a mark over is not sorted by: its header click leaves the
        // order and the header's sort mark as they were.
        BrowseViewDef marked = groupsView();
        marked.columns[1].sortable = false;
        v.setSearchText({});
        v.setView(marked);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, nameHeader);
        const QStringList ordered = column(v);
        QCOMPARE(ordered.first(), QStringLiteral("100% Kft"));
        const QString orderBefore = v.query().select();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(header->sectionViewportPosition(1) + 10, header->height() / 2));
        QCOMPARE(column(v), ordered);
        QCOMPARE(v.query().select(), orderBefore);
        QCOMPARE(header->sortIndicatorSection(), 0);
        QCOMPARE(header->sortIndicatorOrder(), Qt::AscendingOrder);
    }

    // selectionChanged carries the current row's id, -1 for an empty list; Enter activates.
    void selection()
    {
        addGroups(db());
        BrowseView v;
        v.setConnection(&db());
        QSignalSpy selection(&v, &BrowseView::selectionChanged), activated(&v, &BrowseView::activated);
        v.setView(groupsView());
        QVERIFY(v.selectId(13));
        QTest::keyClick(v.table(), Qt::Key_Down);
        QTest::keyClick(v.table(), Qt::Key_Return);
        v.setFilter("name=nincs");
        v.setFilter({});
        QVERIFY(v.selectId(15));
        v.setFilter("id=15");
        QVERIFY(!v.selectId(11));
        QCOMPARE(ids(selection), (QList<int>{11, 13, 14, -1, 11, 15}));
        QCOMPARE(ids(activated), QList<int>{14});
        QCOMPARE(v.table()->selectionModel()->selectedRows().size(), 1);
    }

    // Column order and widths are kept per view number, saved as the user changes them.
    void layout()
    {
        {
            BrowseView v;
            v.setConnection(&db());
            v.setView(usersView(7));
            QHeaderView* header = v.table()->horizontalHeader();
            header->moveSection(header->visualIndex(1), 0);
            header->resizeSection(0, 222);
            // The last column reaches the edge: its width is not kept.
            QTRY_COMPARE(db().settings().read("BROWSE", "VIEW_7"),
                         QStringLiteral("display_name:120,user_name:222,access_denied:120,identity_card_expiration:120,email"));
            v.resize(900, 300);
            v.show();
            QTRY_COMPARE(header->sectionViewportPosition(4) + header->sectionSize(4), header->viewport()->width());
            v.resize(1100, 300);
            QTRY_COMPARE(header->sectionViewportPosition(4) + header->sectionSize(4), header->viewport()->width());
            QTest::qWait(600);
            QCOMPARE(db().settings().read("BROWSE", "VIEW_7"),
                     QStringLiteral("display_name:120,user_name:222,access_denied:120,identity_card_expiration:120,email"));
            header->resizeSection(3, 60); // written when the view goes
        }
        QCOMPARE(db().settings().read("BROWSE", "VIEW_7"),
                 QStringLiteral("display_name:120,user_name:222,access_denied:120,identity_card_expiration:60,email"));
        BrowseView again;
        again.setConnection(&db());
        again.setView(usersView(7));
        QHeaderView* header = again.table()->horizontalHeader();
        QCOMPARE(header->logicalIndex(0), 1);
        QCOMPARE(header->sectionSize(0), 222);
        QCOMPARE(header->sectionSize(3), 60);

        QVERIFY(db().settings().write("BROWSE", "VIEW_8", "nincs:50,email:300,email:10,user_name:x"));
        BrowseView other;
        other.setConnection(&db());
        other.setView(usersView(8));
        header = other.table()->horizontalHeader();
        QCOMPARE(header->logicalIndex(0), 4);
        QCOMPARE(header->logicalIndex(1), 0);
        QCOMPARE(header->sectionSize(4), 300);
        QCOMPARE(header->sectionSize(0), 120);
        QCOMPARE(header->sectionSize(1), 120);
    }

    void quickPick()
    {
        QuickPick qp;
        qp.setConnection(&db());
        qp.setLookup(Tables::Zipcode, "zipcode", "city");
        QSignalSpy picked(&qp, &QuickPick::picked);
        qp.show();
        QListWidget* list = qp.popupList();
        QCOMPARE(list->objectName(), QStringLiteral("lst_quickpick"));

        QTest::keyClicks(qp.lineEdit(), "10");
        QVERIFY(list->isVisible());
        QCOMPARE(list->count(), 2);
        QCOMPARE(list->item(0)->text(), QStringLiteral("1011 – Budapest I. kerület"));
        QTest::keyClick(qp.lineEdit(), Qt::Key_Down);
        QTest::keyClick(qp.lineEdit(), Qt::Key_Return);
        QCOMPARE(picked.takeFirst().at(0).toString(), QStringLiteral("1052"));
        QCOMPARE(qp.text(), QStringLiteral("1052"));
        QVERIFY(!list->isVisible());

        qp.setText({});
        QTest::keyClicks(qp.lineEdit(), "1");
        QCOMPARE(list->count(), 5);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(2)).center());
        QCOMPARE(picked.takeFirst().at(0).toString(), QStringLiteral("1117"));
        QCOMPARE(qp.text(), QStringLiteral("1117"));

        for (const char* wild : {"_0", "1%"}) { // typed wildcards are characters
            qp.setText({});
            QTest::keyClicks(qp.lineEdit(), wild);
            QVERIFY(!list->isVisible());
        }

        qp.setText({});
        QTest::keyClicks(qp.lineEdit(), "2000");
        QCOMPARE(list->count(), 1);
        QTest::keyClick(qp.lineEdit(), Qt::Key_Escape);
        QVERIFY(!list->isVisible());
        QVERIFY(picked.isEmpty());
        QTest::keyClick(qp.lineEdit(), Qt::Key_Return); // an exact code, left as typed
        QCOMPARE(picked.takeFirst().at(0).toString(), QStringLiteral("2000"));
        QTest::keyClick(qp.lineEdit(), Qt::Key_Return);
        QVERIFY(picked.isEmpty());
    }
};

QTEST_MAIN(TstBrowse)
#include "tst_browse.moc"
