#include "Module.h"
#include "ModuleTexts.h"
#include "Connection.h"
#include "ErrorHandler.h"
#include "IAddin.h"
#include "RuntimeError.h"
#include "cMessage2.h"

#include <QCoreApplication>
#include <atomic>

namespace NexoFrame {

namespace {
std::atomic<int> g_liveObjects{0};
} // namespace

Module& Module::instance()
{
    static Module module;
    return module;
}

void Module::takeSite(IAddinSite* site)
{
    if (!site || !site->session())
        throw RuntimeError(ModuleTexts::kNoSiteSession, 91);
    m_session = site->session();
}

void Module::setConnection(Connection* c) { m_session = c ? &c->session() : nullptr; }

Module::Module()
    : m_rightsDeniedText(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")),
      m_currencyCode(QStringLiteral("HUF"))
{
}

Module::~Module()
{
    // Widgets may only be deleted while the application object lives. Past it (a process
    // that never ran the event loop) the dialogs are left to the end of the process.
    if (!QCoreApplication::instance()) {
        (void)m_message.release();
        (void)m_errorHandler.release();
    }
}

void Module::releaseDialogsOnQuit()
{
    if (!QCoreApplication::instance() || m_quitHookedApp == QCoreApplication::instance())
        return;
    m_quitHookedApp = QCoreApplication::instance();
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                     QCoreApplication::instance(), [this] {
                         m_message.reset();
                         m_errorHandler.reset();
                     });
}

cMessage2& Module::message()
{
    if (!m_message) {
        m_message = std::make_unique<cMessage2>();
        releaseDialogsOnQuit();
    }
    return *m_message;
}

ErrorHandler& Module::errorHandler()
{
    if (!m_errorHandler) {
        m_errorHandler = std::make_unique<ErrorHandler>();
        releaseDialogsOnQuit();
    }
    return *m_errorHandler;
}

void Module::objectCreated()
{
    ++g_liveObjects;
}

void Module::objectDestroyed()
{
    --g_liveObjects;
}

int Module::liveObjects()
{
    return g_liveObjects.load();
}

} // namespace NexoFrame
