#include "requests/data_send_command.h"

#include <cwchar>
#include <new>
#include <span>

#include "link/command_prefix.h"
#include "requests/decimal.h"

namespace zrtmon {

namespace {

constexpr wchar_t kParameterSeparator = L'/';
constexpr size_t kLongestNumber = 31;

constexpr auto kTrt = MakeCommand("TRT");
constexpr auto kTct = MakeCommand("TCT");
constexpr auto kTlt = MakeCommand("TLT");

struct UtilityCommandRow {
    int number;
    std::span<const uint8_t> command;
    uint32_t delayMs; ///< 0: the default
};
// The printer accepts nothing for ten seconds after the last one.
constexpr UtilityCommandRow kUtilityCommands[] = {{1, kTrt, 0}, {2, kTct, 0}, {9, kTlt, 10000}};

} // namespace

BOOL CDataSendCommand::Prepare(const wchar_t* requestText)
{
    const wchar_t* separator = std::wcschr(requestText, kParameterSeparator);
    if (!separator) {
        return FALSE;
    }
    try {
        m_parameters = separator + 1;
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
    return TRUE;
}

uint32_t CDataSendCommand::GetSendDelay() { return m_timeout ? m_timeout : kDefaultSendDelayMs; }

const uint8_t* CDataSendCommand::GetCommand(uint32_t* length)
{
    m_timeout = 0;
    const int number = GetParameter(0);
    for (const UtilityCommandRow& row : kUtilityCommands) {
        if (row.number == number) {
            m_timeout = row.delayMs;
            return CommandBytes(row.command, length);
        }
    }
    return CommandBytes({}, length);
}

int CDataSendCommand::GetParameter(uint32_t index)
{
    std::wstring_view rest = m_parameters;
    for (; index > 0; --index) {
        const size_t separator = rest.find(kParameterSeparator);
        if (separator == std::wstring_view::npos) {
            return -1;
        }
        rest.remove_prefix(separator + 1);
    }
    rest = rest.substr(0, rest.find(kParameterSeparator));
    return DecimalValue(rest.substr(0, kLongestNumber));
}

int CDataSendCommand::WholeNumber() const { return DecimalValue(std::wstring_view(m_parameters)); }

} // namespace zrtmon
