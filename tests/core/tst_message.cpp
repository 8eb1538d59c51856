#include "ModalSuite.h"
#include "Module.h"
#include "RuntimeError.h"
#include "cMessage2.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

using namespace NexoFrame;

namespace {

const QString kCaption = QStringLiteral("Quandra Express Keretrendszer");

QStringList shownCaptions(const cMessage2& msg)
{
    QStringList captions;
    for (QPushButton* b : msg.btnButton)
        if (b->isVisibleTo(&msg))
            captions << b->text();
    return captions;
}

QString longText()
{
    QString text;
    for (int i = 0; i < 40; ++i)
        text += QStringLiteral("A rendszer nem tudja elvégezni a kért műveletet. ");
    return text.trimmed();
}

} // namespace

class tst_message : public ModalSuite {
    Q_OBJECT

private slots:
    void buttonSets_data();
    void buttonSets();
    void wrappersChooseIconButtonsAndCloseCode();
    void customButtons();
    void inputBox();
    void inputFieldSelectsAllOnFocus();
    void captionAndIcon();
    void layoutShortAndLong();
    void layoutButtonsCentredAndStacked();
    void cursorIsArrowWhileShown();
    void buttonIndexOutOfRange();
};

void tst_message::buttonSets_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<QStringList>("captions");
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<int>("closeCode");

    QTest::newRow("0 ok") << 0 << QStringList{"&OK"} << QList<int>{0} << 0;
    QTest::newRow("1 ok cancel") << 1 << QStringList{"&OK", "&Mégsem"} << QList<int>{0, 1} << 1;
    QTest::newRow("2 yes no cancel") << 2 << QStringList{"&Igen", "&Nem", "&Mégsem"}
                                     << QList<int>{2, 3, 1} << 1;
    QTest::newRow("3 yes no") << 3 << QStringList{"&Igen", "&Nem"} << QList<int>{2, 3} << 3;
    QTest::newRow("4 retry cancel") << 4 << QStringList{"Új&ból", "&Mégsem"} << QList<int>{5, 1} << 1;
    QTest::newRow("5 new item cancel") << 5 << QStringList{"Új &elem", "&Mégsem"}
                                       << QList<int>{4, 1} << 1;
    QTest::newRow("6 input") << 6 << QStringList{"&OK", "&Mégsem"} << QList<int>{0, 1} << 1;
    QTest::newRow("7 custom") << 7 << QStringList{"Egy", "Kettő", "Három"} << QList<int>{6, 7, 8} << 6;
    QTest::newRow("icon bits keep the set") << (32 | 2) << QStringList{"&Igen", "&Nem", "&Mégsem"}
                                            << QList<int>{2, 3, 1} << 1;
}

void tst_message::buttonSets()
{
    QFETCH(int, style);
    QFETCH(QStringList, captions);
    QFETCH(QList<int>, codes);
    QFETCH(int, closeCode);
    cMessage2& msg = module().message();

    for (int i = 0; i < captions.size(); ++i) {
        QStringList seen;
        onNextModal([&](QWidget* dlg) {
            seen = shownCaptions(msg);
            QVERIFY(clickButton(dlg, QStringLiteral("btnButton_%1").arg(i)));
        });
        const int result = msg.ShowMessageBox(style, "Cím", "Üzenet", {}, "Egy", "Kettő", "Három");
        QCOMPARE(seen, captions);
        QCOMPARE(result, codes.at(i));
    }

    // Leaving without a button: the close box, and Esc.
    closeNextModal();
    QCOMPARE(msg.ShowMessageBox(style, "Cím", "Üzenet", {}, "Egy", "Kettő", "Három"), closeCode);
    onNextModal([](QWidget* dlg) { QTest::keyClick(dlg, Qt::Key_Escape); });
    QCOMPARE(msg.ShowMessageBox(style, "Cím", "Üzenet", {}, "Egy", "Kettő", "Három"), closeCode);
}

