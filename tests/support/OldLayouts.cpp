#include "OldLayouts.h"
#include "Secrets.h"
#include <QRegularExpression>

namespace NexoFrame::OldLayouts {

namespace {

// Every statement those programs ran, in their order, as they wrote them for SQLite; the
// server's forms follow from the tokens below. A statement starts with its layouts: T the
// first step, B before the lists, reports and history, - not there.
const char* const kLayouts = R"(
TB CREATE TABLE "qnd_settings" ("id" {int} PRIMARY KEY, "section" {v50}, "key_name" {v100}, "value" {memo})
TB CREATE UNIQUE INDEX "qnd_settings_section_key" ON "qnd_settings" ("section"{nf},"key_name"{nf})
T- CREATE TABLE "qnd_secret" ("id" {int} PRIMARY KEY, "section" {v50}, "key_name" {v100}, "value" {memo})
T- CREATE UNIQUE INDEX "qnd_secret_section_key" ON "qnd_secret" ("section"{nf},"key_name"{nf})
TB CREATE TABLE "qnd_key" ("table_name" {v64} PRIMARY KEY, "last_key" {int} DEFAULT 0)
TB CREATE TABLE "qnd_auth_unit" ("id" {int} PRIMARY KEY, "parent_id" {int} DEFAULT 0, "name" {v100}, "prefix"
    {v100}, {roles1}, {audit})
TB CREATE INDEX "qnd_auth_unit_real_parent_id_2" ON "qnd_auth_unit" ("parent_id"{nf},"name"{nf},"id")
TB CREATE INDEX "qnd_auth_unit_prefix" ON "qnd_auth_unit" ("prefix"{nf},"id")
TB CREATE TABLE "qnd_user_group" ("id" {int} PRIMARY KEY, "name" {v255}, "technical" {bool} DEFAULT {false},
    "remark" {memo}, {roles10}, "right_event" {int} DEFAULT -1, "right_project" {int} DEFAULT -1, "right_partner"
    {int} DEFAULT -1, {audit})
TB CREATE INDEX "qnd_user_group_name" ON "qnd_user_group" ("name"{nf},"id")
TB CREATE TABLE "qnd_user" ("id" {int} PRIMARY KEY, "user_group_id" {int} DEFAULT -1, "user_name" {v100},
    "display_name" {v255}, "abbreviation" {v10}, "assignment" {v50}, "password" {v50}, "current_year" {int} DEFAULT
    0, "language_abbreviation" {v10}, "technical" {bool} DEFAULT {false}, "email" {v255}, "access_denied" {bool}
    DEFAULT {false}, "remark" {v1000}, "city" {v50}, "phone" {v50}, "mobil" {v50}, "fax" {v50}, "street" {v100},
    "zipcode" {v10}, "identity_card_number" {v20}, "identity_card_expiration" {dt}, "drivers_license_number" {v20},
    "drivers_license_expiration" {dt}, "is_driver" {bool} DEFAULT {false}, "partner_id" {int} DEFAULT -1,
    "tax_number" {v20}, {audit})
TB CREATE INDEX "qnd_user_user_name" ON "qnd_user" ("user_name"{nf},"id")
TB CREATE INDEX "qnd_user_display_name" ON "qnd_user" ("display_name"{nf},"id")
TB CREATE INDEX "qnd_user_user_group_id" ON "qnd_user" ("user_group_id"{nf},"id")
TB CREATE TABLE "qnd_menu" ("id" {int} PRIMARY KEY, "parent_id" {int} DEFAULT 0, "sort_order" {int} DEFAULT 0,
    "caption" {v100}, "class_name" {v100}, "parameter_s" {v255}, "parameter_i" {int} DEFAULT 0, "access_key" {v10},
    "system_menu" {int} DEFAULT 0, "custom_menu" {bool} DEFAULT {false}, "picture_name" {v100}, "picture_name_big"
    {v100}, {roles1}, "toolbar_visible" {bool} DEFAULT {false}, {audit})
TB CREATE INDEX "qnd_menu_real_parent_id_2" ON "qnd_menu" ("parent_id"{nf},"access_key"{nf},"id")
TB CREATE INDEX "qnd_menu_sort_order" ON "qnd_menu" ("parent_id"{nf},"sort_order"{nf},"id")
TB CREATE TABLE "qnd_olap_report" ("id" {int} PRIMARY KEY, "parent_id" {int} DEFAULT 0, "caption" {v100},
    "description" {memo}, "report_type" {int} DEFAULT 0, "sql_source" {memo}, "chart_visible" {bool} DEFAULT {true},
    "chart_type" {int} DEFAULT 1, "chart_option_show_legend" {bool} DEFAULT {true}, "chart_option_show_markers"
    {bool} DEFAULT {false}, "chart_option_stack_series" {bool} DEFAULT {false}, "chart_option_series_in_rows" {bool}
    DEFAULT {false}, {roles1}, {audit})
TB CREATE INDEX "qnd_olap_report_real_parent_id_2" ON "qnd_olap_report" ("parent_id"{nf},"caption"{nf},"id")
TB CREATE TABLE "qnd_olap_report_field" ("id" {int} PRIMARY KEY, "report_id" {int} DEFAULT -1, "caption" {v100},
    "field_name" {v100}, "field_type" {int} DEFAULT 0, "dim_field_type" {int} DEFAULT 1, "dim_field_axis" {int}
    DEFAULT 1, "dim_order" {int} DEFAULT 0, "dim_total" {int} DEFAULT -1, "fact_algorithm" {int} DEFAULT 1,
    "fact_formula" {v255}, "fact_count_level" {int} DEFAULT 0, "field_sort_order" {int} DEFAULT 0)
TB CREATE INDEX "qnd_olap_report_field_report_id" ON "qnd_olap_report_field" ("report_id"{nf},"id")
T- CREATE TABLE "qnd_report" ("id" {int} PRIMARY KEY, "parent_id" {int} DEFAULT 0, "sort_order" {int} DEFAULT 0,
    "caption" {v100}, "report_type" {int} DEFAULT 0, "file_name" {v255}, "prog_id" {v100}, "string_par1" {v255},
    "string_par2" {v255}, "string_par3" {v255}, "string_par4" {v255}, "string_par5" {v255}, "description" {memo},
    {roles1}, {audit})
T- CREATE INDEX "qnd_report_real_parent_id_2" ON "qnd_report" ("parent_id"{nf},"sort_order"{nf},"id")
T- CREATE TABLE "qnd_list" ("id" {int} PRIMARY KEY, "parent_id" {int} DEFAULT 0, "sort_order" {int} DEFAULT 0,
    "caption" {v100}, "owner_user_id" {int} DEFAULT -1, "definition" {memo}, "description" {memo}, {roles1},
    {audit})
T- CREATE INDEX "qnd_list_real_parent_id_2" ON "qnd_list" ("parent_id"{nf},"sort_order"{nf},"id")
T- CREATE INDEX "qnd_list_owner_user_id" ON "qnd_list" ("owner_user_id"{nf},"id")
T- CREATE TABLE "qnd_list_source" ("id" {int} PRIMARY KEY, "sort_order" {int} DEFAULT 0, "table_name" {v64},
    "caption" {v100}, "columns" {memo}, "del_status" {int} DEFAULT 0)
T- CREATE INDEX "qnd_list_source_sort_order" ON "qnd_list_source" ("sort_order"{nf},"id")
TB CREATE TABLE "qnd_menu_log" ("id" {int} PRIMARY KEY, "user_id" {int} DEFAULT 0, "menu_id" {int} DEFAULT 0,
    "log_date" {dt})
TB CREATE INDEX "qnd_menu_log_user_id" ON "qnd_menu_log" ("user_id"{nf},"log_date"{nf},"id")
T- CREATE INDEX "qnd_menu_log_log_date" ON "qnd_menu_log" ("log_date"{nf},"id")
T- CREATE INDEX "qnd_menu_log_menu_id" ON "qnd_menu_log" ("menu_id"{nf},"log_date"{nf},"id")
TB CREATE TABLE "qnd_report_log" ("id" {int} PRIMARY KEY, "user_id" {int} DEFAULT 0, "report_id" {int} DEFAULT 0,
    "log_date" {dt})
TB CREATE INDEX "qnd_report_log_user_id" ON "qnd_report_log" ("user_id"{nf},"log_date"{nf},"id")
T- CREATE INDEX "qnd_report_log_log_date" ON "qnd_report_log" ("log_date"{nf},"id")
T- CREATE INDEX "qnd_report_log_report_id" ON "qnd_report_log" ("report_id"{nf},"log_date"{nf},"id")
TB CREATE TABLE "crm_event" ("id" {int} PRIMARY KEY, "event_type_id" {int} DEFAULT 0, "dedicate_user_id" {int}
    DEFAULT -1, "partner_id" {int} DEFAULT -1, "subject" {v100}, "event_date" {dt}, "event_time" {dt}, "reminder"
    {bool} DEFAULT {false}, "reminder_date" {dt}, "reminder_time" {dt}, "system_made" {bool} DEFAULT {false},
    {audit})
TB CREATE INDEX "crm_event_user_scheduled_event_type_system" ON "crm_event"
    ("dedicate_user_id"{nf},"event_type_id"{nf},"system_made"{nf},"id")
TB CREATE TABLE "pa_partner" ("pa_qndid" {int} PRIMARY KEY, "pa_nev" {v100}, "pa_kmn_partner_type" {int} DEFAULT 0,
    "P_Isz" {v10}, "pa_varos" {v50}, "pa_utca" {v50}, "pa_irszlevel" {v10}, "pa_varoslevel" {v50}, "pa_utcalevel"
    {v50}, "pa_kmn_default_1" {bool} DEFAULT {false}, "pa_kmn_default_2" {bool} DEFAULT {false}, "pa_orszag" {v50},
    "pa_telefon" {v50}, "pa_mobil" {v50}, "pa_fax" {v50}, "pa_email" {v50}, "pa_km" {dbl} DEFAULT 0, "pa_uticel"
    {bool} DEFAULT {false}, "pa_gepjarmuvezeto" {bool} DEFAULT {false}, "pa_tipus" {int} DEFAULT 0, "del_status"
    {int} DEFAULT 0)
TB CREATE INDEX "pa_partner_pa_kmn_partner_type" ON "pa_partner" ("pa_kmn_partner_type"{nf},"pa_qndid")
TB CREATE INDEX "pa_partner_pa_nev" ON "pa_partner" ("pa_nev"{nf},"pa_qndid")
TB CREATE TABLE "pa_telephely" ("id" {int} PRIMARY KEY, "pa_qndid" {int} DEFAULT 0, "kmn_default" {bool} DEFAULT
    {false}, "mh_isz" {v10}, "mh_varos" {v50}, "mh_utca" {v50})
TB CREATE INDEX "pa_telephely_pa_qndid" ON "pa_telephely" ("pa_qndid"{nf},"kmn_default"{nf},"id")
TB CREATE TABLE "kmn_iranyitoszam" ("zipcode" {v10} PRIMARY KEY, "city" {v50})
TB CREATE INDEX "kmn_iranyitoszam_Zipcode" ON "kmn_iranyitoszam" ("zipcode")
TB CREATE INDEX "kmn_iranyitoszam_city" ON "kmn_iranyitoszam" ("city"{nf},"zipcode")
TB CREATE TABLE "kmn_tavolsag" ("id" {int} PRIMARY KEY, "varos1" {v50}, "varos2" {v50}, "KM" {dbl} DEFAULT 0)
TB CREATE UNIQUE INDEX "kmn_tavolsag_Varos" ON "kmn_tavolsag" ("varos1"{nf},"varos2"{nf})
TB CREATE TABLE "olap_sample_sales" ("id" {int} PRIMARY KEY, "region" {v50}, "product" {v50}, "sale_year" {int}
    DEFAULT 0, "sale_month" {int} DEFAULT 0, "quantity" {int} DEFAULT 0, "amount" {dbl} DEFAULT 0, "sale_date" {dt},
    "paid" {bool} DEFAULT {false})
TB CREATE INDEX "olap_sample_sales_region" ON "olap_sample_sales" ("region"{nf},"id")
T- CREATE TABLE "qnd_rights_history" ("id" {int} PRIMARY KEY, "changed_at" {dt}, "user_id" {int} DEFAULT -1,
    "table_name" {v64}, "row_id" {int} DEFAULT 0, "column_name" {v64}, "old_value" {v255}, "new_value" {v255})
T- CREATE INDEX "qnd_rights_history_table_row" ON "qnd_rights_history"
    ("table_name"{nf},"row_id"{nf},"column_name"{nf},"changed_at"{nf},"id")
T- CREATE INDEX "qnd_rights_history_column_time" ON "qnd_rights_history"
    ("table_name"{nf},"column_name"{nf},"changed_at"{nf},"id")
T- CREATE INDEX "qnd_rights_history_changed_at" ON "qnd_rights_history" ("changed_at"{nf},"id")
T- CREATE TABLE "qnd_login_failure" ("id" {int} PRIMARY KEY, "user_name" {v100}, "failed_at" {dt}, "machine"
    {v255}, "cleared_at" {dt})
T- CREATE INDEX "qnd_login_failure_user_name" ON "qnd_login_failure" ("user_name"{nf},"failed_at"{nf},"id")
T- CREATE INDEX "qnd_login_failure_failed_at" ON "qnd_login_failure" ("failed_at"{nf},"id")
TB CREATE VIEW "qnd_menu_log_view" AS SELECT l.id, l.user_id, l.log_date, u.display_name, COALESCE(p2.caption || '
    / ', '') || COALESCE(p1.caption || ' / ', '') || COALESCE(m.caption, '') AS menu_item FROM qnd_menu_log l LEFT
    JOIN qnd_user u ON u.id = l.user_id LEFT JOIN qnd_menu m ON m.id = l.menu_id LEFT JOIN qnd_menu p1 ON p1.id =
    m.parent_id LEFT JOIN qnd_menu p2 ON p2.id = p1.parent_id
T- CREATE VIEW "qnd_report_log_view" AS SELECT l.id, l.user_id, l.log_date, u.display_name, r.caption AS
    report_name FROM qnd_report_log l LEFT JOIN qnd_user u ON u.id = l.user_id LEFT JOIN qnd_report r ON r.id =
    l.report_id
-B CREATE VIEW "qnd_report_log_view" AS SELECT l.id, l.user_id, l.log_date, u.display_name, r.caption AS
    report_name FROM qnd_report_log l LEFT JOIN qnd_user u ON u.id = l.user_id LEFT JOIN qnd_olap_report r ON r.id =
    l.report_id
T- CREATE VIEW "qnd_user_list_view" AS SELECT u.id, u.user_name, u.display_name, g.name AS group_name,
    u.assignment, u.email, u.phone, u.is_driver, u.access_denied, u.create_date FROM qnd_user u LEFT JOIN
    qnd_user_group g ON g.id = u.user_group_id WHERE u.del_status = 0
T- CREATE VIEW "qnd_driver_document_view" AS SELECT e.id, u.id AS user_id, u.display_name AS driver, CASE
    e.event_type_id WHEN 58 THEN 'Személyi igazolvány' ELSE 'Jogosítvány' END AS document, CASE e.event_type_id WHEN
    58 THEN u.identity_card_number ELSE u.drivers_license_number END AS document_number, e.event_date AS expires
    FROM crm_event e JOIN qnd_user u ON u.id = e.dedicate_user_id WHERE e.del_status = 0 AND u.del_status = 0 AND
    e.event_type_id IN (58, 59)
)";

// A few rows in every table, the texts with Hungarian letters, some values NULL.
const char* const kRows = R"(
TB INSERT INTO qnd_settings (id, section, key_name, value) VALUES (1, 'MAINFRAME', 'CUE_NAME_1', 'Adminisztrátor:'),
    (2, 'MAINFRAME', 'SystemEdit', '0'), (3, 'KMN', 'Nap', NULL)
TB INSERT INTO qnd_key (table_name, last_key) VALUES ('qnd_user', 2), ('qnd_menu_log', 3)
TB INSERT INTO qnd_auth_unit (id, parent_id, name, prefix, auth_0, auth_1, create_date) VALUES
    (1, 0, 'Alapadatok', 'mainframe', {false}, {true}, '2024-02-01 10:00:00'),
    (2, 1, 'Új felhasználó', 'mainframe_base_user_new', {false}, {true}, NULL)
TB INSERT INTO qnd_user_group (id, name, remark, auth_0, auth_1, auth_2, auth_3, auth_4, auth_5, auth_6, auth_7, auth_8,
    auth_9, del_status) VALUES (1, 'Rendszergazdák', 'Minden szerepkör', {true}, {true}, {true}, {true}, {true}, {true},
    {true}, {true}, {true}, {true}, 0), (2, 'Könyvelők', NULL, {false}, {false}, {false}, {true}, {false}, {false}, {false},
    {false}, {false}, {false}, 0)
TB INSERT INTO qnd_user (id, user_group_id, user_name, display_name, remark, identity_card_expiration, is_driver,
    del_status) VALUES (1, 1, 'admin', 'Rendszergazda', NULL, NULL, {false}, 0),
    (2, 2, 'konyv', 'Őri Ödön', 'Árvíztűrő tükörfúrógép', '2026-05-31 00:00:00', {true}, 0)
TB INSERT INTO qnd_menu (id, parent_id, sort_order, caption, access_key, class_name, parameter_i, auth_1, system_menu)
    VALUES (1, 0, 1, 'Rendszer', 'R', '', 0, {true}, -1), (2, 1, 1, 'Felhasználók', '3', 'NexoFrame.Users', 0, {true}, -1)
TB INSERT INTO qnd_olap_report (id, parent_id, caption, report_type, sql_source, chart_visible) VALUES
    (1, 0, 'Értékesítés', 0, NULL, {true}), (2, 1, 'Forgalom régiónként', 1, 'SELECT region, amount FROM olap_sample_sales', {false})
TB INSERT INTO qnd_olap_report_field (id, report_id, caption, field_name, field_type, fact_formula) VALUES
    (1, 2, 'Régió', 'region', 0, ''), (2, 2, 'Összeg', 'amount', 1, '[Összeg] / 2')
TB INSERT INTO qnd_menu_log (id, user_id, menu_id, log_date) VALUES (1, 1, 2, '2025-01-02 08:00:00'),
    (2, 2, 2, '2025-01-03 09:30:15'), (3, 2, 1, NULL)
TB INSERT INTO qnd_report_log (id, user_id, report_id, log_date) VALUES (1, 1, 2, '2025-01-02 08:01:30')
TB INSERT INTO crm_event (id, event_type_id, dedicate_user_id, subject, event_date, reminder, system_made) VALUES
    (1, 58, 2, 'Személyi igazolvány lejár', '2026-05-31 00:00:00', {true}, {true})
TB INSERT INTO pa_partner (pa_qndid, pa_nev, pa_kmn_partner_type, "P_Isz", pa_varos, pa_km, pa_uticel) VALUES
    (1, 'Quandra Demo Kft.', 6, '1117', 'Budapest', 0, {false}), (2, 'Szegedi Papír Bt.', 1, '6720', 'Szeged', 171.5, {true})
TB INSERT INTO pa_telephely (id, pa_qndid, kmn_default, mh_isz, mh_varos, mh_utca) VALUES
    (1, 1, {true}, '1117', 'Budapest', 'Október huszonharmadika u. 8.')
TB INSERT INTO kmn_iranyitoszam (zipcode, city) VALUES ('1011', 'Budapest I. kerület'), ('6720', 'Szeged')
TB INSERT INTO kmn_tavolsag (id, varos1, varos2, "KM") VALUES (1, 'Budapest', 'Szeged', 171.5)
TB INSERT INTO olap_sample_sales (id, region, product, sale_year, sale_month, quantity, amount, sale_date, paid) VALUES
    (1, 'Dél-Alföld', 'Papír', 2025, 3, 10, 5000.5, '2025-03-04 00:00:00', {true}),
    (2, 'Észak-Magyarország', 'Ágyúpapír', 2025, 4, 1, 700, '2025-04-01 00:00:00', {false})
T- INSERT INTO qnd_report (id, parent_id, sort_order, caption, report_type, file_name, prog_id, auth_1) VALUES
    (1, 0, 1, 'Felhasználók és jogok', 0, '', '', {true}),
    (2, 1, 1, 'Felhasználók csoportonként', 1, 'felhasznalok_csoportonkent.json', 'QndReport.Report', {true})
T- INSERT INTO qnd_list (id, parent_id, sort_order, caption, owner_user_id, definition, auth_1) VALUES
    (1, 0, 1, 'Felhasználók', 1, '{"format": "nexo-lista", "version": 1, "source": "qnd_user_list_view"}', {true})
T- INSERT INTO qnd_list_source (id, sort_order, table_name, caption, columns) VALUES
    (1, 1, 'qnd_user_list_view', 'Felhasználók', 'display_name=Név')
T- INSERT INTO qnd_rights_history (id, changed_at, user_id, table_name, row_id, column_name, old_value, new_value) VALUES
    (1, '2025-01-05 10:00:00', 1, 'qnd_user_group', 2, 'auth_3', '0', '1')
T- INSERT INTO qnd_login_failure (id, user_name, failed_at, machine, cleared_at) VALUES
    (1, 'admin', '2025-01-04 07:59:00', 'gep1', '2025-01-04 08:00:00')
)";

QString spelled(QString sql, bool server)
{
    const QString audit = QStringLiteral(
        "\"del_status\" {int} DEFAULT 0, \"temp_status\" {int} DEFAULT 0, \"create_user\" {int} DEFAULT -1, \"create_date\" {dt}, "
        "\"last_action_user_id1\" {int} DEFAULT -1, \"last_action_date1\" {dt}, \"last_action_user_id2\" {int} DEFAULT -1, "
        "\"last_action_date2\" {dt}");
    for (int held : {1, 10}) {
        QStringList roles;
        for (int i = 0; i < 10; ++i)
            roles << QStringLiteral("\"auth_%1\" {bool} DEFAULT %2").arg(i).arg(QLatin1String(i < held ? "{true}" : "{false}"));
        sql.replace(QStringLiteral("{roles%1}").arg(held), roles.join(QStringLiteral(", ")));
    }
    sql.replace(QStringLiteral("{audit}"), audit);
    sql.replace(QRegularExpression(QStringLiteral("\\{v(\\d+)\\}")),
                server ? QStringLiteral("varchar(\\1) COLLATE nexo_hu") : QStringLiteral("VARCHAR(\\1) COLLATE HU"));
    const std::pair<const char*, const char*> tokens[] = {
        {"{memo}", server ? "text COLLATE nexo_hu" : "TEXT COLLATE HU"}, {"{int}", server ? "integer" : "INTEGER"},
        {"{bool}", server ? "boolean" : "INTEGER"}, {"{true}", server ? "true" : "-1"}, {"{false}", server ? "false" : "0"},
        {"{dt}", server ? "timestamp" : "DATETIME"}, {"{dbl}", server ? "double precision" : "DOUBLE"},
        {"{nf}", server ? " NULLS FIRST" : ""}};
    for (const auto& [token, spelling] : tokens) sql.replace(QLatin1String(token), QLatin1String(spelling));
    return sql;
}

// The statements of one layout from a tagged list.
QStringList statements(const char* list, Layout layout)
{
    QStringList all;
    QList<bool> in;
    for (const QString& line : QString::fromUtf8(list).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1String("    "))) {
            all.last() += QLatin1Char(' ') + line.trimmed();
            continue;
        }
        in << (line.at(layout == Layout::FirstStep ? 0 : 1) != QLatin1Char('-'));
        all << line.mid(3);
    }
    QStringList mine;
    for (int i = 0; i < all.size(); ++i)
        if (in[i]) mine << all[i];
    return mine;
}

} // namespace

void make(const TestDatabase& db, Layout layout)
{
    Connection c(makeEngineFor(db.target()));
    QString err;
    if (!c.open(db.target(), &err)) qFatal("%s", qPrintable(err));
    const bool server = isServerTarget(db.target());
    QStringList sql;
    if (server) sql << QStringLiteral("CREATE COLLATION IF NOT EXISTS nexo_hu (provider = icu, locale = 'hu-HU')");
    sql << statements(kLayouts, layout) << statements(kRows, layout);
    for (const QString& s : std::as_const(sql))
        if (!c.execute(spelled(s, server), {}, &err)) qFatal("%s: %s", qPrintable(spelled(s, server)), qPrintable(err));
    // Stored as the user form stores passwords.
    for (const auto& [id, password] : {std::pair{kAdmin, "admin"}, std::pair{kClerk, "konyv"}})
        if (!c.execute(QStringLiteral("UPDATE qnd_user SET password = ? WHERE id = ?"),
                       {Secrets::ciphered(QString::fromLatin1(password), QStringLiteral("tazeq3wnk8"), QStringLiteral("prvd57gh2eb")), id}, &err))
            qFatal("%s", qPrintable(err));
}

} // namespace NexoFrame::OldLayouts
