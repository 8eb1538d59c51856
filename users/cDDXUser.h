#pragma once
#include "Record.h"

namespace NexoFrame {

// A user of qnd_user: logs in, belongs to one group, and may be a driver whose identity
// card and driving licence expire. Saving a driver keeps his two expiry reminders in
// crm_event; deleting a user deletes them.
class cDDXUser : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_qnd_user

public:
    static constexpr int kIdentityCardReminder = 58;
    static constexpr int kDriversLicenseReminder = 59;

    explicit cDDXUser(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXUser"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;
    // A directory user under central management leaves through the directory: the next sync
    // bars him, and his row stays for the audit trail.
    QString deleteRefusal() const override;

    // Asks whether the driver should also stand (or be updated) among the partners as a
    // destination, and does it. Run by the user form after a driver was saved; false when
    // the partner could not be saved.
    bool LinkPartner();

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
