#include "StandardIcon.h"
#include <QApplication>
#include <QStyleFactory>
#include <QStyleOption>

namespace NexoFrame::Controls {

QIcon StyleWithKeptIcons::standardIcon(StandardPixmap which, const QStyleOption* option, const QWidget* widget) const
{
    // A standard icon differs only by the direction of writing (an arrow points the other
    // way), whatever else the asking widget's state; without an option, the style takes the
    // application's.
    const Qt::LayoutDirection direction = option ? option->direction : QGuiApplication::layoutDirection();
    const int key = int(which) * 2 + (direction == Qt::RightToLeft ? 1 : 0);
    auto it = m_made.constFind(key);
    if (it == m_made.constEnd()) it = m_made.insert(key, QProxyStyle::standardIcon(which, option, widget));
    return *it;
}

void StyleWithKeptIcons::polish(QApplication* app)
{
    // Polished again when the desktop's theme changes: its icons with it.
    m_made.clear();
    QProxyStyle::polish(app);
}

void keepStyleIcons()
{
    if (dynamic_cast<StyleWithKeptIcons*>(QApplication::style())) return;
    // A base of its own: the application deletes its current style when it takes the new one.
    if (QStyle* base = QStyleFactory::create(QApplication::style()->name())) QApplication::setStyle(new StyleWithKeptIcons(base));
}

} // namespace NexoFrame::Controls
