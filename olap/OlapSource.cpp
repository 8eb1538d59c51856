#include "OlapSource.h"
#include "ReadOnlySource.h"
#include "SqlExec.h"
#include "Texts.h"
#include <QElapsedTimer>
#include <QMap>
#include <memory>
#include <optional>

namespace NexoFrame {

Olap::PivotSpec pivotSpecOf(const QList<OlapField>& fields, const QStringList& columns, QString* error)
{
    Olap::PivotSpec spec;
    auto columnOf = [&](const QString& name) {
        for (int i = 0; i < columns.size(); ++i)
            if (columns[i].compare(name, Qt::CaseInsensitive) == 0) return i;
        return -1;
    };
    for (const OlapField& f : fields) {
        const int column = columnOf(f.name);
        if (column < 0 && !f.formula) {
            *error = QStringLiteral("A(z) „%1” mező nincs a lekérdezés eredményében.").arg(f.name);
            return {};
        }
        if (f.fact) {
            spec.facts << f.asFact;
            spec.facts.last().column = f.formula ? -1 : column;
        } else {
            spec.dimensions << f.asDimension;
            spec.dimensions.last().column = column;
        }
    }
    if (spec.facts.isEmpty()) *error = QStringLiteral("A riporthoz nincs meghatározva összesítés.");
    return spec;
}

namespace {

// As long as a user's query may run; a grouped read that used it up is not tried again streamed.
constexpr int kTimeoutMs = 60000;

Olap::PivotSpec cubeSpecOf(const QList<OlapField>& fields, const QStringList& columns,
                           const QList<std::pair<int, QVariant>>& pageFilter, QString* error)
{
    Olap::PivotSpec spec = pivotSpecOf(fields, columns, error);
    if (!error->isEmpty()) return spec;
    for (const auto& [pageIndex, value] : pageFilter) {
        // The page filter names the page dimensions in order; the cube wants their index among all dimensions.
        int seen = -1;
        for (int d = 0; d < spec.dimensions.size(); ++d)
            if (spec.dimensions[d].axis == Olap::xda_outside && ++seen == pageIndex) spec.pageFilter.append({d, value});
    }
    return spec;
}

OlapRun streamed(ReadOnlySource& source, const QString& sql, const QList<OlapField>& fields,
                 const QList<std::pair<int, QVariant>>& pageFilter)
{
    OlapRun out;
    std::unique_ptr<Olap::Pivot> pivot;
    QStringList columns;
    QString specError, error;
    auto makePivot = [&] {
        const Olap::PivotSpec spec = cubeSpecOf(fields, columns, pageFilter, &specError);
        if (!specError.isEmpty()) return false;
        pivot = std::make_unique<Olap::Pivot>(spec);
        return true;
    };
    const bool ok = source.run(sql, &columns, [&](const QVariantList& row) {
        if (!pivot && !makePivot()) return false;
        pivot->addRow(row);
        return true;
    }, &error, kTimeoutMs);
    if (!specError.isEmpty()) out.error = specError;
    else if (!ok) out.error = error;
    // No rows: the headers still come from the report's fields.
    else if (!pivot && !makePivot()) out.error = specError;
    else out.result = pivot->result();
    return out;
}

bool isNumber(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double: return true;
    }
    return false;
}

// Where the engines differ in a grouping.
struct Dialect {
    bool server = false;

    // A column as the grouping compares it: text by its exact characters, as the cube keys
    // it. A file's text columns compare in Hungarian order (equal only when the same, but
    // slow to sort by); the server's collations are deterministic, and it hashes the bytes.
    QString groupTerm(const QString& column) const
    {
        return server ? quoted(column) : quoted(column) + QStringLiteral(" COLLATE BINARY");
    }

    // The squared deviations from the group's mean, over the group's count, as accurately as
    // the rows' running statistics hold them (a sum of squares minus the squared sum loses
    // the digits of a small spread); empty where the engine has no such aggregate.
    QString deviations(const QString& number) const
    {
        return server ? QStringLiteral("VAR_POP(%1)").arg(number) : QString();
    }

    bool groupsDeviations() const { return server; }

