#include "OlapPreview.h"
#include "CsvFile.h"
#include <QAbstractTableModel>
#include <QAreaSeries>
#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QComboBox>
#include <QFile>
#include <QGraphicsLayout>
#include <QGraphicsScene>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QHelpEvent>
#include <QLabel>
#include <QLegend>
#include <QLineSeries>
#include <QPainter>
#include <QPdfWriter>
#include <QPieSeries>
#include <QScatterSeries>
#include <QSplitter>
#include <QStackedBarSeries>
#include <QTableView>
#include <QToolTip>
#include <QValueAxis>
#include <QVBoxLayout>
#include <algorithm>
#include <numeric>
#include <optional>

namespace NexoFrame::Olap {

namespace {

const QString kAll = QStringLiteral("<mind>");
const QColor kTotalBackground(0xEE, 0xF2, 0xF8);
const QColor kErrorColor(0xC0, 0x00, 0x00);
const char* const kWholeCategories = "wholeCategories";

enum class Kind { Bar, Line, Area, Step, Pie, XY, Combination };

// The 3D codes draw as their 2D counterparts; an unknown code as bars.
Kind kindOf(int code)
{
    switch (code) {
    case 5: case 4: return Kind::Area;
    case 9: case 8: return Kind::Combination;
    case 3: case 2: return Kind::Line;
    case 7: case 6: return Kind::Step;
    case 14: return Kind::Pie;
    case 16: return Kind::XY;
    default: return Kind::Bar;
    }
}

bool isError(const QVariant& v) { return v.typeId() == QMetaType::QString && v.toString().startsWith(QLatin1Char('#')); }
bool isNumeric(int type) { return type >= xoft_Word && type <= xoft_Currency; }

QString joined(const PivotHeader& h, const QList<PivotDimension>& dims)
{
    QStringList parts;
    for (int i = 0; i < h.values.size(); ++i)
        parts << PivotResult::headerText(h.values[i], i < dims.size() ? dims[i].type : int(xoft_String));
    return parts.join(QStringLiteral(" / "));
}

QString headerLabel(const PivotHeader& h, const QList<PivotDimension>& dims)
{
    if (!h.isTotal) return joined(h, dims);
    return h.values.isEmpty() ? PivotResult::kGrandTotal : joined(h, dims) + QStringLiteral(" összesen");
}

// An axis without dimensions has only its grand total, which the chart must keep; otherwise
// totals only repeat what the chart already shows.
QList<int> chartHeaders(const QList<PivotHeader>& headers, const QList<PivotDimension>& dims)
{
    QList<int> out;
    for (int i = 0; i < headers.size(); ++i)
        if (dims.isEmpty() || !headers[i].isTotal) out << i;
    return out;
}

} // namespace

class PreviewModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;

    void setResult(std::optional<PivotResult> r)
    {
        beginResetModel();
        m_r = std::move(r);
        endResetModel();
    }
    const PivotResult* result() const { return m_r ? &*m_r : nullptr; }

