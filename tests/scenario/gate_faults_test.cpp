// The password gate where memory runs out or other threads use the same requests.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"
#include "tests/support/allocation.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon {
namespace {

using test::CSpoolerFixture;

void StorePassword(const std::string& password)
{
    spooler::StoreValue(CSpoolerFixture::kPrinter, L"Password", REG_BINARY, password);
}

TEST(GateFaults, TheStoredPasswordIsWipedAlsoWithoutMemory)
{
    const std::vector<uint8_t> job = sim::BuildJob({}).bytes;
    bool fired = true;
    for (uint64_t failAt = 0; fired; ++failAt) {
        ASSERT_LT(failAt, 1000u) << "the sweep does not end";
        SCOPED_TRACE("allocation " + std::to_string(failAt) + " fails");
        test::COpenPortFixture fixture("protected=1,admin-password=open sesame 12,card-ms=1");
        ASSERT_TRUE(fixture.StartDocument());
        size_t taken = fixture.Offer(job.data(), job.size(), {}, 1);
        StorePassword("open sesame 12");
        const test::CSecretWatch watch("open sesame 12");
        {
            const CFaultPlan plan(FaultPoint::Allocation, failAt);
            taken += fixture.Offer(job.data() + taken, job.size() - taken, {}, 1);
            fired = plan.Fired();
        }
        EXPECT_EQ(0u, watch.UnwipedBlocks());
        EXPECT_TRUE(fixture.EndDocument());
    }
}

TEST(GateThreads, TheStoredPasswordIsPresentedWhateverQueriesPresentConcurrently)
{
    const std::vector<uint8_t> job = sim::BuildJob({}).bytes;
    for (uint64_t seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        CVirtualClock clock(CVirtualClock::kBeforeWrap, seed);
        sim::CPortMonitor ports;
        test::CPortFixture fixture(clock, ports, CSpoolerFixture::kPrinter,
                                   "protected=1,admin-password=boss,card-ms=100");
        ASSERT_TRUE(fixture.Open());
        StorePassword("boss");
        bool isDone = false;
        CVirtualClock::CClockThread person([&] {
            while (!isDone) {
                fixture.Ask(L"Password/nobody"); // each ends the validation
            }
        });
        EXPECT_TRUE(fixture.StartDocument());
        fixture.Offer(job.data(), job.size(), {}, 5000);
        isDone = true;
        person.Join();
        EXPECT_EQ(1u, fixture.Printer().View().passwordsAccepted);
        EXPECT_EQ("-", fixture.ValueOf(L"Password"));
    }
}

} // namespace
} // namespace zrtmon
