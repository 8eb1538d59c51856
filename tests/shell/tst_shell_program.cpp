#include "ShellApplication.h"
#include "ShellFixture.h"
#include "ShellNotices.h"
#include "ShellOptions.h"
#include "ShellProgram.h"
#include "ReadOnlySource.h"
#include "ReaderRole.h"
#include <QFileInfo>
#include <QImage>
#include <QProcess>

using namespace NexoFrame;
using namespace NexoFrame::Shell;

namespace {

const QString kStandIn = QStringLiteral(NEXO_TEST_MODULE);

int runShell(const QString& library, QStringList args)
{
    args.prepend(QStringLiteral("nexo-shell"));
    const int code = Program(library).run(args);
    Notices::setConsole(false);
    return code;
}

QStringList asAdmin(const ShellFixture& f, const QStringList& more)
{
    return QStringList{"--db", f.dbPath(), "--user", "admin", "--password", "admin"} + more;
}

} // namespace

class TstShellProgram : public QObject {
    Q_OBJECT
private slots:
    void badCommandLinesAreRefused_data();
    void badCommandLinesAreRefused();
    void refusedLoginExitsWithTwo();
    void firstRunMakesDemoDatabaseAndRegisters();
    void changedModuleIsRegisteredAgain();
    void screenshotShowsTheOpenedPanel();
    void panelThatDoesNotOpenGivesNoPicture();
    void registerAndUnregister();
    void realModuleScreenshot();
    void serverRefusalsExitWithOne_data();
    void serverRefusalsExitWithOne();
    void twoShellsMakingOneDatabaseAtOnce();
    void readerRoleCommands();
    void commandsRunWithoutADisplay();
};

void TstShellProgram::badCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("said");
    QTest::newRow("unknown option") << QStringList{"--nincs"} << "Ismeretlen kapcsoló: nincs";
    QTest::newRow("missing value") << QStringList{"--db"} << "hiányzik az érték";
    QTest::newRow("mode not a number") << QStringList{"--open", "X.Y", "--mode", "egy"} << "egész szám";
    QTest::newRow("mode without open") << QStringList{"--mode", "1"} << "--open";
    QTest::newRow("screenshot needs a login") << QStringList{"--screenshot", "a.png"} << "--user";
    QTest::newRow("code needs a login") << QStringList{"--code", "123456"} << "A --code csak a --user";
    QTest::newRow("two commands") << QStringList{"--check", "--backup", "a.bak"} << "Egyszerre csak egy parancs";
}

void TstShellProgram::badCommandLinesAreRefused()
{
    QFETCH(QStringList, args);
    QFETCH(QString, said);
    ShellFixture f;
    QCOMPARE(runShell(kStandIn, args), int(Program::Failed));
    QVERIFY2(Notices::last().contains(said), qPrintable(Notices::last()));
    QVERIFY(!QFileInfo::exists(Program::defaultDatabasePath()));
}

void TstShellProgram::refusedLoginExitsWithTwo()
{
    ShellFixture f;
    const QString png = f.path(QStringLiteral("out.png"));
    const QList<QStringList> refused{{"admin", "rossz", "Hibás felhasználónév vagy jelszó."},
                                     {"toth.gabor", "gabor123", "törölve"},
                                     {"szabo.eva", "eva123", "le van tiltva"}};
    for (const QStringList& r : refused) {
        QCOMPARE(runShell(kStandIn, {"--db", f.dbPath(), "--user", r[0], "--password", r[1], "--screenshot", png}),
                 int(Program::LoginRefused));
        QVERIFY2(Notices::last().contains(r[2]), qPrintable(Notices::last()));
    }
    QVERIFY(!QFileInfo::exists(png));
}

void TstShellProgram::firstRunMakesDemoDatabaseAndRegisters()
{
    // Without --db: the demo file in the data folder, or the database NEXO_DB names.
    ShellFixture f;
    QString demo = Program::defaultDatabasePath();
    QVERIFY(demo.startsWith(f.path(QStringLiteral("data"))));
    if (testingPostgres()) {
        demo = f.dbPath();
        qputenv("NEXO_DB", demo.toUtf8());
    }
    const QStringList args{"--user", "admin", "--password", "admin", "--screenshot", f.path(QStringLiteral("a.png"))};
    QCOMPARE(runShell(kStandIn, args), int(Program::Done));
    QVERIFY(testingPostgres() || QFileInfo::exists(demo));
    QVERIFY(ClassRegistry(f.registryPath()).contains(QStringLiteral("NexoTest.Panel")));

    // The second run finds the demo data in place and adds none.
    QCOMPARE(runShell(kStandIn, args), int(Program::Done));
    qunsetenv("NEXO_DB");
    QString error;
    auto c = Connection::openDatabase(demo, Connection::DemoData::None, &error);
    QVERIFY2(c, qPrintable(error));
    QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user")).first().value(0).toInt(), 7);
}

