// Holds the master lock of the database named on the command line (a file or a server
// URI) until it is killed, so that tests can meet a lock held by another process.
#include "Connection.h"

#include <QCoreApplication>
#include <QThread>
#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) return 2;
    QString err;
    auto c = NexoFrame::Connection::openDatabase(QString::fromLocal8Bit(argv[1]),
                                                 NexoFrame::Connection::DemoData::None, &err);
    if (!c || !c->transactions().lockMaster()) {
        std::printf("FAILED %s\n", qPrintable(err));
        return 1;
    }
    std::printf("LOCKED\n");
    std::fflush(stdout);
    for (;;) QThread::sleep(60);
}
