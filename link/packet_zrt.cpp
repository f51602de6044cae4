#include "link/packet_zrt.h"

namespace zrtmon {

namespace {

constexpr uint8_t kHeaderStart[] = {0x1B, 0x5F};
constexpr uint32_t kLengthOffset = 4;

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
    if (data[0] != kHeaderStart[0] || data[1] != kHeaderStart[1]) {
        return FALSE;
    }
    if (count < kHeaderSize) {
        return TRUE;
    }
    m_payloadLength.store(BigEndian32(data + kLengthOffset), std::memory_order_release);
    *consumed += kHeaderSize;
    return TRUE;
}

} // namespace zrtmon
