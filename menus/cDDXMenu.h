#pragma once
#include "Record.h"

namespace NexoFrame {

// One item of the application's menu tree (qnd_menu): a node holding sub-items, or a
// function that starts the panel or program named by class_name. Keys below 1000000 are
// the system's base menu and stay read-only unless the system-edit flag is set.
class cDDXMenu : public cDDXRecord {
    Q_OBJECT
    NEXO_COLUMNS_qnd_menu

public:
    static const QString kBaseMenuReadOnly;

    explicit cDDXMenu(QObject* parent = nullptr);

    QString className() const override { return QStringLiteral("cDDXMenu"); }
    int tableNumber() const override;
    eReturnValue ShowForm() override;
    // The simplified form with which a user keeps his own items.
    eReturnValue ShowUserForm();

    // Whether this key belongs to the base menu that only the system-edit flag unlocks.
    static bool isProtected(int id);
    QString baseStructureMessage() const override { return kBaseMenuReadOnly; }

protected:
    void checks() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXMenu>(); }
};

} // namespace NexoFrame
