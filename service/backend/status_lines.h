/// The lines by which a backend talks to CUPS: "STATE: +keyword", "ATTR: name=value", "PAGE: 1 1", "INFO:
/// text".
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace zrtmon::backend {

inline constexpr std::string_view kConnecting = "connecting-to-device";
inline constexpr std::string_view kPasswordNeeded = "org.zrtmon.password-needed-report";
inline constexpr std::string_view kOtherError = "other-error";

/// CUPS's keyword for the category of the error that holds a job; empty if it has none. The password's
/// category has none here: a job that waits at the gate may be released by the policy, without anyone typing
/// a password.
std::string_view StateKeyword(int category);

/// Every keyword that this program sets, separated by ','.
std::string AllKeywords();

/// Writes the lines. Every keyword that was set is cleared with the object, or it would stay on the printer.
class CStatusLines {
public:
    /// Takes one line, without its end.
    using CLineWriter = std::function<void(const std::string& line)>;

    /// left: the printer's keywords as PRINTER_STATE_REASONS gives them, separated by ','. Those of this
    /// program are from a backend that was killed, and are cleared with the first Set.
    explicit CStatusLines(CLineWriter write, std::string_view left = {});
    ~CStatusLines() { Set({}); }
    CStatusLines(const CStatusLines&) = delete;
    CStatusLines& operator=(const CStatusLines&) = delete;

    /// Makes these keywords the printer's; nothing is written for those that are already.
    void Set(const std::set<std::string_view>& keywords);
    /// What the printer does, for people. A repetition of the last text is not written.
    void Info(const std::string& text);
    /// Why the job is held.
    void Error(const std::string& text);
    /// One line for each card from the last number to this one.
    void Cards(int cards);
    /// Level and kind of the ribbon, from the answer to "RibbonInfo". Nothing without a level.
    void Ribbon(std::string_view answer);

private:
    const CLineWriter m_write;
    std::set<std::string_view> m_keywords;
    std::string m_text;
    int m_cards = 0;
};

} // namespace zrtmon::backend
