#include <gtest/gtest.h>

#include "tests/simulator/printer_fixture.h"

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
                     {"", "Ne", "EEprom Defaults:0,0,0,0,0,0,0,0,90,85,0,60,10,70,55,80,32,0,0,12,16,"},
                     {"", "NF", "Flipper EE Settings:-2,7,1,20,-15,"},
                     {"", "Nf", "Flipper EE Defaults:0,0,0,0,0,"},
                     {"", "TRT", ""}};
    for (const auto& question : questions) {
        SCOPED_TRACE(std::string(question.mnemonic) + " with " + question.options);
        CPrinterFixture fixture(question.options);
        EXPECT_EQ(question.reply, fixture.Ask(question.mnemonic));
        EXPECT_EQ("", fixture.Read()) << "one reply for one question";
        EXPECT_EQ(0u, fixture.printer.View().violationCount);
    }
}

TEST(CardPrinter, CommandsBackToBackAreRepliedToOneByOne)
{
    CPrinterFixture fixture("firmware=1,cut-replies=4,cut-ms=50,reply-ms=30");
    fixture.Send(Command("NV") + Command("NB"));
    EXPECT_EQ("", fixture.Read());
    Sleep(29);
    EXPECT_EQ("", fixture.Read());
    Sleep(1);
    EXPECT_EQ("Ver:", fixture.Read());
    EXPECT_EQ("", fixture.Read());
    Sleep(50);
    EXPECT_EQ("1", fixture.Read()) << "the second reply does not join the first";
    fixture.printer.CutReplies(0);
    EXPECT_EQ("Bay1:4", fixture.Read(6));
    EXPECT_EQ(",1;", fixture.Read());
}

/// What the printer reports at a moment of a job.
struct Moment {
    uint64_t atMs;
    const char* status;
    const char* display;
};

void ExpectMoments(CPrinterFixture& fixture, std::initializer_list<Moment> moments)
{
    for (const Moment& moment : moments) {
        Sleep(static_cast<DWORD>(moment.atMs - fixture.clock.Elapsed()));
        EXPECT_EQ(moment.status, fixture.Ask("Nr")) << moment.atMs << " ms";
        EXPECT_EQ(moment.display, fixture.printer.View().displayLines[0]) << moment.atMs << " ms";
    }
}

std::string ThreeCardJob()
{
    return Packet(Command("J") + CardPayload()) + Packet(CardPayload()) + Packet(CardPayload()) +
           Packet(Command("XZ"));
}

