#include "ShellApplication.h"
#include "Modules.h"
#include "ShellProgram.h"

int main(int argc, char** argv)
{
    NexoFrame::Shell::Application app(argc, argv);
    NexoFrame::Shell::Program program(NexoFrame::Modules::defaultLibrary());
    return program.run(app.arguments());
}
