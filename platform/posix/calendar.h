/// Calendar fields and counts of milliseconds, without time zones.
#pragma once

#include <chrono>
#include <optional>

#include "platform/win32.h"

namespace zrtmon::posix {

using CalendarTime = std::chrono::local_time<std::chrono::milliseconds>;

/// The local time at which a virtual clock begins: Monday 2026-01-05, 08:00.
inline constexpr CalendarTime kVirtualLocalStart =
    std::chrono::local_days(std::chrono::year(2026) / 1 / 5) + std::chrono::hours(8);

/// std::nullopt if the fields are not a date between 1601 and 30827. The day of the week is ignored.
std::optional<CalendarTime> ToCalendarTime(const SYSTEMTIME& fields);
/// All fields, the day of the week included.
SYSTEMTIME ToFields(CalendarTime time);

} // namespace zrtmon::posix
