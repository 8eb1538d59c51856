#include "cMessage2.h"
#include "ModuleTexts.h"
#include "RuntimeError.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QFontMetrics>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <algorithm>
#include <cmath>

namespace NexoFrame {

namespace {

// The title of every question.
const QString kQuestionTitle = QStringLiteral("Kérdés!");

// Layout constants, in twips.
constexpr int kTwipsPerInch = 1440;
constexpr int kButtonWidth = 1425;
constexpr int kButtonGap = 120;
constexpr int kMargin = 300;
constexpr int kIconTextGap = 200;
constexpr int kMinFormWidth = 3000;
constexpr int kWrapWidth = 7500;
constexpr int kSubMessageGap = 80;
constexpr int kInputGap = 100;
constexpr int kButtonsBelowInput = 200;
constexpr int kButtonsBelowText = 100;
constexpr int kBottomSpace = 200 + 120 + 285;
constexpr int kMinButtonHeight = 375;

constexpr int kBoundsError = 9;
constexpr int kHuge = 1 << 20;

const QString kWindowCaption = QStringLiteral("Quandra Express Keretrendszer");

// Size of a plain text in pixels; wrapWidth 0 measures it on one line.
QSize textSize(const QFontMetrics& fm, const QString& text, int wrapWidth)
{
    const int flags = Qt::AlignLeft | Qt::AlignTop | Qt::TextExpandTabs
                      | (wrapWidth > 0 ? int(Qt::TextWordWrap) : 0);
    const QRect r = fm.boundingRect(QRect(0, 0, wrapWidth > 0 ? wrapWidth : kHuge, kHuge), flags, text);
    return {r.width(), std::max(r.height(), fm.height())};
}

} // namespace

ArrowCursorScope::ArrowCursorScope()
{
    if (QGuiApplication::overrideCursor()) {
        QGuiApplication::setOverrideCursor(QCursor(Qt::ArrowCursor));
        m_pushed = true;
    }
}

ArrowCursorScope::~ArrowCursorScope()
{
    if (m_pushed)
        QGuiApplication::restoreOverrideCursor();
}

cMessage2::cMessage2(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("cMessage2"));
    setWindowTitle(kWindowCaption);
    setModal(true);
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                   | Qt::WindowCloseButtonHint);

    const int iconPx = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    const struct { int code; QStyle::StandardPixmap pixmap; } icons[] = {
        {iError, QStyle::SP_MessageBoxCritical},
        {iQuestion, QStyle::SP_MessageBoxQuestion},
        {iInformation, QStyle::SP_MessageBoxInformation},
        {iWarning, QStyle::SP_MessageBoxWarning},
    };
    for (const auto& icon : icons) {
        auto* picture = new QLabel(this);
        picture->setObjectName(QStringLiteral("pctIcon_%1").arg(icon.code));
        picture->setPixmap(style()->standardIcon(icon.pixmap, nullptr, this).pixmap(iconPx, iconPx));
        picture->hide();
        pctIcon.insert(icon.code, picture);
    }

    pctIco = new QLabel(this);
    pctIco->setObjectName(QStringLiteral("pctIco"));
    pctIco->setAlignment(Qt::AlignCenter);
    pctIco->hide();

    lblMessage = new QLabel(this);
    lblMessage->setObjectName(QStringLiteral("lblMessage"));
    lblMessage->setTextFormat(Qt::PlainText);
    lblMessage->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    QFont bold = lblMessage->font();
    bold.setBold(true);
    lblMessage->setFont(bold);

    lblSubMessage = new QLabel(this);
    lblSubMessage->setObjectName(QStringLiteral("lblSubMessage"));
    lblSubMessage->setTextFormat(Qt::PlainText);
    lblSubMessage->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    lblSubMessage->setWordWrap(true);
    lblSubMessage->hide();

    for (int i = 0; i < int(btnButton.size()); ++i) {
        auto* button = new QPushButton(this);
        button->setObjectName(QStringLiteral("btnButton_%1").arg(i));
        connect(button, &QPushButton::clicked, this, [this, i] { btnButton_Click(i); });
        btnButton[size_t(i)] = button;
    }

    txtInput = new QLineEdit(this);
    txtInput->setObjectName(QStringLiteral("txtInput"));
    txtInput->installEventFilter(this);
    txtInput->hide();
}

