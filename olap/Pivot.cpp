#include "Pivot.h"
#include "DateFormats.h"
#include "PivotFormula.h"
#include <QCollator>
#include <QDateTime>
#include <QHash>
#include <QLocale>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace NexoFrame::Olap {

namespace {

constexpr double kEmpty = std::numeric_limits<double>::quiet_NaN();

quint64 pairKey(int a, int b) { return (quint64(quint32(a)) << 32) | quint32(b); }

const QVariant kNull;

inline const QVariant& at(const QVariantList& row, int column)
{
    return column >= 0 && column < row.size() ? row.at(column) : kNull;
}

inline quint64 mix(quint64 h)
{
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdULL;
    h ^= h >> 33;
    return h;
}

// Open addressing over 64-bit keys. Every row makes several look-ups in maps of a few
// thousand entries; this keeps each one to a multiply and, mostly, one cache line.
class KeyMap {
public:
    KeyMap() { m_slots.assign(16, Slot{}); }

    int find(quint64 key) const
    {
        for (size_t i = mix(key) & m_mask;; i = (i + 1) & m_mask) {
            const Slot& s = m_slots[i];
            if (s.value < 0) return -1;
            if (s.key == key) return s.value;
        }
    }

    void insert(quint64 key, int value)
    {
        if ((m_size + 1) * 2 > m_slots.size()) grow();
        place(key, value);
        ++m_size;
    }

    size_t size() const { return m_size; }

private:
    struct Slot {
        quint64 key = 0;
        int value = -1;
    };

    void place(quint64 key, int value)
    {
        size_t i = mix(key) & m_mask;
        while (m_slots[i].value >= 0) i = (i + 1) & m_mask;
        m_slots[i] = Slot{key, value};
    }

    void grow()
    {
        std::vector<Slot> old = std::move(m_slots);
        m_slots.assign(old.size() * 2, Slot{});
        m_mask = m_slots.size() - 1;
        for (const Slot& s : old)
            if (s.value >= 0) place(s.key, s.value);
    }

    std::vector<Slot> m_slots;
    size_t m_mask = 15;
    size_t m_size = 0;
};

// The same for texts: a cheap hash of the UTF-16 bytes, one comparison on a hit.
class TextMap {
public:
    TextMap() { m_slots.assign(16, Slot{}); }

    static quint64 hash(QStringView s)
    {
        const char* p = reinterpret_cast<const char*>(s.utf16());
        size_t n = size_t(s.size()) * 2;
        quint64 h = 0x9e3779b97f4a7c15ULL ^ n;
        for (; n >= 8; p += 8, n -= 8) {
            quint64 k;
            std::memcpy(&k, p, 8);
            h = (h ^ k) * 0xbf58476d1ce4e5b9ULL;
            h ^= h >> 31;
        }
        if (n > 0) {
            quint64 k = 0;
            std::memcpy(&k, p, n);
            h = (h ^ k) * 0x94d049bb133111ebULL;
        }
        return mix(h);
    }

    int find(QStringView s, quint64 h) const
    {
        for (size_t i = h & m_mask;; i = (i + 1) & m_mask) {
            const Slot& slot = m_slots[i];
            if (slot.value < 0) return -1;
            if (slot.hash == h) {
                const QString& k = m_keys[size_t(slot.key)];
                if (k.size() == s.size() && std::memcmp(k.utf16(), s.utf16(), size_t(s.size()) * 2) == 0) return slot.value;
            }
        }
    }

    void insert(const QString& s, quint64 h, int value)
    {
        if ((m_keys.size() + 1) * 2 > m_slots.size()) grow();
        m_keys.push_back(s);
        place(h, int(m_keys.size()) - 1, value);
    }

private:
    struct Slot {
        quint64 hash = 0;
        int key = 0;
        int value = -1;
    };

    void place(quint64 h, int key, int value)
    {
        size_t i = h & m_mask;
        while (m_slots[i].value >= 0) i = (i + 1) & m_mask;
        m_slots[i] = Slot{h, key, value};
    }

    void grow()
    {
        std::vector<Slot> old = std::move(m_slots);
        m_slots.assign(old.size() * 2, Slot{});
        m_mask = m_slots.size() - 1;
        for (const Slot& s : old)
            if (s.value >= 0) place(s.hash, s.key, s.value);
    }

    std::vector<Slot> m_slots;
    std::vector<QString> m_keys;
    size_t m_mask = 15;
};

// How the values of a dimension are read, kept and compared.
enum class Kind { Text, Integer, Float, Bool, Date, DateTime, Time, Any };

Kind kindOf(int dimType)
{
    switch (dimType) {
    case xoft_String: return Kind::Text;
    case xoft_Boolean: return Kind::Bool;
    case xoft_Word:
    case xoft_Smallint:
    case xoft_Integer: return Kind::Integer;
    case xoft_Float:
    case xoft_Currency: return Kind::Float;
    case xoft_DateTime: return Kind::DateTime;
    case xoft_Date: return Kind::Date;
    case xoft_Time: return Kind::Time;
    }
    return Kind::Any;
}

bool isNumber(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Long:
    case QMetaType::ULong: return true;
    }
    return false;
}

