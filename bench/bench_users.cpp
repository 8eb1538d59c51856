// The users panel on 100,000 users in 1,000 groups, per engine: attaching until shown, and
// switching the selected group until its users show against the bare select of that
// group's rows, and against a plain QSqlQueryModel in a QTableView showing the same first
// page, painted; and the save of a driver with both reminders against the bare writes of
// the same three rows in one transaction.
#include "StandardIcon.h"
#include "BenchSupport.h"
#include "ScreenBench.h"
#include "BrowseView.h"
#include "Connection.h"
#include "DriverRecords.h"
#include "IAddin.h"
#include "Module.h"
#include "Users.h"
#include "cDDXUser.h"
#include <QApplication>
#include <QElapsedTimer>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <algorithm>

using namespace NexoFrame;
using namespace NexoFrame::Bench;

namespace {

constexpr int kGroups = 1000;
constexpr int kUsers = 100000;
const int kSwitches = qEnvironmentVariableIntValue("BENCH_ROUNDS") > 0 ? qEnvironmentVariableIntValue("BENCH_ROUNDS") : 50;
constexpr int kSaves = 100;

double msSince(const QElapsedTimer& t) { return double(t.nsecsElapsed()) / 1e6; }

void generate(Connection& c)
{
    QSqlQuery q(c.db());
    exec(q, QStringLiteral("BEGIN"));
    const QString yes = c.boolLiteral(true);
    for (int from = 1; from <= kGroups; from += 500) {
        QStringList v;
        for (int g = from; g < from + 500 && g <= kGroups; ++g)
            v << QStringLiteral("(%1,'Csoport %2',%3,%3,%3,%3,%3,%3,%3,%3,%3,%3,-1,-1,-1,0,0)").arg(g).arg(g, 4, 10, QLatin1Char('0')).arg(yes);
        exec(q, QStringLiteral("INSERT INTO qnd_user_group (id,name,auth_0,auth_1,auth_2,auth_3,auth_4,auth_5,auth_6,auth_7,"
                               "auth_8,auth_9,right_event,right_project,right_partner,del_status,temp_status) VALUES ")
                    + v.join(QLatin1Char(',')));
    }
    for (int from = 1; from <= kUsers; from += 500) {
        QStringList v;
        for (int u = from; u < from + 500 && u <= kUsers; ++u)
            v << QStringLiteral("(%1,%2,'felhasznalo%3','Felhasználó %3','','',0,-1)").arg(u).arg((u - 1) % kGroups + 1).arg(u, 6, 10, QLatin1Char('0'));
        exec(q, QStringLiteral("INSERT INTO qnd_user (id,user_group_id,user_name,display_name,email,password,del_status,partner_id) VALUES ")
                    + v.join(QLatin1Char(',')));
    }
    exec(q, QStringLiteral("INSERT INTO pa_partner (pa_qndid,pa_nev,pa_kmn_partner_type,del_status) VALUES (1,'Saját cég',6,0)"));
    exec(q, QStringLiteral("COMMIT"));
    exec(q, QStringLiteral("ANALYZE"));
}

// The values a record writes, as the engine stores them.
QVariantList stored(const Connection& c, const TableDef& t, const cDDXRecord& r, const QStringList& columns)
{
    QVariantList out;
    for (const QString& col : columns) out << c.engine().toDb(*t.column(col), r.value(col));
    return out;
}

void run(const QString& engine, const QString& target)
{
    QString err;
    auto conn = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!conn) fail(err);
    generate(*conn);
    conn->session().setUserId(1);
    BenchSite site(conn.get());
    QSqlDatabase& bare = conn->db();

    // Attach until shown.
    double attachMs = 1e18;
    for (int round = 0; round < 3; ++round) {
        QElapsedTimer t;
        t.start();
        Users panel;
        panel.resize(1000, 700);
        panel.IAddin_AttachToSite(&site, 0, QString());
        panel.show();
        QCoreApplication::processEvents();
        attachMs = std::min(attachMs, msSince(t));
    }
    std::printf("%s attach: %.1f ms for %d groups and %d users\n", qPrintable(engine), attachMs, kGroups, kUsers);

