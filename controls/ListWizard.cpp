#include "ListWizard.h"
#include "Connection.h"
#include "ControlTexts.h"
#include "DateFormats.h"
#include "ListExport.h"
#include "ListWizardDialog.h"
#include "LockQuestion.h"
#include "ReadOnlySource.h"
#include "Texts.h"
#include <QAbstractTableModel>
#include <QAction>
#include <QDateEdit>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHeaderView>
#include <QSignalBlocker>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QMenu>
#include <QMessageBox>
#include <QRegularExpression>
#include <QSplitter>
#include <QStyle>
#include <QTableView>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace NexoFrame::Controls {

namespace {

constexpr int kCaptionLength = 100;
const QString& kTitle = ControlTexts::kListWizard;
const QString kUnreachable = QStringLiteral("Ez a lista nem érhető el.");

} // namespace

// The rows of a run read so far, as shown; the next page is read when the grid scrolls to
// the end. Pages come through the read-only link: a list never writes.
class ListModel : public PagedModel {
public:
    using PagedModel::PagedModel;

    void start(ReadOnlySource* source, const ListQuery& q)
    {
        beginResetModel();
        m_source = source;
        m_query = q;
        endResetModel();
        PagedModel::start(source ? q.rows : PagedQuery());
    }
    void clear() { start(nullptr, {}); }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : int(m_query.headings.size()); }
    QVariant headerData(int section, Qt::Orientation o, int role) const override
    {
        return o == Qt::Horizontal && role == Qt::DisplayRole ? QVariant(m_query.headings.value(section)) : QVariant();
    }

protected:
    bool run(const PagedQuery::Statement& s, const std::function<void(const QVariantList&)>& row, QString* error) override
    {
        return m_source->run(s.sql, s.binds, nullptr, [&](const QVariantList& r) { row(r); return true; }, error);
    }
    QStringList cells(const QVariantList& row) const override
    {
        const int columns = int(m_query.types.size());
        QStringList cells;
        cells.reserve(columns);
        for (int i = 0; i < columns; ++i) cells << shownValue(row.value(i), m_query.types[i]);
        return cells;
    }
    QVariant alignment(int column) const override
    {
        const ColType t = m_query.types.value(column);
        if (t == ColType::Long || t == ColType::Double) return int(Qt::AlignRight | Qt::AlignVCenter);
        if (t == ColType::Bool) return int(Qt::AlignCenter);
        return {};
    }

private:
    ReadOnlySource* m_source = nullptr;
    ListQuery m_query;
};

