// Qt's own dialogs and buttons speak Hungarian in the shell: its application object loads
// Qt's translations (qt6-translations-l10n) from where this Qt keeps them.
#include "ShellApplication.h"
#include <QDialogButtonBox>
#include <QPushButton>
#include <QTest>

class TstQtTexts : public QObject {
    Q_OBJECT
private slots:
    void standardButtonsAreHungarian()
    {
        QDialogButtonBox box(QDialogButtonBox::Cancel | QDialogButtonBox::Save | QDialogButtonBox::Close);
        QCOMPARE(box.button(QDialogButtonBox::Cancel)->text(), QStringLiteral("Mégse"));
        QCOMPARE(box.button(QDialogButtonBox::Save)->text(), QStringLiteral("Mentés"));
        QCOMPARE(box.button(QDialogButtonBox::Close)->text(), QStringLiteral("Bezárás"));
    }
};

int main(int argc, char** argv)
{
    NexoFrame::Shell::Application app(argc, argv);
    TstQtTexts test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_qt_texts.moc"
