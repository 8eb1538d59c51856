#include "ShellNotices.h"
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
} // namespace

void setConsole(bool on) { g_console = on; }
bool console() { return g_console; }
QString last() { return g_last; }
void clearLast() { g_last.clear(); }

void error(QWidget* parent, const QString& text)
{
    g_last = text;
    if (g_console)
        toConsole(QStringLiteral("Hiba: "), text);
    else
        QMessageBox::critical(parent, QStringLiteral("Hiba"), text);
}

void warning(QWidget* parent, const QString& text)
{
    g_last = text;
    if (g_console)
        toConsole(QStringLiteral("Figyelem: "), text);
    else
        QMessageBox::warning(parent, QStringLiteral("Figyelem"), text);
}

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

} // namespace NexoFrame::Shell::Notices
