#pragma once
#include <QLatin1StringView>
// The user groups and the users: named below, where the login asks them too.
#include "UserRightsKeys.h"

// The keys the module's commands ask the rights test about (Connection::rightsTest). Each
// needs its authorisation unit in the rights tree, or one for a shorter prefix above it.
namespace NexoFrame::RightsKeys {

// The OLAP report definitions.
inline constexpr QLatin1StringView kOlapReportAdd{"vtk_controlling_olap_report_add"};
inline constexpr QLatin1StringView kOlapReportModify{"vtk_controlling_olap_report_mod"};
inline constexpr QLatin1StringView kOlapReportDelete{"vtk_controlling_olap_report_del"};

// The list wizard.
inline constexpr QLatin1StringView kListEdit{"vtk_controlling_list_wizard_edit"};
inline constexpr QLatin1StringView kListEditAll{"vtk_controlling_list_wizard_edit_all"};
inline constexpr QLatin1StringView kListPrint{"vtk_controlling_list_wizard_print"};
inline constexpr QLatin1StringView kListExport{"vtk_controlling_list_wizard_export"};
inline constexpr QLatin1StringView kListParameters{"vtk_controlling_list_wizard_param"};

} // namespace NexoFrame::RightsKeys
