#include "cDDXUser.h"
#include "Connection.h"
#include "ControlUtils.h"
#include "DriverRecords.h"
#include "ErrorList.h"
#include "Module.h"
#include "SettingKeys.h"
#include "cMessage2.h"
#include "frmUser.h"
#include <memory>
#include <vector>

namespace NexoFrame {

cDDXUser::cDDXUser(QObject* parent) : cDDXRecord(parent) { init(); }

void cDDXUser::entityDefaults()
{
    // A new driver without entered dates expires now, not on an empty date.
    set_identity_card_expiration(QDateTime::currentDateTime());
    set_drivers_license_expiration(QDateTime::currentDateTime());
}

int cDDXUser::tableNumber() const { return Tables::User; }

eReturnValue cDDXUser::ShowForm() { return EditDialog::showFor<frmUser>(this); }

QString cDDXUser::deleteRefusal() const
{
    if (directory_dn().isEmpty() || connection()->settings().userManagementLocal()) return {};
    return QStringLiteral("A(z) „%1” felhasználó a címtárból jön: nem törölhető, csak a címtárból távolítható el; "
                          "a következő szinkronizálás letiltja.")
        .arg(user_name());
}

void cDDXUser::checks()
{
    // The group and the name asked of the database at once.
    const bool named = !user_name().trimmed().isEmpty();
    QList<Connection::Probe> probes{{Tables::UserGroup, QStringLiteral("id"), user_group_id(), {}, {}}};
    if (named) probes.append({tableNumber(), QStringLiteral("user_name"), user_name(), QStringLiteral("id"), id()});
    const QList<bool> found = connection()->present(probes);
    if (!found.value(0))
        AddError(eError, kFieldCheckNumber, QStringLiteral("A felhasználó csoport megadása kötelező!"));
    if (display_name().trimmed().isEmpty())
        AddError(eError, kFieldCheckNumber, QStringLiteral("A teljes név megadása kötelező!"));
    if (!named)
        AddError(eError, kFieldCheckNumber, QStringLiteral("A felhasználó név megadása kötelező!"));
    else if (found.value(1))
        AddError(eError, kFieldCheckNumber, QStringLiteral("A felhasználó névnek egyedinek kell lennie!"));
}

bool cDDXUser::afterNativeWrite()
{
    if (ItemStatus() == isDeleted) return dropReminders();
    // The reminders may fail without failing the user's save: a savepoint of their own
    // leaves the events as they were.
    Connection* c = connection();
    if (!c->transactions().beginTrans()) return true;
    bool ok = false;
    try {
        ok = MaintainExpiryReminders();
    } catch (const std::exception&) {
        ok = false;
    }
    if (ok) ok = c->transactions().commitTrans();
    if (!ok) {
        c->transactions().rollbackTrans();
        module().errors().Clear();
    }
    return true;
}

bool cDDXUser::dropReminders()
{
    for (int type : {kIdentityCardReminder, kDriversLicenseReminder}) {
        QString error;
        // -1 is the stored yes of an integer flag.
        if (!connection()->execute(QStringLiteral("UPDATE crm_event SET del_status=? WHERE event_type_id=? AND dedicate_user_id=?"),
                                   {-1, type, id()}, &error)) {
            reportFailure("CoreUpdate", error);
            return false;
        }
    }
    return true;
}

int cDDXUser::liveReminder(int type)
{
    auto rs = connection()->openRecordset(Tables::Event);
    rs->setIndex(QStringLiteral("user_scheduled_event_type_system"));
    if (!rs->seek({id(), type, true})) return -1;
    for (; !rs->eof(); rs->moveNext()) {
        if (rs->field(QStringLiteral("dedicate_user_id")).toInt() != id()
            || rs->field(QStringLiteral("event_type_id")).toInt() != type || !rs->field(QStringLiteral("system_made")).toBool())
            break;
        if (rs->field(QStringLiteral("del_status")).toInt() == 0) return rs->field(QStringLiteral("id")).toInt();
    }
    return -1;
}

bool cDDXUser::MaintainExpiryReminders()
{
    Connection* c = connection();
    bool numeric = false;
    int lead = c->settings().read(SettingKeys::kCompany, SettingKeys::kReminderDays, QStringLiteral("3")).trimmed().toInt(&numeric);
    if (!numeric) lead = 3;
    const int partner = OwnPartnerId();
    if (partner < 0) return true;
    if (!is_driver()) return dropReminders();

    struct Document { int type; QString subject; QString number; QDateTime expiry; };
    const Document documents[] = {
        {kIdentityCardReminder, QStringLiteral("Személyi igazolvány lejár"), identity_card_number(), identity_card_expiration()},
        {kDriversLicenseReminder, QStringLiteral("Jogosítvány lejár"), drivers_license_number(), drivers_license_expiration()},
    };
    // The new ones are written together: a new driver's two reminders in one round trip.
    std::vector<std::unique_ptr<cDDXEvent>> made;
    QList<cDDXRecord*> fresh;
    for (const Document& d : documents) {
        auto event = std::make_unique<cDDXEvent>();
        // A user just made has no reminders yet.
        const int found = ItemStatus() == IsNew ? -1 : liveReminder(d.type);
        if (found > 0) {
            if (!event->CoreLoad(found)) return false;
            event->SetModified();
        } else if (d.number.trimmed().isEmpty()) {
            continue;
        } else {
            event->set_event_type_id(d.type);
            event->set_partner_id(partner);
            event->set_dedicate_user_id(id());
            event->set_system_made(true);
        }
        const QDate day = d.expiry.date();
        const QDate remind = day.addDays(-lead);
        event->set_subject(d.subject);
        event->set_event_date(day.startOfDay());
        event->set_event_time(QDateTime(day, QTime(8, 0)));
        event->set_reminder(true);
        event->set_reminder_date(remind.startOfDay());
        event->set_reminder_time(QDateTime(remind, QTime(8, 0)));
        if (!event->SetFinal()) return false;
        if (found > 0) {
            if (!event->CoreUpdate()) return false;
            continue;
        }
        fresh << event.get();
        made.push_back(std::move(event));
    }
    return fresh.isEmpty() || cDDXRecord::CoreUpdateTogether(fresh);
}

bool cDDXUser::LinkPartner()
{
    cDDXPartner partner;
    const bool exists = partner_id() > 0 && partner.CoreLoad(partner_id());
    const QString question = exists ? QStringLiteral("A módosításokat a partnereknél is elvégezzem?")
                                    : QStringLiteral("Kívánja a gépjárművezetőt partnerként (mint lehetséges uticél) is felvinni?");
    if (module().message().MsgQuestionYesNo(question) != 2) return true;
    const QString zip = zipcode().trimmed();
    if (exists) {
        partner.SetModified();
        if (partner.value(QStringLiteral("P_Isz")).toString().trimmed() != zip)
            partner.setValue(QStringLiteral("pa_km"), DistanceOfZipcode(zip));
    } else {
        // A destination: a driver who may be chosen as the goal of a trip.
        partner.setValue(QStringLiteral("pa_tipus"), 0);
        partner.setValue(QStringLiteral("pa_uticel"), true);
        partner.setValue(QStringLiteral("pa_gepjarmuvezeto"), true);
        partner.setValue(QStringLiteral("pa_orszag"), QStringLiteral("Magyarország"));
        partner.setValue(QStringLiteral("pa_km"), DistanceOfZipcode(zip));
    }
    partner.setValue(QStringLiteral("pa_nev"), display_name().trimmed().left(100));
    partner.setValue(QStringLiteral("P_Isz"), zip.left(partner.columnLength(QStringLiteral("P_Isz"))));
    const std::pair<const char*, QString> contacts[] = {{"pa_varos", city()}, {"pa_utca", street()}, {"pa_telefon", phone()},
                                                        {"pa_mobil", mobil()}, {"pa_fax", fax()},   {"pa_email", email()}};
    for (const auto& [column, text] : contacts) partner.setValue(QString::fromLatin1(column), text.trimmed().left(50));
    if (!partner.SetFinal() || !partner.CoreUpdate()) return false;
    if (!exists) {
        QString error;
        if (!connection()->execute(QStringLiteral("UPDATE qnd_user SET partner_id=? WHERE id=?"), {partner.id(), id()}, &error)) {
            reportFailure("CoreUpdate", error);
            return false;
        }
        set_partner_id(partner.id());
    }
    return true;
}

} // namespace NexoFrame