    // Switching groups: the users list of the new group shown, against the bare select of
    // that group's rows, taking turns.
    Users panel;
    panel.resize(1000, 700);
    panel.IAddin_AttachToSite(&site, 0, QString());
    panel.show();
    QCoreApplication::processEvents();
    QSqlQuery sel(bare);
    // The list's own Hungarian order (on a file, by the name's sort key column).
    const QString order = conn->engine().orderTerm(conn->engine().sortExpression(conn->tableDef(Tables::User), QStringLiteral("user_name")), false);
    // The columns the list shows.
    if (!sel.prepare(QStringLiteral("SELECT id,user_name,display_name,abbreviation,assignment,email,access_denied,is_driver,"
                                    "directory_dn FROM qnd_user WHERE del_status=0 AND user_group_id=? ORDER BY %1,id").arg(order)))
        fail(sel.lastError().text());
    // Filled: the users list holds the group's rows; shown: and the panel has painted them.
    qint64 ours = 0, painted = 0, theirs = 0, plainShown = 0;
    PlainView plain(panel.brw_item_1->table());
    const QTableView* groups = panel.brw_item->table();
    const int visible = groups->rowAt(groups->viewport()->height() - 1);
    if (visible < 10) fail(QStringLiteral("the groups list shows %1 rows").arg(visible));
    const auto bareSelect = [&](int group) {
        QElapsedTimer t;
        t.start();
        sel.bindValue(0, group);
        if (!sel.exec()) fail(sel.lastError().text());
        // Every value read, as a screen of these rows needs them.
        int n = 0;
        while (sel.next()) {
            n += sel.value(0).toInt() > 0;
            for (int c = 1; c < 9; ++c) (void)sel.value(c);
        }
        if (n != kUsers / kGroups) fail(QStringLiteral("the bare select found %1 rows").arg(n));
        return t.nsecsElapsed();
    };
    for (int i = 0; i < kSwitches; ++i) {
        // A group the list shows without scrolling, as a user clicks it.
        const int group = 1 + (i * 7) % visible;
        // Taking turns at going first: the second reads the same rows from warm caches.
        const bool bareFirst = i % 2 == 1;
        if (bareFirst) theirs += bareSelect(group);
        QElapsedTimer t;
        t.start();
        if (!panel.brw_item->selectId(group)) fail(QStringLiteral("group %1 not found").arg(group));
        ours += t.nsecsElapsed();
        settle();
        painted += t.nsecsElapsed();
        if (panel.brw_item_1->loadedRows() != kUsers / kGroups) fail(QStringLiteral("the list shows %1 rows").arg(panel.brw_item_1->loadedRows()));
        if (!bareFirst) theirs += bareSelect(group);
        const Controls::PagedQuery& q = panel.brw_item_1->query();
        plainShown += plain.show(bare, q.select() + QStringLiteral(" LIMIT 200"), q.binds);
    }
    std::printf("%s group switch: %.2f ms filled, %.2f ms shown, bare select %.2f ms each\n", qPrintable(engine),
                ours / 1e6 / kSwitches, painted / 1e6 / kSwitches, theirs / 1e6 / kSwitches);
    std::printf("%s group switch ratio: %.2f\n", qPrintable(engine), double(ours) / double(theirs));
    std::printf("%s group switch shown ratio: %.2f\n", qPrintable(engine), double(painted) / double(theirs));
    std::printf("%s group switch: plain view %.2f ms until shown\n", qPrintable(engine), plainShown / 1e6 / kSwitches);
    std::printf("%s group switch shown vs plain view ratio: %.2f\n", qPrintable(engine), double(painted) / double(plainShown));

