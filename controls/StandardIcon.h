#pragma once
#include <QHash>
#include <QIcon>
#include <QProxyStyle>

namespace NexoFrame::Controls {

// The application's style with its icons made once: the style reads and decodes its image
// files anew for every icon it hands out, which every toolbar (its overflow arrow), line edit
// (its clear button) and command bar paid each time a panel opened. Everything else is the
// style's as it was.
class StyleWithKeptIcons : public QProxyStyle {
public:
    explicit StyleWithKeptIcons(QStyle* base) : QProxyStyle(base) {}
    QIcon standardIcon(StandardPixmap which, const QStyleOption* option = nullptr, const QWidget* widget = nullptr) const override;

protected:
    void polish(QApplication* app) override;

private:
    mutable QHash<int, QIcon> m_made;
};

// Puts StyleWithKeptIcons in front of the application's current style (once). The shell does
// this at its start, for every panel and dialog.
void keepStyleIcons();

} // namespace NexoFrame::Controls