cMessage2::~cMessage2() = default;

int cMessage2::ShowMessageBox(int style, const QString& /*title: kept for the callers, never shown*/,
                              const QString& message, const QString& subMessage,
                              const QString& caption1, const QString& caption2,
                              const QString& caption3)
{
    ArrowCursorScope cursor;

    m_inputShown = false;
    setButtons(style & 0x0F, caption1, caption2, caption3);

    m_iconCode = 0;
    for (int bit : {iError, iQuestion, iInformation, iWarning}) {
        if (style & bit) {
            m_iconCode = bit;
            break;
        }
    }
    m_iconShown = m_iconCode != 0;
    if (m_iconShown)
        pctIco->setPixmap(pctIcon.value(m_iconCode)->pixmap());
    else
        pctIco->clear();
    pctIco->setVisible(m_iconShown);

    setWindowTitle(kWindowCaption);
    lblMessage->setText(message);

    m_subShown = !subMessage.isEmpty();
    lblSubMessage->setText(m_subShown ? subMessage : QString());
    lblSubMessage->setVisible(m_subShown);

    if (m_inputShown)
        txtInput->setText(m_inputText);
    txtInput->setVisible(m_inputShown);

    ResizeMessageForm();
    m_result = m_closeCode;

    // Enter in the input field means OK; elsewhere Enter presses the focused button.
    btnButton[0]->setDefault(m_inputShown);
    if (m_inputShown)
        txtInput->setFocus();
    else if (m_buttonCount > 0)
        btnButton[0]->setFocus();

    exec();
    return m_result;
}

void cMessage2::setButtons(int set, const QString& c1, const QString& c2, const QString& c3)
{
    struct Button { QString caption; int code; };
    QList<Button> buttons;
    const QString ok = QStringLiteral("&OK");
    const QString cancel = ModuleTexts::kCancel;
    const QString yes = QStringLiteral("&Igen");
    const QString no = QStringLiteral("&Nem");

    switch (set) {
    case bsOKCancel:
        buttons = {{ok, rOK}, {cancel, rCancel}};
        m_closeCode = rCancel;
        break;
    case bsYesNoCancel:
        buttons = {{yes, rYes}, {no, rNo}, {cancel, rCancel}};
        m_closeCode = rCancel;
        break;
    case bsYesNo:
        buttons = {{yes, rYes}, {no, rNo}};
        m_closeCode = rNo;
        break;
    case bsRetryCancel:
        buttons = {{QStringLiteral("Új&ból"), rRetry}, {cancel, rCancel}};
        m_closeCode = rCancel;
        break;
    case bsNewItemCancel:
        buttons = {{QStringLiteral("Új &elem"), rNewItem}, {cancel, rCancel}};
        m_closeCode = rCancel;
        break;
    case bsInput:
        buttons = {{ok, rOK}, {cancel, rCancel}};
        // Closing the input box without a button must never read as OK.
        m_closeCode = rCancel;
        m_inputShown = true;
        break;
    case bsCustom: {
        int code = rCustom1;
        for (const QString& caption : {c1, c2, c3}) {
            if (!caption.isEmpty())
                buttons.append({caption, code++});
        }
        m_closeCode = rCustom1;
        break;
    }
    default:
        // Set 0, and the undefined sets 8..15: the user always gets a way out.
        buttons = {{ok, rOK}};
        m_closeCode = rOK;
        break;
    }

    m_buttonCount = int(buttons.size());
    for (int i = 0; i < int(btnButton.size()); ++i) {
        QPushButton* button = btnButton[size_t(i)];
        if (i < m_buttonCount) {
            button->setText(buttons[i].caption);
            m_buttonCodes[size_t(i)] = buttons[i].code;
            button->show();
        } else {
            button->setText(QString());
            m_buttonCodes[size_t(i)] = m_closeCode;
            button->hide();
        }
    }
}

