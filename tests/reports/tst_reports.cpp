#include "Connection.h"
#include "ModalSuite.h"
#include "Modules.h"
#include "ReportAuthorizations.h"
#include "Reports.h"
#include "TestSite.h"
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QPrintPreviewDialog>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {

// A report class that writes down what the panel hands it, in the order it comes.
#define RECORDED(type, name)                                                                   \
    Q_PROPERTY(type name READ get_##name WRITE set_##name)                                     \
public:                                                                                        \
    type get_##name() const { return m_values.value(QStringLiteral(#name)).value<type>(); }     \
    void set_##name(type v)                                                                    \
    {                                                                                          \
        m_values[QStringLiteral(#name)] = QVariant::fromValue(v);                              \
        order << QStringLiteral(#name);                                                        \
    }                                                                                          \
                                                                                               \
private:

class Recorder : public QObject {
    Q_OBJECT
    RECORDED(QObject*, DAOConnection)
    RECORDED(int, ReportID)
    RECORDED(int, ModulID)
    RECORDED(QString, FileName)
    RECORDED(QString, ReportName)
    RECORDED(QString, StringPar1)
    RECORDED(QString, StringPar2)
    RECORDED(QString, StringPar3)
    RECORDED(QString, StringPar4)
    RECORDED(QString, StringPar5)
    RECORDED(QString, RegUserNev)
    RECORDED(QString, RegUserTevekenyseg)
    RECORDED(QString, RegUserKapcsolattarto)
    RECORDED(QString, RegUserCim)
    RECORDED(QString, RegUserTel)
    RECORDED(QString, RegUserFax)
    RECORDED(QString, RegUserEMAIL)
    RECORDED(QString, RegUserWWW)
    RECORDED(QString, RegUserBankfiok)
    RECORDED(QString, RegUserSzamlaszam)
    RECORDED(QString, RegUserAdoszam)
public:
    struct Run {
        QString method;
        QStringList order;
        QVariantMap values;
    };
    static inline QList<Run> runs;
    static inline int made = 0;

    Recorder() { ++made; }
    Q_INVOKABLE void DoReport() { runs << Run{QStringLiteral("DoReport"), order, m_values}; }
    Q_INVOKABLE void DoPrint() { runs << Run{QStringLiteral("DoPrint"), order, m_values}; }
    QStringList order;

private:
    QVariantMap m_values;
};

// The host's side: the recording class, and every other ProgID through a class registry
// that holds the report engine's library.
class ReportSite : public TestSite {
public:
    explicit ReportSite(int userId = 1) : TestSite(userId), m_modules(m_folder.filePath(QStringLiteral("classes.ini"))) {}
    QObject* createObject(const QString& progId, QString* error) override
    {
        ++asked;
        if (progId == QLatin1String("QndTest.Recorder")) return new Recorder;
        return m_modules.create(progId, error);
    }
    Modules& modules() { return m_modules; }
    int asked = 0;

private:
    QTemporaryDir m_folder;
    Modules m_modules;
};

int count(Connection& c, const QString& sql, const QVariantList& binds = {})
{
    return c.select(sql, binds).value(0).value(0).toInt();
}

// The names a user's list shows, in order; a separator is "-".
QStringList listed(Reports& p)
{
    QStringList l;
    for (QTreeWidgetItemIterator it(p.lst_report); *it; ++it)
        l << (p.lst_report->itemWidget(*it, 0) ? QStringLiteral("-") : (*it)->text(0));
    return l;
}

QStringList listOf(TestSite& site, int userId)
{
    site.db().session().setUserId(userId);
    Reports p;
    struct As : IAddinSite {
        TestSite& s;
        int user;
        As(TestSite& s, int user) : s(s), user(user) {}
        Session* session() override { return s.session(); }
    } as(site, userId);
    p.IAddin_AttachToSite(&as, 0, QString());
    return listed(p);
}

ReportEntry entry(int id, const QString& name, const QString& progId = QStringLiteral("QndTest.Recorder"))
{
    ReportEntry e;
    e.id = id;
    e.name = name;
    e.progId = progId;
    e.fileName = QStringLiteral("x.json");
    e.parameters = {QStringLiteral("p1"), QString(), QStringLiteral("p3"), QString(), QStringLiteral("p5")};
    return e;
}

} // namespace

class TstReports : public ModalSuite {
    Q_OBJECT
private slots:
    void init()
    {
        ModalSuite::init();
        Recorder::runs.clear();
        Recorder::made = 0;
    }

    // Each user sees the reports a role slot of the group shares, with their folders; a tick
    // in the rights panel is in the list at once.
    void listFollowsRoles()
    {
        TestSite site;
        QCOMPARE(listOf(site, 1), (QStringList{"Felhasználók és jogok", "Felhasználók csoportonként", "-", "Szerepkör jogai",
                                               "Használat", "Menühasználat felhasználónként", "Gépkocsivezetők",
                                               "Lejáró okmányok (30 nap)", "Lejáró okmányok (90 nap)"}));
        QCOMPARE(listOf(site, 3), (QStringList{"Felhasználók és jogok", "Felhasználók csoportonként", "-"}));
        QCOMPARE(listOf(site, 6), (QStringList{"Gépkocsivezetők", "Lejáró okmányok (30 nap)", "Lejáró okmányok (90 nap)"}));
        QCOMPARE(listOf(site, 4), QStringList{}); // barred
        QVERIFY(site.db().execute(QStringLiteral("UPDATE qnd_user_group SET del_status=2 WHERE id=5")));
        QCOMPARE(listOf(site, 6), QStringList{}); // the group is gone

        ReportAuthorizations rights;
        rights.IAddin_AttachToSite(&site, 0, QString());
        QCOMPARE(rights.titleLabel()->text(), QStringLiteral("Riportok jogosultságainak beállítása"));
        QVERIFY(rights.role_bar && !rights.role_bar->isHidden() && rights.cbo_role->count() == 9);
        rights.selectRole(4);
        QCOMPARE(rights.nodeOf(1)->checkState(0), Qt::Checked);
        rights.ensureChildren(rights.nodeOf(5));
        QTreeWidgetItem* usage = rights.nodeOf(6);
        QVERIFY(usage && usage->checkState(0) == Qt::Unchecked);
        usage->setCheckState(0, Qt::Checked); // as a click does
        QVERIFY(site.db().select(QStringLiteral("SELECT auth_4 FROM qnd_report WHERE id=6")).value(0).value(0).toBool());
        QVERIFY(listOf(site, 3).contains(QStringLiteral("Menühasználat felhasználónként")));
    }

    // The start procedure: a blank or "-" entry starts nothing; a class that cannot be made is
    // named; every report gets the panel's identifier, its own values and the company header
    // in the contract's order, then runs, and leaves a row in the report log.
    void startingReports()
    {
        ReportSite site(2);
        Connection& c = site.db();
        Reports p;
        p.IAddin_AttachToSite(&site, 7, QString());
        const int logged = count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_report_log WHERE user_id=2"));
        p.StartReport(entry(2, QStringLiteral("-")));
        p.StartReport(entry(2, QStringLiteral("   ")));
        QCOMPARE(site.asked, 0);

        QString said;
        onNextModal([&](QWidget* dlg) {
            said = dialogText(dlg);
            clickButton(dlg, QStringLiteral("OK"));
        });
        p.StartReport(entry(2, QStringLiteral("Valami"), QStringLiteral("QndReport.Nincs")));
        QVERIFY2(said.contains(QStringLiteral("Nem sikerült a riport objektumot létrehozni! (QndReport.Nincs)")), qPrintable(said));
        QCOMPARE(count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_report_log WHERE user_id=2")), logged);

        p.StartReport(entry(4, QStringLiteral("Első")));
        p.StartReport(entry(6, QStringLiteral("Második")), true);
        QCOMPARE(expiredModalActions(), 0);
        QCOMPARE(Recorder::runs.size(), 2);
        const Recorder::Run& first = Recorder::runs[0];
        QCOMPARE(first.method, QStringLiteral("DoReport"));
        QCOMPARE(Recorder::runs[1].method, QStringLiteral("DoPrint"));
        QCOMPARE(first.order, (QStringList{"DAOConnection", "ReportID", "ModulID", "FileName", "ReportName", "StringPar1",
                                           "StringPar2", "StringPar3", "StringPar4", "StringPar5", "RegUserNev",
                                           "RegUserTevekenyseg", "RegUserKapcsolattarto", "RegUserCim", "RegUserTel",
                                           "RegUserFax", "RegUserEMAIL", "RegUserWWW", "RegUserBankfiok",
                                           "RegUserSzamlaszam", "RegUserAdoszam"}));
        for (const Recorder::Run& r : std::as_const(Recorder::runs)) {
            QCOMPARE(r.values.value("ModulID").toInt(), 7);
            QCOMPARE(r.values.value("DAOConnection").value<QObject*>(), static_cast<QObject*>(&c));
            QCOMPARE(r.values.value("StringPar3").toString(), QStringLiteral("p3"));
            QCOMPARE(r.values.value("RegUserNev").toString(), QStringLiteral("Quandra Demo Kft."));
            QCOMPARE(r.values.value("RegUserCim").toString(), QStringLiteral("1117 Budapest, Október huszonharmadika u. 8."));
            QCOMPARE(r.values.value("RegUserAdoszam").toString(), QStringLiteral("12345678-2-43"));
            QCOMPARE(r.values.value("RegUserEMAIL").toString(), QStringLiteral("info@quandra-demo.hu"));
        }
        QCOMPARE(Recorder::runs[1].values.value("ReportID").toInt(), 6);
        QCOMPARE(count(c, QStringLiteral("SELECT COUNT(*) FROM qnd_report_log WHERE user_id=2")), logged + 2);
        QCOMPARE(count(c, QStringLiteral("SELECT report_id FROM qnd_report_log WHERE id=(SELECT MAX(id) FROM qnd_report_log)")), 6);

        // The header follows the company's data: a value the partner row lacks comes from
        // the settings.
        QVERIFY(c.execute(QStringLiteral("UPDATE pa_partner SET pa_telefon='' WHERE pa_qndid=1")));
        QVERIFY(c.settings().write(QStringLiteral("KMN"), QStringLiteral("Tel"), QStringLiteral("+36 1 000 0000")));
        p.StartReport(entry(4, QStringLiteral("Harmadik")));
        QCOMPARE(Recorder::runs.last().values.value("RegUserTel").toString(), QStringLiteral("+36 1 000 0000"));
    }

    // A real report of the engine, started from the list: its preview comes up.
    void realReportPreview()
    {
        ReportSite site(1);
        QString error;
        const QString engine = QDir(qEnvironmentVariable("NEXO_TEST_BIN")).filePath(QStringLiteral("libQndReport.so"));
        QVERIFY2(site.modules().registerLibrary(engine, &error), qPrintable(error));
        Reports p;
        p.IAddin_AttachToSite(&site, 3, QString());
        p.lst_report->setCurrentItem(p.lst_report->itemOf(2));
        bool previewed = false;
        onNextModal([&](QWidget* dlg) {
            previewed = qobject_cast<QPrintPreviewDialog*>(dlg) != nullptr;
            dlg->close();
        }, 20000);
        p.lst_report->startCurrent(false);
        QVERIFY(previewed);
        QCOMPARE(expiredModalActions(), 0);
    }
};

QTEST_MAIN(TstReports)
#include "tst_reports.moc"
