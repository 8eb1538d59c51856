#pragma once
#include <QCursor>
#include <QGuiApplication>

namespace NexoFrame::Controls {

// The wait cursor while the database works, put back however the work ends; nothing
// without a graphical application.
class WaitCursor {
public:
    WaitCursor() : m_on(qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr)
    {
        if (m_on) QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    }
    ~WaitCursor()
    {
        if (m_on) QGuiApplication::restoreOverrideCursor();
    }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;

private:
    bool m_on;
};

} // namespace NexoFrame::Controls
