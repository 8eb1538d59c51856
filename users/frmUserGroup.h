#pragma once
#include "Access.h"
#include "EditDialog.h"
#include <array>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;

namespace NexoFrame {

// Edits one user group: its name, remark, the ten role slots (named from the settings) and
// whose events, projects and partners its members see.
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

protected:
    bool InitializeControls() override;
    bool DisplayData() override;
    bool GetData() override;
};

} // namespace NexoFrame
