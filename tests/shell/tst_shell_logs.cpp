#include "DateFormats.h"
#include "LogKeeping.h"
#include "ModalDriver.h"
#include "ShellApplication.h"
#include "ShellFixture.h"
#include "Snapshots.h"
#include "ShellLogs.h"
#include "ShellNotices.h"
#include "ShellWindow.h"
#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

using namespace NexoFrame;
using namespace NexoFrame::Shell;

class TstShellLogs : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        Notices::clearLast();
        resetModalDriver();
    }

    // "Naplók karbantartása…" stands for holders of its key only and refuses anyone else;
    // its dialog refuses a period shorter than the unused-grant window, keeps the periods
    // and archives the older rows to CSV.
    void maintenanceFollowsItsRightAndPrunes()
    {
        ShellFixture f;
        QVERIFY(f.open());
        const int menuItem = f.count(QStringLiteral("SELECT MIN(id) FROM qnd_menu WHERE class_name <> ''"));
        QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (800, 1, ?, ?)"),
                              {menuItem, QDateTime::currentDateTime().addDays(-800).toString(DateFormats::kStored)}));
        LoggedIn bela(f, QStringLiteral("kiss.bela"), QStringLiteral("bela123"));
        QVERIFY(!bela.window->findChild<QAction*>(QStringLiteral("act_logs_maintain")));
        Notices::setConsole(true);
        QVERIFY(!bela.window->maintainLogs()); // no dialog comes up: nothing queued answers one
        QVERIFY2(Notices::last().contains(QStringLiteral("Nincs joga a naplók karbantartásához")), qPrintable(Notices::last()));

        LoggedIn admin(f, QStringLiteral("admin"), QStringLiteral("admin"));
        QAction* act = admin.window->findChild<QAction*>(QStringLiteral("act_logs_maintain"));
        QVERIFY(act);
        QCOMPARE(act->text().remove(QLatin1Char('&')), QStringLiteral("Naplók karbantartása…"));
        const QString folder = f.path(QStringLiteral("archivum"));
        QVERIFY(QDir().mkpath(folder));
        bool driven = false;
        onNextModal([&](QWidget* d) {
            auto* dlg = qobject_cast<LogMaintenanceDialog*>(d);
            QVERIFY(dlg);
            QCOMPARE(dlg->windowTitle(), QStringLiteral("Naplók karbantartása"));
            auto* menuDays = dlg->findChild<QSpinBox*>(QStringLiteral("spn_menu_log"));
            QVERIFY(menuDays);
            QCOMPARE(menuDays->value(), 0);
            QCOMPARE(menuDays->text(), QStringLiteral("örökre"));
            menuDays->setValue(30);
            QTest::mouseClick(dlg->cmd_save, Qt::LeftButton);
            QVERIFY2(Notices::last().contains(QStringLiteral("legalább 90 nap")), qPrintable(Notices::last()));
            QCOMPARE(LogKeeping::periods(*f.db).days[LogKeeping::MenuLog], 0);
            menuDays->setValue(365);
            QVERIFY(dlg->lbl_older[0]->text().startsWith(QStringLiteral("1 sor")));
            dlg->txt_folder->setText(folder);
            keepPicture(dlg, QStringLiteral("logs_maintenance"));
            QTest::mouseClick(dlg->cmd_prune, Qt::LeftButton);
            QVERIFY2(dlg->lbl_result->text().contains(QStringLiteral("Menü log: 1 sor")), qPrintable(dlg->lbl_result->text() + Notices::last()));
            QVERIFY(dlg->lbl_older[0]->text().startsWith(QStringLiteral("0 sor")));
            driven = true;
            QTest::mouseClick(dlg->cmd_close, Qt::LeftButton);
        });
        act->trigger();
        Notices::setConsole(false);
        QVERIFY(driven);
        QCOMPARE(expiredModalActions(), 0);
        f.db->settings().forget();
        QCOMPARE(LogKeeping::periods(*f.db).days[LogKeeping::MenuLog], 365);
        QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log WHERE id = 800")), 0);
        const QStringList files = QDir(folder).entryList({QStringLiteral("menunaplo-*.csv")});
        QCOMPARE(files.size(), 1);
        QFile archive(QDir(folder).filePath(files.first()));
        QVERIFY(archive.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = archive.readAll().split('\n');
        QCOMPARE(lines.size(), 3); // header, the row, the end
        QVERIFY(lines[1].startsWith("800;"));
    }

    // --prune-logs runs as cron runs it, with no display: the database's own periods, one
    // archive per log, exit status 0; a period shorter than the window stored by another
    // program, or a missing folder, is 1 and deletes nothing.
    void pruneFromTheCommandLine()
    {
        ShellFixture f;
        QVERIFY(f.open());
        const auto run = [](const QStringList& args, QString* said) { return runShell(args, said, 60000); };
        const QString old = QDateTime::currentDateTime().addDays(-30).toString(DateFormats::kStored);
        QVERIFY(f.db->execute(QStringLiteral("INSERT INTO qnd_login_failure (id, user_name, failed_at, machine) VALUES (700, 'senki', ?, 'gep')"), {old}));
        const QString folder = f.path(QStringLiteral("cron"));
        QVERIFY(QDir().mkpath(folder));
        QString said;
        QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("ReportLogKeepDays"), QStringLiteral("7")));
        QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("LoginFailureKeepDays"), QStringLiteral("20")));
        QCOMPARE(run({"--prune-logs", folder, "--db", f.dbPath()}, &said), 1);
        QVERIFY2(said.contains(QStringLiteral("Kimutatás log")) && said.contains(QStringLiteral("legalább 90 nap")), qPrintable(said));
        QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE id = 700")), 1);
        QVERIFY(f.db->settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("ReportLogKeepDays"), QStringLiteral("0")));
        QCOMPARE(run({"--prune-logs", f.path(QStringLiteral("nincs")), "--db", f.dbPath()}, &said), 1);
        QVERIFY2(said.contains(QStringLiteral("mappája nem létezik")), qPrintable(said));
        QCOMPARE(run({"--prune-logs", folder, "--db", f.dbPath()}, &said), 0);
        QVERIFY2(said.contains(QStringLiteral("Sikertelen belépések: 1 sor")), qPrintable(said));
        QCOMPARE(f.count(QStringLiteral("SELECT COUNT(*) FROM qnd_login_failure WHERE id = 700")), 0);
        QCOMPARE(QDir(folder).entryList({QStringLiteral("sikertelen-belepesek-*.csv")}).size(), 1);
        QCOMPARE(run({"--prune-logs", folder, "--db", f.dbPath()}, &said), 0);
        QVERIFY2(said.contains(QStringLiteral("Nincs a megőrzési időknél régebbi naplósor")), qPrintable(said));
    }
};

int main(int argc, char** argv)
{
    Application app(argc, argv);
    TstShellLogs test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_shell_logs.moc"
