#include "requests/data_station_status.h"

#include <iterator>

#include "link/command_prefix.h"
#include "requests/decimal.h"

namespace zrtmon {

namespace {

constexpr auto kBay1Command = MakeCommand("NB");
constexpr auto kBay2Command = MakeCommand("NC");
constexpr std::string_view kBay1Prefix = "Bay1:";
constexpr std::string_view kBay2Prefix = "Bay2:";
constexpr const char* kNotInThisBay = "-1";

/// The code that a bay reports for a station, by station number; empty: no bay ever holds it.
constexpr std::string_view kStationCodes[] = {"", "", "4", "1", "3", "2"};

struct StateCode {
    std::string_view code;
    int number;
};
constexpr StateCode kStateCodes[] = {{"0", -1}, {"1", 0}, {"2", 1}, {"3", 2},  {"4", 2},  {"5", 4},  {"6", 3},
                                     {"7", 5},  {"8", 6}, {"9", 9}, {"10", 8}, {"11", 7}, {"12", 10}};

/// The number of a state; a code that is not in the table is reported as received.
std::string StateText(const std::string& code)
{
    for (const StateCode& row : kStateCodes) {
        if (row.code == code) {
            return DecimalText(row.number);
        }
    }
    return code;
}

} // namespace

const uint8_t* CDataStationStatus::GetCommand(uint32_t* length) { return CommandBytes(kBay1Command, length); }

BOOL CDataStationStatus::Prepare(const wchar_t* requestText)
{
    const BOOL own = CDataSendCommand::Prepare(requestText);
    const BOOL rest = !GetNext() || GetNext()->Prepare(requestText);
    return own && rest;
}

void CDataStationStatus::DropPrefix(std::string_view prefix)
{
    if (m_text.find(prefix) != std::string::npos) {
        m_text.erase(0, prefix.size());
    }
}

BOOL CDataStationStatus::Parse()
{
    DropPrefix(kBay1Prefix);
    const size_t comma = m_text.find(',');
    if (comma == std::string::npos) {
        return FALSE;
    }
    const int station = WholeNumber();
    const bool isListed = station >= 0 && station < static_cast<int>(std::size(kStationCodes));
    const std::string_view expected = isListed ? kStationCodes[station] : std::string_view();
    if (expected.empty() || std::string_view(m_text).substr(0, comma) != expected) {
        m_text = kNotInThisBay;
        return isListed;
    }
    m_text.erase(0, comma + 1);
    CutTextAt(';');
    m_text = StateText(m_text);
    return TRUE;
}

const uint8_t* CDataStationStatusBay2::GetCommand(uint32_t* length)
{
    return CommandBytes(kBay2Command, length);
}

BOOL CDataStationStatusBay2::Parse()
{
    DropPrefix(kBay2Prefix);
    if (!CDataStationStatus::Parse()) { // which also drops "Bay1:"
        return FALSE;
    }
    if (m_text == kNotInThisBay) {
        ClearText();
    } else {
        m_bay1->ClearText();
    }
    return TRUE;
}

} // namespace zrtmon
