#pragma once
#include "Record.h"

namespace NexoFrame {

// A user of qnd_user: logs in, belongs to one group, and may be a driver whose identity
// card and driving licence expire. Saving a driver keeps his two expiry reminders in
// crm_event; deleting a user deletes them.
class cDDXUser : public cDDXRecord {
    Q_OBJECT
    Q_PROPERTY(int user_group_id READ user_group_id WRITE set_user_group_id)
    Q_PROPERTY(QString user_name READ user_name WRITE set_user_name)
    Q_PROPERTY(QString display_name READ display_name WRITE set_display_name)
    Q_PROPERTY(QString abbreviation READ abbreviation WRITE set_abbreviation)
    Q_PROPERTY(QString assignment READ assignment WRITE set_assignment)
    Q_PROPERTY(QString password READ password WRITE set_password)
    Q_PROPERTY(int current_year READ current_year WRITE set_current_year)
    Q_PROPERTY(QString language_abbreviation READ language_abbreviation WRITE set_language_abbreviation)
    Q_PROPERTY(bool technical READ technical WRITE set_technical)
    Q_PROPERTY(QString email READ email WRITE set_email)
    Q_PROPERTY(bool access_denied READ access_denied WRITE set_access_denied)
    Q_PROPERTY(QString remark READ remark WRITE set_remark)
    Q_PROPERTY(QString city READ city WRITE set_city)
    Q_PROPERTY(QString phone READ phone WRITE set_phone)
    Q_PROPERTY(QString mobil READ mobil WRITE set_mobil)
    Q_PROPERTY(QString fax READ fax WRITE set_fax)
    Q_PROPERTY(QString street READ street WRITE set_street)
    Q_PROPERTY(QString zipcode READ zipcode WRITE set_zipcode)
    Q_PROPERTY(QString identity_card_number READ identity_card_number WRITE set_identity_card_number)
    Q_PROPERTY(QDateTime identity_card_expiration READ identity_card_expiration WRITE set_identity_card_expiration)
    Q_PROPERTY(QString drivers_license_number READ drivers_license_number WRITE set_drivers_license_number)
    Q_PROPERTY(QDateTime drivers_license_expiration READ drivers_license_expiration WRITE set_drivers_license_expiration)
    Q_PROPERTY(bool is_driver READ is_driver WRITE set_is_driver)
    Q_PROPERTY(int partner_id READ partner_id WRITE set_partner_id)
    Q_PROPERTY(QString tax_number READ tax_number WRITE set_tax_number)

public:
    static constexpr int kIdentityCardReminder = 58;
    static constexpr int kDriversLicenseReminder = 59;

    explicit cDDXUser(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXUser"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;

    // Asks whether the driver should also stand (or be updated) among the partners as a
    // destination, and does it. Run by the user form after a driver was saved; false when
    // the partner could not be saved.
    bool LinkPartner();

    NEXO_LONG(user_group_id)
    NEXO_TEXT(user_name)
    NEXO_TEXT(display_name)
    NEXO_TEXT(abbreviation)
    NEXO_TEXT(assignment)
    NEXO_TEXT(password)
    NEXO_LONG(current_year)
    NEXO_TEXT(language_abbreviation)
    NEXO_BOOL(technical)
    NEXO_TEXT(email)
    NEXO_BOOL(access_denied)
    NEXO_TEXT(remark)
    NEXO_TEXT(city)
    NEXO_TEXT(phone)
    NEXO_TEXT(mobil)
    NEXO_TEXT(fax)
    NEXO_TEXT(street)
    NEXO_TEXT(zipcode)
    NEXO_TEXT(identity_card_number)
    NEXO_DATE(identity_card_expiration)
    NEXO_TEXT(drivers_license_number)
    NEXO_DATE(drivers_license_expiration)
    NEXO_BOOL(is_driver)
    NEXO_LONG(partner_id)
    NEXO_TEXT(tax_number)

protected:
    void checks() override;
    void entityDefaults() override;
    bool afterNativeWrite() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXUser>(); }

private:
    bool MaintainExpiryReminders();
    // Deletes (logically) this user's reminders of both kinds.
    bool dropReminders();
    // The live system-made reminder of a kind for this user, or -1.
    int liveReminder(int type);
};

} // namespace NexoFrame
