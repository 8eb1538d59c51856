#pragma once
#include "EditDialog.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace NexoFrame {

class cDDXMenu;

// Edits one menu item: its place (shown), texts, what it starts, flags and pictures. The
// role slots are set in the Menus panel, not here.
class frmMenu : public EditDialog {
    Q_OBJECT
public:
    explicit frmMenu(QWidget* parent = nullptr);

    QLabel* ShortcutCaption1 = nullptr;
    QLabel* ShortcutCaption2 = nullptr;
    QLineEdit* txt_parent_name = nullptr;
    QLineEdit* txt_caption = nullptr;
    QLineEdit* txt_class_name = nullptr;
    QLineEdit* txt_parameter_s = nullptr;
    QSpinBox* nb_parameter_i = nullptr;
    QLineEdit* txt_access_key = nullptr;
    QCheckBox* chk_system_menu = nullptr;
    QCheckBox* chk_custom_menu = nullptr;
    QCheckBox* chk_toolbar_visible = nullptr;
    QLineEdit* txt_picture_name = nullptr;
    QLineEdit* txt_picture_name_big = nullptr;

    // The caption of a menu item by key; empty for the root level.
    static QString parentCaption(int parentId);

protected:
    bool DisplayData() override;
    bool GetData() override;

private:
    cDDXMenu* menu() const;
};

} // namespace NexoFrame
