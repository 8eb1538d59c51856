#include "BrowseView.h"
#include "SqlExec.h"
#include "ControlTexts.h"
#include "CsvFile.h"
#include "DateFormats.h"
#include "WaitCursor.h"
#include "PagedList.h"
#include <QAbstractTableModel>
#include <QApplication>
#include <QDir>
#include <QDateTime>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>
#include <functional>
#include <utility>

namespace NexoFrame::Controls {

namespace {

const QString kSection = QStringLiteral("BROWSE");

bool isText(const ColumnDef& c) { return c.type == ColType::Text || c.type == ColType::Memo; }

const ColumnDef& requireColumn(const TableDef& t, const QString& name)
{
    const ColumnDef* c = t.column(name.trimmed());
    if (!c) throw DbError(QStringLiteral("A(z) %1 táblának nincs „%2” nevű oszlopa.").arg(t.name, name.trimmed()));
    return *c;
}

// A filter's terms: the text split at each AND (any case) standing between blanks. Read by
// hand: a panel sets a new filter at each click of its master list.
QStringList filterTerms(const QString& filter)
{
    QStringList parts;
    qsizetype from = 0;
    for (qsizetype i = 0; i < filter.size(); ++i) {
        if (!filter[i].isSpace()) continue;
        qsizetype a = i;
        while (a < filter.size() && filter[a].isSpace()) ++a;
        qsizetype b = a + 3;
        if (b >= filter.size() || !filter[b].isSpace() || filter.mid(a, 3).compare(QLatin1String("AND"), Qt::CaseInsensitive) != 0) {
            i = a - 1;
            continue;
        }
        while (b < filter.size() && filter[b].isSpace()) ++b;
        parts << filter.mid(from, i - from);
        from = b;
        i = b - 1;
    }
    parts << filter.mid(from);
    return parts;
}

// One term: a column name, a comparison and the text after it; no column when it is not one.
struct Term {
    QString column, op, value;
};

Term termOf(const QString& part)
{
    const auto letter = [](QChar c) { return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || c == u'_'; };
    qsizetype i = 0;
    while (i < part.size() && part[i].isSpace()) ++i;
    const qsizetype start = i;
    if (i == part.size() || !letter(part[i])) return {};
    while (i < part.size() && (letter(part[i]) || (part[i] >= u'0' && part[i] <= u'9'))) ++i;
    Term t;
    t.column = part.mid(start, i - start);
    while (i < part.size() && part[i].isSpace()) ++i;
    for (const char* op : {">=", "<=", "<>", "=", "<", ">"}) {
        const QLatin1String o(op);
        if (QStringView(part).mid(i).startsWith(o)) {
            t.op = o;
            t.value = part.mid(i + o.size());
            return t;
        }
    }
    return {};
}

QString shown(const Engine& e, const ColumnDef& c, const QVariant& raw)
{
    const QVariant v = e.fromDb(c, raw);
    if (v.isNull()) return {};
    switch (c.type) {
    case ColType::Bool: return v.toBool() ? QStringLiteral("✓") : QString();
    case ColType::Date: return v.toDateTime().toString(DateFormats::kDayPlain);
    case ColType::DateTime: {
        // A moment shows its time; a bare day (midnight) only its date.
        const QDateTime d = v.toDateTime();
        return d.toString(d.time() == QTime(0, 0) ? DateFormats::kDayPlain : DateFormats::kMinutePlain);
    }
    case ColType::Double: return QLocale(QLocale::Hungarian).toString(v.toDouble());
    default: return v.toString();
    }
}

} // namespace

// The rows read so far, as shown; the view asks for the next page when it scrolls to the end.
// Each row starts with its key; the sort values the next page is read after come last.
class BrowseModel : public PagedModel {
public:
    using PagedModel::PagedModel;
    QPointer<Connection> connection;

