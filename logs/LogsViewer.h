#pragma once
#include "AdminPanel.h"

class QCheckBox;
class QDateEdit;
class QToolBar;

namespace NexoFrame {

namespace Controls {
class BrowseView;
class LazyComboBox;
}

// Who opened which menu item (mode 0) or which report (mode 1), and when, newest first,
// for everyone or for one user. Reads only.
class LogsViewer : public AdminPanel {
    Q_OBJECT
public:
    static constexpr int kMenuLogView = 53;
    static constexpr int kReportLogView = 54;

    explicit LogsViewer(QWidget* parent = nullptr);

    Controls::BrowseView* brw_item = nullptr;
    QToolBar* cmd_bar = nullptr;
    // "- Minden felhasználó -", and the users once the list is opened or stepped through.
    Controls::LazyComboBox* cbo_user = nullptr;

    QCheckBox* chk_period = nullptr;
    QDateEdit* dtp_from = nullptr;
    QDateEdit* dtp_to = nullptr;

    // Narrows the log to one user (-1: everyone), as choosing in the combo does.
    void selectUser(int userId);
    // Narrows it to the days from..to, both included; a null `from` lifts the limit.
    void selectPeriod(const QDate& from, const QDate& to);
    // What the list shows, every row of it, into a CSV file (asks where when `path` is empty).
    bool exportCsv(QString path = QString());

protected:
    void InitializeSite() override;

private:
    void applyFilter();
    int m_userId = -1;
};

} // namespace NexoFrame