void TstShellProgram::changedModuleIsRegisteredAgain()
{
    ShellFixture f;
    const QStringList args = asAdmin(f, {"--screenshot", f.path(QStringLiteral("a.png"))});
    // Registered earlier with fewer panels, and the library has not changed since.
    f.standIn({QStringLiteral("NexoFrame.AuthUnits")});
    QCOMPARE(runShell(kStandIn, args), int(Program::Done));
    QVERIFY(!ClassRegistry(f.registryPath()).contains(QStringLiteral("NexoTest.Panel")));

    QFile registry(f.registryPath());
    QVERIFY(registry.open(QIODevice::ReadWrite));
    QVERIFY(registry.setFileTime(QFileInfo(kStandIn).lastModified().addSecs(-60), QFileDevice::FileModificationTime));
    registry.close();
    QCOMPARE(runShell(kStandIn, args), int(Program::Done));
    QVERIFY(ClassRegistry(f.registryPath()).contains(QStringLiteral("NexoTest.Panel")));
}

void TstShellProgram::screenshotShowsTheOpenedPanel()
{
    ShellFixture f;
    const QString bare = f.path(QStringLiteral("bare.png"));
    const QString png = f.path(QStringLiteral("panel.png"));
    QVERIFY(f.open());
    f.menuItems({QStringLiteral("NexoTest.Panel")});
    QCOMPARE(runShell(kStandIn, asAdmin(f, {"--screenshot", bare})), int(Program::Done));
    QCOMPARE(runShell(kStandIn, asAdmin(f, {"--open", "NexoTest.Panel", "--mode", "1", "--screenshot", png})), int(Program::Done));
    const QImage image(png);
    QCOMPARE(image.size(), QSize(1200, 800));
    // The panel is in the picture, not only the empty window around it.
    QVERIFY(QImage(bare) != image);
}

void TstShellProgram::panelThatDoesNotOpenGivesNoPicture()
{
    ShellFixture f;
    const QString png = f.path(QStringLiteral("panel.png"));
    QVERIFY(f.open());
    f.menuItems({QStringLiteral("NexoTest.Ismeretlen")});
    QCOMPARE(runShell(kStandIn, asAdmin(f, {"--open", "NexoTest.Ismeretlen", "--screenshot", png})), int(Program::PanelFailed));
    QVERIFY(Notices::last().contains(QStringLiteral("NexoTest.Ismeretlen")));
    QVERIFY2(Notices::last().contains(QStringLiteral("nincs regisztrálva")), qPrintable(Notices::last()));
    QVERIFY(!QFileInfo::exists(png));
    // A panel that no item of the user's menu opens, in that mode, is refused before it is made.
    f.standIn({QStringLiteral("NexoFrame.Users"), QStringLiteral("NexoFrame.OLAPReports")});
    const QList<QStringList> refused{{"nagy.peter", "peter123", "NexoFrame.Users", "0"},
                                     {"nagy.peter", "peter123", "NexoFrame.OLAPReports", "1"},
                                     {"kiss.bela", "bela123", "NexoFrame.OLAPReports", "0"},
                                     {"admin", "admin", "NexoFrame.Users", "7"}};
    for (const QStringList& r : refused) {
        QCOMPARE(runShell(kStandIn, {"--db", f.dbPath(), "--user", r[0], "--password", r[1], "--open", r[2], "--mode", r[3], "--screenshot", png}),
                 int(Program::PanelFailed));
        QVERIFY2(Notices::last().contains(QStringLiteral("Önnek nincs joga az adott funkcióhoz!")), qPrintable(Notices::last()));
        QVERIFY(!QFileInfo::exists(png));
    }
    QCOMPARE(runShell(kStandIn, {"--db", f.dbPath(), "--user", "nagy.peter", "--password", "peter123", "--open", "NexoFrame.OLAPReports",
                                 "--screenshot", png}),
             int(Program::Done));
}