ListWizard::ListWizard(QWidget* parent)
    : QWidget(parent), m_bar(new QToolBar(kTitle, this)), m_list(new QListWidget(this)), m_grid(new QTableView(this)),
      m_groups(new QTreeWidget(this)), m_status(new QLabel(this)), m_model(new ListModel(this))
{
    m_askAgain = [this] { return QMessageBox::question(this, kTitle, LockQuestion::text()) == QMessageBox::Yes; };
    m_bar->setObjectName(QStringLiteral("cmd_bar"));
    m_bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    const auto add = [this](const char* name, QStyle::StandardPixmap icon, const QString& text, const QString& tip) {
        QAction* a = m_bar->addAction(style()->standardIcon(icon), text);
        a->setObjectName(QString::fromLatin1(name));
        a->setToolTip(tip);
        return a;
    };
    QAction* run = add("cmd_run", QStyle::SP_MediaPlay, QStringLiteral("Futtatás"), QStringLiteral("A kijelölt lista futtatása"));
    m_bar->addSeparator();
    QAction* make = add("cmd_new", QStyle::SP_FileIcon, QStringLiteral("Új lista"), QStringLiteral("Új lista összeállítása a varázslóval"));
    QAction* edit = add("cmd_edit", QStyle::SP_FileDialogDetailedView, ControlTexts::kModify, QStringLiteral("A kijelölt lista módosítása"));
    QAction* drop = add("cmd_delete", QStyle::SP_TrashIcon, Texts::kDelete, QStringLiteral("A kijelölt lista törlése"));
    m_bar->addSeparator();
    QAction* print = add("cmd_print", QStyle::SP_FileDialogContentsView, QStringLiteral("Nyomtatás…"),
                         QStringLiteral("A lista nyomtatási képe, onnan nyomtatás vagy PDF"));
    QAction* exportAll = add("cmd_export", QStyle::SP_DialogSaveButton, QStringLiteral("Exportálás"),
                             QStringLiteral("A lista minden sora fájlba"));
    auto* formats = new QMenu(this);
    for (const auto& [format, text] : {std::pair{"csv", "CSV-fájlba (pontosvesszővel)…"}, std::pair{"xlsx", "Excel-munkafüzetbe (XLSX)…"},
                                       std::pair{"pdf", "PDF-fájlba…"}}) {
        QAction* a = formats->addAction(QString::fromUtf8(text));
        a->setObjectName(QStringLiteral("cmd_export_") + QString::fromLatin1(format));
        connect(a, &QAction::triggered, this, [this, f = QString::fromLatin1(format)] { exportInteractive(f); });
    }
    exportAll->setMenu(formats);
    if (auto* b = qobject_cast<QToolButton*>(m_bar->widgetForAction(exportAll))) b->setPopupMode(QToolButton::InstantPopup);

    m_list->setObjectName(QStringLiteral("lst_lists"));
    m_grid->setObjectName(QStringLiteral("grd_list"));
    m_grid->setModel(m_model);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setWordWrap(false);
    m_grid->verticalHeader()->hide();
    setUpPagedGrid(m_grid, m_model);
    m_groups->setObjectName(QStringLiteral("grd_groups"));
    m_groups->setRootIsDecorated(false);
    m_groups->hide();
    m_status->setObjectName(QStringLiteral("lbl_status"));
    m_model->status = [this](const QString& s) {
        if (!s.isEmpty()) m_status->setText(s);
    };

    auto* right = new QSplitter(Qt::Vertical, this);
    right->addWidget(m_grid);
    right->addWidget(m_groups);
    right->setStretchFactor(0, 3);
    right->setStretchFactor(1, 1);
    auto* split = new QSplitter(Qt::Horizontal, this);
    auto* left = new QWidget(split);
    auto* leftBox = new QVBoxLayout(left);
    leftBox->setContentsMargins(0, 0, 0, 0);
    leftBox->addWidget(new QLabel(QStringLiteral("Listák:"), left));
    leftBox->addWidget(m_list);
    split->addWidget(left);
    split->addWidget(right);
    split->setStretchFactor(1, 3);
    split->setSizes({260, 740});
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->addWidget(m_bar);
    box->addWidget(split, 1);
    box->addWidget(m_status);

    const auto tell = [this](bool ok) {
        if (!ok && !m_lastError.isEmpty()) QMessageBox::warning(this, kTitle, m_lastError);
    };
    connect(run, &QAction::triggered, this, [this, tell] {
        m_lastError.clear();
        if (currentListId() > 0) tell(runList(currentListId()));
    });
    connect(m_list, &QListWidget::itemActivated, run, &QAction::trigger);
    connect(m_list, &QListWidget::currentRowChanged, this, [this] { updateCommands(); });
    connect(make, &QAction::triggered, this, [this] { newList(); });
    connect(edit, &QAction::triggered, this, [this] {
        if (currentListId() > 0) editList(currentListId());
    });
    connect(drop, &QAction::triggered, this, [this, tell] {
        const Entry* e = entry(currentListId());
        if (!e) return;
        if (QMessageBox::question(this, kTitle, QStringLiteral("Biztosan törli a(z) „%1” listát?").arg(e->caption)) != QMessageBox::Yes) return;
        tell(deleteList(e->id));
    });
    connect(print, &QAction::triggered, this, [this, tell] {
        m_lastError.clear();
        if (m_runId != currentListId() && currentListId() > 0 && !runList(currentListId())) return tell(false);
        if (manyPages()) tell(printList(true));
    });
    updateCommands();
}

ListWizard::~ListWizard()
{
    m_model->clear();
}

QObject* ListWizard::database() const { return m_connection.data(); }
void ListWizard::setDatabase(QObject* db) { m_connection = qobject_cast<Connection*>(db); }

QAction* ListWizard::command(const QString& name) const { return findChild<QAction*>(name); }

bool ListWizard::refuse(const QString& message)
{
    m_lastError = message;
    return false;
}

bool ListWizard::may(bool permission, const QString& what)
{
    return permission || refuse(QStringLiteral("Nincs jogosultsága %1.").arg(what));
}

