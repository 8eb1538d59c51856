#include "ClassRegistry.h"
#include "IModule.h"
#include "ModalDriver.h"
#include "Snapshots.h"
#include "QndReport.h"
#include "ReadOnlySource.h"
#include "TestDatabase.h"
#include "HostileSql.h"
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QAction>
#include <QDir>
#include <QFileDialog>
#include <QImage>
#include <QPluginLoader>
#include <QPrintPreviewDialog>
#include <QPrinterInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

using namespace NexoFrame;
using namespace NexoFrame::Controls;

namespace {

const QDate kToday = QDate::currentDate();

QString day(int offset) { return kToday.addDays(offset).toString(QStringLiteral("yyyy.MM.dd.")); }
// How the tests write a moment: the stored text on SQLite, a literal the server casts.
QString stamp(int offset, const char* time = "00:00:00")
{
    return kToday.addDays(offset).toString(QStringLiteral("yyyy-MM-dd ")) + QLatin1String(time);
}

// The pages of a PDF as pdftotext lays them out.
QStringList pdfPages(const QString& pdf)
{
    QProcess p;
    p.start(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
    if (!p.waitForFinished(-1) || p.exitCode() != 0) return {};
    QStringList pages = QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\f'));
    while (!pages.isEmpty() && pages.last().trimmed().isEmpty()) pages.removeLast();
    return pages;
}

// Words as read, whatever the spaces between them.
QString words(const QString& text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString& l : lines) l = l.simplified();
    return lines.join(QLatin1Char('\n'));
}

QString lineWith(const QString& text, const QString& needle)
{
    for (const QString& l : text.split(QLatin1Char('\n')))
        if (l.contains(needle)) return l;
    return QString();
}

// Page 1 drawn by poppler at 60 dpi.
QImage firstPageImage(const QString& pdf)
{
    const QString prefix = pdf + QStringLiteral("-page");
    QProcess::execute(QStringLiteral("pdftoppm"), {QStringLiteral("-png"), QStringLiteral("-r"), QStringLiteral("60"), QStringLiteral("-f"),
                                                   QStringLiteral("1"), QStringLiteral("-l"), QStringLiteral("1"), pdf, prefix});
    const QFileInfo fi(prefix);
    const QStringList made = QDir(fi.absolutePath()).entryList({fi.fileName() + QStringLiteral("*.png")});
    return made.isEmpty() ? QImage() : QImage(fi.absolutePath() + QLatin1Char('/') + made.first());
}

int darkPixels(const QImage& img, int fromY, int toY)
{
    int n = 0;
    for (int y = fromY; y < std::min(toY, img.height()); ++y)
        for (int x = 0; x < img.width(); ++x) n += qGray(img.pixel(x, y)) < 128;
    return n;
}

} // namespace

class tst_report : public QObject {
    Q_OBJECT

    TestDatabase m_db;
    std::unique_ptr<Connection> m_c;
    QTemporaryDir m_out;

    std::unique_ptr<QndReport> report(const QString& file, const QString& par1 = {}, const QString& par2 = {})
    {
        auto r = std::make_unique<QndReport>();
        const QVariantMap props{
            {"DAOConnection", QVariant::fromValue<QObject*>(m_c.get())}, {"FileName", file},
            {"ReportName", "Riport"}, {"StringPar1", par1}, {"StringPar2", par2}, {"AskParameters", false},
            {"RegUserNev", "Próba Kereskedelmi Kft."}, {"RegUserTevekenyseg", "Irodaszer-kereskedelem"},
            {"RegUserCim", "1117 Budapest, Október huszonharmadika u. 8."}, {"RegUserTel", "+36 1 555 1234"},
            {"RegUserFax", ""}, {"RegUserEMAIL", "iroda@proba.hu"}, {"RegUserWWW", "www.proba.hu"},
            {"RegUserBankfiok", "OTP Bank"}, {"RegUserSzamlaszam", "11773016-12345678"}, {"RegUserAdoszam", "12345678-2-43"}};
        for (auto it = props.cbegin(); it != props.cend(); ++it) r->setProperty(it.key().toLatin1(), *it);
        return r;
    }

