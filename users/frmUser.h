#pragma once
#include "EditDialog.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLineEdit;
class QPlainTextEdit;

namespace NexoFrame {

namespace Controls {
class QuickPick;
}

// Edits one user: identity, group and contact, the password (stored only through the
// cipher), and the data the trip log needs. A saved driver may also be kept as a partner.
class frmUser : public EditDialog {
    Q_OBJECT
public:
    static const QString kKey1;
    static const QString kKey2;

    explicit frmUser(QWidget* parent = nullptr);

    QComboBox* cbo_user_group_id = nullptr;
    QLineEdit* txt_user_name = nullptr;
    QLineEdit* txt_display_name = nullptr;
    QLineEdit* txt_abbreviation = nullptr;
    QLineEdit* txt_assignment = nullptr;
    QLineEdit* txt_email = nullptr;
    QCheckBox* chk_access_denied = nullptr;
    QPlainTextEdit* txt_remark = nullptr;
    QLineEdit* txt_password = nullptr;
    QLineEdit* txt_password_2 = nullptr;
    Controls::QuickPick* qpi_mh_isz = nullptr;
    QLineEdit* txt_mh_varos = nullptr;
    QLineEdit* txt_mh_utca = nullptr;
    QLineEdit* txt_identity_card_number = nullptr;
    QDateEdit* dtb_identity_card_expiration = nullptr;
    QLineEdit* txt_drivers_license_number = nullptr;
    QDateEdit* dtb_drivers_license_expiration = nullptr;
    QCheckBox* chk_is_driver = nullptr;
    QLineEdit* txt_phone = nullptr;
    QLineEdit* txt_mobil = nullptr;
    QLineEdit* txt_fax = nullptr;
    QLineEdit* txt_tax_number = nullptr;

protected:
    bool InitializeControls() override;
    bool DisplayData() override;
    bool GetData() override;
    bool AfterSave() override;

private:
    void zipcodePicked(const QString& zipcode);
};

} // namespace NexoFrame