bool ListWizard::Init()
{
    m_lastError.clear();
    if (!m_connection) return refuse(QStringLiteral("A listavarázslónak nincs megnyitott adatbázisa."));
    if (!m_workFolder.isEmpty() && !QDir().mkpath(m_workFolder))
        return refuse(QStringLiteral("A munkakönyvtár nem hozható létre: %1").arg(QDir::toNativeSeparators(m_workFolder)));
    try {
        m_sources = listSources(*m_connection);
        fillLists();
    } catch (const DbError& e) {
        return refuse(QStringLiteral("A listák nem olvashatók be: %1").arg(e.message()));
    }
    return true;
}

// The user's own lists and those his roles may use.
void ListWizard::fillLists(int select)
{
    const ListScope scope = listsOfUser(userHolder(*m_connection, m_userId));
    const QString sql = QStringLiteral("SELECT l.id, l.caption, l.owner_user_id, l.definition, u.display_name FROM qnd_list l "
                                       "LEFT JOIN qnd_user u ON u.id = l.owner_user_id WHERE %1 ORDER BY %2, l.id")
                            .arg(scope.where, m_connection->engine().orderTerm(m_connection->engine().hungarian(QStringLiteral("l.caption")), false));
    const QVariantList& binds = scope.binds;
    m_lists.clear();
    for (const QVariantList& r : m_connection->select(sql, binds)) {
        Entry e;
        e.id = r.value(0).toInt();
        e.caption = r.value(1).toString();
        e.owner = r.value(2).toInt();
        e.ownerName = r.value(4).toString();
        // A damaged or newer definition is still listed: its run says what is wrong.
        ListDefinition::fromJson(r.value(3).toString().toUtf8(), &e.definition, nullptr);
        m_lists << e;
    }
    const int keep = select ? select : currentListId();
    m_list->clear();
    for (const Entry& e : std::as_const(m_lists)) {
        auto* item = new QListWidgetItem(e.caption, m_list);
        item->setData(Qt::UserRole, e.id);
        item->setToolTip(e.owner == m_userId ? QStringLiteral("Saját lista") : QStringLiteral("Készítette: %1").arg(e.ownerName));
        item->setIcon(style()->standardIcon(e.owner == m_userId ? QStyle::SP_FileIcon : QStyle::SP_FileLinkIcon));
    }
    if (!selectList(keep) && m_list->count() > 0) m_list->setCurrentRow(0);
    updateCommands();
    emit listsChanged();
}

const ListWizard::Entry* ListWizard::entry(int id) const
{
    for (const Entry& e : m_lists)
        if (e.id == id) return &e;
    return nullptr;
}

int ListWizard::currentListId() const
{
    const QListWidgetItem* item = m_list->currentItem();
    return item ? item->data(Qt::UserRole).toInt() : 0;
}

bool ListWizard::selectList(int id)
{
    for (int i = 0; i < m_list->count(); ++i)
        if (m_list->item(i)->data(Qt::UserRole).toInt() == id) {
            m_list->setCurrentRow(i);
            return true;
        }
    return false;
}

bool ListWizard::mayEdit(int id) const
{
    const Entry* e = entry(id);
    return e && (m_canEditAll || (m_canEdit && e->owner == m_userId));
}

// A command the user may not use is not there at all; one that needs a list waits for one.
void ListWizard::updateCommands()
{
    const int id = currentListId();
    command(QStringLiteral("cmd_new"))->setVisible(m_canEdit || m_canEditAll);
    command(QStringLiteral("cmd_edit"))->setVisible(m_canEdit || m_canEditAll);
    command(QStringLiteral("cmd_delete"))->setVisible(m_canEdit || m_canEditAll);
    command(QStringLiteral("cmd_edit"))->setEnabled(mayEdit(id));
    command(QStringLiteral("cmd_delete"))->setEnabled(mayEdit(id));
    command(QStringLiteral("cmd_print"))->setVisible(m_canPrint);
    command(QStringLiteral("cmd_export"))->setVisible(m_canExport);
    command(QStringLiteral("cmd_run"))->setEnabled(id > 0);
    command(QStringLiteral("cmd_print"))->setEnabled(id > 0);
    command(QStringLiteral("cmd_export"))->setEnabled(id > 0);
}

