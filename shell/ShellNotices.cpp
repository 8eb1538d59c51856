#include "ShellNotices.h"
#include "Access.h"
#include "DbError.h"
#include "LockQuestion.h"
#include "RuntimeError.h"
#include "Texts.h"
#include <QMessageBox>
#include <cstdio>

namespace NexoFrame::Shell::Notices {

namespace {
bool g_console = false;
QString g_last;

void toConsole(const QString& prefix, const QString& text)
{
    std::fputs(qUtf8Printable(prefix + text + QLatin1Char('\n')), stderr);
    std::fflush(stderr);
}

using MessageBox = QMessageBox::StandardButton (*)(QWidget*, const QString&, const QString&, QMessageBox::StandardButtons,
                                                   QMessageBox::StandardButton);

// A notice on the console ("<caption>: text") or in a message box of its kind.
void notify(QWidget* parent, const QString& caption, const QString& text, MessageBox box)
{
    g_last = text;
    if (g_console)
        toConsole(caption + QStringLiteral(": "), text);
    else
        box(parent, caption, text, QMessageBox::Ok, QMessageBox::NoButton);
}
} // namespace

void setConsole(bool on) { g_console = on; }
bool console() { return g_console; }
QString last() { return g_last; }
void clearLast() { g_last.clear(); }

void error(QWidget* parent, const QString& text) { notify(parent, QStringLiteral("Hiba"), text, &QMessageBox::critical); }

void warning(QWidget* parent, const QString& text) { notify(parent, QStringLiteral("Figyelem"), text, &QMessageBox::warning); }

void info(const QString& text)
{
    std::fputs(qUtf8Printable(text + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

Transactions::AskAgain lockQuestion(QWidget* parent)
{
    if (g_console) return {};
    return [parent] { return QMessageBox::question(parent, QStringLiteral("Figyelem"), LockQuestion::text()) == QMessageBox::Yes; };
}

QString describe(std::exception_ptr e)
{
    try {
        std::rethrow_exception(e);
    } catch (const RuntimeError& r) {
        QString text = r.description().isEmpty() ? Texts::kUnexpectedError : r.description();
        if (r.number() != 0) text += QStringLiteral("\nHibakód: %1").arg(r.number());
        if (!r.source().isEmpty()) text += QStringLiteral("\nForrás: %1").arg(r.source());
        return text;
    } catch (const DbError& d) {
        return QStringLiteral("Adatbázishiba: %1").arg(d.message());
    } catch (const std::exception& x) {
        return QString::fromUtf8(x.what());
    } catch (...) {
        return QStringLiteral("Ismeretlen hiba történt.");
    }
}

bool allowed(QWidget* parent, Connection& c, int userId, const QString& right, const QString& what)
{
    if (rightsTest(c, userId, right)) return true;
    error(parent, QStringLiteral("Nincs joga %1.").arg(what));
    return false;
}

} // namespace NexoFrame::Shell::Notices
