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
// MAINFRAME: whether everyone who administers must log in with a second step (twostep/), and
// the installation's name an authenticator app shows beside the user's (default: the database's).
inline constexpr QLatin1StringView kTwoStepForAdmins{"TwoStepForAdmins"};
inline constexpr QLatin1StringView kInstallationName{"InstallationName"};
// MAINFRAME: the server's reader role: its name (a plain setting) and its password (a secret),
// and how many links it may hold at once (every preview, list and printed report opens its own).
inline constexpr QLatin1StringView kReaderRole{"ReaderRole"};
inline constexpr QLatin1StringView kReaderPassword{"ReaderPassword"};
inline constexpr QLatin1StringView kReaderConnectionLimit{"ReaderConnectionLimit"};

// MAINFRAME: how many days each log keeps its rows (0 or unset: for ever; LogKeeping).
inline constexpr QLatin1StringView kMenuLogKeepDays{"MenuLogKeepDays"};
inline constexpr QLatin1StringView kReportLogKeepDays{"ReportLogKeepDays"};
inline constexpr QLatin1StringView kLoginFailureKeepDays{"LoginFailureKeepDays"};
inline constexpr QLatin1StringView kRightsHistoryKeepDays{"RightsHistoryKeepDays"};

// MAINFRAME: a role slot's name, under CUE_NAME_<slot> (the stored text may end in a colon).
inline QString roleNameKey(int slot) { return QStringLiteral("CUE_NAME_%1").arg(slot); }

// LDAP: the directory the users are read from (directory/Directory.h): its server(s), TLS,
// the service user (its password a secret), where users and groups are and how they are read.
inline constexpr QLatin1StringView kLdap{"LDAP"};
inline constexpr QLatin1StringView kLdapUrls{"Urls"};
inline constexpr QLatin1StringView kLdapStartTls{"StartTls"};
inline constexpr QLatin1StringView kLdapCaFile{"CaFile"};
inline constexpr QLatin1StringView kLdapBindDn{"BindDn"};
inline constexpr QLatin1StringView kLdapBindPassword{"BindPassword"};
inline constexpr QLatin1StringView kLdapUserBase{"UserBase"};
inline constexpr QLatin1StringView kLdapUserFilter{"UserFilter"};
inline constexpr QLatin1StringView kLdapLoginAttribute{"LoginAttribute"};
inline constexpr QLatin1StringView kLdapNameAttribute{"NameAttribute"};
inline constexpr QLatin1StringView kLdapMailAttribute{"MailAttribute"};
inline constexpr QLatin1StringView kLdapPhoneAttribute{"PhoneAttribute"};
inline constexpr QLatin1StringView kLdapGroupBase{"GroupBase"};
inline constexpr QLatin1StringView kLdapGroupFilter{"GroupFilter"};
inline constexpr QLatin1StringView kLdapMembership{"Membership"};

// KMN: how many days ahead the drivers' documents are reminded of.
inline constexpr QLatin1StringView kReminderDays{"Nap"};

} // namespace NexoFrame::SettingKeys
