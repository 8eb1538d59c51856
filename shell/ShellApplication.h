#pragma once
#include <QApplication>
#include <QTranslator>

namespace NexoFrame::Shell {

// The shell's application object: Hungarian throughout, also in Qt's own dialogs and
// context menus, and an exception a panel lets escape from an event handler or slot is
// shown to the user instead of ending the program.
class Application : public QApplication {
    Q_OBJECT
public:
    Application(int& argc, char** argv);
    bool notify(QObject* receiver, QEvent* event) override;

private:
    QTranslator m_qtTexts;
};

// The same for a command that needs no window: no display, no widgets, Hungarian all the same.
class ConsoleApplication : public QCoreApplication {
    Q_OBJECT
public:
    ConsoleApplication(int& argc, char** argv);
};

} // namespace NexoFrame::Shell
