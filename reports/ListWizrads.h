#pragma once
#include "AdminPanel.h"
#include "TreePanel.h"
#include "Record.h"

namespace NexoFrame {

namespace Controls {
class ListWizard;
}

// The panel of the list wizard: hands the control the user's five list rights, the
// database, its working folder and settings, then starts it.
class ListWizrads : public AdminPanel {
    Q_OBJECT
public:
    explicit ListWizrads(QWidget* parent = nullptr);
    Controls::ListWizard* ctl_wizard = nullptr;
    // The rights asked, in order, each switching the control's permission of that name.
    static const QList<std::pair<QString, QByteArray>>& rights();
    // The database's folder + "ListWizard".
    QString workFolder() const;

protected:
    void InitializeSite() override;
};

// One list of the list wizard (qnd_list), as the rights tree shows it.
class cDDXList : public cDDXRecord {
    Q_OBJECT
public:
    explicit cDDXList(QObject* parent = nullptr) : cDDXRecord(parent) { init(); }
    QString className() const override { return QStringLiteral("cDDXList"); }
    int tableNumber() const override;
    // Lists are made and changed in the list wizard; the rights panel only ticks roles.
    eReturnValue ShowForm() override { return rvCancel; }

protected:
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXList>(); }
};

// The lists with the role bar: which roles may use each list, ticked at once.
class ListWizradAuths : public TreePanel {
    Q_OBJECT
public:
    explicit ListWizradAuths(QWidget* parent = nullptr);
    bool roleMode() const override { return true; }

protected:
    int tableNumber() const override;
    QString rootText() const override { return QStringLiteral("Listák"); }
    QString titleText(bool) const override { return QStringLiteral("Listák jogosultságainak beállítása"); }
    QList<TreeCommand> commands() const override { return {}; }
    QString nodeText(const Recordset& row) const override;
    QString nodeText(const cDDXRecord& record) const override;
    std::unique_ptr<cDDXRecord> makeRecord() const override { return std::make_unique<cDDXList>(); }
    void styleNode(QTreeWidgetItem* node, int kind) override;
    bool hasContextMenu() const override { return false; }
};

} // namespace NexoFrame