    int labelColumns() const { return m_r ? std::max<int>(1, m_r->rowDimensions.size()) : 0; }
    int rowCount(const QModelIndex& parent = {}) const override { return parent.isValid() || !m_r ? 0 : m_r->rows.size(); }
    int columnCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() || !m_r ? 0 : labelColumns() + m_r->columns.size() * m_r->facts.size();
    }

    QVariant data(const QModelIndex& index, int role) const override
    {
        if (!m_r || !index.isValid()) return {};
        const int r = index.row(), j = index.column(), labels = labelColumns();
        const bool totalRow = !m_r->rowDimensions.isEmpty() && m_r->rows[r].isTotal;
        if (j < labels) {
            switch (role) {
            case Qt::DisplayRole: return rowLabel(r, j);
            case Qt::FontRole: return totalRow ? boldFont() : QVariant();
            case Qt::BackgroundRole: return totalRow ? QVariant(kTotalBackground) : QVariant();
            case Qt::TextAlignmentRole: return int(Qt::AlignLeft | Qt::AlignVCenter);
            default: return {};
            }
        }
        const int nf = m_r->facts.size(), c = (j - labels) / nf, f = (j - labels) % nf;
        const bool total = totalRow || totalColumn(c);
        switch (role) {
        case Qt::DisplayRole: return PivotResult::cellText(m_r->cell(r, c, f));
        case Qt::FontRole: return total ? boldFont() : QVariant();
        case Qt::BackgroundRole: return total ? QVariant(kTotalBackground) : QVariant();
        case Qt::ForegroundRole: return isError(m_r->cell(r, c, f)) ? QVariant(kErrorColor) : QVariant();
        case Qt::TextAlignmentRole: return int(Qt::AlignRight | Qt::AlignVCenter);
        default: return {};
        }
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (!m_r || orientation != Qt::Horizontal) return QAbstractTableModel::headerData(section, orientation, role);
        const int labels = labelColumns();
        if (section < labels) {
            if (role == Qt::DisplayRole) return section < m_r->rowDimensions.size() ? m_r->rowDimensions[section].caption : QString();
            return {};
        }
        const int nf = m_r->facts.size(), c = (section - labels) / nf, f = (section - labels) % nf;
        if (role == Qt::FontRole) return totalColumn(c) ? boldFont() : QVariant();
        if (role != Qt::DisplayRole) return {};
        if (m_r->columnDimensions.isEmpty()) return m_r->facts[f].caption;
        const QString head = headerLabel(m_r->columns[c], m_r->columnDimensions);
        return nf > 1 ? head + QStringLiteral(" – ") + m_r->facts[f].caption : head;
    }

private:
    static QFont boldFont()
    {
        QFont f;
        f.setBold(true);
        return f;
    }
    bool totalColumn(int c) const { return !m_r->columnDimensions.isEmpty() && m_r->columns[c].isTotal; }

    // Outer values show only where they change, as a reader of a printed pivot expects; a
    // total names its group in the column of its last value.
    QString rowLabel(int r, int level) const
    {
        const auto& dims = m_r->rowDimensions;
        if (dims.isEmpty()) return PivotResult::kGrandTotal;
        const PivotHeader& h = m_r->rows[r];
        const int k = h.values.size();
        if (h.isTotal && level == std::max(0, k - 1)) return PivotResult::totalText(h, dims);
        if (level >= k || h.isTotal) return {};
        if (r > 0) {
            const QVariantList& prev = m_r->rows[r - 1].values;
            if (prev.size() > level && std::equal(h.values.begin(), h.values.begin() + level + 1, prev.begin())) return {};
        }
        return PivotResult::headerText(h.values[level], dims[level].type);
    }

    std::optional<PivotResult> m_r;
};

