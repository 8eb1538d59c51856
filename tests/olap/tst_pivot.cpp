#include "Pivot.h"

#include <QLocale>
#include <QtTest>
#include <cmath>

using namespace NexoFrame::Olap;

namespace {

// The hand-made source: region, product, month, qty, amount, year.
enum Col { Region, Product, Month, Qty, Amount, Year };

const QVariant null;

QList<QVariantList> sales()
{
    return {
        {"Észak", "Alma", 1, 5, 10.5, 2023},
        {"Észak", "Alma", 1, 3, 20.25, 2024},
        {"Észak", "Alma", 2, null, 7.0, 2023},
        {"Észak", "Körte", 1, 2, 10.0, 2024},
        {"Észak", "Körte", 2, 4, null, 2023},
        {"Dél", "Alma", 1, 1, 10.0, 2023},
        {"Dél", "Alma", 1, 6, -3.5, 2024},
        {"Dél", "Szilva", 2, 7, 12.0, 2023},
        {"Dél", "Szilva", 2, null, 12.0, 2024},
        {"Dél", "Szilva", 3, 2, 1000.0, 2024},
        {"Kelet", "Alma", 3, 8, 4.0, 2023},
        {"Kelet", "Barack", 1, 9, 10.0, 2023},
        {null, "Alma", 2, 1, 2.5, 2024},
        {"Kelet", "Barack", 1, 1, null, 2024},
        {"Dél", "Alma", 1, 2, 0.25, 2023},
    };
}

PivotDimension dim(const QString& caption, int column, int type, int axis, int sortOrder, bool totals = true,
                   bool descending = false)
{
    PivotDimension d;
    d.caption = caption;
    d.column = column;
    d.type = type;
    d.axis = axis;
    d.sortOrder = sortOrder;
    d.totals = totals;
    d.descending = descending;
    return d;
}

PivotFact fact(const QString& caption, int column, int algorithm, int sortOrder = 0, const QString& formula = {})
{
    PivotFact f;
    f.caption = caption;
    f.column = column;
    f.algorithm = algorithm;
    f.sortOrder = sortOrder;
    f.formula = formula;
    return f;
}

PivotResult pivot(const PivotSpec& spec, const QList<QVariantList>& rows = sales())
{
    Pivot p(spec);
    for (const QVariantList& r : rows) p.addRow(r);
    return p.result();
}

// Headers as "Észak/Alma", a subtotal as "Észak/*", the grand total as "*", null as "-".
QStringList describe(const QList<PivotHeader>& headers)
{
    QStringList out;
    for (const PivotHeader& h : headers) {
        QStringList parts;
        for (const QVariant& v : h.values) parts << (v.isNull() ? QStringLiteral("-") : v.toString());
        if (h.isTotal) parts << QStringLiteral("*");
        out << parts.join(QLatin1Char('/'));
    }
    return out;
}

// Whether a source row lies below a header of an axis whose dimensions read `columns`.
bool under(const PivotHeader& h, const QList<int>& columns, const QVariantList& row)
{
    for (int i = 0; i < h.values.size(); ++i) {
        const QVariant& mine = row.at(columns[i]);
        if (mine.isNull() != h.values[i].isNull()) return false;
        if (!mine.isNull() && mine != h.values[i]) return false;
    }
    return true;
}

// The expected aggregate of some source values, computed the plain way (two passes).
QVariant expected(int algorithm, const QVariantList& raw)
{
    QList<double> v;
    qint64 count = 0;
    for (const QVariant& x : raw) {
        if (x.isNull()) continue;
        ++count;
        v << x.toDouble();
    }
    if (algorithm == xfam_COUNT) return count;
    if (v.isEmpty()) return {};
    const double n = double(v.size());
    double sum = 0, sumSq = 0;
    for (double x : v) {
        sum += x;
        sumSq += x * x;
    }
    const double mean = sum / n;
    double dev = 0, sq = 0;
    for (double x : v) {
        dev += std::abs(x - mean);
        sq += (x - mean) * (x - mean);
    }
    switch (algorithm) {
    case xfaa_SUM:
    case xfam_SUM: return sum;
    case xfaa_MIN:
    case xfam_MIN: return *std::min_element(v.begin(), v.end());
    case xfaa_MAX:
    case xfam_MAX: return *std::max_element(v.begin(), v.end());
    case xfaa_LAST: return v.last();
    case xfam_AVG: return mean;
    case xfam_AVEDEV: return dev / n;
    case xfam_VAR: return v.size() < 2 ? QVariant() : QVariant(sq / (n - 1));
    case xfam_STDDEV: return v.size() < 2 ? QVariant() : QVariant(std::sqrt(sq / (n - 1)));
    case xfam_VARP: return sq / n;
    case xfam_STDDEVP: return std::sqrt(sq / n);
    case xfam_RMS: return std::sqrt(sumSq / n);
    }
    return {};
}

bool near(const QVariant& actual, const QVariant& wanted)
{
    if (!wanted.isValid()) return !actual.isValid();
    if (!actual.isValid()) return false;
    const double a = actual.toDouble(), w = wanted.toDouble();
    return std::abs(a - w) <= 1e-9 * std::max(1.0, std::abs(w));
}

QString show(const QVariant& v) { return v.isValid() ? v.toString() : QStringLiteral("(üres)"); }

} // namespace

