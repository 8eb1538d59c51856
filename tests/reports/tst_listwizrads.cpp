#include "Connection.h"
#include "Engine.h"
#include "ListWizard.h"
#include "ListWizrads.h"
#include "ModalDriver.h"
#include "TestSite.h"
#include <QDir>
#include <QLabel>
#include <QAbstractButton>
#include <QMessageBox>
#include <QProcess>
#include <QTest>
#include <QTreeWidget>

using namespace NexoFrame;

class tst_listwizrads : public QObject {
    Q_OBJECT

private slots:
    // Each right switches its own permission: a group whose one slot reaches only that key.
    void rightsReachTheirSwitches()
    {
        TestSite site(7); // Varga Zoltán, a driver: none of the five rights in the demo
        Connection& c = site.db();
        {
            ListWizrads none;
            none.IAddin_AttachToSite(&site, 0, QString());
            for (const auto& [key, property] : ListWizrads::rights()) QVERIFY2(!none.ctl_wizard->property(property).toBool(), property);
            QCOMPARE(none.titleLabel()->text(), QStringLiteral("Listavarázsló"));
            QVERIFY(!none.ctl_wizard->lists().isEmpty()); // the drivers' list his role may use
        }
        QVERIFY(c.execute(QStringLiteral("UPDATE qnd_user_group SET auth_6 = ?, auth_9 = ? WHERE id = 5"),
                          {c.engine().storedBool(false), c.engine().storedBool(true)}));
        for (const auto& [key, property] : ListWizrads::rights()) {
            QVERIFY(c.execute(QStringLiteral("UPDATE qnd_auth_unit SET auth_9 = ?"), {c.engine().storedBool(false)}));
            QVERIFY(c.execute(QStringLiteral("UPDATE qnd_auth_unit SET auth_9 = ? WHERE prefix = ?"), {c.engine().storedBool(true), key}));
            ListWizrads panel;
            panel.IAddin_AttachToSite(&site, 0, QString());
            for (const auto& [other, name] : ListWizrads::rights())
                QVERIFY2(panel.ctl_wizard->property(name).toBool() == (other == key), qPrintable(key + QLatin1Char(' ') + QString::fromLatin1(name)));
        }
    }

    void workFolderMadeOnceAndReused()
    {
        TestSite site(1);
        ListWizrads first;
        const QString folder = QDir(site.db().databaseFolder()).filePath(QStringLiteral("ListWizard"));
        // Beside a SQLite file it is the test's own; a server's is the data folder, left alone.
        if (!isServerTarget(site.target())) QVERIFY(!QFileInfo::exists(folder));
        first.IAddin_AttachToSite(&site, 0, QString());
        QVERIFY(QFileInfo(folder).isDir());
        QCOMPARE(first.ctl_wizard->property("WorkFolder").toString(), folder);
        QFile kept(QDir(folder).filePath(QStringLiteral("export.csv")));
        QVERIFY(kept.open(QIODevice::WriteOnly));
        kept.close();
        ListWizrads second;
        second.IAddin_AttachToSite(&site, 0, QString());
        QVERIFY(kept.exists()); // the same folder, kept as it was
        QCOMPARE(second.ctl_wizard->property("CompanyHeader").toMap().value(QStringLiteral("RegUserNev")).toString(),
                 QStringLiteral("Quandra Demo Kft."));
    }

    // Another process keeps the database locked: a save asks the question every write asks,
    // in the module's message box when the panel hosts the wizard and in a box of its own
    // without a host; "Nem" writes nothing and leaves no lock behind.
    void aSaveUnderAnotherProcesssLockAsksTheRecordsQuestion()
    {
        const QString message = QStringLiteral("Az adatállományt a rendszer nem tudja lokkolni. Valószinűleg valaki más is "
                                               "használja az adatbázist.");
        const QString retry = QStringLiteral("Megpróbáljam újból?");
        const QByteArray definition = R"({"format": "nexo-lista", "version": 1, "source": "qnd_user_list_view",
                                          "columns": [{"field": "display_name"}]})";
        TestSite site(1);
        ListWizrads panel;
        panel.IAddin_AttachToSite(&site, 0, QString());
        Controls::ListWizard bare;
        bare.setProperty("CanEdit", true);
        bare.setProperty("Database", QVariant::fromValue<QObject*>(&site.db()));
        bare.setProperty("UserID", 1);
        QVERIFY(bare.Init());

        QProcess holder;
        holder.start(qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/nexo_lockholder"), {site.target()});
        QVERIFY2(holder.waitForStarted(), qPrintable(holder.errorString()));
        QByteArray out;
        while (!out.contains('\n') && holder.waitForReadyRead(10000)) out += holder.readAllStandardOutput();
        QCOMPARE(out.trimmed(), QByteArray("LOCKED"));
        const int lists = site.db().select(QStringLiteral("SELECT COUNT(*) FROM qnd_list")).value(0).value(0).toInt();

        QStringList asked;
        const auto answer = [&asked](bool again) {
            onNextModal([&asked, again](QWidget* d) {
                asked << dialogText(d);
                if (auto* box = qobject_cast<QMessageBox*>(d)) box->button(again ? QMessageBox::Yes : QMessageBox::No)->click();
                else clickButton(d, again ? QStringLiteral("Igen") : QStringLiteral("Nem"));
            }, 15000);
        };
        answer(true);
        answer(false);
        QCOMPARE(panel.ctl_wizard->saveList(0, QStringLiteral("Zárolt lista"), definition), -1);
        answer(false);
        QCOMPARE(bare.saveList(0, QStringLiteral("Zárolt lista"), definition), -1);
        QCOMPARE(asked.size(), 3);
        for (const QString& text : std::as_const(asked)) {
            QVERIFY2(text.contains(message) && text.contains(retry), qPrintable(text));
            QVERIFY2(!text.contains(QStringLiteral("Megpróbálja újra?")), qPrintable(text));
        }
        QVERIFY(panel.ctl_wizard->lastError().startsWith(QStringLiteral("A lista nem lett mentve.")));
        QCOMPARE(site.db().select(QStringLiteral("SELECT COUNT(*) FROM qnd_list")).value(0).value(0).toInt(), lists);
        QVERIFY(!site.db().transactions().hasMasterLock() && !site.db().transactions().inTransaction());

        // The holder gone, the same save goes through without a question.
        holder.kill();
        QVERIFY(holder.waitForFinished());
        QVERIFY(panel.ctl_wizard->saveList(0, QStringLiteral("Zárolt lista"), definition) > 0);
        QCOMPARE(pendingModalActions(), 0);
        QCOMPARE(expiredModalActions(), 0);
    }

    // The rights tree: every live list under "Listák", ticks written at once.
    void rightsTreeTicks()
    {
        TestSite site(1);
        ListWizradAuths panel;
        panel.IAddin_AttachToSite(&site, 0, QString());
        auto* tree = panel.findChild<QTreeWidget*>();
        QVERIFY(tree);
        QTreeWidgetItem* root = tree->topLevelItem(0);
        QCOMPARE(root->text(0), QStringLiteral("Listák"));
        QCOMPARE(root->childCount(), site.db().select(QStringLiteral("SELECT COUNT(*) FROM qnd_list WHERE del_status=0")).value(0).value(0).toInt());
        QCOMPARE(panel.titleLabel()->text(), QStringLiteral("Listák jogosultságainak beállítása"));
    }
};

QTEST_MAIN(tst_listwizrads)
#include "tst_listwizrads.moc"
