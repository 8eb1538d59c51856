#include "frmAuthUnit.h"
#include "Connection.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "cDDXAuthUnit.h"
#include <QLineEdit>

namespace NexoFrame {

frmAuthUnit::frmAuthUnit(QWidget* parent)
    : EditDialog(QStringLiteral("NexoFrame.frmAuthUnit"), QStringLiteral("Jogosultság"), parent)
{
    txt_parent_name = addText(QStringLiteral("Szülő:"), QStringLiteral("txt_parent_name"), 0, true);
    txt_parent_name->setFocusPolicy(Qt::NoFocus);
    txt_name = addText(ModuleTexts::kNameLabel, QStringLiteral("txt_name"), 100);
    txt_prefix = addText(QStringLiteral("Prefix:"), QStringLiteral("txt_prefix"), 100);
}

bool frmAuthUnit::DisplayData()
{
    auto* unit = static_cast<cDDXAuthUnit*>(oData());
    txt_name->setMaxLength(unit->columnLength(QStringLiteral("name")));
    txt_prefix->setMaxLength(unit->columnLength(QStringLiteral("prefix")));
    Connection* c = module().connection();
    if (c && c->seek(unit->tableNumber(), QStringLiteral("PrimaryKey"), {unit->parent_id()})) {
        Recordset& rs = c->browseRecordset(unit->tableNumber());
        txt_parent_name->setText(rs.field(QStringLiteral("name")).toString());
        // A new child starts with its parent's prefix.
        if (unit->ItemStatus() == IsNew) unit->set_prefix(rs.field(QStringLiteral("prefix")).toString());
    }
    txt_name->setText(unit->name());
    txt_prefix->setText(unit->prefix());
    return true;
}

bool frmAuthUnit::GetData()
{
    auto* unit = static_cast<cDDXAuthUnit*>(oData());
    unit->set_name(textOf(txt_name, unit->columnLength(QStringLiteral("name"))));
    unit->set_prefix(textOf(txt_prefix, unit->columnLength(QStringLiteral("prefix"))));
    return true;
}

} // namespace NexoFrame
