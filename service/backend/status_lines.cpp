#include "service/backend/status_lines.h"

#include <algorithm>

#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::backend {
namespace {

constexpr std::string_view kRibbonEmpty = "marker-supply-empty-error";
constexpr std::string_view kKeywords[] = {kConnecting, kPasswordNeeded, kOtherError, kRibbonEmpty};
/// CUPS cuts longer lines.
constexpr size_t kLongestText = 1000;
constexpr int kFullPercent = 100;

/// The categories that are not simply an error. docs/cups.md shows this table.
struct CCategoryState {
    int first;
    int last;
    std::string_view keyword;
};

constexpr CCategoryState kCategoryStates[] = {
    {host::kNoErrorCategory, host::kNoErrorCategory, {}},
    {6, 6, {}}, // the printer is at work
    {20, 26, kRibbonEmpty},
    {host::kPasswordCategory, host::kPasswordCategory, {}},
};

/// The text as one line.
std::string Line(const std::string& text)
{
    std::string line = host::PrintableUtf8(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::replace(line.begin(), line.end(), '\t', ' ');
    return line.substr(0, kLongestText);
}

/// The value of "Name=value" between ';'.
std::string_view Field(std::string_view answer, std::string_view name)
{
    while (!answer.empty()) {
        const std::string_view field = answer.substr(0, answer.find(';'));
        if (field.size() > name.size() && field.starts_with(name) && field[name.size()] == '=') {
            return field.substr(name.size() + 1);
        }
        answer.remove_prefix(std::min(field.size() + 1, answer.size()));
    }
    return {};
}

/// The letters and digits of a text from the printer, which then needs no quotes.
std::string Plain(std::string_view text)
{
    std::string plain;
    std::copy_if(text.begin(), text.end(), std::back_inserter(plain),
                 [](char c) { return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z'); });
    return plain;
}

} // namespace

std::string_view StateKeyword(int category)
{
    for (const CCategoryState& row : kCategoryStates) {
        if (category >= row.first && category <= row.last) {
            return row.keyword;
        }
    }
    return kOtherError;
}

std::string AllKeywords()
{
    std::string all;
    for (const std::string_view keyword : kKeywords) {
        all += (all.empty() ? "" : ",") + std::string(keyword);
    }
    return all;
}

CStatusLines::CStatusLines(CLineWriter write, std::string_view left) : m_write(std::move(write))
{
    while (!left.empty()) {
        const std::string_view word = left.substr(0, left.find(','));
        const auto* known = std::find(std::begin(kKeywords), std::end(kKeywords), word);
        if (known != std::end(kKeywords)) {
            m_keywords.insert(*known);
        }
        left.remove_prefix(std::min(word.size() + 1, left.size()));
    }
}

void CStatusLines::Set(const std::set<std::string_view>& keywords)
{
    for (const std::string_view keyword : m_keywords) {
        if (!keywords.contains(keyword)) {
            m_write("STATE: -" + std::string(keyword));
        }
    }
    for (const std::string_view keyword : keywords) {
        if (!m_keywords.contains(keyword)) {
            m_write("STATE: +" + std::string(keyword));
        }
    }
    m_keywords = keywords;
}

void CStatusLines::Info(const std::string& text)
{
    if (text != m_text) {
        m_text = text;
        m_write("INFO: " + Line(text));
    }
}

void CStatusLines::Error(const std::string& text) { m_write("ERROR: " + Line(text)); }

void CStatusLines::Cards(int cards)
{
    while (m_cards < cards) {
        m_write("PAGE: " + std::to_string(++m_cards) + " 1");
    }
}

void CStatusLines::Ribbon(std::string_view answer)
{
    const std::optional<int> percent = host::LeadingNumber(Field(answer, "PercentRemaining"));
    if (!percent || *percent < 0 || *percent > kFullPercent) {
        return;
    }
    const std::string type = Plain(Field(answer, "Type"));
    m_write("ATTR: marker-types=ribbon marker-colors=none marker-names='Ribbon" +
            (type.empty() ? type : ' ' + type) + "' marker-levels=" + std::to_string(*percent));
}

} // namespace zrtmon::backend
