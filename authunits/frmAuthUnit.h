#pragma once
#include "EditDialog.h"

class QLineEdit;

namespace NexoFrame {

// Edits one authorisation unit: its parent (shown), name and prefix.
class frmAuthUnit : public EditDialog {
    Q_OBJECT
public:
    explicit frmAuthUnit(QWidget* parent = nullptr);

    QLineEdit* txt_parent_name = nullptr;
    QLineEdit* txt_name = nullptr;
    QLineEdit* txt_prefix = nullptr;

protected:
    bool DisplayData() override;
    bool GetData() override;
};

} // namespace NexoFrame