// One writer at a time: `fill` makes one row of qnd_list, written under the master lock as
// every write is (a refused lock asks first), in one transaction that goes back whole.
bool ListWizard::writeList(QString* why, const std::function<void(Recordset&)>& fill)
{
    const Transactions::LockedWrite done = m_connection->transactions().writeLocked([&] {
        Recordset& rs = m_connection->editRecordset(Tables::List);
        fill(rs);
        if (!rs.update()) throw DbError(rs.lastError());
        return true;
    }, why, m_askAgain);
    if (done == Transactions::LockedWrite::Refused) *why = QStringLiteral("Az adatbázist más felhasználó írta.");
    return done == Transactions::LockedWrite::Done;
}

void ListWizard::openRow(Recordset& rs, int id)
{
    rs.setIndex(QString());
    if (!rs.seek({id})) throw DbError(kUnreachable);
    rs.edit();
}

// Every row of the run on the report engine's pages, under the company's header.
bool ListWizard::paper(ReportDocument* doc, QString* why)
{
    QList<QVariantList> rows;
    {
        WaitCursor wait;
        if (!feedAll([&](const QVariantList& r) { rows << r; return true; }, why)) return false;
    }
    QHash<QString, QString> company; // by the contract's names without "RegUser"
    for (auto it = m_company.cbegin(); it != m_company.cend(); ++it) company.insert(it.key().mid(7), it->toString());
    const Entry* e = entry(m_runId);
    *doc = listDocument(e ? e->caption : kTitle, m_runDefinition, m_query, rows, companyHeader(company));
    return true;
}

int ListWizard::saveList(int id, const QString& caption, const QByteArray& definition)
{
    m_lastError.clear();
    if (!m_connection) return refuse(QStringLiteral("A listavarázslónak nincs megnyitott adatbázisa.")), -1;
    const Entry* old = id ? entry(id) : nullptr;
    if (id && !old) return refuse(kUnreachable), -1;
    if (id ? !mayEdit(id) : !(m_canEdit || m_canEditAll))
        return refuse(QStringLiteral("Nincs jogosultsága %1.").arg(id ? QStringLiteral("ennek a listának a módosításához")
                                                                      : QStringLiteral("új lista készítéséhez"))),
               -1;
    ListDefinition def;
    QString why;
    if (!ListDefinition::fromJson(definition, &def, &why)) return refuse(why), -1;
    // Asked conditions are the parameter right's: a list without it keeps the ones it had.
    const auto asked = [](const ListDefinition& d) {
        QStringList l;
        for (const ListCondition& c : d.conditions)
            if (!c.ask.trimmed().isEmpty()) l << c.field + QLatin1Char('\n') + c.ask.trimmed();
        return l;
    };
    if (!m_canSetParameters && asked(def) != (old ? asked(old->definition) : QStringList()))
        return refuse(QStringLiteral("Nincs jogosultsága a lista paramétereinek beállításához.")), -1;
    const ListSource* source = findSource(m_sources, def.source);
    if (!source) return refuse(QStringLiteral("A(z) „%1” forrásból nem készíthető lista.").arg(def.source)), -1;
    ListQuery q;
    if (!buildQuery(*m_connection, *source, def, QDate::currentDate(), &q, &why)) return refuse(why), -1;
    const QString name = caption.trimmed().left(kCaptionLength);
    if (name.isEmpty()) return refuse(QStringLiteral("Adja meg a lista megnevezését!")), -1;

    int saved = id;
    const QByteArray json = def.toJson();
    why.clear();
    const bool ok = writeList(&why, [&](Recordset& rs) {
        if (id) {
            openRow(rs, id);
        } else {
            saved = m_connection->keys().newKey(Tables::List);
            const QVariantList sort = m_connection->select(QStringLiteral("SELECT COALESCE(MAX(sort_order), 0) + 1 FROM qnd_list")).value(0);
            rs.addNew();
            rs.setField(QStringLiteral("id"), saved);
            rs.setField(QStringLiteral("parent_id"), 0);
            rs.setField(QStringLiteral("sort_order"), sort.value(0).toInt());
            rs.setField(QStringLiteral("owner_user_id"), m_userId);
        }
        rs.setField(QStringLiteral("caption"), name);
        rs.setField(QStringLiteral("definition"), QString::fromUtf8(json));
        rs.stampAudit(m_userId, QDateTime::currentDateTime());
    });
    if (!ok) return refuse(QStringLiteral("A lista nem lett mentve. %1").arg(why)), -1;
    fillLists(saved);
    return saved;
}

