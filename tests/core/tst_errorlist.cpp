#include "ErrorList.h"
#include "ModalSuite.h"
#include "Module.h"
#include "frmErrorMessage.h"

#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

using namespace NexoFrame;

namespace {

const QColor kRed(255, 0, 0);

// What the list showed when it came up.
struct Seen {
    QString caption;
    QStringList rows;
    QList<bool> red;
    bool okShown = false;
    bool cancelShown = false;
};

void look(QWidget* dlg, Seen& seen)
{
    auto* form = qobject_cast<frmErrorMessage*>(dlg);
    QVERIFY(form);
    seen.caption = form->windowTitle();
    for (int row = 0; row < form->grd_error->rowCount(); ++row) {
        QTableWidgetItem* item = form->grd_error->item(row, 0);
        seen.rows << item->text();
        seen.red << (item->foreground().color() == kRed);
    }
    seen.okShown = form->cmdOK->isVisibleTo(form);
    seen.cancelShown = form->cmdCancel->isVisibleTo(form);
}

} // namespace

class tst_errorlist : public ModalSuite {
    Q_OBJECT

private slots:
    void emptyListShowsNothing();
    void anyErrorOffersOnlyCancel();
    void warningsAcceptedGoOn();
    void keysAndCloseBox();
    void formStartsAsCancelAndTakesTheErrors();
};

void tst_errorlist::emptyListShowsNothing()
{
    bool shown = false;
    onNextModal([&](QWidget* dlg) {
        shown = true;
        dlg->close();
    });
    QCOMPARE(ShowErrorList("Hiba lista"), false);
    QVERIFY(!shown);
    QCOMPARE(pendingModalActions(), 1); // nothing came up to take the answer
    resetModalDriver();
}

void tst_errorlist::anyErrorOffersOnlyCancel()
{
    AddError(eWarning, 10, "Az e-mail cím hiányzik.");
    AddError(eError, 10, "A név megadása kötelező!");
    AddError(eWarning, kLifecycleErrorNumber, "This element is temporary");
    QCOMPARE(module().errors().Count(), 3);
    QCOMPARE(module().errors().Item(2).Number(), 10L);

    Seen seen;
    bool stayedAfterCtrlEnter = false;
    onNextModal([&](QWidget* dlg) {
        look(dlg, seen);
        QTest::keyClick(dlg, Qt::Key_Return, Qt::ControlModifier);
        stayedAfterCtrlEnter = dlg->isVisible();
        QVERIFY(clickButton(dlg, "cmdCancel"));
    });
    QCOMPARE(ShowErrorList("Hiba lista"), true);
    QCOMPARE(seen.caption, QStringLiteral("Hiba lista"));
    QCOMPARE(seen.rows, (QStringList{"Az e-mail cím hiányzik.", "A név megadása kötelező!",
                                     "This element is temporary"}));
    QCOMPARE(seen.red, (QList<bool>{false, true, false}));
    QVERIFY(!seen.okShown);
    QVERIFY(seen.cancelShown);
    QVERIFY(stayedAfterCtrlEnter);
    QCOMPARE(module().errors().Count(), 0);
}

void tst_errorlist::warningsAcceptedGoOn()
{
    AddError(eWarning, 10, "Első figyelmeztetés");
    AddError(eWarning, 10, "Második figyelmeztetés");

    Seen seen;
    onNextModal([&](QWidget* dlg) {
        look(dlg, seen);
        QVERIFY(clickButton(dlg, "OK"));
    });
    QCOMPARE(ShowErrorList("Hiba lista"), false);
    QVERIFY(seen.okShown);
    QCOMPARE(seen.red, (QList<bool>{false, false}));
    QCOMPARE(module().errors().Count(), 0);

    // Warnings refused with cancel stop the caller all the same.
    AddError(eWarning, 10, "Figyelmeztetés");
    answerNextModal("Mégsem");
    QCOMPARE(ShowErrorList("Hiba lista"), true);
    QCOMPARE(module().errors().Count(), 0);
}

void tst_errorlist::keysAndCloseBox()
{
    // Ctrl+Enter accepts warnings, also when the grid has the focus.
    AddError(eWarning, 10, "Figyelmeztetés");
    onNextModal([](QWidget* dlg) {
        auto* form = qobject_cast<frmErrorMessage*>(dlg);
        QTest::keyClick(form->grd_error, Qt::Key_Return, Qt::ControlModifier);
    });
    QCOMPARE(ShowErrorList("Hiba lista"), false);

    // A plain Enter does not.
    AddError(eWarning, 10, "Figyelmeztetés");
    bool stayed = false;
    onNextModal([&](QWidget* dlg) {
        auto* form = qobject_cast<frmErrorMessage*>(dlg);
        form->cmdOK->setFocus();
        QTest::keyClick(form->cmdOK, Qt::Key_Return);
        stayed = dlg->isVisible();
        dlg->close();
    });
    QCOMPARE(ShowErrorList("Hiba lista"), true);
    QVERIFY(stayed);

    AddError(eWarning, 10, "Figyelmeztetés");
    onNextModal([](QWidget* dlg) { QTest::keyClick(dlg, Qt::Key_Escape); });
    QCOMPARE(ShowErrorList("Hiba lista"), true);

    AddError(eError, 10, "Hiba");
    closeNextModal();
    QCOMPARE(ShowErrorList("Hiba lista"), true);
    QCOMPARE(module().errors().Count(), 0);
}

void tst_errorlist::formStartsAsCancelAndTakesTheErrors()
{
    frmErrorMessage form;
    QCOMPARE(form.ReturnValue(), rvCancel);

    AddError(eError, 10, "Hiba");
    form.Initialize("Hiba lista");
    QCOMPARE(module().errors().Count(), 0);
    QCOMPARE(form.grd_error->rowCount(), 1);
    QVERIFY(form.hasErrors());

    // A second Initialize starts the grid afresh.
    AddError(eWarning, 10, "Csak figyelmeztetés");
    form.Initialize("Hiba lista");
    QCOMPARE(form.grd_error->rowCount(), 1);
    QVERIFY(!form.hasErrors());
    QVERIFY(form.cmdOK->isVisibleTo(&form));
}

QTEST_MAIN(tst_errorlist)
#include "tst_errorlist.moc"
