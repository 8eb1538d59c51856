#include "ListWizardDialog.h"
#include "ControlTexts.h"
#include "Texts.h"
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace NexoFrame::Controls {

namespace {

constexpr int kFieldRole = Qt::UserRole + 1;
constexpr int kCaptionLength = 100; // qnd_list.caption

enum ConditionColumn { ColField, ColOp, ColValue, ColValue2, ColAsk };

QWizardPage* makePage(const QString& title, const QString& subtitle)
{
    auto* p = new QWizardPage;
    p->setTitle(title);
    p->setSubTitle(subtitle);
    return p;
}

QPushButton* makeButton(const QString& text, const QString& name, QWidget* parent)
{
    auto* b = new QPushButton(text, parent);
    b->setObjectName(name);
    return b;
}

} // namespace

ListWizardDialog::ListWizardDialog(const QList<ListSource>& sources, bool mayAsk, QWidget* parent)
    : QWizard(parent), m_sources(sources), m_mayAsk(mayAsk)
{
    setWindowTitle(ControlTexts::kListWizard);
    setWizardStyle(QWizard::ClassicStyle);
    setOption(QWizard::HaveHelpButton, false);
    setButtonText(QWizard::BackButton, QStringLiteral("< Vissza"));
    setButtonText(QWizard::NextButton, QStringLiteral("Tovább >"));
    setButtonText(QWizard::FinishButton, QStringLiteral("Mentés"));
    setButtonText(QWizard::CancelButton, Texts::kCancel);
    resize(760, 560);

    // 1. The source.
    QWizardPage* p1 = makePage(QStringLiteral("1. Forrás"), QStringLiteral("Melyik adatokból készüljön a lista?"));
    lst_source = new QListWidget(p1);
    lst_source->setObjectName(QStringLiteral("lst_source"));
    for (const ListSource& s : m_sources) {
        auto* item = new QListWidgetItem(s.caption, lst_source);
        item->setData(kFieldRole, s.table);
    }
    (new QVBoxLayout(p1))->addWidget(lst_source);
    connect(lst_source, &QListWidget::currentRowChanged, this, [this] { sourceChosen(); });
    setPage(SourcePage, p1);

    // 2. The columns, in their order, with headings the user may rewrite.
    QWizardPage* p2 = makePage(QStringLiteral("2. Oszlopok"),
                           QStringLiteral("Válassza ki és rendezze sorba a lista oszlopait. A fejléc szövege dupla kattintással átírható."));
    lst_available = new QListWidget(p2);
    lst_available->setObjectName(QStringLiteral("lst_available"));
    lst_chosen = new QListWidget(p2);
    lst_chosen->setObjectName(QStringLiteral("lst_chosen"));
    lst_chosen->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    auto* moves = new QVBoxLayout;
    QPushButton* add = makeButton(QStringLiteral("Hozzáad >"), QStringLiteral("cmd_add"), p2);
    QPushButton* remove = makeButton(QStringLiteral("< Elvesz"), QStringLiteral("cmd_remove"), p2);
    QPushButton* up = makeButton(QStringLiteral("Fel"), QStringLiteral("cmd_up"), p2);
    QPushButton* down = makeButton(QStringLiteral("Le"), QStringLiteral("cmd_down"), p2);
    moves->addStretch();
    for (QPushButton* b : {add, remove, up, down}) moves->addWidget(b);
    moves->addStretch();
    auto* cols = new QGridLayout(p2);
    cols->addWidget(new QLabel(QStringLiteral("Választható oszlopok:"), p2), 0, 0);
    cols->addWidget(new QLabel(QStringLiteral("A lista oszlopai (fejléc):"), p2), 0, 2);
    cols->addWidget(lst_available, 1, 0);
    cols->addLayout(moves, 1, 1);
    cols->addWidget(lst_chosen, 1, 2);
    connect(add, &QPushButton::clicked, this, [this] { choose(true); });
    connect(remove, &QPushButton::clicked, this, [this] { choose(false); });
    connect(up, &QPushButton::clicked, this, [this] { move(-1); });
    connect(down, &QPushButton::clicked, this, [this] { move(1); });
    connect(lst_available, &QListWidget::itemDoubleClicked, this, [this] { choose(true); });
    setPage(ColumnsPage, p2);

    // 3. The conditions.
    QWizardPage* p3 = makePage(QStringLiteral("3. Feltételek"),
                           m_mayAsk ? QStringLiteral("Mely sorok kerüljenek a listába? Ha a Kérdés oszlopba szöveget ír (pl. „Kezdő dátum?”), "
                                                     "az értéket a lista futtatáskor kérdezi meg.")
                                    : QStringLiteral("Mely sorok kerüljenek a listába?"));
    tbl_conditions = new QTableWidget(0, 5, p3);
    tbl_conditions->setObjectName(QStringLiteral("tbl_conditions"));
    tbl_conditions->setHorizontalHeaderLabels({QStringLiteral("Oszlop"), QStringLiteral("Feltétel"), QStringLiteral("Érték"),
                                               QStringLiteral("Második érték"), QStringLiteral("Kérdés")});
    tbl_conditions->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    tbl_conditions->verticalHeader()->hide();
    tbl_conditions->setColumnHidden(ColAsk, !m_mayAsk);
    opt_all = new QRadioButton(QStringLiteral("Minden feltétel teljesüljön (ÉS)"), p3);
    opt_all->setObjectName(QStringLiteral("opt_all"));
    opt_all->setChecked(true);
    opt_any = new QRadioButton(QStringLiteral("Elég, ha egy feltétel teljesül (VAGY)"), p3);
    opt_any->setObjectName(QStringLiteral("opt_any"));
    QPushButton* addCond = makeButton(QStringLiteral("Új feltétel"), QStringLiteral("cmd_add_condition"), p3);
    QPushButton* dropCond = makeButton(QStringLiteral("Feltétel törlése"), QStringLiteral("cmd_remove_condition"), p3);
    connect(addCond, &QPushButton::clicked, this, [this] { addCondition(); });
    connect(dropCond, &QPushButton::clicked, this, [this] {
        if (tbl_conditions->currentRow() >= 0) tbl_conditions->removeRow(tbl_conditions->currentRow());
    });
    auto* l3 = new QVBoxLayout(p3);
    l3->addWidget(tbl_conditions);
    auto* b3 = new QHBoxLayout;
    b3->addWidget(addCond);
    b3->addWidget(dropCond);
    b3->addStretch();
    b3->addWidget(opt_all);
    b3->addWidget(opt_any);
    l3->addLayout(b3);
    l3->addWidget(new QLabel(QStringLiteral("Dátum: 2026.05.31., vagy a mai naphoz képest: ma, ma-30, ma+60."), p3));
    setPage(ConditionsPage, p3);

    // 4. The order.
    QWizardPage* p4 = makePage(QStringLiteral("4. Rendezés"), QStringLiteral("Milyen sorrendben következzenek a sorok?"));
    auto* f4 = new QFormLayout(p4);
    for (int i = 0; i < 3; ++i) {
        cbo_sort[i] = new QComboBox(p4);
        cbo_sort[i]->setObjectName(QStringLiteral("cbo_sort%1").arg(i + 1));
        chk_descending[i] = new QCheckBox(QStringLiteral("csökkenő"), p4);
        chk_descending[i]->setObjectName(QStringLiteral("chk_descending%1").arg(i + 1));
        auto* row = new QHBoxLayout;
        row->addWidget(cbo_sort[i], 1);
        row->addWidget(chk_descending[i]);
        f4->addRow(i == 0 ? QStringLiteral("Elsőként:") : i == 1 ? QStringLiteral("Azután:") : QStringLiteral("Végül:"), row);
    }
    setPage(SortPage, p4);

    // 5. The grouping.
    QWizardPage* p5 = makePage(QStringLiteral("5. Csoportosítás"),
                           QStringLiteral("Az azonos értékű sorok együtt, csoportonként a sorok számával és a kijelölt oszlopok összegével."));
    cbo_group = new QComboBox(p5);
    cbo_group->setObjectName(QStringLiteral("cbo_group"));
    lst_sums = new QListWidget(p5);
    lst_sums->setObjectName(QStringLiteral("lst_sums"));
    auto* f5 = new QFormLayout(p5);
    f5->addRow(QStringLiteral("Csoportosítás:"), cbo_group);
    f5->addRow(QStringLiteral("Összegzendő oszlopok:"), lst_sums);
    setPage(GroupPage, p5);

    // 6. The name.
    QWizardPage* p6 = makePage(QStringLiteral("6. Mentés"), QStringLiteral("Milyen néven mentse a listát?"));
    txt_caption = new QLineEdit(p6);
    txt_caption->setObjectName(QStringLiteral("txt_caption"));
    txt_caption->setMaxLength(kCaptionLength);
    (new QFormLayout(p6))->addRow(QStringLiteral("Megnevezés:"), txt_caption);
    setPage(NamePage, p6);

    if (lst_source->count() > 0) lst_source->setCurrentRow(0);
}

const ListSource* ListWizardDialog::source() const
{
    const QListWidgetItem* item = lst_source->currentItem();
    return item ? findSource(m_sources, item->data(kFieldRole).toString()) : nullptr;
}

void ListWizardDialog::sourceChosen()
{
    const ListSource* s = source();
    if (!s || s->table == m_shownSource) return;
    m_shownSource = s->table;
    lst_available->clear();
    lst_chosen->clear();
    tbl_conditions->setRowCount(0);
    for (const ListSourceColumn& c : s->columns) {
        auto* item = new QListWidgetItem(c.caption, lst_available);
        item->setData(kFieldRole, c.field);
    }
    refreshLaterPages();
}

// The sort, group and sum choices offer the source's columns.
void ListWizardDialog::refreshLaterPages()
{
    const ListSource* s = source();
    for (int i = 0; i < 3; ++i) {
        cbo_sort[i]->clear();
        cbo_sort[i]->addItem(QStringLiteral("<nincs>"), QString());
    }
    cbo_group->clear();
    cbo_group->addItem(QStringLiteral("<nincs csoportosítás>"), QString());
    lst_sums->clear();
    if (!s) return;
    for (const ListSourceColumn& c : s->columns) {
        for (int i = 0; i < 3; ++i) cbo_sort[i]->addItem(c.caption, c.field);
        cbo_group->addItem(c.caption, c.field);
        if (c.type == ColType::Long || c.type == ColType::Double) {
            auto* item = new QListWidgetItem(c.caption, lst_sums);
            item->setData(kFieldRole, c.field);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(Qt::Unchecked);
        }
    }
}

void ListWizardDialog::choose(bool add)
{
    QListWidget* from = add ? lst_available : lst_chosen;
    QListWidgetItem* item = from->currentItem();
    if (!item) return;
    if (add) {
        for (int i = 0; i < lst_chosen->count(); ++i)
            if (lst_chosen->item(i)->data(kFieldRole) == item->data(kFieldRole)) return; // each column once
        auto* chosen = new QListWidgetItem(item->text(), lst_chosen);
        chosen->setData(kFieldRole, item->data(kFieldRole));
        chosen->setFlags(chosen->flags() | Qt::ItemIsEditable);
        lst_chosen->setCurrentItem(chosen);
    } else {
        delete item;
    }
}

void ListWizardDialog::move(int by)
{
    const int row = lst_chosen->currentRow();
    const int to = row + by;
    if (row < 0 || to < 0 || to >= lst_chosen->count()) return;
    QListWidgetItem* item = lst_chosen->takeItem(row);
    lst_chosen->insertItem(to, item);
    lst_chosen->setCurrentRow(to);
}

void ListWizardDialog::addCondition(const ListCondition& c)
{
    const ListSource* s = source();
    if (!s) return;
    const int row = tbl_conditions->rowCount();
    tbl_conditions->insertRow(row);
    auto* field = new QComboBox(tbl_conditions);
    for (const ListSourceColumn& col : s->columns) field->addItem(col.caption, col.field);
    if (!c.field.isEmpty()) field->setCurrentIndex(std::max(0, field->findData(c.field, Qt::UserRole, Qt::MatchFixedString)));
    tbl_conditions->setCellWidget(row, ColField, field);
    tbl_conditions->setCellWidget(row, ColOp, new QComboBox(tbl_conditions));
    fillOperators(row);
    auto* op = static_cast<QComboBox*>(tbl_conditions->cellWidget(row, ColOp));
    if (!c.field.isEmpty()) op->setCurrentIndex(std::max(0, op->findData(int(c.op))));
    tbl_conditions->setItem(row, ColValue, new QTableWidgetItem(c.value));
    tbl_conditions->setItem(row, ColValue2, new QTableWidgetItem(c.value2));
    tbl_conditions->setItem(row, ColAsk, new QTableWidgetItem(c.ask));
    connect(field, &QComboBox::currentIndexChanged, this, [this, field] {
        for (int r = 0; r < tbl_conditions->rowCount(); ++r)
            if (tbl_conditions->cellWidget(r, ColField) == field) fillOperators(r);
    });
    tbl_conditions->setCurrentCell(row, ColValue);
}

// The operators the chosen column's type allows.
void ListWizardDialog::fillOperators(int row)
{
    const ListSource* s = source();
    auto* field = static_cast<QComboBox*>(tbl_conditions->cellWidget(row, ColField));
    auto* op = static_cast<QComboBox*>(tbl_conditions->cellWidget(row, ColOp));
    const ListSourceColumn* col = s ? s->column(field->currentData().toString()) : nullptr;
    op->clear();
    if (!col) return;
    for (ListOp o : operatorsFor(col->type)) op->addItem(operatorName(o), int(o));
}

bool ListWizardDialog::validateCurrentPage()
{
    const auto refuse = [this](const QString& why) {
        QMessageBox::information(this, windowTitle(), why);
        return false;
    };
    switch (currentId()) {
    case SourcePage:
        if (!source()) return refuse(QStringLiteral("Válasszon forrást a listához!"));
        break;
    case ColumnsPage:
        if (lst_chosen->count() == 0) return refuse(QStringLiteral("Válasszon legalább egy oszlopot!"));
        break;
    case ConditionsPage: {
        const ListDefinition d = definition();
        for (const ListCondition& c : d.conditions) {
            const int n = operatorValues(c.op);
            if ((n >= 1 && c.value.trimmed().isEmpty()) || (n == 2 && c.value2.trimmed().isEmpty()))
                return refuse(QStringLiteral("Adja meg a(z) „%1” feltétel értékét (kérdésnél az alapértéket)!")
                                  .arg(source()->column(c.field)->caption));
        }
        // The values must read as their columns' types.
        QString why;
        if (m_check && !m_check(d, &why)) return refuse(why);
        break;
    }
    case NamePage:
        if (txt_caption->text().trimmed().isEmpty()) return refuse(QStringLiteral("Adja meg a lista megnevezését!"));
        break;
    default: break;
    }
    return true;
}

void ListWizardDialog::setList(const QString& caption, const ListDefinition& def)
{
    for (int i = 0; i < lst_source->count(); ++i)
        if (lst_source->item(i)->data(kFieldRole).toString().compare(def.source, Qt::CaseInsensitive) == 0) lst_source->setCurrentRow(i);
    const ListSource* s = source();
    if (!s) return;
    lst_chosen->clear();
    for (const ListColumn& c : def.columns) {
        const ListSourceColumn* col = s->column(c.field);
        if (!col) continue;
        auto* item = new QListWidgetItem(c.caption.isEmpty() ? col->caption : c.caption, lst_chosen);
        item->setData(kFieldRole, col->field);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
    }
    tbl_conditions->setRowCount(0);
    for (const ListCondition& c : def.conditions) addCondition(c);
    (def.matchAny ? opt_any : opt_all)->setChecked(true);
    for (int i = 0; i < 3; ++i) {
        cbo_sort[i]->setCurrentIndex(0);
        chk_descending[i]->setChecked(false);
        if (i < def.sort.size()) {
            cbo_sort[i]->setCurrentIndex(std::max(0, cbo_sort[i]->findData(def.sort[i].field, Qt::UserRole, Qt::MatchFixedString)));
            chk_descending[i]->setChecked(def.sort[i].descending);
        }
    }
    cbo_group->setCurrentIndex(std::max(0, cbo_group->findData(def.groupField, Qt::UserRole, Qt::MatchFixedString)));
    for (int i = 0; i < lst_sums->count(); ++i)
        lst_sums->item(i)->setCheckState(def.sums.contains(lst_sums->item(i)->data(kFieldRole).toString(), Qt::CaseInsensitive)
                                             ? Qt::Checked
                                             : Qt::Unchecked);
    txt_caption->setText(caption);
}

QString ListWizardDialog::caption() const { return txt_caption->text().trimmed().left(kCaptionLength); }

ListDefinition ListWizardDialog::definition() const
{
    ListDefinition d;
    const ListSource* s = source();
    if (!s) return d;
    d.source = s->table;
    for (int i = 0; i < lst_chosen->count(); ++i) {
        const QListWidgetItem* item = lst_chosen->item(i);
        const QString field = item->data(kFieldRole).toString();
        const ListSourceColumn* col = s->column(field);
        // A heading left as the source names it stays the source's.
        d.columns.append({field, col && col->caption == item->text() ? QString() : item->text().trimmed()});
    }
    for (int r = 0; r < tbl_conditions->rowCount(); ++r) {
        ListCondition c;
        c.field = static_cast<QComboBox*>(tbl_conditions->cellWidget(r, ColField))->currentData().toString();
        c.op = ListOp(static_cast<QComboBox*>(tbl_conditions->cellWidget(r, ColOp))->currentData().toInt());
        const auto text = [&](int col) { return tbl_conditions->item(r, col) ? tbl_conditions->item(r, col)->text() : QString(); };
        if (operatorValues(c.op) >= 1) c.value = text(ColValue);
        if (operatorValues(c.op) == 2) c.value2 = text(ColValue2);
        if (m_mayAsk) c.ask = text(ColAsk).trimmed();
        d.conditions.append(c);
    }
    d.matchAny = opt_any->isChecked();
    for (int i = 0; i < 3; ++i)
        if (!cbo_sort[i]->currentData().toString().isEmpty())
            d.sort.append({cbo_sort[i]->currentData().toString(), chk_descending[i]->isChecked()});
    d.groupField = cbo_group->currentData().toString();
    if (!d.groupField.isEmpty())
        for (int i = 0; i < lst_sums->count(); ++i)
            if (lst_sums->item(i)->checkState() == Qt::Checked) d.sums << lst_sums->item(i)->data(kFieldRole).toString();
    return d;
}

} // namespace NexoFrame::Controls
