#include "QuickPick.h"
#include "SqlExec.h"
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QVBoxLayout>

namespace NexoFrame::Controls {

namespace {

constexpr int kOffered = 20;

} // namespace

QuickPick::QuickPick(QWidget* parent) : QWidget(parent), m_edit(new QLineEdit(this)), m_list(new QListWidget(this))
{
    m_edit->setObjectName(QStringLiteral("txt_quickpick"));
    m_list->setObjectName(QStringLiteral("lst_quickpick"));
    // A window of its own, so that it may reach past the form's edge; it never takes the
    // focus from the box being typed into.
    m_list->setWindowFlags(Qt::ToolTip);
    m_list->setAttribute(Qt::WA_ShowWithoutActivating);
    m_list->setFocusPolicy(Qt::NoFocus);
    m_list->hide();
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins({});
    box->addWidget(m_edit);
    setFocusProxy(m_edit);
    m_edit->installEventFilter(this);
    connect(m_edit, &QLineEdit::textEdited, this, &QuickPick::offer);
    connect(m_edit, &QLineEdit::editingFinished, this, &QuickPick::editingDone);
    connect(m_list, &QListWidget::itemClicked, this, &QuickPick::pick);
}

void QuickPick::setConnection(Connection* c) { m_connection = c; }

void QuickPick::setLookup(int table, const QString& valueColumn, const QString& textColumn)
{
    if (!m_connection) throw DbError(QStringLiteral("A gyorskeresőhöz nincs adatbázis-kapcsolat."));
    const TableDef* t = m_connection->tableDef(table);
    if (!t) throw DbError(QStringLiteral("Ismeretlen tábla: %1.").arg(table));
    for (const QString& name : {valueColumn, textColumn})
        if (!t->hasColumn(name)) throw DbError(QStringLiteral("A(z) %1 táblának nincs „%2” nevű oszlopa.").arg(t->name, name));
    m_table = t;
    m_valueColumn = t->column(valueColumn)->name;
    m_textColumn = t->column(textColumn)->name;
}

QString QuickPick::text() const { return m_edit->text(); }

void QuickPick::setText(const QString& text)
{
    m_list->hide();
    m_edit->setText(text);
    m_settled = text.trimmed();
}

void QuickPick::offer(const QString& typed)
{
    m_settled.clear();
    m_list->clear();
    QString prefix = typed.trimmed();
    if (prefix.isEmpty() || !m_connection || !m_table) {
        m_list->hide();
        return;
    }
    prefix.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('%'), QStringLiteral("\\%"))
        .replace(QLatin1Char('_'), QStringLiteral("\\_"));
    const QString value = quoted(m_valueColumn), text = quoted(m_textColumn);
    QList<QVariantList> rows;
    try {
        rows = m_connection->select(QStringLiteral("SELECT %1, %2 FROM %3 WHERE %1 LIKE ? ESCAPE '\\' ORDER BY %4, %5 LIMIT %6")
                                        .arg(value, text, quoted(m_table->name), m_connection->engine().orderTerm(value, false),
                                             m_connection->engine().orderTerm(m_connection->engine().sortExpression(m_table, m_textColumn), false))
                                        .arg(kOffered),
                                    {prefix + QLatin1Char('%')});
    } catch (const DbError&) {
        // Offering nothing is the honest answer while the database cannot be read.
    }
    for (const QVariantList& r : std::as_const(rows)) {
        auto* item = new QListWidgetItem(r.value(0).toString() + QStringLiteral(" – ") + r.value(1).toString(), m_list);
        item->setData(Qt::UserRole, r.value(0).toString());
    }
    if (m_list->count() == 0) {
        m_list->hide();
        return;
    }
    m_list->setCurrentRow(0);
    m_list->resize(qMax(m_edit->width(), 260), m_list->sizeHintForRow(0) * m_list->count() + 2 * m_list->frameWidth());
    m_list->move(m_edit->mapToGlobal(QPoint(0, m_edit->height())));
    m_list->show();
}

void QuickPick::pick(QListWidgetItem* item)
{
    if (!item) return;
    const QString value = item->data(Qt::UserRole).toString();
    m_list->hide();
    m_edit->setText(value);
    m_settled = value;
    emit picked(value);
}

void QuickPick::editingDone()
{
    if (!m_list->underMouse()) m_list->hide();
    const QString typed = m_edit->text().trimmed();
    if (typed.isEmpty() || typed == m_settled || !m_connection || !m_table) return;
    QList<QVariantList> rows;
    try {
        rows = m_connection->select(QStringLiteral("SELECT %1 FROM %2 WHERE %1=?").arg(quoted(m_valueColumn), quoted(m_table->name)),
                                    {typed});
    } catch (const DbError&) {
        return; // unread is not picked
    }
    if (rows.isEmpty()) return;
    m_settled = rows.first().value(0).toString();
    emit picked(m_settled);
}

bool QuickPick::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_edit && event->type() == QEvent::Hide) m_list->hide();
    if (watched != m_edit || event->type() != QEvent::KeyPress || !m_list->isVisible())
        return QWidget::eventFilter(watched, event);
    const int row = m_list->currentRow();
    switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Down: m_list->setCurrentRow(qMin(row + 1, m_list->count() - 1)); return true;
    case Qt::Key_Up: m_list->setCurrentRow(qMax(row - 1, 0)); return true;
    case Qt::Key_Return:
    case Qt::Key_Enter: pick(m_list->currentItem()); return true;
    case Qt::Key_Escape: m_list->hide(); return true;
    default: return QWidget::eventFilter(watched, event);
    }
}

} // namespace NexoFrame::Controls
