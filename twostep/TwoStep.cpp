#include "TwoStep.h"
#include "Access.h"
#include "Connection.h"
#include "MenuAccess.h"
#include "RightsPath.h"
#include "SchemaUpgrade.h"
#include "Secrets.h"
#include "SettingKeys.h"
#include "UserRightsKeys.h"
#include <QFileInfo>
#include <QUrl>
#include <cstring>
#include <liboath/oath.h>
#include <mutex>
#include <sodium.h>

namespace NexoFrame::TwoStep {

namespace {

const QString kIssuer = QStringLiteral("NexoFrame");
// The recovery codes' letters: no I, L, O, 0 or 1, which people misread.
const char kRecoveryAlphabet[] = "ABCDEFGHJKMNPQRSTUVWXYZ23456789";
constexpr int kRecoveryLength = 16;
constexpr int kRecoveryIdLength = 4; // the first group names the code's row

void initLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // Both only fail when the system lacks what they need (a random source).
        if (sodium_init() < 0) qFatal("libsodium cannot start");
        if (oath_init() != OATH_OK) qFatal("liboath cannot start");
    });
}

const TableDef& table(int number) { return *Schema::instance().table(number); }

// The history's cell of a user's enrolment: there is no such column, the secret is elsewhere.
const ColumnDef& enrolledCell()
{
    static const ColumnDef c{QStringLiteral("two_step"), ColType::Bool, 0, false};
    return c;
}

QVariant stored(Connection& c, int tableNumber, const char* column, const QDateTime& at)
{
    return c.engine().toDb(*table(tableNumber).column(QString::fromLatin1(column)), at);
}

bool settingOn(const QString& value)
{
    const QString v = value.trimmed().toLower();
    return v == QLatin1String("1") || v == QLatin1String("-1") || v == QLatin1String("true") || v == QLatin1String("igen");
}

QByteArray secretOf(const QString& base32Text)
{
    QByteArray raw = base32Text.toLatin1();
    char* out = nullptr;
    size_t len = 0;
    if (oath_base32_decode(raw.constData(), size_t(raw.size()), &out, &len) != OATH_OK) return {};
    QByteArray secret(out, qsizetype(len));
    sodium_memzero(out, len);
    free(out);
    return secret;
}

struct Typed {
    QByteArray code;
};

int compareCode(void* handle, const char* candidate)
{
    const QByteArray& typed = static_cast<Typed*>(handle)->code;
    if (qstrlen(candidate) != size_t(typed.size())) return 1;
    return sodium_memcmp(typed.constData(), candidate, size_t(typed.size())) == 0 ? 0 : 1;
}

QString randomRecoveryCode()
{
    const int letters = int(sizeof kRecoveryAlphabet) - 1;
    QString code;
    for (int i = 0; i < kRecoveryLength; ++i) code += QLatin1Char(kRecoveryAlphabet[randombytes_uniform(uint32_t(letters))]);
    return code;
}

QString hashed(const QString& code)
{
    const QByteArray plain = code.toLatin1();
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str(out, plain.constData(), quint64(plain.size()), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        throw DbError(QStringLiteral("A helyreállító kódok nem készíthetők el: kevés a memória."));
    return QString::fromLatin1(out);
}

Check refusal(Check::Status status, const QString& message)
{
    Check r;
    r.status = status;
    r.message = message;
    return r;
}

QString failedWrite(Transactions::LockedWrite done, const QString& why, const QString& what)
{
    if (done == Transactions::LockedWrite::Refused)
        return QStringLiteral("Az adatbázist most más felhasználó írja; %1 nem sikerült, próbálja újra.").arg(what);
    return QStringLiteral("%1 nem sikerült. %2").arg(what, why).trimmed();
}

bool roleSettingItem(const MenuEntry& e)
{
    auto is = [&](const char* progId) { return e.className.compare(QLatin1String(progId), Qt::CaseInsensitive) == 0; };
    // The trees in role mode and the rights panels of the printed reports and the lists.
    return ((is("NexoFrame.AuthUnits") || is("NexoFrame.Menus") || is("NexoFrame.OLAPReports")) && e.parameterI == 1)
        || is("NexoFrame.ReportAuthorizations") || is("NexoFrame.ListWizradAuths");
}

bool anyRoleSettingItem(const QList<MenuEntry>& menu)
{
    for (const MenuEntry& e : menu)
        if (roleSettingItem(e) || anyRoleSettingItem(e.children)) return true;
    return false;
}

} // namespace