    // Exports into the test folder; its pages, empty on failure.
    QStringList exported(QndReport& r, const QString& name)
    {
        const QString path = m_out.filePath(name + QStringLiteral(".pdf"));
        if (!r.ExportPdf(path)) {
            qWarning("%s", qPrintable(r.lastError()));
            return {};
        }
        return pdfPages(path);
    }

    // The company header, the title and "n. oldal / N" on every page.
    static void checkPages(const QStringList& pages, const QString& title)
    {
        QVERIFY(!pages.isEmpty());
        for (int i = 0; i < pages.size(); ++i) {
            const QString page = words(pages[i]);
            for (const char* s : {"Próba Kereskedelmi Kft.", "Irodaszer-kereskedelem", "1117 Budapest, Október huszonharmadika u. 8.",
                                  "Telefon: +36 1 555 1234", "E-mail: iroda@proba.hu", "Web: www.proba.hu",
                                  "Adószám: 12345678-2-43", "Bankszámla: 11773016-12345678 (OTP Bank)", "Nyomtatva: "})
                QVERIFY2(page.contains(QString::fromUtf8(s)), s);
            QVERIFY(!page.contains(QStringLiteral("Fax:")));
            QVERIFY(page.contains(title));
            QVERIFY2(page.contains(QStringLiteral("%1. oldal / %2").arg(i + 1).arg(pages.size())), qPrintable(page.right(200)));
        }
    }

    int count(const QString& sql, const QVariantList& binds = {}) { return m_c->select(sql, binds).value(0).value(0).toInt(); }

    void insertUser(int id, int group, const QString& login, const QString& name, const QString& assignment = {})
    {
        QVERIFY(m_c->execute(QStringLiteral("INSERT INTO qnd_user (id, user_group_id, user_name, display_name, assignment, "
                                            "identity_card_number, drivers_license_number, is_driver) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
                             {id, group, login, name, assignment, QStringLiteral("%1AB").arg(id), QStringLiteral("AB%1").arg(id),
                              m_c->engine().storedBool(true)}));
    }

    // The report file `json` in the test folder, by its absolute path.
    QString reportFile(const QString& name, const QByteArray& json)
    {
        QFile f(m_out.filePath(name));
        if (!f.open(QIODevice::WriteOnly)) return {};
        f.write(json);
        return f.fileName();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_out.isValid());
        // To look at the PDFs and their pictures afterwards.
        if (qEnvironmentVariableIsSet("NEXO_KEEP_OUTPUT")) {
            m_out.setAutoRemove(false);
            qInfo("PDFs in %s", qPrintable(m_out.path()));
        }
        m_c = m_db.open();
    }
    void init() { resetModalDriver(); }

