#include "ShellUpgrade.h"
#include "Connection.h"
#include "ShellConfig.h"
#include "ShellNotices.h"
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>

namespace NexoFrame::Shell {

namespace {
const QString kTitle = QStringLiteral("Adatbázis frissítése");
} // namespace

bool backupBeforeUpgrade(QWidget* parent, Connection& c, int userId) { return backupDatabase(parent, c, userId); }

AfterLogin passUpgradeGate(QWidget* parent, Connection& c, int userId)
{
    switch (SchemaUpgrade::gate(c, userId)) {
    case SchemaUpgrade::Gate::Open: return AfterLogin::Work;
    case SchemaUpgrade::Gate::Refuse: Notices::error(parent, SchemaUpgrade::refusedMessage()); return AfterLogin::Stop;
    case SchemaUpgrade::Gate::Ask: break;
    }
    if (Notices::console()) {
        Notices::error(parent, SchemaUpgrade::question(c).section(QStringLiteral("\n\n"), 0, 0)
                                   + QStringLiteral("\n\nFelügyelet nélküli futásban a program nem frissíti az adatbázist: "
                                                    "indítsa el ablakban, jelentkezzen be, és ott frissítse."));
        return AfterLogin::Stop;
    }
    for (bool go = false; !go;) {
        QMessageBox box(QMessageBox::Question, kTitle, SchemaUpgrade::question(c), QMessageBox::NoButton, parent);
        box.setObjectName(QStringLiteral("msgUpgrade"));
        QPushButton* backup = box.addButton(QStringLiteral("Mentés, majd frissítés…"), QMessageBox::AcceptRole);
        QPushButton* plain = box.addButton(QStringLiteral("Frissítés mentés nélkül"), QMessageBox::DestructiveRole);
        QPushButton* quit = box.addButton(QStringLiteral("Kilépés"), QMessageBox::RejectRole);
        box.setDefaultButton(backup);
        box.setEscapeButton(quit);
        box.exec();
        if (box.clickedButton() != backup && box.clickedButton() != plain) return AfterLogin::Quit;
        // A backup that was not made (cancelled, refused, failed) asks again.
        go = box.clickedButton() == plain || backupBeforeUpgrade(parent, c, userId);
    }
    QString error;
    bool ok = false;
    {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        const auto restore = qScopeGuard([] { QApplication::restoreOverrideCursor(); });
        ok = SchemaUpgrade::upgrade(c, &error, Notices::lockQuestion(parent));
    }
    if (!ok) {
        Notices::error(parent, error);
        return AfterLogin::Stop;
    }
    QMessageBox::information(parent, kTitle, SchemaUpgrade::doneMessage(c));
    return AfterLogin::Work;
}

} // namespace NexoFrame::Shell
