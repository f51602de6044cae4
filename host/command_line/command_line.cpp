// The only source that includes the parser's headers: they take seconds to compile.
#include "host/command_line/command_line.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "host/text/text.h"
#include "simulator/nearest_name.h"

namespace zrtmon::host {
namespace {

bool IsNamed(const COption& option) { return option.name.starts_with("--"); }

bool IsList(const COption& option)
{
    return std::holds_alternative<std::vector<std::string>*>(option.target);
}

bool IsFlag(const COption& option) { return std::holds_alternative<bool*>(option.target); }

/// A default as the help shows it; empty for none.
struct CDefaultText {
    std::string operator()(const bool*) const { return {}; }
    std::string operator()(const uint32_t* number) const { return std::to_string(*number); }
    std::string operator()(const uint64_t* number) const { return std::to_string(*number); }
    std::string operator()(const std::string* text) const { return *text; }
    std::string operator()(const std::vector<std::string>*) const { return {}; }
};

/// "from 1 to 16", empty for any number.
std::string RangeText(const COption& option)
{
    if (option.most >= UINT32_MAX) {
        return {};
    }
    return "from " + std::to_string(option.least) + " to " + std::to_string(option.most);
}

std::string OptionHelp(const COption& option)
{
    const std::string defaultText = std::visit(CDefaultText{}, option.target);
    std::string notes = RangeText(option);
    if (option.required && IsNamed(option)) {
        notes += (notes.empty() ? "" : ", ") + std::string("required");
    } else if (!defaultText.empty()) {
        notes += (notes.empty() ? "" : ", ") + ("default " + defaultText);
    }
    return option.help + (notes.empty() ? "" : " (" + notes + ')');
}

std::string Usage(const CCommand& command, const std::string& path)
{
    std::string usage = "Usage: " + path + " [OPTIONS]";
    for (const COption& option : command.options) {
        if (!IsNamed(option)) {
            const std::string name = option.name + (IsList(option) ? "..." : "");
            usage += option.required ? ' ' + name : " [" + name + ']';
        }
    }
    return usage + (command.parts.empty() ? "\n" : " COMMAND\n");
}

class CHelpFormat final : public CLI::Formatter {
public:
    explicit CHelpFormat(std::string usage) : m_usage(std::move(usage)) { label("Positionals", "Arguments"); }

    std::string make_usage(const CLI::App*, std::string) const override { return m_usage; }

private:
    std::string m_usage;
};

void AddOption(CLI::App& app, const COption& option)
{
    if (IsFlag(option)) {
        app.add_flag_callback(
            option.name, [] {}, option.help);
        return;
    }
    CLI::Option* added = app.add_option(option.name, CLI::callback_t(), OptionHelp(option));
    added->option_text(option.form.empty() && IsList(option) ? "..." : option.form);
    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (IsList(option)) {
        added->expected(-1);
    }
    if (IsList(option) && IsNamed(option)) {
        added->delimiter(',')->allow_extra_args(false);
    }
}

/// path: the command with those that it is part of, "zrtctl settings".
void Fill(CLI::App& app, const CCommand& command, const std::string& path)
{
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.formatter(std::make_shared<CHelpFormat>(Usage(command, path)));
    app.group("Commands");
    app.footer(command.footer);
    app.allow_extras();
    app.require_subcommand(0, 1);
    for (const COption& option : command.options) {
        AddOption(app, option);
    }
    for (const CCommand& part : command.parts) {
        Fill(*app.add_subcommand(part.name, part.help), part, path + ' ' + part.name);
    }
}

/// Stores the arguments given for an option.
struct CStore {
    const COption& option;
    const std::vector<std::string>& given;

    void operator()(bool* flag) const { *flag = !*flag; }
    void operator()(uint32_t* number) const { *number = static_cast<uint32_t>(Number()); }
    void operator()(uint64_t* number) const { *number = Number(); }
    void operator()(std::string* text) const { *text = given.front(); }
    void operator()(std::vector<std::string>* list) const { *list = given; }