    void usersByGroupOverSeveralPages()
    {
        QVERIFY(m_c->execute(QStringLiteral("INSERT INTO qnd_user_group (id, name) VALUES (50, 'Raktárosok')")));
        QVERIFY(m_c->execute(QStringLiteral("INSERT INTO qnd_user_group (id, name, del_status) VALUES (51, 'Megszűnt csoport', 2)")));
        for (int i = 1; i <= 60; ++i)
            insertUser(1000 + i, 50, QStringLiteral("raktaros.%1").arg(i, 2, 10, QLatin1Char('0')),
                       QStringLiteral("Raktáros %1").arg(i, 2, 10, QLatin1Char('0')),
                       i == 7 ? QStringLiteral("Beszerzési és szállítmányozási ügyek vezetője") : QStringLiteral("raktáros"));
        insertUser(1100, 51, QStringLiteral("arva.odon"), QStringLiteral("Árva Ödön"));
        const int live = count(QStringLiteral("SELECT COUNT(*) FROM qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id "
                                              "WHERE u.del_status = 0 AND g.del_status = 0"));

        auto r = report(QStringLiteral("felhasznalok_csoportonkent.json"));
        const QStringList pages = exported(*r, QStringLiteral("users"));
        QVERIFY(pages.size() >= 2);
        checkPages(pages, QStringLiteral("Felhasználók csoportonként"));
        for (const QString& page : pages)
            for (const char* heading : {"Név", "Bejelentkezési név", "Beosztás", "Gépkocsivezető", "Tiltott"})
                QVERIFY(page.contains(QString::fromUtf8(heading)));
        const QString all = words(pages.join(QLatin1Char('\n')));
        QVERIFY(all.contains(QStringLiteral("\nRaktárosok\n")));
        // The group going on to the next page says so there.
        QVERIFY(words(pages[1]).contains(QStringLiteral("\nRaktárosok (folytatás)\nRaktáros ")));
        QVERIFY(all.contains(QStringLiteral("Raktárosok: 60 felhasználó")));
        QVERIFY(all.contains(QStringLiteral("Összesen: %1 felhasználó").arg(live)));
        QVERIFY(all.indexOf(QStringLiteral("Raktáros 01")) < all.indexOf(QStringLiteral("Raktáros 60")));
        for (const char* gone : {"Tóth Gábor", "Árva Ödön", "Megszűnt csoport"}) QVERIFY(!all.contains(QString::fromUtf8(gone)));
        // Marks: the barred user, the drivers.
        QVERIFY(lineWith(all, QStringLiteral("szabo.eva")).contains(QStringLiteral("✓")));
        QVERIFY(!lineWith(all, QStringLiteral("admin")).contains(QStringLiteral("✓")));
        QVERIFY(lineWith(all, QStringLiteral("raktaros.05")).contains(QStringLiteral("✓")));
        // The long assignment wraps within its column: every word is there, on lines of their own.
        const QString first = lineWith(all, QStringLiteral("raktaros.07"));
        QVERIFY(first.contains(QStringLiteral("Beszerzési")));
        QVERIFY(!first.contains(QStringLiteral("vezetője")));
        QVERIFY(all.contains(QStringLiteral("vezetője")));

        const QImage page1 = firstPageImage(m_out.filePath(QStringLiteral("users.pdf")));
        QVERIFY(page1.width() > page1.height()); // landscape
        QVERIFY(darkPixels(page1, 0, page1.height() / 5) > 200);
    }

    void roleRightsTree()
    {
        auto r = report(QStringLiteral("szerepkor_jogai.json"), QStringLiteral("2"));
        const QStringList pages = exported(*r, QStringLiteral("rights"));
        checkPages(pages, QStringLiteral("Szerepkör jogai"));
        const QString raw = pages.join(QLatin1Char('\n'));
        const QString all = words(raw);
        QVERIFY(all.contains(QStringLiteral("Szerepkör: Vezető\n")));
        // Depth first, each level further in; the deleted unit goes with its branch.
        const QStringList lines = all.split(QLatin1Char('\n'));
        const auto at = [&](const QString& unit) {
            return lines.indexOf(QRegularExpression(QStringLiteral("^") + unit + QStringLiteral(" [a-z_]+( ✓)?$")));
        };
        const QStringList path{QStringLiteral("Alapadatok"), QStringLiteral("Felhasználó csoportok"), QStringLiteral("Csoport módosítása"),
                               QStringLiteral("Új csoport"), QStringLiteral("Felhasználók"), QStringLiteral("Kontrolling")};
        for (int i = 1; i < path.size(); ++i) QVERIFY2(at(path[i - 1]) >= 0 && at(path[i - 1]) < at(path[i]), qPrintable(path[i]));
        const auto indent = [&](const QString& s) { return lineWith(raw, s).indexOf(s); };
        QVERIFY(indent(QStringLiteral("Alapadatok")) < indent(QStringLiteral("Felhasználó csoportok")));
        QVERIFY(indent(QStringLiteral("Felhasználó csoportok")) < indent(QStringLiteral("Új csoport")));
        QVERIFY(!all.contains(QStringLiteral("Régi")));
        QVERIFY(lineWith(all, QStringLiteral("mainframe_base_user_mod")).contains(QStringLiteral("✓")));
        QVERIFY(!lineWith(all, QStringLiteral("mainframe_base_user_new")).contains(QStringLiteral("✓")));

        // Units in the tree: live, and every unit above them live.
        QHash<int, QVariantList> units;
        for (const QVariantList& u : m_c->select(QStringLiteral("SELECT id, parent_id, del_status, "
                                                                "CASE WHEN auth_2 THEN 1 ELSE 0 END FROM qnd_auth_unit")))
            units.insert(u[0].toInt(), u);
        int inTree = 0, ticked = 0;
        for (const QVariantList& u : std::as_const(units)) {
            bool live = true;
            for (QVariantList at = u; live && !at.isEmpty(); at = units.value(at[1].toInt()))
                live = at[2].toInt() == 0 && (at[1].toInt() == 0 || units.contains(at[1].toInt()));
            inTree += live;
            ticked += live && u[3].toInt() == 1;
        }
        QVERIFY(all.contains(QStringLiteral("Összesen %1 jogosultság, ebből engedélyezett: %2").arg(inTree).arg(ticked)));

        // Without StringPar1 the file's default slot.
        auto first = report(QStringLiteral("szerepkor_jogai.json"));
        QVERIFY(words(exported(*first, QStringLiteral("rights1")).value(0)).contains(QStringLiteral("Szerepkör: Adminisztrátor\n")));
    }

