#include "Menus.h"
#include "Connection.h"
#include "MenuAccess.h"
#include "Module.h"
#include "Connection.h"
#include "Module.h"
#include "Recordset.h"
#include "Schema.h"
#include "cDDXMenu.h"
#include "cMessage2.h"

namespace NexoFrame {

namespace {

QString menuNodeText(const QVariant& accessKey, const QVariant& caption)
{
    return accessKey.toString() + QStringLiteral(". ") + caption.toString();
}

} // namespace

Menus::Menus(QWidget* parent) : TreePanel(QStringLiteral("NexoFrame.Menus"), QStringLiteral("Menus"), parent) {}

int Menus::tableNumber() const { return Tables::Menu; }

QString Menus::nodeText(const Recordset& row) const
{
    return menuNodeText(row.field(QStringLiteral("access_key")), row.field(QStringLiteral("caption")));
}

QString Menus::nodeText(const cDDXRecord& record) const
{
    return menuNodeText(record.value(QStringLiteral("access_key")), record.value(QStringLiteral("caption")));
}

std::unique_ptr<cDDXRecord> Menus::makeRecord() const { return std::make_unique<cDDXMenu>(); }

bool Menus::canCreateUnder(int parentId)
{
    if (parentId < 1) return true;
    // An item that starts a function holds no sub-items.
    Connection* c = &connection();
    if (c->seek(Tables::Menu, QStringLiteral("PrimaryKey"), {parentId})
        && !c->browseRecordset(Tables::Menu).field(QStringLiteral("class_name")).toString().isEmpty()) {
        module().message().MsgWarning(
            QStringLiteral("Nem lehet olyan menü alá almenüt létrehozni, amihez funkció kapcsolódik!"));
        return false;
    }
    return true;
}

bool Menus::canModify(int id)
{
    if (!cDDXMenu::isProtected(id)) return true;
    module().message().MsgWarning(cDDXMenu::kBaseMenuReadOnly);
    return false;
}

} // namespace NexoFrame

namespace NexoFrame {

QHash<int, QString> Menus::usersReaching(int id)
{
    Connection& c = connection();
    QHash<int, QString> out;
    for (const Holder& u : liveUsers(c))
        if (!u.roles.isEmpty() && menuIds(visibleMenu(c, u)).contains(id)) out.insert(u.userId, u.userName);
    return out;
}

} // namespace NexoFrame
