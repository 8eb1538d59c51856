#pragma once
#include "EditDialog.h"
#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace NexoFrame {

class cDDXMenu;

// The form with which a user adds or changes his own entry: a first-level menu, a
// sub-menu or an external program. Its failures name "NexoFrame.frmMenu", as the full
// menu form's do.
class frmUserMenu : public EditDialog {
    Q_OBJECT
public:
    enum MenuType { MainMenu = 1, SubMenu = 2, ExternalProgram = 3 };
    static const QString kShell; // the class_name of an external program

    explicit frmUserMenu(QWidget* parent = nullptr);

    QLineEdit* txt_parent_name = nullptr;
    QComboBox* cboMenuType = nullptr;
    QLineEdit* txt_caption = nullptr;
    QLineEdit* txt_parameter_s = nullptr;
    QLineEdit* txt_access_key = nullptr;
    QLabel* lbl_main_menu_info = nullptr;
    QPushButton* cmd_param_help = nullptr;

protected:
    bool InitializeControls() override;
    bool DisplayData() override;
    bool GetData() override;

private:
    cDDXMenu* menu() const;
    void typeChosen();
};

// Lists the placeholders an external program's command line may hold, with their values now.
class frmUserMenuParamHelp : public QDialog {
    Q_OBJECT
public:
    explicit frmUserMenuParamHelp(QWidget* parent = nullptr);
    ~frmUserMenuParamHelp() override;

    QLabel* lbl_app_path = nullptr;
    QLabel* lbl_mdb_folder = nullptr;
    QLabel* lbl_system_mdb_folder = nullptr;
    QPushButton* cmd_cancel = nullptr;
};

} // namespace NexoFrame
