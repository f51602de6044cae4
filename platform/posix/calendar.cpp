#include "platform/posix/calendar.h"

namespace zrtmon::posix {

namespace {

constexpr WORD kFirstYear = 1601;
constexpr WORD kLastYear = 30827;

bool IsTimeOfDay(const SYSTEMTIME& fields)
{
    return fields.wHour < 24 && fields.wMinute < 60 && fields.wSecond < 60 && fields.wMilliseconds < 1000;
}

} // namespace

std::optional<CalendarTime> ToCalendarTime(const SYSTEMTIME& fields)
{
    using namespace std::chrono;
    const year_month_day date = year(fields.wYear) / month(fields.wMonth) / day(fields.wDay);
    if (fields.wYear < kFirstYear || fields.wYear > kLastYear || fields.wMonth > 12 || fields.wDay > 31 ||
        !date.ok() || !IsTimeOfDay(fields)) {
        return std::nullopt;
    }
    return local_days(date) + hours(fields.wHour) + minutes(fields.wMinute) + seconds(fields.wSecond) +
           milliseconds(fields.wMilliseconds);
}

SYSTEMTIME ToFields(CalendarTime time)
{
    using namespace std::chrono;
    const local_days midnight = floor<days>(time);
    const year_month_day date(midnight);
    const hh_mm_ss clock(time - midnight);
    SYSTEMTIME fields = {};
    fields.wYear = static_cast<WORD>(static_cast<int>(date.year()));
    fields.wMonth = static_cast<WORD>(static_cast<unsigned>(date.month()));
    fields.wDay = static_cast<WORD>(static_cast<unsigned>(date.day()));
    fields.wDayOfWeek = static_cast<WORD>(weekday(midnight).c_encoding());
    fields.wHour = static_cast<WORD>(clock.hours().count());
    fields.wMinute = static_cast<WORD>(clock.minutes().count());
    fields.wSecond = static_cast<WORD>(clock.seconds().count());
    fields.wMilliseconds = static_cast<WORD>(clock.subseconds().count());
    return fields;
}

} // namespace zrtmon::posix
