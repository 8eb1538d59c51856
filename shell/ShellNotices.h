#pragma once
#include "Connection.h"
#include <QString>
#include <exception>

class QWidget;

namespace NexoFrame::Shell {

// Where the shell's messages go: message boxes for a person at the screen, the console when
// the shell runs unattended (--user, --screenshot), so that nothing waits for a click.
namespace Notices {

void setConsole(bool on);
bool console();

void error(QWidget* parent, const QString& text);
void warning(QWidget* parent, const QString& text);
void info(const QString& text);   // console only: progress of command-line actions
// What a write asks when another user keeps the database locked: the question every write
// asks; on the console nobody is there to answer, so the write gives up.
Transactions::AskAgain lockQuestion(QWidget* parent);

// The last error or warning text, so that callers and tests can tell what was said.
QString last();
void clearLast();

// The user-facing description of a caught exception of any kind the panels may throw.
QString describe(std::exception_ptr e);

// Whether the user holds `right`; if not, says so: "Nincs joga <what>." (`what` such as
// "a naplók karbantartásához").
bool allowed(QWidget* parent, Connection& c, int userId, const QString& right, const QString& what);

} // namespace Notices

// Runs a call into a panel or module; any exception becomes an error message that starts
// with `what`, and the shell goes on. Returns false when the call threw.
template <class F>
bool guarded(QWidget* parent, const QString& what, F&& call)
{
    try {
        call();
        return true;
    } catch (...) {
        Notices::error(parent, what + QStringLiteral("\n\n") + Notices::describe(std::current_exception()));
        return false;
    }
}

} // namespace NexoFrame::Shell