namespace {

// What the chart draws: the first fact's values, [series][category].
struct Plot {
    QStringList categories;
    QVariantList categoryValues; // the values of a single category dimension, for an XY chart
    int categoryType = xoft_String;
    QStringList names;
    QList<QList<double>> values;
};

Plot plotData(const PivotResult& r, bool seriesInRows)
{
    Plot p;
    if (r.facts.isEmpty()) return p;
    const QString fact = r.facts.first().caption;
    const auto& sHeaders = seriesInRows ? r.rows : r.columns;
    const auto& cHeaders = seriesInRows ? r.columns : r.rows;
    const auto& sDims = seriesInRows ? r.rowDimensions : r.columnDimensions;
    const auto& cDims = seriesInRows ? r.columnDimensions : r.rowDimensions;
    const QList<int> series = chartHeaders(sHeaders, sDims), cats = chartHeaders(cHeaders, cDims);
    if (cDims.size() == 1) p.categoryType = cDims.first().type;
    for (int k : cats) {
        p.categories << (cDims.isEmpty() ? fact : joined(cHeaders[k], cDims));
        p.categoryValues << cHeaders[k].values.value(0);
    }
    for (int s : series) {
        p.names << (sDims.isEmpty() ? fact : joined(sHeaders[s], sDims));
        QList<double> values;
        for (int k : cats) {
            const QVariant v = seriesInRows ? r.cell(s, k, 0) : r.cell(k, s, 0);
            values << (isError(v) ? 0.0 : v.toDouble());
        }
        p.values << values;
    }
    return p;
}

void niceRange(QValueAxis* axis, double lo, double hi)
{
    if (hi <= lo) hi = lo + 1;
    axis->setRange(lo, hi);
    axis->applyNiceNumbers();
    // The chart localises these; the precision follows the span so small values keep digits.
    const double span = axis->max() - axis->min();
    axis->setLabelFormat(span >= 10 ? QStringLiteral("%.0f") : span >= 1 ? QStringLiteral("%.1f") : QStringLiteral("%.2f"));
}

// A category's label on the axis (the chart reads it as rich text): a long value wraps at its
// blanks and after its hyphens and slashes, instead of being cut short ("Észak-Magyaror…").
QString wrappedLabel(const QString& text)
{
    constexpr int kLine = 14; // characters; a longer word keeps a line of its own
    // The words, each with what joins it to the one before: a blank, or nothing after a hyphen.
    QList<std::pair<QString, QString>> words;
    QString word, joint;
    const auto finish = [&](const QString& next) {
        if (!word.isEmpty()) words.append({joint, word});
        word.clear();
        joint = next;
    };
    for (const QChar ch : text) {
        if (ch == QLatin1Char(' ')) {
            finish(QStringLiteral(" "));
            continue;
        }
        word += ch;
        if ((ch == QLatin1Char('-') || ch == QLatin1Char('/')) && word.size() > 1) finish(QString());
    }
    finish(QString());
    QStringList lines;
    QString line;
    for (const auto& [before, w] : std::as_const(words)) {
        if (!line.isEmpty() && line.size() + before.size() + w.size() > kLine) {
            lines << line;
            line = w;
        } else {
            line += (line.isEmpty() ? QString() : before) + w;
        }
    }
    if (!line.isEmpty()) lines << line;
    for (QString& l : lines) l = l.toHtmlEscaped();
    if (lines.size() < 2) return lines.value(0);
    return QStringLiteral("<div align=\"center\">%1</div>").arg(lines.join(QStringLiteral("<br>")));
}

QLineSeries* lineOf(const QList<double>& values, bool step, QObject* parent = nullptr)
{
    auto* line = new QLineSeries(parent);
    for (int i = 0; i < values.size(); ++i) {
        if (step) line->append(i - 0.5, values[i]);
        line->append(step ? i + 0.5 : i, values[i]);
    }
    return line;
}

QChart* buildChart(const PivotResult& r, const ChartOptions& o)
{
    auto* chart = new QChart;
    chart->setLocale(QLocale(QLocale::Hungarian));
    chart->setLocalizeNumbers(true);
    chart->legend()->setVisible(o.showLegend);
    chart->legend()->setAlignment(Qt::AlignBottom);
    const Plot p = plotData(r, o.seriesInRows);
    if (p.values.isEmpty() || p.categories.isEmpty()) return chart;
    const Kind kind = kindOf(o.type);

    if (kind == Kind::Pie) {
        // A pie cannot show a negative or empty share.
        auto* pie = new QPieSeries;
        pie->setName(p.names.first());
        for (int i = 0; i < p.categories.size(); ++i)
            if (p.values.first()[i] > 0) pie->append(p.categories[i], p.values.first()[i]);
        pie->setLabelsVisible(o.showMarkers);
        chart->addSeries(pie);
        return chart;
    }

    const bool stack = o.stackSeries && (kind == Kind::Bar || kind == Kind::Line || kind == Kind::Area || kind == Kind::Step);
    QList<QList<double>> shown = p.values;
    if (stack && kind != Kind::Bar)
        for (int s = 1; s < shown.size(); ++s)
            for (int i = 0; i < shown[s].size(); ++i) shown[s][i] += shown[s - 1][i];
    double lo = 0, hi = 0;
    for (int i = 0; i < p.categories.size(); ++i) {
        double pos = 0, neg = 0;
        for (const auto& values : shown) {
            const double v = values[i];
            if (stack && kind == Kind::Bar) {
                (v > 0 ? pos : neg) += v;
            } else {
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
        }
        lo = std::min(lo, neg);
        hi = std::max(hi, pos);
    }

    const bool numericX = kind == Kind::XY && isNumeric(p.categoryType);
    QAbstractAxis* xAxis = nullptr;
    if (numericX) {
        auto* axis = new QValueAxis;
        double xlo = p.categoryValues.first().toDouble(), xhi = xlo;
        for (const QVariant& v : p.categoryValues) xlo = std::min(xlo, v.toDouble()), xhi = std::max(xhi, v.toDouble());
        niceRange(axis, xlo, xhi);
        xAxis = axis;
    } else {
        auto* axis = new QBarCategoryAxis;
        for (const QString& c : p.categories) axis->append(wrappedLabel(c));
        // The values as they are, for the tooltip over the axis.
        axis->setProperty(kWholeCategories, p.categories);
        xAxis = axis;
    }
    auto* yAxis = new QValueAxis;
    niceRange(yAxis, lo, hi);
    chart->addAxis(xAxis, Qt::AlignBottom);
    chart->addAxis(yAxis, Qt::AlignLeft);
    const auto add = [&](QAbstractSeries* s) {
        chart->addSeries(s);
        s->attachAxis(xAxis);
        s->attachAxis(yAxis);
    };

    switch (kind) {
    case Kind::Bar:
    case Kind::Combination: {
        QAbstractBarSeries* bars = stack ? static_cast<QAbstractBarSeries*>(new QStackedBarSeries) : new QBarSeries;
        const int barCount = kind == Kind::Combination ? 1 : int(p.values.size());
        for (int s = 0; s < barCount; ++s) {
            auto* set = new QBarSet(p.names[s]);
            for (double v : p.values[s]) *set << v;
            bars->append(set);
        }
        add(bars);
        for (int s = barCount; s < p.values.size(); ++s) {
            QLineSeries* line = lineOf(p.values[s], false);
            line->setName(p.names[s]);
            line->setPointsVisible(o.showMarkers);
            add(line);
        }
        break;
    }
    case Kind::Line:
    case Kind::Step:
        for (int s = 0; s < shown.size(); ++s) {
            QLineSeries* line = lineOf(shown[s], kind == Kind::Step);
            line->setName(p.names[s]);
            line->setPointsVisible(o.showMarkers);
            add(line);
        }
        break;
    case Kind::Area:
        for (int s = 0; s < shown.size(); ++s) {
            // Stacked areas lie on the one below; the boundary lines belong to their area.
            auto* area = new QAreaSeries;
            area->setUpperSeries(lineOf(shown[s], false, area));
            if (stack && s > 0) area->setLowerSeries(lineOf(shown[s - 1], false, area));
            area->setName(p.names[s]);
            area->setPointsVisible(o.showMarkers);
            if (!stack) area->setOpacity(0.7); // unstacked areas overlap
            add(area);
        }
        break;
    case Kind::XY:
        for (int s = 0; s < p.values.size(); ++s) {
            auto* scatter = new QScatterSeries;
            scatter->setName(p.names[s]);
            scatter->setMarkerSize(9);
            for (int i = 0; i < p.values[s].size(); ++i)
                scatter->append(numericX ? p.categoryValues[i].toDouble() : i, p.values[s][i]);
            add(scatter);
        }
        break;
    case Kind::Pie:
        break;
    }
    return chart;
}

bool fail(QString* error, const QString& message)
{
    if (error) *error = message;
    return false;
}

} // namespace

OlapPreview::OlapPreview(QWidget* parent) : QWidget(parent), m_model(new PreviewModel(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("lbl_message"));
    m_message->setWordWrap(true);
    m_message->setAlignment(Qt::AlignCenter);
    m_message->hide();
    m_pageBar = new QWidget(this);
    auto* pageLayout = new QHBoxLayout(m_pageBar);
    pageLayout->setContentsMargins(0, 0, 0, 0);
    m_pageBar->hide();
    m_splitter = new QSplitter(Qt::Vertical, this);
    m_grid = new QTableView(m_splitter);
    m_grid->setObjectName(QStringLiteral("grd_pivot"));
    m_grid->setModel(m_model);
    m_grid->verticalHeader()->hide();
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 6);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setWordWrap(false);
    m_grid->horizontalHeader()->setResizeContentsPrecision(200); // a large cube resizes quickly
    m_chartView = new QChartView(m_splitter);
    m_chartView->setObjectName(QStringLiteral("chv_chart"));
    m_chartView->setRenderHint(QPainter::Antialiasing);
    m_chartView->setMinimumHeight(220);
    m_chartView->viewport()->installEventFilter(this);
    // The chart gets the larger share: a cube of a few rows needs little room.
    m_splitter->setStretchFactor(0, 2);
    m_splitter->setStretchFactor(1, 3);
    layout->addWidget(m_message);
    layout->addWidget(m_pageBar);
    layout->addWidget(m_splitter, 1);
}

