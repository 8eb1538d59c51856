#pragma once
#include <QDateTime>
#include <QLatin1StringView>
#include <QString>

// The date and time formats the system writes and reads (QDate/QDateTime format strings).
namespace NexoFrame::DateFormats {

// How the database holds a moment as text, and a day.
inline constexpr QLatin1StringView kStored{"yyyy-MM-dd HH:mm:ss"};
inline constexpr QLatin1StringView kStoredDay{"yyyy-MM-dd"};

// A moment in the stored form, written digit by digit: a save writes a dozen of them, and
// QDateTime's pattern formatter costs more than sending the statement.
inline QString storedText(const QDateTime& at)
{
    const QDate d = at.date();
    const QTime t = at.time();
    if (!d.isValid() || !t.isValid() || d.year() < 1000 || d.year() > 9999) return at.toString(kStored);
    char b[19];
    const auto put = [&b](int at, int value, int digits) {
        for (int i = digits - 1; i >= 0; --i, value /= 10) b[at + i] = char('0' + value % 10);
    };
    put(0, d.year(), 4);
    b[4] = '-';
    put(5, d.month(), 2);
    b[7] = '-';
    put(8, d.day(), 2);
    b[10] = ' ';
    put(11, t.hour(), 2);
    b[13] = ':';
    put(14, t.minute(), 2);
    b[16] = ':';
    put(17, t.second(), 2);
    return QString::fromLatin1(b, 19);
}

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
