#include "host/text/moment.h"

#include <charconv>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "platform/win32.h"

namespace zrtmon::host {
namespace {

constexpr const char* kForms[] = {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M",
                                  "%Y-%m-%d %H:%M", "%Y-%m-%d"};

struct CSpanUnit {
    char letter;
    int64_t seconds;
};

constexpr CSpanUnit kSpanUnits[] = {{'m', 60}, {'h', 3600}, {'d', 86400}};

/// std::nullopt for a day that its month does not have, which mktime would take for one of the next.
std::optional<int64_t> MomentOf(std::tm fields)
{
    const int day = fields.tm_mday;
    fields.tm_isdst = -1; // as it was then
    const std::time_t moment = std::mktime(&fields);
    return moment == -1 || fields.tm_mday != day ? std::nullopt : std::optional<int64_t>(moment);
}

std::optional<int64_t> Date(const std::string& text, const char* form)
{
    std::tm fields{};
    std::istringstream stream(text);
    stream >> std::get_time(&fields, form);
    return stream && stream.peek() == std::istringstream::traits_type::eof() ? MomentOf(fields)
                                                                             : std::nullopt;
}

/// A whole number of minutes, hours or days.
std::optional<int64_t> Span(const std::string& text)
{
    uint32_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    for (const CSpanUnit& unit : kSpanUnits) {
        if (error == std::errc() && end + 1 == text.data() + text.size() && *end == unit.letter) {
            return count * unit.seconds;
        }
    }
    return std::nullopt;
}

} // namespace

int64_t Now()
{
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::tm fields{};
    fields.tm_year = now.wYear - 1900;
    fields.tm_mon = now.wMonth - 1;
    fields.tm_mday = now.wDay;
    fields.tm_hour = now.wHour;
    fields.tm_min = now.wMinute;
    fields.tm_sec = now.wSecond;
    return MomentOf(fields).value_or(0);
}

std::optional<int64_t> MomentFromText(const std::string& text)
{
    if (const std::optional<int64_t> span = Span(text)) {
        return Now() - *span;
    }
    for (const char* const form : kForms) {
        if (const std::optional<int64_t> moment = Date(text, form)) {
            return moment;
        }
    }
    return std::nullopt;
}

std::string MomentText(int64_t moment)
{
    const auto seconds = static_cast<std::time_t>(moment); // has 32 bits on some systems
    const std::tm* const fields = std::localtime(&seconds);
    if (!fields) {
        return std::to_string(moment);
    }
    std::ostringstream text;
    text << std::put_time(fields, "%Y-%m-%d %H:%M:%S");
    return text.str();
}

} // namespace zrtmon::host
