/// The printer's settings as text: the monitor's answer, a file, arguments of the command line.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/exit_status.h"

namespace zrtmon::host {

/// A setting as the printer reports it.
struct CSetting {
    std::string name;
    int value;
    int minimum;
    int maximum;
    int flag; ///< as reported
};

/// A new value for a setting.
struct CSettingChange {
    std::string name;
    int value;
    std::string place; ///< source for messages: "line 3"; may be empty
};

/// Parses the monitor's "name=value,minimum,maximum,flag;...". Throws CHostError (PrinterError) for any other
/// text.
std::vector<CSetting> ParseSettings(std::string_view answer);

/// A line for each setting, in the format of ReadSettingsFile.
std::string SettingsFileText(std::span<const CSetting> settings);

/// Parses lines "name=value"; anything after a ',' that follows the value, empty lines and lines that begin
/// with
/// '#' are ignored. Throws CHostError (BadData) that names the line.
std::vector<CSettingChange> ReadSettingsFile(std::string_view text);

/// Parses "NAME=VALUE". Throws CHostError (Usage).
CSettingChange ParseSettingChange(std::string_view argument);

/// The changes as the text that the monitor writes to the printer. Throws CHostError with the given status if
/// one of them names an unknown setting, is out of range, or repeats a setting.
std::string ChangeText(std::span<const CSetting> settings, std::span<const CSettingChange> changes,
                       ExitStatus refusal);

} // namespace zrtmon::host