    void menuUsageInThePeriod()
    {
        insertUser(900, 1, QStringLiteral("menu.mero"), QStringLiteral("Menü Mérő"));
        int id = 900000;
        const std::pair<int, QString> opened[] = {
            {4, stamp(-5)}, {4, stamp(-1, "10:00:00")}, {4, stamp(0, "23:59:59")}, {11, stamp(-2, "08:30:00")},
            {11, stamp(-3, "09:00:00")}, {4, stamp(-6, "23:59:59")}, {4, stamp(1)}};
        for (const auto& [menu, at] : opened)
            QVERIFY(m_c->execute(QStringLiteral("INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (?, 900, ?, ?)"),
                                 {id++, menu, at}));
        const int inPeriod = count(QStringLiteral("SELECT COUNT(*) FROM qnd_menu_log l JOIN qnd_user u ON u.id = l.user_id "
                                                  "JOIN qnd_menu m ON m.id = l.menu_id WHERE l.log_date >= ? AND l.log_date < ?"),
                                   {stamp(-5), stamp(1)});

        auto r = report(QStringLiteral("menuhasznalat.json"), QStringLiteral("today-5"), kToday.toString(Qt::ISODate));
        const QStringList pages = exported(*r, QStringLiteral("menus"));
        checkPages(pages, QStringLiteral("Menühasználat felhasználónként"));
        const QString all = words(pages.join(QLatin1Char('\n')));
        QVERIFY(all.contains(QStringLiteral("Időszak: %1 – %2").arg(day(-5), day(0))));
        const QString mine = all.mid(all.indexOf(QStringLiteral("\nMenü Mérő\n")));
        QVERIFY(mine.startsWith(QStringLiteral("\nMenü Mérő\nKimutatások / OLAP kimutatások 2\nRendszer / Felhasználók 3\n"
                                               "Menü Mérő összesen: 5\n")));
        QVERIFY(all.contains(QStringLiteral("Mindösszesen: %1").arg(QLocale(QLocale::Hungarian).toString(inPeriod))));
    }

