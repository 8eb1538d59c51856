#include "RightsPath.h"
#include "Connection.h"
#include <QHash>
#include <functional>
#include <vector>

namespace NexoFrame {

namespace {

QString slotList(RoleSet held)
{
    QStringList l;
    for (int s : held.list()) l << QString::number(s);
    return l.join(QStringLiteral(", "));
}

// The decision over the units whose prefix begins the key (longest first, each knowing
// whether it counts): the longest that count decide; a slot the group holds and a deciding
// unit holds grants. The rights test, the why-path and the effective rights all end here.
// `units` are walked through `at` (longest first); with `keep`, the path keeps them, the
// deciding ones marked.
template <typename At>
void decide(RightPath& p, qsizetype count, At at, bool keep)
{
    int bestLength = -1;
    if (keep) p.units.reserve(count);
    for (qsizetype i = 0; i < count; ++i) {
        const RightUnit& r = at(i);
        const int len = int(r.prefix.size());
        const bool deciding = r.counts && (bestLength < 0 || len == bestLength);
        if (deciding) {
            bestLength = len;
            p.sharedSlots = p.sharedSlots | (r.roles & p.roles);
        } else if (!keep && bestLength >= 0 && len < bestLength) {
            break; // shorter prefixes no longer count
        }
        if (keep) {
            p.units << r;
            p.units.last().deciding = deciding;
        }
    }
    p.granted = !p.sharedSlots.isEmpty();
    if (!keep) return; // a list of every key says granted or not; the sentence is the path's

    if (p.key.isEmpty()) p.reason = QStringLiteral("Nincs megadva jogosultsági kulcs.");
    else if (p.userId >= 0 && !p.userFound) p.reason = QStringLiteral("Nincs ilyen felhasználó.");
    else if (p.userId >= 0 && !p.userLive) p.reason = QStringLiteral("A felhasználó törölve van.");
    else if (p.userId >= 0 && p.userBarred) p.reason = QStringLiteral("A felhasználó hozzáférése le van tiltva.");
    else if (!p.groupFound) p.reason = QStringLiteral("A csoport nem létezik.");
    else if (!p.groupLive) p.reason = QStringLiteral("A csoport törölve van.");
    else if (bestLength < 0) p.reason = QStringLiteral("Egyetlen élő jogosultság előtagja sem illeszkedik a kulcsra.");
    else if (p.granted)
        p.reason = QStringLiteral("Engedélyezve: a csoport és a döntő jogosultság közös szerepköre: %1.").arg(slotList(p.sharedSlots));
    else p.reason = QStringLiteral("Tiltva: a döntő jogosultság egyik szerepkörét sem birtokolja a csoport.");
}

} // namespace

RightPath whoIs(Connection& c, int userId)
{
    RightPath p;
    static_cast<Holder&>(p) = userHolder(c, userId);
    return p;
}

RightPath explainRight(Connection& c, int userId, const QString& key) { return explainRight(c, userHolder(c, userId), key); }

RightPath explainRight(Connection& c, const Holder& holder, const QString& key)
{
    RightPath p;
    static_cast<Holder&>(p) = holder;
    p.key = key.trimmed();
    QList<RightUnit> found;
    if (!p.key.isEmpty()) {
        // Every live unit whose prefix begins the key: the key's beginnings, looked up in the
        // "prefix" index (a prefix is at most as long as its column).
        const ColumnDef* prefixColumn = c.tableDef(Tables::AuthUnit)->column(QStringLiteral("prefix"));
        const int longest = std::min(int(p.key.size()), prefixColumn->length > 0 ? prefixColumn->length : int(p.key.size()));
        QVariantList beginnings;
        QStringList marks;
        for (int len = 1; len <= longest; ++len) {
            beginnings << p.key.left(len);
            marks << QStringLiteral("?");
        }
        const QList<QVariantList> units = c.select(QStringLiteral("SELECT id, parent_id, prefix, name, %1 FROM qnd_auth_unit "
                                                                  "WHERE del_status=0 AND prefix IN (%2) ORDER BY length(prefix) DESC, id")
                                                       .arg(RoleSet::columns(), marks.join(QLatin1Char(','))),
                                                   beginnings);
        QList<int> cursor; // for each unit, the unit above it still to look at
        for (const QVariantList& u : units) {
            RightUnit r;
            r.id = u[0].toInt();
            r.prefix = u[2].toString();
            r.name = u[3].toString();
            r.roles = RoleSet::fromRow(u, 4);
            found << r;
            cursor << u[1].toInt();
        }
        // A unit below a deleted unit is gone from the tree and grants nothing. The units
        // above are read a level at a time, each once, however many units share them.
        QHash<int, std::pair<int, bool>> above; // id -> parent, live
        for (int depth = 0; depth < 64; ++depth) {
            QList<int> wanted;
            for (qsizetype i = 0; i < found.size(); ++i)
                if (found[i].counts && cursor[i] > 0 && !above.contains(cursor[i]) && !wanted.contains(cursor[i])) wanted << cursor[i];
            for (qsizetype from = 0; from < wanted.size(); from += 500) {
                const QList<int> chunk = wanted.mid(from, 500);
                QStringList marks;
                QVariantList ids;
                for (int id : chunk) {
                    marks << QStringLiteral("?");
                    ids << id;
                }
                for (const QVariantList& r : c.select(QStringLiteral("SELECT id, parent_id, del_status FROM qnd_auth_unit WHERE id IN (%1)")
                                                          .arg(marks.join(QLatin1Char(','))),
                                                      ids))
                    above.insert(r[0].toInt(), {r[1].toInt(), r[2].toInt() == 0});
            }
            bool moved = false;
            for (qsizetype i = 0; i < found.size(); ++i) {
                RightUnit& r = found[i];
                const int at = cursor[i];
                if (!r.counts || at <= 0) continue;
                const auto it = above.constFind(at);
                if (it == above.constEnd()) {
                    cursor[i] = 0; // a missing unit ends the walk
                } else if (!it->second) {
                    r.counts = false;
                    r.deletedAbove = at;
                } else {
                    cursor[i] = it->first;
                    moved = true;
                }
            }
            if (!moved) break;
        }
    }
    decide(p, found.size(), [&](qsizetype i) -> const RightUnit& { return found[i]; }, true);
    return p;
}

QList<RightPath> effectiveRights(Connection& c, int userId, int groupId)
{
    RightPath base;
    static_cast<Holder&>(base) = userId >= 0 ? userHolder(c, userId) : groupHolder(c, groupId);
    // Every unit once. Whether a unit counts depends only on the units above it: worked out
    // once per unit, each answer reused by the units below.
    struct Row {
        int parent;
        bool live;
        int deadAbove = -1; // not worked out yet; 0: none
    };
    QHash<int, Row> rows;
    std::vector<RightUnit> units;
    const QList<QVariantList> read = c.select(QStringLiteral("SELECT id, parent_id, prefix, name, del_status, %1 FROM qnd_auth_unit").arg(RoleSet::columns()));
    rows.reserve(read.size());
    units.reserve(read.size());
    for (const QVariantList& u : read) {
        const bool live = u[4].toInt() == 0;
        rows.insert(u[0].toInt(), Row{u[1].toInt(), live});
        if (!live || u[2].toString().isEmpty()) continue;
        RightUnit r;
        r.id = u[0].toInt();
        r.prefix = u[2].toString();
        r.name = u[3].toString();
        r.roles = RoleSet::fromRow(u, 5);
        units.push_back(std::move(r));
    }
    // The nearest deleted unit above `id` (0: none), as the rights test walks it (64 deep at most).
    std::function<int(int, int)> deadAbove = [&](int id, int depth) -> int {
        auto it = rows.find(id);
        if (it == rows.end()) return 0;
        if (it->deadAbove >= 0) return it->deadAbove;
        const int parent = it->parent;
        int found = 0;
        if (parent > 0 && depth < 64) {
            const auto up = rows.constFind(parent);
            if (up != rows.constEnd()) found = !up->live ? parent : deadAbove(parent, depth + 1);
        }
        rows[id].deadAbove = found;
        return found;
    };
    for (RightUnit& r : units) {
        r.deletedAbove = deadAbove(r.id, 0);
        r.counts = r.deletedAbove == 0;
    }
    // By prefix, then id: each key's units side by side, and a key's shorter beginnings that
    // are keys too before it, so that a stack of them gives its units longest first.
    std::sort(units.begin(), units.end(), [](const RightUnit& a, const RightUnit& b) {
        const int c = QString::compare(a.prefix, b.prefix);
        return c != 0 ? c < 0 : a.id < b.id;
    });
    struct Range {
        QString key;
        qsizetype begin, end;
    };
    QList<Range> chain;
    QList<RightPath> out;
    for (qsizetype b = 0; b < qsizetype(units.size());) {
        const QString& key = units[b].prefix;
        qsizetype e = b + 1;
        while (e < qsizetype(units.size()) && units[e].prefix == key) ++e;
        while (!chain.isEmpty() && !key.startsWith(chain.last().key)) chain.removeLast();
        chain.append({key, b, e});
        qsizetype count = 0;
        for (const Range& r : std::as_const(chain)) count += r.end - r.begin;
        const auto at = [&](qsizetype i) -> const RightUnit& {
            for (qsizetype level = chain.size() - 1; level > 0; --level) {
                const qsizetype n = chain[level].end - chain[level].begin;
                if (i < n) return units[chain[level].begin + i];
                i -= n;
            }
            return units[chain.first().begin + i];
        };
        RightPath p = base;
        p.key = key;
        decide(p, count, at, false);
        for (qsizetype i = b; i < e; ++i) p.units << units[i]; // the key's own units, for their names
        out << p;
        b = e;
    }
    return out;
}

} // namespace NexoFrame
