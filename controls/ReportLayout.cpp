#include "ReportLayout.h"
#include "DateFormats.h"
#include "ReadOnlySource.h"
#include <QFontMetricsF>
#include <QHash>
#include <QLocale>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QRegularExpression>
#include <QSet>
#include <QTextLayout>
#include <cmath>

namespace NexoFrame::Controls {

namespace {

const QLocale& hungarian()
{
    static const QLocale l(QLocale::Hungarian, QLocale::Hungary);
    return l;
}

bool isNameChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

QDateTime asDateTime(const QVariant& v)
{
    if (v.typeId() == QMetaType::QDateTime) return v.toDateTime();
    if (v.typeId() == QMetaType::QDate) return v.toDate().startOfDay();
    // A date the database computed comes as text.
    const QString s = v.toString().trimmed();
    for (QLatin1StringView f : {DateFormats::kStored, QLatin1StringView("yyyy-MM-dd HH:mm"), DateFormats::kStoredDay}) {
        const QDateTime d = QDateTime::fromString(s, f);
        if (d.isValid()) return d;
    }
    return QDateTime::fromString(s, Qt::ISODate);
}

bool isNumber(const QVariant& v, double* out)
{
    switch (v.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Bool: *out = v.toDouble(); return true;
    default: break;
    }
    bool ok = false;
    *out = v.toString().trimmed().toDouble(&ok);
    return ok;
}

QString key(const QVariant& v) { return v.isNull() ? QString() : v.toString(); }

} // namespace

int ReportRows::field(const QString& name) const
{
    for (int i = 0; i < fields.size(); ++i)
        if (fields[i].compare(name, Qt::CaseInsensitive) == 0) return i;
    return -1;
}

bool bindNamed(const QString& sql, const QVariantMap& values, QString* statement, QVariantList* bound, QString* error)
{
    QString out;
    bound->clear();
    const qsizetype n = sql.size();
    auto copyTo = [&](qsizetype from, qsizetype to) {
        out += QStringView(sql).mid(from, to - from);
        return to;
    };
    for (qsizetype i = 0; i < n;) {
        const QChar c = sql.at(i);
        const QChar next = i + 1 < n ? sql.at(i + 1) : QChar();
        if (c == QLatin1Char('\'') || c == QLatin1Char('"')) {
            qsizetype j = i + 1;
            while (j < n && !(sql.at(j) == c && !(j + 1 < n && sql.at(j + 1) == c))) j += sql.at(j) == c ? 2 : 1;
            i = copyTo(i, std::min(j + 1, n));
        } else if (c == QLatin1Char('-') && next == QLatin1Char('-')) {
            const qsizetype j = sql.indexOf(QLatin1Char('\n'), i);
            i = copyTo(i, j < 0 ? n : j);
        } else if (c == QLatin1Char('/') && next == QLatin1Char('*')) {
            const qsizetype j = sql.indexOf(QLatin1String("*/"), i + 2);
            i = copyTo(i, j < 0 ? n : j + 2);
        } else if (c == QLatin1Char(':') && next == QLatin1Char(':')) {
            i = copyTo(i, i + 2);
        } else if (c == QLatin1Char(':') && (next.isLetter() || next == QLatin1Char('_'))
                   && (i == 0 || !isNameChar(sql.at(i - 1)))) {
            qsizetype j = i + 1;
            while (j < n && isNameChar(sql.at(j))) ++j;
            const QString name = sql.mid(i + 1, j - i - 1);
            auto it = values.constBegin();
            while (it != values.constEnd() && it.key().compare(name, Qt::CaseInsensitive) != 0) ++it;
            if (it == values.constEnd()) {
                *error = QStringLiteral("A lekérdezés ismeretlen paramétert használ: :%1").arg(name);
                return false;
            }
            out += QLatin1Char('?');
            *bound << *it;
            i = j;
        } else {
            i = copyTo(i, i + 1);
        }
    }
    *statement = out;
    return true;
}

bool fetchRows(ReadOnlySource& source, const ReportFile& file, const QVariantMap& values, ReportRows* out, QString* error)
{
    QString statement;
    QVariantList bound;
    if (!bindNamed(file.query, values, &statement, &bound, error)) return false;
    ReportRows r;
    if (!source.run(statement, bound, &r.fields,
                    [&](const QVariantList& row) {
                        r.rows << row;
                        return true;
                    },
                    error))
        return false;

    auto missing = [&](const QString& field, const QString& what) {
        *error = QStringLiteral("A lekérdezés eredményében nincs „%1” mező, pedig a riport %2 erre hivatkozik.").arg(field, what);
        return false;
    };
    for (const ReportColumn& c : file.columns)
        if (r.field(c.field) < 0) return missing(c.field, QStringLiteral("egyik oszlopa"));
    for (const ReportGroup& g : file.groups)
        if (r.field(g.field) < 0) return missing(g.field, QStringLiteral("egyik csoportja"));
    r.depth = QList<int>(r.rows.size(), 0);
    if (file.tree.enabled()) {
        const int id = r.field(file.tree.id), parent = r.field(file.tree.parent);
        if (id < 0) return missing(file.tree.id, QStringLiteral("fája"));
        if (parent < 0) return missing(file.tree.parent, QStringLiteral("fája"));
        // Depth first, siblings in the query's order. A root has no parent (null, 0 or
        // itself); a row whose parent is not listed goes with its branch.
        QSet<QString> ids;
        for (const QVariantList& row : r.rows) ids.insert(key(row[id]));
        QHash<QString, QList<int>> children;
        QList<int> roots;
        for (int i = 0; i < r.rows.size(); ++i) {
            const QString p = key(r.rows[i][parent]);
            if (p.isEmpty() || p == QLatin1String("0") || p == key(r.rows[i][id])) roots << i;
            else if (ids.contains(p)) children[p] << i;
        }
        QList<QVariantList> ordered;
        QList<int> depth;
        QSet<int> placed;
        QList<std::pair<int, int>> stack; // row, depth
        for (auto it = roots.crbegin(); it != roots.crend(); ++it) stack.append({*it, 0});
        while (!stack.isEmpty()) {
            const auto [row, level] = stack.takeLast();
            if (placed.contains(row)) continue; // two rows of one id: the branch once
            placed.insert(row);
            ordered << r.rows[row];
            depth << level;
            const QList<int> below = children.value(key(r.rows[row][id]));
            for (auto it = below.crbegin(); it != below.crend(); ++it) stack.append({*it, level + 1});
        }
        r.rows = ordered;
        r.depth = depth;
    }
    *out = r;
    return true;
}

bool truthy(const QVariant& v)
{
    if (v.isNull()) return false;
    if (v.typeId() == QMetaType::Bool) return v.toBool();
    double d;
    if (v.typeId() != QMetaType::QString && isNumber(v, &d)) return d != 0;
    const QString s = v.toString().trimmed().toLower();
    return !(s.isEmpty() || s == QLatin1String("0") || s == QLatin1String("false") || s == QLatin1String("f")
             || s == QLatin1String("nem") || s == QLatin1String("n"));
}

QString formatValue(const QVariant& v, const ReportColumn* column, const QDate& today)
{
    const ColumnFormat format = column ? column->format : ColumnFormat::Text;
    if (format == ColumnFormat::Mark) return truthy(v) ? column->mark : QString();
    if (v.isNull()) return QString();
    double d = 0;
    switch (format) {
    case ColumnFormat::Int:
        if (isNumber(v, &d)) return hungarian().toString(qlonglong(std::llround(d)));
        break;
    case ColumnFormat::Number:
        if (isNumber(v, &d)) return hungarian().toString(d, 'f', column->decimals);
        break;
    case ColumnFormat::Date:
    case ColumnFormat::DateTime:
    case ColumnFormat::Days: {
        const QDateTime t = asDateTime(v);
        if (!t.isValid()) break;
        if (format == ColumnFormat::Days) return hungarian().toString(today.daysTo(t.date()));
        return t.toString(format == ColumnFormat::Date ? DateFormats::kDay : DateFormats::kMinute);
    }
    case ColumnFormat::Text:
    case ColumnFormat::Mark: break;
    }
    switch (v.typeId()) {
    case QMetaType::Bool: return v.toBool() ? QStringLiteral("igen") : QStringLiteral("nem");
    case QMetaType::QDate: return v.toDate().toString(DateFormats::kDay);
    case QMetaType::QDateTime: {
        const QDateTime t = v.toDateTime();
        return t.toString(t.time() == QTime(0, 0) ? DateFormats::kDay : DateFormats::kMinute);
    }
    case QMetaType::Double: return hungarian().toString(v.toDouble(), 'g', 15);
    default: return v.toString();
    }
}

QString fillPlaceholders(const QString& text, const std::function<QString(const QString&)>& lookup)
{
    static const QRegularExpression re(QStringLiteral("\\{([A-Za-z_][A-Za-z0-9_]*(?::[A-Za-z_][A-Za-z0-9_]*)?)\\}"));
    QString out;
    qsizetype at = 0;
    for (auto it = re.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += QStringView(text).mid(at, m.capturedStart() - at);
        const QString value = lookup(m.captured(1));
        out += value.isNull() ? m.captured(0) : value;
        at = m.capturedEnd();
    }
    return out + text.mid(at);
}

// ---------------------------------------------------------------------------------------

namespace {

// A piece of text placed within a band: its lines, already wrapped to the box's width.
struct Block {
    QRectF box; // relative to the band's top left
    QStringList lines;
    const QFont* font = nullptr;
    Qt::Alignment align = Qt::AlignLeft;
};

struct Band {
    enum Kind { Row, Heading, Footer, Total, Empty } kind = Row;
    int level = 0;
    int row = -1; // a heading's first row
    double height = 0;
    bool keepWithNext = false;
    QList<Block> blocks;
    QList<int> within; // the heading bands of the groups this band lies in
};

// A page: its bands and where each starts.
struct Page {
    QList<std::pair<int, double>> bands;
};

} // namespace

struct ReportLayout::Impl {
    const ReportFile& file;
    const ReportRows& rows;
    const ReportHeader& header;
    QDate today;

