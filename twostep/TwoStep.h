#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QSet>
#include <QString>
#include <QStringList>

namespace NexoFrame {
class Connection;
}

// The second step of a login: a time-based one-time code (RFC 6238) from the user's
// authenticator app, or one of his single-use recovery codes. The secret is kept sealed in
// qnd_two_step, the recovery codes as salted slow hashes in qnd_recovery_code; both tables are
// secrets no user-written SQL reads. Codes are made by liboath, hashes and comparisons by
// libsodium.
namespace NexoFrame::TwoStep {

inline constexpr int kDigits = 6;          // a code's digits
inline constexpr int kStepSeconds = 30;    // how long a code stands
inline constexpr int kWindow = 1;          // steps accepted either side of the current one
inline constexpr int kSecretBytes = 20;    // 160 bits
inline constexpr int kRecoveryCodes = 10;

// What a user's login asks after his password.
enum class Need {
    None,  // nothing: he has not enrolled and nothing requires it
    Code,  // a code (he has enrolled)
    Enrol, // he must use it and has not enrolled: the enrolment before any menu
};

// Whether the database has the layout that keeps the second step (an older one before its
// upgrade has not: nobody is asked, nothing is written).
bool available(Connection& c);
// Whether the user has enrolled.
bool enrolled(Connection& c, int userId);
// The users who have enrolled, from one read (the users panel marks them).
QSet<int> enrolledUsers(Connection& c);
// Whether the user administers: he holds a right that creates, changes or deletes users or
// groups, or his menu holds an item that sets roles (the trees in role mode, the report and
// list rights panels).
bool administers(Connection& c, int userId);
// The same for a group's slots alone: whether every member of it administers.
bool groupAdministers(Connection& c, int groupId);
// Why the user must use it, in Hungarian ("a csoportja megköveteli", …); empty when nothing
// requires it: his group requires it, or he administers and `MAINFRAME` / `TwoStepForAdmins` is on.
QString requiredBecause(Connection& c, int userId);
inline bool required(Connection& c, int userId) { return !requiredBecause(c, userId).isEmpty(); }
// Why every member of the group must use it, by the group alone: its own rule, or its slots
// administer while `TwoStepForAdmins` is on. Empty when the group as such requires nothing.
QString groupRequiresBecause(Connection& c, int groupId);
// Enrolled: Code; required and not enrolled: Enrol; else None. Throws DbError.
Need need(Connection& c, int userId);

// The installation's name in the authenticator app: `MAINFRAME` / `InstallationName`, or the
// database's name.
QString installationName(Connection& c);

// A fresh secret from the system's random source, not stored until a code confirms it.
QByteArray newSecret();
// The secret as people type it into an app: RFC 4648 base32 without padding.
QString base32(const QByteArray& secret);
// `text` in groups of four characters with `separator` between them, as secrets and recovery
// codes are shown for typing.
QString inGroups(const QString& text, QChar separator);
// The enrolment URI the QR code shows:
// otpauth://totp/NexoFrame:<installation>%20<user>?secret=…&issuer=NexoFrame&digits=6&period=30
QString otpauthUri(const QByteArray& secret, const QString& userName, const QString& installation);

// What a user typed, as a code: six digits ("123 456" too), or a recovery code
// ("ABCD-EFGH-JKMN-PQRS", case and dashes free). An empty text on anything else, and
// `*message` says in Hungarian what is wrong.
QString normalised(const QString& typed, bool* isRecovery, QString* message);
// The step (counter) at which `code` matches `secret` at `now`, one step either side
// allowed, compared in constant time; -1 when none does.
qint64 matchingStep(const QByteArray& secret, const QString& code, const QDateTime& now);

// The outcome of one code at a login.
struct Check {
    enum class Status { Ok, Malformed, Wrong, Replayed, NotEnrolled, DatabaseError };
    Status status = Status::Wrong;
    QString message;        // Hungarian, empty when Ok
    bool recoveryUsed = false;
    int recoveryLeft = 0;   // unspent recovery codes after this one
    bool ok() const { return status == Status::Ok; }
    // Whether the attempt counts as a failed login (a well-formed wrong or replayed code).
    bool counts() const { return status == Status::Wrong || status == Status::Replayed; }
};
// Checks a code (or a recovery code) of an enrolled user at `now`. A code is accepted once:
// the step it matched is kept, and a code of that step or an earlier one is refused; a
// recovery code is spent. Both in one transaction with the check.
Check verify(Connection& c, int userId, const QString& typed, const QDateTime& now);

// Stores `secret` for the user once `code` matches it at `now` (replacing an earlier
// enrolment), with fresh recovery codes, kept in the rights history. The recovery codes in
// plain text, to be shown once; empty on failure with `*error` in Hungarian.
QStringList enrol(Connection& c, int userId, const QByteArray& secret, const QString& code, const QDateTime& now,
                  QString* error);
// Removes the user's secret and recovery codes, kept in the rights history. False with
// `*error` in Hungarian when it fails (nothing removed).
bool remove(Connection& c, int userId, QString* error);

} // namespace NexoFrame::TwoStep
