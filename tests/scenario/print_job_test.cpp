// Print jobs through the entry-point table to the simulated printer.
#include <gtest/gtest.h>

#include <atomic>
#include <list>

#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon {
namespace {

using test::COpenPortFixture;

const std::vector<uint8_t> kThreeCards = sim::BuildJob({.cards = 3}).bytes;

bool IsReportedSent(const COpenPortFixture& fixture)
{
    return (fixture.JobStatus() & JOB_STATUS_PRINTED) != 0;
}

TEST(PrintJob, ReachesThePrinterUnchangedAndIsReportedSent)
{
    for (const size_t piece : {1u, 7u, 512u, 4096u, 65536u}) {
        SCOPED_TRACE(piece);
        const size_t printers = spooler::OpenPrinterCount();
        COpenPortFixture fixture("cards=250");
        fixture.Printer().KeepJob();
        fixture.lower.trouble = [&fixture](const char* call) {
            EXPECT_FALSE(IsReportedSent(fixture) && call == std::string("WritePort")) << "before its end";
            return DWORD{0};
        };
        EXPECT_TRUE(fixture.Print(kThreeCards, [=] { return piece; }));
        EXPECT_TRUE(IsReportedSent(fixture));
        EXPECT_EQ(kThreeCards, fixture.Printer().JobBytes());
        const sim::PrinterView view = fixture.Printer().View();
        EXPECT_EQ(3u, view.cardsPrinted);
        EXPECT_EQ(0u, view.violationCount) << (view.violations.empty() ? "" : view.violations[0].text);
        EXPECT_EQ(0u, view.commandsInsideCard);
        EXPECT_GT(view.commands.at("Nr"), 2u) << "the status is asked between cards";
        EXPECT_EQ("253", fixture.ValueOf(L"CardCount"));
        EXPECT_EQ("1", fixture.ValueOf(L"PrinterError"));
        EXPECT_EQ("-1", fixture.ValueOf(L"PrinterStatus"));
        EXPECT_EQ("0", fixture.ValueOf(L"DeviceError"));
        EXPECT_EQ(printers, spooler::OpenPrinterCount());
    }
}

TEST(PrintJob, AnErrorBetweenCardsHoldsTheRestUntilItClears)
{
    COpenPortFixture fixture("error=83,error-at-card=2,clear-ms=20000");
    fixture.Printer().KeepJob();
    bool seen = false;
    CVirtualClock::CClockThread watcher([&] {
        while (fixture.Printer().View().cardsPrinted < 3) {
            if (fixture.ValueOf(L"PrinterError") == "21") {
                seen = true;
                EXPECT_EQ("83", fixture.ValueOf(L"DeviceError"));
            }
            Sleep(200);
        }
    });
    EXPECT_TRUE(fixture.Print(kThreeCards));
    watcher.Join();
    EXPECT_TRUE(seen);
    EXPECT_EQ(kThreeCards, fixture.Printer().JobBytes());
    EXPECT_GE(fixture.clock.Elapsed(), 20000u);
    EXPECT_EQ("1", fixture.ValueOf(L"PrinterError"));
}

TEST(PrintJob, QueriesAreAnsweredBetweenCardsWhileItPrints)
{
    COpenPortFixture fixture("cards=250,card-ms=3000");
    fixture.Printer().KeepJob();
    const std::vector<uint8_t> job = sim::BuildJob({.cards = 6}).bytes;
    std::atomic<bool> printing = true;
    std::atomic<int> answered = 0;
    {
        std::list<CVirtualClock::CClockThread> threads;
        for (const wchar_t* name : {L"CardCount", L"PrinterError", L"cardcount"}) {
            threads.emplace_back([&, name, isError = name[0] == L'P'] {
                while (printing) {
                    const COpenPortFixture::Answer answer = fixture.Ask(name);
                    answered += answer.ok;
                    EXPECT_EQ(answer.ok ? DWORD{0} : DWORD{ERROR_BUSY}, answer.error);
                    EXPECT_TRUE(!answer.ok || isError == (answer.text == "1")) << answer.text;
                    EXPECT_TRUE(!answer.ok || isError || answer.text.starts_with("25")) << answer.text;
                }
            });
        }
        EXPECT_TRUE(fixture.Print(job));
        printing = false;
    }
    EXPECT_GT(answered, 10);
    EXPECT_EQ(job, fixture.Printer().JobBytes());
    EXPECT_EQ(0u, fixture.Printer().View().violationCount);
    EXPECT_EQ(0u, fixture.Printer().View().commandsInsideCard);
    EXPECT_EQ("256", fixture.Ask(L"CardCount").text);
}

TEST(PrintJob, ADeletedJobIsCancelledAtThePrinter)
{
    COpenPortFixture fixture("card-ms=3000");
    ASSERT_TRUE(fixture.StartDocument());
    fixture.Offer(kThreeCards.data(), kThreeCards.size() / 2, {}, 500);
    fixture.DeleteJob();
    const uint64_t start = fixture.clock.Elapsed();
    EXPECT_TRUE(fixture.EndDocument());
    // The cancel command takes 250 ms, and so would a status. Not to the millisecond: the clock may be a real
    // one.
    EXPECT_LT(fixture.clock.Elapsed(), start + 2 * 250) << "no status is waited for";
    EXPECT_EQ(1u, fixture.Printer().View().commands.at("XC"));
    EXPECT_EQ(1u, fixture.Printer().View().jobsCancelled);
    EXPECT_EQ("100", fixture.Ask(L"CardCount").text) << "queries are answered at once again";
    fixture.Printer().KeepJob();
    EXPECT_TRUE(fixture.Print(kThreeCards));
    EXPECT_EQ(kThreeCards, fixture.Printer().JobBytes());
}

} // namespace
} // namespace zrtmon