class tst_pivot : public QObject {
    Q_OBJECT

private slots:
    void algorithmsOverCellsAndTotals_data();
    void algorithmsOverCellsAndTotals();
    void varianceOfLargeCloseValues();
    void ranksWithinColumns();
    void nestedHeaders_data();
    void nestedHeaders();
    void pageFilter();
    void formulas();
    void valueOrder();
    void axesWithoutDimensions();
    void texts();
};

void tst_pivot::algorithmsOverCellsAndTotals_data()
{
    QTest::addColumn<int>("algorithm");
    QTest::newRow("SUM") << int(xfaa_SUM);
    QTest::newRow("MIN") << int(xfaa_MIN);
    QTest::newRow("MAX") << int(xfaa_MAX);
    QTest::newRow("LAST") << int(xfaa_LAST);
    QTest::newRow("xfam SUM") << int(xfam_SUM);
    QTest::newRow("xfam MIN") << int(xfam_MIN);
    QTest::newRow("xfam MAX") << int(xfam_MAX);
    QTest::newRow("COUNT") << int(xfam_COUNT);
    QTest::newRow("AVG") << int(xfam_AVG);
    QTest::newRow("AVEDEV") << int(xfam_AVEDEV);
    QTest::newRow("VAR") << int(xfam_VAR);
    QTest::newRow("STDDEV") << int(xfam_STDDEV);
    QTest::newRow("VARP") << int(xfam_VARP);
    QTest::newRow("STDDEVP") << int(xfam_STDDEVP);
    QTest::newRow("RMS") << int(xfam_RMS);
}

// Every cell, subtotal and grand total against the source rows below it: totals aggregate
// the rows themselves (an average of a total is not the average of averages).
void tst_pivot::algorithmsOverCellsAndTotals()
{
    QFETCH(int, algorithm);
    PivotSpec spec;
    spec.dimensions = {dim("Hónap", Month, xoft_Integer, xda_horizontal, 0),
                       dim("Termék", Product, xoft_String, xda_vertical, 1),
                       dim("Régió", Region, xoft_String, xda_every, 0)};
    spec.facts = {fact("Érték", Amount, algorithm)};
    const PivotResult r = pivot(spec);
    QCOMPARE(r.rowDimensions.size(), 2);
    QCOMPARE(r.rowDimensions[0].caption, QStringLiteral("Régió"));
    const QList<int> rowColumns{Region, Product}, colColumns{Month};
    int checked = 0;
    for (int i = 0; i < r.rows.size(); ++i) {
        for (int j = 0; j < r.columns.size(); ++j) {
            QVariantList values;
            bool any = false;
            for (const QVariantList& row : sales()) {
                if (!under(r.rows[i], rowColumns, row) || !under(r.columns[j], colColumns, row)) continue;
                any = true;
                values << row[Amount];
            }
            const QVariant want = any ? expected(algorithm, values) : QVariant();
            const QVariant got = r.cell(i, j, 0);
            QVERIFY2(near(got, want), qPrintable(QStringLiteral("%1 × %2: %3, expected %4")
                                                     .arg(describe({r.rows[i]}).join(QString()),
                                                          describe({r.columns[j]}).join(QString()), show(got), show(want))));
            checked += want.isValid();
        }
    }
    QVERIFY(checked >= 10);
}

