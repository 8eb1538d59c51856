#include "ShellOptions.h"
#include <QCommandLineParser>

namespace NexoFrame::Shell {

namespace {

struct Spec {
    QStringList names;
    const char* valueName;
    const char* description;
};

// One table drives both the parser and the help text, so they cannot drift apart.
const QList<Spec>& specs()
{
    static const QList<Spec> list = {
        {{QStringLiteral("db")}, "ADATBÁZIS",
         "Az adatbázis: egy SQLite-fájl, vagy egy PostgreSQL-kiszolgáló adatbázisa "
         "(postgresql://felhasználó:jelszó@gép:port/adatbázis). Ha a fájl még nem létezik, vagy az "
         "adatbázis üres, a program létrehozza a szerkezetét a mintaadatokkal (a --backup, --restore és "
         "--check soha nem hoz létre adatbázist). Alapértelmezés: a NEXO_DB "
         "környezeti változó, ha az sincs, a felhasználó adatmappájában lévő NexoFrame/demo.sqlite."},
        {{QStringLiteral("user")}, "NÉV", "Bejelentkezés ezzel a felhasználónévvel, párbeszédablak nélkül."},
        {{QStringLiteral("password")}, "JELSZÓ", "A --user felhasználó jelszava."},
        {{QStringLiteral("code")}, "KÓD",
         "A --user felhasználó ellenőrző kódja (a hitelesítő alkalmazás 6 jegyű kódja vagy egy helyreállító kód), "
         "ha kétlépcsős azonosítást használ. Alapértelmezés: a NEXO_CODE környezeti változó."},
        {{QStringLiteral("open")}, "PROGID", "Induláskor megnyitja ezt a panelt (például NexoFrame.AuthUnits)."},
        {{QStringLiteral("mode")}, "SZÁM", "A megnyitott panel módja (alapértelmezés: 0)."},
        {{QStringLiteral("parameter")}, "SZÖVEG", "A megnyitott panel szöveges paramétere."},
        {{QStringLiteral("screenshot")}, "PNG",
         "Elmenti a főablak képét a megadott PNG-fájlba, majd kilép. A --user kapcsolót igényli."},
        {{QStringLiteral("register")}, nullptr,
         "Regisztrálja a modult a felhasználó regisztrációs fájljába (alapértelmezés: a program melletti "
         "libNexoFrame.so, telepített programnál a lib/nexoframe mappában lévő), majd kilép."},
        {{QStringLiteral("unregister")}, nullptr,
         "Törli a modul regisztrációját a felhasználó regisztrációs fájljából, majd kilép. A rendszerszintű "
         "regisztrációt (/etc/xdg/NexoFrame/classes.ini) a csomag kezeli."},
        {{QStringLiteral("create-reader")}, nullptr,
         "Létrehozza vagy frissíti a --db PostgreSQL-adatbázis olvasó szerepkörét, amellyel a felhasználók saját "
         "lekérdezései (OLAP-riportok, listák, nyomtatott riportok) futnak, és elmenti a jelszavát az adatbázisba, "
         "majd kilép. A --db címe az adatbázis rendszergazdájáé legyen (szerepkört létrehozhat, a táblákra jogot adhat)."},
        {{QStringLiteral("set-reader")}, "SZEREPKÖR",
         "Ha az olvasó szerepkört az adatbázis rendszergazdája kézzel hozta létre: elmenti a nevét és a szabványos "
         "bemenetről olvasott jelszavát a --db adatbázisba (a program saját címével), majd kilép."},
        {{QStringLiteral("backup")}, "FÁJL",
         "Elmenti a --db adatbázist a megadott fájlba, majd kilép; közben mások tovább dolgozhatnak. SQLite-fájlról "
         "SQLite-fájl készül, PostgreSQL-adatbázisról a pg_dump egyedi formátumú mentése (ehhez a PostgreSQL "
         "ügyfélprogramjai kellenek). Az azonos nevű korábbi mentés helyére kerül."},
        {{QStringLiteral("restore")}, "FÁJL",
         "Visszaállítja a mentést a --db adatbázisba, majd kilép. A cél csak üres lehet: egy még nem létező vagy üres "
         "SQLite-fájl, illetve egy létező, üres PostgreSQL-adatbázis (createdb); utána az olvasó szerepkör jogait "
         "is újra beállítja."},
        {{QStringLiteral("check")}, nullptr,
         "Ellenőrzi a --db adatbázist, és kiírja, mit talált, majd kilép; semmit nem ír az adatbázisba. Az "
         "adatbázismotor saját ellenőrzése mellett a program szabályait is nézi: nem létező sorra mutató sorok, "
         "nem létező szülők a fákban, 0–9-en kívüli szerepkörök, a legnagyobb tárolt kulcs mögött járó kulcsszámlálók."},
        {{QStringLiteral("prune-logs")}, "MAPPA",
         "A --db adatbázis naplóiból (menü log, kimutatás log, sikertelen belépések, jogosultság-előzmények) a "
         "megőrzési időnél (MAINFRAME / MenuLogKeepDays, ReportLogKeepDays, LoginFailureKeepDays, "
         "RightsHistoryKeepDays; 0 = örökre) régebbi sorokat naplónként egy CSV-fájlba írja a mappában, majd "
         "egyetlen lépésben törli őket, és kilép."},
        {{QStringLiteral("sync-directory")}, nullptr,
         "Beolvassa a címtárat (LDAP / Active Directory, a --db adatbázis LDAP beállításai szerint), kiírja, mit "
         "változtat (új felhasználók, módosult nevek, e-mailek, csoportok, a címtárból eltűnt és leképezett csoportba "
         "nem tartozó felhasználók tiltása), és egy lépésben el is végzi, majd kilép. Ütemezett futtatásra (cron, "
         "systemd időzítő)."},
        {{QStringLiteral("h"), QStringLiteral("help")}, nullptr, "Kiírja ezt a súgót."},
    };
    return list;
}

} // namespace

QString helpText()
{
    QString text = QStringLiteral(
        "Használat: nexo-shell [kapcsolók]\n"
        "       nexo-shell --register [KÖNYVTÁR]\n"
        "       nexo-shell --unregister [KÖNYVTÁR]\n"
        "       nexo-shell --create-reader --db postgresql://rendszergazda@gép/adatbázis\n"
        "       nexo-shell --backup FÁJL --db ADATBÁZIS\n"
        "       nexo-shell --restore FÁJL --db ÜRES_ADATBÁZIS\n"
        "       nexo-shell --check --db ADATBÁZIS\n"
        "       nexo-shell --prune-logs MAPPA --db ADATBÁZIS\n"
        "       nexo-shell --sync-directory --db ADATBÁZIS\n\n"
        "A Quandra Express keretrendszer NexoFrame adminisztrációs moduljának indítóprogramja.\n\n"
        "Kapcsolók:\n");
    for (const Spec& s : specs()) {
        QStringList names;
        for (const QString& n : s.names) names << (n.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + n;
        QString head = QStringLiteral("  ") + names.join(QStringLiteral(", "));
        if (s.valueName) head += QLatin1Char(' ') + QString::fromUtf8(s.valueName);
        text += head.leftJustified(28) + QLatin1Char(' ') + QString::fromUtf8(s.description) + QLatin1Char('\n');
    }
    text += QStringLiteral(
        "\nKilépési kódok: 0 rendben, 1 hiba (parancssor, adatbázis, modul, kép, a parancs maga), "
        "2 elutasított bejelentkezés, 3 a megnyitandó panel nem nyílt meg, 4 a --check hibát talált "
        "az adatbázisban.\n");
    return text;
}

bool windowless(const QStringList& arguments)
{
    Options o;
    QString error;
    return !parseOptions(arguments, &o, &error) || o.action != Options::Action::Run;
}

bool parseOptions(const QStringList& arguments, Options* o, QString* error)
{
    QCommandLineParser p;
    p.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    for (const Spec& s : specs()) {
        QCommandLineOption opt(s.names, QString::fromUtf8(s.description));
        if (s.valueName) opt.setValueName(QString::fromUtf8(s.valueName));
        p.addOption(opt);
    }
    p.addPositionalArgument(QStringLiteral("KÖNYVTÁR"), QStringLiteral("A modul könyvtára a --register és --unregister kapcsolóhoz."));

    if (!p.parse(arguments)) {
        if (!p.unknownOptionNames().isEmpty())
            *error = QStringLiteral("Ismeretlen kapcsoló: %1").arg(p.unknownOptionNames().join(QStringLiteral(", ")));
        else
            *error = QStringLiteral("Hibás parancssor: egy kapcsoló után hiányzik az érték.");
        return false;
    }

    *o = Options();
    if (p.isSet(QStringLiteral("help"))) {
        o->action = Options::Action::Help;
        return true;
    }
    const bool reg = p.isSet(QStringLiteral("register"));
    const bool unreg = p.isSet(QStringLiteral("unregister"));
    const QStringList rest = p.positionalArguments();
    if (reg && unreg) {
        *error = QStringLiteral("A --register és az --unregister egyszerre nem adható meg.");
        return false;
    }
    if (reg || unreg) {
        if (rest.size() > 1) {
            *error = QStringLiteral("Egyszerre csak egy modul-könyvtár adható meg.");
            return false;
        }
        o->action = reg ? Options::Action::Register : Options::Action::Unregister;
        o->library = rest.value(0);
        return true;
    }
    if (!rest.isEmpty()) {
        *error = QStringLiteral("Váratlan argumentum: %1").arg(rest.join(QLatin1Char(' ')));
        return false;
    }

    o->database = p.value(QStringLiteral("db"));
    if (p.isSet(QStringLiteral("db")) && o->database.trimmed().isEmpty()) {
        *error = QStringLiteral("A --db kapcsolóhoz meg kell adni az adatbázis-fájlt vagy -címet.");
        return false;
    }
    QStringList commands;
    for (const char* c : {"create-reader", "set-reader", "backup", "restore", "check", "prune-logs", "sync-directory"})
        if (p.isSet(QString::fromLatin1(c))) commands << QStringLiteral("--") + QString::fromLatin1(c);
    if (commands.size() > 1) {
        *error = QStringLiteral("Egyszerre csak egy parancs adható meg: %1.").arg(commands.join(QStringLiteral(", ")));
        return false;
    }
    for (const char* c : {"backup", "restore", "prune-logs"}) {
        if (!p.isSet(QString::fromLatin1(c))) continue;
        o->file = p.value(QString::fromLatin1(c));
        const bool prune = qstrcmp(c, "prune-logs") == 0;
        if (o->file.trimmed().isEmpty()) {
            *error = prune ? QStringLiteral("A --prune-logs kapcsolóhoz meg kell adni az archívum mappáját.")
                           : QStringLiteral("A --%1 kapcsolóhoz meg kell adni a mentés fájlját.").arg(QString::fromLatin1(c));
            return false;
        }
        o->action = prune ? Options::Action::PruneLogs : qstrcmp(c, "backup") == 0 ? Options::Action::Backup : Options::Action::Restore;
        return true;
    }
    if (p.isSet(QStringLiteral("check"))) {
        o->action = Options::Action::Check;
        return true;
    }
    if (p.isSet(QStringLiteral("sync-directory"))) {
        o->action = Options::Action::SyncDirectory;
        return true;
    }
    if (p.isSet(QStringLiteral("create-reader"))) {
        if (o->database.trimmed().isEmpty()) {
            *error = QStringLiteral("A --create-reader kapcsolóhoz a --db kapcsolóval meg kell adni az adatbázis "
                                    "rendszergazdai címét (postgresql://…).");
            return false;
        }
        o->action = Options::Action::CreateReader;
        return true;
    }
    if (p.isSet(QStringLiteral("set-reader"))) {
        o->readerRole = p.value(QStringLiteral("set-reader")).trimmed();
        if (o->database.trimmed().isEmpty() || o->readerRole.isEmpty()) {
            *error = QStringLiteral("A --set-reader kapcsolóhoz meg kell adni a szerepkör nevét, a --db kapcsolóval pedig az "
                                    "adatbázis címét.");
            return false;
        }
        o->action = Options::Action::SetReader;
        return true;
    }
    o->userGiven = p.isSet(QStringLiteral("user"));
    o->user = p.value(QStringLiteral("user"));
    o->password = p.value(QStringLiteral("password"));
    if (p.isSet(QStringLiteral("password")) && !o->userGiven) {
        *error = QStringLiteral("A --password csak a --user kapcsolóval együtt használható.");
        return false;
    }
    if (p.isSet(QStringLiteral("code")) && !o->userGiven) {
        *error = QStringLiteral("A --code csak a --user kapcsolóval együtt használható.");
        return false;
    }
    // A script keeps the code out of the process list in the environment.
    o->code = p.isSet(QStringLiteral("code")) ? p.value(QStringLiteral("code")) : qEnvironmentVariable("NEXO_CODE");

    o->openProgId = p.value(QStringLiteral("open")).trimmed();
    if (p.isSet(QStringLiteral("open")) && o->openProgId.isEmpty()) {
        *error = QStringLiteral("Az --open kapcsolóhoz meg kell adni a panel ProgID-jét.");
        return false;
    }
    if ((p.isSet(QStringLiteral("mode")) || p.isSet(QStringLiteral("parameter"))) && o->openProgId.isEmpty()) {
        *error = QStringLiteral("A --mode és a --parameter csak az --open kapcsolóval együtt használható.");
        return false;
    }
    if (p.isSet(QStringLiteral("mode"))) {
        bool ok = false;
        o->mode = p.value(QStringLiteral("mode")).trimmed().toInt(&ok);
        if (!ok) {
            *error = QStringLiteral("A --mode értéke egész szám legyen, nem „%1”.").arg(p.value(QStringLiteral("mode")));
            return false;
        }
    }
    o->parameter = p.value(QStringLiteral("parameter"));

    o->screenshot = p.value(QStringLiteral("screenshot"));
    if (p.isSet(QStringLiteral("screenshot"))) {
        if (o->screenshot.trimmed().isEmpty()) {
            *error = QStringLiteral("A --screenshot kapcsolóhoz meg kell adni a képfájlt.");
            return false;
        }
        if (!o->userGiven) {
            *error = QStringLiteral("A --screenshot használatához a --user és a --password kapcsoló is kell, "
                                    "mert a kép bejelentkezési ablak nélkül készül.");
            return false;
        }
    }
    return true;
}

} // namespace NexoFrame::Shell
