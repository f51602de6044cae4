#pragma once

#include "link/packet.h"

namespace zrtmon {

/// Packets that open with an 8-byte header: ESC '_', two bytes of no concern here, and the payload length as
/// a big-endian 32-bit number.
class CPacketZRT final : public CPacket {
public:
    BOOL ParseHeader(const uint8_t* data, uint32_t count, uint32_t* consumed) override;

    static constexpr uint32_t kHeaderSize = 8;
};

} // namespace zrtmon
