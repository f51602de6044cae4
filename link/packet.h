#pragma once

#include <atomic>
#include <cstdint>

#include "platform/win32.h"

namespace zrtmon {

/// Parser of the packets that job data may be framed in.
class CPacket {
public:
    virtual ~CPacket() = default;

    /// Parses a packet header at the start of data. FALSE: the bytes do not begin a packet. TRUE with
    /// *consumed unchanged: too few bytes to decide. TRUE with *consumed raised by the header's size:
    /// m_payloadLength is set.
    virtual BOOL ParseHeader(const uint8_t* data, uint32_t count, uint32_t* consumed) = 0;

    /// Payload bytes of the current packet still expected; 0: a header comes next. Written by the job's
    /// thread, read by query threads.
    std::atomic<uint32_t> m_payloadLength{0};
};

} // namespace zrtmon
