#include "Access.h"
#include "Connection.h"
#include "Secrets.h"
#include "SettingKeys.h"
#include <QDateTime>
#include <initializer_list>
#include <tuple>
#include <vector>

namespace NexoFrame {

namespace {

// Demo passwords are stored as the user form stores them.
const QString kKey1 = QStringLiteral("tazeq3wnk8");
const QString kKey2 = QStringLiteral("prvd57gh2eb");

using Values = std::initializer_list<std::pair<const char*, QVariant>>;

class Writer {
public:
    explicit Writer(Connection& c) : m_c(c) {}

    void row(int table, Values values, bool audit = true)
    {
        Recordset& rs = m_c.editRecordset(table);
        rs.addNew();
        if (audit && rs.table().hasColumn(QStringLiteral("create_date"))) {
            const QDateTime now = QDateTime::currentDateTime();
            for (const char* c : {"create_date", "last_action_date1", "last_action_date2"})
                rs.setField(QString::fromLatin1(c), now);
            rs.setField(QStringLiteral("create_user"), 1);
            rs.setField(QStringLiteral("last_action_user_id1"), 1);
        }
        for (const auto& [k, v] : values) rs.setField(QString::fromLatin1(k), v);
        if (!rs.update()) throw DbError(rs.lastError());
    }

    // Role flags: slots listed are true, all others false.
    static QVariantList roleSlots(const std::vector<int>& on)
    {
        QVariantList l;
        for (int i = 0; i < RoleSet::kSlots; ++i) l << false;
        for (int s : on) l[s] = true;
        return l;
    }

    void change(int table, int id, Values values)
    {
        Recordset& rs = m_c.editRecordset(table);
        rs.setIndex(QString());
        if (!rs.seek({id})) throw DbError(QStringLiteral("demo: missing row %1").arg(id));
        rs.edit();
        for (const auto& [k, v] : values) rs.setField(QString::fromLatin1(k), v);
        if (!rs.update()) throw DbError(rs.lastError());
    }

