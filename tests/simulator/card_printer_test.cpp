#include <gtest/gtest.h>

#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

TEST(CardPrinter, RepliesAsItsOptionsSay)
{
    const struct {
        const char* options;
        const char* mnemonic;
        const char* reply;
    } questions[] = {{"protected=1", "Nr", "ERR:0,0,0,0,1,100,"},
                     {"mag=0", "NM", "Module Status:0,1"},
                     {"flipper=0", "NM", "Module Status:1,0"},
                     {"mag=0", "N0", "MAG:,,;"},
                     {"flipper=0", "NF", "Flipper not fitted;"},
                     {"flipper=0", "Nf", "Flipper not fitted;"},
                     {"noise=??,firmware=1", "NV", "??Ver:1"},
                     {"never-answer=1", "Nr", ""},
                     {"", "TRT", ""}};
    for (const auto& question : questions) {
        SCOPED_TRACE(std::string(question.mnemonic) + " with " + question.options);
        PrinterBench bench(question.options);
        EXPECT_EQ(question.reply, bench.Ask(question.mnemonic));
        EXPECT_EQ("", bench.Read()) << "one reply for one question";
        EXPECT_EQ(0u, bench.printer.View().violationCount);
    }
}

TEST(CardPrinter, CommandsBackToBackAreRepliedToOneByOne)
{
    PrinterBench bench("firmware=1,cut-replies=4,cut-ms=50,reply-ms=30");
    bench.Send(Command("NV") + Command("NB"));
    EXPECT_EQ("", bench.Read());
    Sleep(29);
    EXPECT_EQ("", bench.Read());
    Sleep(1);
    EXPECT_EQ("Ver:", bench.Read());
    EXPECT_EQ("", bench.Read());
    Sleep(50);
    EXPECT_EQ("1", bench.Read()) << "the second reply does not join the first";
    bench.printer.CutReplies(0);
    EXPECT_EQ("Bay1:4", bench.Read(6));
    EXPECT_EQ(",1;", bench.Read());
}

/// What the printer reports at a moment of a job.
struct Moment {
    uint64_t atMs;
    const char* status;
    const char* display;
};

void ExpectMoments(PrinterBench& bench, std::initializer_list<Moment> moments)
{
    for (const Moment& moment : moments) {
        Sleep(static_cast<DWORD>(moment.atMs - bench.clock.Elapsed()));
        EXPECT_EQ(moment.status, bench.Ask("Nr")) << moment.atMs << " ms";
        EXPECT_EQ(moment.display, bench.printer.View().displayLines[0]) << moment.atMs << " ms";
    }
}

std::string ThreeCardJob()
{
    return Packet(Command("J") + CardPayload()) + Packet(CardPayload()) + Packet(CardPayload()) +
           Packet(Command("XZ"));
}

