#include "bench/printer_sink.h"

#include <string_view>
#include <vector>

#include "bench/stopwatch.h"

namespace zrtmon::bench {

namespace {

constexpr DWORD kStepMs = 100;
constexpr size_t kBufferBytes = 1 << 20;
constexpr std::string_view kStatusCommand("\x1B\0\x02Nr", 5);
constexpr std::string_view kStatusReply = "ERR:0,0,0,0,0,100,";

} // namespace

CPrinterSink::CPrinterSink() : m_thread([this] { Run(); }) {}

CPrinterSink::~CPrinterSink()
{
    m_isEnding = true;
    m_thread.join();
}

std::string CPrinterSink::Port() const
{
    const std::string address = m_listener.Address();
    return address.substr(address.rfind(':') + 1);
}

void CPrinterSink::Expect(uint64_t bytes)
{
    const std::lock_guard hold(m_lock);
    m_expectedBytes = bytes;
    m_largest = {};
}

Received CPrinterSink::Largest()
{
    const std::lock_guard hold(m_lock);
    return m_largest;
}

void CPrinterSink::Run()
{
    while (!m_isEnding) {
        std::optional<CSocket> client = m_listener.Accept(kStepMs);
        if (!client) {
            continue;
        }
        const Received received = Serve(*client);
        const std::lock_guard hold(m_lock);
        if (received.bytes > m_largest.bytes) {
            m_largest = received;
        }
    }
}

Received CPrinterSink::Serve(CSocket& client) const
{
    std::vector<uint8_t> buffer(kBufferBytes);
    Received received;
    std::optional<CStopwatch> watch;
    while (!m_isEnding) {
        client.WaitReadable(kStepMs);
        const CSocket::Transfer transfer = client.Receive(buffer.data(), buffer.size());
        if (transfer.state != CSocket::State::Open) {
            break;
        }
        if (transfer.count > 0 && !watch) {
            watch.emplace();
        }
        received.bytes += transfer.count;
        if (received.seconds == 0 && received.bytes >= m_expectedBytes) {
            received.seconds = watch ? watch->Seconds() : 0;
        }
        if (std::string_view(reinterpret_cast<const char*>(buffer.data()), transfer.count)
                .ends_with(kStatusCommand)) {
            client.Send(reinterpret_cast<const uint8_t*>(kStatusReply.data()), kStatusReply.size());
        }
    }
    return received;
}

} // namespace zrtmon::bench
