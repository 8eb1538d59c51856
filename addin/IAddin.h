#pragma once
#include <QString>
#include <QtPlugin>

class QObject;

namespace NexoFrame {

class Session;

// What a panel needs of the host that placed it.
class IAddinSite {
public:
    virtual ~IAddinSite() = default;
    // The host's session: the connection, the logged-in user and the system-edit flag.
    virtual Session* session() = 0;
    // An object of a registered class (a report, say), as the host creates it by ProgID;
    // nullptr with the reason when it cannot. The caller owns the object.
    virtual QObject* createObject(const QString& progId, QString* error)
    {
        if (error) *error = QStringLiteral("A keretprogram nem hoz létre objektumot (%1).").arg(progId);
        return nullptr;
    }
};

// The host add-in contract every panel implements; members in the host's order.
class IAddin {
public:
    virtual ~IAddin() = default;
    virtual void IAddin_SetVisualTheme(int theme) = 0;
    virtual void IAddin_TimerEvent() = 0;
    virtual void IAddin_AttachToSite(IAddinSite* site, int mode, const QString& parameter) = 0;
    virtual void IAddin_OnVerb(int verb) = 0;
    virtual void IAddin_RemoveFromSite() = 0;
};

} // namespace NexoFrame

#define NexoFrame_IAddin_iid "hu.quandra.NexoFrame.IAddin/1.0"
Q_DECLARE_INTERFACE(NexoFrame::IAddin, NexoFrame_IAddin_iid)
