#pragma once
#include <QComboBox>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QStyleOptionComboBox>
#include <QWheelEvent>
#include <algorithm>
#include <functional>

namespace NexoFrame::Controls {

// A combo box whose items are read the first time someone could need them: its list opened,
// the box focused (the keys step through the items), the wheel turned over it, or fill()
// asked. Until then it holds what was put in it first, such as an "everyone" item, so that
// a panel showing a long lookup list opens without reading it.
class LazyComboBox : public QComboBox {
public:
    using Filler = std::function<void(QComboBox*)>;
    using QComboBox::QComboBox;

    // The items to add at the first need; replaces an earlier filler, unread again.
    void setFiller(Filler filler)
    {
        m_filler = std::move(filler);
        m_filled = false;
    }
    // Adds the items now if they are not there yet, keeping the current item and telling no
    // one about the change.
    void fill()
    {
        if (m_filled || !m_filler) return;
        m_filled = true;
        const bool blocked = blockSignals(true);
        m_filler(this);
        blockSignals(blocked);
    }
    void showPopup() override
    {
        fill();
        QComboBox::showPopup();
    }
    // Its items are not there to measure: as wide as its minimum contents length, if it has
    // one, and an icon. (Asking QComboBox for that sizing makes its popup list at once.)
    QSize sizeHint() const override
    {
        if (minimumContentsLength() <= 0) return QComboBox::sizeHint();
        const QFontMetrics fm = fontMetrics();
        const QSize content(minimumContentsLength() * fm.horizontalAdvance(QLatin1Char('X')) + iconSize().width() + 4,
                            std::max({fm.height(), 14, iconSize().height()}) + 2);
        QStyleOptionComboBox opt;
        initStyleOption(&opt);
        return style()->sizeFromContents(QStyle::CT_ComboBox, &opt, content, this);
    }
    QSize minimumSizeHint() const override { return minimumContentsLength() > 0 ? sizeHint() : QComboBox::minimumSizeHint(); }

protected:
    void focusInEvent(QFocusEvent* e) override
    {
        fill();
        QComboBox::focusInEvent(e);
    }
    void keyPressEvent(QKeyEvent* e) override
    {
        fill();
        QComboBox::keyPressEvent(e);
    }
    void wheelEvent(QWheelEvent* e) override
    {
        fill();
        QComboBox::wheelEvent(e);
    }

private:
    Filler m_filler;
    bool m_filled = true;
};

} // namespace NexoFrame::Controls
