/// A memory of adjustable values in the printer, with its defaults.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zrtmon::sim {

/// Not thread-safe.
class CSettingsMemory {
public:
    /// firstParameter is the number that a command writes the first value under; factory values and current
    /// values are as many.
    CSettingsMemory(std::string name, int32_t firstParameter, std::vector<int32_t> defaults,
                    std::vector<int32_t> current);

    /// The 21 values of the printer itself, and the 5 of its flipper.
    static CSettingsMemory MakeEeprom();
    static CSettingsMemory MakeFlipper();

    /// "<name> Settings:" or "<name> Defaults:" and every value followed by a ','.
    std::string SettingsReply() const { return m_name + " Settings:" + List(m_current); }
    std::string DefaultsReply() const { return m_name + " Defaults:" + List(m_defaults); }

    /// Carries out "<parameter>,<value>T\r". False, with nothing changed, for text of another form or a
    /// unknown parameter.
    bool Write(std::string_view text);

    const std::vector<int32_t>& Values() const { return m_current; }

private:
    static std::string List(const std::vector<int32_t>& values);

    std::string m_name;
    int32_t m_firstParameter;
    std::vector<int32_t> m_defaults;
    std::vector<int32_t> m_current;
};

} // namespace zrtmon::sim
