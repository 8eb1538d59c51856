#include "OlapPreview.h"
#include <QAreaSeries>
#include <QBarCategoryAxis>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QComboBox>
#include <QLabel>
#include <QLegend>
#include <QLineSeries>
#include <QPieSeries>
#include <QSignalSpy>
#include <QStackedBarSeries>
#include <QTableView>
#include <QTemporaryDir>
#include <QtTest>

using namespace NexoFrame::Olap;

namespace {

constexpr int kRows = xda_vertical, kColumns = xda_horizontal;

// Sales: region down, year across, channel as a page; amount and quantity.
const QList<QVariantList> kSales{
    {"Észak", 2023, "Bolt", 10.0, 1}, {"Észak", 2024, "Web", 20.0, 2}, {"Dél", 2023, "Bolt", 5.0, 1},
    {"Dél", 2023, "Web", 7.0, 3},     {"Dél", 2024, "Bolt", 8.0, 0},
};

PivotResult cube(QList<PivotDimension> dims, QList<PivotFact> facts, QList<std::pair<int, QVariant>> page = {})
{
    Pivot pivot(PivotSpec{std::move(dims), std::move(facts), std::move(page)});
    for (const QVariantList& row : kSales) pivot.addRow(row);
    return pivot.result();
}

PivotDimension dim(const char* caption, int column, int type, int axis, int order = 0)
{
    PivotDimension d;
    d.caption = QString::fromUtf8(caption);
    d.column = column;
    d.type = type;
    d.axis = axis;
    d.sortOrder = order;
    return d;
}

PivotFact fact(const char* caption, int column, int order = 0, int algorithm = xfaa_SUM, const QString& formula = {})
{
    return PivotFact{QString::fromUtf8(caption), column, algorithm, formula, order};
}

// Region × year × channel page, the amount summed.
PivotResult sales(QList<std::pair<int, QVariant>> page = {})
{
    return cube({dim("Régió", 0, xoft_String, kRows), dim("Év", 1, xoft_String, kColumns), dim("Csatorna", 2, xoft_String, xda_outside)},
                {fact("Összeg", 3)}, std::move(page));
}

QStringList column(const QTableView* grid, int c)
{
    QStringList out;
    for (int r = 0; r < grid->model()->rowCount(); ++r) out << grid->model()->index(r, c).data().toString();
    return out;
}

QStringList headers(const QTableView* grid)
{
    QStringList out;
    for (int c = 0; c < grid->model()->columnCount(); ++c) out << grid->model()->headerData(c, Qt::Horizontal).toString();
    return out;
}

} // namespace

class TestPreview : public QObject {
    Q_OBJECT
private slots:
    void gridHeadersTotalsAndErrors();
    void gridNestedRows();
    void chartKinds_data();
    void chartKinds();
    void chartHiddenAndMessage();
    void pageFilters();
    void exports();
};

void TestPreview::gridHeadersTotalsAndErrors()
{
    OlapPreview preview;
    QCOMPARE(preview.grid()->objectName(), QStringLiteral("grd_pivot"));
    preview.setResult(sales(), {});
    const QTableView* grid = preview.grid();
    QCOMPARE(headers(grid), (QStringList{"Régió", "2023", "2024", "Összesen"}));
    QCOMPARE(column(grid, 0), (QStringList{"Dél", "Észak", "Összesen"}));
    QCOMPARE(column(grid, 1), (QStringList{"12", "10", "22"}));
    QCOMPARE(column(grid, 3), (QStringList{"20", "30", "50"}));
    const QModelIndex plain = grid->model()->index(0, 1), total = grid->model()->index(2, 1), side = grid->model()->index(0, 3);
    QVERIFY(!plain.data(Qt::FontRole).value<QFont>().bold());
    QVERIFY(total.data(Qt::FontRole).value<QFont>().bold());
    QVERIFY(side.data(Qt::FontRole).value<QFont>().bold());
    QVERIFY(side.data(Qt::BackgroundRole).isValid() && !plain.data(Qt::BackgroundRole).isValid());
    QCOMPARE(plain.data(Qt::TextAlignmentRole).toInt() & Qt::AlignRight, int(Qt::AlignRight));

    // Two facts: one column per fact under each year, named; a formula dividing by an empty
    // quantity is an error cell, shown red.
    preview.setResult(cube({dim("Régió", 0, xoft_String, kRows), dim("Év", 1, xoft_String, kColumns)},
                           {fact("Összeg", 3, 0), fact("Darab", 4, 1), fact("Egységár", -1, 2, xfam_FORMULA, "[Összeg] / [Darab]")}),
                      {});
    QCOMPARE(headers(grid).mid(0, 4), (QStringList{"Régió", "2023 – Összeg", "2023 – Darab", "2023 – Egységár"}));
    QCOMPARE(headers(grid).size(), 1 + 3 * 3);
    const QModelIndex error = grid->model()->index(0, 6); // Dél 2024: 8 / 0
    QVERIFY2(error.data().toString().startsWith("#HIBA"), qPrintable(error.data().toString()));
    QCOMPARE(error.data(Qt::ForegroundRole).value<QColor>(), QColor(0xC0, 0x00, 0x00));
    QCOMPARE(grid->model()->index(0, 3).data().toString(), "3"); // Dél 2023: 12 / 4
    QVERIFY(!grid->model()->index(0, 3).data(Qt::ForegroundRole).isValid());
}

