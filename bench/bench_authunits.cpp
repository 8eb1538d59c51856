// The rights tree on 100,000 units: attach and a tick over 10,000 descendants, per engine.
#include "AuthUnits.h"
#include "Schema.h"
#include "TreeBench.h"

int main(int argc, char** argv)
{
    using namespace NexoFrame;
    return Bench::runTreeBench(argc, argv,
                               {Tables::AuthUnit, QStringLiteral("name"), QStringLiteral("Jogosultság"),
                                QStringLiteral(",prefix"), QStringLiteral(",'bench'"),
                                [] { return std::make_unique<AuthUnits>(); }});
}
