#include "ConfigTransfer.h"
#include "Connection.h"
#include "IAddin.h"
#include "ModalSuite.h"
#include "Module.h"
#include "RightsExplorer.h"
#include "RightsHistory.h"
#include "Snapshots.h"
#include "TestDatabase.h"
#include "TestSite.h"
#include "TwoStepTesting.h"
#include "cDDXMenu.h"
#include "cDDXOlapReport.h"
#include <QComboBox>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

using namespace NexoFrame;

namespace {

struct PlainSite : IAddinSite {
    Connection* c;
    int user;
    PlainSite(Connection* c, int user) : c(c), user(user) { c->session().setUserId(user); }
    Session* session() override { return &c->session(); }
};

// What the rights explorer says each user may, by user name and by what the administrator
// sees (keys, paths, captions), never by ids. Lists are not carried, so not compared.
// `granted`: only what is granted (a unit below a deleted one is listed, refused, but not carried).
QStringList effectiveOfEveryUser(Connection& c, bool granted = false)
{
    PlainSite site(&c, 1);
    RightsExplorer p;
    p.IAddin_AttachToSite(&site, 0, QString());
    p.opt_users->setChecked(true);
    QStringList out;
    for (const QVariantList& u : c.select(QStringLiteral("SELECT id, user_name FROM qnd_user ORDER BY user_name"))) {
        const int at = p.cbo_subject->findData(u[0].toInt());
        if (at < 0) {
            out << u[1].toString() + QStringLiteral(": nincs a listában");
            continue;
        }
        p.cbo_subject->setCurrentIndex(at);
        p.cbo_compare->setCurrentIndex(0);
        p.showRights();
        for (int s = 0; s < p.tree_rights->topLevelItemCount(); ++s) {
            const QTreeWidgetItem* section = p.tree_rights->topLevelItem(s);
            if (section->text(0).startsWith(QStringLiteral("Listák"))) continue;
            for (int i = 0; i < section->childCount(); ++i) {
                const QTreeWidgetItem* r = section->child(i);
                if (granted && r->text(2) != QStringLiteral("engedélyezve")) continue;
                out << QStringList{u[1].toString(), section->text(0), s == 0 ? r->text(0) : r->text(1), r->text(2)}.join(QLatin1Char('|'));
            }
        }
    }
    out.sort();
    return out;
}

QJsonObject readJson(const QString& path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(f.readAll()).object();
}

void writeJson(const QString& path, const QJsonObject& o)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(QJsonDocument(o).toJson());
}

void writeBytes(const QString& path, const QByteArray& b)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(b);
}

// A row written through the recordset, as the panels write them.
void putRow(Connection& c, int table, const QVariantMap& values, int editId = 0)
{
    Recordset& rs = c.editRecordset(table);
    if (editId) {
        rs.setIndex(QString());
        QVERIFY(rs.seek({editId}));
        rs.edit();
    } else {
        rs.addNew();
    }
    for (auto it = values.begin(); it != values.end(); ++it) rs.setField(it.key(), it.value());
    QVERIFY2(rs.update(), qPrintable(rs.lastError()));
}

int idOf(Connection& c, const QString& sql, const QVariantList& binds)
{
    const auto r = c.select(sql, binds);
    return r.isEmpty() ? 0 : r[0][0].toInt();
}

