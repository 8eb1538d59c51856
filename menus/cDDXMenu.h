#pragma once
#include "Record.h"

namespace NexoFrame {

// One item of the application's menu tree (qnd_menu): a node holding sub-items, or a
// function that starts the panel or program named by class_name. Keys below 1000000 are
// the system's base menu and stay read-only unless the system-edit flag is set.
class cDDXMenu : public cDDXRecord {
    Q_OBJECT
    Q_PROPERTY(int parent_id READ parent_id WRITE set_parent_id)
    Q_PROPERTY(int sort_order READ sort_order WRITE set_sort_order)
    Q_PROPERTY(QString caption READ caption WRITE set_caption)
    Q_PROPERTY(QString class_name READ class_name WRITE set_class_name)
    Q_PROPERTY(QString parameter_s READ parameter_s WRITE set_parameter_s)
    Q_PROPERTY(int parameter_i READ parameter_i WRITE set_parameter_i)
    Q_PROPERTY(QString access_key READ access_key WRITE set_access_key)
    Q_PROPERTY(int system_menu READ system_menu WRITE set_system_menu)
    Q_PROPERTY(bool custom_menu READ custom_menu WRITE set_custom_menu)
    Q_PROPERTY(QString picture_name READ picture_name WRITE set_picture_name)
    Q_PROPERTY(QString picture_name_big READ picture_name_big WRITE set_picture_name_big)
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
    Q_PROPERTY(bool toolbar_visible READ toolbar_visible WRITE set_toolbar_visible)

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

    NEXO_LONG(parent_id)
    NEXO_LONG(sort_order)
    NEXO_TEXT(caption)
    NEXO_TEXT(class_name)
    NEXO_TEXT(parameter_s)
    NEXO_LONG(parameter_i)
    NEXO_TEXT(access_key)
    NEXO_LONG(system_menu)
    NEXO_BOOL(custom_menu)
    NEXO_TEXT(picture_name)
    NEXO_TEXT(picture_name_big)
    NEXO_ROLE_SLOTS
    NEXO_BOOL(toolbar_visible)

protected:
    void checks() override;
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXMenu>(); }
};

} // namespace NexoFrame
