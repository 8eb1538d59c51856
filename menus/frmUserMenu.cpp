#include "frmUserMenu.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "Module.h"
#include "Texts.h"
#include "cDDXMenu.h"
#include "frmMenu.h"
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace NexoFrame {

const QString frmUserMenu::kShell = QStringLiteral("SHELL");

frmUserMenu::frmUserMenu(QWidget* parent)
    : EditDialog(QStringLiteral("NexoFrame.frmMenu"), QStringLiteral("Saját menüpont"), parent)
{
    auto len = [](const char* column) { return cDDXMenu().columnLength(QString::fromLatin1(column)); };
    txt_parent_name = addText(QStringLiteral("Hierarchiában felette:"), QStringLiteral("txt_parent_name"), 0, true);
    txt_parent_name->setFocusPolicy(Qt::NoFocus);
    cboMenuType = addCombo(QStringLiteral("Menü típusa:"), QStringLiteral("cboMenuType"));
    txt_caption = addText(QStringLiteral("Felirat:"), QStringLiteral("txt_caption"), len("caption"));
    txt_parameter_s = addText(QStringLiteral("Külső program:"), QStringLiteral("txt_parameter_s"), len("parameter_s"));
    txt_parameter_s->setPlaceholderText(QStringLiteral("pl. xdg-open \"%MDB_FOLDER_PATH%\""));
    txt_access_key = addText(QStringLiteral("Gyorsbillenytű:"), QStringLiteral("txt_access_key"), len("access_key"));
    txt_access_key->setMaximumWidth(80);
    lbl_main_menu_info = new QLabel(QStringLiteral("Főmenü alá csak almenüt lehet felvenni; külső programot "
                                                   "a főmenü egy almenüjében lehet elhelyezni."),
                                    this);
    lbl_main_menu_info->setObjectName(QStringLiteral("lbl_main_menu_info"));
    lbl_main_menu_info->setWordWrap(true);
    form()->addRow(lbl_main_menu_info);
    cmd_param_help = new QPushButton(QStringLiteral("Paraméterezhetőség"), this);
    cmd_param_help->setObjectName(QStringLiteral("cmd_param_help"));
    cmd_param_help->setAutoDefault(false);
    form()->addRow(QString(), cmd_param_help);
    connect(cmd_param_help, &QPushButton::clicked, this, [this] {
        frmUserMenuParamHelp help(this);
        help.exec();
    });
    connect(cboMenuType, &QComboBox::currentIndexChanged, this, [this] { typeChosen(); });
    resize(500, sizeHint().height());
}

cDDXMenu* frmUserMenu::menu() const { return static_cast<cDDXMenu*>(oData()); }

bool frmUserMenu::InitializeControls()
{
    cboMenuType->clear();
    const bool underItem = menu()->parent_id() != 0;
    if (underItem) {
        ComboAddItemData(cboMenuType, QStringLiteral("Almenü"), SubMenu);
        ComboAddItemData(cboMenuType, QStringLiteral("Külső program"), ExternalProgram);
    } else {
        ComboAddItemData(cboMenuType, Texts::kMainMenu, MainMenu);
    }
    cboMenuType->setEnabled(underItem);
    lbl_main_menu_info->setVisible(!underItem);
    cmd_param_help->setVisible(underItem);
    return true;
}

void frmUserMenu::typeChosen()
{
    // Only an external program has a command line.
    txt_parameter_s->setEnabled(ComboGetData(cboMenuType, 0) == ExternalProgram);
}

bool frmUserMenu::DisplayData()
{
    cDDXMenu* m = menu();
    txt_parent_name->setText(frmMenu::parentCaption(m->parent_id()));
    if (m->parent_id() != 0)
        ComboSelectByData(cboMenuType, m->class_name().trimmed().compare(kShell, Qt::CaseInsensitive) == 0 ? ExternalProgram
                                                                                                         : SubMenu);
    else
        ComboSelectFirst(cboMenuType);
    typeChosen();
    txt_caption->setText(m->caption());
    txt_parameter_s->setText(m->parameter_s());
    txt_access_key->setText(m->access_key());
    return true;
}

bool frmUserMenu::GetData()
{
    cDDXMenu* m = menu();
    if (m->ItemStatus() == IsNew) {
        m->set_picture_name(QStringLiteral("user_menu_16.ico"));
        m->set_picture_name_big(QStringLiteral("user_menu_32.ico"));
    }
    m->set_caption(textOf(txt_caption, txt_caption->maxLength()));
    m->set_access_key(textOf(txt_access_key, txt_access_key->maxLength()));
    if (ComboGetData(cboMenuType, MainMenu) == ExternalProgram) {
        m->set_class_name(kShell);
        m->set_parameter_s(textOf(txt_parameter_s, txt_parameter_s->maxLength()));
    } else {
        m->set_class_name(QString());
        m->set_parameter_s(QString());
    }
    return true;
}

frmUserMenuParamHelp::frmUserMenuParamHelp(QWidget* parent) : QDialog(parent)
{
    Module::objectCreated();
    setWindowTitle(QStringLiteral("Paraméterezhetőség"));
    setModal(true);
    auto* outer = new QVBoxLayout(this);
    auto* head = new QLabel(QStringLiteral("Paraméterezési lehetőségek a külső program elérési útvonalában"), this);
    head->setObjectName(QStringLiteral("ShortcutCaption1"));
    QFont bold = head->font();
    bold.setBold(true);
    head->setFont(bold);
    outer->addWidget(head);

    Connection* c = module().connection();
    auto folder = [](const QString& path) { return QDir::toNativeSeparators(path); };
    struct Row { const char* placeholder; const char* description; QString value; QLabel** label; const char* name; };
    const Row rows[] = {
        {"%APP_PATH%", "A Keretrendszer program elérési útvonala (a végén nincs \"\\\")",
         folder(QCoreApplication::applicationDirPath()), &lbl_app_path, "lbl_app_path"},
        {"%MDB_FOLDER_PATH%",
         "Az aktuálisan a keretrendszer által megnyitott adatbázis könyvtára   (a végén nincs \"\\\")",
         c ? folder(c->databaseFolder()) : QString(), &lbl_mdb_folder, "lbl_mdb_folder"},
        {"%SYSTEM_MDB_FOLDER_PATH%", "A rendszer adatbázis könyvtára (a végén nincs \"\\\")",
         c ? folder(c->systemDatabaseFolder()) : QString(), &lbl_system_mdb_folder, "lbl_system_mdb_folder"},
    };
    auto* grid = new QGridLayout;
    int r = 0;
    for (const Row& row : rows) {
        auto* name = new QLabel(QString::fromLatin1(row.placeholder), this);
        name->setFont(bold);
        name->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(name, r, 0, 1, 2);
        grid->addWidget(new QLabel(QString::fromUtf8(row.description), this), r + 1, 0, 1, 2);
        grid->addWidget(new QLabel(QStringLiteral("Jelenleg:"), this), r + 2, 0);
        *row.label = new QLabel(row.value, this);
        (*row.label)->setObjectName(QString::fromLatin1(row.name));
        (*row.label)->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(*row.label, r + 2, 1);
        grid->setRowMinimumHeight(r + 3, 8);
        r += 4;
    }
    grid->setColumnStretch(1, 1);
    outer->addLayout(grid);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    cmd_cancel = new QPushButton(Texts::kClose, this);
    cmd_cancel->setObjectName(QStringLiteral("cmd_cancel"));
    connect(cmd_cancel, &QPushButton::clicked, this, &QDialog::reject);
    buttons->addWidget(cmd_cancel);
    outer->addLayout(buttons);
    PrepareForm(this);
}

frmUserMenuParamHelp::~frmUserMenuParamHelp() { Module::objectDestroyed(); }

} // namespace NexoFrame