int historyRows(Connection& c) { return c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_rights_history"))[0][0].toInt(); }

QList<ConfigChange> ofKind(const ConfigImport& plan, ConfigChange::Kind k)
{
    QList<ConfigChange> l;
    for (const ConfigChange& ch : plan.changes)
        if (ch.kind == k) l << ch;
    return l;
}

const ConfigChange* find(const ConfigImport& plan, const QString& section, const QString& what)
{
    for (const ConfigChange& ch : plan.changes)
        if (ch.section == section && ch.what == what) return &ch;
    return nullptr;
}

// The demo data made harder to carry: a group's rule naming another group (and one requiring
// the second login step, mapped to a directory group), equal captions
// side by side (with a child under the second), a prefix two units share, a role name.
void enrich(Connection& c)
{
    putRow(c, Tables::UserGroup, {{"right_event", 3}, {"right_partner", -2}, {"two_step", true},
                                     {"directory_dn", "CN=Vezetők,OU=Csoportok,DC=ceg,DC=hu"}, {"directory_priority", 4}}, 2);
    putRow(c, Tables::Menu, {{"id", 2000001}, {"parent_id", 1000000}, {"sort_order", 5}, {"caption", "Jelentések"},
                             {"class_name", ""}, {"auth_0", false}, {"auth_2", true}});
    putRow(c, Tables::Menu, {{"id", 2000002}, {"parent_id", 1000000}, {"sort_order", 5}, {"caption", "Jelentések"},
                             {"class_name", ""}, {"auth_0", false}, {"auth_4", true}});
    putRow(c, Tables::Menu, {{"id", 2000003}, {"parent_id", 2000002}, {"sort_order", 1}, {"caption", "Havi zárás"},
                             {"class_name", "NexoFrame.Reports"}, {"auth_0", false}, {"auth_4", true}});
    putRow(c, Tables::AuthUnit, {{"id", 500}, {"parent_id", 20}, {"name", "Közös A"}, {"prefix", "vtk_kozos"}, {"auth_2", true}});
    putRow(c, Tables::AuthUnit, {{"id", 501}, {"parent_id", 1}, {"name", "Közös B"}, {"prefix", "vtk_kozos"}, {"auth_4", true}});
    QVERIFY(c.settings().write(QStringLiteral("MAINFRAME"), QStringLiteral("CUE_NAME_3"), QStringLiteral("Könyvelés:")));
}

} // namespace