    void setColumns(const QList<const ColumnDef*>& columns, const QStringList& captions, const QString& keyColumn)
    {
        beginResetModel();
        m_columns = columns;
        m_captions = captions;
        // Each column read once, the key first: a column shown twice (the key as a mark, say)
        // takes its value from the one place.
        m_read = QStringList{quoted(keyColumn)};
        m_places.clear();
        for (const ColumnDef* c : columns) {
            qsizetype at = m_read.indexOf(quoted(c->name));
            if (at < 0) {
                at = m_read.size();
                m_read << quoted(c->name);
            }
            m_places << int(at);
        }
        endResetModel();
        clear();
    }
    // What a row is read as, and where a shown column's value is in it.
    const QStringList& readColumns() const { return m_read; }
    QVariant valueAt(const QVariantList& row, int column) const { return row.value(m_places.value(column, -1)); }
    // The columns of the sort values, as the order names them, the key last.
    void read(const PagedQuery& query, const QList<const ColumnDef*>& sortColumns)
    {
        m_sortColumns = sortColumns;
        start(query);
    }
    int idAt(int row) const { return row >= 0 && row < rowCount() ? keyAt(row).toInt() : -1; }
    int rowOf(int id, int from = 0) const
    {
        for (int r = from; r < rowCount(); ++r)
            if (keyAt(r).toInt() == id) return r;
        return -1;
    }

    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : m_columns.size(); }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (orientation != Qt::Horizontal) return {};
        if (role == Qt::DisplayRole) return m_captions.value(section);
        if (role == Qt::InitialSortOrderRole) return int(Qt::AscendingOrder);
        return {};
    }

protected:
    bool run(const PagedQuery::Statement& s, const std::function<void(const QVariantList&)>& row, QString* error) override
    {
        if (!connection) return true;
        try {
            connection->selectEach(s.sql, s.binds, [&row](const QVariantList& r) {
                row(r);
                return true;
            });
        } catch (const DbError& e) {
            *error = e.message();
            return false;
        }
        return true;
    }
    QStringList cells(const QVariantList& row) const override
    {
        QStringList cells;
        cells.reserve(m_columns.size());
        for (int i = 0; i < m_columns.size(); ++i) cells << shown(connection->engine(), *m_columns[i], valueAt(row, i));
        return cells;
    }
    QVariantList bindable(const QVariantList& values) const override
    {
        QVariantList out;
        for (int i = 0; i < values.size() && i < m_sortColumns.size(); ++i)
            // A sort key (bytes) is bound as read.
            out << (values[i].typeId() == QMetaType::QByteArray
                        ? values[i]
                        : connection->engine().toDb(*m_sortColumns[i], connection->engine().fromDb(*m_sortColumns[i], values[i])));
        return out;
    }
    QVariant alignment(int column) const override
    {
        const ColType type = m_columns[column]->type;
        return type == ColType::Long || type == ColType::Double ? QVariant(int(Qt::AlignRight | Qt::AlignVCenter)) : QVariant();
    }

private:
    QList<const ColumnDef*> m_columns, m_sortColumns;
    QStringList m_read;
    QList<int> m_places;
    QStringList m_captions;
};

BrowseView::BrowseView(QWidget* parent)
    : QWidget(parent), m_model(new BrowseModel(this)), m_grid(new QTableView(this)), m_search(new QLineEdit(this)),
      m_status(new QLabel(this)), m_searchTimer(new QTimer(this)), m_saveTimer(new QTimer(this))
{
    m_search->setObjectName(QStringLiteral("txt_search"));
    m_search->setPlaceholderText(ControlTexts::kSearch);
    m_search->setClearButtonEnabled(true);
    m_grid->setObjectName(QStringLiteral("grd_browse"));
    m_grid->setModel(m_model);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setWordWrap(false);
    m_grid->verticalHeader()->hide();
    setUpPagedGrid(m_grid, m_model);
    QHeaderView* header = m_grid->horizontalHeader();
    header->setSectionsMovable(true);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setHighlightSections(false);
    m_status->setObjectName(QStringLiteral("lbl_status"));
    m_status->setWordWrap(true);
    m_status->hide();
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins({});
    box->addWidget(m_search);
    box->addWidget(m_grid, 1);
    box->addWidget(m_status);

    m_model->status = [this](const QString& message) { reportStatus(message); };
    m_searchTimer->setSingleShot(true);
    m_searchTimer->setInterval(150);
    m_saveTimer->setSingleShot(true);
    m_saveTimer->setInterval(500);
    connect(m_search, &QLineEdit::textChanged, m_searchTimer, qOverload<>(&QTimer::start));
    connect(m_searchTimer, &QTimer::timeout, this, [this] { setSearchText(m_search->text()); });
    connect(m_search, &QLineEdit::returnPressed, this, [this] {
        if (m_searchTimer->isActive()) setSearchText(m_search->text());
        if (selectedId() >= 0) emit activated(selectedId());
    });
    // Dragging a column edge resizes it many times over: the layout is written once it rests.
    const auto layoutMoved = [this] {
        if (!m_restoring) m_saveTimer->start();
    };
    connect(header, &QHeaderView::sectionMoved, this, layoutMoved);
    connect(header, &QHeaderView::sectionResized, this, layoutMoved);
    connect(m_saveTimer, &QTimer::timeout, this, &BrowseView::keepLayout);
    connect(header, &QHeaderView::sortIndicatorChanged, this, [this](int section, Qt::SortOrder order) {
        if (m_restoring || section < 0 || section >= m_columns.size()) return;
        if (!m_def.columns[section].sortable) {
            showOrder();
            return;
        }
        m_orderColumn = m_columns[section]->name;
        m_descending = order == Qt::DescendingOrder;
        refresh();
    });
    connect(m_grid->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &BrowseView::currentMoved);
    connect(m_grid, &QAbstractItemView::activated, this,
            [this](const QModelIndex& index) { emit activated(m_model->idAt(index.row())); });
}

