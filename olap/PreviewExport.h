#pragma once
#include <QList>
#include <QString>
#include <functional>

class QPushButton;
class QWidget;

namespace NexoFrame {

namespace Olap {
class OlapPreview;
}

// The exports of a report's preview as buttons, "CSV mentése…" (cmd_csv) and "PDF mentése…"
// (cmd_pdf): each asks where to save, named after `title()`, and writes what `preview` shows;
// a failure is shown as the module's error message. The report form's preview tab and the
// panel's preview dialog show the same two.
QList<QPushButton*> previewExportButtons(Olap::OlapPreview* preview, QWidget* parent, const std::function<QString()>& title);

} // namespace NexoFrame
