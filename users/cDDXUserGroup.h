#pragma once
#include "Record.h"

namespace NexoFrame {

// A user group (qnd_user_group): the role holder, with its ten role slots and the three
// rules of whose events, projects and partners its members see (-1 anyone, -2 nobody, or
// the id of a group).
class cDDXUserGroup : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_qnd_user_group

public:
    static constexpr int kAnyone = -1;
    static constexpr int kNobody = -2;

    explicit cDDXUserGroup(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXUserGroup"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;

protected:
    void checks() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXUserGroup>(); }
};

} // namespace NexoFrame