void cMessage2::btnButton_Click(int index)
{
    if (index < 0 || index >= int(btnButton.size()))
        throw RuntimeError(QStringLiteral("Subscript out of range"), kBoundsError,
                           QStringLiteral("NexoFrame.cMessage2 btnButton_Click"));
    m_result = m_buttonCodes[size_t(index)];
    m_inputText = txtInput->text();
    done(m_result);
}

int cMessage2::MsgInfo(const QString& message, const QString& subMessage)
{
    return ShowMessageBox(iInformation | bsOK, QStringLiteral("Információ"), message, subMessage);
}

int cMessage2::MsgWarning(const QString& message, const QString& subMessage)
{
    return ShowMessageBox(iWarning | bsOK, QStringLiteral("Figyelem!"), message, subMessage);
}

int cMessage2::MsgError(const QString& message, const QString& subMessage)
{
    return ShowMessageBox(iError | bsOK, QStringLiteral("Hiba!"), message, subMessage);
}

int cMessage2::MsgQuestionOkCancel(const QString& message, const QString& subMessage)
{
    return ShowMessageBox(iQuestion | bsOKCancel, kQuestionTitle, message, subMessage);
}

int cMessage2::MsgQuestionYesNo(const QString& message, const QString& subMessage)
{
    return ShowMessageBox(iQuestion | bsYesNo, kQuestionTitle, message, subMessage);
}

int cMessage2::MsgQuestionYesNoCancel(const QString& message, const QString& subMessage)
{
    return ShowMessageBox(iQuestion | bsYesNoCancel, kQuestionTitle, message, subMessage);
}

int cMessage2::MsgQuestionUDT(const QString& message, const QString& subMessage,
                              const QString& caption1, const QString& caption2,
                              const QString& caption3)
{
    if (caption1.isNull() && caption2.isNull() && caption3.isNull())
        return ShowMessageBox(iWarning | bsOK, QStringLiteral("Figyelem!"), message, subMessage);
    return ShowMessageBox(iQuestion | bsCustom, kQuestionTitle, message, subMessage,
                          caption1, caption2, caption3);
}

int cMessage2::MsgInputBox(const QString& message, const QString& defaultText,
                           const QString& title, const QString& subMessage)
{
    SetInputText(defaultText);
    return ShowMessageBox(bsInput, title, message, subMessage);
}

int cMessage2::twipsToPixels(int twips) const
{
    return int(std::lround(double(twips) * logicalDpiX() / kTwipsPerInch));
}

int cMessage2::pixelsToTwips(int pixels) const
{
    // Rounded up, so that converting back never loses the pixel a text needs.
    return int(std::ceil(double(pixels) * kTwipsPerInch / logicalDpiX()));
}

void cMessage2::placeTwips(QWidget* w, int left, int top, int width, int height)
{
    w->setGeometry(twipsToPixels(left), twipsToPixels(top), twipsToPixels(width),
                   twipsToPixels(height));
}