    void driversDocumentsDue()
    {
        insertUser(901, 1, QStringLiteral("sofor.sandor"), QStringLiteral("Sofőr Sándor"));
        int id = 910000;
        // type, days from today, deleted
        const std::tuple<int, int, int> events[] = {{58, 10, 0}, {59, 3, 0}, {59, 45, 0}, {58, 5, 2}, {59, -1, 0}};
        for (const auto& [type, offset, del] : events)
            QVERIFY(m_c->execute(QStringLiteral("INSERT INTO crm_event (id, event_type_id, dedicate_user_id, subject, event_date, del_status) "
                                                "VALUES (?, ?, 901, ?, ?, ?)"),
                                 {id++, type, type == 58 ? QStringLiteral("Személyi igazolvány lejár") : QStringLiteral("Jogosítvány lejár"),
                                  stamp(offset), del}));
        const auto due = [&](int type, int days) {
            return count(QStringLiteral("SELECT COUNT(*) FROM crm_event e JOIN qnd_user u ON u.id = e.dedicate_user_id "
                                        "WHERE e.event_type_id = ? AND e.del_status = 0 AND u.del_status = 0 "
                                        "AND e.event_date >= ? AND e.event_date < ?"),
                         {type, stamp(0), stamp(days + 1)});
        };

        auto r = report(QStringLiteral("sofor_lejaratok.json"));
        const QStringList pages = exported(*r, QStringLiteral("drivers"));
        checkPages(pages, QStringLiteral("Gépkocsivezetők lejáró okmányai"));
        QString all = words(pages.join(QLatin1Char('\n')));
        QVERIFY(all.contains(QStringLiteral("A következő 30 napban lejárók: %1 – %2").arg(day(0), day(30))));
        QVERIFY(all.contains(QStringLiteral("\nSzemélyi igazolvány\n")));
        QVERIFY(all.indexOf(QStringLiteral("\nSzemélyi igazolvány\n")) < all.indexOf(QStringLiteral("\nJogosítvány\n")));
        QCOMPARE(lineWith(all, QStringLiteral("901AB")), QStringLiteral("Sofőr Sándor Személyi igazolvány lejár 901AB %1 10").arg(day(10)));
        QCOMPARE(lineWith(all, QStringLiteral("AB901")), QStringLiteral("Sofőr Sándor Jogosítvány lejár AB901 %1 3").arg(day(3)));
        for (int gone : {45, 5, -1}) QVERIFY(!all.contains(day(gone)));
        QVERIFY(all.contains(QStringLiteral("Személyi igazolvány: %1 okmány").arg(due(58, 30))));
        QVERIFY(all.contains(QStringLiteral("Jogosítvány: %1 okmány").arg(due(59, 30))));
        QVERIFY(all.contains(QStringLiteral("Összesen: %1 lejáró okmány").arg(due(58, 30) + due(59, 30))));

        // StringPar1 gives the days.
        r->setProperty("StringPar1", QStringLiteral("60"));
        all = words(exported(*r, QStringLiteral("drivers60")).join(QLatin1Char('\n')));
        QVERIFY(all.contains(QStringLiteral("A következő 60 napban lejárók: %1 – %2").arg(day(0), day(60))));
        QVERIFY(all.contains(QStringLiteral("AB901 %1 45").arg(day(45))));
    }

