#include "simulator/printer_options.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <variant>
#include <vector>

#include "simulator/nearest_name.h"

namespace zrtmon::sim {

namespace {

constexpr uint32_t kAnyNumber = UINT32_MAX;
constexpr std::wstring_view kPrinterPrefix = L"sim:";
constexpr std::wstring_view kFilePrefix = L"file:";
constexpr uint32_t kLongestMs = 24 * 60 * 60 * 1000;

struct NumberOption {
    uint32_t PrinterOptions::*member;
    uint32_t maximum;
};
using SwitchOption = bool PrinterOptions::*;
using TextOption = std::string PrinterOptions::*;
using InterleaveOption = Interleave PrinterOptions::*;

constexpr std::string_view kInterleaveNames[] = {"packets", "security", "commands"}; ///< by value

struct OptionRow {
    std::string_view name;
    std::variant<NumberOption, SwitchOption, TextOption, InterleaveOption> target;
    const char* meaning;
};

using P = PrinterOptions;
constexpr OptionRow kOptions[] = {
    {"cards", NumberOption{&P::cardCount, kAnyNumber}, "cards printed in its life so far"},
    {"card-ms", NumberOption{&P::cardMs, kLongestMs}, "time to print a card, in milliseconds"},
    {"buffer-cards", NumberOption{&P::bufferCards, kAnyNumber},
     "busy while a card prints and this many more have been received"},
    {"reply-ms", NumberOption{&P::replyMs, kLongestMs}, "from a command to its reply, in milliseconds"},
    {"error", NumberOption{&P::error, INT32_MAX}, "error code that it reports; 0 is none"},
    {"error-at-card", NumberOption{&P::errorAtCard, kAnyNumber},
     "the error comes when that card is due, 1 being the first; 0: at once"},
    {"clear-ms", NumberOption{&P::clearMs, kLongestMs},
     "the error clears automatically after this many milliseconds; 0: it stays"},
    {"mag", SwitchOption{&P::magModule}, "magnetic-stripe encoder fitted"},
    {"flipper", SwitchOption{&P::flipperModule}, "card flipper fitted"},
    {"firmware", TextOption{&P::firmware}, "firmware version"},
    {"serial", TextOption{&P::serial}, "serial number in the device ID"},
    {"model", TextOption{&P::model}, "model name in the device ID"},
    {"ribbon", NumberOption{&P::ribbonPercent, 100}, "ribbon that is left, in percent"},
    {"ribbon-cards", NumberOption{&P::ribbonCards, kAnyNumber}, "cards that a whole ribbon prints"},
    {"track1", TextOption{&P::track1}, "track 1 of the card last read"},
    {"track2", TextOption{&P::track2}, "track 2"},
    {"track3", TextOption{&P::track3}, "track 3"},
    {"bay1-station", NumberOption{&P::bay1Station, kAnyNumber}, "station code of bay 1"},
    {"bay1-state", NumberOption{&P::bay1State, kAnyNumber}, "state code of bay 1"},
    {"bay2-station", NumberOption{&P::bay2Station, kAnyNumber}, "station code of bay 2"},
    {"bay2-state", NumberOption{&P::bay2State, kAnyNumber}, "state code of bay 2"},
    {"protected", SwitchOption{&P::protection}, "password protection on"},
    {"admin-password", TextOption{&P::adminPassword}, "administrator's password; empty: the factory's"},
    {"user-password", TextOption{&P::userPassword}, "user's password; empty: the factory's"},
    {"oem", SwitchOption{&P::oemSupplies}, "OEM supplies accepted"},
    {"seed", NumberOption{&P::seed, kAnyNumber}, "of the challenges; a seed always gives the same ones"},
    {"never-answer", SwitchOption{&P::neverAnswer}, "replies to no command"},
    {"noise", TextOption{&P::noise}, "text that precedes every reply"},
    {"cut-replies", NumberOption{&P::cutReplies, kAnyNumber},
     "replies come in pieces of this many bytes; 0: whole"},
    {"cut-ms", NumberOption{&P::cutMs, kLongestMs}, "between two such pieces, in milliseconds"},
    {"interleave", InterleaveOption{&P::interleave},
     "host commands accepted between packets only, inside them the password gate's too, or all"},
    {"write-limit", NumberOption{&P::writeLimit, kAnyNumber},
     "the port takes at most this many bytes of a write; 0: all"},
};

struct FormOf {
    std::string operator()(const NumberOption&) const { return "N"; }
    std::string operator()(SwitchOption) const { return "0|1"; }
    std::string operator()(TextOption) const { return "TEXT"; }
    std::string operator()(InterleaveOption) const
    {
        std::string form;
        for (const std::string_view name : kInterleaveNames) {
            form.append(form.empty() ? "" : "|").append(name);
        }
        return form;
    }
};

struct TextOf {
    const PrinterOptions& options;
    std::string operator()(const NumberOption& number) const
    {
        return std::to_string(options.*number.member);
    }
    std::string operator()(SwitchOption member) const { return options.*member ? "1" : "0"; }
    std::string operator()(TextOption member) const { return options.*member; }
    std::string operator()(InterleaveOption member) const
    {
        return std::string(kInterleaveNames[static_cast<size_t>(options.*member)]);
    }
};

/// Stores a value; returns what it would have to be, empty if it was right.
struct Assign {
    PrinterOptions& options;
    std::string_view value;

