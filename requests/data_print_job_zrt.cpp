#include "requests/data_print_job_zrt.h"

#include <algorithm>
#include <cstring>

#include "link/command_prefix.h"

namespace zrtmon {

namespace {

constexpr uint8_t kRecordMarker = 0x8F;
constexpr uint32_t kRecordHeadSize = 2; // the marker and one more byte
constexpr uint32_t kRecordBodySize = 474;
constexpr uint32_t kRecordSize = kRecordHeadSize + kRecordBodySize;
constexpr uint32_t kCommandSize = 4; // prefix and letter
constexpr uint32_t kEndCommandSize = 5;
constexpr uint8_t kEndOfJob = 'Z';
constexpr uint32_t kMessageHeadSize = 7; // its last byte is the number of bytes that follow

/// Where the last of the complete records that begin here, back to back, ends.
uint32_t SkipRecords(const uint8_t* data, uint32_t length, uint32_t position)
{
    while (length - position >= kRecordSize && data[position] == kRecordMarker) {
        position += kRecordSize;
    }
    return position;
}

} // namespace

CDataPrintJobZRT::CDataPrintJobZRT() : CDataPrintJob(&m_packetParser) {}

BOOL CDataPrintJobZRT::Prepare(const wchar_t* requestText)
{
    m_cardCount = 0;
    m_releasedCardCommandCount = 0;
    m_scanState = ScanState::CommandDue;
    m_packetParser.m_payloadLength = 0;
    return CDataPrintJob::Prepare(requestText);
}

uint32_t CDataPrintJobZRT::ScanCommands(const uint8_t* data, uint32_t length)
{
    if (length == 0) {
        return 0;
    }
    Piece piece{data, length, m_packetParser.m_payloadLength};
    const uint32_t recordRest = RecordRest(piece);
    uint32_t position = 0;
    while (position < piece.length) {
        const uint32_t next = ScanUnit(piece, position);
        if (next == position) {
            break;
        }
        position = next;
    }
    SetUnitRest(recordRest <= position ? recordRest : 0);
    return position;
}

/// The bytes at the start of a piece that complete a record. The parameters of a "C" command end only with
/// the marker of the first record, so that record counts as begun.
uint32_t CDataPrintJobZRT::RecordRest(const Piece& piece) const
{
    if (m_scanState == ScanState::RecordBody) {
        return kRecordBodySize;
    }
    const bool isFirst = m_scanState == ScanState::RecordMarkerDue && m_isFirstRecordDue;
    return isFirst && piece.data[0] == kRecordMarker ? kRecordSize : 0;
}

uint32_t CDataPrintJobZRT::ScanUnit(Piece& piece, uint32_t position)
{
    if (m_scanState == ScanState::RecordBody) {
        if (piece.length - position < kRecordBodySize) {
            return position;
        }
        m_scanState = ScanState::RecordMarkerDue;
        return position + kRecordBodySize;
    }
    if (m_scanState == ScanState::RecordMarkerDue) {
        const uint32_t past = SkipRecords(piece.data, piece.length, position);
        if (past > position) {
            m_isFirstRecordDue = false;
            return past;
        }
        if (piece.data[position] == kRecordMarker) {
            if (piece.length - position < kRecordHeadSize) {
                return position;
            }
            m_isFirstRecordDue = false;
            m_scanState = ScanState::RecordBody;
            return position + kRecordHeadSize;
        }
        m_scanState = ScanState::CommandDue;
    }
    return ScanCommand(piece, position);
}

uint32_t CDataPrintJobZRT::ScanCommand(Piece& piece, uint32_t position)
{
    const uint32_t available = piece.length - position;
    if (piece.packetLeft < kCommandSize) {
        return position + std::min(piece.packetLeft, available);
    }
    if (available < kCommandSize) {
        return position;
    }
    if (!OpensWithPrefix(piece.data + position)) {
        m_scanState = ScanState::CommandDue;
        return FindPrefix(piece.data, position + 1, piece.length - (kCommandSize - 1));
    }
    switch (piece.data[position + CommandPrefix.size()]) {
    case 'C':
        return ScanCard(piece, position);
    case 'J':
        m_scanState = ScanState::AfterJobStart;
        piece.length = position + kCommandSize; // what follows is sent as a separate piece
        return piece.length;
    case 'X':
        return ScanEndOrOther(piece, position);
    case 'j':
        MarkCardSeen();
        m_cardCount = 0;
        m_releasedCardCommandCount = 0;
        m_scanState = ScanState::AfterCardEnd;
        return position + kCommandSize;
    case 'm':
        return ScanMessage(piece, position);
    default:
        m_scanState = ScanState::CommandDue;
        return position + kCommandSize;
    }
}

uint32_t CDataPrintJobZRT::ScanCard(const Piece& piece, uint32_t position)
{
    // Counted at every scan, even if the marker has not arrived and the command will be scanned again.
    MarkCardSeen();
    ++m_cardCount;
    const uint32_t first = position + kCommandSize;
    const void* marker = std::memchr(piece.data + first, kRecordMarker, piece.length - first);
    if (!marker) {
        return position;
    }
    ++m_releasedCardCommandCount;
    m_isFirstRecordDue = true;
    m_scanState = ScanState::RecordMarkerDue;
    return static_cast<uint32_t>(static_cast<const uint8_t*>(marker) - piece.data);
}

uint32_t CDataPrintJobZRT::ScanEndOrOther(const Piece& piece, uint32_t position)
{
    if (piece.length - position < kEndCommandSize) {
        return position;
    }
    if (piece.data[position + kCommandSize] == kEndOfJob) {
        m_scanState = ScanState::AfterJobEnd;
    }
    return position + kEndCommandSize;
}

uint32_t CDataPrintJobZRT::ScanMessage(const Piece& piece, uint32_t position)
{
    const uint32_t available = piece.length - position;
    if (available < kMessageHeadSize) {
        return position;
    }
    const uint32_t size = kMessageHeadSize + piece.data[position + kMessageHeadSize - 1];
    if (available < size) {
        return position;
    }
    return position + size;
}

} // namespace zrtmon