    // Set for one print.
    QPaintDevice* device = nullptr;
    double mm = 1;
    double width = 0, height = 0;
    QFont company, details, title, subtitle, columnHeading, body, bodyBold, groupHeading, footer;
    QList<double> colX, colW;
    QList<int> colField;
    QList<Block> headerBlocks, headingBlocks;
    double headerHeight = 0, headingHeight = 0, footerHeight = 0, bodyTop = 0, bodyBottom = 0;
    double padX = 0, padY = 0;
    QList<Band> bands;
    QList<Page> pages;

    Impl(const ReportFile& f, const ReportRows& r, const ReportHeader& h) : file(f), rows(r), header(h) {}

    QFont font(double points, bool bold = false, bool italic = false) const
    {
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setStyleHint(QFont::SansSerif);
        f.setPointSizeF(points);
        f.setBold(bold);
        f.setItalic(italic);
        return f;
    }

    double lineHeight(const QFont& f) const { return QFontMetricsF(f, device).lineSpacing(); }

    // Word wrap, breaking a word only when it is wider than the box by itself.
    QStringList wrap(const QString& text, const QFont& f, double w) const
    {
        QStringList out;
        const QStringList paragraphs = text.split(QLatin1Char('\n'));
        for (const QString& para : paragraphs) {
            if (para.trimmed().isEmpty()) {
                if (paragraphs.size() > 1) out << QString();
                continue;
            }
            QTextLayout layout(para, f, device);
            QTextOption option;
            option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
            layout.setTextOption(option);
            layout.beginLayout();
            for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
                line.setLineWidth(std::max(1.0, w));
                out << para.mid(line.textStart(), line.textLength()).trimmed();
            }
            layout.endLayout();
        }
        return out;
    }

