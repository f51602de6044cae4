#include "link/packet_zrt.h"

#include <cstring>

namespace zrtmon {

namespace {

constexpr uint8_t kHeaderStart[] = {0x1B, 0x5F};

uint32_t BigEndian32(const uint8_t* bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | uint32_t{bytes[3]};
}

} // namespace

BOOL CPacketZRT::ParseHeader(const uint8_t* data, uint32_t count, uint32_t* consumed)
{
    if (count < sizeof kHeaderStart) {
        return TRUE;
    }
    if (std::memcmp(data, kHeaderStart, sizeof kHeaderStart) != 0) {
        return FALSE;
    }
    PacketHeader header;
    if (count < sizeof header) {
        return TRUE;
    }
    std::memcpy(&header, data, sizeof header);
    m_payloadLength.store(BigEndian32(header.payloadLength), std::memory_order_release);
    *consumed += sizeof header;
    return TRUE;
}

} // namespace zrtmon