bool ListWizard::deleteList(int id)
{
    m_lastError.clear();
    if (!entry(id)) return refuse(kUnreachable);
    if (!mayEdit(id)) return refuse(QStringLiteral("Nincs jogosultsága ennek a listának a törléséhez."));
    QString why;
    const bool ok = writeList(&why, [&](Recordset& rs) {
        openRow(rs, id);
        rs.markDeleted(m_userId, QDateTime::currentDateTime());
    });
    if (!ok) return refuse(QStringLiteral("A lista nem lett törölve. %1").arg(why));
    if (m_runId == id) {
        m_model->clear();
        m_runId = 0;
    }
    fillLists();
    return true;
}

// The asked conditions' values: the answers given, else a dialog (or the defaults).
bool ListWizard::answerQuestions(ListDefinition* def, const QStringList& answers, bool ask)
{
    struct Asked {
        int condition;
        bool second;
        QString label;
        bool date;
        QString value;
    };
    const ListSource* source = findSource(m_sources, def->source);
    QList<Asked> asked;
    for (int i = 0; i < def->conditions.size(); ++i) {
        const ListCondition& c = def->conditions[i];
        if (c.ask.trimmed().isEmpty()) continue;
        const ListSourceColumn* col = source ? source->column(c.field) : nullptr;
        const bool date = col && (col->type == ColType::Date || col->type == ColType::DateTime);
        const int n = operatorValues(c.op);
        if (n >= 1) asked.append({i, false, c.ask.trimmed() + (n == 2 ? QStringLiteral(" (-tól)") : QString()), date, c.value});
        if (n == 2) asked.append({i, true, c.ask.trimmed() + QStringLiteral(" (-ig)"), date, c.value2});
    }
    if (asked.isEmpty()) return true;
    if (!answers.isEmpty()) {
        if (answers.size() != asked.size())
            return refuse(QStringLiteral("A lista %1 kérdésére %2 válasz érkezett.").arg(asked.size()).arg(answers.size()));
        for (int i = 0; i < asked.size(); ++i) asked[i].value = answers[i];
    } else if (ask) {
        QDialog dlg(this);
        dlg.setWindowTitle(kTitle);
        auto* form = new QFormLayout(&dlg);
        QList<QWidget*> fields;
        for (int i = 0; i < asked.size(); ++i) {
            QWidget* w;
            if (asked[i].date) {
                auto* d = new QDateEdit(dayOf(asked[i].value, QDate::currentDate()), &dlg);
                d->setDisplayFormat(DateFormats::kDay);
                d->setCalendarPopup(true);
                w = d;
            } else {
                w = new QLineEdit(asked[i].value, &dlg);
            }
            w->setObjectName(QStringLiteral("ask_%1").arg(i));
            form->addRow(asked[i].label, w);
            fields << w;
        }
        auto* buttons = new QDialogButtonBox(&dlg);
        buttons->addButton(QStringLiteral("Rendben"), QDialogButtonBox::AcceptRole);
        buttons->addButton(Texts::kCancel, QDialogButtonBox::RejectRole);
        connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
        connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
        form->addRow(buttons);
        if (dlg.exec() != QDialog::Accepted) return refuse(QString());
        for (int i = 0; i < asked.size(); ++i)
            asked[i].value = asked[i].date ? qobject_cast<QDateEdit*>(fields[i])->date().toString(Qt::ISODate)
                                           : qobject_cast<QLineEdit*>(fields[i])->text();
    }
    for (const Asked& a : asked) (a.second ? def->conditions[a.condition].value2 : def->conditions[a.condition].value) = a.value;
    return true;
}