void TstShellProgram::registerAndUnregister()
{
    ShellFixture f;
    ClassRegistry registry(f.registryPath());
    QCOMPARE(runShell(QString(), {"--register", kStandIn}), int(Program::Done));
    QCOMPARE(registry.entry(QStringLiteral("NexoTest.Panel")).library, QFileInfo(kStandIn).absoluteFilePath());
    QCOMPARE(runShell(QString(), {"--unregister", kStandIn}), int(Program::Done));
    QVERIFY(registry.progIds().isEmpty());
    QCOMPARE(runShell(QString(), {"--register", f.path(QStringLiteral("nincs.so"))}), int(Program::Failed));
    QVERIFY(Notices::last().contains(QStringLiteral("nem található")));
}

void TstShellProgram::realModuleScreenshot()
{
    const QString lib = qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/libNexoFrame.so");
    if (!QFileInfo::exists(lib)) QSKIP("the module library is not built");
    ShellFixture f;
    const QString png = f.path(QStringLiteral("authunits.png"));
    QCOMPARE(runShell(lib, asAdmin(f, {"--open", "NexoFrame.AuthUnits", "--mode", "1", "--screenshot", png})), int(Program::Done));
    QCOMPARE(QImage(png).size(), QSize(1200, 800));
}

void TstShellProgram::serverRefusalsExitWithOne_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("said");
    if (!testingPostgres()) return;
    QTest::newRow("server down") << "postgresql://postgres@127.0.0.1:1/nexo" << "nem érhető el";
    QTest::newRow("wrong password") << TestDatabase::serverUri("nexo_pw", "rossz", "postgres")
                                    << "hibás a felhasználónév vagy a jelszó";
    QTest::newRow("missing database") << TestDatabase::serverUri("postgres", QString(), "nincs_ilyen") << "nem létezik";
}

void TstShellProgram::serverRefusalsExitWithOne()
{
    if (!testingPostgres()) QSKIP("servers are PostgreSQL's");
    QFETCH(QString, target);
    QFETCH(QString, said);
    ShellFixture f;
    const QString png = f.path(QStringLiteral("out.png"));
    QCOMPARE(runShell(kStandIn, {"--db", target, "--user", "admin", "--password", "admin", "--screenshot", png}),
             int(Program::Failed));
    QVERIFY2(Notices::last().contains(QStringLiteral("Az adatbázis nem nyitható meg.")), qPrintable(Notices::last()));
    QVERIFY2(Notices::last().contains(said), qPrintable(Notices::last()));
    QVERIFY(!Notices::last().contains(QStringLiteral("rossz")));
    QVERIFY(!QFileInfo::exists(png));
}

void TstShellProgram::twoShellsMakingOneDatabaseAtOnce()
{
    // Two shells started at the same moment on a database that does not exist yet (an
    // empty server database): both end up on it, with the demo data once, and the
    // database stays.
    const QString bin = qEnvironmentVariable("NEXO_TEST_BIN");
    ShellFixture f;
    QCOMPARE(runShell(QString(), {"--register", bin + QStringLiteral("/libNexoFrame.so")}), int(Program::Done));
    for (int round = 0; round < 6; ++round) {
        TestDatabase db;
        QProcess shells[2];
        for (int k = 0; k < 2; ++k) {
            shells[k].setProcessChannelMode(QProcess::MergedChannels);
            shells[k].setProgram(bin + QStringLiteral("/nexo-shell"));
            shells[k].setArguments({"--db", db.target(), "--user", "admin", "--password", "admin", "--screenshot",
                                    f.path(QStringLiteral("r%1-%2.png").arg(round).arg(k))});
        }
        shells[0].start();
        shells[1].start();
        for (QProcess& s : shells) {
            QVERIFY(s.waitForFinished(60000));
            QVERIFY2(s.exitStatus() == QProcess::NormalExit && s.exitCode() == 0, s.readAll().constData());
        }
        if (!testingPostgres()) QVERIFY(QFileInfo::exists(db.target()));
        QString error;
        auto c = Connection::openDatabase(db.target(), Connection::DemoData::None, &error);
        QVERIFY2(c, qPrintable(error));
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user")).first().value(0).toInt(), 7);
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group")).first().value(0).toInt(), 5);
        QCOMPARE(c->select(QStringLiteral("SELECT COUNT(*) FROM qnd_settings WHERE key_name='CUE_NAME_1'"))
                     .first().value(0).toInt(), 1);
    }
}