bool available(Connection& c)
{
    const SchemaState& s = c.schemaState();
    return s.usable() && !s.missing.contains(table(Tables::TwoStep).name) && !s.missing.contains(table(Tables::RecoveryCode).name);
}

bool enrolled(Connection& c, int userId)
{
    return available(c) && !c.select(QStringLiteral("SELECT 1 FROM qnd_two_step WHERE user_id = ?"), {userId}).isEmpty();
}

QSet<int> enrolledUsers(Connection& c)
{
    QSet<int> users;
    if (!available(c)) return users;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT user_id FROM qnd_two_step"))) users.insert(r.value(0).toInt());
    return users;
}

namespace {

// A holder's rights to users and groups, or a role-setting item in his menu.
bool administersAs(Connection& c, const Holder& who)
{
    for (QLatin1StringView key : {RightsKeys::kUserNew, RightsKeys::kUserModify, RightsKeys::kUserDelete,
                                  RightsKeys::kUserChangePassword, RightsKeys::kGroupNew, RightsKeys::kGroupModify,
                                  RightsKeys::kGroupDelete})
        if (explainRight(c, who, QString(key)).granted) return true;
    return anyRoleSettingItem(visibleMenu(c, who));
}

bool forAdmins(Connection& c)
{
    return settingOn(c.settings().read(SettingKeys::kMainframe, SettingKeys::kTwoStepForAdmins, QStringLiteral("0")));
}

const QString kAdminsRule = QStringLiteral("a beállítás minden rendszergazdától megköveteli");

} // namespace

bool administers(Connection& c, int userId) { return administersAs(c, userHolder(c, userId)); }

bool groupAdministers(Connection& c, int groupId) { return administersAs(c, groupHolder(c, groupId)); }

QString requiredBecause(Connection& c, int userId)
{
    if (!available(c)) return {};
    const auto group = c.select(QStringLiteral("SELECT g.two_step, g.name FROM qnd_user u JOIN qnd_user_group g ON g.id = u.user_group_id "
                                               "WHERE u.id = ?"),
                                {userId});
    if (!group.isEmpty() && c.engine().fromDb(enrolledCell(), group[0].value(0)).toBool())
        return QStringLiteral("a(z) „%1” csoport tagjaitól megköveteli").arg(group[0].value(1).toString().trimmed());
    if (forAdmins(c) && administers(c, userId)) return kAdminsRule;
    return {};
}

QString groupRequiresBecause(Connection& c, int groupId)
{
    if (!available(c)) return {};
    const QVariant rule = c.select(QStringLiteral("SELECT two_step FROM qnd_user_group WHERE id = ?"), {groupId}).value(0).value(0);
    if (c.engine().fromDb(enrolledCell(), rule).toBool()) return QStringLiteral("a csoport megköveteli");
    if (forAdmins(c) && groupAdministers(c, groupId)) return kAdminsRule;
    return {};
}

Need need(Connection& c, int userId)
{
    if (!available(c)) return Need::None;
    if (enrolled(c, userId)) return Need::Code;
    return required(c, userId) ? Need::Enrol : Need::None;
}

