#include "requests/data_print_job_zrt.h"

#include <algorithm>
#include <cstring>

#include "link/command_prefix.h"

namespace zrtmon {

namespace {

constexpr uint8_t kRecordMarker = 0x8F;
constexpr uint32_t kRecordHeadSize = 2; // the marker and one byte more
constexpr uint32_t kRecordBodySize = 474;
constexpr uint32_t kCommandSize = 4; // prefix and letter
constexpr uint32_t kEndCommandSize = 5;
constexpr uint8_t kEndOfJob = 'Z';
constexpr uint32_t kMessageHeadSize = 7; // the last of these bytes tells how many follow

bool OpensWithPrefix(const uint8_t* data)
{
    return data[0] == CommandPrefix[0] && data[1] == CommandPrefix[1] && data[2] == CommandPrefix[2];
}

/// Where the next command may begin behind a byte that begins none, or where too few bytes are left to tell.
uint32_t SkipPlainBytes(const uint8_t* data, uint32_t length, uint32_t position)
{
    const uint32_t last = length - (kCommandSize - 1);
    const void* found = std::memchr(data + position, CommandPrefix[0], last - position);
    return found ? static_cast<uint32_t>(static_cast<const uint8_t*>(found) - data) : last;
}

} // namespace

CDataPrintJobZRT::CDataPrintJobZRT() : CDataPrintJob(&m_packetParser) {}

BOOL CDataPrintJobZRT::Prepare(const wchar_t* requestText)
{
    m_cardCount = 0;
    m_passedCardCount = 0;
    m_scanState = ScanState::CommandDue;
    m_packetParser.m_payloadLength = 0;
    return CDataPrintJob::Prepare(requestText);
}

uint32_t CDataPrintJobZRT::ScanCommands(const uint8_t* data, uint32_t length)
{
    uint32_t position = 0;
    while (position < length) {
        const Step step = ScanUnit(data, length, position);
        position = step.position;
        if (!step.goOn) {
            break;
        }
    }
    return position;
}

CDataPrintJobZRT::Step CDataPrintJobZRT::ScanUnit(const uint8_t* data, uint32_t length, uint32_t position)
{
    const uint32_t available = length - position;
    if (m_scanState == ScanState::RecordBody) {
        if (available < kRecordBodySize) {
            return {position, false};
        }
        m_scanState = ScanState::RecordMarkerDue;
        return {position + kRecordBodySize, true};
    }
    if (m_scanState == ScanState::RecordMarkerDue) {
        if (data[position] == kRecordMarker) {
            if (available < kRecordHeadSize) {
                return {position, false};
            }
            m_scanState = ScanState::RecordBody;
            return {position + kRecordHeadSize, true};
        }
        m_scanState = ScanState::CommandDue;
    }
    return ScanCommand(data, length, position);
}

CDataPrintJobZRT::Step CDataPrintJobZRT::ScanCommand(const uint8_t* data, uint32_t length, uint32_t position)
{
    const uint32_t available = length - position;
    const uint32_t payloadLength = m_packetParser.m_payloadLength; // as it was when this scan began
    if (payloadLength < kCommandSize) {
        return {position + std::min(payloadLength, available), true};
    }
    if (available < kCommandSize) {
        return {position, false};
    }
    if (!OpensWithPrefix(data + position)) {
        m_scanState = ScanState::CommandDue;
        return {SkipPlainBytes(data, length, position + 1), true};
    }
    switch (data[position + CommandPrefix.size()]) {
    case 'C':
        return ScanCard(data, length, position);
    case 'J':
        m_scanState = ScanState::AfterJobStart;
        return {position + kCommandSize, false};
    case 'X':
        return ScanEndOrOther(data, length, position);
    case 'j':
        m_cardSeen = true;
        m_cardCount = 0;
        m_passedCardCount = 0;
        m_scanState = ScanState::AfterCardEnd;
        return {position + kCommandSize, true};
    case 'm':
        return ScanMessage(data, length, position);
    default:
        m_scanState = ScanState::CommandDue;
        return {position + kCommandSize, true};
    }
}

CDataPrintJobZRT::Step CDataPrintJobZRT::ScanCard(const uint8_t* data, uint32_t length, uint32_t position)
{
    // Counted at every scan, also when the marker has not come yet and the command is scanned again.
    m_cardSeen = true;
    ++m_cardCount;
    const uint32_t first = position + kCommandSize;
    const void* marker = std::memchr(data + first, kRecordMarker, length - first);
    if (!marker) {
        return {position, false};
    }
    ++m_passedCardCount;
    m_scanState = ScanState::RecordMarkerDue;
    return {static_cast<uint32_t>(static_cast<const uint8_t*>(marker) - data), true};
}

CDataPrintJobZRT::Step CDataPrintJobZRT::ScanEndOrOther(const uint8_t* data, uint32_t length,
                                                        uint32_t position)
{
    if (length - position < kEndCommandSize) {
        return {position, false};
    }
    if (data[position + kCommandSize] == kEndOfJob) {
        m_scanState = ScanState::AfterJobEnd;
    }
    return {position + kEndCommandSize, true};
}

CDataPrintJobZRT::Step CDataPrintJobZRT::ScanMessage(const uint8_t* data, uint32_t length, uint32_t position)
{
    const uint32_t available = length - position;
    if (available < kMessageHeadSize) {
        return {position, false};
    }
    const uint32_t size = kMessageHeadSize + data[position + kMessageHeadSize - 1];
    if (available < size) {
        return {position, false};
    }
    return {position + size, true};
}

} // namespace zrtmon
