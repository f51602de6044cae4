#include "simulator/reply_queue.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zrtmon::sim {

void CReplyQueue::SetPieces(uint32_t pieceBytes, uint32_t gapMs)
{
    m_pieceBytes = pieceBytes;
    m_gapMs = gapMs;
}

void CReplyQueue::Add(std::string bytes, uint64_t nowMs)
{
    if (!bytes.empty()) {
        m_replies.push_back({.bytes = std::move(bytes), .readyAtMs = nowMs + m_replyMs});
    }
}

size_t CReplyQueue::Take(uint8_t* buffer, size_t size, uint64_t nowMs)
{
    if (size == 0 || m_replies.empty() || m_replies.front().readyAtMs > nowMs) {
        return 0;
    }
    Reply& reply = m_replies.front();
    size_t count = std::min(size, reply.bytes.size() - reply.taken);
    if (m_pieceBytes > 0) {
        count = std::min<size_t>(count, m_pieceBytes);
        reply.readyAtMs = nowMs + m_gapMs;
    }
    std::memcpy(buffer, reply.bytes.data() + reply.taken, count);
    reply.taken += count;
    if (reply.taken == reply.bytes.size()) {
        m_replies.pop_front();
    }
    return count;
}

} // namespace zrtmon::sim