QString installationName(Connection& c)
{
    const QString set = c.settings().read(SettingKeys::kMainframe, SettingKeys::kInstallationName, QString()).trimmed();
    if (!set.isEmpty()) return set;
    const QString name = c.databaseName();
    const QUrl url(name);
    if (url.scheme().startsWith(QLatin1String("postgres"))) return url.path().section(QLatin1Char('/'), -1);
    return QFileInfo(name).completeBaseName();
}

QByteArray newSecret()
{
    initLibraries();
    QByteArray secret(kSecretBytes, Qt::Uninitialized);
    randombytes_buf(secret.data(), size_t(secret.size()));
    return secret;
}

QString base32(const QByteArray& secret)
{
    initLibraries();
    char* out = nullptr;
    size_t len = 0;
    if (oath_base32_encode(secret.constData(), size_t(secret.size()), &out, &len) != OATH_OK) return {};
    QString text = QString::fromLatin1(out, qsizetype(len));
    free(out);
    while (text.endsWith(QLatin1Char('='))) text.chop(1);
    return text;
}

QString inGroups(const QString& text, QChar separator)
{
    QStringList parts;
    for (qsizetype i = 0; i < text.size(); i += 4) parts << text.mid(i, 4);
    return parts.join(separator);
}

QString otpauthUri(const QByteArray& secret, const QString& userName, const QString& installation)
{
    // The label "issuer:account", the account the user with the installation, so that one
    // person with two installations tells them apart in his app.
    const QString account = installation.isEmpty() ? userName : QStringLiteral("%1 (%2)").arg(userName, installation);
    const QByteArray label = QUrl::toPercentEncoding(kIssuer + QLatin1Char(':') + account, ":");
    return QStringLiteral("otpauth://totp/%1?secret=%2&issuer=%3&algorithm=SHA1&digits=%4&period=%5")
        .arg(QString::fromLatin1(label), base32(secret), QString::fromLatin1(QUrl::toPercentEncoding(kIssuer)))
        .arg(kDigits)
        .arg(kStepSeconds);
}

QString normalised(const QString& typed, bool* isRecovery, QString* message)
{
    *isRecovery = false;
    auto fail = [&](const QString& text) {
        *message = text;
        return QString();
    };
    // A hostile field is refused before it is looked at closely.
    if (typed.size() > 64)
        return fail(QStringLiteral("Az ellenőrző kód túl hosszú: 6 számjegyet vagy egy helyreállító kódot írjon be."));
    QString s;
    for (QChar ch : typed)
        if (!ch.isSpace()) s += ch;
    if (s.isEmpty()) return fail(QStringLiteral("Adja meg az ellenőrző kódot (6 számjegy a hitelesítő alkalmazásból)."));
    bool digits = true;
    for (QChar ch : s) digits = digits && ch >= QLatin1Char('0') && ch <= QLatin1Char('9');
    if (digits) {
        if (s.size() != kDigits) return fail(QStringLiteral("Az ellenőrző kód pontosan 6 számjegyből áll."));
        return s;
    }
    QString code = s.toUpper().remove(QLatin1Char('-'));
    bool recovery = code.size() == kRecoveryLength;
    for (QChar ch : code) recovery = recovery && ch.unicode() < 128 && ch.unicode() > 0 && std::strchr(kRecoveryAlphabet, char(ch.unicode()));
    if (!recovery)
        return fail(QStringLiteral("Az ellenőrző kód 6 számjegy; helyreállító kód helyett 16 betű és szám, például "
                                   "ABCD-EFGH-JKMN-PQRS."));
    *isRecovery = true;
    return code;
}

qint64 matchingStep(const QByteArray& secret, const QString& code, const QDateTime& now)
{
    initLibraries();
    if (code.size() != kDigits || secret.isEmpty()) return -1;
    Typed typed{code.toLatin1()};
    int position = 0;
    uint64_t counter = 0;
    const int r = oath_totp_validate4_callback(secret.constData(), size_t(secret.size()), time_t(now.toSecsSinceEpoch()),
                                               kStepSeconds, 0, kDigits, kWindow, &position, &counter, 0 /* HMAC-SHA1, what every app expects */,
                                               compareCode, &typed);
    return r < 0 ? -1 : qint64(counter);
}

