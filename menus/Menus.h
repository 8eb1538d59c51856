#pragma once
#include "Texts.h"
#include "TreePanel.h"

namespace NexoFrame {

// The application's menu tree: edits the items (parameter 0) or sets which roles see each
// item (any other parameter).
class Menus : public TreePanel {
    Q_OBJECT
public:
    explicit Menus(QWidget* parent = nullptr);
    // The users who find the item in their menu, as the shell builds it.
    QHash<int, QString> usersReaching(int id) override;

protected:
    int tableNumber() const override;
    QString rootText() const override { return Texts::kMainMenu; }
    QString titleText(bool roleMode) const override
    {
        return roleMode ? QStringLiteral("Menü jogosultságok beállítása") : QStringLiteral("Menük");
    }
    QList<TreeCommand> commands() const override
    {
        return {{100011, QStringLiteral("Új menü"), TreeAction::New},
                {100012, QStringLiteral("Menü módosítása"), TreeAction::Modify},
                {100013, QStringLiteral("Menü törlése"), TreeAction::Delete}};
    }
    QString nodeText(const Recordset& row) const override;
    QString nodeText(const cDDXRecord& record) const override;
    std::unique_ptr<cDDXRecord> makeRecord() const override;
    bool firstLevelBold() const override { return true; }
    bool clickToggles() const override { return roleMode(); }
    bool hasContextMenu() const override { return !roleMode(); }
    bool canCreateUnder(int parentId) override;
    bool canModify(int id) override;
};

} // namespace NexoFrame