    void parameterDialog()
    {
        auto r = report(QStringLiteral("sofor_lejaratok.json"));
        r->setProperty("AskParameters", true);
        onNextModal([](QWidget* dlg) {
            auto* days = dlg->findChild<QSpinBox*>(QStringLiteral("days"));
            QVERIFY(days);
            QCOMPARE(days->value(), 30);
            days->setValue(50);
            clickButton(dlg, QStringLiteral("Rendben"));
        });
        const QString all = words(exported(*r, QStringLiteral("asked")).join(QLatin1Char('\n')));
        QVERIFY(all.contains(QStringLiteral("A következő 50 napban lejárók: %1 – %2").arg(day(0), day(50))));

        answerNextModal(QStringLiteral("Mégse"));
        QVERIFY(!r->ExportPdf(m_out.filePath(QStringLiteral("cancelled.pdf"))));
        QVERIFY(r->lastError().contains(QStringLiteral("megszakítva")));
        QVERIFY(!QFile::exists(m_out.filePath(QStringLiteral("cancelled.pdf"))));
        QCOMPARE(expiredModalActions(), 0);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("par1");
        QTest::addColumn<QString>("message");
        const QByteArray columns = R"("columns": [{"field": "user_name"}])";
        QTest::newRow("missing") << "nincs_ilyen.json" << QByteArray() << "" << "A riportfájl nem található";
        QTest::newRow("json") << "bad.json" << QByteArray("{\n\"query\": \"SELECT 1\"\n\"columns\": []}") << ""
                              << "nem olvasható JSON: lezáratlan objektum a(z) 3. sorban";
        QTest::newRow("no columns") << "empty.json" << QByteArray(R"({"query": "SELECT 1"})") << "" << "nincs egyetlen oszlopa sem";
        QTest::newRow("format") << "format.json"
                                << QByteArray(R"({"query": "SELECT 1", "columns": [{"field": "x", "format": "pénz"}]})") << ""
                                << "a(z) „x” oszlop: a(z) „format” értéke „pénz” nem lehet";
        QTest::newRow("sql") << "sql.json" << QByteArray(R"({"query": "SELECT nincs_oszlop FROM qnd_user", )" + columns + "}") << ""
                             << "A riport lekérdezése nem futott le. A lekérdezés nem futtatható";
        QTest::newRow("writes") << "write.json" << QByteArray(R"({"query": "DELETE FROM qnd_user", )" + columns + "}") << ""
                                << "csak olvashat";
        QTest::newRow("parameter") << "param.json" << QByteArray(R"({"query": "SELECT user_name FROM qnd_user WHERE id = :nincs", )" + columns + "}")
                                   << "" << "ismeretlen paramétert használ: :nincs";
        QTest::newRow("field") << "field.json" << QByteArray(R"({"query": "SELECT id FROM qnd_user", )" + columns + "}") << ""
                               << "nincs „user_name” mező";
        QTest::newRow("days") << "sofor_lejaratok.json" << QByteArray() << "sok" << "„Napok száma” paraméter értéke nem egész szám: „sok”";
        QTest::newRow("slot") << "szerepkor_jogai.json" << QByteArray() << "12" << "„Szerepkör” paraméter értéke („12”) nem választható";
    }

