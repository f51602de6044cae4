#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/printer/settings.h"
#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "platform/win32.h"

namespace zrtmon::host {
namespace {

constexpr wchar_t kSettingsValue[] = L"CurrentSettings";

struct CSettingsArguments {
    CPrinterChoice printer;
    std::string file;
    std::vector<std::string> changes;
};

using SettingsAction = ExitStatus (*)(const CSettingsArguments& arguments, CHostEnvironment& environment,
                                      CConsole& console);

std::vector<CSetting> ReadSettings(IPrinter& printer)
{
    return ParseSettings(QueryOrThrow(printer, "CurrentSettings"));
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
    const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
    const std::vector<CSetting> settings = ReadSettings(*printer);
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
    const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
    const std::vector<CSetting> settings = ReadSettings(*printer);
    const std::filesystem::path path = PathFromUtf8(arguments.file);
    WriteWholeFile(path, SettingsFileText(settings));
    console.Message(DisplayPath(path) + ": " + std::to_string(settings.size()) + " settings saved");
    return ExitStatus::Done;
}

/// Puts back at its end what a value of the printer's data is now. A spooler stores every answer, too.
class CValueKeeper {
public:
    CValueKeeper(IPrinter& printer, const wchar_t* name)
        : m_printer(printer), m_name(name), m_before(printer.LoadValue(name))
    {
    }
    ~CValueKeeper()
    {
        try {
            PutBack();
        } catch (const CHostError&) { // the printer is gone, and its data with it
        }
    }
    CValueKeeper(const CValueKeeper&) = delete;
    CValueKeeper& operator=(const CValueKeeper&) = delete;

private:
    void PutBack()
    {
        if (m_before) {
            m_printer.StoreValue(m_name, m_before->type, m_before->bytes);
        } else {
            m_printer.RemoveValue(m_name);
        }
    }

    IPrinter& m_printer;
    const wchar_t* m_name;
    std::optional<CStoredValue> m_before;
};

/// Stores the text where the monitor reads the settings to write, and makes it write them.
void WriteSettings(IPrinter& printer, const std::string& text)
{
    const CStoreResult stored = printer.StoreValue(kSettingsValue, REG_BINARY, text);
    if (stored.error != ERROR_SUCCESS) {
        throw CHostError(SpoolerErrorStatus(stored.error),
                         "cannot store the settings in the printer's data: " + StoreProblem(stored));
    }
    QueryAfreshOrThrow(printer, "InitializeSettings/" + printer.Name());
}

/// Reads the settings back and throws if the printer did not accept a change.
void CheckWritten(IPrinter& printer, std::span<const CSettingChange> changes)
{
    const std::vector<CSetting> settings = ParseSettings(QueryAfreshOrThrow(printer, "CurrentSettings"));
    std::string refused;
    size_t refusedCount = 0;
    for (const CSettingChange& change : changes) {
        const auto setting = std::find_if(settings.begin(), settings.end(),
                                          [&](const CSetting& row) { return row.name == change.name; });
        if (setting == settings.end() || setting->value != change.value) {
            ++refusedCount;
            refused += (refused.empty() ? "" : ", ") + change.name + '=' + std::to_string(change.value) +
                       (setting == settings.end() ? "" : " (it has " + std::to_string(setting->value) + ')');
        }
    }
    if (refused.empty()) {
        return;
    }
    std::string message = "the printer did not accept " + refused;
    if (changes.size() > 1) {
        message += "; it took " + std::to_string(changes.size() - refusedCount) + " of " +
                   std::to_string(changes.size()) + " settings";
    }
    if (refusedCount == changes.size()) {
        message += "; a spooler that answers the monitor's own reading from the printer makes it write back "
                   "what is there";
    }
    throw CHostError(ExitStatus::PrinterError, message);
}

void Apply(IPrinter& printer, std::span<const CSettingChange> changes, ExitStatus refusal, CConsole& console)
{
    const CValueKeeper keeper(printer, kSettingsValue);
    WriteSettings(
        printer, ChangeText(ParseSettings(QueryAfreshOrThrow(printer, "CurrentSettings")), changes, refusal));
    CheckWritten(printer, changes);
    const bool isOne = changes.size() == 1;
    console.Message(std::to_string(changes.size()) + (isOne ? " setting written" : " settings written"));
}

ExitStatus Restore(const CSettingsArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const std::filesystem::path path = PathFromUtf8(arguments.file);
    try {
        const std::vector<CSettingChange> changes = ReadSettingsFile(ReadWholeFile(path));
        const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
        Apply(*printer, changes, ExitStatus::BadData, console);
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
    const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
    Apply(*printer, changes, ExitStatus::Usage, console);
    return ExitStatus::Done;
}

CCommand ActionCommand(const char* name, const char* help, SettingsAction action,
                       const std::shared_ptr<CSettingsArguments>& arguments,
                       std::vector<COption> options = {})
{
    return {.name = name,
            .help = help,
            .options = WithPrinterOptions(std::move(options), arguments->printer),
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