class tst_configtransfer : public ModalSuite {
    Q_OBJECT

private slots:
    // Export, then import into a database that has only the schema (its ids handed out far
    // from the source's): every user has the same effective rights there, by the explorer;
    // exporting again gives the same file; a second import changes nothing.
    void roundTripIntoAnEmptyDatabase()
    {
        TestSite source(1);
        Connection& a = source.db();
        enrich(a);
        TestDatabase empty;
        const QString file = empty.filePath(QStringLiteral("beallitasok.json"));
        QString why;
        QVERIFY2(exportConfig(a, file, &why), qPrintable(why));

        auto b = empty.open(Connection::DemoData::None);
        b->session().setUserId(1);
        for (int table : {Tables::UserGroup, Tables::AuthUnit, Tables::Menu, Tables::OlapReport, Tables::OlapReportField, Tables::Report})
            b->keys().newKeys(table, 777);
        ConfigImport plan;
        QVERIFY2(previewConfig(*b, file, &plan, &why), qPrintable(why));
        QCOMPARE(plan.count(ConfigChange::Change) + plan.count(ConfigChange::Same) + plan.count(ConfigChange::Leave), 0);
        QVERIFY(find(plan, QStringLiteral("Jogosultsági egységek"), QStringLiteral("Alapadatok / Beállítások importálása")));
        QVERIFY2(importConfig(*b, &plan, &why), qPrintable(why));

        // The users come along by hand: they are not part of the configuration.
        for (const QVariantList& u : a.select(QStringLiteral("SELECT u.user_name, u.display_name, g.name, u.del_status, u.access_denied "
                                                             "FROM qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id"))) {
            const int group = idOf(*b, QStringLiteral("SELECT id FROM qnd_user_group WHERE name=?"), {u[2]});
            QVERIFY(group > 0);
            putRow(*b, Tables::User, {{"user_name", u[0]}, {"display_name", u[1]}, {"user_group_id", group},
                                      {"del_status", u[3].toInt()}, {"access_denied", a.engine().fromDb(ColumnDef{{}, ColType::Bool, 0, {}}, u[4])}});
        }
        const QStringList there = effectiveOfEveryUser(*b, true);
        QStringList here = effectiveOfEveryUser(a, true);
        // admin's own item is his, not the installation's: it stays behind.
        QCOMPARE(here.removeAll(QStringLiteral("admin|Menüpontok|Rendszer / Program mappája|engedélyezve")), 1);
        QVERIFY2(there.size() > 50, qPrintable(QString::number(there.size())));
        QCOMPARE(there, here);
        // And nothing is granted there that is refused here.
        const QStringList all = effectiveOfEveryUser(a);
        for (const QString& row : effectiveOfEveryUser(*b)) QVERIFY2(all.contains(row), qPrintable(row));
        QVERIFY(there.contains(QStringLiteral("nagy.peter|Menüpontok|Egyedi / Jelentések / Havi zárás|engedélyezve")));
        QVERIFY(there.contains(QStringLiteral("kovacs.anna|Jogosultsági kulcsok|vtk_kozos|engedélyezve")));

        const QString unit = QStringLiteral("SELECT id FROM qnd_auth_unit WHERE prefix=?");
        QVERIFY(idOf(a, unit, {QStringLiteral("mainframe_base_user")}) != idOf(*b, unit, {QStringLiteral("mainframe_base_user")}));
        const int sales = idOf(*b, QStringLiteral("SELECT id FROM qnd_user_group WHERE name=?"), {QStringLiteral("Értékesítők")});
        QCOMPARE(idOf(*b, QStringLiteral("SELECT right_event FROM qnd_user_group WHERE name=?"), {QStringLiteral("Vezetők")}), sales);
        QCOMPARE(b->settings().read(QStringLiteral("MAINFRAME"), QStringLiteral("CUE_NAME_3")), QStringLiteral("Könyvelés:"));
        QVERIFY(b->engine().fromDb(*b->tableDef(Tables::UserGroup)->column(QStringLiteral("two_step")),
                                   b->select(QStringLiteral("SELECT two_step FROM qnd_user_group WHERE name='Vezetők'")).value(0).value(0)).toBool());
        const QVariantList mapped = b->select(QStringLiteral("SELECT directory_dn, directory_priority FROM qnd_user_group WHERE name='Vezetők'")).value(0);
        QCOMPARE(mapped.value(0).toString(), QStringLiteral("CN=Vezetők,OU=Csoportok,DC=ceg,DC=hu"));
        QCOMPARE(mapped.value(1).toInt(), 4);
        // New rights came in as changes of the importer, kept in the history.
        QVERIFY(historyRows(*b) > 0);

        const QString again = empty.filePath(QStringLiteral("ujra.json"));
        QVERIFY(exportConfig(*b, again, &why));
        QCOMPARE(readJson(again).value(QStringLiteral("sections")), readJson(file).value(QStringLiteral("sections")));

        const QStringList dump = fullDump(*b);
        const int history = historyRows(*b);
        ConfigImport second;
        QVERIFY(previewConfig(*b, file, &second, &why));
        QVERIFY2(!second.changesAnything(), qPrintable(ofKind(second, ConfigChange::Change).value(0).what));
        QVERIFY(importConfig(*b, &second, &why));
        QCOMPARE(fullDump(*b), dump);
        QCOMPARE(historyRows(*b), history);

        // A user's second step is his own, never the configuration's: no secret, no recovery code.
        QVERIFY(enrolWithOathtool(a, 3));
        const QString withSecret = empty.filePath(QStringLiteral("titokkal.json"));
        QVERIFY(exportConfig(a, withSecret, &why));
        QFile f(withSecret);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray text = f.readAll();
        const QByteArray sealed = a.select(QStringLiteral("SELECT secret FROM qnd_two_step WHERE user_id=3")).value(0).value(0).toByteArray();
        QVERIFY(!sealed.isEmpty() && !text.contains(sealed));
        QVERIFY(!text.contains("qnd_two_step") && !text.contains("qnd_recovery_code"));
        QCOMPARE(readJson(withSecret).value(QStringLiteral("sections")), readJson(file).value(QStringLiteral("sections")));
    }

