// The first, second, third ... call of a kind fails: whatever comes of it, the port is usable or cleanly
// closed.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"
#include "tests/support/spooler_bench.h"

namespace zrtmon {
namespace {

using test::SpoolerBench;

constexpr unsigned kSweepLimit = 2000;

// Made beforehand: these allocations are not the library's.
const std::wstring kCardCount = L"CardCount";
const std::wstring kPrinterError = L"PrinterError";

/// Everything that a port is for, once. A failure anywhere may end it early.
void UsePort(SpoolerBench& bench, const std::vector<uint8_t>& job)
{
    if (!bench.Open()) {
        return;
    }
    bench.Ask(kCardCount);
    if (bench.StartDocument()) {
        bench.Offer(job.data(), job.size());
        bench.Ask(kPrinterError);
        bench.DeleteJob();
        bench.EndDocument();
    }
    bench.Close();
}

/// The port, opened anew if need be, prints a job whole and answers.
void ExpectUsable(SpoolerBench& bench, const std::vector<uint8_t>& job)
{
    if (bench.port) {
        ASSERT_TRUE(bench.Close());
    }
    ASSERT_TRUE(bench.Open()) << GetLastError();
    bench.Printer().KeepJob();
    EXPECT_TRUE(bench.Print(job));
    EXPECT_TRUE(std::ranges::equal(job, bench.Printer().JobBytes()));
    EXPECT_TRUE(bench.Ask(L"CardCount").ok);
    EXPECT_TRUE(bench.Close());
}

/// Runs the scenario with call 0, 1, 2 ... failing until one run meets no failure.
void Sweep(
    const std::function<bool(SpoolerBench&, uint64_t failAt, const std::vector<uint8_t>& job)>& runWithFault)
{
    sim::JobShape shape;
    shape.recordsPerSide = 2;
    shape.payloadBytes = 512;
    const std::vector<uint8_t> job = sim::BuildJob(shape).bytes;
    for (uint64_t failAt = 0;; ++failAt) {
        ASSERT_LT(failAt, kSweepLimit) << "the sweep does not end";
        SCOPED_TRACE("call " + std::to_string(failAt) + " fails");
        const uint64_t handles = OpenHandleCount();
        uint64_t blocks = GlobalBlockCount();
        const size_t printers = spooler::OpenPrinterCount();
        bool fired = false;
        {
            SpoolerBench bench("card-ms=1");
            fired = runWithFault(bench, failAt, job);
            // A document that could not be ended below leaves the record behind when its port is closed.
            blocks += bench.lower.FailedCall() == "EndDocPort" ? 1 : 0;
            ExpectUsable(bench, job);
        }
        EXPECT_EQ(printers, spooler::OpenPrinterCount());
        EXPECT_EQ(handles, OpenHandleCount());
        EXPECT_EQ(blocks, GlobalBlockCount());
        if (!fired) {
            ASSERT_GT(failAt, 0u) << "no call was ever made";
            return;
        }
    }
}

bool RunWithPlan(FaultPoint point, SpoolerBench& bench, uint64_t failAt, const std::vector<uint8_t>& job)
{
    const FaultPlan plan(point, failAt);
    UsePort(bench, job);
    return plan.Fired();
}

TEST(FaultSweep, Allocations)
{
    Sweep([](SpoolerBench& bench, uint64_t failAt, const auto& job) {
        return RunWithPlan(FaultPoint::Allocation, bench, failAt, job);
    });
}

TEST(FaultSweep, HandleCreations)
{
    Sweep([](SpoolerBench& bench, uint64_t failAt, const auto& job) {
        return RunWithPlan(FaultPoint::HandleCreation, bench, failAt, job);
    });
}

TEST(FaultSweep, SpoolerCalls)
{
    Sweep([](SpoolerBench& bench, uint64_t failAt, const auto& job) {
        return RunWithPlan(FaultPoint::SpoolerCall, bench, failAt, job);
    });
}

TEST(FaultSweep, LowerCalls)
{
    Sweep([](SpoolerBench& bench, uint64_t failAt, const auto& job) {
        bench.lower.FailCall(failAt, ERROR_GEN_FAILURE);
        UsePort(bench, job);
        bench.lower.FailNothing();
        return bench.lower.Fired();
    });
}

} // namespace
} // namespace zrtmon