// The numeric value of a fact's source value; false for null and for what is no number.
inline bool numberOf(const QVariant& v, double* out)
{
    switch (v.typeId()) {
    case QMetaType::Double:
        if (v.isNull()) return false;
        *out = *static_cast<const double*>(v.constData());
        return true;
    case QMetaType::LongLong:
        if (v.isNull()) return false;
        *out = double(*static_cast<const qlonglong*>(v.constData()));
        return true;
    case QMetaType::Int:
        if (v.isNull()) return false;
        *out = *static_cast<const int*>(v.constData());
        return true;
    case QMetaType::UnknownType: return false;
    case QMetaType::QString: {
        bool ok = false;
        *out = v.toString().toDouble(&ok);
        return ok;
    }
    case QMetaType::Bool:
        if (v.isNull()) return false;
        *out = v.toBool() ? 1 : 0;
        return true;
    default: {
        if (v.isNull() || !isNumber(v)) return false;
        bool ok = false;
        *out = v.toDouble(&ok);
        return ok;
    }
    }
}

QDateTime dateTimeOf(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::QDateTime: return v.toDateTime();
    case QMetaType::QDate: return v.toDate().startOfDay();
    case QMetaType::QString: {
        const QString s = v.toString();
        QDateTime d = QDateTime::fromString(s, DateFormats::kStored);
        if (!d.isValid()) d = QDateTime::fromString(s, Qt::ISODateWithMs);
        if (!d.isValid()) {
            const QDate day = QDate::fromString(s, Qt::ISODate);
            if (day.isValid()) d = day.startOfDay();
        }
        return d;
    }
    }
    return {};
}

QTime timeOf(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::QTime: return v.toTime();
    case QMetaType::QDateTime: return v.toDateTime().time();
    case QMetaType::QString: {
        const QString s = v.toString();
        QTime t = QTime::fromString(s, Qt::ISODateWithMs);
        if (!t.isValid()) t = dateTimeOf(v).time();
        return t;
    }
    }
    return {};
}

bool boolOf(const QVariant& v)
{
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString().trimmed().toLower();
        return !(s.isEmpty() || s == QLatin1String("0") || s == QLatin1String("false") || s == QLatin1String("nem"));
    }
    return v.toBool();
}

// The distinct values of one dimension, each under a small id; id 0 is null.
class ValueDict {
public:
    explicit ValueDict(int dimType) : m_kind(kindOf(dimType))
    {
        m_values.emplace_back();
        m_sortKey.push_back(0);
        m_seen.push_back(0);
    }

    // The id of a source value: one hash look-up for a value seen before.
    int idOf(const QVariant& v)
    {
        if (v.typeId() == QMetaType::QString) {
            if (v.isNull()) return 0;
            // A value read as text is looked up as text, whatever the kind: a date from a
            // file database is parsed once, not once per row.
            const QString& s = *static_cast<const QString*>(v.constData());
            const quint64 h = TextMap::hash(s);
            const int found = m_byText.find(s, h);
            if (found >= 0) return found;
            const int id = m_kind == Kind::Text || m_kind == Kind::Any ? add(v, 0) : idOfValue(v);
            m_byText.insert(s, h, id);
            return id;
        }
        if (v.isNull()) return 0;
        return idOfValue(v);
    }

    const QVariant& value(int id) const { return m_values[size_t(id)]; }
    int size() const { return int(m_values.size()); }
    void markSeen(int id) { m_seen[size_t(id)] = 1; }
    bool seen(int id) const { return m_seen[size_t(id)]; }

