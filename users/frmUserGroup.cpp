#include "frmUserGroup.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "cDDXUserGroup.h"
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

namespace NexoFrame {

namespace {

cDDXUserGroup* group(const EditDialog* d) { return static_cast<cDDXUserGroup*>(d->oData()); }

} // namespace

frmUserGroup::frmUserGroup(QWidget* parent)
    : EditDialog(QStringLiteral("NexoFrame.frmUserGroup"), QStringLiteral("Felhasználó csoport"), parent)
{
    cmd_ok->setText(ModuleTexts::kSave);
    addSection(QStringLiteral("Felhasználó csoport"), QStringLiteral("ShortcutCaption1"));
    txt_name = addText(QStringLiteral("Megnevezés"), QStringLiteral("txt_name"), cDDXUserGroup().columnLength(QStringLiteral("name")));
    txt_remark = new QPlainTextEdit(this);
    txt_remark->setObjectName(QStringLiteral("txt_remark"));
    txt_remark->setFixedHeight(60);
    form()->addRow(ModuleTexts::kRemarkLabel, txt_remark);

    addSection(QStringLiteral("Jogosultsági szerepkörök"), QStringLiteral("ShortcutCaption2"));
    auto* roles = new QGridLayout;
    for (int i = 0; i < RoleSet::kSlots; ++i) {
        auth[i] = new QCheckBox(QStringLiteral("Szerepkör 1:"), this);
        auth[i]->setObjectName(RoleSet::column(i));
        roles->addWidget(auth[i], i % 5, i / 5);
    }
    form()->addRow(roles);

    addSection(QStringLiteral("Partnerkezelő jogosultságok"), QStringLiteral("ShortcutCaption3"));
    auto* intro = new QLabel(QStringLiteral("Az adott felhasználói csoport azokat az adatokat jogosult megtekinteni ahol,"), this);
    intro->setWordWrap(true);
    form()->addRow(intro);
    // The rules' long captions get a column of their own, so the name box above keeps its width.
    auto* rules = new QFormLayout;
    form()->addRow(rules);
    auto rule = [this, rules](const QString& caption, const char* name) {
        auto* box = new QComboBox(this);
        box->setObjectName(QString::fromLatin1(name));
        box->setMinimumContentsLength(20);
        rules->addRow(caption, box);
        rules->addRow(QString(), new QLabel(QStringLiteral("felhasználói csoportjába tartozik."), this));
        return box;
    };
    cboRightEvent = rule(QStringLiteral("Az Események  felhasználója"), "cboRightEvent");
    cboRightProject = rule(QStringLiteral("A Projektek belső felelőse"), "cboRightProject");
    cboRightPartner = rule(QStringLiteral("A Partnerek belső kapcsolattartója (belső v. Marketing)"), "cboRightPartner");
    resize(560, sizeHint().height());
}

bool frmUserGroup::InitializeControls()
{
    Connection* c = module().connection();
    // The boxes are labelled as the form's other fields are, with a colon.
    for (int i = 0; i < RoleSet::kSlots; ++i) auth[i]->setText(roleName(*c, i) + QLatin1Char(':'));
    // Anyone, every live group by name, nobody.
    QList<std::pair<QString, int>> groups;
    auto rs = c->openRecordset(Tables::UserGroup);
    rs->setIndex(QStringLiteral("name"));
    for (rs->moveFirst(); !rs->eof(); rs->moveNext())
        if (rs->field(QStringLiteral("del_status")).toInt() == 0)
            groups.append({rs->field(QStringLiteral("name")).toString(), rs->field(QStringLiteral("id")).toInt()});
    rs->setIndex(QString());
    for (QComboBox* box : {cboRightEvent, cboRightProject, cboRightPartner}) {
        box->clear();
        ComboAddItemData(box, QStringLiteral("<bárki>"), cDDXUserGroup::kAnyone);
        for (const auto& [name, id] : std::as_const(groups)) ComboAddItemData(box, name, id);
        ComboAddItemData(box, QStringLiteral("<senki>"), cDDXUserGroup::kNobody);
        ComboSelectFirst(box);
    }
    return true;
}

bool frmUserGroup::DisplayData()
{
    cDDXUserGroup* g = group(this);
    txt_name->setText(g->name());
    txt_remark->setPlainText(g->remark());
    for (int i = 0; i < RoleSet::kSlots; ++i) CheckSet(auth[i], g->value(RoleSet::column(i)).toBool());
    ComboSelectByData(cboRightEvent, g->right_event());
    ComboSelectByData(cboRightProject, g->right_project());
    ComboSelectByData(cboRightPartner, g->right_partner());
    return true;
}

bool frmUserGroup::GetData()
{
    cDDXUserGroup* g = group(this);
    g->set_name(textOf(txt_name, g->columnLength(QStringLiteral("name"))));
    g->set_remark(txt_remark->toPlainText());
    for (int i = 0; i < RoleSet::kSlots; ++i) g->setValue(RoleSet::column(i), CheckGet(auth[i]));
    g->set_right_event(ComboGetData(cboRightEvent, cDDXUserGroup::kAnyone));
    g->set_right_project(ComboGetData(cboRightProject, cDDXUserGroup::kAnyone));
    g->set_right_partner(ComboGetData(cboRightPartner, cDDXUserGroup::kAnyone));
    return true;
}

} // namespace NexoFrame
