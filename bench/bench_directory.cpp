// The directory sync on 20,000 users in 200 groups of the throwaway slapd (NEXO_TEST_LDAP,
// run as scripts/with-ldap.sh build/bin/bench_directory), per engine: the first sync (every
// user new) and a second one with nothing changed, each against the bare paged search of the
// same users and groups: as the command line syncs (written as it is read), then as the
// panel does (the plan shown, then written).
#include "BenchSupport.h"
#include "DirectorySync.h"
#include "TestDirectory.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>

using namespace NexoFrame;
using namespace NexoFrame::Bench;

namespace {

constexpr int kUsers = 20000;
constexpr int kGroups = 200;

double msSince(const QElapsedTimer& t) { return double(t.nsecsElapsed()) / 1e6; }

// Every user in one group, every tenth in a second one.
void fill(TestDirectory& dir)
{
    QString ldif;
    for (int u = 0; u < kUsers; ++u)
        ldif += dir.personLdif(QStringLiteral("u%1").arg(u), QStringLiteral("Felhasználó %1").arg(u), QStringLiteral("x"),
                               QStringLiteral("u%1@ceg.hu").arg(u));
    dir.modify(ldif);
    ldif.clear();
    for (int g = 0; g < kGroups; ++g) {
        ldif += QStringLiteral("dn: %1\nchangetype: add\nobjectClass: groupOfNames\ncn: g%2\n").arg(dir.groupDn(QStringLiteral("g%1").arg(g))).arg(g);
        for (int u = g; u < kUsers; u += kGroups) ldif += QStringLiteral("member: %1\n").arg(dir.personDn(QStringLiteral("u%1").arg(u)));
        for (int u = (g + 1) % kGroups; u < kUsers; u += kGroups * 10)
            ldif += QStringLiteral("member: %1\n").arg(dir.personDn(QStringLiteral("u%1").arg(u)));
        ldif += QLatin1Char('\n');
    }
    dir.modify(ldif);
}

// The bare read: the users and the groups through the paged search, nothing else.
double bareSearch(const Directory::Config& cfg)
{
    QElapsedTimer t;
    t.start();
    Directory::Link link(cfg);
    const auto people = link.people();
    const auto groups = link.groups();
    if (people.size() != kUsers || groups.size() != kGroups) fail(QStringLiteral("the directory holds other than it was filled with"));
    return msSince(t);
}

// The sync as the command line runs it: written as it is read.
double syncNow(Connection& c, const Directory::Config& cfg, int expectNew)
{
    QElapsedTimer t;
    t.start();
    Directory::SyncPlan made;
    QString why;
    if (!Directory::syncNow(c, cfg, &made, &why)) fail(why);
    const double ms = msSince(t);
    if (made.count(Directory::SyncChange::Kind::New) != expectNew) fail(QStringLiteral("sync: %1").arg(made.summary()));
    return ms;
}

// The sync as the panel runs it: the plan shown, then written.
double syncWithPreview(Connection& c, const Directory::Config& cfg, int expectNew)
{
    QElapsedTimer t;
    t.start();
    const Directory::SyncPlan plan = Directory::planSync(c, cfg);
    QString why;
    if (!Directory::applySync(c, plan, &why)) fail(why);
    if (plan.count(Directory::SyncChange::Kind::New) != expectNew) fail(QStringLiteral("sync: %1").arg(plan.summary()));
    return msSince(t);
}

using Sync = double (*)(Connection&, const Directory::Config&, int);

double median(QList<double> l)
{
    std::sort(l.begin(), l.end());
    return l[l.size() / 2];
}

// Rounds of a first sync into no directory users, and a second with nothing changed, each
// against a bare search just before it; the median of the rounds (a single round moves by a
// fifth from run to run on this machine).
void measure(const QString& engine, const char* what, Connection& c, const Directory::Config& cfg, Sync sync)
{
    constexpr int kRounds = 5;
    QList<double> bare, first, bareAgain, again, firstRatio, againRatio;
    QString err;
    for (int round = 0; round < kRounds; ++round) {
        if (!c.execute(QStringLiteral("DELETE FROM qnd_user WHERE directory_dn IS NOT NULL"), {}, &err)
            || !c.execute(QStringLiteral("DELETE FROM qnd_rights_history WHERE table_name = 'qnd_user'"), {}, &err))
            fail(err);
        bare << bareSearch(cfg);
        first << sync(c, cfg, kUsers);
        bareAgain << bareSearch(cfg);
        again << sync(c, cfg, 0);
        firstRatio << first.last() / bare.last();
        againRatio << again.last() / bareAgain.last();
    }
    std::printf("%s ldap bare paged search: %.0f ms, sync%s of %d users: %.0f ms (medians of %d rounds)\n", qPrintable(engine),
                median(bare), what, kUsers, median(first), kRounds);
    std::printf("%s ldap sync%s ratio: %.2f\n", qPrintable(engine), what, median(firstRatio));
    std::printf("%s ldap resync%s: %.0f ms against %.0f ms\n", qPrintable(engine), what, median(again), median(bareAgain));
    std::printf("%s ldap resync%s ratio: %.2f\n", qPrintable(engine), what, median(againRatio));
    std::fflush(stdout);
}

void run(const QString& engine, const QString& target, const Directory::Config& cfg)
{
    QString err;
    auto c = Connection::openDatabase(target, Connection::DemoData::None, &err);
    if (!c) fail(err);
    c->session().setUserId(1);
    for (int g = 0; g < kGroups; ++g)
        if (!c->execute(QStringLiteral("INSERT INTO qnd_user_group (id, name, directory_dn, directory_priority, del_status) "
                                       "VALUES (?, ?, ?, ?, 0)"),
                        {g + 1, QStringLiteral("Csoport %1").arg(g, 3, 10, QLatin1Char('0')), cfg.groupBase.isEmpty() ? QString()
                             : QStringLiteral("cn=g%1,%2").arg(g).arg(cfg.groupBase), g},
                        &err))
            fail(err);
    measure(engine, "", *c, cfg, syncNow);
    measure(engine, " with preview", *c, cfg, syncWithPreview);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    TestDirectory dir;
    const Directory::Config cfg = dir.config(Directory::Membership::Member);
    QElapsedTimer t;
    t.start();
    fill(dir);
    std::printf("directory filled with %d users and %d groups in %.1f s\n", kUsers, kGroups, msSince(t) / 1000);
    QTemporaryDir tmp;
    run(QStringLiteral("sqlite"), tmp.filePath(QStringLiteral("directory.sqlite")), cfg);
    const QString server = qEnvironmentVariable("NEXO_TEST_PG");
    if (server.isEmpty()) {
        std::printf("(NEXO_TEST_PG is not set: no PostgreSQL lines)\n");
        return 0;
    }
    ServerDatabase db(server, QStringLiteral("nexo_bench_directory"));
    run(QStringLiteral("postgres"), db.target(), cfg);
    return 0;
}
