#pragma once
#include "Record.h"

namespace NexoFrame {

// A user group (qnd_user_group): the role holder, with its ten role slots and the three
// rules of whose events, projects and partners its members see (-1 anyone, -2 nobody, or
// the id of a group).
class cDDXUserGroup : public cDDXRecord {
    Q_OBJECT
    Q_PROPERTY(QString name READ name WRITE set_name)
    Q_PROPERTY(bool technical READ technical WRITE set_technical)
    Q_PROPERTY(QString remark READ remark WRITE set_remark)
    Q_PROPERTY(bool auth_0 READ auth_0 WRITE set_auth_0)
    Q_PROPERTY(bool auth_1 READ auth_1 WRITE set_auth_1)
    Q_PROPERTY(bool auth_2 READ auth_2 WRITE set_auth_2)
    Q_PROPERTY(bool auth_3 READ auth_3 WRITE set_auth_3)
    Q_PROPERTY(bool auth_4 READ auth_4 WRITE set_auth_4)
    Q_PROPERTY(bool auth_5 READ auth_5 WRITE set_auth_5)
    Q_PROPERTY(bool auth_6 READ auth_6 WRITE set_auth_6)
    Q_PROPERTY(bool auth_7 READ auth_7 WRITE set_auth_7)
    Q_PROPERTY(bool auth_8 READ auth_8 WRITE set_auth_8)
    Q_PROPERTY(bool auth_9 READ auth_9 WRITE set_auth_9)
    Q_PROPERTY(int right_event READ right_event WRITE set_right_event)
    Q_PROPERTY(int right_project READ right_project WRITE set_right_project)
    Q_PROPERTY(int right_partner READ right_partner WRITE set_right_partner)

public:
    static constexpr int kAnyone = -1;
    static constexpr int kNobody = -2;

    explicit cDDXUserGroup(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXUserGroup"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;

    NEXO_TEXT(name)
    NEXO_BOOL(technical)
    NEXO_TEXT(remark)
    NEXO_ROLE_SLOTS
    NEXO_LONG(right_event)
    NEXO_LONG(right_project)
    NEXO_LONG(right_partner)

protected:
    void checks() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXUserGroup>(); }
};

} // namespace NexoFrame