void TestPreview::gridNestedRows()
{
    // Outer values only where they change; subtotals named by their group.
    OlapPreview preview;
    preview.setResult(cube({dim("Régió", 0, xoft_String, kRows, 0), dim("Csatorna", 2, xoft_String, kRows, 1)}, {fact("Összeg", 3)}), {});
    const QTableView* grid = preview.grid();
    QCOMPARE(headers(grid), (QStringList{"Régió", "Csatorna", "Összeg"}));
    QCOMPARE(column(grid, 0), (QStringList{"Dél", "", "Dél összesen", "Észak", "", "Észak összesen", "Összesen"}));
    QCOMPARE(column(grid, 1), (QStringList{"Bolt", "Web", "", "Bolt", "Web", "", ""}));
    QCOMPARE(column(grid, 2), (QStringList{"13", "7", "20", "10", "20", "30", "50"}));
    QVERIFY(grid->model()->index(2, 0).data(Qt::FontRole).value<QFont>().bold());
    QVERIFY(!grid->model()->index(1, 2).data(Qt::FontRole).value<QFont>().bold());
}

void TestPreview::chartKinds_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("stack");
    QTest::addColumn<bool>("inRows");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("count");
    QTest::newRow("bar") << 1 << false << false << int(QAbstractSeries::SeriesTypeBar) << 1;
    QTest::newRow("stacked bar") << 1 << true << false << int(QAbstractSeries::SeriesTypeStackedBar) << 1;
    QTest::newRow("3d bar as bar") << 0 << false << false << int(QAbstractSeries::SeriesTypeBar) << 1;
    QTest::newRow("line") << 3 << false << false << int(QAbstractSeries::SeriesTypeLine) << 2;
    QTest::newRow("3d step") << 6 << false << false << int(QAbstractSeries::SeriesTypeLine) << 2;
    QTest::newRow("stacked area") << 5 << true << false << int(QAbstractSeries::SeriesTypeArea) << 2;
    QTest::newRow("pie") << 14 << false << false << int(QAbstractSeries::SeriesTypePie) << 1;
    QTest::newRow("xy") << 16 << false << false << int(QAbstractSeries::SeriesTypeScatter) << 2;
    QTest::newRow("combination") << 9 << false << false << int(QAbstractSeries::SeriesTypeBar) << 2;
    QTest::newRow("bar in rows") << 1 << false << true << int(QAbstractSeries::SeriesTypeBar) << 1;
}

void TestPreview::chartKinds()
{
    QFETCH(int, type);
    QFETCH(bool, stack);
    QFETCH(bool, inRows);
    QFETCH(int, kind);
    QFETCH(int, count);
    OlapPreview preview;
    QCOMPARE(preview.chartView()->objectName(), QStringLiteral("chv_chart"));
    ChartOptions options;
    options.type = type;
    options.stackSeries = stack;
    options.seriesInRows = inRows;
    options.showMarkers = true;
    options.showLegend = type != 14;
    preview.setResult(sales(), options);
    const QChart* chart = preview.chartView()->chart();
    QVERIFY(!preview.chartView()->isHidden());
    QCOMPARE(chart->legend()->isVisible(), type != 14);
    QVERIFY(chart->localizeNumbers()); // the value axis reads "1 234,5"
    QCOMPARE(chart->locale().language(), QLocale::Hungarian);
    const auto series = chart->series();
    QCOMPARE(series.size(), count);
    QCOMPARE(int(series.first()->type()), kind);

    // Series from the years (or the regions), categories from the other axis, totals left out.
    if (auto* bars = qobject_cast<QAbstractBarSeries*>(series.first())) {
        auto* axis = qobject_cast<QBarCategoryAxis*>(chart->axes(Qt::Horizontal).first());
        QCOMPARE(axis->categories(), (inRows ? QStringList{"2023", "2024"} : QStringList{"Dél", "Észak"}));
        QCOMPARE(bars->count(), type == 9 ? 1 : 2);
        QCOMPARE(bars->barSets().first()->label(), inRows ? "Dél" : "2023");
        QCOMPARE(bars->barSets().first()->at(0), 12.0);
        QCOMPARE(bars->barSets().first()->at(1), inRows ? 8.0 : 10.0);
    }
    if (type == 9) QCOMPARE(series.last()->type(), QAbstractSeries::SeriesTypeLine);
    if (auto* line = qobject_cast<QLineSeries*>(series.first())) {
        QVERIFY(line->pointsVisible());
        QCOMPARE(line->count(), type == 6 ? 4 : 2); // a step holds each value across its category
        QCOMPARE(line->at(1).y(), type == 6 ? 12.0 : 10.0);
    }
    if (auto* area = qobject_cast<QAreaSeries*>(series.last())) { // stacked: 2024 lies on 2023
        QCOMPARE(area->lowerSeries()->at(0).y(), 12.0);
        QCOMPARE(area->upperSeries()->at(0).y(), 20.0);
    }
    if (auto* pie = qobject_cast<QPieSeries*>(series.first())) {
        QCOMPARE(pie->count(), 2);
        QCOMPARE(pie->slices().first()->label(), "Dél");
        QCOMPARE(pie->slices().first()->value(), 12.0);
    }
}

