#pragma once
#include "Access.h"
#include "Record.h"
#include <QList>
#include <QString>
#include <array>

namespace NexoFrame {

class Connection;

// One entry of the printed reports' catalogue (qnd_report): a folder, or a report that names
// its file, the report class's ProgID and the parameters handed to it.
class cDDXReport : public cDDXRecord {
    Q_OBJECT
public:
    enum Type { Folder = 0, Report = 1 };

    explicit cDDXReport(QObject* parent = nullptr) : cDDXRecord(parent) { init(); }
    QString className() const override { return QStringLiteral("cDDXReport"); }
    int tableNumber() const override;
    // The catalogue is kept by its installer; the rights panel only ticks roles.
    eReturnValue ShowForm() override { return rvCancel; }

protected:
    std::unique_ptr<cDDXRecord> newInstance() const override { return std::make_unique<cDDXReport>(); }
};

// What starting a report hands to its class.
struct ReportEntry {
    int id = 0;
    int parentId = 0;
    int type = cDDXReport::Report;
    QString name;
    QString fileName;
    QString progId;
    std::array<QString, 5> parameters;
    RoleSet roles;
};

// The live catalogue entries a user's group shares a role slot with, in catalogue order
// (by parent, then sort order); folders only when they hold such a report somewhere below.
// A user who is barred, deleted or without a live group gets none.
QList<ReportEntry> reportsOfUser(Connection& c, int userId);
// The same for a holder of these role slots.
QList<ReportEntry> reportsForRoles(Connection& c, RoleSet held);

// The using company's details for the report headers, as the eleven "RegUser…" values in
// their order: the own company's partner row where it has them, else the "KMN" settings.
QList<std::pair<QString, QString>> companyHeader(Connection& c);

} // namespace NexoFrame
