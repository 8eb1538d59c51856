#include "Factory.h"
#include "AuthUnits.h"
#include "LogsViewer.h"
#include "Menus.h"
#include "OLAPReports.h"
#include "ReportAuthorizations.h"
#include "Reports.h"
#include "ListWizrads.h"
#include "RightsExplorer.h"
#include "cDDXOlapReport.h"
#include "Nexo.h"
#include "UserMenu.h"
#include "Users.h"
#include "cDDXUser.h"
#include "cDDXUserGroup.h"
#include "cDDXAuthUnit.h"
#include "cDDXMenu.h"
#include <QWidget>
#include <functional>

namespace NexoFrame::Factory {

namespace {

struct Entry {
    const char* progId;
    const char* className;
    std::function<QObject*(QObject*)> make;
};

QWidget* asParent(QObject* o) { return qobject_cast<QWidget*>(o); }

const QList<Entry>& entries()
{
    static const QList<Entry> e{
        {"NexoFrame.AuthUnits", "AuthUnits", [](QObject* p) -> QObject* { return new AuthUnits(asParent(p)); }},
        {"NexoFrame.cDDXAuthUnit", "cDDXAuthUnit", [](QObject* p) -> QObject* { return new cDDXAuthUnit(p); }},
        {"NexoFrame.Users", "Users", [](QObject* p) -> QObject* { return new Users(asParent(p)); }},
        {"NexoFrame.cDDXUserGroup", "cDDXUserGroup", [](QObject* p) -> QObject* { return new cDDXUserGroup(p); }},
        {"NexoFrame.cDDXUser", "cDDXUser", [](QObject* p) -> QObject* { return new cDDXUser(p); }},
        {"NexoFrame.OLAPReports", "OLAPReports", [](QObject* p) -> QObject* { return new OLAPReports(asParent(p)); }},
        {"NexoFrame.cDDXOlapReport", "cDDXOlapReport", [](QObject* p) -> QObject* { return new cDDXOlapReport(p); }},
        {"NexoFrame.LogsViewer", "LogsViewer", [](QObject* p) -> QObject* { return new LogsViewer(asParent(p)); }},
        {"NexoFrame.Reports", "Reports", [](QObject* p) -> QObject* { return new Reports(asParent(p)); }},
        {"NexoFrame.ReportAuthorizations", "ReportAuthorizations",
         [](QObject* p) -> QObject* { return new ReportAuthorizations(asParent(p)); }},
        {"NexoFrame.ListWizrads", "ListWizrads", [](QObject* p) -> QObject* { return new ListWizrads(asParent(p)); }},
        {"NexoFrame.ListWizradAuths", "ListWizradAuths", [](QObject* p) -> QObject* { return new ListWizradAuths(asParent(p)); }},
        {"NexoFrame.RightsExplorer", "RightsExplorer", [](QObject* p) -> QObject* { return new RightsExplorer(asParent(p)); }},
        {"NexoFrame.Menus", "Menus", [](QObject* p) -> QObject* { return new Menus(asParent(p)); }},
        {"NexoFrame.cDDXMenu", "cDDXMenu", [](QObject* p) -> QObject* { return new cDDXMenu(p); }},
        {"NexoFrame.UserMenu", "UserMenu", [](QObject* p) -> QObject* { return new UserMenu(p); }},
        {"NexoFrame.Nexo", "Nexo", [](QObject* p) -> QObject* { return new Nexo(p); }},
    };
    return e;
}

} // namespace

QStringList progIds()
{
    QStringList l;
    for (const Entry& e : entries()) l << QString::fromLatin1(e.progId);
    return l;
}

QString className(const QString& progId)
{
    for (const Entry& e : entries())
        if (progId.compare(QLatin1String(e.progId), Qt::CaseInsensitive) == 0) return QString::fromLatin1(e.className);
    return {};
}

QObject* create(const QString& progId, QObject* parent)
{
    for (const Entry& e : entries())
        if (progId.compare(QLatin1String(e.progId), Qt::CaseInsensitive) == 0) return e.make(parent);
    return nullptr;
}

} // namespace NexoFrame::Factory
