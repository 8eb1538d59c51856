#pragma once
#include "Record.h"

namespace NexoFrame {

// The records of the events and partner modules, as far as the drivers' reminders and
// partner link write them. They go through the record lifecycle, so that they take part in
// the user's own transaction.

// One event of crm_event.
class cDDXEvent : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_crm_event
public:
    explicit cDDXEvent(QObject* parent = nullptr) : cDDXRecord(parent) { init(); }
    QString className() const override { return QStringLiteral("cDDXEvent"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override { return rvCancel; }
    // Inside a user's save an event is part of the reminders' level: its failure fails that
    // level, which goes back whole, so the event takes no savepoint of its own.
    bool ownsTransaction() const override;

protected:
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXEvent>(); }
};

// One partner of pa_partner (keyed by pa_qndid).
class cDDXPartner : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_pa_partner
public:
    explicit cDDXPartner(QObject* parent = nullptr) : cDDXRecord(parent) { init(); }
    QString className() const override { return QStringLiteral("cDDXPartner"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override { return rvCancel; }

protected:
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXPartner>(); }
};

} // namespace NexoFrame
