#include "Connection.h"
#include "Engine.h"
#include "OlapSource.h"
#include "ReadOnlySource.h"
#include "TestDatabase.h"
#include <QRandomGenerator>
#include <QTest>
#include <cmath>

using namespace NexoFrame;
using namespace NexoFrame::Olap;

namespace {

OlapField dimension(const char* name, int type, int axis, int order, bool descending = false)
{
    OlapField f;
    f.name = QString::fromLatin1(name);
    f.asDimension = PivotDimension{f.name, -1, type, axis, descending, true, order};
    return f;
}

OlapField fact(const char* name, const char* caption, int algorithm, const char* formula = "")
{
    static int order = 0;
    OlapField f;
    f.name = QString::fromLatin1(name);
    f.fact = true;
    f.formula = algorithm == xfam_FORMULA;
    f.asFact = PivotFact{QString::fromUtf8(caption), -1, algorithm, QString::fromUtf8(formula), ++order};
    return f;
}

// The same headers, page values and row count; the same cells: counts, ranks and errors
// exactly, other numbers within 1e-12 of their size.
void compareCubes(const PivotResult& grouped, const PivotResult& streamed)
{
    QCOMPARE(grouped.sourceRows, streamed.sourceRows);
    QCOMPARE(grouped.pageValues, streamed.pageValues);
    QCOMPARE(grouped.rows.size(), streamed.rows.size());
    QCOMPARE(grouped.columns.size(), streamed.columns.size());
    for (int r = 0; r < grouped.rows.size(); ++r) {
        QCOMPARE(grouped.rows[r].values, streamed.rows[r].values);
        QCOMPARE(grouped.rows[r].isTotal, streamed.rows[r].isTotal);
    }
    for (int c = 0; c < grouped.columns.size(); ++c) QCOMPARE(grouped.columns[c].values, streamed.columns[c].values);
    for (int r = 0; r < grouped.rows.size(); ++r)
        for (int c = 0; c < grouped.columns.size(); ++c)
            for (int f = 0; f < grouped.facts.size(); ++f) {
                const QVariant a = grouped.cell(r, c, f), b = streamed.cell(r, c, f);
                const QByteArray where = QStringLiteral("%1 at row %2, column %3: %4 / %5")
                                             .arg(grouped.facts[f].caption).arg(r).arg(c)
                                             .arg(a.toString(), b.toString()).toUtf8();
                QVERIFY2(a.typeId() == b.typeId(), where.constData());
                if (a.typeId() != QMetaType::Double) {
                    QVERIFY2(a == b, where.constData());
                    continue;
                }
                const double x = a.toDouble(), y = b.toDouble();
                QVERIFY2(std::abs(x - y) <= 1e-12 * std::max(std::abs(x), std::abs(y)), where.constData());
            }
}

} // namespace

