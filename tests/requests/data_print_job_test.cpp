#include "requests/data_print_job_zrt.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "simulator/job_builder.h"
#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;

const std::string kPrefix = "\x1B\0\2"s;

std::string Command(const std::string& rest) { return kPrefix + rest; }

std::string Header(uint32_t payload)
{
    std::string header = "\x1B_\x7F\x7F"s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        header += static_cast<char>(payload >> shift & 0xFF);
    }
    return header;
}

std::string Packet(const std::string& payload)
{
    return Header(static_cast<uint32_t>(payload.size())) + payload;
}

std::string Card()
{
    return Command("Cpar") + "\x8F\x01"s + std::string(474, 'r') + "\x8F\x02"s + std::string(474, 's');
}

/// Offers data as the spooler and the device link do, at most limit bytes at a time.
class CFeeder {
public:
    CDataPrintJobZRT job;
    std::string sent;
    std::vector<size_t> pieces;

    CFeeder() { job.Prepare(nullptr); }

    /// Sends one buffer until it is accepted, or until no more of it can be sent. Returns the count accepted.
    size_t Offer(const std::string& data)
    {
        size_t taken = 0;
        for (int round = 0; taken < data.size() && round < 10000; ++round) {
            const std::string rest = data.substr(taken);
            job.SetReply(rest.data(), static_cast<uint32_t>(rest.size()));
            Drain();
            taken += job.TakeAcceptedCount();
        }
        return taken;
    }

    void Drain()
    {
        while (job.HasPending()) {
            uint32_t length = 0;
            const uint8_t* bytes = job.GetCommand(&length);
            sent.append(reinterpret_cast<const char*>(bytes), length);
            pieces.push_back(length);
            job.SetSentLength(length);
        }
    }

    void Flush()
    {
        job.UseBufferedData();
        Drain();
    }
};

struct ScanCase {
    const char* name;
    std::vector<std::string> offered;
    std::vector<size_t> pieces; ///< sent before the document's end
    uint32_t cards = 0;
    bool jobEnd = false;
};
class Scan : public testing::TestWithParam<ScanCase> {};

TEST_P(Scan, CutsBetweenUnitsAndLosesNothing)
{
    CFeeder feeder;
    std::string all;
    for (const std::string& data : GetParam().offered) {
        EXPECT_EQ(data.size(), feeder.Offer(data));
        all += data;
    }
    EXPECT_EQ(GetParam().pieces, feeder.pieces);
    EXPECT_TRUE(feeder.job.IsPacketDone());
    EXPECT_EQ(GetParam().cards, feeder.job.GetCardCount());
    EXPECT_EQ(GetParam().jobEnd, feeder.job.IsJobEnd() != FALSE);
    feeder.Flush();
    EXPECT_EQ(all, feeder.sent);
}

constexpr size_t kCardSize = 7 + 2 * 476;
const std::string kRecord = "\x8F\1"s + std::string(474, 'r');
const std::string kMessageHead = Command("m") + "..\x0A";

