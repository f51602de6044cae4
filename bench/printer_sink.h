/// A network printer that takes every byte as fast as it comes.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "platform/socket.h"

namespace zrtmon::bench {

/// What one connection carried.
struct Received {
    uint64_t bytes = 0;
    double seconds = 0; ///< between its first byte and the byte that Expect named; 0 if that did not come
};

/// Serves connections one after the other on a thread of its own: reads to the end of the stream, then
/// closes. Replies to a status command at the end of what was read, as a printer without an error.
class CPrinterSink {
public:
    CPrinterSink();
    ~CPrinterSink();
    CPrinterSink(const CPrinterSink&) = delete;
    CPrinterSink& operator=(const CPrinterSink&) = delete;

    std::string Port() const;
    /// From now on connections are timed up to that byte, and the largest one is kept.
    void Expect(uint64_t bytes);
    /// The largest connection that has ended since Expect.
    Received Largest();

private:
    void Run();
    Received Serve(CSocket& client) const;

    CListener m_listener{"127.0.0.1", 0};
    std::atomic<uint64_t> m_expectedBytes{0};
    std::atomic<bool> m_isEnding{false};
    std::mutex m_lock; ///< guards m_largest
    Received m_largest;
    std::thread m_thread;
};

} // namespace zrtmon::bench