// Welford's running variance keeps the digits a sum of squares loses next to 1e9.
void tst_pivot::varianceOfLargeCloseValues()
{
    PivotSpec spec;
    spec.facts = {fact("Szórásnégyzet", 0, xfam_VAR), fact("Szórás", 0, xfam_STDDEVP, 1)};
    QList<QVariantList> rows;
    for (double x : {4.0, 7.0, 13.0, 16.0}) rows << QVariantList{1e9 + x};
    const PivotResult r = pivot(spec, rows);
    QVERIFY(std::abs(r.cell(0, 0, 0).toDouble() - 30.0) < 1e-6);
    QVERIFY(std::abs(r.cell(0, 0, 1).toDouble() - std::sqrt(22.5)) < 1e-6);
}

void tst_pivot::ranksWithinColumns()
{
    PivotSpec spec;
    spec.dimensions = {dim("Régió", Region, xoft_String, xda_vertical, 0),
                       dim("Termék", Product, xoft_String, xda_vertical, 1),
                       dim("Hónap", Month, xoft_Integer, xda_horizontal, 0)};
    spec.facts = {fact("Fel", Amount, xfam_RANKUP, 0), fact("Le", Amount, xfam_RANKDOWN, 1),
                  fact("Összeg", Amount, xfam_SUM, 2)};
    const PivotResult r = pivot(spec);
    bool tie = false;
    for (int j = 0; j < r.columns.size(); ++j) {
        for (int i = 0; i < r.rows.size(); ++i) {
            const QVariant sum = r.cell(i, j, 2);
            if (r.rows[i].isTotal || r.columns[j].isTotal || !sum.isValid()) {
                QVERIFY(!r.cell(i, j, 0).isValid());
                QVERIFY(!r.cell(i, j, 1).isValid());
                continue;
            }
            int below = 0, above = 0;
            for (int k = 0; k < r.rows.size(); ++k) {
                const QVariant other = r.cell(k, j, 2);
                if (r.rows[k].isTotal || !other.isValid() || k == i) continue;
                below += other.toDouble() < sum.toDouble();
                above += other.toDouble() > sum.toDouble();
                tie = tie || other.toDouble() == sum.toDouble();
            }
            QCOMPARE(r.cell(i, j, 0), QVariant(qlonglong(below + 1)));
            QCOMPARE(r.cell(i, j, 1), QVariant(qlonglong(above + 1)));
        }
    }
    QVERIFY2(tie, "the data must hold a tie");
}

void tst_pivot::nestedHeaders_data()
{
    QTest::addColumn<QList<PivotDimension>>("rowDims");
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QStringList>("columns");

    QTest::newRow("descending regions, totals on both")
        << QList<PivotDimension>{dim("Régió", Region, xoft_String, xda_vertical, 0, true, true),
                                 dim("Termék", Product, xoft_String, xda_vertical, 1, true)}
        << QStringList{"-/Alma", "-/*", "Kelet/Alma", "Kelet/Barack", "Kelet/*", "Észak/Alma", "Észak/Körte",
                       "Észak/*", "Dél/Alma", "Dél/Szilva", "Dél/*", "*"}
        << QStringList{"1", "2", "3", "*"};
    // The middle dimension has no totals: its groups get none, the outer and inner ones do.
    QTest::newRow("three levels, middle without totals")
        << QList<PivotDimension>{dim("Hónap", Month, xoft_Integer, xda_vertical, 2, true, true),
                                 dim("Régió", Region, xoft_String, xda_vertical, 0, true),
                                 dim("Termék", Product, xoft_String, xda_vertical, 1, false)}
        << QStringList{"-/Alma/2", "-/Alma/*", "Dél/Alma/1", "Dél/Alma/*", "Dél/Szilva/3", "Dél/Szilva/2",
                       "Dél/Szilva/*", "Észak/Alma/2", "Észak/Alma/1", "Észak/Alma/*", "Észak/Körte/2",
                       "Észak/Körte/1", "Észak/Körte/*", "Kelet/Alma/3", "Kelet/Alma/*", "Kelet/Barack/1",
                       "Kelet/Barack/*", "*"}
        << QStringList{"1", "2", "3", "*"};
}