bool ListWizard::runList(int id, const QStringList& answers, bool ask)
{
    m_lastError.clear();
    const Entry* e = entry(id);
    if (!e || !m_connection) return refuse(kUnreachable);
    ListDefinition def = e->definition;
    const ListSource* source = findSource(m_sources, def.source);
    if (!source) return refuse(QStringLiteral("A(z) „%1” lista forrása („%2”) nem használható.").arg(e->caption, def.source));
    if (!answerQuestions(&def, answers, ask)) return false;
    ListQuery q;
    QString why;
    if (!buildQuery(*m_connection, *source, def, QDate::currentDate(), &q, &why)) return refuse(why);
    WaitCursor wait;
    if (!m_source) {
        m_source = ReadOnlySource::open(*m_connection, &why);
        if (!m_source) return refuse(why);
    }
    selectList(id);
    m_runId = id;
    m_runDefinition = def;
    m_query = q;
    m_status->clear();
    m_model->start(m_source.get(), q);
    if (!m_status->text().isEmpty()) return refuse(m_status->text());
    // Widths by kind, not by measuring: the first screen comes at once. Set quietly: the view
    // lays itself out for the new rows anyway, and a resize it heard of would paint the whole
    // screen a second time.
    {
        const QSignalBlocker quiet(m_grid->horizontalHeader());
        for (int i = 0; i < q.types.size(); ++i) {
            const ColType t = q.types[i];
            const int chars = t == ColType::Bool ? 6 : t == ColType::Long || t == ColType::Double ? 12 : t == ColType::DateTime ? 17 : 26;
            m_grid->setColumnWidth(i, std::max(fontMetrics().horizontalAdvance(q.headings[i]) + 24,
                                               fontMetrics().averageCharWidth() * chars + 12));
        }
    }

    // The groups with their counts and sums beneath the rows.
    m_groups->clear();
    m_groups->setVisible(!q.groups.isEmpty());
    if (!q.groups.isEmpty()) {
        const ListSourceColumn* g = source->column(def.groupField);
        QStringList heads{g ? g->caption : def.groupField, QStringLiteral("Sorok")};
        for (const QString& f : def.sums) heads << source->column(f)->caption;
        m_groups->setHeaderLabels(heads);
        qlonglong total = 0;
        const bool ok = m_source->run(q.groups, q.binds, nullptr, [&](const QVariantList& r) {
            QStringList cells{shownValue(r.value(0), g ? g->type : ColType::Text), QString::number(r.value(1).toLongLong())};
            total += r.value(1).toLongLong();
            for (int i = 0; i < def.sums.size(); ++i) cells << shownValue(r.value(2 + i), source->column(def.sums[i])->type);
            new QTreeWidgetItem(m_groups, cells);
            return true;
        }, &why);
        if (!ok) return refuse(QStringLiteral("A csoportok nem olvashatók: %1").arg(why));
        m_status->setText(QStringLiteral("%1: %2 sor, %3 csoport").arg(e->caption).arg(total).arg(m_groups->topLevelItemCount()));
    } else {
        m_status->setText(QStringLiteral("%1: %2 sor betöltve%3")
                              .arg(e->caption)
                              .arg(m_model->rowCount())
                              .arg(m_model->canFetchMore({}) ? QStringLiteral(", a többi görgetéskor") : QString()));
    }
    updateCommands();
    return true;
}

int ListWizard::loadedRows() const { return m_model->rowCount(); }

bool ListWizard::feedAll(const std::function<bool(const QVariantList&)>& sink, QString* error)
{
    return m_source && m_source->run(m_query.select, m_query.binds, nullptr, sink, error, 0);
}

bool ListWizard::exportList(const QString& format, const QString& path)
{
    m_lastError.clear();
    if (!may(m_canExport, QStringLiteral("a listák exportálásához"))) return false;
    if (!m_runId) return refuse(QStringLiteral("Előbb futtassa a listát!"));
    const Entry* e = entry(m_runId);
    const QString title = e ? e->caption : kTitle;
    QString why;
    const ListRowFeed feed = [this](const ListRowSink& sink, QString* error) { return feedAll(sink, error); };
    bool ok = false;
    const QString f = format.toLower();
    if (f == QLatin1String("csv")) {
        ok = exportListCsv(path, m_query, feed, &why);
    } else if (f == QLatin1String("xlsx")) {
        ok = exportListXlsx(path, title, m_query, feed, m_workFolder, &why);
    } else if (f == QLatin1String("pdf")) {
        ReportDocument doc;
        ok = paper(&doc, &why) && writeReportPdf(doc, path, &why);
    } else {
        return refuse(QStringLiteral("Ismeretlen formátum: %1").arg(format));
    }
    return ok || refuse(why);
}

