#include "ShellApplication.h"
#include "ShellModules.h"
#include "ShellProgram.h"

int main(int argc, char** argv)
{
    NexoFrame::Shell::Application app(argc, argv);
    NexoFrame::Shell::Program program(NexoFrame::Shell::Modules::defaultLibrary());
    return program.run(app.arguments());
}