void tst_pivot::nestedHeaders()
{
    QFETCH(QList<PivotDimension>, rowDims);
    QFETCH(QStringList, rows);
    QFETCH(QStringList, columns);
    PivotSpec spec;
    spec.dimensions = rowDims;
    spec.dimensions << dim("Hónap", Month, xoft_Integer, xda_horizontal, 0, true);
    spec.dimensions << dim("Rejtett", Year, xoft_Integer, xda_invisible, 0, true);
    spec.facts = {fact("Összeg", Amount, xfam_SUM)};
    const PivotResult r = pivot(spec);
    QCOMPARE(describe(r.rows), rows);
    QCOMPARE(describe(r.columns), columns);
    QCOMPARE(r.sourceRows, qint64(sales().size()));
    QVERIFY(r.pageDimensions.isEmpty());
}

void tst_pivot::pageFilter()
{
    PivotSpec spec;
    spec.dimensions = {dim("Év", Year, xoft_Integer, xda_outside, 0), dim("Régió", Region, xoft_String, xda_vertical, 0)};
    spec.facts = {fact("Összeg", Amount, xfam_SUM), fact("Darab", Qty, xfam_COUNT, 1)};
    spec.pageFilter = {{0, 2024}};
    const PivotResult r = pivot(spec);
    QCOMPARE(r.pageDimensions.size(), 1);
    QCOMPARE(r.pageValues, QList<QVariantList>{(QVariantList{qlonglong(2023), qlonglong(2024)})});
    QCOMPARE(describe(r.rows), (QStringList{"-", "Dél", "Észak", "Kelet", "*"}));
    for (int i = 0; i < r.rows.size(); ++i) {
        QVariantList amounts, qtys;
        for (const QVariantList& row : sales())
            if (row[Year].toInt() == 2024 && under(r.rows[i], {Region}, row)) {
                amounts << row[Amount];
                qtys << row[Qty];
            }
        QVERIFY2(near(r.cell(i, 0, 0), expected(xfam_SUM, amounts)), qPrintable(describe({r.rows[i]}).join(QString())));
        QCOMPARE(r.cell(i, 0, 1), expected(xfam_COUNT, qtys));
    }
    // Kelet has a 2024 row without an amount: an empty sum, a count of one.
    QVERIFY(!r.cell(3, 0, 0).isValid());
    QCOMPARE(r.cell(3, 0, 1).toInt(), 1);

    spec.pageFilter = {{0, 1999}};
    const PivotResult none = pivot(spec);
    QVERIFY(none.rows.isEmpty());
    QCOMPARE(none.pageValues[0].size(), 2);
}