    // A block of wrapped text at (x, y) in a box `w` wide; `maxLines` keeps it within a page.
    Block block(const QString& text, const QFont& f, double x, double y, double w, Qt::Alignment align,
                int maxLines = 0) const
    {
        Block b;
        b.font = &f;
        b.align = align;
        b.lines = wrap(text, f, w);
        if (maxLines > 0 && b.lines.size() > maxLines) {
            b.lines = b.lines.mid(0, maxLines);
            b.lines.last() += QStringLiteral("…");
        }
        b.box = QRectF(x, y, w, b.lines.size() * lineHeight(f));
        return b;
    }

    static double bottom(const QList<Block>& blocks)
    {
        double b = 0;
        for (const Block& k : blocks) b = std::max(b, k.box.bottom());
        return b;
    }

    void setUp(QPagedPaintDevice* dev)
    {
        device = dev;
        mm = dev->logicalDpiY() / 25.4;
        width = dev->width();
        height = dev->height();
        padX = 1.0 * mm;
        padY = 0.6 * mm;
        company = font(12, true);
        details = font(7);
        title = font(13, true);
        subtitle = font(9);
        columnHeading = font(7.5, true);
        body = font(8);
        bodyBold = font(8, true);
        groupHeading = font(8.5, true);
        footer = font(7);

        double total = 0;
        for (const ReportColumn& c : file.columns) total += c.width;
        colX.clear();
        colW.clear();
        colField.clear();
        double x = 0;
        for (const ReportColumn& c : file.columns) {
            colX << x;
            colW << width * c.width / total;
            x += colW.last();
            colField << rows.field(c.field);
        }

        // The company at the left, the print date at the right, the title centred below.
        headerBlocks.clear();
        double y = 0;
        const QString printed = QStringLiteral("Nyomtatva: ") + header.printed.toString(DateFormats::kMinute);
        const double printedWidth = QFontMetricsF(details, device).horizontalAdvance(printed) + 2 * mm;
        headerBlocks << block(printed, details, width - printedWidth, 0, printedWidth, Qt::AlignRight);
        const double companyWidth = width - printedWidth - 4 * mm;
        if (!header.company.isEmpty()) {
            headerBlocks << block(header.company, company, 0, y, companyWidth, Qt::AlignLeft);
            y = bottom(headerBlocks);
        }
        for (const QString& line : header.details) {
            headerBlocks << block(line, details, 0, y, companyWidth, Qt::AlignLeft);
            y = headerBlocks.last().box.bottom();
        }
        y = std::max(y, bottom(headerBlocks)) + 1.5 * mm;
        m_rule = y;
        y += 3 * mm;
        if (!header.title.isEmpty()) {
            headerBlocks << block(header.title, title, 0, y, width, Qt::AlignHCenter);
            y = headerBlocks.last().box.bottom() + 0.5 * mm;
        }
        if (!header.subtitle.isEmpty()) {
            headerBlocks << block(header.subtitle, subtitle, 0, y, width, Qt::AlignHCenter);
            y = headerBlocks.last().box.bottom();
        }
        headerHeight = y + 3 * mm;

        headingBlocks.clear();
        for (int c = 0; c < file.columns.size(); ++c)
            headingBlocks << block(file.columns[c].caption, columnHeading, colX[c] + padX, padY, colW[c] - 2 * padX,
                                   file.columns[c].align);
        headingHeight = bottom(headingBlocks) + padY;
        footerHeight = lineHeight(footer) + 4 * mm;
        bodyTop = headerHeight + headingHeight;
        bodyBottom = height - footerHeight;
    }