OlapPreview::~OlapPreview() = default;

QComboBox* OlapPreview::pageCombo(int i) const { return m_pageCombos.value(i); }

void OlapPreview::setResult(const PivotResult& result, const ChartOptions& chart)
{
    // The first result, or one after a message, may come while the preview is already up
    // (the run goes on in the background): the grid and the chart then share the height as
    // they do at the start, two to three; a later one keeps what the user set.
    const bool first = m_model->result() == nullptr;
    m_model->setResult(result);
    m_chart = chart;
    rebuildPageFilters();
    rebuildChart();
    m_grid->resizeColumnsToContents();
    m_message->hide();
    m_splitter->show();
    if (first) m_splitter->setSizes({2000, 3000});
}

void OlapPreview::setMessage(const QString& text)
{
    m_model->setResult(std::nullopt);
    rebuildPageFilters();
    rebuildChart();
    m_message->setText(text);
    m_message->show();
    m_splitter->hide();
}

void OlapPreview::rebuildPageFilters()
{
    // The owner answers a choice with a new result: the choice must survive it.
    QHash<QString, QVariant> kept;
    const PivotResult* r = m_model->result();
    for (QComboBox* combo : std::as_const(m_pageCombos)) kept.insert(combo->property("caption").toString(), combo->currentData());
    m_pageCombos.clear();
    QLayout* layout = m_pageBar->layout();
    while (QLayoutItem* item = layout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    const int count = r ? int(r->pageDimensions.size()) : 0;
    for (int i = 0; i < count; ++i) {
        const PivotDimension& dim = r->pageDimensions[i];
        auto* combo = new QComboBox(m_pageBar);
        combo->setObjectName(QStringLiteral("cmb_page_%1").arg(i));
        combo->setProperty("caption", dim.caption);
        combo->addItem(kAll, QVariant());
        for (const QVariant& v : r->pageValues.value(i)) combo->addItem(PivotResult::headerText(v, dim.type), v);
        const QVariant was = kept.value(dim.caption);
        if (was.isValid()) combo->setCurrentIndex(std::max(0, combo->findData(was)));
        connect(combo, &QComboBox::currentIndexChanged, this, [this, combo, i] { emit pageFilterChanged(i, combo->currentData()); });
        auto* label = new QLabel(dim.caption + QLatin1Char(':'), m_pageBar);
        label->setBuddy(combo);
        layout->addWidget(label);
        layout->addWidget(combo);
        m_pageCombos << combo;
    }
    static_cast<QHBoxLayout*>(layout)->addStretch(1);
    m_pageBar->setVisible(count > 0);
}

void OlapPreview::rebuildChart()
{
    const PivotResult* r = m_model->result();
    const bool shown = r && m_chart.visible;
    QChart* old = m_chartView->chart();
    m_chartView->setChart(shown ? buildChart(*r, m_chart) : new QChart);
    delete old; // setChart hands the previous chart back to us
    m_chartView->setVisible(shown);
}

QString OlapPreview::categoryAt(const QPoint& viewportPos) const
{
    QChart* chart = m_chartView->chart();
    const QList<QAbstractAxis*> axes = chart ? chart->axes(Qt::Horizontal) : QList<QAbstractAxis*>();
    const QStringList whole = axes.isEmpty() ? QStringList() : axes.first()->property(kWholeCategories).toStringList();
    if (whole.isEmpty()) return {};
    const QPointF at = chart->mapFromScene(m_chartView->mapToScene(viewportPos));
    const QRectF plot = chart->plotArea();
    // Down to the legend below the axis, or to the chart's foot.
    const QLegend* legend = chart->legend();
    const qreal foot = legend->isVisible() && legend->alignment() == Qt::AlignBottom ? legend->geometry().top() : chart->size().height();
    if (at.x() < plot.left() || at.x() >= plot.right() || at.y() < plot.top() || at.y() > foot) return {};
    return whole.value(int((at.x() - plot.left()) * whole.size() / plot.width()));
}

bool OlapPreview::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_chartView->viewport() && event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const QString text = categoryAt(help->pos());
        if (text.isEmpty()) QToolTip::hideText();
        else QToolTip::showText(help->globalPos(), text, m_chartView->viewport());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

bool OlapPreview::exportCsv(const QString& path, QString* error) const
{
    if (!m_model->result()) return fail(error, QStringLiteral("Nincs exportálható kimutatás."));
    CsvFile file(path);
    if (!file.open(error)) return false;
    const int rows = m_model->rowCount(), cols = m_model->columnCount();
    for (int r = -1; r < rows; ++r) {
        QStringList fields;
        for (int c = 0; c < cols; ++c)
            fields << (r < 0 ? m_model->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString() : m_model->index(r, c).data().toString());
        file.row(fields);
    }
    if (!file.commit(error)) return false;
    return true;
}

bool OlapPreview::exportPdf(const QString& path, const QString& title, QString* error) const
{
    const PivotResult* result = m_model->result();
    if (!result) return fail(error, QStringLiteral("Nincs exportálható kimutatás."));
    {
        // QPdfWriter only says that it failed; the file says why.
        QFile probe(path);
        if (!probe.open(QIODevice::WriteOnly))
            return fail(error, QStringLiteral("A(z) „%1” fájl nem írható: %2").arg(path, probe.errorString()));
    }
    QPdfWriter writer(path);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageOrientation(QPageLayout::Landscape);
    writer.setPageMargins(QMarginsF(12, 12, 12, 12), QPageLayout::Millimeter);
    writer.setResolution(300);
    writer.setTitle(title);
    writer.setCreator(QStringLiteral("NexoFrame"));
    QPainter p;
    if (!p.begin(&writer)) return fail(error, QStringLiteral("A(z) „%1” PDF-fájl nem hozható létre.").arg(path));
    const int W = writer.width(), H = writer.height();

    QFont font = this->font();
    font.setPointSizeF(14);
    font.setBold(true);
    p.setFont(font);
    int y = 0;
    const int titleHeight = QFontMetrics(font, &writer).height();
    p.drawText(QRect(0, y, W, titleHeight), Qt::AlignLeft | Qt::AlignVCenter, title);
    y += titleHeight * 3 / 2;

    font.setPointSizeF(9);
    font.setBold(false);
    QStringList filters;
    for (int i = 0; i < m_pageCombos.size(); ++i)
        filters << result->pageDimensions.value(i).caption + QStringLiteral(": ") + m_pageCombos[i]->currentText();
    if (!filters.isEmpty()) {
        p.setFont(font);
        const int h = QFontMetrics(font, &writer).height();
        p.drawText(QRect(0, y, W, h), Qt::AlignLeft | Qt::AlignVCenter, filters.join(QStringLiteral("; ")));
        y += h * 3 / 2;
    }

    // The grid shrinks its font until it fits the page's width.
    const int rows = m_model->rowCount(), cols = m_model->columnCount();
    const auto headerText = [&](int c) { return m_model->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString(); };
    QList<int> widths(cols);
    int pad = 0, rowHeight = 0;
    const auto measure = [&](double points) {
        font.setPointSizeF(points);
        QFont bold = font;
        bold.setBold(true);
        const QFontMetrics fm(bold, &writer);
        pad = fm.averageCharWidth() * 2 / 3;
        rowHeight = fm.height() + pad;
        for (int c = 0; c < cols; ++c) {
            int w = fm.horizontalAdvance(headerText(c));
            for (int r = 0; r < rows; ++r) w = std::max(w, fm.horizontalAdvance(m_model->index(r, c).data().toString()));
            widths[c] = w + 3 * pad;
        }
        return std::accumulate(widths.begin(), widths.end(), 0);
    };
    if (const int wide = measure(8); wide > W) measure(std::max(4.0, 8.0 * W / wide));
    const auto drawRow = [&](int row) {
        int x = 0;
        for (int c = 0; c < cols; ++c) {
            const QRect box(x, y, widths[c], rowHeight);
            const QModelIndex index = m_model->index(row, c);
            QFont f = font;
            f.setBold(row < 0 || index.data(Qt::FontRole).value<QFont>().bold());
            const QVariant background = row < 0 ? QVariant(QColor(0xE4, 0xE4, 0xE4)) : index.data(Qt::BackgroundRole);
            if (background.isValid()) p.fillRect(box, background.value<QColor>());
            p.setPen(QPen(QColor(0xB0, 0xB0, 0xB0), 0));
            p.drawRect(box);
            const QVariant foreground = row < 0 ? QVariant() : index.data(Qt::ForegroundRole);
            p.setPen(foreground.isValid() ? foreground.value<QColor>() : QColor(Qt::black));
            p.setFont(f);
            const int align = row < 0 ? int(Qt::AlignLeft | Qt::AlignVCenter) : index.data(Qt::TextAlignmentRole).toInt();
            p.drawText(box.adjusted(pad, 0, -pad, 0), align, row < 0 ? headerText(c) : index.data().toString());
            x += widths[c];
        }
        y += rowHeight;
    };
    drawRow(-1);
    for (int r = 0; r < rows; ++r) {
        if (y + rowHeight > H) { // the header row opens every page
            writer.newPage();
            y = 0;
            drawRow(-1);
        }
        drawRow(r);
    }

    if (m_chart.visible) {
        y += rowHeight;
        if (H - y < H / 3) {
            writer.newPage();
            y = 0;
        }
        // A chart of its own, laid out at a screen-like size and scaled into the space left.
        QGraphicsScene scene;
        QChart* chart = buildChart(*result, m_chart);
        scene.addItem(chart);
        const QSizeF size(1000, 1000.0 * (H - y) / W);
        chart->resize(size);
        if (chart->layout()) chart->layout()->activate();
        scene.setSceneRect(QRectF(QPointF(0, 0), size));
        scene.render(&p, QRectF(0, y, W, H - y), scene.sceneRect());
    }
    if (!p.end()) return fail(error, QStringLiteral("A(z) „%1” PDF-fájl írása nem sikerült.").arg(path));
    return true;
}

} // namespace NexoFrame::Olap