    // Each id's position in the dimension's order: null first, then ascending or
    // descending by value.
    std::vector<int> ranks(bool descending, const QCollator& collator) const
    {
        std::vector<int> ids(m_values.size() - 1);
        for (size_t i = 0; i < ids.size(); ++i) ids[i] = int(i) + 1;
        auto less = [&](int a, int b) {
            const QVariant& va = m_values[size_t(a)];
            const QVariant& vb = m_values[size_t(b)];
            const bool ta = va.typeId() == QMetaType::QString, tb = vb.typeId() == QMetaType::QString;
            if (ta != tb) return tb; // numbers before text, for a dimension of no declared type
            if (ta) {
                const QString& sa = *static_cast<const QString*>(va.constData());
                const QString& sb = *static_cast<const QString*>(vb.constData());
                const int c = collator.compare(sa, sb);
                return c != 0 ? c < 0 : sa < sb;
            }
            if (m_kind == Kind::Float || m_kind == Kind::Any) {
                double da, db;
                std::memcpy(&da, &m_sortKey[size_t(a)], sizeof da);
                std::memcpy(&db, &m_sortKey[size_t(b)], sizeof db);
                return da < db;
            }
            return m_sortKey[size_t(a)] < m_sortKey[size_t(b)];
        };
        if (descending)
            std::stable_sort(ids.begin(), ids.end(), [&](int a, int b) { return less(b, a); });
        else
            std::stable_sort(ids.begin(), ids.end(), less);
        std::vector<int> rank(m_values.size(), 0);
        for (size_t i = 0; i < ids.size(); ++i) rank[size_t(ids[i])] = int(i) + 1;
        return rank;
    }

private:
    // A non-null value that is not text, or text to be read as another kind. The key is
    // found first; the value kept is made only for a new one.
    int idOfValue(const QVariant& v)
    {
        qint64 key = 0;
        double d = 0;
        QDateTime dt;
        QTime time;
        switch (m_kind) {
        case Kind::Text: return idOf(QVariant(v.toString()));
        case Kind::Integer:
            if (v.typeId() == QMetaType::LongLong) {
                key = *static_cast<const qlonglong*>(v.constData());
                break;
            }
            if (!numberOf(v, &d)) return 0;
            key = qint64(std::llround(d));
            break;
        case Kind::Any:
            if (!isNumber(v) && v.typeId() != QMetaType::Bool) return idOf(QVariant(v.toString()));
            [[fallthrough]];
        case Kind::Float:
            if (!numberOf(v, &d)) return 0;
            if (d == 0) d = 0; // -0 and 0 are one value
            std::memcpy(&key, &d, sizeof key);
            break;
        case Kind::Bool: key = boolOf(v) ? 1 : 0; break;
        case Kind::Date:
        case Kind::DateTime:
            dt = dateTimeOf(v);
            if (!dt.isValid()) return 0;
            // Clock readings without a zone: no time-zone arithmetic per value.
            key = m_kind == Kind::Date ? dt.date().toJulianDay()
                                       : dt.date().toJulianDay() * 86400000 + dt.time().msecsSinceStartOfDay();
            break;
        case Kind::Time:
            time = timeOf(v);
            if (!time.isValid()) return 0;
            key = time.msecsSinceStartOfDay();
            break;
        }
        const int found = m_byKey.find(quint64(key));
        if (found >= 0) return found;
        QVariant kept;
        switch (m_kind) {
        case Kind::Integer: kept = qlonglong(key); break;
        case Kind::Any:
        case Kind::Float: kept = d; break;
        case Kind::Bool: kept = key != 0; break;
        case Kind::Date: kept = dt.date(); break;
        case Kind::DateTime: kept = dt; break;
        case Kind::Time: kept = time; break;
        case Kind::Text: break;
        }
        const int id = add(kept, key);
        m_byKey.insert(quint64(key), id);
        return id;
    }

    int add(const QVariant& v, qint64 key)
    {
        m_values.push_back(v);
        m_sortKey.push_back(key);
        m_seen.push_back(0);
        return int(m_values.size()) - 1;
    }

    Kind m_kind;
    TextMap m_byText;
    KeyMap m_byKey;
    std::vector<QVariant> m_values;
    std::vector<qint64> m_sortKey; // integer, julian day, msecs, or a double's bits
    std::vector<char> m_seen;
};

// One axis: its dimensions outermost first, and the tree of the value prefixes met in the
// data. A leaf is a full combination; an inner node stands for a group and has a total
// header when the dimension below it has totals.
struct Axis {
    struct Node {
        int parent = -1;
        int valueId = 0;
        int depth = 0;
    };

    QList<PivotDimension> dims;
    std::vector<ValueDict> dicts;
    std::vector<Node> nodes{Node{}};
    KeyMap child; // (parent node, value id) -> node
    std::vector<int> totalDepths; // depths of the inner nodes that get a total header
    // The leaf of the previous row: sorted or clustered sources repeat it.
    std::vector<int> lastIds, ids;
    int lastLeaf = 0;

    void setUp(QList<PivotDimension> axisDims)
    {
        dims = std::move(axisDims);
        for (const PivotDimension& d : std::as_const(dims)) dicts.emplace_back(d.type);
        for (int i = 0; i < dims.size(); ++i)
            if (dims[i].totals) totalDepths.push_back(i);
        lastIds.assign(size_t(dims.size()), -1);
        ids.assign(size_t(dims.size()), 0);
    }

    // Header cells a row adds to: its leaf, then the total nodes above it.
    int activeCount() const { return 1 + int(totalDepths.size()); }

    int leafOf(const QVariantList& row)
    {
        const int k = int(dims.size());
        bool same = true;
        for (int i = 0; i < k; ++i) {
            const int id = dicts[size_t(i)].idOf(at(row, dims[i].column));
            same = same && id == lastIds[size_t(i)];
            ids[size_t(i)] = id;
        }
        if (same) return lastLeaf;
        int node = 0;
        for (int i = 0; i < k; ++i) {
            const quint64 key = pairKey(node, ids[size_t(i)]);
            const int found = child.find(key);
            if (found >= 0) {
                node = found;
                continue;
            }
            nodes.push_back(Node{node, ids[size_t(i)], i + 1});
            node = int(nodes.size()) - 1;
            child.insert(key, node);
        }
        lastIds = ids;
        lastLeaf = node;
        return node;
    }