    int maxLines(const QFont& f) const { return std::max(1, int((bodyBottom - bodyTop - 4 * padY) / lineHeight(f))); }

    Band rowBand(int r) const
    {
        Band b;
        const QVariantList& row = rows.rows[r];
        for (int c = 0; c < file.columns.size(); ++c) {
            const ReportColumn& col = file.columns[c];
            double indent = 0;
            if (file.tree.enabled() && col.field.compare(file.tree.column, Qt::CaseInsensitive) == 0)
                indent = std::min(rows.depth[r] * 4 * mm, colW[c] / 2);
            b.blocks << block(formatValue(row[colField[c]], &col, today), body, colX[c] + padX + indent, padY,
                              colW[c] - 2 * padX - indent, col.align, maxLines(body));
        }
        b.height = bottom(b.blocks) + padY;
        return b;
    }

    // A field's value of a row as its column shows it, for {field} in headings and footers.
    QString fieldText(int r, const QString& name) const
    {
        const int f = rows.field(name);
        if (f < 0) return QString();
        const ReportColumn* col = nullptr;
        for (const ReportColumn& c : file.columns)
            if (c.field.compare(name, Qt::CaseInsensitive) == 0 && c.format != ColumnFormat::Mark) col = &c;
        const QString s = formatValue(rows.rows[r][f], col, today);
        return s.isNull() ? QStringLiteral("") : s;
    }

