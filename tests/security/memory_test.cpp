// Memory: allocations that fail while a policy is loaded, and passwords in blocks that are freed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>

#include "link/print_monitor_zrt.h"
#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "platform/virtual_clock.h"
#include "requests/data.h"
#include "security/config_password.h"
#include "tests/support/allocation.h"
#include "tests/support/policy_file.h"

namespace zrtmon {
namespace {

using test::CPolicyFile;
using test::PolicyText;

const std::string kBothRules =
    PolicyText("<PassWordOnfirstCard Enabled=\"True\"/><PassWordAfterDelay Enabled=\"True\"><DelayHours "
               "DelayTime=\"1 hour\"/></PassWordAfterDelay>");

/// A password that was entered counts until the next day, and then until the hour is over.
void ExpectBothRules(CConfigPassword& config, CVirtualClock& clock)
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
    CVirtualClock clock;
    const CPolicyFile file(kBothRules);
    const std::wstring path = file.Path();
    bool fired = true;
    for (uint64_t failAt = 0; fired; ++failAt) {
        ASSERT_LT(failAt, 1000u) << "the sweep does not end";
        SCOPED_TRACE("allocation " + std::to_string(failAt) + " fails");
        CConfigPassword config;
        BOOL loaded = FALSE;
        {
            const CFaultPlan plan(FaultPoint::Allocation, failAt);
            loaded = config.Load(path.c_str());
            fired = plan.Fired();
        }
        EXPECT_TRUE(loaded || fired);
        if (loaded) {
            ExpectBothRules(config, clock);
        }
    }
}

const std::wstring kPasswordTexts[] = {
    L"Password/open sesame 123", L"SetAdminPassword/open sesame 123/open sesame 123",
    L"SetUserPassword/open sesame 123", L"DisablePassword/open sesame 123\u20AC",
    L"SetUserPassword/x/too long: open sesame 123"};

/// Prepares the request of a text and, if the text is accepted, builds and sends its command.
void UseRequest(CPrintMonitorZRT& model, const std::wstring& text)
{
    CData* token = model.GetRequestByName(text.c_str());
    if (!token) {
        return;
    }
    constexpr char kReply[] = "Corbel:0102030405060708;";
    ASSERT_TRUE(token->ProcessReply(kReply, sizeof kReply - 1));
    uint32_t length = 0;
    const uint8_t* command = token->GetNext()->GetCommand(&length);
    ASSERT_NE(nullptr, command);
    token->GetNext()->SetSentLength(length);
    EXPECT_EQ(length, std::count(command, command + length, 0)) << "its block stays for the next command";
}

TEST(ParameterFaults, WithoutMemoryARequestIsRefused)
{
    spooler::CreatePrinter(L"Cards");
    spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY, "BlueLED=1," + std::string(100, ' '));
    const std::wstring longText(100, L'1');
    for (const wchar_t* name :
         {L"Password/", L"DisablePassword/", L"EnablePassword/", L"SetAdminPassword/a/",
          L"SetUserPassword/a/", L"MoveTo/", L"StationStatus/", L"InitializeSettings/Cards"}) {
        const bool takesNewPassword = std::wcsstr(name, L"Password/a") != nullptr;
        const std::wstring text = name + (name[0] == L'I'    ? L""
                                          : takesNewPassword ? L"12345678901"
                                                             : longText);
        bool fired = true;
        bool isRefused = false;
        for (uint64_t failAt = 0; fired; ++failAt) {
            ASSERT_LT(failAt, 100u) << "the sweep does not end";
            CPrintMonitorZRT model;
            ASSERT_TRUE(model.GetRequest(model.GetRequestCode(name)));
            const CFaultPlan plan(FaultPoint::Allocation, failAt);
            const CData* request = nullptr;
            EXPECT_NO_THROW(request = model.GetRequestByName(text.c_str()));
            fired = plan.Fired();
            EXPECT_TRUE(request || fired);
            isRefused = isRefused || !request;
        }
        EXPECT_TRUE(isRefused) << "no allocation failed";
    }
    spooler::RemovePrinter(L"Cards");
}

TEST(PasswordMemory, IsWipedBeforeItIsFreed)
{
    const test::CSecretWatch watch("open sesame 123");
    {
        CPrintMonitorZRT model;
        for (const std::wstring& text : kPasswordTexts) {
            UseRequest(model, text);
            UseRequest(model, L"SetAdminPassword/a"); // the text that this replaces is freed
        }
        UseRequest(model, kPasswordTexts[1]);
        uint32_t length = 0; // a command that is built and not sent is freed with the model
        ASSERT_TRUE(model.GetRequestByName(kPasswordTexts[1].c_str())->GetNext()->GetCommand(&length));
    }
    EXPECT_EQ(0u, watch.UnwipedBlocks());
}

} // namespace
} // namespace zrtmon