void TestPreview::chartHiddenAndMessage()
{
    OlapPreview preview;
    ChartOptions options;
    options.visible = false;
    preview.setResult(sales(), options);
    QVERIFY(preview.chartView()->isHidden());
    QVERIFY(!preview.grid()->isHidden() && preview.messageLabel()->isHidden());

    preview.setMessage("A lekérdezés nem adott vissza sort.");
    QCOMPARE(preview.messageLabel()->objectName(), QStringLiteral("lbl_message"));
    QVERIFY(!preview.messageLabel()->isHidden());
    QCOMPARE(preview.messageLabel()->text(), QStringLiteral("A lekérdezés nem adott vissza sort."));
    QVERIFY(!preview.grid()->isVisibleTo(&preview));
    QCOMPARE(preview.grid()->model()->rowCount(), 0);
    QString error;
    QVERIFY(!preview.exportCsv(QDir::temp().filePath("nexo_preview_none.csv"), &error));
    QVERIFY(error.startsWith("Nincs"));

    preview.setResult(sales(), {});
    QVERIFY(preview.messageLabel()->isHidden() && !preview.chartView()->isHidden());
}

void TestPreview::pageFilters()
{
    OlapPreview preview;
    QSignalSpy spy(&preview, &OlapPreview::pageFilterChanged);
    preview.setResult(sales(), {});
    preview.show();
    QVERIFY(QTest::qWaitForWindowExposed(&preview));
    QComboBox* combo = preview.findChild<QComboBox*>("cmb_page_0");
    QVERIFY(combo && combo == preview.pageCombo(0));
    QCOMPARE(combo->count(), 3);
    QCOMPARE(combo->itemText(0), "<mind>");
    QCOMPARE(combo->itemText(2), "Web");

    QTest::keyClick(combo, Qt::Key_End);
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.first().value(0).toInt(), 0);
    QCOMPARE(spy.first().value(1), QVariant("Web"));

    // The owner answers with the filtered cube: the choice stays, no signal echoes back.
    preview.setResult(sales({{2, "Web"}}), {});
    combo = preview.pageCombo(0);
    QCOMPARE(combo->currentText(), "Web");
    QCOMPARE(column(preview.grid(), 1).last(), "7");
    QCOMPARE(spy.size(), 1);

    QTest::keyClick(combo, Qt::Key_Home);
    QCOMPARE(spy.size(), 2);
    QVERIFY(!spy.last().value(1).value<QVariant>().isValid());
}

void TestPreview::exports()
{
    QTemporaryDir dir;
    OlapPreview preview;
    preview.setResult(sales(), {});
    QString error;
    const QString csv = dir.filePath("kimutatas.csv");
    QVERIFY2(preview.exportCsv(csv, &error), qPrintable(error));
    QFile file(csv);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("\xEF\xBB\xBF"
                                        "R\xC3\xA9gi\xC3\xB3;2023;2024;\xC3\x96sszesen\r\n"
                                        "D\xC3\xA9l;12;8;20\r\n"
                                        "\xC3\x89szak;10;20;30\r\n"
                                        "\xC3\x96sszesen;22;28;50\r\n"));

    const QString pdf = dir.filePath("kimutatas.pdf");
    QVERIFY2(preview.exportPdf(pdf, "Értékesítés régiónként", &error), qPrintable(error));
    QFile out(pdf);
    QVERIFY(out.open(QIODevice::ReadOnly));
    QVERIFY(out.size() > 1000);
    QCOMPARE(out.read(4), QByteArray("%PDF"));

    // A folder that is not there: false and a Hungarian reason, for both.
    const QString missing = dir.filePath("nincs/ilyen");
    error.clear();
    QVERIFY(!preview.exportCsv(missing + ".csv", &error));
    QVERIFY(error.contains("nem írható"));
    error.clear();
    QVERIFY(!preview.exportPdf(missing + ".pdf", "x", &error));
    QVERIFY(error.contains("nem írható"));
}

QTEST_MAIN(TestPreview)
#include "tst_preview.moc"