    Band headingBand(int level, int r, bool continued = false) const
    {
        Band b;
        b.kind = Band::Heading;
        b.level = level;
        b.row = r;
        b.keepWithNext = true;
        const double top = (level == 0 ? 2.0 : 1.0) * mm;
        const double indent = level * 3 * mm;
        QString text = fillPlaceholders(file.groups[level].heading, [&](const QString& n) { return fieldText(r, n); });
        if (continued) text += QStringLiteral(" (folytatás)");
        b.blocks << block(text, groupHeading, padX + indent, top + padY, width - 2 * padX - indent, Qt::AlignLeft,
                          maxLines(groupHeading));
        b.height = bottom(b.blocks) + padY;
        return b;
    }

    struct Tally {
        int count = 0;
        int firstRow = 0;
        QList<double> sums;
    };

    QString sumText(int c, double v) const
    {
        const ReportColumn& col = file.columns[c];
        return col.format == ColumnFormat::Number ? hungarian().toString(v, 'f', col.decimals)
                                                  : hungarian().toString(qlonglong(std::llround(v)));
    }

    // The footer of a group or the grand total: its text left of the first summed column
    // (or on a line of its own when the first column is summed), the sums under theirs.
    Band sumBand(Band::Kind kind, int level, const QString& pattern, const Tally& t) const
    {
        Band b;
        b.kind = kind;
        b.level = level;
        const QFont& f = bodyBold;
        const double top = (kind == Band::Total ? 1.5 : 0.4) * mm;
        int firstSum = int(file.columns.size());
        for (int c = 0; c < file.columns.size(); ++c)
            if (file.columns[c].sum) {
                firstSum = c;
                break;
            }
        const QString text = fillPlaceholders(pattern, [&](const QString& n) -> QString {
            if (n == QLatin1String("count")) return hungarian().toString(t.count);
            if (n.startsWith(QLatin1String("sum:"))) {
                for (int c = 0; c < file.columns.size(); ++c)
                    if (file.columns[c].sum && file.columns[c].field.compare(n.mid(4), Qt::CaseInsensitive) == 0)
                        return sumText(c, t.sums[c]);
                return QString();
            }
            return kind == Band::Total ? QString() : fieldText(t.firstRow, n);
        });
        double sumsTop = top + padY;
        if (!text.isEmpty()) {
            const double span = firstSum > 0 ? colX[firstSum - 1] + colW[firstSum - 1] : width;
            const double indent = kind == Band::Footer ? level * 3 * mm : 0;
            b.blocks << block(text, f, padX + indent, top + padY, span - 2 * padX - indent, Qt::AlignLeft, maxLines(f));
            if (firstSum == 0) sumsTop = b.blocks.last().box.bottom();
        }
        for (int c = firstSum; c < file.columns.size(); ++c)
            if (file.columns[c].sum)
                b.blocks << block(sumText(c, t.sums[c]), f, colX[c] + padX, sumsTop, colW[c] - 2 * padX,
                                  file.columns[c].align);
        b.height = bottom(b.blocks) + padY + (kind == Band::Footer ? 1.2 * mm : 0);
        return b;
    }

    void addRowToTallies(int r, QList<Tally>& tallies) const
    {
        for (Tally& t : tallies) {
            ++t.count;
            for (int c = 0; c < file.columns.size(); ++c) {
                if (!file.columns[c].sum) continue;
                const QVariant& v = rows.rows[r][colField[c]];
                double d = 0;
                if (file.columns[c].format == ColumnFormat::Mark) d = truthy(v) ? 1 : 0;
                else if (!isNumber(v, &d)) d = 0;
                t.sums[c] += d;
            }
        }
    }

