#pragma once
#include "Errors.h"
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

    Connection* connection() const { return m_connection; }
    void setConnection(Connection* c) { m_connection = c; }
    // Takes the host's connection, its system-edit flag and the current user.
    void takeSite(IAddinSite* site);
    int currentUserId() const { return m_currentUserId; }
    void setCurrentUserId(int id) { m_currentUserId = id; }
    QString currentUserName() const { return m_currentUserName; }
    void setCurrentUserName(const QString& n) { m_currentUserName = n; }

    // The language resources: created once, on the first attach, on section "COMMON".
    void initResources()
    {
        if (m_resourceLibrary.isEmpty()) {
            m_resourceLibrary = QStringLiteral("LangPackHUN.ResInterface");
            m_resourceSection = QStringLiteral("COMMON");
        }
    }
    QString resourceSection() const { return m_resourceSection; }

    // The system-edit flag, read from the connection at attach.
    bool systemEdit() const { return m_systemEdit; }
    void setSystemEdit(bool on) { m_systemEdit = on; }

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
    Connection* m_connection = nullptr;
    int m_currentUserId = -1;
    QString m_currentUserName;
    QString m_rightsDeniedText;
    QString m_currencyCode;
    QString m_resourceLibrary;
    QString m_resourceSection;
    bool m_systemEdit = false;
    const void* m_quitHookedApp = nullptr;   // the application whose quit releases the dialogs
};

inline Module& module() { return Module::instance(); }

} // namespace NexoFrame