// --create-reader as the server's administrator makes the reader that user SQL runs as; the
// program's own role may not; a file needs none. A role made by hand is stored by --set-reader's
// ReaderRole::store, after its login is tried.
void TstShellProgram::readerRoleCommands()
{
    ShellFixture f;
    QVERIFY(f.open());
    if (!testingPostgres()) {
        QCOMPARE(runShell(kStandIn, {"--create-reader", "--db", f.dbPath()}), int(Program::Failed));
        QVERIFY2(Notices::last().contains(QStringLiteral("csak PostgreSQL")), qPrintable(Notices::last()));
        return;
    }
    QCOMPARE(runShell(kStandIn, {"--create-reader", "--db", f.dbPath()}), int(Program::Failed));
    QVERIFY2(Notices::last().contains(QStringLiteral("nem hozhat létre szerepkört")), qPrintable(Notices::last()));
    QCOMPARE(runShell(kStandIn, {"--create-reader", "--db", f.database.adminTarget()}), int(Program::Done));
    QString err;
    QVERIFY2(ReadOnlySource::open(*f.db, &err), qPrintable(err));
    const QString first = f.db->settings().read(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderPassword"));
    // Again: the same role brought up to date, with a new password that the program learns.
    QCOMPARE(runShell(kStandIn, {"--create-reader", "--db", f.database.adminTarget()}), int(Program::Done));
    QVERIFY(f.db->settings().read(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderPassword")) != first);
    const QString role = f.db->settings().read(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderRole"));
    const QString password = f.db->settings().read(QStringLiteral("MAINFRAME"), QStringLiteral("ReaderPassword"));
    auto link = ReadOnlySource::open(*f.db, &err);
    QVERIFY2(link, qPrintable(err));
    QString who;
    QVERIFY(link->run(QStringLiteral("SELECT current_user"), nullptr, [&](const QVariantList& r) {
        who = r.value(0).toString();
        return true;
    }, &err));
    QCOMPARE(who, role);

    QVERIFY(f.db->execute(QStringLiteral("DELETE FROM qnd_secret")));
    QVERIFY(!ReaderRole::store(f.dbPath(), TestDatabase::programRole(), QStringLiteral("x"), &err));
    QVERIFY2(ReaderRole::store(f.dbPath(), role, password, &err), qPrintable(err));
    QVERIFY2(ReadOnlySource::open(*f.db, &err), qPrintable(err));
}

// Commands that need no window run where there is no display at all (cron, a systemd timer,
// ssh): no DISPLAY, no WAYLAND_DISPLAY, no QT_QPA_PLATFORM; each ends with its exit status.
void TstShellProgram::commandsRunWithoutADisplay()
{
    ShellFixture f;
    QVERIFY(f.open());
    const QString bin = qEnvironmentVariable("NEXO_TEST_BIN");
    const auto run = [](const QStringList& args, QString* said) { return runShell(args, said, 60000); };
    QString said;
    QCOMPARE(run({"--help"}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("Kilépési kódok")), qPrintable(said));
    QCOMPARE(run({"--nincs-ilyen"}, &said), 1);
    QVERIFY2(said.contains(QStringLiteral("Ismeretlen kapcsoló")), qPrintable(said));
    const QString lib = bin + QStringLiteral("/libNexoFrame.so");
    QCOMPARE(run({"--register", lib}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("A modul regisztrálva")), qPrintable(said));
    QCOMPARE(run({"--unregister", lib}, &said), 0);
    QVERIFY2(said.contains(QStringLiteral("regisztrációja törölve")), qPrintable(said));
    if (testingPostgres()) {
        QCOMPARE(run({"--create-reader", "--db", f.database.adminTarget()}, &said), 0);
    } else {
        QCOMPARE(run({"--create-reader", "--db", f.dbPath()}, &said), 1);
        QVERIFY2(said.contains(QStringLiteral("csak PostgreSQL")), qPrintable(said));
    }
}

int main(int argc, char** argv)
{
    Application app(argc, argv);
    TstShellProgram test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shell_program.moc"
