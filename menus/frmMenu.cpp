#include "frmMenu.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "Module.h"
#include "cDDXMenu.h"
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>

namespace NexoFrame {

frmMenu::frmMenu(QWidget* parent) : EditDialog(QStringLiteral("NexoFrame.frmMenu"), QStringLiteral("Menü"), parent)
{
    auto len = [](const char* column) { return cDDXMenu().columnLength(QString::fromLatin1(column)); };
    ShortcutCaption1 = addSection(QStringLiteral("Menü"), QStringLiteral("ShortcutCaption1"));
    txt_parent_name = addText(QStringLiteral("Hierarchiában felette:"), QStringLiteral("txt_parent_name"), 0, true);
    txt_parent_name->setFocusPolicy(Qt::NoFocus);
    txt_caption = addText(QStringLiteral("Felirat:"), QStringLiteral("txt_caption"), len("caption"));
    txt_class_name = addText(QStringLiteral("Osztálynév:"), QStringLiteral("txt_class_name"), len("class_name"));
    txt_parameter_s = addText(QStringLiteral("Szöveges paraméter:"), QStringLiteral("txt_parameter_s"), len("parameter_s"));
    nb_parameter_i = addNumber(QStringLiteral("Szám paraméter:"), QStringLiteral("nb_parameter_i"));
    txt_access_key = addText(QStringLiteral("Gyorsbillenytű:"), QStringLiteral("txt_access_key"), len("access_key"));
    txt_access_key->setMaximumWidth(80);
    chk_system_menu = addCheck(QStringLiteral("Konzulensi menüpont:"), QStringLiteral("chk_system_menu"));
    chk_custom_menu = addCheck(QStringLiteral("Egyedi menüpont:"), QStringLiteral("chk_custom_menu"));
    chk_toolbar_visible = addCheck(QStringLiteral("Gombsoron megjelenik:"), QStringLiteral("chk_toolbar_visible"));
    ShortcutCaption2 = addSection(QStringLiteral("Menü ikonok"), QStringLiteral("ShortcutCaption2"));
    txt_picture_name = addText(QStringLiteral("Kis ikon:"), QStringLiteral("txt_picture_name"), len("picture_name"));
    txt_picture_name_big =
        addText(QStringLiteral("Nagy ikon:"), QStringLiteral("txt_picture_name_big"), len("picture_name_big"));
    resize(520, sizeHint().height());
}

cDDXMenu* frmMenu::menu() const { return static_cast<cDDXMenu*>(oData()); }

QString frmMenu::parentCaption(int parentId)
{
    Connection* c = module().connection();
    if (parentId < 1 || !c || !c->seek(Tables::Menu, QStringLiteral("PrimaryKey"), {parentId})) return {};
    return c->browseRecordset(Tables::Menu).field(QStringLiteral("caption")).toString();
}

bool frmMenu::DisplayData()
{
    cDDXMenu* m = menu();
    txt_parent_name->setText(parentCaption(m->parent_id()));
    txt_caption->setText(m->caption());
    txt_class_name->setText(m->class_name());
    txt_parameter_s->setText(m->parameter_s());
    nb_parameter_i->setValue(m->parameter_i());
    txt_access_key->setText(m->access_key());
    CheckSet(chk_system_menu, m->system_menu() != 0);
    CheckSet(chk_custom_menu, m->custom_menu());
    CheckSet(chk_toolbar_visible, m->toolbar_visible());
    txt_picture_name->setText(m->picture_name());
    txt_picture_name_big->setText(m->picture_name_big());
    return true;
}

bool frmMenu::GetData()
{
    cDDXMenu* m = menu();
    m->set_caption(textOf(txt_caption, txt_caption->maxLength()));
    m->set_class_name(textOf(txt_class_name, txt_class_name->maxLength()));
    m->set_parameter_s(textOf(txt_parameter_s, txt_parameter_s->maxLength()));
    m->set_parameter_i(nb_parameter_i->value());
    m->set_access_key(textOf(txt_access_key, txt_access_key->maxLength()));
    // A yes/no kept in an integer column is -1 for yes.
    m->set_system_menu(CheckGet(chk_system_menu) ? -1 : 0);
    m->set_custom_menu(CheckGet(chk_custom_menu));
    m->set_toolbar_visible(CheckGet(chk_toolbar_visible));
    m->set_picture_name(textOf(txt_picture_name, txt_picture_name->maxLength()));
    m->set_picture_name_big(textOf(txt_picture_name_big, txt_picture_name_big->maxLength()));
    return true;
}

} // namespace NexoFrame
