#pragma once
#include <QDialog>
#include <QMap>
#include <QString>
#include <array>

class QLabel;
class QLineEdit;
class QPushButton;

namespace NexoFrame {

// While a module dialog is up the user must see the normal pointer, even when the caller
// has put up a wait cursor; the caller's cursor comes back when the dialog is gone.
class ArrowCursorScope {
public:
    ArrowCursorScope();
    ~ArrowCursorScope();
    ArrowCursorScope(const ArrowCursorScope&) = delete;
    ArrowCursorScope& operator=(const ArrowCursorScope&) = delete;

private:
    bool m_pushed = false;
};

// The module's message box: icon, message, optional sub-message, up to three buttons and,
// for the input box, a text field. One shared instance (module().message()) serves every
// question; each call sets all controls again and returns the code of the button pressed.
class cMessage2 : public QDialog {
    Q_OBJECT
public:
    // Result codes.
    static constexpr int rOK = 0, rCancel = 1, rYes = 2, rNo = 3, rNewItem = 4, rRetry = 5,
                         rCustom1 = 6, rCustom2 = 7, rCustom3 = 8;
    // Icon bits of the style; the low four bits choose the button set.
    static constexpr int iError = 16, iQuestion = 32, iInformation = 64, iWarning = 128;
    static constexpr int bsOK = 0, bsOKCancel = 1, bsYesNoCancel = 2, bsYesNo = 3,
                         bsRetryCancel = 4, bsNewItemCancel = 5, bsInput = 6, bsCustom = 7;

    explicit cMessage2(QWidget* parent = nullptr);
    ~cMessage2() override;

    int ShowMessageBox(int style, const QString& title, const QString& message,
                       const QString& subMessage = {}, const QString& caption1 = {},
                       const QString& caption2 = {}, const QString& caption3 = {});
    int MsgInfo(const QString& message, const QString& subMessage = {});
    int MsgWarning(const QString& message, const QString& subMessage = {});
    int MsgError(const QString& message, const QString& subMessage = {});
    int MsgQuestionOkCancel(const QString& message, const QString& subMessage = {});
    int MsgQuestionYesNo(const QString& message, const QString& subMessage = {});
    int MsgQuestionYesNoCancel(const QString& message, const QString& subMessage = {});
    // A null caption counts as omitted; with all three omitted this is a plain warning.
    int MsgQuestionUDT(const QString& message, const QString& subMessage,
                       const QString& caption1 = {}, const QString& caption2 = {},
                       const QString& caption3 = {});
    // The entered text is read back with GetInputText.
    int MsgInputBox(const QString& message, const QString& defaultText = {},
                    const QString& title = {}, const QString& subMessage = {});
    void SetInputText(const QString& text) { m_inputText = text; }
    QString GetInputText() const { return m_inputText; }

    // Lays the form out for its current contents (twips arithmetic, then pixels).
    void ResizeMessageForm();

    // The press handler of the button array; an index outside 0..2 is a bounds error.
    void btnButton_Click(int index);

    // Twips to pixels by the screen's logical resolution (1440 twips to the inch).
    int twipsToPixels(int twips) const;
    int pixelsToTwips(int pixels) const;

    // State of the last call, for callers and tests.
    int buttonCount() const { return m_buttonCount; }
    int buttonCode(int index) const { return m_buttonCodes.at(size_t(index)); }
    int closeCode() const { return m_closeCode; }
    int iconCode() const { return m_iconCode; }
    bool subMessageShown() const { return m_subShown; }
    bool inputShown() const { return m_inputShown; }

    // Geometry computed by the last ResizeMessageForm, in twips.
    int formWidthTwips() const { return m_geo.formWidth; }
    int formHeightTwips() const { return m_geo.formHeight; }
    int iconLeftTwips() const { return m_geo.iconLeft; }
    int iconTopTwips() const { return m_geo.iconTop; }
    int iconSizeTwips() const { return m_geo.iconSize; }
    int messageLeftTwips() const { return m_geo.messageLeft; }
    int messageTopTwips() const { return m_geo.messageTop; }
    int messageWidthTwips() const { return m_geo.messageWidth; }
    int messageHeightTwips() const { return m_geo.messageHeight; }
    bool messageWordWrap() const { return m_geo.messageWrap; }
    int subMessageTopTwips() const { return m_geo.subTop; }
    int subMessageWidthTwips() const { return m_geo.subWidth; }
    int subMessageHeightTwips() const { return m_geo.subHeight; }
    int inputTopTwips() const { return m_geo.inputTop; }
    int inputWidthTwips() const { return m_geo.inputWidth; }
    int inputHeightTwips() const { return m_geo.inputHeight; }
    int buttonRowWidthTwips() const { return m_geo.rowWidth; }
    int buttonTopTwips() const { return m_geo.buttonTop; }
    int buttonHeightTwips() const { return m_geo.buttonHeight; }
    int buttonLeftTwips(int index) const { return m_geo.buttonLeft.at(size_t(index)); }

    // Controls.
    QLabel* pctIco = nullptr;
    QMap<int, QLabel*> pctIcon;    // hidden pictures, keyed by the icon bit
    QLabel* lblMessage = nullptr;
    QLabel* lblSubMessage = nullptr;
    std::array<QPushButton*, 3> btnButton{};
    QLineEdit* txtInput = nullptr;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Geometry {
        int formWidth = 0, formHeight = 0;
        int iconLeft = 0, iconTop = 0, iconSize = 0;
        int messageLeft = 0, messageTop = 0, messageWidth = 0, messageHeight = 0;
        bool messageWrap = false;
        int subTop = 0, subWidth = 0, subHeight = 0;
        int inputTop = 0, inputWidth = 0, inputHeight = 0;
        int rowWidth = 0, buttonTop = 0, buttonHeight = 0;
        std::array<int, 3> buttonLeft{};
    };

    void setButtons(int set, const QString& c1, const QString& c2, const QString& c3);
    void placeTwips(QWidget* w, int left, int top, int width, int height);

    int m_buttonCount = 0;
    std::array<int, 3> m_buttonCodes{};
    int m_closeCode = 0;
    int m_result = 0;
    int m_iconCode = 0;
    QString m_inputText;
    bool m_subShown = false;
    bool m_iconShown = false;
    bool m_inputShown = false;
    Geometry m_geo;
};

} // namespace NexoFrame