    // A driver with both reminders: three rows.
    module().takeSite(&site);
    const TableDef& users = *conn->tableDef(Tables::User);
    const TableDef& events = *conn->tableDef(Tables::Event);
    QStringList userCols = users.columnNames(), eventCols = events.columnNames();
    auto insertOf = [&](const TableDef& t, const QStringList& cols) {
        auto* q = new QSqlQuery(bare);
        if (!q->prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                            .arg(t.name, cols.join(QLatin1Char(',')), QStringList(cols.size(), QStringLiteral("?")).join(QLatin1Char(',')))))
            fail(q->lastError().text());
        return std::unique_ptr<QSqlQuery>(q);
    };
    auto insUser = insertOf(users, userCols);
    auto insEvent = insertOf(events, eventCols);
    auto driver = [](int n) {
        auto u = std::make_unique<cDDXUser>();
        u->set_user_group_id(1 + n % kGroups);
        u->set_user_name(QStringLiteral("sofor%1").arg(n));
        u->set_display_name(QStringLiteral("Sofőr %1").arg(n));
        u->set_is_driver(true);
        u->set_identity_card_number(QStringLiteral("123456AB"));
        u->set_drivers_license_number(QStringLiteral("AB123456"));
        return u;
    };
    qint64 saveOurs = 0, saveBare = 0;
    // The bare rows take keys below zero, out of the way of the key service.
    int bareKey = 0;
    QSqlQuery tx(bare);
    for (int i = 0; i < kSaves; ++i) {
        for (int side = 0; side < 2; ++side) {
            const bool bareSide = (side == 0) == (i % 2 == 1);
            QElapsedTimer t;
            t.start();
            if (!bareSide) {
                auto u = driver(i);
                if (!u->SetFinal() || !u->CoreUpdate()) fail(QStringLiteral("CoreUpdate of a driver failed"));
                saveOurs += t.nsecsElapsed();
                continue;
            }
            auto u = driver(100000 + i);
            u->set_id(--bareKey);
            cDDXEvent e1, e2;
            for (cDDXEvent* e : {&e1, &e2}) {
                e->set_id(--bareKey);
                e->set_dedicate_user_id(u->id());
                e->set_partner_id(1);
                e->set_system_made(true);
                e->set_reminder(true);
            }
            exec(tx, QStringLiteral("BEGIN"));
            for (const QVariant& v : stored(*conn, users, *u, userCols)) insUser->addBindValue(v);
            if (!insUser->exec()) fail(insUser->lastError().text());
            for (cDDXEvent* e : {&e1, &e2}) {
                for (const QVariant& v : stored(*conn, events, *e, eventCols)) insEvent->addBindValue(v);
                if (!insEvent->exec()) fail(insEvent->lastError().text());
            }
            exec(tx, QStringLiteral("COMMIT"));
            saveBare += t.nsecsElapsed();
        }
    }
    const int made = conn->select(QStringLiteral("SELECT COUNT(*) FROM crm_event WHERE del_status=0")).value(0).value(0).toInt();
    if (made != 4 * kSaves) fail(QStringLiteral("%1 reminders instead of %2").arg(made).arg(4 * kSaves));
    std::printf("%s driver save: %.2f ms, bare writes %.2f ms each\n", qPrintable(engine), saveOurs / 1e6 / kSaves,
                saveBare / 1e6 / kSaves);
    std::printf("%s driver save ratio: %.2f\n", qPrintable(engine), double(saveOurs) / double(saveBare));
    std::fflush(stdout);
    module().setConnection(nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // The panels under the style the shell gives them.
    NexoFrame::Controls::keepStyleIcons();
    QTemporaryDir dir;
    run(QStringLiteral("sqlite"), dir.filePath(QStringLiteral("users.sqlite")));
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    ServerDatabase db(server, QStringLiteral("nexo_bench_users"));
    run(QStringLiteral("postgres"), db.target());
    return 0;
}
