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
#include <QSpinBox>

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

    // A rule like the visibility ones (kept in the rights history): the members' next login
    // asks for a code, and one who has not set it up yet must do so first.
    addSection(QStringLiteral("Bejelentkezés"), QStringLiteral("ShortcutCaption5"));
    chk_two_step = new QCheckBox(QStringLiteral("Kétlépcsős azonosítás kötelező"), this);
    chk_two_step->setObjectName(QStringLiteral("chk_two_step"));
    chk_two_step->setToolTip(QStringLiteral("A csoport tagjai a jelszó után a hitelesítő alkalmazásuk kódját is megadják; "
                                            "aki még nem állította be, a következő bejelentkezésekor beállítja."));
    form()->addRow(chk_two_step);

    // The directory group whose members the sync puts here; of several, the lowest priority wins.
    addSection(QStringLiteral("Címtár"), QStringLiteral("ShortcutCaption4"));
    txt_directory_dn = new QLineEdit(this);
    txt_directory_dn->setObjectName(QStringLiteral("txt_directory_dn"));
    txt_directory_dn->setPlaceholderText(QStringLiteral("CN=Vezetők,OU=Csoportok,DC=ceg,DC=hu"));
    form()->addRow(QStringLiteral("Címtári csoport (DN)"), txt_directory_dn);
    spn_directory_priority = new QSpinBox(this);
    spn_directory_priority->setObjectName(QStringLiteral("spn_directory_priority"));
    spn_directory_priority->setRange(0, 9999);
    spn_directory_priority->setToolTip(QStringLiteral("Aki több leképezett címtári csoport tagja, a legkisebb prioritásúba kerül "
                                                      "(egyenlőknél név szerint)."));
    form()->addRow(QStringLiteral("Prioritás"), spn_directory_priority);
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
    CheckSet(chk_two_step, g->two_step());
    txt_directory_dn->setText(g->value(QStringLiteral("directory_dn")).toString());
    spn_directory_priority->setValue(g->value(QStringLiteral("directory_priority")).toInt());
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
    g->set_two_step(CheckGet(chk_two_step));
    g->setValue(QStringLiteral("directory_dn"), txt_directory_dn->text().trimmed());
    g->setValue(QStringLiteral("directory_priority"), spn_directory_priority->value());
    return true;
}

} // namespace NexoFrame
