#pragma once

#include "link/packet.h"

namespace zrtmon {

/// The header that opens each packet of framed job data.
struct PacketHeader {
    uint8_t start[2];         ///< ESC '_'
    uint8_t unused[2];        ///< any value
    uint8_t payloadLength[4]; ///< big-endian: bytes that follow the header and belong to this packet
};
static_assert(sizeof(PacketHeader) == 8);

/// Packets that open with a PacketHeader.
class CPacketZRT final : public CPacket {
public:
    BOOL ParseHeader(const uint8_t* data, uint32_t count, uint32_t* consumed) override;
};

} // namespace zrtmon