    // The leaf first, then its ancestors at the total depths, outermost first.
    void activeNodes(int leaf, int* out) const
    {
        out[0] = leaf;
        int n = leaf, depth = int(dims.size());
        for (int slot = int(totalDepths.size()); slot > 0; --slot) {
            while (depth > totalDepths[size_t(slot - 1)]) {
                n = nodes[size_t(n)].parent;
                --depth;
            }
            out[slot] = n;
        }
    }

    // The headers in display order; headerOf[node] is a node's header, -1 for none.
    QList<PivotHeader> headers(const QCollator& collator, std::vector<int>* headerOf) const
    {
        const int k = int(dims.size());
        std::vector<std::vector<int>> ranks;
        for (int i = 0; i < k; ++i) ranks.push_back(dicts[size_t(i)].ranks(dims[i].descending, collator));
        std::vector<std::vector<int>> children(nodes.size());
        for (size_t n = 1; n < nodes.size(); ++n) children[size_t(nodes[n].parent)].push_back(int(n));
        for (size_t n = 0; n < nodes.size(); ++n) {
            if (children[n].empty()) continue;
            const std::vector<int>& rank = ranks[size_t(nodes[n].depth)];
            std::sort(children[n].begin(), children[n].end(), [&](int a, int b) {
                return rank[size_t(nodes[size_t(a)].valueId)] < rank[size_t(nodes[size_t(b)].valueId)];
            });
        }
        std::vector<char> totalAt(size_t(k) + 1, 0);
        for (int d : totalDepths) totalAt[size_t(d)] = 1;
        headerOf->assign(nodes.size(), -1);
        QList<PivotHeader> out;
        QVariantList prefix;
        auto walk = [&](auto&& self, int n) -> void {
            const int depth = nodes[size_t(n)].depth;
            if (depth == k) {
                (*headerOf)[size_t(n)] = int(out.size());
                out.append(PivotHeader{prefix, false});
                return;
            }
            for (int c : children[size_t(n)]) {
                prefix.append(dicts[size_t(depth)].value(nodes[size_t(c)].valueId));
                self(self, c);
                prefix.removeLast();
            }
            if (totalAt[size_t(depth)]) {
                (*headerOf)[size_t(n)] = int(out.size());
                out.append(PivotHeader{prefix, true});
            }
        };
        // An axis without dimensions has its one header even with no rows at all.
        if (k == 0 || nodes.size() > 1) walk(walk, 0);
        return out;
    }
};

// What a fact keeps per cell: n values, and x, y by algorithm: the sum (x); the minimum
// or maximum (x); the last value (x) and the number of the row it came in (y); Welford's
// running mean (x) and sum of squared deviations (y); the sum of squares (x).
struct Acc {
    qint64 n = 0;
    double x = 0;
    double y = 0;
};

// Folds the statistics of a disjoint set of rows into `into`: the result is what feeding
// both sets' rows would have given (Chan's combination for the variance).
void merge(int alg, Acc& into, const Acc& from)
{
    if (from.n == 0) return;
    if (into.n == 0 || alg == xfam_COUNT) {
        if (alg == xfam_COUNT) {
            into.n += from.n;
            return;
        }
        into = from;
        return;
    }
    const double n1 = double(into.n), n2 = double(from.n);
    switch (alg) {
    case xfaa_MIN:
    case xfam_MIN: into.x = std::min(into.x, from.x); break;
    case xfaa_MAX:
    case xfam_MAX: into.x = std::max(into.x, from.x); break;
    case xfaa_LAST:
        if (from.y > into.y) {
            into.x = from.x;
            into.y = from.y;
        }
        break;
    case xfam_VAR:
    case xfam_STDDEV:
    case xfam_VARP:
    case xfam_STDDEVP: {
        const double delta = from.x - into.x;
        const double n = n1 + n2;
        into.x += delta * n2 / n;
        into.y += from.y + delta * delta * n1 * n2 / n;
        break;
    }
    default: into.x += from.x; break; // sums
    }
    into.n += from.n;
}

bool isRank(int alg) { return alg == xfam_RANKUP || alg == xfam_RANKDOWN; }

QList<PivotDimension> sortedDims(const QList<PivotDimension>& all, const std::function<bool(int)>& onAxis)
{
    QList<PivotDimension> out;
    for (const PivotDimension& d : all)
        if (onAxis(d.axis)) out.append(d);
    std::stable_sort(out.begin(), out.end(), [](const PivotDimension& a, const PivotDimension& b) {
        return a.sortOrder < b.sortOrder;
    });
    return out;
}

QLocale hungarian() { return QLocale(QLocale::Hungarian, QLocale::Hungary); }

QString numberText(double v)
{
    const QLocale hu = hungarian();
    if (std::isfinite(v) && std::abs(v) < 1e15 && v == std::trunc(v)) return hu.toString(qint64(v));
    if (v != 0 && std::abs(v) < 0.01) {
        const int decimals = std::min(15, 2 - int(std::floor(std::log10(std::abs(v)))));
        return hu.toString(v, 'f', decimals);
    }
    return hu.toString(v, 'f', 2);
}

} // namespace