    // Whether the sums must be checked for text: a file's SUM reads 'x' as 0, while the
    // server refuses a sum of what is no number, or gives back what is none.
    bool sumsText() const { return !server; }
};

// What the engine sums up of one fact column: COUNT always; for numbers also MAX, MIN, the
// sum, the sum of squares and the deviations, NULL for what no fact needs (MAX also shows
// text or a blob among the numbers where the engine sums text). Arithmetic in double
// precision, as the cube's own, and without an integer's overflow.
struct FactColumn {
    int column = -1;
    int needs = 0;
    int at = 0; // its first result column
    bool numbers() const { return needs != 0; }
    static constexpr int kNumbers = 5; // result columns after the count
};

// The rows grouped by the engine, or nothing when that cannot stand in for streaming them.
std::optional<OlapRun> grouped(ReadOnlySource& source, bool server, const QString& sql, const QList<OlapField>& fields,
                               const QList<std::pair<int, QVariant>>& pageFilter, const std::atomic<bool>* cancelled)
{
    using Olap::Pivot;
    const Dialect dialect{server};
    const QString statement = ReadOnlySource::statementOf(sql, server);
    if (statement.trimmed().isEmpty()) return std::nullopt;
    // The user's own statement, whole, with its ORDER BY and LIMIT; the newline ends a
    // comment in its last line.
    const QString from = QStringLiteral(" FROM (\n") + statement + QStringLiteral("\n) AS nexo_source");
    auto stopped = [&] { return cancelled && cancelled->load(); };
    auto failed = [](const QString& error) {
        OlapRun out;
        out.error = error;
        return out;
    };

    // The source's columns, as the grouping names them.
    QStringList columns;
    QString error;
    if (!source.run(QStringLiteral("SELECT *") + from + QStringLiteral(" LIMIT 0"), &columns,
                    [](const QVariantList&) { return true; }, &error, kTimeoutMs))
        return stopped() ? std::optional(failed(error)) : std::nullopt;
    QString specError;
    const Olap::PivotSpec spec = cubeSpecOf(fields, columns, pageFilter, &specError);
    if (!specError.isEmpty() || !Pivot::groupable(spec)) return std::nullopt;

    QList<int> dims;
    for (const Olap::PivotDimension& d : spec.dimensions)
        if (d.axis != Olap::xda_invisible && !dims.contains(d.column)) dims << d.column;
    QMap<int, FactColumn> facts;
    for (const Olap::PivotFact& f : spec.facts) {
        if (f.column < 0) continue;
        FactColumn& c = facts[f.column];
        c.column = f.column;
        c.needs |= Pivot::needsOf(f.algorithm);
    }
    for (const FactColumn& c : std::as_const(facts))
        if (c.needs & Pivot::NeedDeviations && !dialect.groupsDeviations()) return std::nullopt;
    // A name the source gives twice is no name to group by.
    auto unique = [&](int column) {
        return std::count_if(columns.begin(), columns.end(), [&](const QString& name) {
                   return name.compare(columns[column], Qt::CaseInsensitive) == 0;
               }) == 1;
    };
    if (!std::all_of(dims.begin(), dims.end(), unique)
        || !std::all_of(facts.keyBegin(), facts.keyEnd(), unique))
        return std::nullopt;

    QStringList select, groupBy;
    for (int d : std::as_const(dims)) {
        select << quoted(columns[d]);
        groupBy << dialect.groupTerm(columns[d]);
    }
    select << QStringLiteral("COUNT(*)");
    for (FactColumn& c : facts) {
        const QString name = quoted(columns[c.column]);
        const QString asDouble = QStringLiteral("(%1 * CAST(1 AS DOUBLE PRECISION))").arg(name);
        c.at = int(select.size());
        select << QStringLiteral("COUNT(%1)").arg(name);
        if (!c.numbers()) continue;
        auto needed = [&](int need, const QString& aggregate) { return c.needs & need ? aggregate : QStringLiteral("NULL"); };
        select << (dialect.sumsText() ? QStringLiteral("MAX(%1)").arg(name) : needed(Pivot::NeedMax, QStringLiteral("MAX(%1)").arg(name)))
               << needed(Pivot::NeedMin, QStringLiteral("MIN(%1)").arg(name))
               << needed(Pivot::NeedSum, QStringLiteral("SUM(%1)").arg(asDouble))
               << needed(Pivot::NeedSquares, QStringLiteral("SUM(%1 * %1)").arg(asDouble))
               << needed(Pivot::NeedDeviations, dialect.deviations(asDouble));
    }
    QString groupedSql = QStringLiteral("SELECT ") + select.join(QStringLiteral(", ")) + from;
    if (!groupBy.isEmpty()) groupedSql += QStringLiteral(" GROUP BY ") + groupBy.join(QStringLiteral(", "));

    if (stopped()) return failed(Texts::kQueryCancelled);
    Pivot pivot(spec);
    QVariantList row(columns.size());
    QList<Pivot::Summary> summaries(columns.size());
    bool numbers = true;
    QElapsedTimer clock;
    clock.start();
    const bool ok = source.run(groupedSql, nullptr, [&](const QVariantList& g) {
        for (int i = 0; i < dims.size(); ++i) row[dims[i]] = g[i];
        for (const FactColumn& c : std::as_const(facts)) {
            Pivot::Summary& s = summaries[c.column];
            s.count = g[c.at].toLongLong();
            if (!c.numbers()) continue;
            for (int i = c.at + 1; i <= c.at + FactColumn::kNumbers; ++i)
                if (!g[i].isNull() && !isNumber(g[i])) numbers = false;
            if (!numbers) return false; // no numbers after all: the rows themselves tell
            s.max = g[c.at + 1].toDouble();
            s.min = g[c.at + 2].toDouble();
            s.sum = g[c.at + 3].toDouble();
            s.squares = g[c.at + 4].toDouble();
            s.deviations = g[c.at + 5].toDouble() * double(s.count);
        }
        pivot.addGroup(row, g[dims.size()].toLongLong(), summaries);
        return true;
    }, &error, kTimeoutMs);
    if (!ok) return stopped() || clock.elapsed() >= kTimeoutMs ? std::optional(failed(error)) : std::nullopt;
    if (!numbers) return std::nullopt;
    OlapRun out;
    out.result = pivot.result();
    out.grouped = true;
    return out;
}

} // namespace

OlapRead preferredRead(bool server)
{
    return server ? OlapRead::Grouped : OlapRead::Streamed;
}

OlapRun readIntoCube(ReadOnlySource& source, bool server, const QString& sql, const QList<OlapField>& fields,
                     const QList<std::pair<int, QVariant>>& pageFilter, OlapRead read, const std::atomic<bool>* cancelled)
{
    if (read == OlapRead::Grouped) {
        if (std::optional<OlapRun> out = grouped(source, server, sql, fields, pageFilter, cancelled)) return *out;
        // A cancel between two statements finds no statement running to stop.
        if (cancelled && cancelled->load()) {
            OlapRun out;
            out.error = Texts::kQueryCancelled;
            return out;
        }
    }
    return streamed(source, sql, fields, pageFilter);
}

} // namespace NexoFrame
