#include "Schema.h"
#include "Access.h"

namespace NexoFrame {

int TableDef::columnIndex(const QString& c) const
{
    // Callers nearly always spell the column as the schema does; only then fold the case.
    auto it = lookup.constFind(c);
    if (it != lookup.constEnd()) return *it;
    return lookup.value(c.toLower(), -1);
}

const ColumnDef* TableDef::column(const QString& c) const
{
    int i = columnIndex(c);
    return i < 0 ? nullptr : &columns[i];
}

const IndexDef* TableDef::index(const QString& n) const
{
    for (const IndexDef& i : indexes)
        if (i.name.compare(n, Qt::CaseInsensitive) == 0) return &i;
    return nullptr;
}

QStringList TableDef::columnNames() const
{
    QStringList l;
    for (const ColumnDef& c : columns) l << c.name;
    return l;
}

namespace {

ColumnDef lng(const char* n, int def = 0) { return {QString::fromLatin1(n), ColType::Long, 0, def}; }
ColumnDef boo(const char* n, bool def = false) { return {QString::fromLatin1(n), ColType::Bool, 0, def}; }
ColumnDef txt(const char* n, int len) { return {QString::fromLatin1(n), ColType::Text, len, QString()}; }
ColumnDef memo(const char* n) { return {QString::fromLatin1(n), ColType::Memo, 0, QString()}; }
ColumnDef dt(const char* n) { return {QString::fromLatin1(n), ColType::DateTime, 0, QVariant()}; }
ColumnDef dbl(const char* n) { return {QString::fromLatin1(n), ColType::Double, 0, 0.0}; }

QList<ColumnDef> audit()
{
    return {lng("del_status"), lng("temp_status"), lng("create_user", -1), dt("create_date"),
            lng("last_action_user_id1", -1), dt("last_action_date1"),
            lng("last_action_user_id2", -1), dt("last_action_date2")};
}

// The ten role slots; a new row holds the first `held` of them.
QList<ColumnDef> roles(int held)
{
    QList<ColumnDef> l;
    for (int i = 0; i < RoleSet::kSlots; ++i) l << ColumnDef{RoleSet::column(i), ColType::Bool, 0, i < held};
    return l;
}

ForeignRef ref(const char* column, const char* target, const char* none, const char* fault, const char* blocksDelete = nullptr)
{
    return {QString::fromLatin1(column), QString::fromLatin1(target), QString::fromLatin1(none), QString::fromUtf8(fault),
            QString::fromUtf8(blocksDelete)};
}

IndexDef idx(const char* n, QStringList cols, bool unique = false)
{
    return {QString::fromLatin1(n), std::move(cols), unique};
}

// A tree's walk below a node (a subtree's tick, its rights, its deletion) follows only live
// rows: this index answers each step of it without reading the rows themselves.
IndexDef liveChildren() { return idx("live_children", {"parent_id", "del_status"}); }

TableDef makeTable(const char* name, int number, const char* pk, QList<ColumnDef> cols,
               QList<IndexDef> extra = {})
{
    TableDef t;
    t.name = QString::fromLatin1(name);
    t.number = number;
    t.primaryKey = QString::fromLatin1(pk);
    t.columns = std::move(cols);
    t.indexes << IndexDef{QStringLiteral("PrimaryKey"), {t.primaryKey}, true};
    t.indexes << extra;
    for (int i = 0; i < t.columns.size(); ++i) {
        t.lookup.insert(t.columns[i].name.toLower(), i);
        t.lookup.insert(t.columns[i].name, i);
    }
    return t;
}

} // namespace

Schema::Schema()
{
    using L = QList<ColumnDef>;
    m_tables << makeTable("qnd_settings", Tables::Settings, "id",
                      L{lng("id"), txt("section", 50), txt("key_name", 100), memo("value")},
                      {idx("section_key", {"section", "key_name"}, true)});
    // Settings that hold a stored secret (see Secrets.h): apart, so that no reader is given them.
    m_tables << makeTable("qnd_secret", Tables::Secret, "id",
                      L{lng("id"), txt("section", 50), txt("key_name", 100), memo("value")},
                      {idx("section_key", {"section", "key_name"}, true)});
    // The last key handed out per table.
    m_tables << makeTable("qnd_key", Tables::Keys, "table_name", L{txt("table_name", 64), lng("last_key")});

    m_tables << makeTable("qnd_auth_unit", Tables::AuthUnit, "id",
                      L{lng("id"), lng("parent_id"), txt("name", 100), txt("prefix", 100)}
                          + roles(1) + audit(),
                      {idx("real_parent_id_2", {"parent_id", "name"}), idx("prefix", {"prefix"}), liveChildren()});

    m_tables << makeTable("qnd_user_group", Tables::UserGroup, "id",
                      L{lng("id"), txt("name", 255), boo("technical"), memo("remark")}
                          + roles(RoleSet::kSlots)
                          + L{lng("right_event", -1), lng("right_project", -1),
                              lng("right_partner", -1)}
                          + audit()
                          // The directory group whose members belong here (a DN), and which of
                          // several mapped groups a member of more than one belongs to (lowest).
                          + L{memo("directory_dn"), lng("directory_priority")}
                          // Whether its members must log in with a second step.
                          + L{boo("two_step")},
                      {idx("name", {"name"})});

    m_tables << makeTable("qnd_user", Tables::User, "id",
                      L{lng("id"), lng("user_group_id", -1), txt("user_name", 100),
                        txt("display_name", 255), txt("abbreviation", 10), txt("assignment", 50),
                        txt("password", 50), lng("current_year"), txt("language_abbreviation", 10),
                        boo("technical"), txt("email", 255), boo("access_denied"), txt("remark", 1000),
                        txt("city", 50), txt("phone", 50), txt("mobil", 50), txt("fax", 50),
                        txt("street", 100), txt("zipcode", 10), txt("identity_card_number", 20),
                        dt("identity_card_expiration"), txt("drivers_license_number", 20),
                        dt("drivers_license_expiration"), boo("is_driver"), lng("partner_id", -1),
                        txt("tax_number", 20)}
                          + audit()
                          // The directory entry (a DN) of a user read from the directory; empty
                          // for a local user, whose password is kept here.
                          + L{memo("directory_dn")},
                      {idx("user_name", {"user_name"}), idx("display_name", {"display_name"}),
                       idx("user_group_id", {"user_group_id"})});

    m_tables << makeTable("qnd_menu", Tables::Menu, "id",
                      L{lng("id"), lng("parent_id"), lng("sort_order"), txt("caption", 100),
                        txt("class_name", 100), txt("parameter_s", 255), lng("parameter_i"),
                        txt("access_key", 10), lng("system_menu"), boo("custom_menu"),
                        txt("picture_name", 100), txt("picture_name_big", 100)}
                          + roles(1) + L{boo("toolbar_visible")} + audit(),
                      {idx("real_parent_id_2", {"parent_id", "access_key"}),
                       idx("sort_order", {"parent_id", "sort_order"}), liveChildren()});

    m_tables << makeTable("qnd_olap_report", Tables::OlapReport, "id",
                      L{lng("id"), lng("parent_id"), txt("caption", 100), memo("description"),
                        lng("report_type"), memo("sql_source"), boo("chart_visible", true),
                        lng("chart_type", 1), boo("chart_option_show_legend", true),
                        boo("chart_option_show_markers"), boo("chart_option_stack_series"),
                        boo("chart_option_series_in_rows")}
                          + roles(1) + audit(),
                      {idx("real_parent_id_2", {"parent_id", "caption"}), liveChildren()});

    m_tables << makeTable("qnd_olap_report_field", Tables::OlapReportField, "id",
                      L{lng("id"), lng("report_id", -1), txt("caption", 100), txt("field_name", 100),
                        lng("field_type"), lng("dim_field_type", 1), lng("dim_field_axis", 1),
                        lng("dim_order"), lng("dim_total", -1), lng("fact_algorithm", 1),
                        txt("fact_formula", 255), lng("fact_count_level"), lng("field_sort_order")},
                      {idx("report_id", {"report_id"})});

    // The printed reports' catalogue: folders (report_type 0) and reports, each naming its
    // report file, the report class's ProgID and up to five parameters for it.
    m_tables << makeTable("qnd_report", Tables::Report, "id",
                      L{lng("id"), lng("parent_id"), lng("sort_order"), txt("caption", 100),
                        lng("report_type"), txt("file_name", 255), txt("prog_id", 100),
                        txt("string_par1", 255), txt("string_par2", 255), txt("string_par3", 255),
                        txt("string_par4", 255), txt("string_par5", 255), memo("description")}
                          + roles(1) + audit(),
                      {idx("real_parent_id_2", {"parent_id", "sort_order"}), liveChildren()});

    // The list wizard's lists: each a definition in JSON, owned by its author, with the role
    // slots that may use it (flat under the root: parent_id 0).
    m_tables << makeTable("qnd_list", Tables::List, "id",
                      L{lng("id"), lng("parent_id"), lng("sort_order"), txt("caption", 100),
                        lng("owner_user_id", -1), memo("definition"), memo("description")}
                          + roles(1) + audit(),
                      {idx("real_parent_id_2", {"parent_id", "sort_order"}), idx("owner_user_id", {"owner_user_id"})});
    // What lists may be built from: a table or view of the schema by its Hungarian name, and
    // the columns offered, one "column=Heading" per line in the order offered.
    m_tables << makeTable("qnd_list_source", Tables::ListSource, "id",
                      L{lng("id"), lng("sort_order"), txt("table_name", 64), txt("caption", 100), memo("columns"),
                        lng("del_status")},
                      {idx("sort_order", {"sort_order"})});

    // The logs are read newest first, for everyone or for one user: both orders have an index.
    m_tables << makeTable("qnd_menu_log", Tables::MenuLog, "id",
                      L{lng("id"), lng("user_id"), lng("menu_id"), dt("log_date")},
                      {idx("user_id", {"user_id", "log_date", "id"}), idx("log_date", {"log_date", "id"}),
                       idx("menu_id", {"menu_id", "log_date"})});
    m_tables << makeTable("qnd_report_log", Tables::ReportLog, "id",
                      L{lng("id"), lng("user_id"), lng("report_id"), dt("log_date")},
                      {idx("user_id", {"user_id", "log_date", "id"}), idx("log_date", {"log_date", "id"}),
                       idx("report_id", {"report_id", "log_date"})});

    // The logs as their viewer lists them. A menu item is named with the captions above it
    // (the menu is three levels deep).
    TableDef menuLog = makeTable("qnd_menu_log_view", Tables::MenuLogView, "id",
                                 L{lng("id"), lng("user_id"), dt("log_date"), txt("display_name", 255), txt("menu_item", 320)});
    menuLog.viewSql = QStringLiteral(
        "SELECT l.id, l.user_id, l.log_date, u.display_name, "
        "COALESCE(p2.caption || ' / ', '') || COALESCE(p1.caption || ' / ', '') || COALESCE(m.caption, '') AS menu_item "
        "FROM qnd_menu_log l LEFT JOIN qnd_user u ON u.id = l.user_id LEFT JOIN qnd_menu m ON m.id = l.menu_id "
        "LEFT JOIN qnd_menu p1 ON p1.id = m.parent_id LEFT JOIN qnd_menu p2 ON p2.id = p1.parent_id");
    TableDef reportLog = makeTable("qnd_report_log_view", Tables::ReportLogView, "id",
                                   L{lng("id"), lng("user_id"), dt("log_date"), txt("display_name", 255), txt("report_name", 100)});
    reportLog.viewSql = QStringLiteral(
        "SELECT l.id, l.user_id, l.log_date, u.display_name, r.caption AS report_name "
        "FROM qnd_report_log l LEFT JOIN qnd_user u ON u.id = l.user_id LEFT JOIN qnd_report r ON r.id = l.report_id");

    m_tables << makeTable("crm_event", Tables::Event, "id",
                      L{lng("id"), lng("event_type_id"), lng("dedicate_user_id", -1),
                        lng("partner_id", -1), txt("subject", 100), dt("event_date"),
                        dt("event_time"), boo("reminder"), dt("reminder_date"), dt("reminder_time"),
                        boo("system_made")}
                          + audit(),
                      {idx("user_scheduled_event_type_system",
                           {"dedicate_user_id", "event_type_id", "system_made"})});

    m_tables << makeTable("pa_partner", Tables::Partner, "pa_qndid",
                      L{lng("pa_qndid"), txt("pa_nev", 100), lng("pa_kmn_partner_type"),
                        txt("P_Isz", 10), txt("pa_varos", 50), txt("pa_utca", 50),
                        txt("pa_irszlevel", 10), txt("pa_varoslevel", 50), txt("pa_utcalevel", 50),
                        boo("pa_kmn_default_1"), boo("pa_kmn_default_2"), txt("pa_orszag", 50),
                        txt("pa_telefon", 50), txt("pa_mobil", 50), txt("pa_fax", 50),
                        txt("pa_email", 50), dbl("pa_km"), boo("pa_uticel"),
                        boo("pa_gepjarmuvezeto"), lng("pa_tipus"), lng("del_status")},
                      {idx("pa_kmn_partner_type", {"pa_kmn_partner_type"}),
                       idx("pa_nev", {"pa_nev"})});
    m_tables << makeTable("pa_telephely", Tables::PartnerSite, "id",
                      L{lng("id"), lng("pa_qndid"), boo("kmn_default"), txt("mh_isz", 10),
                        txt("mh_varos", 50), txt("mh_utca", 50)},
                      {idx("pa_qndid", {"pa_qndid", "kmn_default"})});
    m_tables << makeTable("kmn_iranyitoszam", Tables::Zipcode, "zipcode",
                      L{txt("zipcode", 10), txt("city", 50)},
                      {idx("Zipcode", {"zipcode"}), idx("city", {"city"})});
    m_tables << makeTable("kmn_tavolsag", Tables::Distance, "id",
                      L{lng("id"), txt("varos1", 50), txt("varos2", 50), dbl("KM")},
                      {idx("Varos", {"varos1", "varos2"}, true)});

    m_tables << makeTable("olap_sample_sales", Tables::OlapSample, "id",
                      L{lng("id"), txt("region", 50), txt("product", 50), lng("sale_year"),
                        lng("sale_month"), lng("quantity"), dbl("amount"), dt("sale_date"), boo("paid")},
                      {idx("region", {"region"})});
    // Sources of lists: the live users with their group's name, and the drivers' documents
    // that expire (the reminder events of the driver's identity card and licence).
    TableDef userList = makeTable("qnd_user_list_view", Tables::UserListView, "id",
                                  L{lng("id"), txt("user_name", 100), txt("display_name", 255), txt("group_name", 255),
                                    txt("assignment", 50), txt("email", 255), txt("phone", 50), boo("is_driver"),
                                    boo("access_denied"), dt("create_date")});
    userList.viewSql = QStringLiteral(
        "SELECT u.id, u.user_name, u.display_name, g.name AS group_name, u.assignment, u.email, u.phone, u.is_driver, "
        "u.access_denied, u.create_date FROM qnd_user u LEFT JOIN qnd_user_group g ON g.id = u.user_group_id WHERE u.del_status = 0");
    TableDef documents = makeTable("qnd_driver_document_view", Tables::DriverDocumentView, "id",
                                   L{lng("id"), lng("user_id"), txt("driver", 255), txt("document", 30), txt("document_number", 20),
                                     dt("expires")});
    documents.viewSql = QStringLiteral(
        "SELECT e.id, u.id AS user_id, u.display_name AS driver, "
        "CASE e.event_type_id WHEN 58 THEN 'Személyi igazolvány' ELSE 'Jogosítvány' END AS document, "
        "CASE e.event_type_id WHEN 58 THEN u.identity_card_number ELSE u.drivers_license_number END AS document_number, "
        "e.event_date AS expires FROM crm_event e JOIN qnd_user u ON u.id = e.dedicate_user_id "
        "WHERE e.del_status = 0 AND u.del_status = 0 AND e.event_type_id IN (58, 59)");
    // Every change of a role slot, a group's visibility rule or a user's group: when, by
    // whom, which row and column, from what to what. Read by column and time (the state at a
    // moment) and by time; only appended to, so each index grows at its end. (No index by
    // row: a subtree's tick would put thousands of entries all over it.)
    m_tables << makeTable("qnd_rights_history", Tables::RightsHistory, "id",
                      L{lng("id"), dt("changed_at"), lng("user_id", -1), txt("table_name", 64), lng("row_id"),
                        txt("column_name", 64), txt("old_value", 255), txt("new_value", 255)},
                      {idx("column_time", {"table_name", "column_name", "changed_at", "id"}),
                       idx("changed_at", {"changed_at", "id"})});
    // Failed logins: by name and time for the lock-out, by time for the panel's locked names.
    // A row stays as a log when a successful login or an administrator forgives it (cleared_at).
    m_tables << makeTable("qnd_login_failure", Tables::LoginFailure, "id",
                      L{lng("id"), txt("user_name", 100), dt("failed_at"), txt("machine", 255), dt("cleared_at")},
                      {idx("user_name", {"user_name", "failed_at"}), idx("failed_at", {"failed_at"})});
    // The second step of logins: a user's sealed secret and the last step a code of his was
    // accepted at (a code is taken once); his single-use recovery codes, each an id to find
    // it by and a salted slow hash. Secrets both: no user-written SQL reads them.
    m_tables << makeTable("qnd_two_step", Tables::TwoStep, "user_id",
                      L{lng("user_id"), txt("secret", 100), dt("enrolled_at"), lng("last_step")});
    m_tables << makeTable("qnd_recovery_code", Tables::RecoveryCode, "id",
                      L{lng("id"), lng("user_id"), txt("code_id", 10), txt("hash", 255), dt("used_at")},
                      {idx("user_code", {"user_id", "code_id"})});
    // The layout's numbered steps the database has taken (SchemaSteps.cpp), by which program
    // version and when; its largest step is the database's layout version.
    m_tables << makeTable("qnd_schema_step", Tables::SchemaStep, "step",
                      L{lng("step"), dt("applied_at"), txt("program_version", 20)});
    for (TableDef& t : m_tables)
        for (const ColumnDef& c : t.columns)
            if (c.name.startsWith(QLatin1String("auth_"))) t.historyColumns << c.name;
    // Names the lists and trees show in alphabetical order; keys only looked up by their exact
    // value (prefixes, settings, access keys, cities of a distance) keep the text's own order.
    const std::pair<int, const char*> hungarian[] = {
        {Tables::AuthUnit, "name"}, {Tables::UserGroup, "name"}, {Tables::User, "user_name"}, {Tables::User, "display_name"},
        {Tables::OlapReport, "caption"}, {Tables::Partner, "pa_nev"}, {Tables::Zipcode, "city"},
        {Tables::OlapSample, "region"}};
    for (TableDef& t : m_tables)
        for (const auto& [table, column] : hungarian)
            if (t.number == table) t.sortKeys << QString::fromLatin1(column);
    // Which column points at which table's key; "= 0" and "<= 0" are the values that point
    // nowhere on purpose (a tree's root, no partner, no owner).
    const std::pair<int, ForeignRef> references[] = {
        {Tables::User, ref("user_group_id", "qnd_user_group", nullptr, "a felhasználó csoportja nem létezik",
                           "felhasználó tartozik a csoporthoz")},
        {Tables::User, ref("partner_id", "pa_partner", "<= 0", "a felhasználó partnere nem létezik")},
        {Tables::AuthUnit, ref("parent_id", "qnd_auth_unit", "= 0", "a jogosultság szülője nem létezik")},
        {Tables::Menu, ref("parent_id", "qnd_menu", "= 0", "a menüpont szülője nem létezik")},
        {Tables::OlapReport, ref("parent_id", "qnd_olap_report", "= 0", "az OLAP-kimutatás mappája nem létezik")},
        {Tables::OlapReportField, ref("report_id", "qnd_olap_report", nullptr, "a mező kimutatása nem létezik")},
        {Tables::Report, ref("parent_id", "qnd_report", "= 0", "a riport mappája nem létezik")},
        {Tables::List, ref("parent_id", "qnd_list", "= 0", "a lista szülője nem létezik")},
        {Tables::List, ref("owner_user_id", "qnd_user", "<= 0", "a lista gazdája nem létezik")},
        {Tables::MenuLog, ref("user_id", "qnd_user", nullptr, "a menünapló sorának felhasználója nem létezik")},
        {Tables::MenuLog, ref("menu_id", "qnd_menu", nullptr, "a menünapló sorának menüpontja nem létezik")},
        {Tables::ReportLog, ref("user_id", "qnd_user", nullptr, "a kimutatásnapló sorának felhasználója nem létezik")},
        {Tables::ReportLog, ref("report_id", "qnd_report", nullptr, "a kimutatásnapló sorának riportja nem létezik")},
        {Tables::Event, ref("dedicate_user_id", "qnd_user", "<= 0", "az esemény felhasználója nem létezik")},
        {Tables::PartnerSite, ref("pa_qndid", "pa_partner", nullptr, "a telephely partnere nem létezik")},
    };
    for (TableDef& t : m_tables)
        for (const auto& [table, r] : references)
            if (t.number == table) t.references << r;
    for (TableDef& t : m_tables) {
        if (t.number == Tables::UserGroup)
            t.historyColumns << QStringLiteral("right_event") << QStringLiteral("right_project") << QStringLiteral("right_partner")
                             << QStringLiteral("two_step");
        if (t.number == Tables::User) t.historyColumns << QStringLiteral("user_group_id");
    }

    // Views last: they read the tables above.
    m_tables << menuLog << reportLog << userList << documents;
}

bool isAuditColumn(const QString& name)
{
    for (const ColumnDef& c : audit())
        if (c.name == name) return true;
    return false;
}

const Schema& Schema::instance()
{
    static const Schema s;
    return s;
}

const TableDef* Schema::table(const QString& name) const
{
    for (const TableDef& t : m_tables)
        if (t.name.compare(name, Qt::CaseInsensitive) == 0) return &t;
    return nullptr;
}

const TableDef* Schema::table(int number) const
{
    for (const TableDef& t : m_tables)
        if (t.number == number) return &t;
    return nullptr;
}

} // namespace NexoFrame
