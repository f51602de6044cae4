// The first, second, third ... call of a kind fails: whatever the result, the port is usable or cleanly
// closed.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "link/print_monitor_zrt.h"
#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "settings/data_settings_zrt.h"
#include "simulator/job_builder.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon {
namespace {

using test::CSpoolerFixture;

constexpr unsigned kSweepLimit = 2000;

// Made beforehand: these allocations are not the library's.
const std::wstring kCardCount = L"CardCount";
const std::wstring kPrinterError = L"PrinterError";

/// Everything that a port is for, once. A failure anywhere may end it early.
void UsePort(CSpoolerFixture& fixture, const std::vector<uint8_t>& job)
{
    if (!fixture.Open()) {
        return;
    }
    fixture.Ask(kCardCount);
    if (fixture.StartDocument()) {
        fixture.Offer(job.data(), job.size());
        fixture.Ask(kPrinterError);
        fixture.DeleteJob();
        fixture.EndDocument();
    }
    fixture.Close();
}

/// The port, reopened if necessary, prints a complete job and answers a query.
void ExpectUsable(CSpoolerFixture& fixture, const std::vector<uint8_t>& job)
{
    if (fixture.port) {
        ASSERT_TRUE(fixture.Close());
    }
    ASSERT_TRUE(fixture.Open()) << GetLastError();
    fixture.Printer().KeepJob();
    EXPECT_TRUE(fixture.Print(job));
    EXPECT_TRUE(std::ranges::equal(job, fixture.Printer().JobBytes()));
    EXPECT_TRUE(fixture.Ask(L"CardCount").ok);
    EXPECT_TRUE(fixture.Close());
}

/// UsePort with one call failing, of that kind or, without one, at the lower port. Returns whether a call
/// failed.
bool UseWithFault(CSpoolerFixture& fixture, std::optional<FaultPoint> point, uint64_t failAt,
                  const std::vector<uint8_t>& job)
{
    if (point) {
        const CFaultPlan plan(*point, failAt);
        UsePort(fixture, job);
        return plan.Fired();
    }
    fixture.lower.FailCall(failAt, ERROR_GEN_FAILURE);
    UsePort(fixture, job);
    fixture.lower.FailNothing();
    return !fixture.lower.FailedCall().empty();
}

/// Uses a port with call 0, 1, 2 ... failing until one run meets no failure.
void Sweep(std::optional<FaultPoint> point)
{
    const std::vector<uint8_t> job = sim::BuildJob({.recordsPerSide = 2, .payloadBytes = 512}).bytes;
    bool fired = true;
    for (uint64_t failAt = 0; fired; ++failAt) {
        ASSERT_LT(failAt, kSweepLimit) << "the sweep does not end";
        SCOPED_TRACE("call " + std::to_string(failAt) + " fails");
        const uint64_t handles = OpenHandleCount();
        const uint64_t blocks = GlobalBlockCount();
        const size_t printers = spooler::OpenPrinterCount();
        uint64_t leftOpen = 0;
        {
            CSpoolerFixture fixture("card-ms=1");
            fired = UseWithFault(fixture, point, failAt, job);
            // If the lower monitor could not end a document, closing its port does not free the record.
            leftOpen = fixture.lower.FailedCall() == "EndDocPort" ? 1 : 0;
            ExpectUsable(fixture, job);
            const sim::PortView view = fixture.ports.View(fixture.PortName());
            EXPECT_EQ(leftOpen, view.misuses) << testing::PrintToString(view.misuseTexts);
        }
        EXPECT_EQ(printers, spooler::OpenPrinterCount());
        EXPECT_EQ(handles, OpenHandleCount());
        EXPECT_EQ(blocks + leftOpen, GlobalBlockCount());
        ASSERT_TRUE(fired || failAt > 0) << "no call was ever made";
    }
}

TEST(FaultSweep, Allocations) { Sweep(FaultPoint::Allocation); }
TEST(FaultSweep, HandleCreations) { Sweep(FaultPoint::HandleCreation); }
TEST(FaultSweep, SpoolerCalls) { Sweep(FaultPoint::SpoolerCall); }
TEST(FaultSweep, LowerCalls) { Sweep({}); }

TEST(FaultSweep, WithoutAPrintJobRequestNoDocumentBegins)
{
    CPrintMonitorZRT model;
    const CFaultPlan plan(FaultPoint::Allocation, 0);
    EXPECT_FALSE(model.ResetJob());
    EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, GetLastError());
}

TEST(FaultSweep, SettingsWithoutMemoryForTheirChainAreRefused)
{
    CDataSettingsZRT current;
    CDataSettingsZRTDefault defaults;
    for (CData* request : {static_cast<CData*>(&current), static_cast<CData*>(&defaults)}) {
        {
            const CFaultPlan plan(FaultPoint::Allocation, 0);
            EXPECT_FALSE(request->Prepare(L""));
        }
        EXPECT_TRUE(request->Prepare(L"") && request->GetNext());
    }
}

TEST(FaultSweep, AQueryAfterADeletedJobIsSentOnlyIfTheCancelWas)
{
    const std::vector<uint8_t> job = sim::BuildJob({.cards = 3}).bytes;
    bool fired = true;
    for (uint64_t failAt = 0; fired; ++failAt) {
        ASSERT_LT(failAt, kSweepLimit);
        SCOPED_TRACE("allocation " + std::to_string(failAt) + " fails");
        test::COpenPortFixture fixture;
        ASSERT_TRUE(fixture.StartDocument());
        fixture.Offer(job.data(), job.size() / 2);
        fixture.DeleteJob();
        {
            const CFaultPlan plan(FaultPoint::Allocation, failAt);
            EXPECT_TRUE(fixture.EndDocument());
            fired = plan.Fired();
        }
        const bool isCancelled = fixture.Printer().View().jobsCancelled > 0;
        EXPECT_TRUE(isCancelled || fired);
        EXPECT_EQ(isCancelled, fixture.Ask(kCardCount).ok);
    }
}

} // namespace
} // namespace zrtmon