struct PivotResult::Cells {
    int facts = 0;
    QHash<quint64, int> at;           // (row header, column header) -> cell
    std::vector<double> values;       // cell * facts + fact; NaN: empty
    std::vector<char> whole;          // per fact: a count or a rank
    QHash<qint64, QString> errors;    // cell * facts + fact -> "#HIBA: ..."
};

struct Pivot::Impl {
    PivotSpec spec;
    Axis rows, cols;
    struct Page {
        PivotDimension dim;
        ValueDict dict;
        std::vector<int> allowed; // empty: every value
    };
    std::vector<Page> pages;
    QList<PivotFact> facts;        // in result order
    std::vector<int> aggOf;        // result fact -> accumulator slot, -1 for a formula
    std::vector<int> aggAlg, aggInput, aggAvedev;
    std::vector<int> inputColumns; // the distinct source columns the facts read
    int nAgg = 0, nAvedev = 0;
    qint64 sourceRows = 0;

    // Rows feed only the cells of full combinations (leaf cells); result() folds them into
    // the subtotals and totals, so that a row costs one cell update however many totals
    // it belongs to.
    KeyMap leafCellOf;             // (row leaf, column leaf) -> leaf cell
    quint64 lastPairKey = ~quint64(0);
    int lastLeafCell = -1;
    std::vector<int> leafRow, leafCol;
    std::vector<Acc> accs;         // leaf cell * nAgg + slot
    std::vector<std::vector<double>> kept; // leaf cell * nAvedev + j: AVEDEV's values
    std::vector<double> x;         // this row's values, per input column
    std::vector<char> has, present;

    // Whether the page filter keeps a row; every page value met is noted for the choice.
    bool onPage(const QVariantList& row)
    {
        bool keep = true;
        for (Page& p : pages) {
            const int id = p.dict.idOf(at(row, p.dim.column));
            p.dict.markSeen(id);
            if (!p.allowed.empty() && std::find(p.allowed.begin(), p.allowed.end(), id) == p.allowed.end()) keep = false;
        }
        return keep;
    }

    int leafCell(int rowLeaf, int colLeaf)
    {
        const quint64 key = pairKey(rowLeaf, colLeaf);
        if (key == lastPairKey) return lastLeafCell;
        int cell = leafCellOf.find(key);
        if (cell < 0) {
            cell = int(leafRow.size());
            leafCellOf.insert(key, cell);
            leafRow.push_back(rowLeaf);
            leafCol.push_back(colLeaf);
            accs.resize(accs.size() + size_t(nAgg));
            kept.resize(kept.size() + size_t(nAvedev));
        }
        lastPairKey = key;
        lastLeafCell = cell;
        return cell;
    }
};

Pivot::Pivot(PivotSpec spec) : d(std::make_unique<Impl>())
{
    d->spec = std::move(spec);
    const PivotSpec& s = d->spec;
    d->rows.setUp(sortedDims(s.dimensions, [](int a) { return a == xda_vertical || a == xda_every; }));
    d->cols.setUp(sortedDims(s.dimensions, [](int a) { return a == xda_horizontal; }));

    QList<int> pageIndexes;
    for (int i = 0; i < s.dimensions.size(); ++i)
        if (s.dimensions[i].axis == xda_outside) pageIndexes.append(i);
    std::stable_sort(pageIndexes.begin(), pageIndexes.end(),
                     [&](int a, int b) { return s.dimensions[a].sortOrder < s.dimensions[b].sortOrder; });
    for (int i : std::as_const(pageIndexes)) {
        Impl::Page page{s.dimensions[i], ValueDict(s.dimensions[i].type), {}};
        for (const auto& [dim, value] : s.pageFilter)
            if (dim == i) page.allowed.push_back(page.dict.idOf(value));
        d->pages.push_back(std::move(page));
    }

    d->facts = s.facts;
    std::stable_sort(d->facts.begin(), d->facts.end(),
                     [](const PivotFact& a, const PivotFact& b) { return a.sortOrder < b.sortOrder; });
    for (const PivotFact& f : std::as_const(d->facts)) {
        if (f.algorithm == xfam_FORMULA) {
            d->aggOf.push_back(-1);
            continue;
        }
        d->aggOf.push_back(d->nAgg++);
        auto input = std::find(d->inputColumns.begin(), d->inputColumns.end(), f.column);
        if (input == d->inputColumns.end()) input = d->inputColumns.insert(input, f.column);
        d->aggInput.push_back(int(input - d->inputColumns.begin()));
        d->aggAlg.push_back(f.algorithm);
        d->aggAvedev.push_back(f.algorithm == xfam_AVEDEV ? d->nAvedev++ : -1);
    }
    d->x.assign(d->inputColumns.size(), 0);
    d->has.assign(d->inputColumns.size(), 0);
    d->present.assign(d->inputColumns.size(), 0);
}

Pivot::~Pivot() = default;

