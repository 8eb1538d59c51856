#include "Modules.h"
#include "ShellApplication.h"
#include "ShellOptions.h"
#include "ShellProgram.h"
#include <QCoreApplication>

int main(int argc, char** argv)
{
    using namespace NexoFrame;
    // A command that needs no window (help, registration, the reader role, a bad command
    // line) runs where there is no display: from cron, a systemd timer or an ssh session.
    QStringList arguments;
    for (int i = 0; i < argc; ++i) arguments << QString::fromLocal8Bit(argv[i]);
    if (Shell::windowless(arguments)) {
        Shell::ConsoleApplication app(argc, argv);
        return Shell::Program(Modules::defaultLibrary()).run(app.arguments());
    }
    Shell::Application app(argc, argv);
    Shell::Program program(Modules::defaultLibrary());
    return program.run(app.arguments());
}
