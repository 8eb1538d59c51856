#pragma once
#include <QHash>
#include <QIcon>
#include <QStyle>

namespace NexoFrame::Controls {

// A picture of the style, made once: the style reads and decodes its image files anew for
// every icon it hands out, which a panel with a dozen commands pays each time it opens.
inline QIcon standardIcon(const QStyle* style, QStyle::StandardPixmap which)
{
    static QHash<QPair<const QStyle*, int>, QIcon> made;
    const QPair<const QStyle*, int> key{style, int(which)};
    auto it = made.constFind(key);
    if (it == made.constEnd()) it = made.insert(key, style->standardIcon(which));
    return *it;
}

} // namespace NexoFrame::Controls
