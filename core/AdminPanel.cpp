#include "AdminPanel.h"
#include "Access.h"
#include "Connection.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "RuntimeError.h"
#include "cMessage2.h"
#include <QGuiApplication>
#include <QLabel>
#include <QMessageBox>
#include <QVBoxLayout>

namespace NexoFrame {

Session& AdminPanel::session() const
{
    Session* s = m_site ? m_site->session() : nullptr;
    if (!s) throw RuntimeError(ModuleTexts::kNoSiteSession, 91);
    return *s;
}

AdminPanel::AdminPanel(const QString& progId, const QString& controlName, QWidget* parent)
    : QWidget(parent), m_progId(progId), m_controlName(controlName)
{
    Module::objectCreated();
    setObjectName(controlName);
    m_body = new QVBoxLayout(this);
    m_body->setContentsMargins(4, 4, 4, 4);
    m_body->setSpacing(2);
    m_title = new QLabel(this);
    m_title->setObjectName(QStringLiteral("ShortcutCaption"));
    QFont f = m_title->font();
    f.setBold(true);
    f.setPointSizeF(f.pointSizeF() * 1.3);
    m_title->setFont(f);
    m_title->setMargin(4);
    m_title->setAutoFillBackground(true);
    m_title->setBackgroundRole(QPalette::Mid);
    m_body->addWidget(m_title);
}

AdminPanel::~AdminPanel() { Module::objectDestroyed(); }

void AdminPanel::IAddin_SetVisualTheme(int) {}
void AdminPanel::IAddin_TimerEvent() {}

StepRunner AdminPanel::runner(const char* procedure)
{
    return StepRunner(m_progId + QLatin1Char(' ') + QString::fromLatin1(procedure), [this] {
        m_attaching = false;
        while (QGuiApplication::overrideCursor()) QGuiApplication::restoreOverrideCursor();
        setEnabled(true);
    });
}

void AdminPanel::IAddin_AttachToSite(IAddinSite* site, int mode, const QString& parameter)
{
    StepRunner r = runner("IAddin_AttachToSite");
    r.step([&] { m_attaching = true; });
    r.step([&] { setupCommandBar(); });
    r.step([&] {
        m_mode = mode;
        m_parameter = parameter;
    });
    r.step([&] { applyMode(); });
    r.step([&] { m_site = site; });
    r.step([&] { module().takeSite(site); });
    r.step([&] { module().initResources(); });
    r.step([&] {
        Session& s = session();
        if (s.userNameRead()) return;
        QString name;
        if (s.connection().seek(Tables::User, QStringLiteral("PrimaryKey"), {s.userId()}))
            name = s.connection().browseRecordset(Tables::User).field(QStringLiteral("user_name")).toString();
        s.setUserName(name);
    });
    r.step([&] {
        StepRunner a = runner("GetAuthorisation");
        a.step([&] { GetAuthorisation(); });
    });
    r.step([&] { InitializePanel(); });
    r.step([&] {
        StepRunner s = runner("InitializeSite");
        s.step([&] { InitializeSite(); });
    });
    m_attaching = false;
}

void AdminPanel::IAddin_OnVerb(int verb)
{
    if (verb == 1000) {
        QMessageBox box(QMessageBox::NoIcon, QString(), QStringLiteral("Király"), QMessageBox::Ok, this);
        box.exec();
        return;
    }
    // The host's verbs are compared with text labels; every other number fails the
    // conversion, and the host gets the type mismatch.
    throw RuntimeError(QStringLiteral("Type mismatch"), kTypeMismatch, m_progId + QStringLiteral(" IAddin_OnVerb"));
}

void AdminPanel::IAddin_RemoveFromSite() { m_site = nullptr; }

bool AdminPanel::testRight(const QString& key)
{
    Session* s = m_site ? m_site->session() : nullptr;
    const bool granted = s && s->may(key);
    if (!granted) module().message().MsgWarning(module().rightsDeniedText());
    return granted;
}

} // namespace NexoFrame