void cMessage2::ResizeMessageForm()
{
    Geometry g;

    g.rowWidth = m_buttonCount > 0 ? m_buttonCount * kButtonWidth + (m_buttonCount - 1) * kButtonGap : 0;

    g.iconLeft = kMargin;
    g.iconSize = m_iconShown ? pixelsToTwips(qRound(pctIcon.value(m_iconCode)->pixmap().deviceIndependentSize().height())) : 0;
    g.messageLeft = m_iconShown ? g.iconLeft + g.iconSize + kMargin + kIconTextGap : kMargin;

    // The message keeps one line until it would reach the wrap width.
    const QSize oneLine = textSize(lblMessage->fontMetrics(), lblMessage->text(), 0);
    if (pixelsToTwips(oneLine.width()) >= kWrapWidth) {
        g.messageWrap = true;
        g.messageWidth = kWrapWidth - g.messageLeft - kMargin;
        const QSize wrapped = textSize(lblMessage->fontMetrics(), lblMessage->text(),
                                       twipsToPixels(g.messageWidth));
        g.messageHeight = pixelsToTwips(wrapped.height());
    } else {
        g.messageWidth = pixelsToTwips(oneLine.width());
        g.messageHeight = pixelsToTwips(oneLine.height());
    }
    lblMessage->setWordWrap(g.messageWrap);

    int blockHeight = g.messageHeight;
    if (m_subShown) {
        // Same column as the message; it always wraps, so that none of it is cut off.
        g.subWidth = g.messageWidth;
        const QSize sub = textSize(lblSubMessage->fontMetrics(), lblSubMessage->text(),
                                   std::max(1, twipsToPixels(g.subWidth)));
        g.subHeight = pixelsToTwips(sub.height());
        blockHeight += kSubMessageGap + g.subHeight;
    }

    // The icon is centred on the text block. A block shorter than the icon is lowered
    // instead of raising the icon above the margin, and the buttons then clear the icon.
    int blockTop = kMargin;
    if (m_iconShown && g.iconSize > blockHeight)
        blockTop += (g.iconSize - blockHeight) / 2;
    g.iconTop = blockTop + (blockHeight - g.iconSize) / 2;
    g.messageTop = blockTop;
    g.subTop = g.messageTop + g.messageHeight + kSubMessageGap;
    int blockBottom = blockTop + blockHeight;
    if (m_iconShown)
        blockBottom = std::max(blockBottom, g.iconTop + g.iconSize);

    g.formWidth = std::max({kMinFormWidth, g.rowWidth + 2 * kMargin,
                            g.messageLeft + g.messageWidth + kMargin});
    const int innerWidth = g.formWidth;

    g.buttonHeight = kMinButtonHeight;
    for (QPushButton* b : btnButton)
        g.buttonHeight = std::max(g.buttonHeight, pixelsToTwips(b->sizeHint().height()));

    if (m_inputShown) {
        g.inputTop = blockBottom + kInputGap;
        g.inputWidth = innerWidth - 2 * kMargin;
        g.inputHeight = pixelsToTwips(txtInput->sizeHint().height());
        g.buttonTop = g.inputTop + g.inputHeight + kButtonsBelowInput;
    } else {
        g.buttonTop = blockBottom + kButtonsBelowText;
    }

    const int rowStart = (innerWidth - g.rowWidth) / 2;
    for (int i = 0; i < int(g.buttonLeft.size()); ++i)
        g.buttonLeft[size_t(i)] = rowStart + i * (kButtonWidth + kButtonGap);

    g.formHeight = g.buttonTop + g.buttonHeight + kBottomSpace;

    if (m_iconShown)
        placeTwips(pctIco, g.iconLeft, g.iconTop, g.iconSize, g.iconSize);
    placeTwips(lblMessage, g.messageLeft, g.messageTop, g.messageWidth, g.messageHeight);
    if (m_subShown)
        placeTwips(lblSubMessage, g.messageLeft, g.subTop, g.subWidth, g.subHeight);
    if (m_inputShown)
        placeTwips(txtInput, kMargin, g.inputTop, g.inputWidth, g.inputHeight);
    for (int i = 0; i < int(btnButton.size()); ++i)
        placeTwips(btnButton[size_t(i)], g.buttonLeft[size_t(i)], g.buttonTop, kButtonWidth,
                   g.buttonHeight);
    setFixedSize(twipsToPixels(g.formWidth), twipsToPixels(g.formHeight));

    m_geo = g;
}

bool cMessage2::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == txtInput && event->type() == QEvent::FocusIn) {
        txtInput->selectAll();
        // A mouse click places the cursor after the focus arrives; select once more after it.
        QMetaObject::invokeMethod(txtInput, &QLineEdit::selectAll, Qt::QueuedConnection);
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace NexoFrame
