// Every allocation that a policy file's loading makes fails once.
#include <gtest/gtest.h>

#include <string>

#include "platform/faults.h"
#include "platform/virtual_clock.h"
#include "security/config_password.h"
#include "tests/support/policy_file.h"

namespace zrtmon {
namespace {

using test::PolicyFile;
using test::PolicyText;

const std::string kBothRules =
    PolicyText("<PassWordOnfirstCard Enabled=\"True\"/><PassWordAfterDelay Enabled=\"True\"><DelayHours "
               "DelayTime=\"1 hour\"/></PassWordAfterDelay>");

/// A password that was entered counts until the next day, and then until the hour is over.
void ExpectBothRules(CConfigPassword& config, VirtualClock& clock)
{
    const auto isDue = [&](WORD enteredHour, WORD nowDay, WORD nowHour) {
        clock.SetLocalTime({2026, 3, 0, 5, enteredHour, 30, 0, 0});
        config.MarkEntered();
        clock.SetLocalTime({2026, 3, 0, nowDay, nowHour, 0, 0, 0});
        return config.IsPasswordRequired();
    };
    EXPECT_FALSE(isDue(10, 5, 12)) << "the first-card rule is off";
    EXPECT_FALSE(isDue(23, 6, 0)) << "the delay rule is off";
    EXPECT_TRUE(isDue(10, 6, 12));
}

TEST(PolicyFaults, NoFailingAllocationSwitchesARuleOff)
{
    VirtualClock clock;
    const PolicyFile file(kBothRules);
    const std::wstring path = file.Path();
    bool fired = true;
    for (uint64_t failAt = 0; fired; ++failAt) {
        ASSERT_LT(failAt, 1000u) << "the sweep does not end";
        SCOPED_TRACE("allocation " + std::to_string(failAt) + " fails");
        CConfigPassword config;
        BOOL loaded = FALSE;
        {
            const FaultPlan plan(FaultPoint::Allocation, failAt);
            loaded = config.Load(path.c_str());
            fired = plan.Fired();
        }
        EXPECT_TRUE(loaded || fired);
        if (loaded) {
            ExpectBothRules(config, clock);
        }
    }
}

} // namespace
} // namespace zrtmon
