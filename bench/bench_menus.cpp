// The menu tree on 100,000 items: attach and a tick over 10,000 descendants, per engine.
#include "Menus.h"
#include "Schema.h"
#include "TreeBench.h"

int main(int argc, char** argv)
{
    using namespace NexoFrame;
    return Bench::runTreeBench(argc, argv,
                               {Tables::Menu, QStringLiteral("caption"), QStringLiteral("Menüpont"),
                                QStringLiteral(",access_key,class_name"), QStringLiteral(",'M',''"),
                                [] { return std::make_unique<Menus>(); }});
}
