#include "frmErrorMessage.h"
#include "Module.h"
#include "ModuleTexts.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QTableWidget>
#include <QVBoxLayout>

namespace NexoFrame {

frmErrorMessage::frmErrorMessage(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmErrorMessage"));
    setModal(true);
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                   | Qt::WindowCloseButtonHint);
    resize(520, 300);

    pctIco = new QLabel(this);
    pctIco->setObjectName(QStringLiteral("pctIco"));
    pctIco->setAlignment(Qt::AlignTop);

    lblInfo = new QLabel(this);
    lblInfo->setObjectName(QStringLiteral("lblInfo"));
    lblInfo->setWordWrap(true);

    grd_error = new QTableWidget(0, 1, this);
    grd_error->setObjectName(QStringLiteral("grd_error"));
    grd_error->setHorizontalHeaderLabels({QStringLiteral("Hiba leírása")});
    grd_error->horizontalHeader()->setStretchLastSection(true);
    grd_error->verticalHeader()->hide();
    grd_error->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grd_error->setSelectionBehavior(QAbstractItemView::SelectRows);
    grd_error->setSelectionMode(QAbstractItemView::SingleSelection);
    grd_error->setWordWrap(true);
    // Long descriptions wrap; the rows follow the column as it gets its final width.
    connect(grd_error->horizontalHeader(), &QHeaderView::sectionResized, grd_error,
            &QTableWidget::resizeRowsToContents, Qt::QueuedConnection);

    // Only Ctrl+Enter confirms; a plain Enter must not accept warnings by accident.
    cmdOK = new QPushButton(QStringLiteral("&OK"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setAutoDefault(false);
    cmdCancel = new QPushButton(ModuleTexts::kCancel, this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    cmdCancel->setAutoDefault(false);
    connect(cmdOK, &QPushButton::clicked, this, &frmErrorMessage::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &frmErrorMessage::cmdCancel_Click);

    auto* top = new QHBoxLayout;
    top->addWidget(pctIco, 0, Qt::AlignTop);
    top->addWidget(lblInfo, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdOK);
    buttons->addWidget(cmdCancel);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(grd_error, 1);
    layout->addLayout(buttons);
}

frmErrorMessage::~frmErrorMessage() = default;

void frmErrorMessage::Initialize(const QString& caption)
{
    setWindowTitle(caption);
    grd_error->clearContents();
    grd_error->setRowCount(0);
    m_hasErrors = false;

    Errors& errors = module().errors();
    for (const Error& entry : errors) {
        const int row = grd_error->rowCount();
        grd_error->insertRow(row);
        auto* item = new QTableWidgetItem(entry.description());
        item->setToolTip(entry.description());
        if (entry.ErrorType() == eError) {
            m_hasErrors = true;
            item->setForeground(QColor(255, 0, 0));
        }
        grd_error->setItem(row, 0, item);
    }
    grd_error->resizeRowsToContents();
    errors.Clear();

    const int iconPx = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    const QStyle::StandardPixmap icon = m_hasErrors ? QStyle::SP_MessageBoxCritical
                                                    : QStyle::SP_MessageBoxWarning;
    pctIco->setPixmap(style()->standardIcon(icon, nullptr, this).pixmap(iconPx, iconPx));
    lblInfo->setText(m_hasErrors
                         ? QStringLiteral("A művelet az alábbi hibák miatt nem hajtható végre.")
                         : QStringLiteral("Az alábbi figyelmeztetések elfogadásával a művelet folytatható."));
    cmdOK->setVisible(!m_hasErrors);
    cmdCancel->setFocus();
}

void frmErrorMessage::cmdOK_Click()
{
    m_returnValue = rvOK;
    hide();
}

void frmErrorMessage::cmdCancel_Click()
{
    m_returnValue = rvCancel;
    hide();
}

void frmErrorMessage::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
    if (enter && mods == Qt::ControlModifier) {
        if (!m_hasErrors)
            cmdOK_Click();
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        if (mods == Qt::NoModifier)
            cmdCancel_Click();
        return;
    }
    QDialog::keyPressEvent(event);
}

} // namespace NexoFrame
