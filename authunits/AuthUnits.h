#pragma once
#include "TreePanel.h"

namespace NexoFrame {

// The rights tree: edits the authorisation units (mode 0) or sets which roles hold each
// right (any other mode).
class AuthUnits : public TreePanel {
    Q_OBJECT
public:
    explicit AuthUnits(QWidget* parent = nullptr);
    // The users the unit's key is granted to, by the rights test.
    QHash<int, QString> usersReaching(int id) override;

protected:
    int tableNumber() const override;
    QString rootText() const override { return QStringLiteral("Alap jogosultságok"); }
    QString titleText(bool roleMode) const override
    {
        return roleMode ? QStringLiteral("Jogosultságok beállítása") : QStringLiteral("Jogosultságok");
    }
    QList<TreeCommand> commands() const override
    {
        return {{100008, QStringLiteral("Új jog"), TreeAction::New},
                {100009, QStringLiteral("Jog módosítása"), TreeAction::Modify},
                {100010, QStringLiteral("Jog törlése"), TreeAction::Delete}};
    }
    QString nodeText(const Recordset& row) const override;
    QString nodeText(const cDDXRecord& record) const override;
    std::unique_ptr<cDDXRecord> makeRecord() const override;
};

} // namespace NexoFrame