    uint64_t Number() const
    {
        uint64_t number = 0;
        const std::string& text = given.front();
        const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
        const bool isWhole = end.ec == std::errc() && end.ptr == text.data() + text.size();
        if (!isWhole || number < option.least || number > option.most) {
            throw CHostError(ExitStatus::Usage,
                             option.name + ": \"" + PrintableInput(text) + "\" is not a whole number from " +
                                 std::to_string(option.least) + " to " + std::to_string(option.most));
        }
        return number;
    }
};

/// What is left of a command line once the parser has sorted its words.
class CLineReader {
public:
    /// The command of this part of the line or of the parts within it, with its values stored.
    const CCommand& Read(const CLI::App& app, const CCommand& command)
    {
        m_path += (m_path.empty() ? "" : " ") + command.name;
        RefuseExtras(app, command);
        for (const COption& option : command.options) {
            Store(*app.get_option(option.name), option);
        }
        if (command.parts.empty()) {
            return command;
        }
        const std::vector<CLI::App*> parts = app.get_subcommands();
        if (parts.empty()) {
            Refuse("a command is required after " + m_path);
        }
        const auto part = std::ranges::find(command.parts, parts.front()->get_name(), &CCommand::name);
        return Read(*parts.front(), *part);
    }

private:
    [[noreturn]] void Refuse(const std::string& problem) const
    {
        throw CHostError(ExitStatus::Usage, problem + "; see " + m_path + " --help");
    }

    void RefuseExtras(const CLI::App& app, const CCommand& command) const
    {
        const std::vector<std::string> extras = app.remaining();
        if (extras.empty()) {
            return;
        }
        const std::string name = extras.front().substr(0, extras.front().find('='));
        const bool isOption = name.starts_with('-');
        std::vector<std::string_view> known;
        for (const COption& option : command.options) {
            known.push_back(option.name);
        }
        for (const CCommand& part : command.parts) {
            known.push_back(part.name);
        }
        const std::string_view nearest = sim::Nearest(name, known);
        if (command.hidesExtraArguments && nearest.empty()) {
            Refuse("unexpected argument (not shown); type the password at the prompt or pipe it to standard "
                   "input");
        }
        const char* const kind = isOption                ? ": no such option"
                                 : command.parts.empty() ? ": unexpected argument"
                                                         : ": no such command";
        if (!nearest.empty()) {
            throw CHostError(ExitStatus::Usage, PrintableInput(name) + kind + sim::DidYouMean(nearest));
        }
        Refuse(PrintableInput(name) + kind);
    }

    void Store(const CLI::Option& parsed, const COption& option) const
    {
        if (parsed.count() == 0) {
            if (option.required) {
                Refuse(option.name + " is required");
            }
            return;
        }
        if (parsed.count() > 1 && !IsList(option) && !IsFlag(option)) {
            Refuse(option.name + " is given twice");
        }
        if (IsFlag(option) && parsed.results() != std::vector<std::string>(parsed.count(), "true")) {
            Refuse(option.name + " takes no value");
        }
        if (!option.form.empty() && parsed.results().front().empty()) {
            Refuse(option.name + " needs a value");
        }
        std::visit(CStore{option, parsed.results()}, option.target);
    }

    std::string m_path; ///< words of the commands up to here
};

/// One line for a complaint that may have several.
std::string OneLine(std::string text)
{
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// The parser's words for an option whose value is missing are those of a library: "1 required PORT missing".
std::string Complaint(const CLI::ParseError& error)
{
    const std::string text = error.what();
    const size_t nameEnd = text.find(": ");
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) && nameEnd != std::string::npos) {
        return text.substr(0, nameEnd) + " needs a value";
    }
    return OneLine(text);
}

} // namespace

CParsedLine ParseCommandLine(const CCommand& program, const std::string& version, int argc,
                             const char* const* argv)
{
    CLI::App app(program.help, program.name);
    Fill(app, program, program.name);
    app.set_version_flag("--version", version, "Print the version and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForVersion& call) {
        return {nullptr, std::string(call.what()) + '\n'};
    } catch (const CLI::Success&) {
        return {nullptr, app.help()};
    } catch (const CLI::ParseError& error) {
        throw CHostError(ExitStatus::Usage,
                         PrintableInput(Complaint(error)) + "; see " + program.name + " --help");
    }
    return {&CLineReader().Read(app, program)};
}

} // namespace zrtmon::host
