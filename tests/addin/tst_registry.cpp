#include "ClassRegistry.h"
#include "InstallLayout.h"
#include "Modules.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace NexoFrame;

namespace {

const QString kEngine = QStringLiteral("QndReport.Report");

QString engineLibrary() { return qEnvironmentVariable("NEXO_TEST_BIN") + QStringLiteral("/libQndReport.so"); }

void write(const QString& file, const QList<std::pair<QString, QString>>& entries)
{
    ClassRegistry r(file);
    for (const auto& [id, library] : entries) r.add(id, {library, id.section(QLatin1Char('.'), 1)});
    QVERIFY(r.sync());
}

QByteArray bytes(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool touch(const QString& file)
{
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile f(file);
    return f.open(QIODevice::WriteOnly);
}

} // namespace

class TstRegistry : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString path(const QString& name) const { return m_dir.filePath(name); }
    // The user's file over two system files, the first of which counts first.
    QString user() const { return path(QStringLiteral("user/classes.ini")); }
    QStringList system() const { return {path(QStringLiteral("sys1/classes.ini")), path(QStringLiteral("sys2/classes.ini"))}; }

private slots:
    void init()
    {
        const QStringList files = system() << user();
        for (const QString& f : files) QFile::remove(f);
    }

    void userFileWinsProgIdByProgId()
    {
        write(system()[0], {{"A.One", "/sys1/a.so"}, {"A.Two", "/sys1/a.so"}});
        write(system()[1], {{"A.One", "/sys2/a.so"}, {"A.Three", "/sys2/b.so"}});
        write(user(), {{"A.Two", "/home/a.so"}});
        const ClassRegistry r(user(), system());

        QCOMPARE(r.entry(QStringLiteral("A.One")).library, QStringLiteral("/sys1/a.so"));
        QCOMPARE(r.source(QStringLiteral("A.One")), ClassRegistry::Source::System);
        QCOMPARE(r.entry(QStringLiteral("A.Two")).library, QStringLiteral("/home/a.so"));
        QCOMPARE(r.entry(QStringLiteral("A.Two")).className, QStringLiteral("Two"));
        QCOMPARE(r.source(QStringLiteral("A.Two")), ClassRegistry::Source::User);
        QCOMPARE(r.entry(QStringLiteral("A.Three")).library, QStringLiteral("/sys2/b.so"));
        QVERIFY(!r.contains(QStringLiteral("A.Four")));
        QCOMPARE(r.source(QStringLiteral("A.Four")), ClassRegistry::Source::None);
        QCOMPARE(r.entry(QStringLiteral("A.Four")).library, QString());

        QStringList ids = r.progIds();
        ids.sort();
        QCOMPARE(ids, (QStringList{"A.One", "A.Three", "A.Two"}));
        // One file alone is what it holds and nothing more.
        QCOMPARE(ClassRegistry(user()).progIds(), QStringList{"A.Two"});
    }

    void changesGoToTheUsersFileOnly()
    {
        write(system()[0], {{"A.One", "/sys1/a.so"}});
        const QByteArray before = bytes(system()[0]);
        ClassRegistry r(user(), system());
        r.add(QStringLiteral("A.One"), {QStringLiteral("/home/a.so"), QStringLiteral("One")});
        QVERIFY(r.sync());
        QCOMPARE(r.entry(QStringLiteral("A.One")).library, QStringLiteral("/home/a.so"));
        // Removing the user's entry uncovers the system's again.
        r.remove(QStringLiteral("A.One"));
        QVERIFY(r.sync());
        QCOMPARE(r.entry(QStringLiteral("A.One")).library, QStringLiteral("/sys1/a.so"));
        QCOMPARE(bytes(system()[0]), before);
    }

    void installedCommentsAreIgnored()
    {
        // The install writes a commented file; the comments must not become entries.
        QFile f(system()[0]);
        QDir().mkpath(QFileInfo(f).absolutePath());
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("; written by the install\n[classes]\nA.One\\class=One\nA.One\\library=/usr/lib/a.so\n");
        f.close();
        const ClassRegistry r(user(), system());
        QCOMPARE(r.progIds(), QStringList{"A.One"});
        QCOMPARE(r.entry(QStringLiteral("A.One")).library, QStringLiteral("/usr/lib/a.so"));
    }