    void buildBands()
    {
        bands.clear();
        const int levels = int(file.groups.size());
        QList<int> groupField;
        for (const ReportGroup& g : file.groups) groupField << rows.field(g.field);
        const Tally empty{0, 0, QList<double>(file.columns.size(), 0.0)};
        QList<Tally> open; // one per group level, then the grand total last
        open.fill(empty, levels + 1);
        QList<int> headings(levels, -1);
        auto closeFrom = [&](int level) {
            for (int l = levels - 1; l >= level; --l)
                if (!file.groups[l].footer.isEmpty()) {
                    bands << sumBand(Band::Footer, l, file.groups[l].footer, open[l]);
                    bands.last().within = headings.mid(0, l + 1);
                }
        };
        for (int r = 0; r < rows.rows.size(); ++r) {
            int breakAt = r == 0 ? 0 : levels;
            for (int l = 0; r > 0 && l < levels; ++l) {
                const QVariant& a = rows.rows[r - 1][groupField[l]];
                const QVariant& b = rows.rows[r][groupField[l]];
                if (a.isNull() != b.isNull() || key(a) != key(b)) {
                    breakAt = l;
                    break;
                }
            }
            if (r > 0) closeFrom(breakAt);
            for (int l = breakAt; l < levels; ++l) {
                open[l] = empty;
                open[l].firstRow = r;
                headings[l] = int(bands.size());
                bands << headingBand(l, r);
                bands.last().within = headings.mid(0, l);
            }
            addRowToTallies(r, open);
            bands << rowBand(r);
            bands.last().within = headings;
        }
        if (rows.rows.isEmpty()) {
            Band b;
            b.kind = Band::Empty;
            const QFont& f = body;
            b.blocks << block(file.empty, f, padX, 2 * mm, width - 2 * padX, Qt::AlignLeft);
            b.height = bottom(b.blocks) + padY;
            bands << b;
        } else {
            closeFrom(0);
        }
        if (file.hasTotal && !file.total.isEmpty()) bands << sumBand(Band::Total, 0, file.total, open[levels]);
    }

    void paginate()
    {
        pages = {Page()};
        double y = bodyTop;
        const int count = int(bands.size());
        QHash<int, int> continued; // heading band -> its "(folytatás)" band, added after the others
        for (int i = 0; i < count; ++i) {
            // A heading goes over to the next page with the first row under it.
            double need = bands[i].height;
            for (int j = i; j + 1 < count && bands[j].keepWithNext; ++j) need += bands[j + 1].height;
            if (y + need > bodyBottom && !pages.last().bands.isEmpty()) {
                pages << Page();
                y = bodyTop;
                // A group going on from the last page says so at the top of this one.
                for (int h : std::as_const(bands[i].within)) {
                    if (h < 0) continue;
                    if (!continued.contains(h)) {
                        continued.insert(h, int(bands.size()));
                        bands << headingBand(bands[h].level, bands[h].row, true);
                    }
                    pages.last().bands.append({continued.value(h), y});
                    y += bands[continued.value(h)].height;
                }
            }
            pages.last().bands.append({i, y});
            y += bands[i].height;
        }
    }

    void drawBlock(QPainter& p, const Block& b, QPointF at) const
    {
        p.setFont(*b.font);
        const double lh = lineHeight(*b.font);
        for (int i = 0; i < b.lines.size(); ++i)
            p.drawText(QRectF(at.x() + b.box.x(), at.y() + b.box.y() + i * lh, b.box.width(), lh),
                       int(b.align | Qt::AlignTop | Qt::TextSingleLine | Qt::TextDontClip), b.lines[i]);
    }

    void hline(QPainter& p, double y, double weight, const QColor& color, double x0 = 0, double x1 = -1) const
    {
        p.setPen(QPen(color, weight * mm));
        p.drawLine(QPointF(x0, y), QPointF(x1 < 0 ? width : x1, y));
        p.setPen(Qt::black);
    }