INSTANTIATE_TEST_SUITE_P(
    Jobs, Scan,
    testing::Values(
        ScanCase{"UnframedPassesWhole", {"plain", Command("XZ")}, {5, 5}},
        ScanCase{"HeaderInTwoBuffers", {"\x1B_\0\0\0"s, "\0\0\4"s + Command("Q")}, {12}},
        ScanCase{"OneByteIsUndecided", {"\x1B"s}, {}},
        ScanCase{"EscapeThatOpensNoPacket", {"\x1B"s, "Z..."}, {5}},
        ScanCase{"EmptyPacketGoesAlone", {Header(0) + Packet(Command("Q"))}, {8, 12}},
        ScanCase{"LongPacket",
                 {Packet(std::string(0x1020000, '.')) + Packet(Command("Q"))},
                 {8 + 0x1020000 - 3, 3, 12}},
        ScanCase{"PieceEndsAfterJ", {Packet(Command("J") + Command("Q") + Command("Q"))}, {12, 8}},
        ScanCase{"EndOfJob", {Packet(Command("XZ"))}, {13}, 0, true},
        ScanCase{"OtherX", {Packet(Command("XC"))}, {13}},
        ScanCase{"EndOfJobThenAnother", {Packet(Command("XZ") + Command("B"))}, {17}},
        ScanCase{"XWaitsForItsFifthByte", {Header(9) + Command("Q") + Command("X"), "Z"}, {12, 5}, 0, true},
        ScanCase{"MessageNeedsAllItsBytes", {Header(17) + kMessageHead + std::string(9, 'x'), "x"}, {8, 17}},
        ScanCase{"CardAndItsEnd", {Packet(Card() + Command("j"))}, {8 + kCardSize + 4}},
        ScanCase{"CardWithoutEnd", {Packet(Card())}, {8 + kCardSize}, 1},
        ScanCase{"TwoCards", {Packet(Card() + Card())}, {8 + 2 * kCardSize}, 2},
        ScanCase{"RecordWaitsForItsBody",
                 {Header(7 + 476) + Command("Cpar") + kRecord.substr(0, 400), kRecord.substr(400)},
                 {8 + 7 + 2, 474},
                 1},
        // The marker has not come: the command is scanned, and counted, at every offer.
        ScanCase{"CardScannedTwice", {Header(7 + 476) + Command("Cpa"), "r" + kRecord}, {8, 7 + 476}, 3},
        ScanCase{"ShortTailPassesUnscanned", {Packet(Command("Q") + "\x1B\0\2"s)}, {12, 3}},
        ScanCase{"PlainBytesBetweenCommands", {Packet("....." + Command("Q") + "\x1B\x1B..")}, {18, 3}}),
    test::CaseName{});

TEST(PrintJob, LessMayGoThanWasHeld)
{
    // Three held bytes could have begun a command; the next show that they do not.
    CFeeder feeder;
    ASSERT_EQ(8u, feeder.Offer(Header(20)));
    EXPECT_EQ(3u, feeder.Offer("\x1B"s + "ab"));
    EXPECT_EQ(1u, feeder.Offer("c"));
    EXPECT_EQ(Header(20) + "\x1B", feeder.sent);
    EXPECT_EQ(16u, feeder.Offer(std::string(16, 'd')));
    feeder.Flush();
    EXPECT_EQ(Header(20) + "\x1B" + "abc" + std::string(16, 'd'), feeder.sent);
    EXPECT_TRUE(feeder.job.IsPacketDone());
}

TEST(PrintJob, AtTheEndHeldBytesAreSentAndAPieceThatWasNotSentIsDropped)
{
    struct Case {
        const char* name;
        std::string sent; ///< before the last buffer
        std::string held; ///< completed by the last buffer, or not
        std::string last;
        uint32_t taken; ///< bytes of the last piece that the port took before the job ended
        std::string flushed;
    };
    const std::string header = Header(5);
    for (const Case& c :
         {Case{"InTheCallersBuffer", header, "", Command("XZ"), 0, ""},
          Case{"AfterACutHeader", "", header.substr(0, 5), header.substr(5) + Command("XZ"), 0, ""},
          Case{"PartlySent", "", header.substr(0, 5), header.substr(5) + Command("XZ"), 9, ""},
          Case{"HeldAndNotCompleted", header, Command("X"), "", 0, Command("X")},
          Case{"BeforeHeldBytesThatWouldFollowAGap", Header(20), "\x1B"s + "ab", "c", 0, ""}}) {
        SCOPED_TRACE(c.name);
        CFeeder feeder;
        for (const std::string& data : {c.sent, c.held}) {
            EXPECT_EQ(data.size(), feeder.Offer(data));
        }
        feeder.job.SetReply(c.last.data(), static_cast<uint32_t>(c.last.size()));
        feeder.job.SetSentLength(c.taken);
        feeder.sent.clear();
        feeder.Flush();
        EXPECT_EQ(c.flushed, feeder.sent);
        feeder.job.DropBuffer();
        EXPECT_TRUE(feeder.job.SentDataEndsAtBoundary());
    }
}

TEST(PrintJob, AFullBufferWithoutAUnitDropsWhatFollows)
{
    CFeeder feeder;
    ASSERT_EQ(8u, feeder.Offer(Header(100000)));
    const std::string card = Command("C") + std::string(2000, 'p'); // its marker never comes
    EXPECT_EQ(card.size(), feeder.Offer(card));
    EXPECT_EQ(10u, feeder.Offer(std::string(10, 'q')));
    feeder.Flush();
    EXPECT_EQ(Header(100000) + card.substr(0, 1024), feeder.sent);
}

