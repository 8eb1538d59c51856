#pragma once
#include "Record.h"

namespace NexoFrame {

// The records of the events and partner modules, as far as the drivers' reminders and
// partner link write them. They go through the record lifecycle, so that they take part in
// the user's own transaction.

// One event of crm_event.
class cDDXEvent : public cDDXRecord {
    Q_OBJECT
public:
    explicit cDDXEvent(QObject* parent = nullptr) : cDDXRecord(parent) { init(); }
    QString className() const override { return QStringLiteral("cDDXEvent"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override { return rvCancel; }

    NEXO_LONG(event_type_id)
    NEXO_LONG(dedicate_user_id)
    NEXO_LONG(partner_id)
    NEXO_TEXT(subject)
    NEXO_DATE(event_date)
    NEXO_DATE(event_time)
    NEXO_BOOL(reminder)
    NEXO_DATE(reminder_date)
    NEXO_DATE(reminder_time)
    NEXO_BOOL(system_made)

protected:
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXEvent>(); }
};

// One partner of pa_partner (keyed by pa_qndid).
class cDDXPartner : public cDDXRecord {
    Q_OBJECT
public:
    explicit cDDXPartner(QObject* parent = nullptr) : cDDXRecord(parent) { init(); }
    QString className() const override { return QStringLiteral("cDDXPartner"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override { return rvCancel; }

protected:
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXPartner>(); }
};

} // namespace NexoFrame