void tst_message::wrappersChooseIconButtonsAndCloseCode()
{
    cMessage2& msg = module().message();
    struct Case {
        const char* name;
        std::function<int()> call;
        int icon;
        QStringList captions;
        int closeCode;
    };
    const QList<Case> cases = {
        {"MsgInfo", [&] { return msg.MsgInfo("m"); }, 64, {"&OK"}, 0},
        {"MsgWarning", [&] { return msg.MsgWarning("m", "s"); }, 128, {"&OK"}, 0},
        {"MsgError", [&] { return msg.MsgError("m"); }, 16, {"&OK"}, 0},
        {"MsgQuestionOkCancel", [&] { return msg.MsgQuestionOkCancel("m"); }, 32,
         {"&OK", "&Mégsem"}, 1},
        {"MsgQuestionYesNo", [&] { return msg.MsgQuestionYesNo("m"); }, 32, {"&Igen", "&Nem"}, 3},
        {"MsgQuestionYesNoCancel", [&] { return msg.MsgQuestionYesNoCancel("m"); }, 32,
         {"&Igen", "&Nem", "&Mégsem"}, 1},
    };
    for (const Case& c : cases) {
        int icon = -1;
        QStringList seen;
        QString caption;
        onNextModal([&](QWidget* dlg) {
            icon = msg.iconCode();
            seen = shownCaptions(msg);
            caption = dlg->windowTitle();
            dlg->close();
        });
        QVERIFY2(c.call() == c.closeCode, c.name);
        QVERIFY2(icon == c.icon, c.name);
        QVERIFY2(seen == c.captions, c.name);
        QVERIFY2(caption == kCaption, c.name);
    }
}

void tst_message::customButtons()
{
    cMessage2& msg = module().message();

    // Only the second caption: one button, and it is the first custom code.
    QStringList seen;
    onNextModal([&](QWidget* dlg) {
        seen = shownCaptions(msg);
        QVERIFY(clickButton(dlg, "Második"));
    });
    QCOMPARE(msg.MsgQuestionUDT("m", "s", QString(), "Második"), 6);
    QCOMPARE(seen, QStringList{"Második"});
    QCOMPARE(msg.iconCode(), 32);

    onNextModal([](QWidget* dlg) { QVERIFY(clickButton(dlg, "Harmadik")); });
    QCOMPARE(msg.MsgQuestionUDT("m", "s", "Első", "", "Harmadik"), 7);

    // No caption at all: a plain warning with OK.
    onNextModal([&](QWidget* dlg) {
        seen = shownCaptions(msg);
        QVERIFY(clickButton(dlg, "OK"));
    });
    QCOMPARE(msg.MsgQuestionUDT("m", "s"), 0);
    QCOMPARE(seen, QStringList{"&OK"});
    QCOMPARE(msg.iconCode(), 128);
}

void tst_message::inputBox()
{
    cMessage2& msg = module().message();

    onNextModal([&](QWidget* dlg) {
        QVERIFY(msg.txtInput->isVisibleTo(dlg));
        QCOMPARE(msg.txtInput->text(), QStringLiteral("alap"));
        msg.txtInput->setText(QStringLiteral("új érték"));
        QTest::keyClick(msg.txtInput, Qt::Key_Return); // Enter in the field means OK
    });
    QCOMPARE(msg.MsgInputBox("Név:", "alap", "Cím"), 0);
    QCOMPARE(msg.GetInputText(), QStringLiteral("új érték"));

    // Cancel pressed still hands back the text; the close box leaves the input text alone.
    onNextModal([&](QWidget* dlg) {
        msg.txtInput->setText(QStringLiteral("elvetett"));
        QVERIFY(clickButton(dlg, "Mégsem"));
    });
    QCOMPARE(msg.MsgInputBox("Név:", "alap"), 1);
    QCOMPARE(msg.GetInputText(), QStringLiteral("elvetett"));

    onNextModal([&](QWidget* dlg) {
        msg.txtInput->setText(QStringLiteral("elveszik"));
        dlg->close();
    });
    QCOMPARE(msg.MsgInputBox("Név:", "alap"), 1);
    QCOMPARE(msg.GetInputText(), QStringLiteral("alap"));

    // The input field is shown by the input style only; other styles hide it again.
    msg.SetInputText(QStringLiteral("előző"));
    bool inputShown = true;
    onNextModal([&](QWidget* dlg) {
        inputShown = msg.txtInput->isVisibleTo(dlg);
        dlg->close();
    });
    msg.MsgInfo("m");
    QVERIFY(!inputShown);
    QVERIFY(!msg.inputShown());
}