TEST(PrintJob, ABufferOfferedElsewhereIsFollowedThere)
{
    CDataPrintJobZRT job;
    const std::string data = Packet(Command("Q") + Command("Q"));
    auto first = std::make_unique<std::string>(data);
    job.SetReply(first->data(), static_cast<uint32_t>(first->size()));
    job.SetSentLength(3);
    first.reset();
    for (const std::string& again : {data, data.substr(0, 5)}) {
        job.Reoffer(reinterpret_cast<const uint8_t*>(again.data()), static_cast<uint32_t>(again.size()));
        uint32_t length = 0;
        const uint8_t* bytes = job.GetCommand(&length);
        EXPECT_EQ(again.substr(3), std::string(reinterpret_cast<const char*>(bytes), length));
    }
    job.SetSentLength(2);
    EXPECT_EQ(5u, job.TakeAcceptedCount());
}

TEST(PrintJob, TheBoundaryIsWhereTheSentBytesEndNotTheScanner)
{
    CDataPrintJobZRT job;
    const std::string packet = Packet(Card() + Command("j"));
    EXPECT_TRUE(job.SentDataEndsAtBoundary());
    job.SetReply(packet.data(), static_cast<uint32_t>(packet.size()));
    EXPECT_TRUE(job.IsPacketDone());
    EXPECT_TRUE(job.SentDataEndsAtBoundary()) << "nothing of the packet has been sent";
    job.SetSentLength(1);
    EXPECT_FALSE(job.SentDataEndsAtBoundary());
    job.SetSentLength(0);
    EXPECT_FALSE(job.SentDataEndsAtBoundary());
    job.SetSentLength(static_cast<uint32_t>(packet.size()) - 1);
    EXPECT_TRUE(job.SentDataEndsAtBoundary());
    job.TakeAcceptedCount();

    const std::string open = Packet(Card()); // the card continues in the next packet
    job.SetReply(open.data(), static_cast<uint32_t>(open.size()));
    job.SetSentLength(static_cast<uint32_t>(open.size()));
    EXPECT_TRUE(job.IsPacketDone());
    EXPECT_FALSE(job.SentDataEndsAtBoundary());
}

TEST(PrintJob, CutAtAnyByteAndPrintedAgainAfterBeingGivenUpThereItIsTheSame)
{
    const sim::Job built = sim::BuildJob(
        {.cards = 2, .sidesPerCard = 2, .recordsPerSide = 2, .payloadBytes = 600, .trickyBodies = true});
    const std::string job(built.bytes.begin(), built.bytes.end());
    for (size_t cut = 0; cut <= job.size(); ++cut) {
        SCOPED_TRACE(cut);
        CFeeder feeder;
        feeder.Offer("not framed");
        feeder.job.Prepare(nullptr);
        feeder.pieces.clear();
        feeder.Offer(job.substr(0, cut));
        const std::vector<size_t> pieces = std::exchange(feeder.pieces, {});
        const BOOL atBoundary = feeder.job.SentDataEndsAtBoundary();
        if (cut % 3 == 0) {
            feeder.job.UseBufferedData();
        } else if (cut % 3 == 1) {
            feeder.job.SetReply(job.data() + cut, static_cast<uint32_t>(job.size() - cut));
        }
        feeder.job.Prepare(nullptr);
        EXPECT_FALSE(feeder.job.IsCardSeen());
        EXPECT_TRUE(feeder.job.SentDataEndsAtBoundary());
        feeder.sent.clear();
        feeder.Offer(job.substr(0, cut));
        EXPECT_EQ(pieces, feeder.pieces);
        EXPECT_EQ(atBoundary, feeder.job.SentDataEndsAtBoundary());
        feeder.Offer(job.substr(cut));
        ASSERT_TRUE(feeder.job.IsJobEnd());
        feeder.Flush();
        ASSERT_EQ(job, feeder.sent);
    }
}

} // namespace
} // namespace zrtmon