Check verify(Connection& c, int userId, const QString& typed, const QDateTime& now)
{
    initLibraries();
    try {
        if (!available(c)) return refusal(Check::Status::NotEnrolled, QStringLiteral("A kétlépcsős azonosítás nincs beállítva."));
        const auto row = c.select(QStringLiteral("SELECT secret, last_step FROM qnd_two_step WHERE user_id = ?"), {userId});
        if (row.isEmpty()) return refusal(Check::Status::NotEnrolled, QStringLiteral("A kétlépcsős azonosítás nincs beállítva."));
        bool recovery = false;
        QString message;
        const QString code = normalised(typed, &recovery, &message);
        if (code.isEmpty()) return refusal(Check::Status::Malformed, message);
        const QString wrong = QStringLiteral("Hibás ellenőrző kód.");
        if (recovery) {
            // The first group finds the one row to check: one slow hash an attempt.
            const auto candidates = c.select(QStringLiteral("SELECT id, hash FROM qnd_recovery_code WHERE user_id = ? AND code_id = ? "
                                                            "AND used_at IS NULL"),
                                             {userId, code.left(kRecoveryIdLength)});
            const QByteArray plain = code.toLatin1();
            for (const QVariantList& r : candidates) {
                const QByteArray hash = r.value(1).toString().toLatin1();
                if (crypto_pwhash_str_verify(hash.constData(), plain.constData(), quint64(plain.size())) != 0) continue;
                // Spent by the one statement that finds it unspent: two logins cannot both use it.
                if (c.select(QStringLiteral("UPDATE qnd_recovery_code SET used_at = ? WHERE id = ? AND used_at IS NULL RETURNING id"),
                             {stored(c, Tables::RecoveryCode, "used_at", now), r.value(0)})
                        .isEmpty())
                    break;
                Check ok;
                ok.status = Check::Status::Ok;
                ok.recoveryUsed = true;
                ok.recoveryLeft = c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_recovery_code WHERE user_id = ? AND used_at IS NULL"),
                                           {userId})
                                      .value(0).value(0).toInt();
                return ok;
            }
            return refusal(Check::Status::Wrong, QStringLiteral("Hibás vagy már felhasznált helyreállító kód."));
        }
        QByteArray secret = secretOf(Secrets::unseal(row[0].value(0).toString()));
        const qint64 step = matchingStep(secret, code, now);
        sodium_memzero(secret.data(), size_t(secret.size()));
        if (step < 0) return refusal(Check::Status::Wrong, wrong);
        const QString replayed = QStringLiteral("Ezt az ellenőrző kódot már felhasználták. Várja meg, amíg az alkalmazás új kódot mutat.");
        if (step <= row[0].value(1).toLongLong()) return refusal(Check::Status::Replayed, replayed);
        // Taken by the one statement that finds it newer than the last: a code is used once.
        if (c.select(QStringLiteral("UPDATE qnd_two_step SET last_step = ? WHERE user_id = ? AND last_step < ? RETURNING user_id"),
                     {step, userId, step})
                .isEmpty())
            return refusal(Check::Status::Replayed, replayed);
        Check ok;
        ok.status = Check::Status::Ok;
        return ok;
    } catch (const DbError& e) {
        return refusal(Check::Status::DatabaseError, QStringLiteral("Az ellenőrző kód nem vethető össze: %1").arg(e.message()));
    }
}

