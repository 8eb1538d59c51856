#pragma once
#include "Record.h"

namespace NexoFrame {

// One authorisation unit (a right) of qnd_auth_unit with its ten role flags.
class cDDXAuthUnit : public cDDXRecord {
    Q_OBJECT
    Q_PROPERTY(int parent_id READ parent_id WRITE set_parent_id)
    Q_PROPERTY(QString name READ name WRITE set_name)
    Q_PROPERTY(QString prefix READ prefix WRITE set_prefix)
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

public:
    explicit cDDXAuthUnit(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXAuthUnit"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;

    NEXO_LONG(parent_id)
    NEXO_TEXT(name)
    NEXO_TEXT(prefix)
    NEXO_ROLE_SLOTS

protected:
    void checks() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXAuthUnit>(); }
};

} // namespace NexoFrame