    void paintPage(QPainter& p, int index) const
    {
        p.setPen(Qt::black);
        for (const Block& b : headerBlocks) drawBlock(p, b, QPointF(0, 0));
        hline(p, m_rule, 0.4, Qt::black);

        // Column headings on a light band, closed by a line.
        const double top = headerHeight;
        p.fillRect(QRectF(0, top, width, headingHeight), QColor(0xe6, 0xe6, 0xe6));
        for (const Block& b : headingBlocks) drawBlock(p, b, QPointF(0, top));
        hline(p, top + headingHeight, 0.3, Qt::black);

        const Page& page = pages[index];
        for (const auto& [i, y] : page.bands) {
            const Band& b = bands[i];
            switch (b.kind) {
            case Band::Heading:
                if (b.level == 0) {
                    const double gap = b.blocks.first().box.top() - padY;
                    p.fillRect(QRectF(0, y + gap, width, b.height - gap), QColor(0xf0, 0xf0, 0xf0));
                } else {
                    hline(p, y + b.height, 0.15, QColor(0x90, 0x90, 0x90), b.blocks.first().box.left() - padX);
                }
                break;
            case Band::Footer:
            case Band::Total: {
                const double at = y + (b.kind == Band::Total ? 1.0 * mm : 0.2 * mm);
                hline(p, at, b.kind == Band::Total ? 0.3 : 0.2, Qt::black);
                if (b.kind == Band::Total) hline(p, at + 0.7 * mm, 0.3, Qt::black);
                break;
            }
            case Band::Row:
                // Between rows only: a footer or the total draws its own line.
                if (i + 1 < bands.size() && bands[i + 1].kind == Band::Row)
                    hline(p, y + b.height, 0.1, QColor(0xc8, 0xc8, 0xc8));
                break;
            case Band::Empty: break;
            }
            p.setPen(Qt::black);
            for (const Block& k : b.blocks) drawBlock(p, k, QPointF(0, y));
        }

        const double fy = height - lineHeight(footer);
        hline(p, fy - 1.5 * mm, 0.2, QColor(0x80, 0x80, 0x80));
        p.setFont(footer);
        p.drawText(QRectF(0, fy, width, lineHeight(footer)), int(Qt::AlignRight | Qt::AlignTop),
                   QStringLiteral("%1. oldal / %2").arg(index + 1).arg(pages.size()));
        if (!header.title.isEmpty())
            p.drawText(QRectF(0, fy, width * 0.7, lineHeight(footer)), int(Qt::AlignLeft | Qt::AlignTop), header.title);
    }

    double m_rule = 0;
};

ReportLayout::ReportLayout(const ReportFile& file, const ReportRows& rows, const ReportHeader& header)
    : d(std::make_unique<Impl>(file, rows, header))
{
    d->today = header.printed.isValid() ? header.printed.date() : QDate::currentDate();
}

ReportLayout::~ReportLayout() = default;

void ReportLayout::setUpPage(QPagedPaintDevice* device, QPageLayout::Orientation orientation)
{
    device->setPageLayout(QPageLayout(QPageSize(QPageSize::A4), orientation, QMarginsF(15, 12, 15, 12), QPageLayout::Millimeter));
}

bool ReportLayout::print(QPagedPaintDevice* device, QString* error)
{
    QPainter p;
    if (!p.begin(device)) {
        *error = QStringLiteral("A riport oldalai nem rajzolhatók meg: a nyomtató vagy a fájl nem nyitható meg.");
        return false;
    }
    d->setUp(device);
    if (d->bodyBottom - d->bodyTop < 20 * d->mm) {
        p.end();
        *error = QStringLiteral("A riport fejléce nem fér el az oldalon: túl sok a fejléc sora vagy túl kicsi a lap.");
        return false;
    }
    d->buildBands();
    d->paginate();
    p.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < d->pages.size(); ++i) {
        if (i > 0 && !device->newPage()) {
            p.end();
            *error = QStringLiteral("A riport %1. oldala nem kezdhető el.").arg(i + 1);
            return false;
        }
        d->paintPage(p, i);
    }
    if (!p.end()) {
        *error = QStringLiteral("A riport nem írható ki: a nyomtató vagy a fájl nem fogadta el.");
        return false;
    }
    return true;
}

int ReportLayout::pageCount() const { return int(d->pages.size()); }

} // namespace NexoFrame::Controls