void Pivot::addRow(const QVariantList& row)
{
    Impl& m = *d;
    ++m.sourceRows;
    if (!m.onPage(row)) return;

    const int cell = m.leafCell(m.rows.leafOf(row), m.cols.leafOf(row));

    for (size_t i = 0; i < m.inputColumns.size(); ++i) {
        const QVariant& v = at(row, m.inputColumns[i]);
        m.has[i] = numberOf(v, &m.x[i]);
        m.present[i] = m.has[i] || !v.isNull();
    }
    Acc* acc = &m.accs[size_t(cell) * size_t(m.nAgg)];
    for (int k = 0; k < m.nAgg; ++k) {
        const size_t input = size_t(m.aggInput[size_t(k)]);
        const int alg = m.aggAlg[size_t(k)];
        if (alg == xfam_COUNT) {
            acc[k].n += m.present[input];
            continue;
        }
        if (!m.has[input]) continue;
        const double v = m.x[input];
        Acc& s = acc[k];
        ++s.n;
        switch (alg) {
        case xfaa_MIN:
        case xfam_MIN:
            if (s.n == 1 || v < s.x) s.x = v;
            break;
        case xfaa_MAX:
        case xfam_MAX:
            if (s.n == 1 || v > s.x) s.x = v;
            break;
        case xfaa_LAST:
            s.x = v;
            s.y = double(m.sourceRows);
            break;
        case xfam_VAR:
        case xfam_STDDEV:
        case xfam_VARP:
        case xfam_STDDEVP: {
            const double delta = v - s.x;
            s.x += delta / double(s.n);
            s.y += delta * (v - s.x);
            break;
        }
        case xfam_RMS: s.x += v * v; break;
        case xfam_AVEDEV:
            s.x += v;
            m.kept[size_t(cell) * size_t(m.nAvedev) + size_t(m.aggAvedev[size_t(k)])].push_back(v);
            break;
        default: s.x += v; break; // SUM, AVG, RANK
        }
    }
}

int Pivot::needsOf(int algorithm)
{
    switch (algorithm) {
    case xfam_FORMULA:
    case xfam_COUNT: return 0;
    case xfaa_SUM:
    case xfam_SUM:
    case xfam_AVG:
    case xfam_RANKUP:
    case xfam_RANKDOWN: return NeedSum;
    case xfaa_MIN:
    case xfam_MIN: return NeedMin;
    case xfaa_MAX:
    case xfam_MAX: return NeedMax;
    case xfam_VAR:
    case xfam_STDDEV:
    case xfam_VARP:
    case xfam_STDDEVP: return NeedSum | NeedDeviations;
    case xfam_RMS: return NeedSquares;
    }
    return -1; // LAST, AVEDEV, and what is no algorithm at all
}

bool Pivot::groupable(const PivotSpec& spec)
{
    return std::all_of(spec.facts.begin(), spec.facts.end(), [](const PivotFact& f) { return needsOf(f.algorithm) >= 0; });
}

void Pivot::addGroup(const QVariantList& row, qint64 rows, const QList<Summary>& summaries)
{
    Impl& m = *d;
    if (rows <= 0) return; // no group at all: a whole source without rows
    m.sourceRows += rows;
    if (!m.onPage(row)) return;

    const int cell = m.leafCell(m.rows.leafOf(row), m.cols.leafOf(row));
    Acc* acc = &m.accs[size_t(cell) * size_t(m.nAgg)];
    for (int k = 0; k < m.nAgg; ++k) {
        const Summary s = summaries.value(m.inputColumns[size_t(m.aggInput[size_t(k)])]);
        const int alg = m.aggAlg[size_t(k)];
        Acc from;
        from.n = s.count;
        if (s.count > 0) {
            const double n = double(s.count);
            switch (alg) {
            case xfaa_MIN:
            case xfam_MIN: from.x = s.min; break;
            case xfaa_MAX:
            case xfam_MAX: from.x = s.max; break;
            case xfam_VAR:
            case xfam_STDDEV:
            case xfam_VARP:
            case xfam_STDDEVP:
                // The group's mean and squared deviations, as its rows' running statistics hold them.
                from.x = s.sum / n;
                from.y = s.deviations;
                break;
            case xfam_RMS: from.x = s.squares; break;
            default: from.x = s.sum; break; // SUM, AVG, RANK; COUNT reads n only
            }
        }
        merge(alg, acc[k], from);
    }
}

