#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/printer/settings.h"
#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/session/query.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/win32.h"

namespace zrtmon::host {
namespace {

struct CSettingsArguments {
    CSessionOptions session;
    std::string file;
    std::vector<std::string> changes;
};

using SettingsAction = ExitStatus (*)(const CSettingsArguments& arguments, CHostEnvironment& environment,
                                      CConsole& console);

std::vector<CSetting> ReadSettings(CSpoolerSession& session)
{
    return ParseSettings(QueryOrThrow(session, "CurrentSettings"));
}

std::string SettingLine(const CSetting& setting, size_t nameWidth)
{
    std::string value = std::to_string(setting.value);
    constexpr size_t kValueWidth = 5;
    value.insert(0, kValueWidth - std::min(kValueWidth, value.size()), ' ');
    return Padded(setting.name, nameWidth) + value + "  (" + std::to_string(setting.minimum) + " to " +
           std::to_string(setting.maximum) + ", flag " + std::to_string(setting.flag) + ')';
}

ExitStatus Show(const CSettingsArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    CSpoolerSession session(arguments.session, environment);
    const std::vector<CSetting> settings = ReadSettings(session);
    size_t width = 0;
    for (const CSetting& setting : settings) {
        width = std::max(width, setting.name.size());
    }
    for (const CSetting& setting : settings) {
        console.Answer(SettingLine(setting, width));
    }
    return ExitStatus::Done;
}

ExitStatus Save(const CSettingsArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    CSpoolerSession session(arguments.session, environment);
    const std::vector<CSetting> settings = ReadSettings(session);
    const std::filesystem::path path = PathFromUtf8(arguments.file);
    WriteWholeFile(path, SettingsFileText(settings));
    console.Message(DisplayPath(path) + ": " + std::to_string(settings.size()) + " settings saved");
    return ExitStatus::Done;
}

/// Stores the text where the monitor reads the settings to write, and makes it write them.
void WriteSettings(CSpoolerSession& session, const CSettingsArguments& arguments, const std::string& text)
{
    const DWORD error = session.StoreValue(L"CurrentSettings", REG_BINARY, text);
    if (error != ERROR_SUCCESS) {
        throw CHostError(ExitStatus::NoDevice,
                         "cannot store the settings in the printer's data: " + PortErrorWords(error));
    }
    QueryOrThrow(session, "InitializeSettings/" + arguments.session.printer);
}

/// Reads the settings back and throws if the printer did not accept a change.
void CheckWritten(CSpoolerSession& session, std::span<const CSettingChange> changes)
{
    const std::vector<CSetting> settings = ReadSettings(session);
    for (const CSettingChange& change : changes) {
        const bool isHeld = std::any_of(settings.begin(), settings.end(), [&](const CSetting& setting) {
            return setting.name == change.name && setting.value == change.value;
        });
        if (!isHeld) {
            throw CHostError(ExitStatus::PrinterError, "the printer did not accept " + change.name + '=' +
                                                           std::to_string(change.value));
        }
    }
}

void Apply(CSpoolerSession& session, const CSettingsArguments& arguments,
           std::span<const CSettingChange> changes, ExitStatus refusal, CConsole& console)
{
    WriteSettings(session, arguments, ChangeText(ReadSettings(session), changes, refusal));
    CheckWritten(session, changes);
    const bool isOne = changes.size() == 1;
    console.Message(std::to_string(changes.size()) + (isOne ? " setting written" : " settings written"));
}

ExitStatus Restore(const CSettingsArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const std::filesystem::path path = PathFromUtf8(arguments.file);
    try {
        const std::vector<CSettingChange> changes = ReadSettingsFile(ReadWholeFile(path));
        CSpoolerSession session(arguments.session, environment);
        Apply(session, arguments, changes, ExitStatus::BadData, console);
    } catch (const CHostError& error) {
        if (error.Status() != ExitStatus::BadData) {
            throw;
        }
        throw CHostError(ExitStatus::BadData, DisplayPath(path) + ": " + error.what());
    }
    return ExitStatus::Done;
}

ExitStatus Set(const CSettingsArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    std::vector<CSettingChange> changes;
    for (const std::string& change : arguments.changes) {
        changes.push_back(ParseSettingChange(change));
    }
    CSpoolerSession session(arguments.session, environment);
    Apply(session, arguments, changes, ExitStatus::Usage, console);
    return ExitStatus::Done;
}

CCommand ActionCommand(const char* name, const char* help, SettingsAction action,
                       const std::shared_ptr<CSettingsArguments>& arguments,
                       std::vector<COption> options = {})
{
    return {.name = name,
            .help = help,
            .options = WithSessionOptions(std::move(options), arguments->session),
            .run = [arguments, action](CHostEnvironment& environment, CConsole& console) {
                return action(*arguments, environment, console);
            }};
}

} // namespace

CCommand SettingsCommand()
{
    const auto arguments = std::make_shared<CSettingsArguments>();
    const auto file = [&](const char* help) {
        return COption{.name = "FILE", .target = &arguments->file, .help = help, .required = true};
    };
    return {.name = "settings",
            .help = "Read and write the printer's settings",
            .parts = {ActionCommand("show", "Show all settings with their ranges", Show, arguments),
                      ActionCommand("save", "Save all settings to a file", Save, arguments,
                                    {file("File to write the settings to")}),
                      ActionCommand("restore", "Write the settings of a file to the printer", Restore,
                                    arguments, {file("A file made by save")}),
                      ActionCommand("set", "Change individual settings", Set, arguments,
                                    {{.name = "NAME=VALUE",
                                      .target = &arguments->changes,
                                      .help = "Settings and their new values",
                                      .required = true}})}};
}

} // namespace zrtmon::host
