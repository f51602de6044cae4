#include "requests/data_print_job.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

namespace zrtmon {

const uint8_t* CDataPrintJob::GetCommand(uint32_t* length)
{
    *length = m_pendingLength;
    return m_pending;
}

BOOL CDataPrintJob::Prepare(const wchar_t* requestText)
{
    m_pending = nullptr;
    m_pendingLength = 0;
    m_heldStart = 0;
    m_unitRest = 0;
    m_bufferedLength = 0;
    m_accepted = 0;
    m_packetState = Framing::Unknown;
    m_cardSeen = false;
    m_sentAtBoundary = true;
    return CData::Prepare(requestText);
}

void CDataPrintJob::SetSentLength(uint32_t count)
{
    m_sentLength = std::min(count, m_pendingLength);
    m_pending += m_sentLength;
    m_pendingLength -= m_sentLength;
    m_unitRest -= std::min(m_unitRest, m_sentLength);
    if (m_sentLength > 0) {
        m_sentAtBoundary.store(m_pendingLength == 0 && IsPacketDone() && IsBetweenCards(),
                               std::memory_order_release);
    }
}

BOOL CDataPrintJob::SetReply(const char* data, uint32_t length)
{
    if (m_pendingLength > 0 || m_accepted > 0) {
        return TRUE;
    }
    m_sentLength = 0;
    const auto* bytes = reinterpret_cast<const uint8_t*>(data);
    if (m_bufferedLength == 0) {
        TakeFromCaller(bytes, length);
    } else {
        TakeAfterHeldBytes(bytes, length);
    }
    return TRUE;
}

void CDataPrintJob::TakeFromCaller(const uint8_t* data, uint32_t length)
{
    m_heldStart = 0;
    const uint32_t forwarded = FilterData(data, length);
    if (forwarded > 0) {
        m_pending = data;
        m_pendingLength = forwarded;
        m_accepted = forwarded;
        return;
    }
    m_bufferedLength = std::min(length, kBufferSize);
    std::copy_n(data, m_bufferedLength, m_buffer);
    m_accepted = m_bufferedLength;
}

void CDataPrintJob::TakeAfterHeldBytes(const uint8_t* data, uint32_t length)
{
    if (m_heldStart > 0) {
        std::memmove(m_buffer, m_buffer + m_heldStart, m_bufferedLength);
        m_heldStart = 0;
    }
    const uint32_t held = m_bufferedLength;
    const uint32_t added = std::min(kBufferSize - held, length);
    std::copy_n(data, added, m_buffer + held);
    const uint32_t forwarded = FilterData(m_buffer, held + added);
    if (forwarded == 0) {
        // A full buffer without one complete unit is not job data of this printer family: what follows is
        // accepted and dropped, so that the spooler does not keep offering it.
        m_accepted = held < kBufferSize ? added : length;
        m_bufferedLength = held + added;
        return;
    }
    m_pending = m_buffer;
    m_pendingLength = forwarded;
    if (forwarded >= held) {
        m_accepted = forwarded - held;
        m_bufferedLength = 0;
        return;
    }
    // Fewer bytes may be sent than were held: the rest stays held, and none of the caller's bytes are
    // accepted.
    m_heldStart = forwarded;
    m_bufferedLength = held - forwarded;
}

bool CDataPrintJob::IsPendingHeldHere() const
{
    return m_pendingLength > 0 && !std::less<>{}(m_pending, m_buffer) &&
           std::less<>{}(m_pending, m_buffer + kBufferSize);
}

void CDataPrintJob::Reoffer(const uint8_t* data, uint32_t length)
{
    if (m_pendingLength == 0 || IsPendingHeldHere()) {
        return;
    }
    const uint32_t sent = m_accepted - m_pendingLength;
    m_accepted = std::min(m_accepted, std::max(length, sent));
    m_pending = data + sent;
    m_pendingLength = m_accepted - sent;
}

void CDataPrintJob::DropBuffer()
{
    m_pending = nullptr;
    m_pendingLength = 0;
    m_bufferedLength = 0;
    m_heldStart = 0;
    m_accepted = 0;
    m_sentAtBoundary.store(true, std::memory_order_release);
}

uint32_t CDataPrintJob::TakeAcceptedCount()
{
    if (m_pendingLength > 0) {
        return 0;
    }
    return std::exchange(m_accepted, 0);
}

void CDataPrintJob::UseBufferedData()
{
    // Held bytes that follow a dropped piece would reach the printer after a gap.
    m_pendingLength = IsPendingHeldHere() ? 0 : m_bufferedLength;
    m_pending = m_buffer + m_heldStart;
}

uint32_t CDataPrintJob::FilterData(const uint8_t* data, uint32_t length)
{
    m_unitRest = 0;
    if (m_packetState == Framing::None) {
        return length;
    }
    uint32_t forwarded = 0;
    if (m_packet->m_payloadLength == 0) {
        if (!m_packet->ParseHeader(data, length, &forwarded)) {
            m_packetState = Framing::None;
            return length;
        }
        if (forwarded == 0) {
            return 0;
        }
        m_packetState = Framing::Packets;
    }
    const uint32_t payloadLength = m_packet->m_payloadLength;
    const uint32_t available = std::min(payloadLength, length - forwarded);
    const uint32_t scanned = ScanCommands(data + forwarded, available);
    m_unitRest += m_unitRest > 0 ? forwarded : 0;
    m_packet->m_payloadLength.store(payloadLength - scanned, std::memory_order_release);
    return forwarded + scanned;
}

uint32_t CDataPrintJob::ScanCommands(const uint8_t* /*data*/, uint32_t length) { return length; }

const uint8_t* CDataJobPart::GetCommand(uint32_t* length)
{
    const uint8_t* pending = m_job.GetCommand(length);
    *length = std::min(*length, m_length);
    return pending;
}

} // namespace zrtmon
