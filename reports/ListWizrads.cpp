#include "ListWizrads.h"
#include "Access.h"
#include "Connection.h"
#include "ControlTexts.h"
#include "ListWizard.h"
#include "LockRetry.h"
#include "Module.h"
#include "RuntimeError.h"
#include "ReportCatalogue.h"
#include "Recordset.h"
#include "RightsKeys.h"
#include <QDir>
#include <QLabel>
#include <QVBoxLayout>
#include <QStyle>
#include <QTreeWidgetItem>

namespace NexoFrame {

ListWizrads::ListWizrads(QWidget* parent) : AdminPanel(QStringLiteral("Velmont.ListWizrads"), QStringLiteral("ListWizrads"), parent)
{
    ctl_wizard = new Controls::ListWizard(this);
    ctl_wizard->setObjectName(QStringLiteral("ctl_wizard"));
    // The wizard's writes ask what every write of the module asks.
    ctl_wizard->setLockQuestion(lockQuestion());
    body()->addWidget(ctl_wizard, 1);
}

const QList<std::pair<QString, QByteArray>>& ListWizrads::rights()
{
    static const QList<std::pair<QString, QByteArray>> list{
        {RightsKeys::kListEdit, "CanEdit"},
        {RightsKeys::kListEditAll, "CanEditAll"},
        {RightsKeys::kListPrint, "CanPrint"},
        {RightsKeys::kListExport, "CanExport"},
        {RightsKeys::kListParameters, "CanSetParameters"}};
    return list;
}

QString ListWizrads::workFolder() const
{
    return QDir(connection().databaseFolder()).filePath(QStringLiteral("ListWizard"));
}

void ListWizrads::InitializeSite()
{
    titleLabel()->setText(ControlTexts::kListWizard);
    Connection* c = &connection();
    for (const auto& [key, property] : rights())
        ctl_wizard->setProperty(property.constData(), session().may(key));
    const QString folder = workFolder();
    if (!QDir(folder).exists() && !QDir().mkpath(folder))
        throw RuntimeError(QStringLiteral("A listavarázsló munkakönyvtára nem hozható létre: %1").arg(QDir::toNativeSeparators(folder)), 75);
    ctl_wizard->setProperty("Database", QVariant::fromValue<QObject*>(c));
    ctl_wizard->setProperty("WorkFolder", folder);
    ctl_wizard->setProperty("UserID", session().userId());
    QVariantMap company;
    for (const auto& [name, value] : companyHeader(*c)) company.insert(name, value);
    ctl_wizard->setProperty("CompanyHeader", company);
    if (!ctl_wizard->Init()) throw RuntimeError(ctl_wizard->lastError(), 5);
}

int cDDXList::tableNumber() const { return Tables::List; }

ListWizradAuths::ListWizradAuths(QWidget* parent)
    : TreePanel(QStringLiteral("Velmont.ListWizradAuths"), QStringLiteral("ListWizradAuths"), parent)
{
}

int ListWizradAuths::tableNumber() const { return Tables::List; }

namespace {

// The list's name, and whose it is.
QString listText(const QString& caption, int owner, Connection* c)
{
    const QString who = c ? c->select(QStringLiteral("SELECT display_name FROM qnd_user WHERE id=?"), {owner}).value(0).value(0).toString()
                           : QString();
    return who.isEmpty() ? caption : QStringLiteral("%1 (%2)").arg(caption, who);
}

} // namespace

QString ListWizradAuths::nodeText(const Recordset& row) const
{
    return listText(row.field(QStringLiteral("caption")).toString(), row.field(QStringLiteral("owner_user_id")).toInt(), &connection());
}

QString ListWizradAuths::nodeText(const cDDXRecord& record) const
{
    return listText(record.value(QStringLiteral("caption")).toString(), record.value(QStringLiteral("owner_user_id")).toInt(),
                    &connection());
}

void ListWizradAuths::styleNode(QTreeWidgetItem* node, int) { node->setIcon(0, style()->standardIcon(QStyle::SP_FileDialogDetailedView)); }

} // namespace NexoFrame
