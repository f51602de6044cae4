#include "simulator/settings_memory.h"

#include <charconv>
#include <utility>

namespace zrtmon::sim {

CSettingsMemory::CSettingsMemory(std::string name, int32_t firstParameter, std::vector<int32_t> defaults,
                                 std::vector<int32_t> current)
    : m_name(std::move(name)), m_firstParameter(firstParameter), m_defaults(std::move(defaults)),
      m_current(std::move(current))
{
}

CSettingsMemory CSettingsMemory::MakeEeprom()
{
    return {"EEprom",
            0,
            {0, 0, 0, 0, 0, 0, 0, 0, 90, 85, 0, 60, 10, 70, 55, 80, 32, 0, 0, 12, 16},
            {5, -3, 2, -4, 1, -1, 0, 0, 92, 84, 3, 60, 12, 70, 55, 80, 40, 0, 4, 14, 16}};
}

CSettingsMemory CSettingsMemory::MakeFlipper()
{
    return {"Flipper EE", 2, {0, 0, 0, 0, 0}, {-2, 7, 1, 20, -15}};
}

std::string CSettingsMemory::List(const std::vector<int32_t>& values)
{
    std::string text;
    for (const int32_t value : values) {
        text += std::to_string(value) + ',';
    }
    return text;
}

bool CSettingsMemory::Write(std::string_view text)
{
    constexpr std::string_view kEnd = "T\r";
    if (!text.ends_with(kEnd)) {
        return false;
    }
    text.remove_suffix(kEnd.size());
    const char* const end = text.data() + text.size();
    int32_t parameter = 0;
    int32_t value = 0;
    const auto number = std::from_chars(text.data(), end, parameter);
    if (number.ec != std::errc() || number.ptr == end || *number.ptr != ',') {
        return false;
    }
    const auto rest = std::from_chars(number.ptr + 1, end, value);
    const int64_t row = int64_t{parameter} - m_firstParameter;
    if (rest.ec != std::errc() || rest.ptr != end || row < 0 || row >= std::ssize(m_current)) {
        return false;
    }
    m_current[static_cast<size_t>(row)] = value;
    return true;
}

} // namespace zrtmon::sim
