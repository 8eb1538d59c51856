#pragma once
#include <QLatin1StringView>

// The date and time formats the system writes and reads (QDate/QDateTime format strings).
namespace NexoFrame::DateFormats {

// How the database holds a moment as text, and a day.
inline constexpr QLatin1StringView kStored{"yyyy-MM-dd HH:mm:ss"};
inline constexpr QLatin1StringView kStoredDay{"yyyy-MM-dd"};

// How a user reads them: in forms, messages, lists and printed reports.
inline constexpr QLatin1StringView kDay{"yyyy.MM.dd."};
inline constexpr QLatin1StringView kMinute{"yyyy.MM.dd. HH:mm"};
inline constexpr QLatin1StringView kSecond{"yyyy.MM.dd. HH:mm:ss"};

// Without the closing dot: the grids (the browse views, the pivot) and the user form's dates.
inline constexpr QLatin1StringView kDayPlain{"yyyy.MM.dd"};
inline constexpr QLatin1StringView kMinutePlain{"yyyy.MM.dd hh:mm"};

// A day in a file name.
inline constexpr QLatin1StringView kFileDay{"yyyyMMdd"};

} // namespace NexoFrame::DateFormats