PivotResult Pivot::result() const
{
    const Impl& m = *d;
    PivotResult r;
    QCollator collator{QLocale(QLocale::Hungarian, QLocale::Hungary)};
    r.rowDimensions = m.rows.dims;
    r.columnDimensions = m.cols.dims;
    r.facts = m.facts;
    r.sourceRows = m.sourceRows;
    for (const Impl::Page& p : m.pages) {
        r.pageDimensions.append(p.dim);
        const std::vector<int> rank = p.dict.ranks(p.dim.descending, collator);
        std::vector<int> ids;
        for (int id = 0; id < p.dict.size(); ++id)
            if (p.dict.seen(id)) ids.push_back(id);
        std::sort(ids.begin(), ids.end(), [&](int a, int b) { return rank[size_t(a)] < rank[size_t(b)]; });
        QVariantList values;
        for (int id : ids) values.append(p.dict.value(id));
        r.pageValues.append(values);
    }
    std::vector<int> rowHeader, colHeader;
    r.rows = m.rows.headers(collator, &rowHeader);
    r.columns = m.cols.headers(collator, &colHeader);

    // Every leaf cell goes into its own cell and into the totals above it on both axes.
    const int rowActive = m.rows.activeCount(), colActive = m.cols.activeCount();
    const int perLeaf = rowActive * colActive;
    const size_t nLeaves = m.leafRow.size();
    KeyMap cellAt;
    std::vector<int> cellRowHeader, cellColHeader;
    std::vector<int> targets(nLeaves * size_t(perLeaf));
    {
        std::vector<int> rn(static_cast<size_t>(rowActive)), cn(static_cast<size_t>(colActive));
        for (size_t l = 0; l < nLeaves; ++l) {
            m.rows.activeNodes(m.leafRow[l], rn.data());
            m.cols.activeNodes(m.leafCol[l], cn.data());
            for (int i = 0; i < rowActive; ++i) {
                for (int j = 0; j < colActive; ++j) {
                    const int rh = rowHeader[size_t(rn[size_t(i)])], ch = colHeader[size_t(cn[size_t(j)])];
                    const quint64 key = pairKey(rh, ch);
                    int cell = cellAt.find(key);
                    if (cell < 0) {
                        cell = int(cellRowHeader.size());
                        cellAt.insert(key, cell);
                        cellRowHeader.push_back(rh);
                        cellColHeader.push_back(ch);
                    }
                    targets[l * size_t(perLeaf) + size_t(i * colActive + j)] = cell;
                }
            }
        }
    }
    const size_t nCells = cellRowHeader.size();
    const size_t nAgg = size_t(m.nAgg);
    std::vector<Acc> folded(nCells * nAgg);
    for (size_t l = 0; l < nLeaves; ++l)
        for (int t = 0; t < perLeaf; ++t) {
            const size_t cell = size_t(targets[l * size_t(perLeaf) + size_t(t)]);
            for (size_t k = 0; k < nAgg; ++k) merge(m.aggAlg[k], folded[cell * nAgg + k], m.accs[l * nAgg + k]);
        }
    // AVEDEV measures each value against the mean of the whole cell it counts in.
    std::vector<double> deviation(nCells * size_t(m.nAvedev), 0.0);
    for (size_t k = 0; k < nAgg; ++k) {
        const int j = m.aggAvedev[k];
        if (j < 0) continue;
        for (size_t l = 0; l < nLeaves; ++l) {
            const std::vector<double>& values = m.kept[l * size_t(m.nAvedev) + size_t(j)];
            for (int t = 0; t < perLeaf; ++t) {
                const size_t cell = size_t(targets[l * size_t(perLeaf) + size_t(t)]);
                const Acc& s = folded[cell * nAgg + k];
                const double mean = s.x / double(s.n);
                double dev = 0;
                for (double v : values) dev += std::abs(v - mean);
                deviation[cell * size_t(m.nAvedev) + size_t(j)] += dev;
            }
        }
    }

    auto cells = std::make_shared<PivotResult::Cells>();
    const int nf = int(m.facts.size());
    cells->facts = nf;
    cells->values.assign(nCells * size_t(nf), kEmpty);
    for (const PivotFact& f : m.facts) cells->whole.push_back(f.algorithm == xfam_COUNT || isRank(f.algorithm));
    cells->at.reserve(qsizetype(nCells));
    for (size_t c = 0; c < nCells; ++c) cells->at.insert(pairKey(cellRowHeader[c], cellColHeader[c]), int(c));

    for (size_t c = 0; c < nCells; ++c) {
        double* out = &cells->values[c * size_t(nf)];
        const Acc* acc = &folded[c * nAgg];
        for (int f = 0; f < nf; ++f) {
            const int k = m.aggOf[size_t(f)];
            if (k < 0) continue;
            const Acc& s = acc[k];
            const int alg = m.aggAlg[size_t(k)];
            if (alg == xfam_COUNT) {
                out[f] = double(s.n);
                continue;
            }
            if (s.n == 0) continue;
            const double n = double(s.n);
            switch (alg) {
            case xfaa_SUM:
            case xfam_SUM:
            case xfaa_MIN:
            case xfam_MIN:
            case xfaa_MAX:
            case xfam_MAX:
            case xfaa_LAST: out[f] = s.x; break;
            case xfam_AVG: out[f] = s.x / n; break;
            case xfam_VAR:
                if (s.n > 1) out[f] = s.y / (n - 1);
                break;
            case xfam_STDDEV:
                if (s.n > 1) out[f] = std::sqrt(std::max(0.0, s.y / (n - 1)));
                break;
            case xfam_VARP: out[f] = s.y / n; break;
            case xfam_STDDEVP: out[f] = std::sqrt(std::max(0.0, s.y / n)); break;
            case xfam_RMS: out[f] = std::sqrt(s.x / n); break;
            case xfam_AVEDEV: out[f] = deviation[c * size_t(m.nAvedev) + size_t(m.aggAvedev[size_t(k)])] / n; break;
            default: break; // ranks below; an unknown algorithm stays empty
            }
        }
    }

    // Ranks: within each column of the body, totals left out.
    for (int f = 0; f < nf; ++f) {
        const int k = m.aggOf[size_t(f)];
        if (k < 0 || !isRank(m.aggAlg[size_t(k)])) continue;
        const bool up = m.aggAlg[size_t(k)] == xfam_RANKUP;
        std::vector<std::vector<std::pair<double, size_t>>> byColumn(size_t(r.columns.size()));
        for (size_t c = 0; c < nCells; ++c) {
            const int row = cellRowHeader[c], col = cellColHeader[c];
            const Acc& s = folded[c * nAgg + size_t(k)];
            if (s.n == 0 || r.rows[row].isTotal || r.columns[col].isTotal) continue;
            byColumn[size_t(col)].emplace_back(s.x, c);
        }
        for (auto& list : byColumn) {
            std::sort(list.begin(), list.end(), [up](const auto& a, const auto& b) { return up ? a.first < b.first : a.first > b.first; });
            for (size_t i = 0; i < list.size(); ++i) {
                const bool tie = i > 0 && list[i].first == list[i - 1].first;
                const double rank = tie ? cells->values[list[i - 1].second * size_t(nf) + size_t(f)] : double(i + 1);
                cells->values[list[i].second * size_t(nf) + size_t(f)] = rank;
            }
        }
    }

    PivotFormulas formulas(m.facts);
    if (!formulas.empty()) {
        std::vector<QString> errors(static_cast<size_t>(nf));
        for (size_t c = 0; c < nCells; ++c) {
            formulas.evaluate(&cells->values[c * size_t(nf)], errors);
            for (int f = 0; f < nf; ++f)
                if (!errors[size_t(f)].isEmpty()) cells->errors.insert(qint64(c) * nf + f, errors[size_t(f)]);
        }
    }
    r.m_cells = std::move(cells);
    return r;
}