bool ListWizard::printList(bool preview)
{
    m_lastError.clear();
    if (!may(m_canPrint, QStringLiteral("a listák nyomtatásához"))) return false;
    if (!m_runId) return refuse(QStringLiteral("Előbb futtassa a listát!"));
    QString why;
    ReportDocument doc;
    if (!paper(&doc, &why)) return refuse(why);
    const bool ok = preview ? previewReport(doc, this, &why) : printReport(doc, this, &why);
    return ok || refuse(why);
}

QString ListWizard::exportPath(const QString& suffix) const
{
    const Entry* e = entry(m_runId);
    QString name = e ? e->caption : kTitle;
    name.replace(QRegularExpression(QStringLiteral("[/\\\\:*?\"<>|]")), QStringLiteral("-"));
    return QDir(m_workFolder.isEmpty() ? QDir::homePath() : m_workFolder).filePath(name + QLatin1Char('.') + suffix);
}

void ListWizard::exportInteractive(const QString& format)
{
    m_lastError.clear();
    if (m_runId != currentListId() && currentListId() > 0 && !runList(currentListId())) {
        if (!m_lastError.isEmpty()) QMessageBox::warning(this, kTitle, m_lastError);
        return;
    }
    const QString filter = format == QLatin1String("csv")    ? ControlTexts::kCsvFiles
                         : format == QLatin1String("xlsx") ? QStringLiteral("Excel-munkafüzet (*.xlsx)")
                                                           : ControlTexts::kPdfFiles;
    if (format == QLatin1String("pdf") && !manyPages()) return;
    QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Exportálás"), exportPath(format), filter);
    if (path.isEmpty()) return;
    if (QFileInfo(path).suffix().isEmpty()) path += QLatin1Char('.') + format;
    if (!exportList(format, path)) QMessageBox::warning(this, kTitle, m_lastError);
    else m_status->setText(QStringLiteral("A lista elmentve: %1").arg(QDir::toNativeSeparators(path)));
}

// Paper for a long list is asked for first: every row goes on it.
bool ListWizard::manyPages()
{
    constexpr qlonglong kMany = 20000;
    qlonglong rows = 0;
    QString why;
    if (!m_source || !m_source->run(QStringLiteral("SELECT COUNT(*) FROM (%1) t").arg(m_query.select), m_query.binds, nullptr,
                                    [&](const QVariantList& r) { rows = r.value(0).toLongLong(); return true; }, &why))
        return true;
    return rows <= kMany
        || QMessageBox::question(this, kTitle,
                                 QStringLiteral("A lista %1 sorból áll, kinyomtatva nagyon sok oldal lesz.\nBiztosan folytatja?")
                                     .arg(QLocale(QLocale::Hungarian).toString(rows)))
        == QMessageBox::Yes;
}

int ListWizard::runWizard(int id)
{
    const Entry* e = id ? entry(id) : nullptr;
    ListWizardDialog dlg(m_sources, m_canSetParameters, this);
    dlg.setCheck([this](const ListDefinition& d, QString* why) {
        const ListSource* s = findSource(m_sources, d.source);
        ListDefinition probe = d;
        if (probe.columns.isEmpty() && s) probe.columns.append({s->columns.first().field, QString()});
        ListQuery q;
        return s && buildQuery(*m_connection, *s, probe, QDate::currentDate(), &q, why);
    });
    if (e) dlg.setList(e->caption, e->definition);
    while (dlg.exec() == QDialog::Accepted) {
        const int saved = saveList(id, dlg.caption(), dlg.definition().toJson());
        if (saved > 0) return saved;
        QMessageBox::warning(this, kTitle, m_lastError);
    }
    return 0;
}

int ListWizard::newList()
{
    m_lastError.clear();
    if (!may(m_canEdit || m_canEditAll, QStringLiteral("új lista készítéséhez"))) return 0;
    return runWizard(0);
}

int ListWizard::editList(int id)
{
    m_lastError.clear();
    if (!entry(id)) return refuse(kUnreachable), 0;
    if (!mayEdit(id)) return refuse(QStringLiteral("Nincs jogosultsága ennek a listának a módosításához.")), 0;
    return runWizard(id);
}

} // namespace NexoFrame::Controls