class TstOlapSource : public QObject {
    Q_OBJECT
private slots:
    // Random rows with nulls, empty texts, texts that differ only in case, times within one
    // day, numbers as text: the engine's groups and the rows themselves make the same cube,
    // totals, page values and page filter, ranks and formulas included, whatever the source's
    // own ORDER BY, LIMIT, closing ";" and comment. The grouping stands in only where it can
    // (a server's variance, never a mean deviation nor text summed), and the preview groups
    // on a server only.
    void groupedMatchesStreamed()
    {
        TestDatabase db;
        auto c = db.open(Connection::DemoData::None);
        const Engine& e = c->engine();
        auto type = [&](ColType t, int length = 0) { return e.sqlType(ColumnDef{QString(), t, length, QVariant()}); };
        QString err;
        QVERIFY2(c->execute(QStringLiteral("CREATE TABLE olap_random (id %1, region %2, kind %2, made %3, year %1, qty %1, "
                                           "amount %4, code %2)")
                                .arg(type(ColType::Long), type(ColType::Text, 20), type(ColType::DateTime), type(ColType::Double)),
                            {}, &err),
                 qPrintable(err));
        QRandomGenerator random(20240611);
        const QStringList regions{QStringLiteral("Alma"), QStringLiteral("alma"), QStringLiteral("ALMA"), QStringLiteral("Álom"),
                                  QString(""), QStringLiteral("Ötvös"), QStringLiteral("Zala"), QStringLiteral("ázsia")};
        auto maybe = [&](const QVariant& v) { return random.bounded(8) == 0 ? QVariant() : v; };
        const ColumnDef stamp{QString(), ColType::DateTime, 0, QVariant()};
        for (int batch = 0; batch < 30; ++batch) {
            QStringList rows;
            QVariantList values;
            for (int i = 0; i < 100; ++i) {
                const int id = batch * 100 + i;
                const QDateTime made(QDate(2024, 1, 1).addDays(random.bounded(12)), QTime(random.bounded(24), random.bounded(60)));
                rows << QStringLiteral("(?, ?, ?, ?, ?, ?, ?, ?)");
                values << id << maybe(regions[random.bounded(int(regions.size()))])
                       << maybe(QString(QChar(u'A' + random.bounded(3)))) << maybe(e.toDb(stamp, made))
                       << maybe(2020 + random.bounded(4)) << maybe(random.bounded(-50, 51))
                       << maybe(random.bounded(200001) / 100.0 + random.generateDouble() * 1e-3)
                       << maybe(QString::number(random.bounded(100)));
            }
            QVERIFY2(c->execute(QStringLiteral("INSERT INTO olap_random VALUES ") + rows.join(QStringLiteral(", ")), values, &err),
                     qPrintable(err));
        }
        QVERIFY(c->execute(QStringLiteral("UPDATE olap_random SET code = 'sok' WHERE id = 7")));
        db.makeReader();
        auto source = ReadOnlySource::open(*c, &err);
        QVERIFY2(source, qPrintable(err));
        const bool server = testingPostgres();

        const QList<OlapField> shown{dimension("region", xoft_String, xda_vertical, 0),
                                     dimension("year", xoft_Integer, xda_vertical, 1, true),
                                     dimension("made", xoft_Date, xda_horizontal, 0),
                                     dimension("kind", xoft_String, xda_outside, 0),
                                     dimension("id", xoft_Integer, xda_invisible, 0)};
        const QList<OlapField> everywhere{fact("amount", "Összeg", xfam_SUM), fact("amount", "Átlag", xfam_AVG),
                                          fact("amount", "Legkisebb", xfam_MIN), fact("amount", "Legnagyobb", xfaa_MAX),
                                          fact("qty", "Darab", xfam_COUNT), fact("qty", "Mennyiség", xfaa_SUM),
                                          fact("qty", "Legkevesebb", xfaa_MIN), fact("region", "Nevek", xfam_COUNT),
                                          fact("amount", "Négyzetes", xfam_RMS), fact("amount", "Helyezés", xfam_RANKDOWN),
                                          fact("qty", "Sorrend", xfam_RANKUP),
                                          fact("", "Egységár", xfam_FORMULA, "[Összeg] / [Mennyiség]")};
        const QList<OlapField> spread{fact("amount", "Szórás", xfam_STDDEV), fact("qty", "Variancia", xfam_VAR),
                                      fact("amount", "Sokasági szórás", xfam_STDDEVP), fact("qty", "Sokasági variancia", xfam_VARP)};
        const QString all = QStringLiteral("SELECT * FROM olap_random");
        const QString lastRows = QStringLiteral("SELECT id, region, kind, made, year, qty, amount, code FROM olap_random\n"
                                                "ORDER BY id DESC LIMIT 2500; -- az utolsó 2500 sor");
        struct Case {
            QString sql;
            QList<OlapField> fields;
            QList<std::pair<int, QVariant>> page;
            bool grouped;
        };
        const QList<Case> cases{
            {all, shown + everywhere, {}, true},
            {lastRows, shown + everywhere, {{0, QStringLiteral("B")}}, true},
            {lastRows, shown + everywhere + spread, {}, server},
            {all, shown + everywhere + QList<OlapField>{fact("amount", "Eltérés", xfam_AVEDEV)}, {}, false},
            {all, shown + QList<OlapField>{fact("code", "Kód", xfam_SUM)}, {}, false},
        };
        for (const Case& k : cases) {
            const OlapRun grouped = readIntoCube(*source, server, k.sql, k.fields, k.page, OlapRead::Grouped);
            const OlapRun streamed = readIntoCube(*source, server, k.sql, k.fields, k.page, OlapRead::Streamed);
            QVERIFY2(grouped.ok(), qPrintable(grouped.error));
            QVERIFY2(streamed.ok(), qPrintable(streamed.error));
            QCOMPARE(grouped.grouped, k.grouped);
            QVERIFY(!streamed.grouped);
            QVERIFY(grouped.result.rows.size() > 20);
            compareCubes(grouped.result, streamed.result);
            if (QTest::currentTestFailed()) return;
        }
        QCOMPARE(preferredRead(server), server ? OlapRead::Grouped : OlapRead::Streamed);
        // A source the grouping cannot wrap streams, and fails as it would anyway.
        const OlapRun wrong = readIntoCube(*source, server, QStringLiteral("SELECT nincs FROM olap_random"), shown + everywhere, {});
        QVERIFY(!wrong.ok() && !wrong.grouped);
        QCOMPARE(wrong.error, readIntoCube(*source, server, QStringLiteral("SELECT nincs FROM olap_random"), shown + everywhere, {},
                                           OlapRead::Streamed).error);
    }
};

QTEST_MAIN(TstOlapSource)
#include "tst_olap_source.moc"