QVariant PivotResult::cell(int r, int c, int f) const
{
    if (!m_cells || f < 0 || f >= m_cells->facts || r < 0 || c < 0) return {};
    const auto it = m_cells->at.constFind(pairKey(r, c));
    if (it == m_cells->at.constEnd()) return {};
    const qint64 slot = qint64(*it) * m_cells->facts + f;
    const double v = m_cells->values[size_t(slot)];
    if (std::isnan(v)) {
        const auto e = m_cells->errors.constFind(slot);
        return e == m_cells->errors.constEnd() ? QVariant() : QVariant(*e);
    }
    if (m_cells->whole[size_t(f)]) return QVariant(qlonglong(v));
    return QVariant(v);
}

QString PivotResult::headerText(const QVariant& value, int dimType)
{
    if (value.isNull()) return {};
    const QLocale hu = hungarian();
    switch (dimType) {
    case xoft_String: return value.toString();
    case xoft_Boolean: return boolOf(value) ? QStringLiteral("Igen") : QStringLiteral("Nem");
    case xoft_Word:
    case xoft_Smallint:
    case xoft_Integer: {
        double v = 0;
        return numberOf(value, &v) ? hu.toString(qint64(std::llround(v))) : value.toString();
    }
    case xoft_Float: {
        double v = 0;
        return numberOf(value, &v) ? numberText(v) : value.toString();
    }
    case xoft_Currency: {
        double v = 0;
        return numberOf(value, &v) ? hu.toString(qint64(std::llround(v))) + QStringLiteral(" Ft") : value.toString();
    }
    case xoft_Date: {
        const QDateTime d = dateTimeOf(value);
        return d.isValid() ? d.date().toString(DateFormats::kDayPlain) : value.toString();
    }
    case xoft_DateTime: {
        const QDateTime d = dateTimeOf(value);
        return d.isValid() ? d.toString(DateFormats::kMinutePlain) : value.toString();
    }
    case xoft_Time: {
        const QTime t = timeOf(value);
        return t.isValid() ? t.toString(QStringLiteral("hh:mm:ss")) : value.toString();
    }
    }
    // No declared type: by the value's own.
    switch (value.typeId()) {
    case QMetaType::Bool: return headerText(value, xoft_Boolean);
    case QMetaType::QDate: return headerText(value, xoft_Date);
    case QMetaType::QDateTime: return headerText(value, xoft_DateTime);
    case QMetaType::QTime: return headerText(value, xoft_Time);
    case QMetaType::Double:
    case QMetaType::Float: return numberText(value.toDouble());
    }
    if (isNumber(value)) return hu.toString(value.toLongLong());
    return value.toString();
}

QString PivotResult::cellText(const QVariant& value) { return headerText(value, xoft_None); }

QString PivotResult::totalText(const PivotHeader& header, const QList<PivotDimension>& axisDimensions)
{
    if (header.values.isEmpty()) return header.isTotal ? kGrandTotal : QString();
    const qsizetype last = header.values.size() - 1;
    const int type = last < axisDimensions.size() ? axisDimensions[last].type : int(xoft_None);
    const QString text = headerText(header.values[last], type);
    return header.isTotal ? text + QStringLiteral(" összesen") : text;
}

} // namespace NexoFrame::Olap
