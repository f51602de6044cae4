#include "host/printer/settings.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "host/text/text.h"
#include "simulator/nearest_name.h"

namespace zrtmon::host {
namespace {

/// The number that the text consists of, apart from surrounding white space.
std::optional<int> WholeNumber(std::string_view text)
{
    const std::string_view digits = Trimmed(text);
    int number = 0;
    const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isWhole = end.ec == std::errc() && end.ptr == digits.data() + digits.size();
    return isWhole ? std::optional<int>(number) : std::nullopt;
}

/// Removes the text up to the separator and returns it; all of the text if there is no separator.
std::string_view TakeUntil(std::string_view& text, char separator)
{
    const size_t end = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

std::optional<CSetting> ParseSetting(std::string_view text)
{
    CSetting setting{std::string(TakeUntil(text, '=')), 0, 0, 0, 0};
    for (int* number : {&setting.value, &setting.minimum, &setting.maximum, &setting.flag}) {
        const std::optional<int> parsed = WholeNumber(TakeUntil(text, ','));
        if (!parsed) {
            return std::nullopt;
        }
        *number = *parsed;
    }
    const bool isWhole = text.empty() && !setting.name.empty();
    return isWhole ? std::optional<CSetting>(setting) : std::nullopt;
}

/// "name=value", optionally followed by ',' and anything.
std::optional<CSettingChange> ParseChange(std::string_view text)
{
    if (text.find('=') == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view name = Trimmed(TakeUntil(text, '='));
    const std::optional<int> value = WholeNumber(TakeUntil(text, ','));
    if (name.empty() || !value) {
        return std::nullopt;
    }
    return CSettingChange{std::string(name), *value, {}};
}

std::string FieldText(const CSetting& setting, int value)
{
    return setting.name + '=' + std::to_string(value) + ',' + std::to_string(setting.minimum) + ',' +
           std::to_string(setting.maximum) + ',' + std::to_string(setting.flag);
}

std::string_view NearestSetting(std::span<const CSetting> settings, std::string_view name)
{
    std::vector<std::string_view> known;
    for (const CSetting& setting : settings) {
        known.push_back(setting.name);
    }
    return sim::Nearest(name, known);
}

/// What is wrong with a change; empty if nothing.
std::string ChangeProblem(std::span<const CSetting> settings, const CSettingChange& change)
{
    const auto setting = std::find_if(settings.begin(), settings.end(),
                                      [&](const CSetting& known) { return known.name == change.name; });
    if (setting == settings.end()) {
        return PrintableInput(change.name) + ": no such setting" +
               sim::DidYouMean(NearestSetting(settings, change.name));
    }
    if (change.value < setting->minimum || change.value > setting->maximum) {
        return change.name + '=' + std::to_string(change.value) + ": out of range, valid are " +
               std::to_string(setting->minimum) + " to " + std::to_string(setting->maximum);
    }
    return {};
}

void CheckChanges(std::span<const CSetting> settings, std::span<const CSettingChange> changes,
                  ExitStatus refusal)
{
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        std::string problem = ChangeProblem(settings, *change);
        const bool isRepeated = std::any_of(
            changes.begin(), change, [&](const CSettingChange& other) { return other.name == change->name; });
        if (problem.empty() && isRepeated) {
            problem = change->name + ": given twice";
        }
        if (!problem.empty()) {
            throw CHostError(refusal, (change->place.empty() ? "" : change->place + ": ") + problem);
        }
    }
}

} // namespace

std::vector<CSetting> ParseSettings(std::string_view answer)
{
    std::vector<CSetting> settings;
    while (!answer.empty()) {
        const std::string_view field = TakeUntil(answer, ';');
        const std::optional<CSetting> setting = ParseSetting(field);
        if (!setting) {
            throw CHostError(ExitStatus::PrinterError,
                             "unrecognised settings from the printer at \"" + PrintableUtf8(field) + '"');
        }
        settings.push_back(*setting);
    }
    if (settings.empty()) {
        throw CHostError(ExitStatus::PrinterError, "the printer reports no settings");
    }
    return settings;
}

std::string SettingsFileText(std::span<const CSetting> settings)
{
    std::string text = "# name=value,lowest,highest,flag\n";
    for (const CSetting& setting : settings) {
        text += FieldText(setting, setting.value) + '\n';
    }
    return text;
}

std::vector<CSettingChange> ReadSettingsFile(std::string_view text)
{
    std::vector<CSettingChange> changes;
    for (unsigned number = 1; !text.empty(); ++number) {
        const std::string_view line = Trimmed(TakeUntil(text, '\n'));
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        const std::string place = "line " + std::to_string(number);
        std::optional<CSettingChange> change = ParseChange(line);
        if (!change) {
            throw CHostError(ExitStatus::BadData, place + ": not name=value: \"" + PrintableUtf8(line) + '"');
        }
        change->place = place;
        changes.push_back(*change);
    }
    if (changes.empty()) {
        throw CHostError(ExitStatus::BadData, "contains no settings");
    }
    return changes;
}

CSettingChange ParseSettingChange(std::string_view argument)
{
    const std::optional<CSettingChange> change = ParseChange(argument);
    if (!change || argument.find(',') != std::string_view::npos) {
        throw CHostError(ExitStatus::Usage,
                         PrintableInput(argument) + ": not NAME=VALUE with a whole number");
    }
    return *change;
}

std::string ChangeText(std::span<const CSetting> settings, std::span<const CSettingChange> changes,
                       ExitStatus refusal)
{
    CheckChanges(settings, changes, refusal);
    std::string text;
    for (const CSetting& setting : settings) {
        for (const CSettingChange& change : changes) {
            if (change.name == setting.name) {
                text += FieldText(setting, change.value) + ';';
            }
        }
    }
    return text;
}

} // namespace zrtmon::host