void tst_pivot::formulas()
{
    PivotSpec spec;
    spec.dimensions = {dim("Régió", Region, xoft_String, xda_vertical, 0)};
    spec.facts = {fact("Átlag", -1, xfam_FORMULA, 2, "[Összeg] / [ Darab ]"),
                  fact("Összeg", Amount, xfam_SUM, 0),
                  fact("Darab", Qty, xfam_COUNT, 1),
                  fact("Dupla átlag", -1, xfam_FORMULA, 3, "2 * [Átlag] + 0.5"),
                  fact("Hibás", -1, xfam_FORMULA, 4, "[Összeg] / ("),
                  fact("Ismeretlen", -1, xfam_FORMULA, 5, "[Nincs ilyen] + 1"),
                  fact("Nullával", -1, xfam_FORMULA, 6, "[Összeg] / 0"),
                  fact("Kör A", -1, xfam_FORMULA, 7, "[Kör B] + 1"),
                  fact("Kör B", -1, xfam_FORMULA, 8, "[Kör A] + 1")};
    const PivotResult r = pivot(spec);
    QCOMPARE(r.facts[2].caption, QStringLiteral("Átlag"));
    for (int i = 0; i < r.rows.size(); ++i) {
        QVariantList amounts, qtys;
        for (const QVariantList& row : sales())
            if (under(r.rows[i], {Region}, row)) {
                amounts << row[Amount];
                qtys << row[Qty];
            }
        const QVariant sum = expected(xfam_SUM, amounts);
        const double count = expected(xfam_COUNT, qtys).toDouble();
        const QVariant ratio = sum.isValid() && count != 0 ? QVariant(sum.toDouble() / count) : QVariant();
        QVERIFY2(near(r.cell(i, 0, 2), ratio), qPrintable(show(r.cell(i, 0, 2))));
        QVERIFY(near(r.cell(i, 0, 3), ratio.isValid() ? QVariant(2 * ratio.toDouble() + 0.5) : QVariant()));
        for (int f = 4; f < 9; ++f) {
            const QString text = r.cell(i, 0, f).toString();
            QVERIFY2(text.startsWith(QStringLiteral("#HIBA: ")), qPrintable(text));
            QCOMPARE(PivotResult::cellText(r.cell(i, 0, f)), text);
        }
        QVERIFY(r.cell(i, 0, 6).toString().contains(QStringLiteral("érvénytelen eredmény")));
    }
    QVERIFY(r.cell(0, 0, 5).toString().contains(QStringLiteral("Nincs ilyen")));
}

// Text in Hungarian order, numbers by number even when read as text, dates by date; null
// first in either direction.
void tst_pivot::valueOrder()
{
    auto order = [](int type, bool descending, const QVariantList& values) {
        PivotSpec spec;
        spec.dimensions = {dim("Érték", 0, type, xda_vertical, 0, false, descending)};
        QList<QVariantList> rows;
        for (const QVariant& v : values) rows << QVariantList{v};
        QStringList out;
        for (const PivotHeader& h : pivot(spec, rows).rows)
            out << (h.values[0].isNull() ? QStringLiteral("-") : PivotResult::headerText(h.values[0], type));
        return out;
    };
    const QVariantList names{"Zsolt", "Ödön", "Csaba", null, "Ábel", "Zoltán", "Cukor", "Attila", "Csaba"};
    QCOMPARE(order(xoft_String, false, names),
             (QStringList{"-", "Ábel", "Attila", "Cukor", "Csaba", "Ödön", "Zoltán", "Zsolt"}));
    QCOMPARE(order(xoft_String, true, names),
             (QStringList{"-", "Zsolt", "Zoltán", "Ödön", "Csaba", "Cukor", "Attila", "Ábel"}));
    QCOMPARE(order(xoft_Integer, false, {"10", 2, "1", qlonglong(2), null, 100.0}),
             (QStringList{"-", "1", "2", "10", "100"}));
    QCOMPARE(order(xoft_Date, true, {"2024-02-01 00:00:00", QDate(2023, 12, 31), QDateTime(QDate(2024, 1, 15), QTime(8, 30)),
                                     QDate(2024, 2, 1)}),
             (QStringList{"2024.02.01", "2024.01.15", "2023.12.31"}));
    QCOMPARE(order(xoft_Boolean, false, {-1, 0, true, "0", null}), (QStringList{"-", "Nem", "Igen"}));
}

