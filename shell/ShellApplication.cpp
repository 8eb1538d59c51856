#include "ShellApplication.h"
#include "ShellNotices.h"
#include <QLibraryInfo>
#include <QLocale>

namespace NexoFrame::Shell {

Application::Application(int& argc, char** argv) : QApplication(argc, argv)
{
    setOrganizationName(QStringLiteral("Quandra"));
    setApplicationName(QStringLiteral("NexoFrame"));
    // Desktops match the window to the installed entry (and its icon) by this name.
    setDesktopFileName(QStringLiteral("nexoframe"));
    const QLocale hungarian(QLocale::Hungarian, QLocale::Hungary);
    QLocale::setDefault(hungarian);
    if (m_qtTexts.load(hungarian, QStringLiteral("qtbase"), QStringLiteral("_"),
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        installTranslator(&m_qtTexts);
}

bool Application::notify(QObject* receiver, QEvent* event)
{
    bool handled = false;
    guarded(activeWindow(), QStringLiteral("Egy panel működése közben hiba történt."),
            [&] { handled = QApplication::notify(receiver, event); });
    return handled;
}

} // namespace NexoFrame::Shell