BrowseView::~BrowseView() { keepLayout(); }

void BrowseView::setConnection(Connection* c)
{
    m_connection = c;
    m_model->connection = c;
    refresh();
}

void BrowseView::setView(const BrowseViewDef& def)
{
    if (!m_connection) throw DbError(QStringLiteral("A listához nincs adatbázis-kapcsolat."));
    const TableDef* t = m_connection->tableDef(def.table);
    if (!t) throw DbError(QStringLiteral("Ismeretlen tábla: %1.").arg(def.table));
    BrowseViewDef d = def;
    QList<const ColumnDef*> columns;
    QStringList captions;
    for (BrowseColumn& c : d.columns) {
        columns << &requireColumn(*t, c.column);
        c.column = columns.last()->name;
        captions << (c.caption.isEmpty() ? c.column : c.caption);
    }
    d.keyColumn = requireColumn(*t, def.keyColumn).name;
    if (!d.orderColumn.isEmpty()) d.orderColumn = requireColumn(*t, def.orderColumn).name;
    const Where base = parse(*t, def.baseFilter), filter = parse(*t, m_filter);

    keepLayout();
    m_def = d;
    m_table = t;
    m_columns = columns;
    m_base = base;
    m_filterWhere = filter;
    m_orderColumn = d.orderColumn;
    m_descending = d.orderDescending;
    m_lastId = -1;
    m_restoring = true;
    m_model->setColumns(columns, captions, d.keyColumn);
    restoreLayout();
    refresh();
}

void BrowseView::setFilter(const QString& filter)
{
    // Checked against the table before anything changes; without a view yet, setView checks it.
    if (m_table) m_filterWhere = parse(*m_table, filter);
    m_filter = filter;
    refresh();
}

BrowseView::Where BrowseView::parse(const TableDef& table, const QString& filter) const
{
    Where w;
    const QString trimmed = filter.trimmed();
    if (trimmed.isEmpty()) return w;
    for (const QString& part : filterTerms(trimmed)) {
        const Term t = termOf(part);
        if (t.column.isEmpty()) throw DbError(QStringLiteral("Hibás szűrőfeltétel: „%1” (oszlop=érték kell).").arg(part));
        const ColumnDef& c = requireColumn(table, t.column);
        const QString& op = t.op;
        const QString text = t.value.trimmed();
        QVariant value = text;
        bool ok = true;
        switch (c.type) {
        case ColType::Long: value = text.toLongLong(&ok); break;
        case ColType::Double: value = text.toDouble(&ok); break;
        case ColType::Date:
        case ColType::DateTime: {
            // A day, or a moment: "2026-11-23" or "2026-11-23T08:30:00".
            QDateTime at = QDateTime::fromString(text, Qt::ISODate);
            if (!at.isValid()) at = QDate::fromString(text, Qt::ISODate).startOfDay();
            ok = at.isValid();
            value = at;
            break;
        }
        case ColType::Bool: {
            const QString t = text.toLower();
            ok = QStringList{"0", "1", "true", "false", "igen", "nem"}.contains(t);
            value = t == QLatin1String("1") || t == QLatin1String("true") || t == QLatin1String("igen");
            break;
        }
        default: break;
        }
        value = m_connection->engine().toDb(c, value);
        if (!ok || (value.isNull() && !text.isEmpty()))
            throw DbError(QStringLiteral("A(z) %1 oszlop nem veheti fel ezt az értéket: „%2”.").arg(c.name, text));
        w.terms << quoted(c.name) + op + QLatin1Char('?');
        w.binds << value;
    }
    return w;
}

