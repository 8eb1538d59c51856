#pragma once
#include "Access.h"
#include "EditDialog.h"
#include <array>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QSpinBox;

namespace NexoFrame {

// Edits one user group: its name, remark, the ten role slots (named from the settings),
// whose events, projects and partners its members see, whether its members log in with a second
// step, and the directory group it stands for.
class frmUserGroup : public EditDialog {
    Q_OBJECT
public:
    explicit frmUserGroup(QWidget* parent = nullptr);

    QLineEdit* txt_name = nullptr;
    QPlainTextEdit* txt_remark = nullptr;
    std::array<QCheckBox*, RoleSet::kSlots> auth{};
    QComboBox* cboRightEvent = nullptr;
    QComboBox* cboRightProject = nullptr;
    QComboBox* cboRightPartner = nullptr;
    QCheckBox* chk_two_step = nullptr;
    QLineEdit* txt_directory_dn = nullptr;
    QSpinBox* spn_directory_priority = nullptr;

protected:
    bool InitializeControls() override;
    bool DisplayData() override;
    bool GetData() override;
};

} // namespace NexoFrame