    std::string operator()(const NumberOption& number) const
    {
        uint32_t parsed = 0;
        const char* const end = value.data() + value.size();
        const auto result = std::from_chars(value.data(), end, parsed);
        if (result.ec != std::errc() || result.ptr != end || parsed > number.maximum) {
            return "a whole number from 0 to " + std::to_string(number.maximum);
        }
        options.*number.member = parsed;
        return {};
    }
    std::string operator()(SwitchOption member) const
    {
        if (value != "0" && value != "1") {
            return "0 or 1";
        }
        options.*member = value == "1";
        return {};
    }
    std::string operator()(TextOption member) const
    {
        options.*member = value;
        return {};
    }
    std::string operator()(InterleaveOption member) const
    {
        const auto name = std::ranges::find(kInterleaveNames, value);
        if (name == std::end(kInterleaveNames)) {
            return FormOf{}(member);
        }
        options.*member = static_cast<Interleave>(name - std::begin(kInterleaveNames));
        return {};
    }
};

std::string NameHint(std::string_view name)
{
    std::vector<std::string_view> known;
    std::string all;
    for (const OptionRow& row : kOptions) {
        known.push_back(row.name);
        all += (all.empty() ? "" : ", ") + std::string(row.name);
    }
    const std::string hint = DidYouMean(Nearest(name, known));
    return hint.empty() ? "; known are " + all : hint;
}

std::string Quoted(std::string_view text)
{
    std::string quoted = "'";
    quoted.append(text).append("'");
    return quoted;
}

/// Stores one "name=value"; returns what is wrong with it, empty if nothing is.
std::string TakeOption(std::string_view text, PrinterOptions& options)
{
    const size_t equals = text.find('=');
    const std::string_view name = text.substr(0, equals);
    const auto row = std::find_if(std::begin(kOptions), std::end(kOptions),
                                  [&](const OptionRow& r) { return r.name == name; });
    if (row == std::end(kOptions)) {
        return "unknown printer option " + Quoted(name) + NameHint(name);
    }
    if (equals == std::string_view::npos) {
        return "the printer option " + Quoted(name) + " lacks its value; write " + std::string(name) + "=" +
               std::visit(FormOf{}, row->target);
    }
    const std::string_view value = text.substr(equals + 1);
    const std::string wanted = std::visit(Assign{options, value}, row->target);
    return wanted.empty()
               ? wanted
               : "the printer option " + Quoted(name) + " wants " + wanted + ", not " + Quoted(value);
}

/// The part after a prefix such as "sim:", matched case-insensitively; std::nullopt without it.
std::optional<std::wstring_view> AfterPrefix(std::wstring_view text, std::wstring_view prefix)
{
    const auto same = [](wchar_t given, wchar_t lower) {
        return given == lower || (given >= L'A' && given <= L'Z' && given - L'A' + L'a' == lower);
    };
    if (text.size() < prefix.size() || !std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                   [&](wchar_t p, wchar_t t) { return same(t, p); })) {
        return std::nullopt;
    }
    return text.substr(prefix.size());
}

std::optional<PortName> ParsePrinterPort(std::wstring_view optionText, std::string* problem)
{
    std::string narrow;
    for (const wchar_t c : optionText) {
        if (c < L' ' || c > L'~') {
            *problem = "the printer options hold a character that is not ASCII, after " + Quoted(narrow);
            return std::nullopt;
        }
        narrow.push_back(static_cast<char>(c));
    }
    std::optional<PrinterOptions> options = ParsePrinterOptions(narrow, problem);
    if (!options) {
        return std::nullopt;
    }
    return PortName{.kind = PortName::Kind::Printer, .options = *options, .filePath = {}};
}

} // namespace

std::vector<OptionHelp> PrinterOptionHelp()
{
    const PrinterOptions defaults;
    std::vector<OptionHelp> help;
    for (const OptionRow& row : kOptions) {
        help.push_back({.name = std::string(row.name),
                        .form = std::visit(FormOf{}, row.target),
                        .meaning = row.meaning,
                        .defaultValue = std::visit(TextOf{defaults}, row.target)});
    }
    return help;
}

std::optional<PrinterOptions> ParsePrinterOptions(std::string_view text, std::string* problem)
{
    PrinterOptions options;
    while (!text.empty()) {
        const size_t comma = text.find(',');
        *problem = TakeOption(text.substr(0, comma), options);
        if (!problem->empty()) {
            return std::nullopt;
        }
        text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
    }
    return options;
}

bool HasKnownKind(std::wstring_view text)
{
    return AfterPrefix(text, kPrinterPrefix) || AfterPrefix(text, kFilePrefix);
}

std::optional<PortName> ParsePortName(std::wstring_view text, std::string* problem)
{
    if (const auto options = AfterPrefix(text, kPrinterPrefix)) {
        return ParsePrinterPort(*options, problem);
    }
    const auto path = AfterPrefix(text, kFilePrefix);
    if (!path) {
        *problem = "the port is neither sim: nor file:; write sim:, sim:OPTION=VALUE,... or file:PATH";
        return std::nullopt;
    }
    if (path->empty()) {
        *problem = "the port file: lacks its path; write file:PATH";
        return std::nullopt;
    }
    return PortName{.kind = PortName::Kind::File, .options = {}, .filePath = std::wstring(*path)};
}

} // namespace zrtmon::sim
