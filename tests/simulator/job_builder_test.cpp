#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/job_builder.h"
#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

/// Walks through one payload after another as a reader must who may take whole units only, and never across
/// a packet's end.
class CUnitWalker {
public:
    /// False when a unit is cut by the payload's end, or a byte belongs to none.
    bool Walk(std::string_view payload)
    {
        while (payload.size() >= 4) {
            const size_t unit = NextUnit(payload);
            if (unit == 0 || unit > payload.size()) {
                return false;
            }
            payload.remove_prefix(unit);
        }
        return !(m_recordsMayFollow && payload.starts_with('\x8F'));
    }

    /// The bytes of the unit that rest begins with; 0 when it begins with none.
    size_t NextUnit(std::string_view rest)
    {
        if (m_recordsMayFollow && rest[0] == '\x8F') {
            return 476;
        }
        m_recordsMayFollow = false;
        if (!rest.starts_with(Command(""))) {
            return 0;
        }
        switch (rest[3]) {
        case 'C': {
            m_recordsMayFollow = true;
            const size_t marker = rest.find('\x8F', 4);
            return marker == std::string_view::npos ? 0 : marker;
        }
        case 'X':
            return 5;
        case 'm':
            return rest.size() < 7 ? 0 : 7 + static_cast<uint8_t>(rest[6]);
        default:
            return 4;
        }
    }

private:
    bool m_recordsMayFollow = false;
};

std::string_view Payload(const Job& job, size_t packet)
{
    const bool isLast = packet + 1 == job.packetStarts.size();
    const size_t end = isLast ? job.bytes.size() : job.packetStarts[packet + 1];
    const std::string_view all(reinterpret_cast<const char*>(job.bytes.data()), job.bytes.size());
    return all.substr(job.packetStarts[packet] + 8, end - job.packetStarts[packet] - 8);
}

TEST(JobBuilder, EveryRandomJobIsValid)
{
    unsigned tails = 0;
    unsigned unframed = 0;
    unsigned cardsOverPackets = 0;
    for (uint64_t seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const JobShape shape = RandomShape(seed);
        const Job job = BuildJob(shape);
        ASSERT_EQ(job.bytes, BuildJob(shape).bytes);
        PrinterBench bench("card-ms=0");
        bench.printer.KeepJob();
        bench.Send(Text(job.bytes));
        const PrinterView view = bench.printer.View();
        ASSERT_EQ(0u, view.violationCount) << view.violations[0].text << " at " << view.violations[0].offset;
        ASSERT_EQ(shape.cards, view.cardsPrinted);
        ASSERT_EQ(job.packetStarts.size(), view.packets);
        ASSERT_EQ(shape.framed ? job.records : 0, view.records);
        ASSERT_EQ(shape.endCommand ? 1u : 0u, view.jobsEnded);
        ASSERT_EQ(job.bytes, bench.printer.JobBytes());
        CUnitWalker walker;
        for (size_t i = 0; i < job.packetStarts.size(); ++i) {
            ASSERT_TRUE(walker.Walk(Payload(job, i))) << "packet " << i;
        }
        tails += shape.tailBytes > 0 ? 1 : 0;
        unframed += shape.framed ? 0 : 1;
        cardsOverPackets += job.packetStarts.size() > 2 * shape.cards ? 1 : 0;
    }
    EXPECT_GT(tails, 50u);
    EXPECT_GT(unframed, 10u);
    EXPECT_GT(cardsOverPackets, 50u);
}

TEST(JobBuilder, CardsEndAtPacketBorders)
{
    for (const bool cut : {false, true}) {
        const Job job = BuildJob({.cards = 3, .sidesPerCard = 2, .payloadBytes = 1000, .cutRecords = cut});
        ASSERT_EQ(3u, job.cardEnds.size());
        PrinterBench bench("card-ms=0");
        size_t from = 0;
        for (size_t card = 0; card < job.cardEnds.size(); ++card) {
            EXPECT_EQ(1, std::ranges::count(job.packetStarts, job.cardEnds[card]));
            bench.Send(Text(job.bytes).substr(from, job.cardEnds[card] - from));
            from = job.cardEnds[card];
            EXPECT_EQ(card + 1, bench.printer.View().cardsReceived);
        }
        EXPECT_FALSE(bench.printer.View().insidePacket);
        EXPECT_EQ(0u, bench.printer.View().violationCount);
        EXPECT_EQ(96u, bench.printer.View().records);
        const auto isCut = [&](size_t packet) { return !CUnitWalker().Walk(Payload(job, packet)); };
        EXPECT_EQ(cut, isCut(0)) << "records are cut where that is wanted, and only there";
        EXPECT_EQ(cut ? 1000u : 952u, Payload(job, 1).size()) << "a packet holds as much as it may";
    }
}

TEST(JobBuilder, CutsRecordsOnly)
{
    unsigned cuts = 0;
    for (uint32_t payloadBytes = 490; payloadBytes < 530; ++payloadBytes) {
        const Job job =
            BuildJob({.cards = 2, .recordsPerSide = 4, .payloadBytes = payloadBytes, .cutRecords = true});
        std::string stream;
        std::vector<size_t> borders;
        for (size_t i = 0; i < job.packetStarts.size(); ++i) {
            borders.push_back(stream.size());
            stream += Payload(job, i);
        }
        CUnitWalker walker;
        for (size_t at = 0; at < stream.size();) {
            const size_t unit = walker.NextUnit(std::string_view(stream).substr(at));
            ASSERT_GT(unit, 0u);
            const bool isRecord = stream[at] == '\x8F';
            // A "C" command is to have the marker of its first record with it.
            const size_t last = at + unit - (stream[at + 3] == 'C' ? 0 : 1);
            const auto inside = std::ranges::count_if(borders, [&](size_t b) { return b > at && b <= last; });
            ASSERT_TRUE(isRecord || inside == 0) << payloadBytes << " bytes, unit at " << at;
            cuts += static_cast<unsigned>(inside);
            at += unit;
        }
    }
    EXPECT_GT(cuts, 100u);
}

TEST(JobBuilder, PacketsMayBeLong)
{
    const Job job = BuildJob({.recordsPerSide = 200, .payloadBytes = 1u << 24});
    PrinterBench bench;
    bench.Send(Text(job.bytes));
    EXPECT_EQ(2u, bench.printer.View().packets) << "a card of over 64 KiB, and the end of the job";
    EXPECT_EQ(200u, bench.printer.View().records);
    EXPECT_EQ(0u, bench.printer.View().violationCount);
}

} // namespace
} // namespace zrtmon::sim
