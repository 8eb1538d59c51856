#include "ReportCatalogue.h"
#include "Connection.h"
#include "SettingKeys.h"
#include <QHash>
#include <QSet>

namespace NexoFrame {

int cDDXReport::tableNumber() const { return Tables::Report; }


QList<ReportEntry> reportsOfUser(Connection& c, int userId) { return reportsForRoles(c, userHolder(c, userId).roles); }

QList<ReportEntry> reportsForRoles(Connection& c, RoleSet held)
{
    if (held.isEmpty()) return {};

    const QList<QVariantList> rows = c.select(
        QStringLiteral("SELECT r.id, r.parent_id, r.report_type, r.caption, r.file_name, r.prog_id, r.string_par1, "
                       "r.string_par2, r.string_par3, r.string_par4, r.string_par5, %1 FROM qnd_report r "
                       "WHERE r.del_status=0 ORDER BY r.parent_id, r.sort_order, r.id")
            .arg(RoleSet::columns(QStringLiteral("r"))));
    QList<ReportEntry> all;
    QHash<int, int> parentOf;
    for (const QVariantList& r : rows) {
        ReportEntry e;
        e.id = r[0].toInt();
        e.parentId = r[1].toInt();
        e.type = r[2].toInt() == cDDXReport::Folder ? cDDXReport::Folder : cDDXReport::Report;
        e.name = r[3].toString();
        e.fileName = r[4].toString();
        e.progId = r[5].toString();
        for (int i = 0; i < 5; ++i) e.parameters[i] = r[6 + i].toString();
        e.roles = RoleSet::fromRow(r, 11);
        parentOf.insert(e.id, e.parentId);
        all << e;
    }
    // A report is offered when the group holds one of its slots; its folders come with it.
    QSet<int> shown;
    for (const ReportEntry& e : std::as_const(all)) {
        if (e.type != cDDXReport::Report) continue;
        if (!e.roles.shares(held)) continue;
        // Up the folders; the bound ends the walk on a damaged tree that loops.
        for (int id = e.id, depth = 0; id != 0 && depth < 64 && !shown.contains(id); ++depth) {
            shown.insert(id);
            id = parentOf.value(id, 0);
        }
    }
    QList<ReportEntry> mine;
    for (const ReportEntry& e : std::as_const(all)) {
        // An entry under a folder that is gone (deleted, or not in the catalogue) is gone too.
        bool reachable = true;
        for (int p = e.parentId, depth = 0; p != 0 && reachable && depth < 64; ++depth) {
            reachable = parentOf.contains(p);
            p = parentOf.value(p, 0);
        }
        if (reachable && shown.contains(e.id)) mine << e;
    }
    return mine;
}

QList<std::pair<QString, QString>> companyHeader(Connection& c)
{
    // Partner columns for the values a partner row holds; every value may also be set in
    // the "KMN" settings under the key after "RegUser".
    const QList<QVariantList> own = c.select(
        QStringLiteral("SELECT pa_nev, \"P_Isz\", pa_varos, pa_utca, pa_telefon, pa_fax, pa_email FROM pa_partner "
                       "WHERE pa_kmn_default_1 AND del_status=0 ORDER BY pa_qndid"));
    QHash<QString, QString> partner;
    if (!own.isEmpty()) {
        const QVariantList& p = own[0];
        const QString city = (p[1].toString().trimmed() + QLatin1Char(' ') + p[2].toString().trimmed()).trimmed();
        const QString street = p[3].toString().trimmed();
        partner = {{QStringLiteral("Nev"), p[0].toString().trimmed()},
                   {QStringLiteral("Cim"), street.isEmpty() || city.isEmpty() ? city + street : city + QStringLiteral(", ") + street},
                   {QStringLiteral("Tel"), p[4].toString().trimmed()},
                   {QStringLiteral("Fax"), p[5].toString().trimmed()},
                   {QStringLiteral("EMAIL"), p[6].toString().trimmed()}};
    }
    QList<std::pair<QString, QString>> header;
    for (const char* key : {"Nev", "Tevekenyseg", "Kapcsolattarto", "Cim", "Tel", "Fax", "EMAIL", "WWW", "Bankfiok",
                            "Szamlaszam", "Adoszam"}) {
        const QString k = QString::fromLatin1(key);
        QString value = partner.value(k);
        if (value.isEmpty()) value = c.settings().read(SettingKeys::kCompany, k, QString()).trimmed();
        header.append({QStringLiteral("RegUser") + k, value});
    }
    return header;
}

} // namespace NexoFrame
