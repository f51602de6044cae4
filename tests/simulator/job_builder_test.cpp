#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/job_builder.h"
#include "tests/simulator/printer_fixture.h"

namespace zrtmon::sim {
namespace {

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
        CPrinterFixture fixture("card-ms=0");
        fixture.printer.KeepJob();
        fixture.Send(Text(job.bytes));
        const PrinterView view = fixture.printer.View();
        ASSERT_EQ(0u, view.violationCount) << view.violations[0].text << " at " << view.violations[0].offset;
        ASSERT_EQ(shape.cards, view.cardsPrinted);
        ASSERT_EQ(job.packetStarts.size(), view.packets);
        ASSERT_EQ(shape.framed ? job.records : 0, view.records);
        ASSERT_EQ(shape.endCommand ? 1u : 0u, view.jobsEnded);
        ASSERT_EQ(job.bytes, fixture.printer.JobBytes());
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
        CPrinterFixture fixture("card-ms=0");
        size_t from = 0;
        for (size_t card = 0; card < job.cardEnds.size(); ++card) {
            EXPECT_EQ(1, std::ranges::count(job.packetStarts, job.cardEnds[card]));
            fixture.Send(Text(job.bytes).substr(from, job.cardEnds[card] - from));
            from = job.cardEnds[card];
            EXPECT_EQ(card + 1, fixture.printer.View().cardsReceived);
        }
        EXPECT_FALSE(fixture.printer.View().insidePacket);
        EXPECT_EQ(0u, fixture.printer.View().violationCount);
        EXPECT_EQ(96u, fixture.printer.View().records);
        EXPECT_EQ(8 + (cut ? 1000u : 952u), job.packetStarts[2] - job.packetStarts[1]) << "as much as it may";
    }
}

} // namespace
} // namespace zrtmon::sim
