#pragma once
#include "TreePanel.h"
#include <QTest>
#include <QTreeWidget>

namespace NexoFrame {

// Ctrl+Z in a rights tree as the user presses it. The shortcut belongs to the window the user
// works in, so the panel is shown and made active first; false when it could not be.
inline bool pressUndo(TreePanel& panel)
{
    panel.show();
    panel.activateWindow();
    if (!QTest::qWaitForWindowActive(&panel)) return false;
    panel.tree_Item->setFocus();
    QTest::keySequence(panel.tree_Item, QKeySequence::Undo);
    return true;
}

} // namespace NexoFrame
