#pragma once
#include "ErrorHandler.h"
#include "IAddin.h"
#include "Session.h"
#include <QWidget>
#include <array>

class QLabel;
class QVBoxLayout;

namespace NexoFrame {

// The frame every administration panel shares: the host contract, the attach sequence,
// the rights test of the commands and the error path of every procedure.
class AdminPanel : public QWidget, public IAddin {
    Q_OBJECT
    Q_INTERFACES(NexoFrame::IAddin)
    Q_PROPERTY(QString UserControlName READ UserControlName)

public:
    // progId: "NexoFrame.AuthUnits"; controlName: "AuthUnits".
    AdminPanel(const QString& progId, const QString& controlName, QWidget* parent = nullptr);
    ~AdminPanel() override;

    void IAddin_SetVisualTheme(int theme) override;
    void IAddin_TimerEvent() override;
    void IAddin_AttachToSite(IAddinSite* site, int mode, const QString& parameter) override;
    void IAddin_OnVerb(int verb) override;
    void IAddin_RemoveFromSite() override;

    QString UserControlName() const { return m_controlName; }
    QString progId() const { return m_progId; }
    IAddinSite* Site() const { return m_site; }
    // The session of the site the panel is attached to: its connection, user and flags.
    // Throws RuntimeError when the panel has none (not attached, or the host gave none).
    Session& session() const;
    Connection& connection() const { return session().connection(); }
    int mode() const { return m_mode; }
    QString parameter() const { return m_parameter; }
    bool attaching() const { return m_attaching; }
    bool right(int i) const { return m_rights[i]; }

    QLabel* titleLabel() const { return m_title; }

signals:
    // The panel has written to a table (by its number); the host may show it at once.
    void tableChanged(int table);

protected:
    // Steps of the attach sequence the panels fill in.
    virtual void setupCommandBar() {}
    virtual void applyMode() {}
    virtual void GetAuthorisation() { m_rights = {false, false, false}; }
    virtual void InitializePanel() {}
    virtual void InitializeSite() = 0;

    // A procedure's steps under the error handler, with the source "<ProgID> <procedure>".
    StepRunner runner(const char* procedure);
    // A procedure of one step (a command, a control's event) under the error handler.
    void runStep(const char* procedure, const std::function<void()>& fn) { runner(procedure).step(fn); }
    // Asks the connection; a refusal shows the rights-denied text and answers false.
    bool testRight(const QString& key);

    QVBoxLayout* body() const { return m_body; }
    std::array<bool, 3> m_rights{};

private:
    QString m_progId;
    QString m_controlName;
    IAddinSite* m_site = nullptr;
    int m_mode = 0;
    QString m_parameter;
    bool m_attaching = false;
    QLabel* m_title = nullptr;
    QVBoxLayout* m_body = nullptr;
};

} // namespace NexoFrame
