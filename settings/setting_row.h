#pragma once

#include <cstdint>

namespace zrtmon {

/// One adjustable parameter in a settings memory of the printer.
struct SettingRow {
    int32_t index;    ///< the row's position; kEndIndex closes a table
    const char* name; ///< also its field name in answers
    int32_t minimum;
    int32_t maximum;
    int32_t flag; ///< reported after the range

    static constexpr int32_t kEndIndex = -1;
};

/// The main settings memory: 21 rows and the end row.
extern const SettingRow EepromSettingsTable[];
/// The card flipper's settings memory: 5 rows and the end row.
extern const SettingRow FlipperSettingsTable[];

} // namespace zrtmon
