#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/job_builder.h"
#include "tests/simulator/printer_bench.h"

namespace zrtmon::sim {
namespace {

struct Question {
    const char* options;
    const char* mnemonic;
    const char* reply;
};

TEST(CardPrinter, RepliesInTheFormOfEachQuestion)
{
    const Question kQuestions[] = {

        {"cards=250", "Nr", "ERR:0,0,0,0,0,250,"},
        {"error=83", "Nr", "ERR:0,83,0,0,0,100,"},
        {"protected=1", "Nr", "ERR:0,0,0,0,1,100,"},
        {"", "NM", "Module Status:1,1"},
        {"mag=0", "NM", "Module Status:0,1"},
        {"flipper=0", "NM", "Module Status:1,0"},
        {"firmware=9.8", "NV", "Ver:9.8"},
        {"ribbon=87", "NR", "Ribbon Info:R5210,OEM5210,1,YMCKO,DYE,87"},
        {"track1=A,track2=,track3=C", "N0", "MAG:A,,C;"},
        {"mag=0", "N0", "MAG:,,;"},
        {"cards=7", "NL", "LCD:READY;CARDS 7"},
        {"error=5", "NL", "LCD:ERROR 5;CARDS 100"},
        {"", "NE", "EEprom Settings:5,-3,2,-4,1,-1,0,0,92,84,3,60,12,70,55,80,40,0,4,14,16,"},
        {"", "Ne", "EEprom Defaults:0,0,0,0,0,0,0,0,90,85,0,60,10,70,55,80,32,0,0,12,16,"},
        {"", "NF", "Flipper EE Settings:-2,7,1,20,-15,"},
        {"", "Nf", "Flipper EE Defaults:0,0,0,0,0,"},
        {"flipper=0", "NF", "Flipper not fitted;"},
        {"flipper=0", "Nf", "Flipper not fitted;"},
        {"bay1-station=4,bay1-state=7", "NB", "Bay1:4,7;"},
        {"bay2-station=1,bay2-state=12", "NC", "Bay2:1,12;"},
        {"noise=??,firmware=1", "NV", "??Ver:1"},
        {"never-answer=1", "Nr", ""},
        {"", "TRT", ""},
        {"", "e", ""}};
    for (const Question& question : kQuestions) {
        SCOPED_TRACE(std::string(question.mnemonic) + " with " + question.options);
        PrinterBench bench(question.options);
        EXPECT_EQ(question.reply, bench.Ask(question.mnemonic));
        EXPECT_EQ("", bench.Read()) << "one reply for one question";
        EXPECT_EQ(0u, bench.printer.View().violationCount);
        EXPECT_EQ(1u, bench.printer.View().commands[question.mnemonic]);
    }
}

TEST(CardPrinter, DeviceIdNamesTheSerialNumber)
{
    PrinterBench bench("serial=XY77,model=M1");
    EXPECT_EQ("MFG:ZRT;CMD:ZRT;MDL:M1;CLS:PRINTER;SN:XY77;", bench.printer.DeviceId());
    bench.printer.SetDeviceId("MFG:other;");
    EXPECT_EQ("MFG:other;", bench.printer.DeviceId());
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

TEST(CardPrinter, RepliesCanBeReplacedOneByOne)
{
    PrinterBench bench;
    bench.printer.SetReply("NV", std::string("V\0X", 3));
    bench.printer.SetReply("e", "moved");
    bench.printer.SetReply("NM", "");
    EXPECT_EQ(std::string("V\0X", 3), bench.Ask("NV"));
    EXPECT_EQ("moved", bench.Ask("e"));
    EXPECT_EQ("", bench.Ask("NM"));
    bench.printer.ClearReply("NM");
    EXPECT_EQ("Module Status:1,1", bench.Ask("NM"));
    bench.printer.NeverAnswer();
    EXPECT_EQ("", bench.Ask("NM"));
    bench.printer.NeverAnswer(false);
    bench.printer.ReplyNoise("#");
    EXPECT_EQ("#Module Status:1,1", bench.Ask("NM"));
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

TEST(CardPrinter, CatchesUpWithAllThatFellDueMeanwhile)
{
    PrinterBench bench("card-ms=100,error=83,error-at-card=2,clear-ms=1000,buffer-cards=9");
    bench.Send(ThreeCardJob());
    ExpectMoments(bench,
                  {{1299, "ERR:0,0,0,11,0,102,", "PRINTING CARD 3"}, {9000, "ERR:0,0,0,0,0,103,", "READY"}});
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
    bench.printer.SetPrintState(29);
    bench.printer.SetBusy(true);
    EXPECT_EQ("ERR:1,0,0,29,0,103,", bench.Ask("Nr"));
    bench.printer.SetPrintState(std::nullopt);
    bench.printer.SetBusy(std::nullopt);
    EXPECT_EQ("ERR:0,0,0,0,0,103,", bench.Ask("Nr"));
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

TEST(CardPrinter, ButtonsMovesAndUtilitiesChangeWhatItReports)
{
    PrinterBench bench("error=83");
    bench.Send(ThreeCardJob() + Command("B2"));
    EXPECT_EQ("ERR:0,0,0,0,0,100,", bench.Ask("Nr"));
    EXPECT_EQ(1u, bench.printer.View().jobsCancelled);
    bench.Send(Command("B3"));
    EXPECT_EQ(1u, bench.printer.View().violationCount);

    struct MoveCase {
        std::vector<std::string> commands;
        const char* bay1;
    };
    for (const MoveCase& move : {MoveCase{{"e"}, "Bay1:2,1;"}, MoveCase{{"d"}, "Bay1:4,1;"},
                                 MoveCase{{"i", "S1"}, "Bay1:3,5;"}, MoveCase{{"PPL", "i"}, "Bay1:1,2;"},
                                 MoveCase{{"PIL", "i"}, "Bay1:4,2;"}, MoveCase{{"PML", "i"}, "Bay1:3,2;"},
                                 MoveCase{{"i"}, "Bay1:1,2;"}, MoveCase{{"i", "r"}, "Bay1:2,6;"}}) {
        std::string bytes;
        for (const std::string& command : move.commands) {
            bytes += Command(command);
        }
        bench.Send(bytes);
        EXPECT_EQ(move.bay1, bench.Ask("NB")) << move.commands.back();
        EXPECT_EQ(move.commands.back(), bench.printer.View().moves.back());
    }
    bench.printer.SetBay(2, 3, 11);
    EXPECT_EQ("Bay2:3,11;", bench.Ask("NC"));
    bench.Send(Command("TRT") + Command("TCT") + Command("TLT"));
    EXPECT_EQ((std::vector<std::string>{"TRT", "TCT", "TLT"}), bench.printer.View().utilities);
    EXPECT_EQ((std::vector<std::string>{"2"}), bench.printer.View().buttons);
}

TEST(CardPrinter, AWrittenSettingIsReadBack)
{
    PrinterBench bench;
    bench.Send(Command("TE0,-128T\r") + Command("TE20,127T\r") + Command("TF2,5T\r") + Command("TF6,-9T\r"));
    EXPECT_EQ("EEprom Settings:-128,-3,2,-4,1,-1,0,0,92,84,3,60,12,70,55,80,40,0,4,14,127,", bench.Ask("NE"));
    EXPECT_EQ("Flipper EE Settings:5,7,1,20,-9,", bench.Ask("NF"));
    EXPECT_EQ("Flipper EE Defaults:0,0,0,0,0,", bench.Ask("Nf"));
    EXPECT_EQ(0u, bench.printer.View().violationCount);
    const char* const kWrong[] = {"TE21,1T\r", "TE-1,1T\r", "TF1,1T\r", "TF7,1T\r",  "TE1T\r",
                                  "TE1,T\r",   "TE,1T\r",   "TE1,1\r",  "TE1,1 T\r", "TE99999999999,1T\r",
                                  "TE1,aT\r"};
    for (const char* wrong : kWrong) {
        const uint64_t before = bench.printer.View().violationCount;
        bench.Send(Command(wrong));
        EXPECT_EQ(before + 1, bench.printer.View().violationCount) << wrong;
    }
    EXPECT_EQ(-128, bench.printer.View().eepromSettings[0]);
    EXPECT_EQ(5, bench.printer.View().flipperSettings[0]);
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

TEST(CardPrinter, ServesManyThreads)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 100;
    PrinterBench bench("card-ms=3");
    std::vector<VirtualClock::Thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&bench] {
            for (int round = 0; round < kRounds; ++round) {
                bench.Send(Command("Nr"));
                EXPECT_NE("", bench.Read());
                bench.Send(Packet(CardPayload()));
                bench.printer.SetTracks("A", "B", "C");
                EXPECT_EQ(2u, bench.printer.View().displayLines.size());
                Sleep(1);
            }
        });
    }
    for (VirtualClock::Thread& thread : threads) {
        thread.Join();
    }
    Sleep(3 * kThreads * kRounds);
    const PrinterView view = bench.printer.View();
    EXPECT_EQ(static_cast<uint64_t>(kThreads * kRounds), view.commands.at("Nr"));
    EXPECT_EQ(static_cast<uint32_t>(kThreads * kRounds), view.cardsPrinted);
    EXPECT_EQ(0u, view.violationCount);
}

} // namespace
} // namespace zrtmon::sim
