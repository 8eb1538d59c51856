#pragma once
#include <QLatin1StringView>

// The rights keys of the commands that make, change and delete users and groups. The module's
// panels ask them; the login asks whether a user holds any of them (he administers, and a
// second step may be required of him), so they are named here, below both.
namespace NexoFrame::RightsKeys {

inline constexpr QLatin1StringView kGroupNew{"mainframe_base_user_group_new"};
inline constexpr QLatin1StringView kGroupModify{"mainframe_base_user_group_mod"};
inline constexpr QLatin1StringView kGroupDelete{"mainframe_base_user_group_del"};
inline constexpr QLatin1StringView kUserNew{"mainframe_base_user_new"};
inline constexpr QLatin1StringView kUserModify{"mainframe_base_user_mod"};
inline constexpr QLatin1StringView kUserDelete{"mainframe_base_user_del"};
// The stored key is misspelt ("passorw"); the rights trees in use hold it so.
inline constexpr QLatin1StringView kUserChangePassword{"mainframe_base_user_change_passorw"};

} // namespace NexoFrame::RightsKeys