void BrowseView::refresh()
{
    if (!m_connection || !m_table) return;
    m_read = m_base;
    m_read.terms += m_filterWhere.terms;
    m_read.binds += m_filterWhere.binds;
    if (!m_searchText.isEmpty()) {
        QString text = m_searchText;
        text.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('%'), QStringLiteral("\\%"))
            .replace(QLatin1Char('_'), QStringLiteral("\\_"));
        QStringList any;
        for (const ColumnDef* c : std::as_const(m_columns)) {
            if (!isText(*c)) continue;
            any << QStringLiteral("LOWER(%1) LIKE LOWER(?) ESCAPE '\\'").arg(quoted(c->name));
            m_read.binds << QStringLiteral("%") + text + QStringLiteral("%");
        }
        m_read.terms << (any.isEmpty() ? QStringLiteral("1=0") : QLatin1Char('(') + any.join(QStringLiteral(" OR ")) + QLatin1Char(')'));
    }

    const int keep = selectedId();
    m_query = PagedQuery();
    m_query.columns = m_model->readColumns();
    m_query.from = quoted(m_table->name);
    m_query.where = m_read.terms.join(QStringLiteral(" AND "));
    m_query.binds = m_read.binds;
    // The key is never null and breaks ties, so pages follow one another without gaps.
    QList<SortTerm> terms;
    QList<const ColumnDef*> sortColumns;
    if (!m_orderColumn.isEmpty()) {
        terms.append({m_orderColumn, m_descending, sortExpression(m_connection->engine(), m_table, m_orderColumn)});
        sortColumns << m_table->column(m_orderColumn);
    }
    sortColumns << m_table->column(m_def.keyColumn);
    m_query.order = PageOrder(m_connection->engine(), terms, m_def.keyColumn, m_descending);
    m_model->read(m_query, sortColumns);
    if (!(keep >= 0 && selectId(keep)) && m_model->rowCount() > 0) m_grid->setCurrentIndex(m_model->index(0, 0));
    currentMoved();
}

bool BrowseView::exportCsv(const QString& path, QString* error)
{
    const auto fail = [error](const QString& message) {
        if (error) *error = message;
        return false;
    };
    if (!m_connection || !m_table) return fail(QStringLiteral("A lista üres: nincs mit menteni."));
    CsvFile file(path);
    if (!file.open(error)) return false;
    QList<int> order; // the columns as the user arranged them, hidden ones left out
    const QHeaderView* header = m_grid->horizontalHeader();
    for (int v = 0; v < header->count(); ++v) {
        const int logical = header->logicalIndex(v);
        if (!header->isSectionHidden(logical)) order << logical;
    }
    QStringList cells;
    for (int c : std::as_const(order)) cells << m_model->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString();
    file.row(cells);
    WaitCursor wait;
    try {
        m_connection->selectEach(m_query.select(), m_query.binds, [&](const QVariantList& row) {
            cells.clear();
            for (int c : std::as_const(order)) cells << shown(m_connection->engine(), *m_columns[c], m_model->valueAt(row, c));
            file.row(cells);
            return true;
        });
    } catch (const DbError& e) {
        file.cancel();
        return fail(ControlTexts::kListUnreadable.arg(e.message()));
    }
    if (!file.commit(error)) return false;
    return true;
}

bool BrowseView::listed(int id)
{
    QStringList terms = m_read.terms;
    terms << quoted(m_def.keyColumn) + QStringLiteral("=?");
    try {
        return !m_connection->select(QStringLiteral("SELECT 1 FROM %1 WHERE %2").arg(quoted(m_table->name), terms.join(QStringLiteral(" AND "))),
                                     m_read.binds + QVariantList{id}).isEmpty();
    } catch (const DbError& e) {
        reportStatus(ControlTexts::kListUnreadable.arg(e.message()));
        return false;
    }
}

int BrowseView::selectedId() const
{
    const QModelIndex current = m_grid->currentIndex();
    return current.isValid() ? m_model->idAt(current.row()) : -1;
}

