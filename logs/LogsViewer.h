#pragma once
#include "AdminPanel.h"

class QComboBox;
class QToolBar;

namespace NexoFrame {

namespace Controls {
class BrowseView;
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
    QComboBox* cbo_user = nullptr;

    // Narrows the log to one user (-1: everyone), as choosing in the combo does.
    void selectUser(int userId);

protected:
    void InitializeSite() override;
};

} // namespace NexoFrame
