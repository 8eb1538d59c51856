#pragma once
#include "AdminPanel.h"
#include "RightsPath.h"
#include <QSet>

class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QLabel;
class QLineEdit;
class QRadioButton;
class QSpinBox;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace NexoFrame {

// Answers the administrator's questions about rights in one place: why a user may or may
// not (the path from the user through his group and its role slots to the deciding unit),
// and what a user or a group may, side by side with another. Every answer comes from the
// same computation as the rights test and the shell's menu.
class RightsExplorer : public AdminPanel {
    Q_OBJECT
public:
    explicit RightsExplorer(QWidget* parent = nullptr);

    QTabWidget* tabs = nullptr;
    // "Miért?"
    QComboBox* cbo_user = nullptr;
    QComboBox* cbo_kind = nullptr;  // a rights key, a menu item, a printed report, an OLAP report, a list
    QLineEdit* txt_key = nullptr;
    QComboBox* cbo_item = nullptr;
    QTreeWidget* tree_path = nullptr;
    QLabel* lbl_decision = nullptr;
    // "Hatályos jogok"
    QRadioButton* opt_users = nullptr;
    QRadioButton* opt_groups = nullptr;
    QComboBox* cbo_subject = nullptr;
    QComboBox* cbo_compare = nullptr;
    QLineEdit* txt_filter = nullptr;
    QCheckBox* chk_differences = nullptr;
    QTreeWidget* tree_rights = nullptr;
    // "Előzmények"
    QDateTimeEdit* dtp_from = nullptr;
    QDateTimeEdit* dtp_to = nullptr;
    QTreeWidget* tree_changes = nullptr;
    QComboBox* cbo_revert_role = nullptr;
    QDateTimeEdit* dtp_moment = nullptr;
    QLabel* lbl_history_start = nullptr; // since when the history is kept, once pruned
    // "Nem használt jogok"
    QComboBox* cbo_unused_role = nullptr;
    QSpinBox* spn_days = nullptr;
    QTreeWidget* tree_unused = nullptr;

    // The why-path of a user and a key, shown.
    RightPath showWhy(int userId, const QString& key);
    enum ItemKind { KeyKind, MenuKind, ReportKind, OlapKind, ListKind };
    // The why-path of a user and an item of a rights tree, shown; whether he reaches it.
    bool showWhyItem(int userId, int kind, int itemId);
    // Whether a holder (a user, or a group alone) reaches the item: the rule that shows it
    // (the shell's menu, the reports panel, the list wizard, the OLAP tree).
    bool reaches(int kind, int itemId, const Holder& holder) const;
    // The effective rights of the chosen subject (and the compared one), shown.
    void showRights();
    // Whether a user's logins (or a group's members') need the second step, and why: "igen (…)"
    // with what requires it, "igen (bekapcsolta)" when only he chose it, or "nem".
    QString twoStepText(bool user, int id) const;
    // What the rights list shows, as CSV.
    bool exportRights(const QString& path, QString* error = nullptr);
    // The changes kept between the two moments chosen, shown.
    void showChanges();
    // The chosen role's ticks in every rights tree as they stood at the chosen moment, beside
    // today's (the differing ones marked).
    void showStateAt();
    // The menu items and reports the chosen role's users may open but have not opened in the
    // chosen number of days, shown with a tick each.
    void showUnused();
    // Revokes the ticked ones for that role, as one change kept in the history, after asking.
    bool revokeUnused();
    // Puts the chosen role (or every right) back as it stood at the chosen moment, after
    // showing the changes that takes and asking; true when it was written.
    bool revert();
    // How a history row names what changed: the table, the row, the column.
    QString tableText(const QString& table) const;
    QString rowText(const QString& table, int row) const;
    QString columnText(const QString& column, const QString& table = {}) const;
    QString valueText(const QString& column, const QString& value) const;
    QString rowPath(int menuId) const;

protected:
    void InitializeSite() override;

private:
    void fillSubjects();
    // Since when the history is kept, and how far back the unused grants may look.
    void showKeeping();
    void fillItems();
    QTreeWidgetItem* showWho(const RightPath& p);
    void applyFilter();
    QString roleName(int slot) const;
    QString roleNames(RoleSet roles) const; // "nincs" for none
    QStringList m_roleNames;
};

} // namespace NexoFrame
