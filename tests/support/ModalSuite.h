#pragma once
#include "ModalDriver.h"
#include "Module.h"

#include <QObject>
#include <QTest>

namespace NexoFrame {

// A suite whose tests answer the module's dialogs. Each test starts with no answer queued and
// an empty error list, and must leave no answer queued or dropped; the error list and the
// system-edit flag a test leaves behind are reset for the next one. A suite with more to set
// up per test declares its own init() and calls ModalSuite::init() first.
class ModalSuite : public QObject {
    Q_OBJECT
protected slots:
    void init()
    {
        resetModalDriver();
        module().errors().Clear();
    }
    void cleanup()
    {
        if (module().session()) module().session()->setSystemEdit(false);
        module().errors().Clear();
        QCOMPARE(pendingModalActions(), 0);
        QCOMPARE(expiredModalActions(), 0);
    }
};

} // namespace NexoFrame