TEST(CardPrinter, PrintsOneCardAfterTheOther)
{
    PrinterBench bench("card-ms=400,ribbon=50,ribbon-cards=200");
    bench.Send(Packet(Command("J")));
    ExpectMoments(bench, {{50, "ERR:0,0,1,10,0,100,", "RECEIVING DATA"}});
    bench.Send(ThreeCardJob());
    ExpectMoments(bench, {{50, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                          {449, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                          {450, "ERR:1,0,0,11,0,101,", "PRINTING CARD 2"},
                          {850, "ERR:0,0,0,11,0,102,", "PRINTING CARD 3"},
                          {1250, "ERR:0,0,0,0,0,103,", "READY"}});
    EXPECT_EQ(48u, bench.printer.View().ribbonPercent) << "98.5 cards of 200 are left";
    EXPECT_EQ(3u, bench.printer.View().cardsPrinted);
    EXPECT_EQ(0u, bench.printer.View().violationCount);
}

TEST(CardPrinter, StopsAtTheCardThatFailsAndGoesOnByItself)
{
    constexpr DWORD kBeforeTheWrap = 0xFFFFFF00u;
    PrinterBench bench("card-ms=400,error=83,error-at-card=2,clear-ms=1500", kBeforeTheWrap);
    bench.Send(ThreeCardJob());
    ExpectMoments(bench, {{399, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                          {400, "ERR:1,83,0,11,0,101,", "ERROR 83"},
                          {1899, "ERR:1,83,0,11,0,101,", "ERROR 83"},
                          {1900, "ERR:1,0,0,11,0,101,", "PRINTING CARD 2"},
                          {2300, "ERR:0,0,0,11,0,102,", "PRINTING CARD 3"},
                          {2700, "ERR:0,0,0,0,0,103,", "READY"}});
    bench.Send(ThreeCardJob());
    ExpectMoments(bench, {{5000, "ERR:0,0,0,0,0,106,", "READY"}});
}

TEST(CardPrinter, AnErrorInTheMiddleOfACardHoldsItUntilItIsCleared)
{
    PrinterBench bench("card-ms=400");
    bench.Send(ThreeCardJob());
    Sleep(100);
    bench.printer.SetError(25);
    ExpectMoments(bench, {{10000, "ERR:1,25,0,11,0,100,", "ERROR 25"}});
    bench.printer.ClearError();
    ExpectMoments(bench, {{10299, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                          {10300, "ERR:1,0,0,11,0,101,", "PRINTING CARD 2"}});
    bench.printer.FailAtCard(3, 91);
    ExpectMoments(bench, {{20000, "ERR:0,91,0,11,0,102,", "ERROR 91"}});
    EXPECT_EQ("", bench.Ask("B1"));
    ExpectMoments(bench, {{20400, "ERR:0,0,0,0,0,103,", "READY"}});
}

TEST(CardPrinter, ACancelDropsTheJobWhereverItComes)
{
    const std::string cancel = std::string(512, '\0') + Command("XC");
    const std::string job = ThreeCardJob();
    for (const size_t at : {size_t{3}, size_t{20}, size_t{100}, size_t{504}, size_t{600}, job.size()}) {
        SCOPED_TRACE("cancelled after byte " + std::to_string(at));
        PrinterBench bench;
        bench.Send(job.substr(0, at) + cancel);
        EXPECT_EQ("ERR:0,0,0,0,0,100,", bench.Ask("Nr"));
        const PrinterView view = bench.printer.View();
        EXPECT_EQ(0u, view.violationCount) << view.violations[0].text;
        EXPECT_EQ(1u, view.jobsCancelled);
        EXPECT_EQ(view.cardsReceived, view.cardsCancelled);
        bench.Send(job);
        Sleep(1200);
        EXPECT_EQ(3u, bench.printer.View().cardsPrinted) << "the next job prints";
    }
}

TEST(CardPrinter, TheSecondButtonCancelsAndThereIsNoThird)
{
    PrinterBench bench("error=83");
    bench.Send(ThreeCardJob() + Command("B2"));
    EXPECT_EQ("ERR:0,0,0,0,0,100,", bench.Ask("Nr"));
    EXPECT_EQ(1u, bench.printer.View().jobsCancelled);
    bench.Send(Command("B3"));
    EXPECT_EQ(1u, bench.printer.View().violationCount);
}

TEST(CardPrinter, RefusesToWriteWhatIsNoSetting)
{
    PrinterBench bench;
    uint64_t wrongOnes = 0;
    for (const char* wrong : {"TE21,1T\r", "TE-1,1T\r", "TF1,1T\r", "TF7,1T\r", "TE1T\r", "TE1,T\r",
                              "TE,1T\r", "TE1,1\r", "TE1,1 T\r", "TE99999999999,1T\r", "TE1,aT\r"}) {
        bench.Send(Command(wrong));
        EXPECT_EQ(++wrongOnes, bench.printer.View().violationCount) << wrong;
    }
    EXPECT_EQ("EEprom Settings:5,-3,2,-4,1,-1,0,0,92,84,3,60,12,70,55,80,40,0,4,14,16,", bench.Ask("NE"));
}

TEST(CardPrinter, TellsWhereHostCommandsCame)
{
    PrinterBench bench;
    const std::string side = Command("C") + "\x8F" + std::string(475, 'x');
    bench.Send(Packet(side) + Command("Nr") + Packet(side) + Command("Nr") + Packet(Command("j")));
    Sleep(70);
    bench.Send(Command("NV"));
    const std::vector<CommandSeen> seen = bench.printer.Commands();
    ASSERT_EQ(3u, seen.size());
    const uint64_t packet = 8 + side.size();
    EXPECT_EQ(packet, seen[0].offset);
    EXPECT_TRUE(seen[0].insideCard) << "half a card";
    EXPECT_EQ(2 * packet, seen[1].jobBytes);
    EXPECT_FALSE(seen[1].insideCard) << "two sides";
    EXPECT_EQ("NV", seen[2].mnemonic);
    EXPECT_EQ(70u, seen[2].atMs);
    EXPECT_FALSE(seen[2].insideCard);
    EXPECT_EQ(1u, bench.printer.View().commandsInsideCard);
    EXPECT_EQ(0u, bench.printer.View().violationCount);
}

TEST(CardPrinter, RepliesToACommandInsideAPacketAsItsOptionSays)
{
    const struct {
        const char* options;
        bool repliesToQuery;
        bool repliesToGate;
    } rows[] = {{"", true, true}, {"interleave=security", false, true}, {"interleave=packets", false, false}};
    for (const auto& [options, repliesToQuery, repliesToGate] : rows) {
        SCOPED_TRACE(options);
        PrinterBench bench(options);
        bench.Send(Packet(Command("J") + std::string(40, '?')).substr(0, 12));
        EXPECT_EQ(repliesToGate, !bench.Ask("NP").empty());
        EXPECT_EQ(repliesToGate, bench.printer.View().violationCount == 0);
        EXPECT_EQ(repliesToQuery, !bench.Ask("Nr").empty());
        const PrinterView view = bench.printer.View();
        EXPECT_EQ(repliesToQuery, view.violationCount == 0);
        EXPECT_EQ(view.commands.size(), view.commandsInsidePacket);
        EXPECT_EQ(12 + 5 * (2 - view.commandsInsidePacket), view.jobBytes);
        EXPECT_TRUE(view.insidePacket);
    }
}

TEST(CardPrinter, DropsWhatADocumentLeavesIncomplete)
{
    PrinterBench bench;
    bench.Send(ThreeCardJob().substr(0, 600));
    EXPECT_TRUE(bench.printer.View().insidePacket);
    EXPECT_EQ("", bench.Ask("Nr")) << "taken for job data";
    EXPECT_EQ(1u, bench.printer.View().violationCount);
    bench.printer.EndDocument();
    EXPECT_EQ(2u, bench.printer.View().violationCount);
    EXPECT_NE("", bench.Ask("Nr"));
    bench.Send("no packet at all \x1B_");
    bench.printer.EndDocument();
    bench.Send(Packet(Command("m12\x30")).substr(0, 13));
    bench.printer.EndDocument();
    EXPECT_EQ(3u, bench.printer.View().violationCount);
    bench.Send(ThreeCardJob());
    EXPECT_EQ(3u, bench.printer.View().violationCount);
    EXPECT_EQ(19u, bench.printer.View().rawBytes);
    EXPECT_EQ(4u, bench.printer.View().cardsReceived);
}

} // namespace
} // namespace zrtmon::sim