    void failures()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, json);
        QFETCH(QString, par1);
        QFETCH(QString, message);
        const int users = count(QStringLiteral("SELECT COUNT(*) FROM qnd_user"));
        auto r = report(json.isEmpty() ? file : reportFile(file, json), par1);
        const QString pdf = m_out.filePath(QStringLiteral("failed.pdf"));
        QVERIFY(!r->ExportPdf(pdf));
        QVERIFY2(r->lastError().contains(message), qPrintable(r->lastError()));
        QVERIFY(!QFile::exists(pdf));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM qnd_user")), users);
    }

    // A report file is user-written SQL too: its query and its choices run as the reader,
    // whatever they hold.
    void hostileQueriesAndChoices()
    {
        const QStringList secrets = Hostile::storedSecrets(*m_c);
        const Hostile::State before = Hostile::stateOf(*m_c);
        QList<Hostile::Source> sources = Hostile::sources(testingPostgres());
        // The harmless pair first: the two ways do run SQL.
        sources.prepend({QStringLiteral("harmless"), QStringLiteral("SELECT 1 AS x, 'egy' AS caption")});
        for (const Hostile::Source& h : std::as_const(sources)) {
            const QJsonObject column{{"field", "x"}};
            const QJsonObject asQuery{{"query", h.sql}, {"columns", QJsonArray{column}}};
            const QJsonObject asChoice{
                {"query", "SELECT :p AS x"},
                {"parameters", QJsonArray{QJsonObject{{"name", "p"}, {"type", "choice"}, {"default", "1"}, {"choices", h.sql}}}},
                {"columns", QJsonArray{column}}};
            for (const QJsonObject& json : {asQuery, asChoice}) {
                auto r = report(reportFile(QStringLiteral("hostile.json"), QJsonDocument(json).toJson()));
                const QString pdf = m_out.filePath(QStringLiteral("hostile.pdf"));
                const bool exported = r->ExportPdf(pdf);
                if (h.name == QLatin1String("harmless")) QVERIFY2(exported, qPrintable(r->lastError()));
                if (exported) {
                    QString leaked;
                    QList<QVariantList> text;
                    for (const QString& page : pdfPages(pdf)) text << QVariantList{page};
                    QVERIFY2(Hostile::leaksNothing(text, secrets, &leaked), qPrintable(h.name));
                    QFile::remove(pdf);
                }
                QVERIFY2(Hostile::stateOf(*m_c) == before, qPrintable(h.name));
                QVERIFY2(Hostile::masterLockFree(*m_c), qPrintable(h.name));
            }
        }
    }

    void withoutConnection()
    {
        auto r = report(QStringLiteral("felhasznalok_csoportonkent.json"));
        r->setProperty("DAOConnection", QVariant::fromValue<QObject*>(nullptr));
        QVERIFY(!r->ExportPdf(m_out.filePath(QStringLiteral("none.pdf"))));
        QVERIFY(r->property("LastError").toString().contains(QStringLiteral("nincs megnyitott adatbázis-kapcsolat")));
        // DoReport says it in a box.
        onNextModal([](QWidget* box) {
            QVERIFY(dialogText(box).contains(QStringLiteral("nincs megnyitott adatbázis-kapcsolat")));
            clickButton(box, QStringLiteral("OK"));
        });
        r->DoReport();
        QCOMPARE(expiredModalActions(), 0);
    }

    void namedAndBoundValues()
    {
        QString statement;
        QVariantList bound;
        QString error;
        QVERIFY(bindNamed(QStringLiteral("SELECT ':a', \"x:y\", v::text, :b -- :c\n/* :d */ FROM t WHERE y = :B"), {{"b", 7}},
                          &statement, &bound, &error));
        QCOMPARE(statement, QStringLiteral("SELECT ':a', \"x:y\", v::text, ? -- :c\n/* :d */ FROM t WHERE y = ?"));
        QCOMPARE(bound, (QVariantList{7, 7}));

        auto source = ReadOnlySource::open(*m_c, &error);
        QVERIFY2(source, qPrintable(error));
        QList<QVariantList> rows;
        auto keep = [&](const QVariantList& row) {
            rows << row;
            return true;
        };
        // Booleans, dates and a "?" inside quotes.
        QVERIFY2(source->run(QStringLiteral("SELECT COUNT(*), '?' FROM qnd_user WHERE access_denied = ? AND create_date < ? AND id < ?"),
                             {true, kToday.addDays(1), 100}, nullptr, keep, &error),
                 qPrintable(error));
        QCOMPARE(rows.value(0).value(0).toInt(),
                 count(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE access_denied = ? AND id < 100"), {m_c->engine().storedBool(true)}));
        QCOMPARE(rows.value(0).value(1).toString(), QStringLiteral("?"));
        QVERIFY(!source->run(QStringLiteral("SELECT id FROM qnd_user WHERE id = ?"), {1, 2}, nullptr, keep, &error));
        QVERIFY2(error.contains(QStringLiteral("1 paramétert vár, de 2 érték érkezett")), qPrintable(error));
    }

    void previewWithPdfAction()
    {
        auto r = report(QStringLiteral("felhasznalok_csoportonkent.json"));
        bool hadAction = false;
        onNextModal([&](QWidget* dlg) {
            QVERIFY(qobject_cast<QPrintPreviewDialog*>(dlg));
            for (QAction* a : dlg->findChildren<QAction*>()) hadAction |= a->text() == QStringLiteral("PDF mentése…");
            keepPicture(dlg, QStringLiteral("preview"), {1100, 800});
            dlg->close();
        });
        r->DoReport();
        QVERIFY(hadAction);
        QVERIFY(r->lastError().isEmpty());
    }

    void printWithoutPrinterOffersPdf()
    {
        if (!QPrinterInfo::availablePrinters().isEmpty()) QSKIP("this machine has a printer");
        auto r = report(QStringLiteral("szerepkor_jogai.json"));
        // Offered under the report's title.
        const QString pdf = m_out.filePath(QStringLiteral("Szerepkör jogai.pdf"));
        onNextModal([](QWidget* box) {
            QVERIFY(dialogText(box).contains(QStringLiteral("nincs beállított nyomtató")));
            clickButton(box, QStringLiteral("PDF mentése…"));
        });
        onNextModal([&](QWidget* dlg) {
            auto* files = qobject_cast<QFileDialog*>(dlg);
            QVERIFY(files);
            files->setDirectory(QFileInfo(pdf).path());
            static_cast<QDialog*>(files)->accept();
        });
        r->DoPrint();
        QCOMPARE(expiredModalActions(), 0);
        checkPages(pdfPages(pdf), QStringLiteral("Szerepkör jogai"));
    }

    void pluginHandsOutTheReport()
    {
        QPluginLoader loader(qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/libQndReport.so"));
        QVERIFY2(loader.load(), qPrintable(loader.errorString()));
        auto* module = qobject_cast<IModule*>(loader.instance());
        QVERIFY(module);
        QCOMPARE(module->progIds(), QStringList{QStringLiteral("QndReport.Report")});
        QVERIFY(!module->createObject(QStringLiteral("QndReport.Nincs")));

        const QString registry = m_out.filePath(QStringLiteral("classes.ini"));
        QVERIFY(module->registerServer(registry, loader.fileName()));
        QCOMPARE(ClassRegistry(registry).entry(QStringLiteral("QndReport.Report")).library, loader.fileName());
        QCOMPARE(ClassRegistry(registry).entry(QStringLiteral("QndReport.Report")).className, QStringLiteral("QndReport"));

        QObject* o = module->createObject(QStringLiteral("QndReport.Report"));
        QVERIFY(o);
        QVERIFY(!module->canUnloadNow());
        QVERIFY(o->setProperty("ReportID", 7));
        QVERIFY(o->setProperty("ModulID", 3));
        for (const char* name : {"FileName", "ReportName", "StringPar1", "StringPar2", "StringPar3", "StringPar4", "StringPar5",
                                 "RegUserNev", "RegUserTevekenyseg", "RegUserKapcsolattarto", "RegUserCim", "RegUserTel", "RegUserFax",
                                 "RegUserEMAIL", "RegUserWWW", "RegUserBankfiok", "RegUserSzamlaszam", "RegUserAdoszam"}) {
            QVERIFY2(o->setProperty(name, QString::fromLatin1(name)), name);
            QCOMPARE(o->property(name).toString(), QString::fromLatin1(name));
        }
        QVERIFY(o->setProperty("DAOConnection", QVariant::fromValue<QObject*>(m_c.get())));
        QVERIFY(o->setProperty("AskParameters", false));
        o->setProperty("FileName", QStringLiteral("szerepkor_jogai.json"));
        o->setProperty("StringPar1", QStringLiteral("3"));
        bool ok = false;
        const QString pdf = m_out.filePath(QStringLiteral("plugin.pdf"));
        QVERIFY(QMetaObject::invokeMethod(o, "ExportPdf", Q_RETURN_ARG(bool, ok), Q_ARG(QString, pdf)));
        QVERIFY2(ok, qPrintable(o->property("LastError").toString()));
        QVERIFY(words(pdfPages(pdf).value(0)).contains(QStringLiteral("Szerepkör: Könyvelő\n")));
        QVERIFY(o->metaObject()->indexOfMethod("DoReport()") >= 0);
        QVERIFY(o->metaObject()->indexOfMethod("DoPrint()") >= 0);
        delete o;
        QVERIFY(module->canUnloadNow());
        QVERIFY(module->unregisterServer(registry));
        QVERIFY(!ClassRegistry(registry).contains(QStringLiteral("QndReport.Report")));
    }
};

QTEST_MAIN(tst_report)
#include "tst_report.moc"