    void filesFollowXdgAndNexoRegistry()
    {
        const QByteArray dirs = qgetenv("XDG_CONFIG_DIRS"), home = qgetenv("XDG_CONFIG_HOME"),
                         reg = qgetenv("NEXO_REGISTRY");
        qputenv("XDG_CONFIG_DIRS", (path("etc1") + ':' + path("etc2")).toUtf8());
        qputenv("XDG_CONFIG_HOME", path("home").toUtf8());
        qunsetenv("NEXO_REGISTRY");
        QCOMPARE(ClassRegistry::systemPaths(), (QStringList{path("etc1/NexoFrame/classes.ini"), path("etc2/NexoFrame/classes.ini")}));
        QCOMPARE(ClassRegistry::defaultPath(), path("home/NexoFrame/classes.ini"));
        // NEXO_REGISTRY stands in for the user's file; the system files stay under it.
        qputenv("NEXO_REGISTRY", user().toUtf8());
        QCOMPARE(ClassRegistry::defaultPath(), user());
        QCOMPARE(ClassRegistry::systemPaths().size(), 2);
        qunsetenv("XDG_CONFIG_DIRS");
        QVERIFY(ClassRegistry::systemPaths().contains(QStringLiteral("/etc/xdg/NexoFrame/classes.ini")));
        qputenv("XDG_CONFIG_DIRS", dirs);
        qputenv("XDG_CONFIG_HOME", home);
        qputenv("NEXO_REGISTRY", reg);
    }

    void systemEntryOfTheLibraryNeedsNoUserFile()
    {
        const QString lib = engineLibrary();
        QVERIFY2(QFileInfo::exists(lib), qPrintable(lib));
        // Named through a link, as /lib is /usr/lib on a merged system.
        const QString link = path(QStringLiteral("linked"));
        QVERIFY(QFile::link(QFileInfo(lib).absolutePath(), link) || QFileInfo(link).isSymLink());
        write(system()[0], {{kEngine, link + QStringLiteral("/libQndReport.so")}});

        Modules modules(user(), system());
        QString error;
        QVERIFY2(modules.ensureRegistered(lib, &error, kEngine), qPrintable(error));
        QVERIFY(!QFileInfo::exists(user()));
        QVERIFY(modules.knows(kEngine));
        std::unique_ptr<QObject> report(modules.create(kEngine, &error));
        QVERIFY2(report, qPrintable(error));
    }

    void libraryOfAnotherPlaceGoesIntoTheUsersFile()
    {
        const QString lib = engineLibrary();
        write(system()[0], {{kEngine, QStringLiteral("/usr/lib/nexoframe/libQndReport.so")}});
        Modules modules(user(), system());
        QString error;
        QVERIFY2(modules.ensureRegistered(lib, &error, kEngine), qPrintable(error));
        const ClassRegistry r(user(), system());
        QCOMPARE(r.source(kEngine), ClassRegistry::Source::User);
        QCOMPARE(r.entry(kEngine).library, QFileInfo(lib).absoluteFilePath());
    }

    void usersChoiceOfAnotherLibraryIsLeft()
    {
        write(system()[0], {{kEngine, engineLibrary()}});
        write(user(), {{kEngine, QStringLiteral("/opt/other/libQndReport.so")}});
        const QByteArray before = bytes(user());
        Modules modules(user(), system());
        QString error;
        QVERIFY2(modules.ensureRegistered(engineLibrary(), &error, kEngine), qPrintable(error));
        QCOMPARE(bytes(user()), before);
    }

    void installedFoldersWhenNothingIsBeside()
    {
        // A program folder with the installed tree around it: <root>/bin and the library and
        // data folders where the install puts them.
        const QString root = path(QStringLiteral("prefix"));
        const QString bin = root + QStringLiteral("/bin");
        QVERIFY(QDir().mkpath(bin));
        const QString libs = QDir::cleanPath(bin + QStringLiteral("/" NEXO_INSTALLED_LIBRARIES));
        const QString data = QDir::cleanPath(bin + QStringLiteral("/" NEXO_INSTALLED_DATA));
        QVERIFY(libs.startsWith(root) && data.startsWith(root));

        // Nothing anywhere: the place beside the program, for the message.
        QCOMPARE(InstallLayout::libraryPath(bin, QStringLiteral("libNexoFrame.so")), bin + QStringLiteral("/libNexoFrame.so"));
        QCOMPARE(InstallLayout::dataPath(bin, QStringLiteral("icons")), bin + QStringLiteral("/icons"));

        QVERIFY(touch(libs + QStringLiteral("/libNexoFrame.so")));
        QVERIFY(QDir().mkpath(data + QStringLiteral("/icons")));
        QCOMPARE(InstallLayout::libraryPath(bin, QStringLiteral("libNexoFrame.so")), libs + QStringLiteral("/libNexoFrame.so"));
        QCOMPARE(InstallLayout::dataPath(bin, QStringLiteral("icons")), data + QStringLiteral("/icons"));
        QCOMPARE(InstallLayout::dataPath(bin, QStringLiteral("reports")), bin + QStringLiteral("/reports"));

        // The build tree: what lies beside the program wins.
        QVERIFY(touch(bin + QStringLiteral("/libNexoFrame.so")));
        QVERIFY(QDir().mkpath(bin + QStringLiteral("/icons")));
        QCOMPARE(InstallLayout::libraryPath(bin, QStringLiteral("libNexoFrame.so")), bin + QStringLiteral("/libNexoFrame.so"));
        QCOMPARE(InstallLayout::dataPath(bin, QStringLiteral("icons")), bin + QStringLiteral("/icons"));
    }
};

QTEST_MAIN(TstRegistry)
#include "tst_registry.moc"
