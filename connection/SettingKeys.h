#pragma once
#include <QLatin1StringView>
#include <QString>

namespace NexoFrame::SettingKeys {

// The sections of qnd_settings the system reads: the framework's own and the company's
// (its header on the printed reports, the drivers' reminders).
inline constexpr QLatin1StringView kMainframe{"MAINFRAME"};
inline constexpr QLatin1StringView kCompany{"KMN"};

// MAINFRAME: whether system rows may be edited, and whether the users are managed centrally.
inline constexpr QLatin1StringView kSystemEdit{"SystemEdit"};
inline constexpr QLatin1StringView kCentralUserManagement{"CentralUserManagement"};
// MAINFRAME: failed logins before a name is locked, for how many minutes; a password's length.
inline constexpr QLatin1StringView kLoginMaxFailures{"LoginMaxFailures"};
inline constexpr QLatin1StringView kLoginLockMinutes{"LoginLockMinutes"};
inline constexpr QLatin1StringView kMinPasswordLength{"MinPasswordLength"};
// MAINFRAME: the server's reader role: its name (a plain setting) and its password (a secret),
// and how many links it may hold at once (every preview, list and printed report opens its own).
inline constexpr QLatin1StringView kReaderRole{"ReaderRole"};
inline constexpr QLatin1StringView kReaderPassword{"ReaderPassword"};
inline constexpr QLatin1StringView kReaderConnectionLimit{"ReaderConnectionLimit"};

// MAINFRAME: a role slot's name, under CUE_NAME_<slot> (the stored text may end in a colon).
inline QString roleNameKey(int slot) { return QStringLiteral("CUE_NAME_%1").arg(slot); }

// KMN: how many days ahead the drivers' documents are reminded of.
inline constexpr QLatin1StringView kReminderDays{"Nap"};

} // namespace NexoFrame::SettingKeys
