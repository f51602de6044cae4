#include <memory>

#include "host/commands/commands.h"
#include "host/printer/status_words.h"
#include "host/text/file.h"
#include "host/text/text.h"
#include "security/config_password.h"

namespace zrtmon::host {
namespace {

constexpr wchar_t kValueName[] = L"ConfigurationFile";
constexpr wchar_t kShare[] = L"\\\\";
constexpr uint32_t kMinuteMs = 60 * 1000;
constexpr uint32_t kHourMs = 60 * kMinuteMs;

struct CPolicyArguments {
    CPrinterChoice printer;
    std::string file;
};

std::string DelayText(uint32_t delayMs)
{
    const bool isHours = delayMs % kHourMs == 0;
    const uint32_t count = delayMs / (isHours ? kHourMs : kMinuteMs);
    return std::to_string(count) + (isHours ? " hour" : " minute") + (count == 1 ? "" : "s");
}

std::string RulesText(const PolicyRules& rules)
{
    if (rules.onFirstCard && rules.delayMs > 0) {
        return "a password for the first card of the day, unless the last one was given less than " +
               DelayText(rules.delayMs) + " before";
    }
    if (rules.onFirstCard) {
        return "a password for the first card of the day";
    }
    return rules.delayMs > 0 ? "a password for the first card, and again after " + DelayText(rules.delayMs)
                             : "a password for each job";
}

/// Throws CHostError (BadData) for a file that the monitor would ignore.
PolicyRules Rules(const std::filesystem::path& path)
{
    const std::optional<PolicyRules> rules = ReadPolicyRules(WidePath(path).c_str());
    if (!rules) {
        throw CHostError(ExitStatus::BadData,
                         DisplayPath(path) +
                             ": is not a policy that the monitor can use: a regular XML file of at most "
                             "1 MiB, without a DOCTYPE, with one of the known delays");
    }
    return *rules;
}

/// A port of our own is gone with its program, and the printer's data with it.
std::unique_ptr<IPrinter> Open(const CPolicyArguments& arguments, const CHostEnvironment& environment)
{
    if (!arguments.printer.port.empty()) {
        throw CHostError(
            ExitStatus::Usage,
            "--port: only an installed printer keeps a policy; give zrtctl print --policy FILE there");
    }
    return OpenPrinter(arguments.printer, environment);
}

[[noreturn]] void ThrowStoreError(const CStoreResult& result)
{
    throw CHostError(SpoolerErrorStatus(result.error),
                     "cannot change the printer's data: " + StoreProblem(result));
}

std::wstring TextOf(const CStoredValue& value)
{
    std::wstring text(value.bytes.size() / sizeof(wchar_t), L'\0');
    std::copy_n(value.bytes.data(), text.size() * sizeof(wchar_t), reinterpret_cast<char*>(text.data()));
    return text.substr(0, text.find(L'\0'));
}

ExitStatus Show(const CPolicyArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const std::unique_ptr<IPrinter> printer = Open(arguments, environment);
    const std::optional<CStoredValue> value = printer->LoadValue(kValueName);
    if (!value || TextOf(*value).empty()) {
        console.Answer("no policy: a password for each job");
        return ExitStatus::Done;
    }
    const std::filesystem::path path(TextOf(*value));
    console.Answer(DisplayPath(path) + ": " + RulesText(Rules(path)));
    return ExitStatus::Done;
}

ExitStatus Set(const CPolicyArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const std::filesystem::path path = std::filesystem::absolute(PathFromUtf8(arguments.file));
    const std::wstring text = WidePath(path);
    if (environment.printSystem->IsMappedDrive(text)) {
        throw CHostError(ExitStatus::BadData,
                         DisplayPath(path) +
                             ": is on a mapped drive, which the spooler does not see; copy the file to a "
                             "local drive, or give the share's name");
    }
    RequireReadable(path);
    const PolicyRules rules = Rules(path);
    const std::unique_ptr<IPrinter> printer = Open(arguments, environment);
    const std::span withEnd(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t));
    const CStoreResult stored = printer->StoreValue(kValueName, REG_SZ, withEnd);
    if (stored.error != ERROR_SUCCESS) {
        ThrowStoreError(stored);
    }
    if (text.starts_with(kShare)) {
        console.Message(DisplayPath(path) +
                            ": is on a share; the spooler reads it with the machine's account, which must "
                            "be allowed to",
                        Tone::Warning);
    }
    console.Message("from the next job on: " + RulesText(rules), Tone::Good);
    return ExitStatus::Done;
}

ExitStatus Clear(const CPolicyArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const CStoreResult removed = Open(arguments, environment)->RemoveValue(kValueName);
    if (removed.error != ERROR_SUCCESS && removed.error != ERROR_FILE_NOT_FOUND) {
        ThrowStoreError(removed);
    }
    console.Message("from the next job on: a password for each job");
    return ExitStatus::Done;
}

using PolicyAction = ExitStatus (*)(const CPolicyArguments& arguments, CHostEnvironment& environment,
                                    CConsole& console);

CCommand ActionCommand(const char* name, const char* help, PolicyAction action, bool takesFile)
{
    const auto arguments = std::make_shared<CPolicyArguments>();
    std::vector<COption> options;
    if (takesFile) {
        options.push_back(
            {.name = "FILE", .target = &arguments->file, .help = "The policy file", .required = true});
    }
    return {.name = name,
            .help = help,
            .options = WithPrinterOptions(std::move(options), arguments->printer),
            .run = [arguments, action](CHostEnvironment& environment, CConsole& console) {
                return action(*arguments, environment, console);
            }};
}

} // namespace

CCommand PolicyCommand()
{
    return {.name = "policy",
            .help = "Show and set how often an installed printer wants a password",
            .parts = {ActionCommand("show", "Say what the printer's policy demands", Show, false),
                      ActionCommand("set", "Make the printer use a policy file", Set, true),
                      ActionCommand("clear", "Take the printer's policy away", Clear, false)}};
}

} // namespace zrtmon::host