bool BrowseView::selectId(int id)
{
    int row = m_model->rowOf(id);
    // Asks first, so that a row that is not there does not read the whole list.
    if (row < 0 && (m_model->canFetchMore({}) || !m_model->atStart()) && listed(id)) {
        m_model->toStart();
        row = m_model->rowOf(id);
        while (row < 0 && m_model->canFetchMore({})) {
            const int from = m_model->rowCount();
            m_model->fetchMore({});
            row = m_model->rowOf(id, from);
        }
    }
    if (row < 0) return false;
    const QModelIndex index = m_model->index(row, 0);
    m_grid->setCurrentIndex(index);
    m_grid->scrollTo(index);
    return true;
}

int BrowseView::loadedRows() const { return m_model->rowCount(); }

void BrowseView::setSearchText(const QString& text)
{
    if (m_search->text() != text) m_search->setText(text);
    m_searchTimer->stop();
    m_searchText = text.trimmed();
    refresh();
}

void BrowseView::reportStatus(const QString& message)
{
    m_status->setText(message);
    m_status->setVisible(!message.isEmpty());
}

void BrowseView::currentMoved()
{
    const int id = selectedId();
    if (id == m_lastId) return;
    m_lastId = id;
    emit selectionChanged(id);
}

QString BrowseView::layoutText() const
{
    const QHeaderView* header = m_grid->horizontalHeader();
    QStringList parts;
    for (int v = 0; v < header->count(); ++v) {
        const int logical = header->logicalIndex(v);
        // The last column reaches the edge: its width is the window's, not the user's.
        parts << (v == header->count() - 1 ? m_columns.value(logical)->name
                                            : QStringLiteral("%1:%2").arg(m_columns.value(logical)->name).arg(header->sectionSize(logical)));
    }
    return parts.join(QLatin1Char(','));
}

void BrowseView::restoreLayout()
{
    QHeaderView* header = m_grid->horizontalHeader();
    m_restoring = true;
    for (int i = 0; i < m_columns.size(); ++i) header->resizeSection(i, m_def.columns[i].width);
    QString stored;
    try {
        stored = m_connection->settings().read(kSection, QStringLiteral("VIEW_%1").arg(m_def.number));
    } catch (const DbError& e) {
        reportStatus(QStringLiteral("Az oszlopok elrendezése nem olvasható: %1").arg(e.message()));
    }
    int placed = 0;
    QHash<int, int> widths;
    for (const QString& entry : stored.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString name = entry.section(QLatin1Char(':'), 0, 0).trimmed();
        int logical = -1;
        for (int i = 0; i < m_columns.size(); ++i)
            if (m_columns[i]->name.compare(name, Qt::CaseInsensitive) == 0) logical = i;
        // A column the view no longer shows, or one named twice.
        if (logical < 0 || header->visualIndex(logical) < placed) continue;
        header->moveSection(header->visualIndex(logical), placed++);
        bool ok = false;
        const int width = entry.section(QLatin1Char(':'), 1).toInt(&ok);
        if (ok && width > 0) widths.insert(logical, width);
    }
    // The last column stretches to the edge whatever was kept for it.
    for (auto it = widths.cbegin(); it != widths.cend(); ++it)
        if (header->visualIndex(it.key()) != header->count() - 1) header->resizeSection(it.key(), it.value());
    showOrder();
    m_restoring = false;
    m_savedLayout = layoutText();
}

void BrowseView::showOrder()
{
    int orderSection = -1;
    for (int i = 0; i < m_columns.size(); ++i)
        if (m_columns[i]->name == m_orderColumn && m_def.columns[i].sortable) orderSection = i;
    const bool restoring = std::exchange(m_restoring, true);
    m_grid->horizontalHeader()->setSortIndicator(orderSection, m_descending ? Qt::DescendingOrder : Qt::AscendingOrder);
    m_restoring = restoring;
}

void BrowseView::keepLayout()
{
    if (m_table && layoutText() != m_savedLayout) saveLayout();
}

void BrowseView::saveLayout()
{
    m_saveTimer->stop();
    if (!m_connection || !m_table) return;
    const QString text = layoutText();
    try {
        if (m_connection->settings().write(kSection, QStringLiteral("VIEW_%1").arg(m_def.number), text)) m_savedLayout = text;
    } catch (const DbError& e) {
        reportStatus(QStringLiteral("Az oszlopok elrendezése nem menthető: %1").arg(e.message()));
    }
}

} // namespace NexoFrame::Controls
