// Print jobs through the entry-point table to the simulated printer.
#include <gtest/gtest.h>

#include <atomic>
#include <list>

#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"
#include "tests/support/spooler_bench.h"

namespace zrtmon {
namespace {

using test::SpoolerBench;

sim::Job ThreeCards()
{
    sim::JobShape shape;
    shape.cards = 3;
    return sim::BuildJob(shape);
}

TEST(PrintJob, ReachesThePrinterUnchangedAndIsReportedSent)
{
    for (const size_t piece : {1u, 7u, 512u, 4096u, 65536u}) {
        SCOPED_TRACE(piece);
        SpoolerBench bench("cards=250");
        const size_t printers = spooler::OpenPrinterCount();
        ASSERT_TRUE(bench.Open());
        bench.Printer().KeepJob();
        const sim::Job job = ThreeCards();
        ASSERT_TRUE(bench.StartDocument());
        EXPECT_EQ(job.bytes.size(), bench.Offer(job.bytes.data(), job.bytes.size(), [=] { return piece; }));
        EXPECT_TRUE(bench.EndDocument());
        EXPECT_EQ(job.bytes, bench.Printer().JobBytes());
        const sim::PrinterView view = bench.Printer().View();
        EXPECT_EQ(3u, view.cardsPrinted);
        EXPECT_EQ(0u, view.violationCount) << (view.violations.empty() ? "" : view.violations[0].text);
        EXPECT_EQ(0u, view.commandsInsideCard);
        EXPECT_GT(view.commands.at("Nr"), 2u) << "the status is asked between cards";
        EXPECT_EQ("253", SpoolerBench::Published(L"CardCount"));
        EXPECT_EQ("1", SpoolerBench::Published(L"PrinterError"));
        EXPECT_EQ("-1", SpoolerBench::Published(L"PrinterStatus"));
        EXPECT_EQ("0", SpoolerBench::Published(L"DeviceError"));
        EXPECT_EQ(printers, spooler::OpenPrinterCount());
    }
}

TEST(PrintJob, IsReportedSentOnlyAfterThePrinterHasFinished)
{
    SpoolerBench bench("card-ms=60000");
    ASSERT_TRUE(bench.Open());
    const sim::Job job = sim::BuildJob({});
    const DWORD id = spooler::SubmitJob(SpoolerBench::kPrinter, L"probe") + 1; // the next one's
    spooler::RemoveJob(SpoolerBench::kPrinter, id - 1);
    const auto isPrinted = [id] {
        return (spooler::JobStatus(SpoolerBench::kPrinter, id).value_or(0) & JOB_STATUS_PRINTED) != 0;
    };
    VirtualClock::Thread watcher([&] {
        while (bench.Printer().View().cardsPrinted == 0) {
            EXPECT_FALSE(isPrinted());
            Sleep(1000);
        }
    });
    ASSERT_TRUE(bench.StartDocument());
    EXPECT_EQ(job.bytes.size(), bench.Offer(job.bytes.data(), job.bytes.size()));
    EXPECT_TRUE(bench.table->pfnEndDocPort(bench.port));
    EXPECT_TRUE(isPrinted());
    EXPECT_GE(bench.clock.Elapsed(), 60000u);
}

TEST(PrintJob, AnErrorBetweenCardsHoldsTheRestUntilItClears)
{
    SpoolerBench bench("error=83,error-at-card=2,clear-ms=20000");
    ASSERT_TRUE(bench.Open());
    bench.Printer().KeepJob();
    const sim::Job job = ThreeCards();
    bool seen = false;
    VirtualClock::Thread watcher([&] {
        while (bench.Printer().View().cardsPrinted < 3) {
            if (SpoolerBench::Published(L"PrinterError") == "21") {
                seen = true;
                EXPECT_EQ("83", SpoolerBench::Published(L"DeviceError"));
            }
            Sleep(200);
        }
    });
    EXPECT_TRUE(bench.Print(job.bytes));
    watcher.Join();
    EXPECT_TRUE(seen);
    EXPECT_EQ(job.bytes, bench.Printer().JobBytes());
    EXPECT_GE(bench.clock.Elapsed(), 20000u);
    EXPECT_EQ("1", SpoolerBench::Published(L"PrinterError"));
}

TEST(PrintJob, QueriesAreAnsweredBetweenCardsWhileItPrints)
{
    SpoolerBench bench("cards=250,card-ms=3000");
    ASSERT_TRUE(bench.Open());
    bench.Printer().KeepJob();
    sim::JobShape shape;
    shape.cards = 6;
    const sim::Job job = sim::BuildJob(shape);
    std::atomic<bool> printing = true;
    std::atomic<int> answered = 0;
    {
        std::list<VirtualClock::Thread> threads;
        for (const wchar_t* name : {L"CardCount", L"PrinterError", L"cardcount"}) {
            threads.emplace_back([&, name, isError = name[0] == L'P'] {
                while (printing) {
                    const SpoolerBench::Answer answer = bench.Ask(name);
                    answered += answer.ok;
                    EXPECT_EQ(answer.ok ? DWORD{0} : DWORD{ERROR_BUSY}, answer.error);
                    EXPECT_TRUE(!answer.ok || isError == (answer.text == "1")) << answer.text;
                    EXPECT_TRUE(!answer.ok || isError || answer.text.starts_with("25")) << answer.text;
                }
            });
        }
        EXPECT_TRUE(bench.Print(job.bytes));
        printing = false;
    }
    EXPECT_GT(answered, 10);
    EXPECT_EQ(job.bytes, bench.Printer().JobBytes());
    EXPECT_EQ(0u, bench.Printer().View().violationCount);
    EXPECT_EQ(0u, bench.Printer().View().commandsInsideCard);
    EXPECT_EQ("256", bench.Ask(L"CardCount").text);
}

TEST(PrintJob, EachJobOfADocumentNeedsAPasswordOfItsOwn)
{
    SpoolerBench bench("protected=1,admin-password=boss,card-ms=100");
    ASSERT_TRUE(bench.Open());
    const std::vector<uint8_t> job = sim::BuildJob({}).bytes;
    bench.Printer().SetValidated(true);
    ASSERT_TRUE(bench.StartDocument());
    EXPECT_EQ(job.size(), bench.Offer(job.data(), job.size()));
    EXPECT_GT(job.size(), bench.Offer(job.data(), job.size(), {}, 5000));
    EXPECT_EQ("100", SpoolerBench::Published(L"PrinterError"));
    EXPECT_TRUE(bench.EndDocument());
}

TEST(PrintJob, ADeletedJobIsCancelledAtThePrinter)
{
    SpoolerBench bench("card-ms=3000");
    ASSERT_TRUE(bench.Open());
    const sim::Job job = ThreeCards();
    ASSERT_TRUE(bench.StartDocument());
    bench.Offer(job.bytes.data(), job.bytes.size() / 2, {}, 500);
    bench.DeleteJob();
    const uint64_t start = bench.clock.Elapsed();
    EXPECT_TRUE(bench.EndDocument());
    // The cancel command takes 250 ms, and so would a status. Not to the millisecond: the clock may be a real
    // one.
    EXPECT_LT(bench.clock.Elapsed(), start + 2 * 250) << "no status is waited for";
    EXPECT_EQ(1u, bench.Printer().View().commands.at("XC"));
    EXPECT_EQ(1u, bench.Printer().View().jobsCancelled);
    EXPECT_EQ("100", bench.Ask(L"CardCount").text) << "queries are answered at once again";
    bench.Printer().KeepJob();
    EXPECT_TRUE(bench.Print(job.bytes));
    EXPECT_EQ(job.bytes, bench.Printer().JobBytes());
}

} // namespace
} // namespace zrtmon
