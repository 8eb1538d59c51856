// One user saving records through the record lifecycle, for the many-users tests and the
// concurrency benchmark:
//
//   nexo_writer TARGET WRITER SAVES SHARED_IDS [--hold] [--wait]
//
// Even saves insert a unit named "w<WRITER>-<i>" under parent 501; odd saves load one of
// the shared rows (comma-separated ids), rename it "w<WRITER>-<i>" and save it. The lock
// question is answered "Igen" at once, as a patient user would. Each write records, under
// the lock and in the same transaction, the row and the writer in nexo_test_history when
// that table exists, so that the order of the writes can be checked afterwards.
// With --hold the first write stops after its row is written, before the commit, prints
// "WRITTEN <id>" and waits to be killed. With --wait it prints "READY" once the database is
// open and starts when a line comes on its input, so that several start at one moment.
// Prints "DONE <saves> <ms>" at the end.
#include "Connection.h"
#include "ModalDriver.h"
#include "Module.h"
#include "cDDXAuthUnit.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QTimer>
#include <cstdio>
#include <iostream>
#include <string>

using namespace NexoFrame;

namespace {

bool g_hold = false;
bool g_history = false;

class TrackedUnit : public cDDXAuthUnit {
protected:
    bool afterNativeWrite() override
    {
        if (g_history
            && !connection()->execute("INSERT INTO nexo_test_history (seq, row_id, user_id, token) VALUES "
                                      "((SELECT COALESCE(MAX(seq), 0) + 1 FROM nexo_test_history), ?, ?, ?)",
                                      {id(), module().currentUserId(), name()}))
            return false;
        if (g_hold) {
            std::printf("WRITTEN %d\n", id());
            std::fflush(stdout);
            for (;;) QThread::sleep(60);
        }
        return true;
    }
};

[[noreturn]] void fail(const QString& what)
{
    QStringList errors;
    for (const Error& e : module().errors()) errors << e.description();
    std::printf("FAILED %s %s\n", qPrintable(what), qPrintable(errors.join(" | ")));
    std::fflush(stdout);
    std::exit(1);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 5) {
        std::fprintf(stderr, "usage: nexo_writer TARGET WRITER SAVES SHARED_IDS [--hold] [--wait]\n");
        return 2;
    }
    const QString target = args[1];
    const int writer = args[2].toInt();
    const int saves = args[3].toInt();
    QList<int> shared;
    for (const QString& s : args[4].split(',', Qt::SkipEmptyParts)) shared << s.toInt();
    g_hold = args.contains("--hold");

    QString err;
    auto c = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!c) fail(err);
    module().setConnection(c.get());
    module().setCurrentUserId(1000 + writer);
    g_history = c->engine().tables(c->db()).contains("nexo_test_history");

    QTimer patience;
    QObject::connect(&patience, &QTimer::timeout, [] {
        if (QWidget* dlg = QApplication::activeModalWidget()) clickButton(dlg, QStringLiteral("Igen"));
    });
    patience.start(5);

    if (args.contains("--wait")) {
        std::printf("READY\n");
        std::fflush(stdout);
        std::string go;
        std::getline(std::cin, go);
    }
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < saves; ++i) {
        const QString name = QStringLiteral("w%1-%2").arg(writer).arg(i);
        TrackedUnit u;
        if (i % 2 == 1 && !shared.isEmpty()) {
            const int id = shared[(i / 2 + writer) % shared.size()];
            if (!u.CoreLoad(id)) fail(QStringLiteral("load %1").arg(id));
            u.set_name(name);
            if (!u.SetFinal()) fail(name);
            u.SetModified();
        } else {
            u.set_parent_id(501);
            u.set_name(name);
            u.set_prefix(QStringLiteral("many_users"));
            if (!u.SetFinal()) fail(name);
        }
        if (!u.CoreUpdate()) fail(name);
    }
    std::printf("DONE %d %lld\n", saves, timer.elapsed());
    module().setConnection(nullptr);
    return 0;
}