void tst_message::inputFieldSelectsAllOnFocus()
{
    cMessage2& msg = module().message();
    msg.txtInput->setText(QStringLiteral("kijelölendő szöveg"));
    msg.txtInput->setCursorPosition(3);
    QVERIFY(!msg.txtInput->hasSelectedText());

    QFocusEvent focusIn(QEvent::FocusIn, Qt::OtherFocusReason);
    QCoreApplication::sendEvent(msg.txtInput, &focusIn);
    QCOMPARE(msg.txtInput->selectedText(), QStringLiteral("kijelölendő szöveg"));
}

void tst_message::captionAndIcon()
{
    cMessage2& msg = module().message();

    QString caption, shown;
    bool iconShown = true;
    onNextModal([&](QWidget* dlg) {
        caption = dlg->windowTitle();
        shown = dialogText(dlg);
        iconShown = msg.pctIco->isVisibleTo(dlg);
        dlg->close();
    });
    msg.ShowMessageBox(1, "Saját cím", "Az üzenet", "A részlet");
    QCOMPARE(caption, kCaption);
    QVERIFY(!shown.contains("Saját cím"));
    QVERIFY(shown.contains("Az üzenet"));
    QVERIFY(shown.contains("A részlet"));
    QVERIFY(!iconShown);
    QCOMPARE(msg.messageLeftTwips(), 300);
    QCOMPARE(msg.lblMessage->x(), msg.twipsToPixels(300));

    // First icon bit wins (16 before 128); the text moves right of the icon.
    onNextModal([&](QWidget* dlg) {
        iconShown = msg.pctIco->isVisibleTo(dlg);
        shown = dialogText(dlg);
        dlg->close();
    });
    msg.ShowMessageBox(16 | 128, "x", "Üzenet");
    QVERIFY(iconShown);
    QCOMPARE(msg.iconCode(), 16);
    QCOMPARE(msg.pctIco->pixmap().toImage(), msg.pctIcon.value(16)->pixmap().toImage());
    QCOMPARE(msg.messageLeftTwips(), msg.iconLeftTwips() + msg.iconSizeTwips() + 300 + 200);
    QVERIFY(!shown.contains("A részlet")); // the earlier sub-message is gone
    QVERIFY(!msg.subMessageShown());

    // The hidden pictures are there for each icon code.
    QCOMPARE(msg.pctIcon.keys(), (QList<int>{16, 32, 64, 128}));
    for (QLabel* picture : msg.pctIcon)
        QVERIFY(!picture->isVisibleTo(&msg));
}

void tst_message::layoutShortAndLong()
{
    cMessage2& msg = module().message();
    QCOMPARE(msg.twipsToPixels(1440), msg.logicalDpiX());

    // A short message with one button: the minimum width, one line.
    closeNextModal();
    msg.MsgInfo("Rövid");
    QCOMPARE(msg.formWidthTwips(), 3000);
    QVERIFY(!msg.messageWordWrap());
    QCOMPARE(msg.buttonLeftTwips(0), (3000 - 1425) / 2);
    QCOMPARE(msg.width(), msg.twipsToPixels(3000));
    QCOMPARE(msg.height(), msg.twipsToPixels(msg.formHeightTwips()));
    const int oneLine = msg.messageHeightTwips();

    // A long message wraps at the wrap width, with or without an icon.
    for (int style : {16, 0}) {
        closeNextModal();
        msg.ShowMessageBox(style, "x", longText(), "Megpróbáljam újból?");
        QVERIFY(msg.messageWordWrap());
        QVERIFY(msg.lblMessage->wordWrap());
        QCOMPARE(msg.messageWidthTwips(), 7500 - msg.messageLeftTwips() - 300);
        QCOMPARE(msg.formWidthTwips(), 7500);
        QVERIFY(msg.messageHeightTwips() > 2 * oneLine);
        QCOMPARE(msg.subMessageWidthTwips(), msg.messageWidthTwips());
        QCOMPARE(msg.subMessageTopTwips(), msg.messageTopTwips() + msg.messageHeightTwips() + 80);
    }
    // The boundary: the widest text under 7500 twips keeps its line, one word more wraps.
    const QFontMetrics fm = msg.lblMessage->fontMetrics();
    auto twips = [&](const QString& t) {
        return msg.pixelsToTwips(fm.boundingRect(QRect(0, 0, 1 << 20, 1 << 20), Qt::AlignLeft, t).width());
    };
    QString below = QStringLiteral("szó");
    while (twips(below + QStringLiteral(" szó")) < 7500)
        below += QStringLiteral(" szó");
    closeNextModal();
    msg.ShowMessageBox(0, "x", below);
    QVERIFY(!msg.messageWordWrap());
    QCOMPARE(msg.messageWidthTwips(), twips(below));
    QCOMPARE(msg.formWidthTwips(), 300 + msg.messageWidthTwips() + 300);
    QVERIFY(msg.formWidthTwips() < 7500 + 600);
    closeNextModal();
    msg.ShowMessageBox(0, "x", below + QStringLiteral(" szó"));
    QVERIFY(msg.messageWordWrap());
    QCOMPARE(msg.messageWidthTwips(), 7500 - 300 - 300);

    // The icon is centred on the text block.
    closeNextModal();
    msg.ShowMessageBox(16, "x", longText(), "Megpróbáljam újból?");
    const int block = msg.subMessageTopTwips() + msg.subMessageHeightTwips() - msg.messageTopTwips();
    QCOMPARE(msg.iconTopTwips(), msg.messageTopTwips() + (block - msg.iconSizeTwips()) / 2);
}

