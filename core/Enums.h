#pragma once
#include <QObject>

namespace NexoFrame {
Q_NAMESPACE

enum eItemStatus { IsNew = 0, isLoaded = 1, isModified = 2, isDeleted = 3 };
Q_ENUM_NS(eItemStatus)

enum eErrorType { eError = 0, eWarning = 1 };
Q_ENUM_NS(eErrorType)

enum eValidateCheckType { eCheckWarning = 0, eDontCheckWarning = 1 };
Q_ENUM_NS(eValidateCheckType)

enum eReturnValue { rvWait = -1, rvOK = 0, rvCancel = 1 };
Q_ENUM_NS(eReturnValue)

enum eBrowseType { eBrowse = 1, eSelector = 2, eBrowseSelector = 3 };
Q_ENUM_NS(eBrowseType)

// Number of the lifecycle refusals (object error base plus 100).
inline constexpr long kLifecycleErrorNumber = 0x80040064L;
// Number of the field checks of the records.
inline constexpr long kFieldCheckNumber = 10;

} // namespace NexoFrame
