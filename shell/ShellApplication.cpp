#include "ShellApplication.h"
#include "ShellNotices.h"
#include "StandardIcon.h"
#include <QLibraryInfo>
#include <QLocale>

namespace NexoFrame::Shell {

namespace {

// What both kinds of application are called, and their language.
void nameAndLanguage()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Quandra"));
    QCoreApplication::setApplicationName(QStringLiteral("NexoFrame"));
    QLocale::setDefault(QLocale(QLocale::Hungarian, QLocale::Hungary));
}

} // namespace

ConsoleApplication::ConsoleApplication(int& argc, char** argv) : QCoreApplication(argc, argv)
{
    nameAndLanguage();
    Notices::setConsole(true);
}

Application::Application(int& argc, char** argv) : QApplication(argc, argv)
{
    nameAndLanguage();
    // Desktops match the window to the installed entry (and its icon) by this name.
    setDesktopFileName(QStringLiteral("nexoframe"));
    const QLocale hungarian(QLocale::Hungarian, QLocale::Hungary);
    if (m_qtTexts.load(hungarian, QStringLiteral("qtbase"), QStringLiteral("_"),
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        installTranslator(&m_qtTexts);
    Controls::keepStyleIcons();
}

bool Application::notify(QObject* receiver, QEvent* event)
{
    bool handled = false;
    guarded(activeWindow(), QStringLiteral("Egy panel működése közben hiba történt."),
            [&] { handled = QApplication::notify(receiver, event); });
    return handled;
}

} // namespace NexoFrame::Shell
