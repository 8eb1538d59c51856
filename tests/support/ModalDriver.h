#pragma once
#include <QString>
#include <functional>

class QAbstractButton;
class QWidget;

namespace NexoFrame {

// Answers modal dialogs in tests. Queue the answers before the code under test opens its
// dialogs; each action runs once, in the order queued, on the next modal widget that appears
// (QApplication::activeModalWidget()), from inside that dialog's own event loop.
//
// - The same dialog object shown again (the shared message box) counts as a new dialog.
// - A dialog opened by an action (or by the code after it) gets the next queued answer, so a
//   chain of dialogs is answered by queuing one action per dialog.
// - An action must close its dialog or open another one over it. A dialog is not answered
//   twice in a row while it stays up, unless another dialog has come up over it in between:
//   a form whose OK opens the error list and stays open takes the answer after the list's.
// - An action that finds no dialog within timeoutMs of becoming the next in line is dropped
//   and counted in expiredModalActions(), and the running test function fails.
// - A modal dialog left up without an answer for ten seconds (nothing queued for it, or its
//   action failed before closing it) is closed and the running test function fails, so a
//   missing answer shows as a failure instead of a hung test.
using ModalAction = std::function<void(QWidget* dialog)>;
void onNextModal(ModalAction action, int timeoutMs = 5000);

// Shorthands: press a button of the next dialog, or close it with its close box.
void answerNextModal(const QString& objectNameOrText, int timeoutMs = 5000);
void closeNextModal(int timeoutMs = 5000);

int pendingModalActions();   // queued and not yet run
int expiredModalActions();   // dropped for want of a dialog since the last reset
void resetModalDriver();     // forget queued actions and counters

// The button of dlg by object name, or by caption with the '&' markers ignored ("Igen"
// finds "&Igen"). Only buttons the dialog shows are found.
QAbstractButton* findButton(QWidget* dlg, const QString& objectNameOrText);
// Clicks it; false (with a warning naming the buttons there are) when there is none.
bool clickButton(QWidget* dlg, const QString& objectNameOrText);
// The texts of the labels the dialog shows, one per line, in creation order.
QString dialogText(QWidget* dlg);

} // namespace NexoFrame
