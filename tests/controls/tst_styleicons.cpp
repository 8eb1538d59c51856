// The shell's style keeps the icons it made: Qt's own widgets get the same picture each
// time, a right-to-left widget its own arrow, and putting the style in front twice is once.
#include "StandardIcon.h"
#include <QApplication>
#include <QLineEdit>
#include <QStyle>
#include <QStyleOption>
#include <QtTest>

using namespace NexoFrame::Controls;

class TstStyleIcons : public QObject {
    Q_OBJECT
private slots:
    void iconsMadeOnce()
    {
        keepStyleIcons();
        QStyle* style = QApplication::style();
        QVERIFY(dynamic_cast<StyleWithKeptIcons*>(style));
        keepStyleIcons();
        QCOMPARE(QApplication::style(), style);
        QVERIFY(!dynamic_cast<StyleWithKeptIcons*>(static_cast<QProxyStyle*>(style)->baseStyle()));

        // As a line edit asks for its clear button: with an option of its state.
        QLineEdit a, b;
        b.setEnabled(false);
        QStyleOptionFrame oa, ob;
        oa.initFrom(&a);
        ob.initFrom(&b);
        const QIcon first = style->standardIcon(QStyle::SP_LineEditClearButton, &oa, &a);
        QVERIFY(!first.isNull());
        QCOMPARE(style->standardIcon(QStyle::SP_LineEditClearButton, &ob, &b).cacheKey(), first.cacheKey());

        // Written the other way, an arrow of its own, also kept.
        QStyleOption ltr, rtl;
        ltr.initFrom(&a);
        rtl.initFrom(&a);
        rtl.direction = Qt::RightToLeft;
        const QIcon ltrArrow = style->standardIcon(QStyle::SP_ArrowForward, &ltr, &a);
        const QIcon rtlArrow = style->standardIcon(QStyle::SP_ArrowForward, &rtl, &a);
        QCOMPARE(style->standardIcon(QStyle::SP_ArrowForward, &rtl, &a).cacheKey(), rtlArrow.cacheKey());
        QVERIFY(rtlArrow.pixmap(16).toImage() != ltrArrow.pixmap(16).toImage());
        QCOMPARE(style->standardIcon(QStyle::SP_ArrowForward).cacheKey(), ltrArrow.cacheKey());
    }
};

QTEST_MAIN(TstStyleIcons)
#include "tst_styleicons.moc"
