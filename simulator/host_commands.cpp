#include "simulator/host_commands.h"

#include <algorithm>

namespace zrtmon::sim {

namespace {

constexpr size_t kResponseBytes = 8;
constexpr size_t kModeOffset = kResponseBytes;
constexpr size_t kNewPasswordBytes = 16;
constexpr uint8_t kSetUserMode = 0x00;
constexpr uint8_t kSetAdminMode = 0x01;
constexpr size_t kLongestSetting = 24;
constexpr size_t kOemParameterBytes = 11; // eight of the serial number, 'S', the switch, 'T'

constexpr HostCommand kHostCommands[] = {
    {"Nr"},
    {"NM"},
    {"NV"},
    {"NR"},
    {"N0"},
    {"NL"},
    {"NE"},
    {"Ne"},
    {"NF"},
    {"Nf"},
    {"NB"},
    {"NC"},
    {"NP"},
    {"NT"},
    {"TU", ParameterForm::Fixed, kOemParameterBytes},
    {"TRT"},
    {"TCT"},
    {"TLT"},
    {"PPL"},
    {"PIL"},
    {"PML"},
    {"e"},
    {"d"},
    {"i"},
    {"r"},
    {"S1"},
    {"XC"},
    {"B", ParameterForm::Fixed, 1},
    {"TE", ParameterForm::Setting},
    {"TF", ParameterForm::Setting},
    {"4", ParameterForm::Fixed, kResponseBytes},
    {"5", ParameterForm::PasswordMode},
    {"C", ParameterForm::Job},
    {"J", ParameterForm::Job},
    {"j", ParameterForm::Job},
    {"m", ParameterForm::Job},
    {"XZ", ParameterForm::Job},
};

bool IsPasswordComplete(std::string_view parameters)
{
    if (parameters.size() <= kModeOffset) {
        return false;
    }
    const auto mode = static_cast<uint8_t>(parameters[kModeOffset]);
    const bool hasPassword = mode == kSetUserMode || mode == kSetAdminMode;
    return parameters.size() == kModeOffset + 1 + (hasPassword ? kNewPasswordBytes : 0);
}

} // namespace

const HostCommand* FindHostCommand(std::string_view text, bool* possible)
{
    *possible = false;
    for (const HostCommand& row : kHostCommands) {
        if (row.mnemonic == text) {
            return &row;
        }
        *possible = *possible || row.mnemonic.starts_with(text);
    }
    return nullptr;
}

const HostCommand* FindFirstCommand(std::string_view bytes, size_t* length)
{
    constexpr size_t kHead = std::size(kPrefix);
    bool possible =
        bytes.size() > kHead && std::equal(std::begin(kPrefix), std::end(kPrefix), bytes.begin(),
                                           [](uint8_t p, char b) { return p == static_cast<uint8_t>(b); });
    const HostCommand* command = nullptr;
    size_t parametersAt = kHead;
    while (possible && !command && parametersAt < bytes.size()) {
        ++parametersAt;
        command = FindHostCommand(bytes.substr(kHead, parametersAt - kHead), &possible);
    }
    bool wrong = false;
    for (size_t end = parametersAt; command && !wrong && end <= bytes.size(); ++end) {
        if (AreParametersComplete(*command, bytes.substr(parametersAt, end - parametersAt), &wrong)) {
            *length = end;
            return wrong ? nullptr : command;
        }
    }
    return nullptr;
}

bool AreParametersComplete(const HostCommand& command, std::string_view parameters, bool* wrong)
{
    *wrong = false;
    switch (command.form) {
    case ParameterForm::Fixed:
        return parameters.size() == command.parameterBytes;
    case ParameterForm::Setting:
        *wrong = parameters.size() > kLongestSetting;
        return parameters.ends_with('\r');
    case ParameterForm::PasswordMode:
        return IsPasswordComplete(parameters);
    case ParameterForm::Job:
        return true;
    }
    return true;
}

} // namespace zrtmon::sim
