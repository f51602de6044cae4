// The scanner of job data alone, packet by packet, against memchr over the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string_view>
#include <vector>

#include "requests/data_print_job_zrt.h"

namespace zrtmon::bench {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kPayloadSize = 64 << 10;
constexpr size_t kHeaderSize = 8;
constexpr size_t kRecordSize = 476;
constexpr uint8_t kAbsentByte = 0xA7; ///< occurs in no payload, so that memchr scans all of it

void Append(Bytes& to, std::string_view text) { to.insert(to.end(), text.begin(), text.end()); }

/// A packet that repeats the unit as often as it fits.
Bytes PacketOf(std::string_view unit)
{
    Bytes packet = {0x1B, '_', 0, 0, 0, 0, 0, 0};
    while (packet.size() + unit.size() <= kHeaderSize + kPayloadSize) {
        Append(packet, unit);
    }
    const size_t payload = packet.size() - kHeaderSize;
    for (size_t index = 0; index < 4; ++index) {
        packet[kHeaderSize - 1 - index] = static_cast<uint8_t>(payload >> 8 * index);
    }
    return packet;
}

std::string Noise(size_t size, unsigned lowest, unsigned highest)
{
    std::mt19937 random(1);
    std::string text(size, '\0');
    for (char& byte : text) {
        const unsigned drawn = lowest + static_cast<unsigned>(random() % (highest - lowest + 1));
        byte = static_cast<char>(drawn == kAbsentByte ? lowest : drawn);
    }
    return text;
}

std::string Record()
{
    std::string record = Noise(kRecordSize, 0, 255);
    record[0] = static_cast<char>(0x8F);
    return record;
}

/// A command followed by plain bytes.
std::string PlainRun()
{
    constexpr size_t kRun = 4096;
    std::string text("\x1b\0\2F", 4);
    return text + Noise(kRun - text.size(), 0x20, 0x7E);
}

/// Sends the packet through the scanner, in as many pieces as the scanner cuts it into.
void Scan(CDataPrintJobZRT& job, const Bytes& packet)
{
    for (size_t offset = 0; offset < packet.size();) {
        job.ProcessReply(reinterpret_cast<const char*>(packet.data() + offset),
                         static_cast<uint32_t>(packet.size() - offset));
        job.SetSentLength(job.GetPendingLength());
        offset += job.TakeAcceptedCount();
    }
}

void ScanPayload(benchmark::State& state, const Bytes& first, const Bytes& packet)
{
    CDataPrintJobZRT job;
    job.Prepare(nullptr);
    Scan(job, first);
    while (state.KeepRunning()) {
        Scan(job, packet);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(packet.size() - kHeaderSize));
}

void SearchPayload(benchmark::State& state, const Bytes& packet)
{
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(
            std::memchr(packet.data() + kHeaderSize, kAbsentByte, packet.size() - kHeaderSize));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(packet.size() - kHeaderSize));
}

/// The repeated unit of the payload, and what precedes it once.
struct Payload {
    const char* name;
    std::string unit;
    std::string before;
};

const Payload kPayloads[] = {
    {"records", Record(), std::string("\x1b\0\2C0\x8F", 6) + std::string(kRecordSize - 1, ' ')},
    {"plain", PlainRun(), "    "},
    {"noise", Noise(kPayloadSize, 0, 255), "    "},
    {"escapes", "\x1b", "    "},
    {"half_prefixes", std::string("\x1b\0", 2), "    "},
    {"commands", std::string("\x1b\0\2F", 4), "    "},
    {"messages", std::string("\x1b\0\2m1\0\0", 7), "    "},
};

const bool kRegistered = [] {
    for (const Payload& payload : kPayloads) {
        const auto scan = [&payload](benchmark::State& state) {
            Bytes first = {0x1B, '_', 0, 0, 0, 0, 0, 0};
            Append(first, payload.before);
            first[6] = static_cast<uint8_t>(payload.before.size() >> 8);
            first[7] = static_cast<uint8_t>(payload.before.size());
            ScanPayload(state, first, PacketOf(payload.unit));
        };
        const auto search = [&payload](benchmark::State& state) {
            SearchPayload(state, PacketOf(payload.unit));
        };
        benchmark::RegisterBenchmark((std::string("scan/") + payload.name).c_str(), scan);
        benchmark::RegisterBenchmark((std::string("memchr/") + payload.name).c_str(), search);
    }
    return true;
}();

} // namespace
} // namespace zrtmon::bench
