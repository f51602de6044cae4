/// Replies on their way to the host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

namespace zrtmon::sim {

/// Each reply is a separate transfer: a read never gets bytes of two. Not thread-safe.
class CReplyQueue {
public:
    /// Replies become readable that long after they were added, milliseconds.
    void SetDelay(uint32_t replyMs) { m_replyMs = replyMs; }
    /// Reads get at most pieceBytes (0: all), and then nothing for gapMs.
    void SetPieces(uint32_t pieceBytes, uint32_t gapMs);

    void Add(std::string bytes, uint64_t nowMs);
    size_t Take(uint8_t* buffer, size_t size, uint64_t nowMs);

    /// Whether none is on its way, ready or not.
    bool IsEmpty() const { return m_replies.empty(); }
    void Clear() { m_replies.clear(); }

private:
    struct Reply {
        std::string bytes;
        uint64_t readyAtMs;
        size_t taken = 0;
    };

    std::deque<Reply> m_replies;
    uint32_t m_replyMs = 0;
    uint32_t m_pieceBytes = 0;
    uint32_t m_gapMs = 0;
};

} // namespace zrtmon::sim
