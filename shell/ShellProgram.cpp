#include "ShellProgram.h"
#include "Backup.h"
#include "ShellDirectory.h"
#include "LogKeeping.h"
#include "SchemaUpgrade.h"
#include "ReaderRole.h"
#include "Connection.h"
#include "LoginGuard.h"
#include "ShellLogin.h"
#include "ShellTwoStep.h"
#include "ShellUpgrade.h"
#include "Modules.h"
#include "ShellNotices.h"
#include "ShellOptions.h"
#include "ShellWindow.h"
#include <QSettings>
#include <QApplication>
#include <QGuiApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>
#include <QPixmap>
#include <QStandardPaths>

namespace NexoFrame::Shell {

Program::Program(QString moduleLibrary) : m_library(std::move(moduleLibrary)) {}

QString Program::defaultDatabasePath()
{
    const QString folder = dataFolder();
    return folder.isEmpty() ? QString() : folder + QStringLiteral("/demo.sqlite");
}

int Program::registration(bool add, const QString& library)
{
    Notices::setConsole(true);
    const QString lib = QFileInfo(library.isEmpty() ? m_library : library).absoluteFilePath();
    Modules modules;
    modules.setDescriber(Notices::describe);
    QString error;
    QStringList ids;
    const bool ok = add ? modules.registerLibrary(lib, &error, &ids) : modules.unregisterLibrary(lib, &error, &ids);
    if (!ok) {
        Notices::error(nullptr, (add ? QStringLiteral("A modul regisztrálása nem sikerült.\n")
                                     : QStringLiteral("A modul regisztrációjának törlése nem sikerült.\n"))
                                    + error);
        return Failed;
    }
    Notices::info((add ? QStringLiteral("A modul regisztrálva: %1") : QStringLiteral("A modul regisztrációja törölve: %1")).arg(lib));
    Notices::info(QStringLiteral("Regisztrációs fájl: %1").arg(modules.registryPath()));
    Notices::info(QStringLiteral("Osztályok: %1").arg(ids.join(QStringLiteral(", "))));
    return Done;
}

namespace {

// The database the command line names: --db, else NEXO_DB; empty for the demo database.
QString namedTarget(const Options& o)
{
    const QString target = o.database.isEmpty() ? qEnvironmentVariable("NEXO_DB").trimmed() : o.database;
    return target.isEmpty() || isServerTarget(target) ? target : QFileInfo(target).absoluteFilePath();
}

// An existing database for a command without a window: opened as it is, its layout read; a
// later program's is refused. Null with `message` when it cannot be had.
std::unique_ptr<Connection> openForCommand(const QString& target, QString* message)
{
    std::unique_ptr<Connection> c = Connection::openExisting(target, Engine::OpenMode::Existing, message);
    try {
        if (c) c->inspectSchema();
    } catch (const DbError& e) {
        *message = e.message();
        return nullptr;
    }
    if (c && c->schemaState().kind == SchemaState::Kind::Newer) {
        *message = SchemaUpgrade::newerMessage(*c);
        return nullptr;
    }
    return c;
}

// Whether nobody can answer a window: a picture is wanted, or there is no display.
bool noOneAtTheScreen(const Options& o)
{
    const QString platform = QGuiApplication::platformName();
    return !o.screenshot.isEmpty() || platform == QLatin1String("offscreen") || platform == QLatin1String("minimal");
}

// The login of --user: the password, then the code when his account asks one, from --code or
// NEXO_CODE, else from the login window's code page if someone is at the screen. A refusal
// carries its message; one without a message was cancelled.
LoginResult unattendedLogin(const Options& o, Connection& c, const QString& shownName, LoginGuard& guard)
{
    LoginResult user = checkLogin(c, o.user, o.password, guard);
    if (!user.ok() || user.secondStep != TwoStep::Need::Code) return user;
    if (!o.code.trimmed().isEmpty()) return checkCode(c, user, o.code, guard);
    if (noOneAtTheScreen(o)) {
        LoginResult r;
        r.status = LoginResult::Status::BadCode;
        r.message = QStringLiteral("A(z) „%1” felhasználó kétlépcsős azonosítást használ: adja meg az ellenőrző kódot a "
                                   "--code kapcsolóval vagy a NEXO_CODE változóban.").arg(user.userName);
        return r;
    }
    LoginDialog login(c, shownName);
    login.startAtCode(user);
    if (login.exec() == QDialog::Accepted) return login.loginResult();
    LoginResult cancelled;
    return cancelled;
}

} // namespace

int Program::databaseCommand(const Options& o)
{
    Notices::setConsole(true);
    QString target = namedTarget(o);
    if (target.isEmpty()) target = defaultDatabasePath();
    QString message;
    switch (o.action) {
    case Options::Action::Backup:
    case Options::Action::Restore: {
        const bool ok = o.action == Options::Action::Backup ? Backup::backup(target, o.file, &message)
                                                            : Backup::restore(o.file, target, &message);
        if (!ok) {
            Notices::error(nullptr, message);
            return Failed;
        }
        Notices::info(message);
        return Done;
    }
    case Options::Action::Check: {
        Backup::CheckReport report;
        if (!Backup::check(target, &report, &message)) {
            Notices::error(nullptr, message);
            return Failed;
        }
        Notices::info(QStringLiteral("Az adatbázis ellenőrzése: %1").arg(report.database));
        for (const QString& fault : std::as_const(report.faults)) Notices::info(QStringLiteral("- ") + fault);
        Notices::info(report.faults.isEmpty() ? QStringLiteral("Az ellenőrzés nem talált hibát.")
                                              : QStringLiteral("Az ellenőrzés %1 hibát talált.").arg(report.faults.size()));
        return report.faults.isEmpty() ? Done : CheckFound;
    }
    case Options::Action::PruneLogs: {
        // The periods the database holds; the history row of the pruning names no user.
        std::unique_ptr<Connection> c = openForCommand(target, &message);
        QList<LogKeeping::Pruned> done;
        if (!c || !LogKeeping::prune(*c, QFileInfo(o.file).absoluteFilePath(), QDateTime::currentDateTime(), &done, &message)) {
            Notices::error(nullptr, message);
            return Failed;
        }
        for (const LogKeeping::Pruned& p : std::as_const(done))
            Notices::info(QStringLiteral("%1: %2 sor archiválva és törölve → %3").arg(LogKeeping::info(p.log).caption).arg(p.rows).arg(p.file));
        if (done.isEmpty()) Notices::info(QStringLiteral("Nincs a megőrzési időknél régebbi naplósor."));
        return Done;
    }
    case Options::Action::SyncDirectory: {
        std::unique_ptr<Connection> c = openForCommand(target, &message);
        if (c && !c->schemaState().usable()) {
            message = QStringLiteral("Az adatbázis szerkezete régebbi a programénál: előbb frissíteni kell (egy rendszergazda "
                                     "bejelentkezésekor), utána szinkronizálható a címtár.");
            c.reset();
        }
        if (!c || !syncDirectory(*c, &message)) {
            Notices::error(nullptr, message);
            return Failed;
        }
        return Done;
    }
    default: return Failed;
    }
}

int Program::run(const QStringList& arguments)
{
    int code = Failed;
    if (!guarded(nullptr, QStringLiteral("Váratlan hiba történt, a program leáll."), [&] { code = runGuarded(arguments); }))
        return Failed;
    return code;
}

int Program::runGuarded(const QStringList& arguments)
{
    Options o;
    QString error;
    if (!parseOptions(arguments, &o, &error)) {
        Notices::setConsole(true);
        Notices::error(nullptr, error + QStringLiteral("\nA kapcsolók listája: nexo-shell --help"));
        return Failed;
    }
    switch (o.action) {
    case Options::Action::Help:
        Notices::info(helpText());
        return Done;
    case Options::Action::Register:
        return registration(true, o.library);
    case Options::Action::Unregister:
        return registration(false, o.library);
    case Options::Action::CreateReader: {
        Notices::setConsole(true);
        QString message;
        if (!ReaderRole::create(o.database, &message)) {
            Notices::error(nullptr, message);
            return Failed;
        }
        Notices::info(message);
        return Done;
    }
    case Options::Action::SetReader: {
        Notices::setConsole(true);
        QTextStream in(stdin);
        QString message;
        if (!ReaderRole::store(o.database, o.readerRole, in.readLine(), &message)) {
            Notices::error(nullptr, message);
            return Failed;
        }
        Notices::info(message);
        return Done;
    }
    case Options::Action::Backup:
    case Options::Action::Restore:
    case Options::Action::Check:
    case Options::Action::PruneLogs:
    case Options::Action::SyncDirectory:
        return databaseCommand(o);
    case Options::Action::Run:
        break;
    }
    Notices::setConsole(o.unattended());

    Modules modules;
    modules.setDescriber(Notices::describe);
    if (!modules.ensureRegistered(m_library, &error))
        Notices::warning(nullptr, QStringLiteral("A NexoFrame modul nem regisztrálható, a panelei nem nyithatók meg.\n\n%1").arg(error));
    // The report engine ships beside the module; its report classes are created by ProgID.
    const QString reportEngine = QFileInfo(m_library).dir().filePath(QStringLiteral("libQndReport.so"));
    if (!modules.ensureRegistered(reportEngine, &error, QStringLiteral("QndReport.Report")))
        Notices::warning(nullptr, QStringLiteral("A riportmotor nem regisztrálható, a riportok nem futtathatók.\n\n%1").arg(error));

    QString target = namedTarget(o);
    const bool demoPath = target.isEmpty();
    if (demoPath) {
        target = defaultDatabasePath();
        if (target.isEmpty() || !QDir().mkpath(QFileInfo(target).absolutePath())) {
            Notices::error(nullptr, QStringLiteral("A mintaadatbázis mappája nem hozható létre: %1")
                                        .arg(target.isEmpty() ? QStringLiteral("(nincs adatmappa)") : QFileInfo(target).absolutePath()));
            return Failed;
        }
    }
    // The demo database is filled whenever it has no users; a database the user names only
    // when the shell has just made its schema. Another shell making the same database at the
    // same moment waits and then finds it made, so nothing is ever removed here.
    std::unique_ptr<Connection> connection = Connection::openDatabase(
        target, demoPath ? Connection::DemoData::IfEmpty : Connection::DemoData::IfCreated, &error);
    if (!connection) {
        Notices::error(nullptr, QStringLiteral("Az adatbázis nem nyitható meg.\n\n%1").arg(error));
        return Failed;
    }
    const QString shownName = connection->databaseName();
    if (const QString notice = connection->notice(); !notice.isEmpty()) {
        // Said once for each file, not at every start.
        QSettings said;
        const QString key = QStringLiteral("Notices/") + QString::fromLatin1(shownName.toUtf8().toHex());
        if (!said.value(key).toBool()) {
            Notices::warning(nullptr, notice);
            said.setValue(key, true);
        }
    }
    if (connection->createdSchema() && o.unattended())
        Notices::info(QStringLiteral("Új adatbázis készült a mintaadatokkal: %1").arg(shownName));

    LoginGuard guard(*connection);
    LoginResult user;
    if (o.userGiven) {
        user = unattendedLogin(o, *connection, shownName, guard);
        if (!user.ok()) {
            if (!user.message.isEmpty()) Notices::error(nullptr, user.message);
            // Cancelled at the code: nothing was refused, nothing to report.
            return user.message.isEmpty() ? Done : LoginRefused;
        }
    } else {
        LoginDialog login(*connection, shownName);
        if (login.exec() != QDialog::Accepted) return Done;
        user = login.loginResult();
    }
    if (!user.notice.isEmpty()) Notices::warning(nullptr, user.notice);
    connection->session().setUserId(user.userId);
    if (user.secondStep == TwoStep::Need::Enrol) {
        if (noOneAtTheScreen(o)) {
            Notices::error(nullptr, QStringLiteral("A(z) „%1” felhasználónak kétlépcsős azonosítással kell belépnie, de még "
                                                   "nem állította be: ezt először ablakos bejelentkezéskor kell megtennie.")
                                        .arg(user.userName));
            return LoginRefused;
        }
        // No menu before the enrolment; giving it up ends the program.
        if (!enrolAtLogin(nullptr, *connection, user, guard)) return Done;
    }
    // A database of an older layout is upgraded now, or not worked with at all.
    switch (passUpgradeGate(nullptr, *connection, user.userId)) {
    case AfterLogin::Work: break;
    case AfterLogin::Quit: return Done;
    case AfterLogin::Stop: return Failed;
    }

    MainWindow window(*connection, modules, user, shownName);
    window.resize(1200, 800);
    window.show();
    const bool shot = !o.screenshot.isEmpty();
    // From here on a person is at the screen, unless only a picture is wanted.
    Notices::setConsole(shot);

    if (!o.openProgId.isEmpty()) {
        const MenuEntry* item = window.menuEntryFor(o.openProgId, o.mode);
        const QString title = item ? item->caption : o.openProgId;
        if (!window.openPanel(o.openProgId, o.mode, o.parameter, title) && shot) return PanelFailed;
    }

    if (shot) {
        // Let the panel finish laying out and filling before the picture is taken.
        for (int i = 0; i < 3; ++i) {
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
        }
        const QString file = QFileInfo(o.screenshot).absoluteFilePath();
        if (!window.grab().save(file, "PNG")) {
            Notices::error(nullptr, QStringLiteral("A kép nem menthető: %1").arg(file));
            return Failed;
        }
        Notices::info(QStringLiteral("A kép elkészült: %1").arg(file));
        return Done;
    }
    return QApplication::exec();
}

} // namespace NexoFrame::Shell
