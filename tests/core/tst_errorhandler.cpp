#include "ErrorHandler.h"
#include "ModalSuite.h"
#include "Module.h"
#include "cMessage2.h"

#include <QLabel>
#include <QtTest>
#include <stdexcept>

using namespace NexoFrame;

namespace {

const QString kSource = QStringLiteral("NexoFrame.AuthUnits InitializeSite");

// What the handler showed when it came up.
struct Seen {
    QString caption, text, source, number, description;
};

ModalAction answer(const QString& button, Seen* seen = nullptr)
{
    return [button, seen](QWidget* dlg) {
        auto* handler = qobject_cast<ErrorHandler*>(dlg);
        QVERIFY(handler);
        if (seen)
            *seen = {dlg->windowTitle(), dialogText(dlg), handler->lblSource->text(),
                     handler->lblNumber->text(), handler->lblDescription->text()};
        QVERIFY(clickButton(dlg, button));
    };
}

} // namespace

class tst_errorhandler : public ModalSuite {
    Q_OBJECT

private slots:
    void retryRunsTheStepAgain();
    void resumeGoesOnWithTheNextStep();
    void leaveStopsTheProcedure();
    void otherExceptionsAreReportedToo();
    void handlerOverAnotherDialog();
};

void tst_errorhandler::retryRunsTheStepAgain()
{
    int cleanups = 0, runs = 0;
    StepRunner runner(kSource, [&] { ++cleanups; });

    Seen seen;
    onNextModal(answer("Újra", &seen));
    const bool goesOn = runner.step([&] {
        if (++runs == 1)
            throw RuntimeError("Az objektum nem található.", 91, "AuthUnits");
    });
    QVERIFY(goesOn);
    QCOMPARE(runs, 2);
    QCOMPARE(cleanups, 1);
    QVERIFY(!runner.left());
    QCOMPARE(seen.caption, QStringLiteral("Hibakezelő"));
    QVERIFY(seen.text.contains("Váratlan hiba történt."));
    QCOMPARE(seen.source, kSource); // the runner's source replaces the error's own
    QCOMPARE(seen.number, QStringLiteral("91"));
    QCOMPARE(seen.description, QStringLiteral("Az objektum nem található."));
}

void tst_errorhandler::resumeGoesOnWithTheNextStep()
{
    QStringList done;
    StepRunner runner(kSource);
    onNextModal(answer("Folytatás"));
    QVERIFY(runner.step([&] {
        done << "első";
        throw RuntimeError("hiba", 5);
        done << "soha";
    }));
    QVERIFY(runner.step([&] { done << "második"; }));
    QCOMPARE(done, (QStringList{"első", "második"}));
    QVERIFY(!runner.left());
}

void tst_errorhandler::leaveStopsTheProcedure()
{
    for (bool byCloseBox : {false, true}) {
        int later = 0;
        StepRunner runner(kSource);
        if (byCloseBox)
            closeNextModal();
        else
            onNextModal(answer("Kilépés"));
        QVERIFY(!runner.step([] { throw RuntimeError("hiba", 5); }));
        QVERIFY(runner.left());
        QVERIFY(!runner.step([&] { ++later; }));
        QVERIFY(!runner.step([&] { ++later; }));
        QCOMPARE(later, 0);
    }
}

void tst_errorhandler::otherExceptionsAreReportedToo()
{
    StepRunner runner(kSource);
    Seen seen;
    onNextModal(answer("Folytatás", &seen));
    QVERIFY(runner.step([] { throw std::runtime_error("nincs kapcsolat"); }));
    QCOMPARE(seen.description, QStringLiteral("nincs kapcsolat"));
    QCOMPARE(seen.source, kSource);

    onNextModal(answer("Kilépés"));
    QVERIFY(!runner.step([] { throw 42; }));
    QVERIFY(runner.left());
}

void tst_errorhandler::handlerOverAnotherDialog()
{
    // A step fails while a message box is up: the handler opens over the box, takes its
    // answer, and the box, still open, takes the answer queued after it.
    cMessage2& msg = module().message();
    StepRunner runner(kSource);
    int runs = 0;
    onNextModal([&](QWidget* dlg) {
        QCOMPARE(dlg, static_cast<QWidget*>(&msg));
        onNextModal(answer("Újra"));
        onNextModal([](QWidget* again) { QVERIFY(clickButton(again, "Igen")); });
        runner.step([&] {
            if (++runs == 1)
                throw RuntimeError("hiba", 5);
        });
    });
    QCOMPARE(msg.MsgQuestionYesNo("Folytatja?"), 2);
    QCOMPARE(runs, 2);

    // The shared box shown twice in a row takes two answers.
    answerNextModal("Nem");
    answerNextModal("Igen");
    QCOMPARE(msg.MsgQuestionYesNo("Első?"), 3);
    QCOMPARE(msg.MsgQuestionYesNo("Második?"), 2);
}

QTEST_MAIN(tst_errorhandler)
#include "tst_errorhandler.moc"
