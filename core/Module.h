#pragma once
#include "Errors.h"
#include "Session.h"
#include <QString>
#include <memory>

namespace NexoFrame {

class Connection;
class IAddinSite;
class cMessage2;
class ErrorHandler;

// The module-wide objects, created once when the library starts and shared by every
// panel, record and dialog.
class Module {
public:
    static Module& instance();

    Errors& errors() { return m_errors; }
    cMessage2& message();
    ErrorHandler& errorHandler();

    // The session of the host that placed the module's panels: its connection, user and
    // system-edit flag are read from it, never copied, so a change there is seen here.
    Session* session() const { return m_session; }
    void takeSite(IAddinSite* site);
    Connection* connection() const { return m_session ? &m_session->connection() : nullptr; }
    // Works on the connection's own session (a module used without a host site).
    void setConnection(Connection* c);
    int currentUserId() const { return m_session ? m_session->userId() : -1; }
    void setCurrentUserId(int id) { if (m_session) m_session->setUserId(id); }
    QString currentUserName() const { return m_session ? m_session->userName() : QString(); }

    // The language resources: created once, on the first attach, on section "COMMON".
    void initResources()
    {
        if (m_resourceLibrary.isEmpty()) {
            m_resourceLibrary = QStringLiteral("LangPackHUN.ResInterface");
            m_resourceSection = QStringLiteral("COMMON");
        }
    }
    QString resourceSection() const { return m_resourceSection; }

    bool systemEdit() const { return m_session && m_session->systemEdit(); }

    QString rightsDeniedText() const { return m_rightsDeniedText; }
    QString currencyCode() const { return m_currencyCode; }

    // Objects the module created that are still alive (for the can-unload question).
    static void objectCreated();
    static void objectDestroyed();
    static int liveObjects();

private:
    Module();
    ~Module();
    void releaseDialogsOnQuit();

    Errors m_errors;
    std::unique_ptr<cMessage2> m_message;
    std::unique_ptr<ErrorHandler> m_errorHandler;
    Session* m_session = nullptr;
    QString m_rightsDeniedText;
    QString m_currencyCode;
    QString m_resourceLibrary;
    QString m_resourceSection;
    const void* m_quitHookedApp = nullptr;   // the application whose quit releases the dialogs
};

inline Module& module() { return Module::instance(); }

} // namespace NexoFrame
