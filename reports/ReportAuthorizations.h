#pragma once
#include "TreePanel.h"

namespace NexoFrame {

// The printed reports' catalogue as a tree with the role bar: which roles may run each
// report, ticked at once. It always sets roles, whatever mode it is opened in.
class ReportAuthorizations : public TreePanel {
    Q_OBJECT
public:
    explicit ReportAuthorizations(QWidget* parent = nullptr);

    bool roleMode() const override { return true; }

protected:
    int tableNumber() const override;
    QString rootText() const override { return QStringLiteral("Riportok"); }
    QString titleText(bool) const override { return QStringLiteral("Riportok jogosultságainak beállítása"); }
    QList<TreeCommand> commands() const override { return {}; }
    QString nodeText(const Recordset& row) const override;
    QString nodeText(const cDDXRecord& record) const override;
    std::unique_ptr<cDDXRecord> makeRecord() const override;
    int nodeKind(const Recordset& row) const override;
    int nodeKind(const cDDXRecord& record) const override;
    void styleNode(QTreeWidgetItem* node, int kind) override;
    bool hasContextMenu() const override { return false; }
};

} // namespace NexoFrame