QStringList enrol(Connection& c, int userId, const QByteArray& secret, const QString& typed, const QDateTime& now, QString* error)
{
    initLibraries();
    const QString what = QStringLiteral("A kétlépcsős azonosítás beállítása");
    if (!available(c)) {
        *error = QStringLiteral("%1 előtt az adatbázist frissíteni kell.").arg(what);
        return {};
    }
    bool recovery = false;
    QString message;
    const QString code = normalised(typed, &recovery, &message);
    if (code.isEmpty() || recovery) {
        *error = recovery ? QStringLiteral("Írja be a hitelesítő alkalmazásban most látható 6 jegyű kódot.") : message;
        return {};
    }
    const qint64 step = matchingStep(secret, code, now);
    if (step < 0) {
        *error = QStringLiteral("A kód nem egyezik. Ellenőrizze, hogy a telefon órája pontos-e, és írja be az alkalmazásban "
                                "most látható kódot.");
        return {};
    }
    QStringList codes;
    QVariantList rows;
    try {
        // The slow hashes before the lock, which nobody else waits for meanwhile.
        QSet<QString> ids;
        while (codes.size() < kRecoveryCodes) {
            const QString plain = randomRecoveryCode();
            if (ids.contains(plain.left(kRecoveryIdLength))) continue;
            ids.insert(plain.left(kRecoveryIdLength));
            codes << plain;
            rows << plain.left(kRecoveryIdLength) << hashed(plain);
        }
    } catch (const DbError& e) {
        *error = e.message();
        return {};
    }
    QString why;
    const auto done = c.transactions().writeLocked([&] {
        const bool had = !c.select(QStringLiteral("SELECT 1 FROM qnd_two_step WHERE user_id = ?"), {userId}).isEmpty();
        QString failed;
        if (!c.execute(QStringLiteral("DELETE FROM qnd_two_step WHERE user_id = ?"), {userId}, &failed)
            || !c.execute(QStringLiteral("DELETE FROM qnd_recovery_code WHERE user_id = ?"), {userId}, &failed)
            || !c.execute(QStringLiteral("INSERT INTO qnd_two_step (user_id, secret, enrolled_at, last_step) VALUES (?, ?, ?, ?)"),
                          {userId, Secrets::seal(base32(secret)), stored(c, Tables::TwoStep, "enrolled_at", now), step},
                          &failed))
            throw DbError(failed);
        c.keys().insertKeyed(Tables::RecoveryCode, {QStringLiteral("user_id"), QStringLiteral("code_id"), QStringLiteral("hash")},
                             {userId}, rows, kRecoveryCodes);
        c.history().record(table(Tables::User), userId, enrolledCell(), false, had, true);
        return true;
    }, &why);
    if (done != Transactions::LockedWrite::Done) {
        *error = failedWrite(done, why, what);
        return {};
    }
    for (QString& plain : codes) plain = inGroups(plain, QLatin1Char('-'));
    return codes;
}

bool remove(Connection& c, int userId, QString* error)
{
    const QString what = QStringLiteral("A kétlépcsős azonosítás törlése");
    if (!available(c)) {
        *error = QStringLiteral("Az adatbázis még nem ismeri a kétlépcsős azonosítást.");
        return false;
    }
    QString why;
    bool had = false;
    const auto done = c.transactions().writeLocked([&] {
        had = !c.select(QStringLiteral("SELECT 1 FROM qnd_two_step WHERE user_id = ?"), {userId}).isEmpty();
        QString failed;
        if (!c.execute(QStringLiteral("DELETE FROM qnd_recovery_code WHERE user_id = ?"), {userId}, &failed)
            || !c.execute(QStringLiteral("DELETE FROM qnd_two_step WHERE user_id = ?"), {userId}, &failed))
            throw DbError(failed);
        if (had) c.history().record(table(Tables::User), userId, enrolledCell(), false, true, false);
        return true;
    }, &why);
    if (done != Transactions::LockedWrite::Done) {
        *error = failedWrite(done, why, what);
        return false;
    }
    if (!had) {
        *error = QStringLiteral("A felhasználónak nincs bekapcsolva a kétlépcsős azonosítás.");
        return false;
    }
    return true;
}

} // namespace NexoFrame::TwoStep