    // Into a database that differs: the preview names what is added, what changes (and how)
    // and what only that database has, which stays; the import is one change in the history
    // and can be taken back from there.
    void previewAndImportIntoADifferentDatabase()
    {
        TestSite source(1), target(1);
        Connection& a = source.db();
        Connection& b = target.db();
        putRow(a, Tables::UserGroup, {{"auth_5", true}}, 3);
        putRow(a, Tables::UserGroup, {{"name", "Raktárosok"}, {"auth_0", false}, {"auth_7", true}});
        putRow(a, Tables::Menu, {{"caption", "Menünapló"}}, 7);
        putRow(b, Tables::UserGroup, {{"name", "Csak itt"}});
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("c.json"));
        QString why;
        QVERIFY(exportConfig(a, file, &why));
        // Text longer than its column is cut to it, as typed text would be.
        QJsonObject doc = readJson(file);
        QJsonObject sections = doc.value(QStringLiteral("sections")).toObject();
        QJsonArray reports = sections.value(QStringLiteral("reports")).toArray();
        QJsonObject first = reports[0].toObject();
        const QString firstCaption = first.value(QStringLiteral("path")).toArray().last().toString();
        QJsonObject values = first.value(QStringLiteral("values")).toObject();
        values.insert(QStringLiteral("file_name"), QString(400, QLatin1Char('x')));
        first.insert(QStringLiteral("values"), values);
        reports[0] = first;
        sections.insert(QStringLiteral("reports"), reports);
        doc.insert(QStringLiteral("sections"), sections);
        writeJson(file, doc);

        ConfigImport plan;
        QVERIFY2(previewConfig(b, file, &plan, &why), qPrintable(why));
        const QString groups = QStringLiteral("Felhasználócsoportok"), menu = QStringLiteral("Menüpontok");
        const ConfigChange* sales = find(plan, groups, QStringLiteral("Értékesítők"));
        QVERIFY(sales);
        QCOMPARE(sales->kind, ConfigChange::Change);
        QCOMPARE(sales->details, QStringList{QStringLiteral("5. szerepkör (Raktáros): nem → igen")});
        QCOMPARE(find(plan, groups, QStringLiteral("Raktárosok"))->kind, ConfigChange::Add);
        QCOMPARE(find(plan, groups, QStringLiteral("Csak itt"))->kind, ConfigChange::Leave);
        QCOMPARE(find(plan, groups, QStringLiteral("Vezetők"))->kind, ConfigChange::Same);
        QCOMPARE(find(plan, menu, QStringLiteral("Rendszer / Menünapló"))->kind, ConfigChange::Add);
        QCOMPARE(find(plan, menu, QStringLiteral("Rendszer / Menü log"))->kind, ConfigChange::Leave);
        QCOMPARE(ofKind(plan, ConfigChange::Change).size(), 2); // the group and the over-long report file name

