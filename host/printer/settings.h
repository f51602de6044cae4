/// The printer's settings as texts: the monitor's answer, a file, arguments of the command line.
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

/// A value that the user wants a setting to have.
struct CSettingChange {
    std::string name;
    int value;
    std::string place; ///< where it was written, for messages: "line 3"; may be empty
};

/// Reads "name=value,minimum,maximum,flag;..." as the monitor answers it. Throws CHostError (PrinterError)
/// for any other text.
std::vector<CSetting> ParseSettings(std::string_view answer);

/// A line for each setting, in the form that ReadSettingsFile reads.
std::string SettingsFileText(std::span<const CSetting> settings);

/// Reads lines "name=value", each with anything behind a ',' after the value; empty lines and lines that
/// begin with '#' are passed over. Throws CHostError (BadData) that names the line.
std::vector<CSettingChange> ReadSettingsFile(std::string_view text);

/// Reads "NAME=VALUE". Throws CHostError (Usage).
CSettingChange ParseSettingChange(std::string_view argument);

/// The changes as the text that the monitor writes to the printer. Throws CHostError with that status when
/// one of them names no setting, leaves its range, or names a setting a second time.
std::string ChangeText(std::span<const CSetting> settings, std::span<const CSettingChange> changes,
                       ExitStatus refusal);

} // namespace zrtmon::host