TEST(CardPrinter, PrintsOneCardAfterTheOther)
{
    CPrinterFixture fixture("card-ms=400,ribbon=50,ribbon-cards=200");
    fixture.Send(Packet(Command("J")));
    ExpectMoments(fixture, {{50, "ERR:0,0,1,10,0,100,", "RECEIVING DATA"}});
    fixture.Send(ThreeCardJob());
    ExpectMoments(fixture, {{50, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                            {449, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                            {450, "ERR:1,0,0,11,0,101,", "PRINTING CARD 2"},
                            {850, "ERR:0,0,0,11,0,102,", "PRINTING CARD 3"},
                            {1250, "ERR:0,0,0,0,0,103,", "READY"}});
    EXPECT_EQ(48u, fixture.printer.View().ribbonPercent) << "98.5 cards of 200 are left";
    EXPECT_EQ(3u, fixture.printer.View().cardsPrinted);
    EXPECT_EQ(0u, fixture.printer.View().violationCount);
}

TEST(CardPrinter, StopsAtTheCardThatFailsAndGoesOnByItself)
{
    constexpr DWORD kBeforeTheWrap = 0xFFFFFF00u;
    CPrinterFixture fixture("card-ms=400,error=83,error-at-card=2,clear-ms=1500", kBeforeTheWrap);
    fixture.Send(ThreeCardJob());
    ExpectMoments(fixture, {{399, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                            {400, "ERR:1,83,0,11,0,101,", "ERROR 83"},
                            {1899, "ERR:1,83,0,11,0,101,", "ERROR 83"},
                            {1900, "ERR:1,0,0,11,0,101,", "PRINTING CARD 2"},
                            {2300, "ERR:0,0,0,11,0,102,", "PRINTING CARD 3"},
                            {2700, "ERR:0,0,0,0,0,103,", "READY"}});
    fixture.Send(ThreeCardJob());
    ExpectMoments(fixture, {{5000, "ERR:0,0,0,0,0,106,", "READY"}});
}

TEST(CardPrinter, AnErrorInTheMiddleOfACardHoldsItUntilItIsCleared)
{
    CPrinterFixture fixture("card-ms=400");
    fixture.Send(ThreeCardJob());
    Sleep(100);
    fixture.printer.SetError(25);
    ExpectMoments(fixture, {{10000, "ERR:1,25,0,11,0,100,", "ERROR 25"}});
    fixture.printer.ClearError();
    ExpectMoments(fixture, {{10299, "ERR:1,0,0,11,0,100,", "PRINTING CARD 1"},
                            {10300, "ERR:1,0,0,11,0,101,", "PRINTING CARD 2"}});
    fixture.printer.FailAtCard(3, 91);
    ExpectMoments(fixture, {{20000, "ERR:0,91,0,11,0,102,", "ERROR 91"}});
    EXPECT_EQ("", fixture.Ask("B1"));
    ExpectMoments(fixture, {{20400, "ERR:0,0,0,0,0,103,", "READY"}});
}

TEST(CardPrinter, ACancelDropsTheJobWhereverItComes)
{
    const std::string cancel = std::string(512, '\0') + Command("XC");
    const std::string job = ThreeCardJob();
    for (const size_t at : {size_t{3}, size_t{20}, size_t{100}, size_t{504}, size_t{600}, job.size()}) {
        SCOPED_TRACE("cancelled after byte " + std::to_string(at));
        CPrinterFixture fixture;
        fixture.Send(job.substr(0, at) + cancel);
        EXPECT_EQ("ERR:0,0,0,0,0,100,", fixture.Ask("Nr"));
        const PrinterView view = fixture.printer.View();
        EXPECT_EQ(0u, view.violationCount) << view.violations[0].text;
        EXPECT_EQ(1u, view.jobsCancelled);
        EXPECT_EQ(view.cardsReceived, view.cardsCancelled);
        fixture.Send(job);
        Sleep(1200);
        EXPECT_EQ(3u, fixture.printer.View().cardsPrinted) << "the next job prints";
    }
}

TEST(CardPrinter, TheSecondButtonCancelsAndThereIsNoThird)
{
    CPrinterFixture fixture("error=83");
    fixture.Send(ThreeCardJob() + Command("B2"));
    EXPECT_EQ("ERR:0,0,0,0,0,100,", fixture.Ask("Nr"));
    EXPECT_EQ(1u, fixture.printer.View().jobsCancelled);
    fixture.Send(Command("B3"));
    EXPECT_EQ(1u, fixture.printer.View().violationCount);
}

TEST(CardPrinter, RefusesToWriteWhatIsNoSetting)
{
    CPrinterFixture fixture;
    uint64_t wrongOnes = 0;
    for (const char* wrong : {"TE21,1T\r", "TE-1,1T\r", "TF1,1T\r", "TF7,1T\r", "TE1T\r", "TE1,T\r",
                              "TE,1T\r", "TE1,1\r", "TE1,1 T\r", "TE99999999999,1T\r", "TE1,aT\r"}) {
        fixture.Send(Command(wrong));
        EXPECT_EQ(++wrongOnes, fixture.printer.View().violationCount) << wrong;
    }
    EXPECT_EQ("EEprom Settings:5,-3,2,-4,1,-1,0,0,92,84,3,60,12,70,55,80,40,0,4,14,16,", fixture.Ask("NE"));
}

TEST(CardPrinter, TellsWhereHostCommandsCame)
{
    CPrinterFixture fixture;
    const std::string side = Command("C") + "\x8F" + std::string(475, 'x');
    fixture.Send(Packet(side) + Command("Nr") + Packet(side) + Command("Nr") + Packet(Command("j")));
    Sleep(70);
    fixture.Send(Command("NV"));
    const std::vector<CommandSeen> seen = fixture.printer.Commands();
    ASSERT_EQ(3u, seen.size());
    const uint64_t packet = 8 + side.size();
    EXPECT_EQ(packet, seen[0].offset);
    EXPECT_TRUE(seen[0].insideCard) << "half a card";
    EXPECT_EQ(2 * packet, seen[1].jobBytes);
    EXPECT_FALSE(seen[1].insideCard) << "two sides";
    EXPECT_EQ("NV", seen[2].mnemonic);
    EXPECT_EQ(70u, seen[2].atMs);
    EXPECT_FALSE(seen[2].insideCard);
    EXPECT_EQ(1u, fixture.printer.View().commandsInsideCard);
    EXPECT_EQ(0u, fixture.printer.View().violationCount);
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
        CPrinterFixture fixture(options);
        fixture.Send(Packet(Command("J") + std::string(40, '?')).substr(0, 12));
        EXPECT_EQ(repliesToGate, !fixture.Ask("NP").empty());
        EXPECT_EQ(repliesToGate, fixture.printer.View().violationCount == 0);
        EXPECT_EQ(repliesToQuery, !fixture.Ask("Nr").empty());
        const PrinterView view = fixture.printer.View();
        EXPECT_EQ(repliesToQuery, view.violationCount == 0);
        EXPECT_EQ(view.commands.size(), view.commandsInsidePacket);
        EXPECT_EQ(12 + 5 * (2 - view.commandsInsidePacket), view.jobBytes);
        EXPECT_TRUE(view.insidePacket);
    }
}

TEST(CardPrinter, DropsWhatADocumentLeavesIncomplete)
{
    CPrinterFixture fixture;
    fixture.Send(ThreeCardJob().substr(0, 600));
    EXPECT_TRUE(fixture.printer.View().insidePacket);
    EXPECT_EQ("", fixture.Ask("Nr")) << "taken for job data";
    EXPECT_EQ(1u, fixture.printer.View().violationCount);
    fixture.printer.EndDocument();
    EXPECT_EQ(2u, fixture.printer.View().violationCount);
    EXPECT_NE("", fixture.Ask("Nr"));
    fixture.Send("no packet at all \x1B_");
    fixture.printer.EndDocument();
    fixture.Send(Packet(Command("m12\x30")).substr(0, 13));
    fixture.printer.EndDocument();
    EXPECT_EQ(3u, fixture.printer.View().violationCount);
    fixture.Send(ThreeCardJob());
    EXPECT_EQ(3u, fixture.printer.View().violationCount);
    EXPECT_EQ(19u, fixture.printer.View().rawBytes);
    EXPECT_EQ(4u, fixture.printer.View().cardsReceived);
}

} // namespace
} // namespace zrtmon::sim