        const QMap<QString, QString> before = rightsDump(b);
        const qint64 mark = lastRightsChange(b);
        QVERIFY2(importConfig(b, &plan, &why), qPrintable(why));
        QCOMPARE(b.select(QStringLiteral("SELECT COUNT(*) FROM qnd_user_group WHERE name=?"), {QStringLiteral("Csak itt")})[0][0].toInt(), 1);
        QCOMPARE(b.select(QStringLiteral("SELECT file_name FROM qnd_report WHERE caption=? AND parent_id=0"), {firstCaption})
                     .value(0).value(0).toString(), QString(255, QLatin1Char('x')));
        const QList<RightsChange> kept = rightsChanges(b, QDateTime::currentDateTime().addSecs(-60), QDateTime::currentDateTime().addSecs(60));
        QVERIFY(std::any_of(kept.begin(), kept.end(), [](const RightsChange& ch) {
            return ch.table == QLatin1String("qnd_user_group") && ch.rowId == 3 && ch.column == QLatin1String("auth_5") && ch.newValue == QLatin1String("1")
                && ch.oldValue == QLatin1String("0") && ch.userId == 1;
        }));
        ConfigImport again;
        QVERIFY(previewConfig(b, file, &again, &why));
        QVERIFY(!again.changesAnything());
        // Taken back from the history: every kept cell as before (the added rows keep theirs).
        QVERIFY(revertTo(b, undoPlan(b, mark, lastRightsChange(b)), &why));
        QMap<QString, QString> after = rightsDump(b);
        for (auto it = after.begin(); it != after.end();)
            it = before.contains(it.key()) ? std::next(it) : after.erase(it);
        QCOMPARE(after, before);
    }

    // Items an installation made in its panels go over as its own: keyed from 1000000 up
    // in the database they reach (whose key service would hand out small keys), and open to
    // changes there as they were where they were made.
    void installationItemsStayTheInstallations()
    {
        TestSite source(1), target(1);
        Connection& a = source.db();
        Connection& b = target.db();
        module().takeSite(&source);
        cDDXMenu item;
        item.set_caption(QStringLiteral("Saját kimutatások"));
        item.set_access_key(QStringLiteral("S"));
        item.set_class_name(QStringLiteral("NexoFrame.OLAPReports"));
        item.set_auth_2(true);
        QVERIFY(item.SetFinal() && item.CoreUpdate());
        cDDXOlapReport folder;
        folder.set_caption(QStringLiteral("Saját mappa"));
        folder.set_report_type(cDDXOlapReport::Folder);
        QVERIFY(folder.SetFinal() && folder.CoreUpdate());
        cDDXOlapReport report;
        report.set_caption(QStringLiteral("Saját riport"));
        report.set_parent_id(folder.id());
        report.set_report_type(cDDXOlapReport::Report);
        report.set_sql_source(QStringLiteral("SELECT 1 AS a"));
        auto dim = std::make_unique<cDDXOlapReportField>();
        dim->set_caption(QStringLiteral("A"));
        dim->set_field_name(QStringLiteral("a"));
        report.ReportFieldAdd(std::move(dim));
        QVERIFY(report.SetFinal() && report.CoreUpdate());
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("c.json"));
        QString why;
        QVERIFY2(exportConfig(a, file, &why), qPrintable(why));

        QVERIFY(b.select(QStringLiteral("SELECT MAX(id) FROM qnd_olap_report"))[0][0].toInt() < Keys::kFirstOwnKey);
        ConfigImport plan;
        QVERIFY2(previewConfig(b, file, &plan, &why), qPrintable(why));
        QVERIFY2(importConfig(b, &plan, &why), qPrintable(why));
        const auto idOfCaption = [&](const char* table, const QString& caption) {
            return idOf(b, QStringLiteral("SELECT id FROM %1 WHERE caption=?").arg(QLatin1String(table)), {caption});
        };
        const int menuId = idOfCaption("qnd_menu", QStringLiteral("Saját kimutatások"));
        const int folderId = idOfCaption("qnd_olap_report", QStringLiteral("Saját mappa"));
        const int reportId = idOfCaption("qnd_olap_report", QStringLiteral("Saját riport"));
        for (int id : {menuId, folderId, reportId}) QVERIFY2(id >= Keys::kFirstOwnKey, qPrintable(QString::number(id)));
        QCOMPARE(idOf(b, QStringLiteral("SELECT parent_id FROM qnd_olap_report WHERE id=?"), {reportId}), folderId);
        QVERIFY(idOf(b, QStringLiteral("SELECT MIN(id) FROM qnd_olap_report_field WHERE report_id=?"), {reportId}) >= Keys::kFirstOwnKey);
        // Imported by nobody in particular: the item is the installation's, not the importer's.
        QCOMPARE(idOf(b, QStringLiteral("SELECT create_user FROM qnd_menu WHERE id=?"), {menuId}), -1);

        module().takeSite(&target);
        cDDXMenu menu;
        QVERIFY(menu.CoreLoad(menuId));
        menu.set_caption(QStringLiteral("Kimutatásaim"));
        menu.SetModified();
        QVERIFY2(menu.SetFinal() && menu.CoreUpdate(), qPrintable(module().errors().Count() ? module().errors().Item(1).description() : QString()));
        for (int id : {folderId, reportId}) {
            cDDXOlapReport r;
            QVERIFY(r.CoreLoad(id));
            r.set_description(QStringLiteral("átírva"));
            r.SetModified();
            QVERIFY2(r.SetFinal() && r.CoreUpdate(), qPrintable(module().errors().Count() ? module().errors().Item(1).description() : QString()));
        }
        QCOMPARE(idOfCaption("qnd_menu", QStringLiteral("Kimutatásaim")), menuId);
        QCOMPARE(b.select(QStringLiteral("SELECT COUNT(*) FROM qnd_olap_report WHERE description=?"), {QStringLiteral("átírva")})[0][0].toInt(), 2);
    }

    // Files of another kind, another version or damaged are refused with a message, and the
    // database stays as it was, also when the damage lies past rows already written.
    void refusedFilesChangeNothing()
    {
        TestSite site(1);
        Connection& c = site.db();
        TestDatabase scratch;
        const QString good = scratch.filePath(QStringLiteral("jo.json")), bad = scratch.filePath(QStringLiteral("rossz.json"));
        QString why;
        QVERIFY(exportConfig(c, good, &why));
        putRow(c, Tables::UserGroup, {{"auth_6", true}}, 3); // so that an import would change something
        const QStringList dump = fullDump(c);
        const int history = historyRows(c);
        QFile f(good);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        const QJsonObject doc = readJson(good);

        const auto changed = [&](std::function<void(QJsonObject&)> edit) {
            QJsonObject d = doc;
            edit(d);
            return QJsonDocument(d).toJson();
        };
        const auto setIn = [](QJsonObject& d, const QString& section, int row, const QString& key, const QJsonValue& v) {
            QJsonObject s = d.value(QStringLiteral("sections")).toObject();
            QJsonArray rows = s.value(section).toArray();
            QJsonObject r = rows[row].toObject();
            QJsonObject values = r.value(QStringLiteral("values")).toObject();
            if (key == QLatin1String("path")) r.insert(key, v);
            else values.insert(key, v);
            r.insert(QStringLiteral("values"), values);
            rows[row] = r;
            s.insert(section, rows);
            d.insert(QStringLiteral("sections"), s);
        };
        const QList<std::pair<QString, QByteArray>> files{
            {QStringLiteral("sérült"), bytes.left(bytes.size() / 2)},
            {QStringLiteral("sérült"), QByteArray("\x89PNG\r\n\x1a\n\0\0", 10)},
            {QStringLiteral("nem NexoFrame"), QByteArray("{\"format\": \"valami-mas\", \"version\": 1, \"sections\": {}}")},
            {QStringLiteral("nem NexoFrame"), QByteArray("[1, 2, 3]")},
            {QStringLiteral("csak a(z) 1. változatot"), changed([](QJsonObject& d) { d.insert(QStringLiteral("version"), 2); })},
            {QStringLiteral("„auth_1” mező"), changed([&](QJsonObject& d) { setIn(d, QStringLiteral("groups"), 2, QStringLiteral("auth_1"), QStringLiteral("igen")); })},
            {QStringLiteral("szülője hiányzik"), changed([&](QJsonObject& d) {
                 setIn(d, QStringLiteral("menu"), 3, QStringLiteral("path"), QJsonArray{QStringLiteral("Nincs ilyen"), QStringLiteral("Elem")});
             })},
            {QStringLiteral("mezők listája"), changed([&](QJsonObject& d) {
                 QJsonObject s = d.value(QStringLiteral("sections")).toObject();
                 QJsonArray rows = s.value(QStringLiteral("olap")).toArray();
                 QJsonObject r = rows[1].toObject();
                 r.insert(QStringLiteral("fields"), QStringLiteral("nem lista"));
                 rows[1] = r;
                 s.insert(QStringLiteral("olap"), rows);
                 d.insert(QStringLiteral("sections"), s);
             })},
        };
        for (const auto& [expected, content] : files) {
            writeBytes(bad, content);
            ConfigImport plan;
            why.clear();
            QVERIFY2(!previewConfig(c, bad, &plan, &why), qPrintable(expected));
            QVERIFY2(why.contains(expected), qPrintable(why));
            QVERIFY2(why.contains(QStringLiteral("Semmi sem változott")), qPrintable(why));
        }
        QCOMPARE(fullDump(c), dump);

        // Damage in the last part, found only after the groups and the rights were written:
        // the whole import goes back.
        ConfigImport plan;
        QVERIFY(previewConfig(c, good, &plan, &why));
        QVERIFY(plan.changesAnything());
        setIn(plan.document, QStringLiteral("reports"), 0, QStringLiteral("sort_order"), QStringLiteral("első"));
        QVERIFY(!importConfig(c, &plan, &why));
        QVERIFY2(why.contains(QStringLiteral("semmi sem változott")), qPrintable(why));
        QCOMPARE(fullDump(c), dump);
        QCOMPARE(historyRows(c), history);
    }
};

QTEST_MAIN(tst_configtransfer)
#include "tst_configtransfer.moc"