void tst_pivot::axesWithoutDimensions()
{
    PivotSpec spec;
    spec.dimensions = {dim("Régió", Region, xoft_String, xda_vertical, 0, false)};
    spec.facts = {fact("Összeg", Amount, xfam_SUM)};
    const PivotResult r = pivot(spec);
    QCOMPARE(r.columns.size(), 1);
    QVERIFY(!r.columns[0].isTotal);
    QVERIFY(r.columns[0].values.isEmpty());
    QCOMPARE(describe(r.rows), (QStringList{"-", "Dél", "Észak", "Kelet"}));
    QVERIFY(near(r.cell(1, 0, 0), 10.0 - 3.5 + 12.0 + 12.0 + 1000.0 + 0.25));

    spec.dimensions.clear();
    const PivotResult whole = pivot(spec);
    QCOMPARE(whole.rows.size(), 1);
    QCOMPARE(whole.columns.size(), 1);
    QVariantList amounts;
    for (const QVariantList& row : sales()) amounts << row[Amount];
    QVERIFY(near(whole.cell(0, 0, 0), expected(xfam_SUM, amounts)));
    QVERIFY(!whole.cell(0, 1, 0).isValid());

    const PivotResult empty = pivot(spec, {});
    QCOMPARE(empty.rows.size(), 1);
    QVERIFY(!empty.cell(0, 0, 0).isValid());
}

void tst_pivot::texts()
{
    const QLocale hu(QLocale::Hungarian);
    const QString g = hu.groupSeparator(), dec = hu.decimalPoint();
    QCOMPARE(PivotResult::headerText(QDate(2024, 3, 5), xoft_Date), QStringLiteral("2024.03.05"));
    QCOMPARE(PivotResult::headerText("2024-03-05 14:07:09", xoft_Date), QStringLiteral("2024.03.05"));
    QCOMPARE(PivotResult::headerText(QDateTime(QDate(2024, 3, 5), QTime(14, 7, 9)), xoft_DateTime),
             QStringLiteral("2024.03.05 14:07"));
    QCOMPARE(PivotResult::headerText(QTime(9, 5, 3), xoft_Time), QStringLiteral("09:05:03"));
    QCOMPARE(PivotResult::headerText(true, xoft_Boolean), QStringLiteral("Igen"));
    QCOMPARE(PivotResult::headerText(0, xoft_Boolean), QStringLiteral("Nem"));
    QCOMPARE(PivotResult::headerText(1234567.6, xoft_Currency), "1" + g + "234" + g + "568 Ft");
    QCOMPARE(PivotResult::headerText(1234.567, xoft_Float), "1" + g + "234" + dec + "57");
    QCOMPARE(PivotResult::headerText(qlonglong(1234567), xoft_Integer), "1" + g + "234" + g + "567");
    QCOMPARE(PivotResult::headerText(QVariant(), xoft_Integer), QString());
    QCOMPARE(PivotResult::headerText("Körte", xoft_String), QStringLiteral("Körte"));
    QCOMPARE(PivotResult::cellText(2.5), "2" + dec + "50");
    QCOMPARE(PivotResult::cellText(4000.0), "4" + g + "000");
    QCOMPARE(PivotResult::cellText(0.00123), "0" + dec + "00123");
    QCOMPARE(PivotResult::cellText(qlonglong(12)), QStringLiteral("12"));
    QCOMPARE(PivotResult::cellText(QVariant()), QString());

    const QList<PivotDimension> dims{dim("Nap", 0, xoft_Date, xda_vertical, 0), dim("Régió", 1, xoft_String, xda_vertical, 1)};
    QCOMPARE(PivotResult::totalText(PivotHeader{{}, true}, dims), QStringLiteral("Összesen"));
    QCOMPARE(PivotResult::totalText(PivotHeader{{QDate(2024, 1, 2)}, true}, dims), QStringLiteral("2024.01.02 összesen"));
    QCOMPARE(PivotResult::totalText(PivotHeader{{QDate(2024, 1, 2), "Dél"}, false}, dims), QStringLiteral("Dél"));
}

QTEST_GUILESS_MAIN(tst_pivot)
#include "tst_pivot.moc"
