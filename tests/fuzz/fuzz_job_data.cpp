// Job data in pieces of any size, partly sent and offered again elsewhere: the bytes below are the bytes
// above. Input: four bytes that seed the cutting, then the job.
#include <algorithm>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "requests/data_print_job_zrt.h"
#include "tests/fuzz/fuzz_target.h"

namespace zrtmon::fuzz {
namespace {

constexpr size_t kSeedBytes = 4;
constexpr size_t kHeldAtMost = 1024;
constexpr unsigned kOffersAtMost = 64; // of one piece, before it counts as stuck
using Bytes = std::vector<uint8_t>;

/// The device link's handling of one document, with a spooler that moves its buffers about.
class CDocument {
public:
    CDocument(std::string_view job, uint32_t seed) : m_rest(job), m_random(seed)
    {
        m_request.Prepare(nullptr);
    }

    /// Everything that reached the printer.
    Bytes Print()
    {
        const size_t piecesUpTo = size_t{1} << m_random() % 13;
        while (!m_rest.empty()) {
            const size_t piece = std::min<size_t>(1 + m_random() % piecesUpTo, m_rest.size());
            size_t taken = 0;
            for (unsigned offer = 0; taken == 0; ++offer) {
                Demand(offer < kOffersAtMost, "a piece is taken some time");
                taken = Offer(piece);
            }
            m_rest.remove_prefix(taken);
        }
        const size_t before = m_sent.size();
        m_request.UseBufferedData();
        while (m_request.HasPending()) {
            Send();
        }
        m_flushed = m_sent.size() - before;
        return std::move(m_sent);
    }

    /// Bytes that were held back up to the end.
    size_t Flushed() const { return m_flushed; }

private:
    size_t Offer(size_t piece)
    {
        auto buffer = std::make_unique<Bytes>(m_rest.begin(), m_rest.begin() + static_cast<ptrdiff_t>(piece));
        const auto size = static_cast<uint32_t>(piece);
        m_request.SetReply(reinterpret_cast<const char*>(buffer->data()), size);
        while (m_request.HasPending()) {
            if (m_random() % 4 == 0) {
                auto moved = std::make_unique<Bytes>(*buffer);
                m_request.Reoffer(moved->data(), size);
                buffer = std::move(moved); // the old one is gone
            }
            Send();
        }
        const size_t taken = m_request.TakeAcceptedCount();
        Demand(taken <= piece, "no more is taken than was offered");
        return taken;
    }

    /// Some of the pending bytes, or none.
    void Send()
    {
        uint32_t length = 0;
        const uint8_t* bytes = m_request.GetCommand(&length);
        Demand(bytes && length > 0, "pending bytes are there");
        const uint32_t count =
            m_random() % 2 == 0 ? length : static_cast<uint32_t>(m_random() % (length + 1));
        m_sent.insert(m_sent.end(), bytes, bytes + count);
        m_request.SetSentLength(count);
    }

    std::string_view m_rest;
    std::mt19937 m_random;
    CDataPrintJobZRT m_request;
    Bytes m_sent;
    size_t m_flushed = 0;
};

void Check(std::string_view job, uint32_t seed)
{
    CDocument document(job, seed);
    const Bytes sent = document.Print();
    Demand(sent.size() <= job.size() &&
               std::equal(sent.begin(), sent.end(), job.begin(),
                          [](uint8_t below, char above) { return below == static_cast<uint8_t>(above); }),
           "the bytes below begin as the bytes above");
    // Only a held buffer that is full and makes no whole unit lets what follows drop.
    Demand(sent.size() == job.size() || document.Flushed() == kHeldAtMost, "nothing is lost");
}

} // namespace
} // namespace zrtmon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace zrtmon::fuzz;
    if (size < kSeedBytes) {
        return 0;
    }
    uint32_t seed = 0;
    for (size_t i = 0; i < kSeedBytes; ++i) {
        seed = seed << 8 | data[i];
    }
    const std::string_view job(reinterpret_cast<const char*>(data) + kSeedBytes, size - kSeedBytes);
    Check(job, seed);
    Check(job, ~seed);
    return 0;
}