void tst_message::layoutButtonsCentredAndStacked()
{
    cMessage2& msg = module().message();

    closeNextModal();
    msg.ShowMessageBox(2, "x", "Mentsem a változásokat?");
    const int row = 3 * 1425 + 2 * 120;
    QCOMPARE(msg.buttonRowWidthTwips(), row);
    QVERIFY(msg.formWidthTwips() >= row + 600);
    QCOMPARE(msg.buttonLeftTwips(0), (msg.formWidthTwips() - row) / 2);
    QCOMPARE(msg.buttonLeftTwips(1) - msg.buttonLeftTwips(0), 1545);
    QCOMPARE(msg.buttonLeftTwips(2) - msg.buttonLeftTwips(1), 1545);
    QVERIFY(qAbs(msg.buttonLeftTwips(0) - (msg.formWidthTwips() - msg.buttonLeftTwips(2) - 1425)) <= 1);
    QCOMPARE(msg.btnButton[2]->x(), msg.twipsToPixels(msg.buttonLeftTwips(2)));
    // Without an input field the buttons stand 100 below the text.
    QCOMPARE(msg.buttonTopTwips(), msg.messageTopTwips() + msg.messageHeightTwips() + 100);
    QCOMPARE(msg.formHeightTwips(), msg.buttonTopTwips() + msg.buttonHeightTwips() + 200 + 120 + 285);

    // The input field goes between the text and the buttons.
    closeNextModal();
    msg.MsgInputBox("Adja meg a nevet:", "");
    QCOMPARE(msg.inputTopTwips(), msg.messageTopTwips() + msg.messageHeightTwips() + 100);
    QCOMPARE(msg.inputWidthTwips(), msg.formWidthTwips() - 600);
    QCOMPARE(msg.buttonTopTwips(), msg.inputTopTwips() + msg.inputHeightTwips() + 200);
}

void tst_message::cursorIsArrowWhileShown()
{
    cMessage2& msg = module().message();

    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    Qt::CursorShape during = Qt::BlankCursor;
    onNextModal([&](QWidget* dlg) {
        during = QGuiApplication::overrideCursor()->shape();
        dlg->close();
    });
    msg.MsgInfo("m");
    QCOMPARE(during, Qt::ArrowCursor);
    QVERIFY(QGuiApplication::overrideCursor());
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    QGuiApplication::restoreOverrideCursor();

    // Without a cursor of the caller none is put up.
    bool overridden = true;
    onNextModal([&](QWidget* dlg) {
        overridden = QGuiApplication::overrideCursor() != nullptr;
        dlg->close();
    });
    msg.MsgInfo("m");
    QVERIFY(!overridden);
    QVERIFY(!QGuiApplication::overrideCursor());
}

void tst_message::buttonIndexOutOfRange()
{
    cMessage2& msg = module().message();
    for (int index : {-1, 3}) {
        try {
            msg.btnButton_Click(index);
            QFAIL("no bounds error");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), 9L);
            QCOMPARE(e.description(), QStringLiteral("Subscript out of range"));
        }
    }
}

QTEST_MAIN(tst_message)
#include "tst_message.moc"
