#pragma once
#include "Record.h"

namespace NexoFrame {

// One authorisation unit (a right) of qnd_auth_unit with its ten role flags.
class cDDXAuthUnit : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_qnd_auth_unit

public:
    explicit cDDXAuthUnit(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXAuthUnit"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;

protected:
    void checks() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXAuthUnit>(); }
};

} // namespace NexoFrame