    void roles(int table, int id, const QVariantList& flags)
    {
        Recordset& rs = m_c.editRecordset(table);
        rs.setIndex(QString());
        if (!rs.seek({id})) throw DbError(QStringLiteral("demo: missing row %1").arg(id));
        rs.edit();
        for (int i = 0; i < RoleSet::kSlots; ++i) rs.setField(RoleSet::column(i), flags[i]);
        if (!rs.update()) throw DbError(rs.lastError());
    }

private:
    Connection& m_c;
};

} // namespace

// Runs inside the transaction that creates the database; a failure throws and keeps nothing.
void Connection::createDemoData()
{
    // The starting state, not a change: the rights history begins after it.
    history().setEnabled(false);
    struct Restore {
        Connection* c;
        ~Restore() { c->history().setEnabled(true); }
    } restore{this};
    try {
        Writer w(*this);
        const char* roleNames[] = {"Adminisztrátor:", "Vezető:", "Könyvelő:", "Értékesítő:", "Raktáros:",
                                   "Gépkocsivezető:", "Ügyintéző:", "Kontroller:", "Vendég:"};
        const auto setting = [&w](QLatin1StringView section, const QString& key, const QString& value) {
            w.row(Tables::Settings, {{"section", QString(section)}, {"key_name", key}, {"value", value}});
        };
        for (int i = 1; i < RoleSet::kSlots; ++i)
            setting(SettingKeys::kMainframe, SettingKeys::roleNameKey(i), QString::fromUtf8(roleNames[i - 1]));
        setting(SettingKeys::kCompany, SettingKeys::kReminderDays, QStringLiteral("3"));
        setting(SettingKeys::kMainframe, SettingKeys::kCentralUserManagement, QStringLiteral("0"));
        setting(SettingKeys::kMainframe, SettingKeys::kSystemEdit, QStringLiteral("0"));

        // Groups: the administrators hold every slot, the others one or two.
        struct G { int id; const char* name; std::vector<int> grants; };
        const G groups[] = {{1, "Rendszergazdák", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
                            {2, "Vezetők", {2, 8}},
                            {3, "Értékesítők", {4}},
                            {4, "Könyvelők", {3}},
                            {5, "Gépkocsivezetők", {6}}};
        for (const G& g : groups) {
            w.row(Tables::UserGroup, {{"id", g.id}, {"name", QString::fromUtf8(g.name)}});
            w.roles(Tables::UserGroup, g.id, Writer::roleSlots(g.grants));
        }

        struct U { int id; int group; const char* login; const char* name; const char* pw; bool denied; int del; };
        const U users[] = {{1, 1, "admin", "Rendszergazda", "admin", false, 0},
                           {2, 2, "kovacs.anna", "Kovács Anna", "anna123", false, 0},
                           {3, 3, "nagy.peter", "Nagy Péter", "peter123", false, 0},
                           {4, 4, "szabo.eva", "Szabó Éva", "eva123", true, 0},
                           {5, 3, "toth.gabor", "Tóth Gábor", "gabor123", false, 2},
                           {6, 5, "kiss.bela", "Kiss Béla", "bela123", false, 0},
                           {7, 5, "varga.zoltan", "Varga Zoltán", "zoltan123", false, 0}};
        for (const U& u : users)
            w.row(Tables::User, {{"id", u.id}, {"user_group_id", u.group}, {"user_name", QString::fromUtf8(u.login)},
                                 {"display_name", QString::fromUtf8(u.name)},
                                 {"password", Secrets::ciphered(QString::fromUtf8(u.pw), kKey1, kKey2)},
                                 {"access_denied", u.denied}, {"del_status", u.del},
                                 {"current_year", QDate::currentDate().year()},
                                 {"language_abbreviation", QStringLiteral("HUN")},
                                 {"identity_card_expiration", QDateTime::currentDateTime()},
                                 {"drivers_license_expiration", QDateTime::currentDateTime()}});

        // Two drivers whose documents run out soon, with the reminders their save writes.
        struct D { int user; const char* card; int cardDays; const char* licence; int licenceDays; };
        const D drivers[] = {{6, "123456AB", 12, "PA123456", 40}, {7, "654321CD", 200, "PB654321", 7}};
        const QDate today = QDate::currentDate();
        for (const D& d : drivers) {
            const QDate card = today.addDays(d.cardDays), licence = today.addDays(d.licenceDays);
            w.change(Tables::User, d.user, {{"is_driver", true}, {"identity_card_number", QString::fromLatin1(d.card)},
                                            {"identity_card_expiration", card.startOfDay()},
                                            {"drivers_license_number", QString::fromLatin1(d.licence)},
                                            {"drivers_license_expiration", licence.startOfDay()},
                                            {"city", QStringLiteral("Budapest")},
                                            {"mobil", QStringLiteral("+36 30 555 01%1").arg(d.user, 2, 10, QLatin1Char('0'))}});
            const std::tuple<int, const char*, QDate> documents[] = {{58, "Személyi igazolvány lejár", card},
                                                                     {59, "Jogosítvány lejár", licence}};
            for (const auto& [type, subject, day] : documents)
                w.row(Tables::Event, {{"event_type_id", type}, {"dedicate_user_id", d.user}, {"partner_id", -1},
                                      {"subject", QString::fromUtf8(subject)}, {"event_date", day.startOfDay()},
                                      {"event_time", QDateTime(day, QTime(8, 0))}, {"reminder", true},
                                      {"reminder_date", day.addDays(-3).startOfDay()},
                                      {"reminder_time", QDateTime(day.addDays(-3), QTime(8, 0))}, {"system_made", true}});
        }

        // One unit for every rights key the module asks about, grouped by prefix.
        struct A { int id; int parent; const char* name; const char* prefix; std::vector<int> grants; int del; };
        const A units[] = {
            {1, 0, "Alapadatok", "mainframe", {1}, 0},
            {2, 1, "Felhasználó csoportok", "mainframe_base_user_group", {1}, 0},
            {3, 2, "Új csoport", "mainframe_base_user_group_new", {1}, 0},
            {4, 2, "Csoport módosítása", "mainframe_base_user_group_mod", {1}, 0},
            {5, 2, "Csoport törlése", "mainframe_base_user_group_del", {1}, 0},
            {6, 1, "Felhasználók", "mainframe_base_user", {1}, 0},
            {7, 6, "Új felhasználó", "mainframe_base_user_new", {1}, 0},
            {8, 6, "Felhasználó módosítása", "mainframe_base_user_mod", {1, 2}, 0},
            {9, 6, "Felhasználó törlése", "mainframe_base_user_del", {1}, 0},
            {10, 6, "Jelszó módosítása", "mainframe_base_user_change_passorw", {1}, 0},
            {11, 1, "Beállítások exportálása", "mainframe_config_export", {1}, 0},
            {12, 1, "Beállítások importálása", "mainframe_config_import", {1}, 0},
            {14, 1, "Adatbázis mentése", "mainframe_database_backup", {1}, 0},
            {15, 1, "Adatbázis frissítése", "mainframe_database_upgrade", {1}, 0},
            {16, 1, "Naplók karbantartása", "mainframe_logs_maintain", {1}, 0},
            {17, 1, "Kétlépcsős azonosítás", "mainframe_two_step", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 0},
            {20, 0, "Kontrolling", "vtk_controlling", {1, 2}, 0},
            {21, 20, "OLAP kimutatások", "vtk_controlling_olap_report", {1, 2}, 0},
            {22, 21, "Új kimutatás", "vtk_controlling_olap_report_add", {1, 2}, 0},
            {23, 21, "Kimutatás módosítása", "vtk_controlling_olap_report_mod", {1, 2}, 0},
            {24, 21, "Kimutatás törlése", "vtk_controlling_olap_report_del", {1}, 0},
            {25, 20, "Listavarázsló", "vtk_controlling_list_wizard", {1, 2, 3, 4}, 0},
            {26, 25, "Listák szerkesztése", "vtk_controlling_list_wizard_edit", {1, 2, 3}, 0},
            {27, 25, "Minden lista szerkesztése", "vtk_controlling_list_wizard_edit_all", {1, 2}, 0},
            {28, 25, "Listák nyomtatása", "vtk_controlling_list_wizard_print", {1, 2, 3, 4}, 0},
            {29, 25, "Listák exportálása", "vtk_controlling_list_wizard_export", {1, 2, 3}, 0},
            {30, 25, "Lista paraméterek", "vtk_controlling_list_wizard_param", {1, 2}, 0},
            {40, 0, "Régi jogosultságok", "old_rights", {1}, 2},
            {41, 40, "Régi aljogosultság", "old_rights_sub", {1}, 0},
            {18, 1, "Címtár beállításai", "mainframe_directory_settings", {1}, 0},
            {19, 1, "Címtár szinkronizálása", "mainframe_directory_sync", {1}, 0},
        };
        for (const A& a : units) {
            w.row(Tables::AuthUnit, {{"id", a.id}, {"parent_id", a.parent}, {"name", QString::fromUtf8(a.name)},
                                     {"prefix", QString::fromUtf8(a.prefix)}, {"del_status", a.del}});
            w.roles(Tables::AuthUnit, a.id, Writer::roleSlots(a.grants));
        }

        // The base menu: one item for each panel (each role-setting item has parameter_i 1),
        // delivered by the system and so created by no user. Then an installation's own items
        // (keys from 1000000) and one item that admin added for himself: an external program
        // that he alone sees.
        struct M {
            int id; int parent; int sort; const char* caption; const char* key; const char* cls; int mode;
            std::vector<int> grants; const char* picture = ""; const char* command = ""; int creator = -1;
        };
        const M menus[] = {
            {1, 0, 1, "Rendszer", "R", "", 0, {1}},
            {2, 1, 1, "Jogosultságok", "1", "NexoFrame.AuthUnits", 0, {1}, "auth_16.ico"},
            {3, 1, 2, "Jogosultságok beállítása", "2", "NexoFrame.AuthUnits", 1, {1}},
            {4, 1, 3, "Felhasználók", "3", "NexoFrame.Users", 0, {1}, "users_16.ico"},
            {5, 1, 4, "Menük", "4", "NexoFrame.Menus", 0, {1}, "menu_16.ico"},
            {6, 1, 5, "Menü jogosultságok", "5", "NexoFrame.Menus", 1, {1}},
            {7, 1, 6, "Menü log", "6", "NexoFrame.LogsViewer", 0, {1}},
            {8, 1, 7, "Kimutatás log", "7", "NexoFrame.LogsViewer", 1, {1}},
            {9, 1, 8, "Jogosultság-elemző", "9", "NexoFrame.RightsExplorer", 0, {1}},
            {10, 0, 2, "Kimutatások", "K", "", 0, {1, 2, 3, 4, 6}},
            {11, 10, 1, "OLAP kimutatások", "1", "NexoFrame.OLAPReports", 0, {1, 2, 4}, "olap_16.ico"},
            {12, 10, 2, "OLAP jogosultságok", "2", "NexoFrame.OLAPReports", 1, {1}},
            {13, 10, 3, "Riportok", "3", "NexoFrame.Reports", 0, {1, 2, 3, 4, 6}},
            {14, 10, 4, "Riport jogosultságok", "4", "NexoFrame.ReportAuthorizations", 0, {1}},
            {15, 10, 5, "Listavarázsló", "5", "NexoFrame.ListWizrads", 0, {1, 2, 3, 4}},
            {16, 10, 6, "Listavarázsló jogosultságok", "6", "NexoFrame.ListWizradAuths", 0, {1}},
            {1000000, 0, 3, "Egyedi", "E", "", 0, {1, 2, 3, 4}},
            {1000001, 1000000, 1, "Értékesítési kimutatások", "1", "NexoFrame.OLAPReports", 0, {1, 2, 4}},
            {1000002, 1000000, 2, "Adatbázis mappája", "2", "SHELL", 0, {1, 2}, "", "xdg-open \"%MDB_FOLDER_PATH%\""},
            {1000003, 1, 9, "Program mappája", "8", "SHELL", 0, {}, "user_menu_16.ico", "xdg-open \"%APP_PATH%\"", 1},
        };
        for (const M& m : menus) {
            const bool own = m.id >= 1000000;
            const QString picture = QString::fromUtf8(m.picture);
            w.row(Tables::Menu, {{"id", m.id}, {"parent_id", m.parent}, {"sort_order", m.sort},
                                 {"caption", QString::fromUtf8(m.caption)}, {"access_key", QString::fromUtf8(m.key)},
                                 {"class_name", QString::fromUtf8(m.cls)}, {"parameter_i", m.mode},
                                 {"parameter_s", QString::fromUtf8(m.command)},
                                 {"system_menu", own ? 0 : -1}, {"custom_menu", own},
                                 {"picture_name", picture},
                                 {"picture_name_big", QString(picture).replace(QLatin1String("_16"), QLatin1String("_32"))},
                                 {"toolbar_visible", !picture.isEmpty()},
                                 {"create_user", m.creator}, {"last_action_user_id1", m.creator}});
            w.roles(Tables::Menu, m.id, Writer::roleSlots(m.grants));
        }

        // OLAP folders and base reports over the sample sales table: dimensions of several
        // types on every axis, facts of several algorithms, one of them a formula.
        const QString sql = QStringLiteral("SELECT region, product, sale_year, sale_month, sale_date, paid, quantity, amount "
                                           "FROM olap_sample_sales");
        // The sales role (4) sees the sales figures, not the paid invoices.
        struct R { int id; int parent; const char* caption; int type; int chart; std::vector<int> grants; };
        const R reports[] = {{1, 0, "Értékesítés", 0, 1, {0, 1, 2, 4}}, {2, 1, "Forgalom régiónként", 1, 1, {0, 1, 2, 4}},
                             {3, 1, "Havi mennyiségek", 1, 3, {0, 1, 2, 4}}, {5, 1, "Fizetett számlák", 1, 14, {0, 1, 2}},
                             {4, 0, "Pénzügy", 0, 1, {0, 1, 2}}};
        for (const R& r : reports) {
            w.row(Tables::OlapReport, {{"id", r.id}, {"parent_id", r.parent}, {"caption", QString::fromUtf8(r.caption)},
                                       {"report_type", r.type}, {"sql_source", r.type ? sql : QString()}, {"chart_type", r.chart}});
            w.roles(Tables::OlapReport, r.id, Writer::roleSlots(r.grants));
        }
        // report, caption, field, kind (0 dimension, 1 fact), data type, axis, order, total, algorithm, formula, sort
        struct F { int report; const char* caption; const char* field; int kind; int dimType; int axis; int order; int total;
                   int algo; const char* formula; int sort; };
        const F fields[] = {
            {2, "Régió", "region", 0, 1, 0, 0, -1, 1, "", 1},          {2, "Év", "sale_year", 0, 1, 1, 0, -1, 1, "", 1},
            {2, "Termék", "product", 0, 1, 2, 0, 0, 1, "", 1},         {2, "Összeg", "amount", 1, 1, 1, 0, 0, 4098, "", 1},
            {2, "Darab", "quantity", 1, 1, 1, 0, 0, 4098, "", 2},      {2, "Átlagár", "amount", 1, 1, 1, 0, 0, 4096, "[Összeg] / [Darab]", 3},
            {3, "Hónap", "sale_month", 0, 4, 0, 0, -1, 1, "", 1},      {3, "Termék", "product", 0, 1, 1, 0, -1, 1, "", 1},
            {3, "Mennyiség", "quantity", 1, 1, 1, 0, 0, 1, "", 1},     {3, "Legnagyobb tétel", "amount", 1, 1, 1, 0, 0, 4100, "", 2},
            {5, "Fizetve", "paid", 0, 2, 0, -1, -1, 1, "", 1},         {5, "Régió", "region", 0, 1, 1, 0, 0, 1, "", 1},
            {5, "Számlák", "amount", 1, 1, 1, 0, 0, 4097, "", 1},      {5, "Átlag", "amount", 1, 1, 1, 0, 0, 4101, "", 2},
            {5, "Szórás", "amount", 1, 1, 1, 0, 0, 4104, "", 3}};
        for (const F& f : fields)
            w.row(Tables::OlapReportField, {{"report_id", f.report}, {"caption", QString::fromUtf8(f.caption)},
                                            {"field_name", QString::fromUtf8(f.field)}, {"field_type", f.kind},
                                            {"dim_field_type", f.dimType}, {"dim_field_axis", f.axis},
                                            {"dim_order", f.order}, {"dim_total", f.total},
                                            {"fact_algorithm", f.algo}, {"fact_formula", QString::fromUtf8(f.formula)},
                                            {"field_sort_order", f.sort}},
                  false);
        // A few thousand sales over two years, the same on every machine.
        const char* regions[] = {"Közép-Magyarország", "Dél-Alföld", "Nyugat-Dunántúl", "Észak-Magyarország", "Dél-Dunántúl"};
        const char* products[] = {"Irodaszer", "Nyomtató", "Papír", "Szoftver", "Toner", "Ágyúpapír"};
        quint32 seed = 12345;
        auto next = [&seed](int n) {
            seed = seed * 1103515245u + 12345u;
            return int((seed >> 8) % quint32(n));
        };
        for (int sid = 1; sid <= 3000; ++sid) {
            const QDate day = QDate(2025, 1, 1).addDays(next(730));
            w.row(Tables::OlapSample, {{"id", sid}, {"region", QString::fromUtf8(regions[next(5)])},
                                       {"product", QString::fromUtf8(products[next(6)])}, {"sale_year", day.year()},
                                       {"sale_month", day.month()}, {"sale_date", day.startOfDay()}, {"paid", next(10) < 8},
                                       {"quantity", 1 + next(40)}, {"amount", 500.0 * (1 + next(60))}},
                  false);
        }

        // The printed reports' catalogue: each report is a file of the report engine's.
        struct C { int id; int parent; int sort; const char* caption; const char* file; const char* par1; std::vector<int> grants; };
        const C catalogue[] = {
            {1, 0, 1, "Felhasználók és jogok", "", "", {1, 2, 3, 4, 6}},
            {2, 1, 1, "Felhasználók csoportonként", "felhasznalok_csoportonkent.json", "", {1, 2, 4}},
            {3, 1, 2, "-", "", "", {1, 2, 4}},
            {4, 1, 3, "Szerepkör jogai", "szerepkor_jogai.json", "1", {1}},
            {5, 0, 2, "Használat", "", "", {1, 2, 3}},
            {6, 5, 1, "Menühasználat felhasználónként", "menuhasznalat.json", "", {1, 2, 3}},
            {7, 0, 3, "Gépkocsivezetők", "", "", {1, 2, 6}},
            {8, 7, 1, "Lejáró okmányok (30 nap)", "sofor_lejaratok.json", "30", {1, 2, 6}},
            {9, 7, 2, "Lejáró okmányok (90 nap)", "sofor_lejaratok.json", "90", {1, 6}},
        };
        for (const C& c : catalogue) {
            const bool report = *c.file != 0 || QLatin1String(c.caption) == QLatin1String("-");
            w.row(Tables::Report, {{"id", c.id}, {"parent_id", c.parent}, {"sort_order", c.sort},
                                   {"caption", QString::fromUtf8(c.caption)}, {"report_type", report ? 1 : 0},
                                   {"file_name", QString::fromUtf8(c.file)},
                                   {"prog_id", report ? QStringLiteral("QndReport.Report") : QString()},
                                   {"string_par1", QString::fromUtf8(c.par1)}});
            w.roles(Tables::Report, c.id, Writer::roleSlots(c.grants));
        }
        // What lists may be built from, and three ready lists with the roles that may use them.
        struct S { const char* table; const char* caption; const char* columns; };
        const S sources[] = {
            {"qnd_user_list_view", "Felhasználók",
             "display_name=Név\nuser_name=Bejelentkezési név\ngroup_name=Csoport\nassignment=Beosztás\nemail=E-mail\n"
             "phone=Telefon\nis_driver=Gépkocsivezető\naccess_denied=Tiltott\ncreate_date=Felvéve"},
            {"qnd_menu_log_view", "Menü log", "log_date=Időpont\ndisplay_name=Felhasználó\nmenu_item=Menüpont\nuser_id=Felhasználó azonosító"},
            {"qnd_report_log_view", "Kimutatás log", "log_date=Időpont\ndisplay_name=Felhasználó\nreport_name=Kimutatás"},
            {"qnd_driver_document_view", "Gépkocsivezetők okmányai",
             "driver=Gépkocsivezető\ndocument=Okmány\ndocument_number=Okmányszám\nexpires=Lejárat"},
            {"qnd_user_group", "Felhasználói csoportok", "name=Megnevezés\nremark=Megjegyzés\ncreate_date=Felvéve"},
            {"qnd_menu", "Menüpontok", "caption=Felirat\nclass_name=Osztály\nparameter_s=Paraméter\nsort_order=Sorrend"},
            {"qnd_auth_unit", "Jogosultságok", "name=Megnevezés\nprefix=Előtag"},
            {"olap_sample_sales", "Értékesítések (minta)",
             "sale_date=Dátum\nregion=Régió\nproduct=Termék\nquantity=Mennyiség\namount=Összeg\npaid=Fizetve"},
        };
        int sourceId = 0;
        for (const S& src : sources)
            w.row(Tables::ListSource, {{"id", ++sourceId}, {"sort_order", sourceId}, {"table_name", QString::fromLatin1(src.table)},
                                       {"caption", QString::fromUtf8(src.caption)}, {"columns", QString::fromUtf8(src.columns)}});
        struct L { int id; int owner; const char* caption; const char* definition; std::vector<int> grants; };
        const L lists[] = {
            {1, 1, "Felhasználók csoportjukkal",
             R"({"format": "nexo-lista", "version": 1, "source": "qnd_user_list_view",
 "columns": [{"field": "group_name", "caption": "Csoport"}, {"field": "display_name", "caption": "Név"},
             {"field": "user_name", "caption": "Bejelentkezési név"}, {"field": "assignment", "caption": "Beosztás"},
             {"field": "is_driver", "caption": "Gépkocsivezető"}],
 "match": "all", "conditions": [],
 "sort": [{"field": "group_name"}, {"field": "display_name"}],
 "group": {"field": "group_name"}})",
             {1, 2}},
            {2, 2, "Az elmúlt hónap menühasználata",
             R"({"format": "nexo-lista", "version": 1, "source": "qnd_menu_log_view",
 "columns": [{"field": "log_date", "caption": "Időpont"}, {"field": "display_name", "caption": "Felhasználó"},
             {"field": "menu_item", "caption": "Menüpont"}],
 "match": "all", "conditions": [{"field": "log_date", "op": "from", "value": "today-30", "ask": "Kezdő dátum?"}],
 "sort": [{"field": "display_name"}, {"field": "log_date", "descending": true}],
 "group": {"field": "display_name"}})",
             {1, 2, 3}},
            {3, 1, "Lejáró okmányok (60 nap)",
             R"({"format": "nexo-lista", "version": 1, "source": "qnd_driver_document_view",
 "columns": [{"field": "driver", "caption": "Gépkocsivezető"}, {"field": "document", "caption": "Okmány"},
             {"field": "document_number", "caption": "Okmányszám"}, {"field": "expires", "caption": "Lejárat"}],
 "match": "all", "conditions": [{"field": "expires", "op": "between", "value": "today", "value2": "today+60"}],
 "sort": [{"field": "expires"}], "group": {"field": "document"}})",
             {1, 2, 6}},
        };
        for (const L& l : lists) {
            w.row(Tables::List, {{"id", l.id}, {"parent_id", 0}, {"sort_order", l.id}, {"caption", QString::fromUtf8(l.caption)},
                                 {"owner_user_id", l.owner}, {"definition", QString::fromUtf8(l.definition)}});
            w.roles(Tables::List, l.id, Writer::roleSlots(l.grants));
        }

        // The company's details for the report headers beside its partner row.
        const std::pair<const char*, const char*> company[] = {
            {"Tevekenyseg", "Irodaszer- és papírkereskedelem"}, {"Kapcsolattarto", "Kovács Anna"},
            {"WWW", "www.quandra-demo.hu"}, {"Bankfiok", "OTP Bank, Budapest XI. kerület"},
            {"Szamlaszam", "11773016-01234567-00000000"}, {"Adoszam", "12345678-2-43"}};
        for (const auto& [key, value] : company)
            setting(SettingKeys::kCompany, QString::fromLatin1(key), QString::fromUtf8(value));

        // The partner module's tables: the own company, postal codes with the capital's
        // districts, and road distances between cities.
        w.row(Tables::Partner, {{"pa_qndid", 1}, {"pa_nev", QStringLiteral("Quandra Demo Kft.")}, {"pa_kmn_partner_type", 6},
                                {"P_Isz", QStringLiteral("1117")}, {"pa_varos", QStringLiteral("Budapest")},
                                {"pa_utca", QStringLiteral("Október huszonharmadika u. 8.")}, {"pa_kmn_default_1", true},
                                {"pa_orszag", QStringLiteral("Magyarország")}, {"pa_telefon", QStringLiteral("+36 1 555 0100")},
                                {"pa_fax", QStringLiteral("+36 1 555 0101")}, {"pa_email", QStringLiteral("info@quandra-demo.hu")}},
              false);
        w.row(Tables::Partner, {{"pa_qndid", 2}, {"pa_nev", QStringLiteral("Szegedi Papír Bt.")}, {"pa_kmn_partner_type", 1},
                                {"P_Isz", QStringLiteral("6720")}, {"pa_varos", QStringLiteral("Szeged")}, {"pa_uticel", true},
                                {"pa_orszag", QStringLiteral("Magyarország")}},
              false);
        w.row(Tables::PartnerSite, {{"id", 1}, {"pa_qndid", 1}, {"kmn_default", true}, {"mh_isz", QStringLiteral("1117")},
                                    {"mh_varos", QStringLiteral("Budapest")}, {"mh_utca", QStringLiteral("Október huszonharmadika u. 8.")}},
              false);
        const std::pair<const char*, const char*> zips[] = {
            {"1011", "Budapest I. kerület"}, {"1052", "Budapest V. kerület"}, {"1117", "Budapest XI. kerület"},
            {"1139", "BUDAPEST XIII. KERÜLET"}, {"1238", "Budapest XXIII. kerület"}, {"2000", "Szentendre"},
            {"2030", "Érd"}, {"2092", "Budakeszi"}, {"2100", "Gödöllő"}, {"3525", "Miskolc"}, {"4025", "Debrecen"},
            {"6720", "Szeged"}, {"7621", "Pécs"}, {"8000", "Székesfehérvár"}, {"9021", "Győr"}};
        for (const auto& [z, c] : zips)
            w.row(Tables::Zipcode, {{"zipcode", QString::fromLatin1(z)}, {"city", QString::fromUtf8(c)}}, false);
        const std::pair<const char*, double> dist[] = {
            {"Budapest", 10}, {"Szentendre", 20}, {"Érd", 22}, {"Budakeszi", 15}, {"Gödöllő", 30},
            {"Miskolc", 182}, {"Debrecen", 231}, {"Szeged", 171}, {"Pécs", 200}, {"Székesfehérvár", 65}, {"Győr", 121}};
        for (const auto& [c, km] : dist)
            w.row(Tables::Distance, {{"varos1", QStringLiteral("Budapest")}, {"varos2", QString::fromUtf8(c)}, {"KM", km}}, false);

        const QDateTime base = QDate::currentDate().addDays(-43).startOfDay();
        // Six weeks of use by four users: what each opens, and the reports they run.
        const int menusOf[][4] = {{2, 4, 13, 11}, {11, 13, 15, 11}, {11, 13, 15, 13}, {13, 15, 13, 15}};
        // The printed reports each of them may run.
        const std::vector<int> reportsOf[] = {{2, 4, 6, 8}, {2, 6, 8}, {2}, {6}};
        const int usersLogged[] = {1, 2, 3, 4};
        quint32 pick = 7;
        for (int day = 0; day < 42; ++day)
            for (int u = 0; u < 4; ++u) {
                pick = pick * 1103515245u + 12345u;
                const int opens = int((pick >> 8) % 5);
                for (int k = 0; k < opens; ++k) {
                    const int menu = menusOf[u][(day + k) % 4];
                    const QDateTime at = base.addDays(day).addSecs(3600 * (8 + 2 * u + k) + 60 * ((pick >> 12) % 60));
                    w.row(Tables::MenuLog, {{"user_id", usersLogged[u]}, {"menu_id", menu}, {"log_date", at}}, false);
                    if (menu == 13) {
                        const std::vector<int>& mine = reportsOf[u];
                        w.row(Tables::ReportLog, {{"user_id", usersLogged[u]}, {"report_id", mine[size_t(day + k) % mine.size()]},
                                                  {"log_date", at.addSecs(90)}},
                              false);
                    }
                }
            }
    } catch (const DbError& e) {
        throw DbError(QStringLiteral("A mintaadatok nem tölthetők be: %1").arg(e.message()));
    }
}

} // namespace NexoFrame
