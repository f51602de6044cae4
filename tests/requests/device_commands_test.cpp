// Requests that make the printer do something, and the one that asks its two bays. Where each move leaves a
// card is asked of the simulated printer, by value name.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "link/print_monitor_zrt.h"
#include "requests/data_send_command.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CommandOf;
using test::Take;

std::string Esc(const char* mnemonic) { return "\x1B\0\2"s + mnemonic; }

TEST(DeviceCommand, SendsItsBytes)
{
    const std::string cancel = std::string(512, '\0') + Esc("XC");
    struct Case {
        const wchar_t* text;
        std::optional<std::string> bytes; ///< nothing: the text is refused
        uint32_t delayMs = 250;
    };
    for (const Case& c : {Case{L"UtilityCommand", {}},
                          {L"UtilityCommand/0", ""},
                          {L"UtilityCommand/1", Esc("TRT")},
                          {L"UtilityCommand/2", Esc("TCT")},
                          {L"UtilityCommand/9/4", Esc("TLT"), 10000},
                          // The 32nd character, a nine, is ignored.
                          {L"UtilityCommand/00000000000000000000000000000019", Esc("TRT")},
                          {L"SimulateButtonPress", {}},
                          {L"SimulateButtonPress/", Esc("B1")},
                          {L"SimulateButtonPress/1", ""},
                          {L"SimulateButtonPress/2/7", Esc("B2")},
                          {L"SimulateButtonPress/5", ""},
                          {L"SimulateButtonPress/4294967296", ""},
                          {L"MoveTo", {}},
                          {L"MoveTo/", Esc("e")},
                          {L"moveto/6", Esc("i") + Esc("r")},
                          {L"MoveTo/7", ""},
                          {L"MoveTo/-1", ""},
                          {L"CancelPrint/2/7", cancel}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
        CPrintMonitorZRT model;
        CData* request = model.GetRequestByName(c.text);
        ASSERT_EQ(c.bytes.has_value(), request != nullptr);
        if (request) {
            EXPECT_EQ(*c.bytes, CommandOf(*request));
            EXPECT_EQ(c.delayMs, request->GetSendDelay());
        }
    }
}

TEST(DeviceCommand, APressOfNoButtonHasItsLengthButNoBytes)
{
    CPrintMonitorZRT model;
    uint32_t length = 0;
    EXPECT_EQ(nullptr, model.GetRequestByName(L"SimulateButtonPress/1")->GetCommand(&length));
    EXPECT_EQ(5u, length);
}

TEST(UtilityCommand, GivesItsParametersAsNumbers)
{
    const auto parameter = [](const wchar_t* text, uint32_t index) {
        CDataSendCommand request;
        EXPECT_TRUE(request.Prepare(text));
        return request.GetParameter(index);
    };
    EXPECT_EQ(0, parameter(L"n/", 0));
    EXPECT_EQ(-1, parameter(L"n/", 1));
    EXPECT_EQ(0, parameter(L"n//", 1));
    EXPECT_EQ(0, parameter(L"n/x/-3y/ 4", 0));
    EXPECT_EQ(-3, parameter(L"n/x/-3y/ 4", 1));
    EXPECT_EQ(4, parameter(L"n/x/-3y/ 4", 2));
    EXPECT_EQ(12, parameter(L"n/1/0000000000000000000000000000012", 1));
    EXPECT_EQ(1, parameter(L"n/1/00000000000000000000000000000012", 1));
}

TEST(UtilityCommand, ForgetsTheLongDelayAndKeepsParametersWhenATextIsRefused)
{
    CDataSendCommand request;
    request.SetSentLength(3);
    ASSERT_TRUE(request.Prepare(L"UtilityCommand/9"));
    EXPECT_EQ(Esc("TLT"), CommandOf(request));
    EXPECT_FALSE(request.Prepare(L"UtilityCommand"));
    EXPECT_EQ(Esc("TLT"), CommandOf(request));
    ASSERT_TRUE(request.Prepare(L"UtilityCommand/7"));
    EXPECT_EQ("", CommandOf(request));
    EXPECT_EQ(250u, request.GetSendDelay());
}

TEST(Station, IsLookedForInBothBays)
{
    struct Case {
        const wchar_t* text;
        std::string bay1;
        std::string bay2;
        std::string answer; ///< empty: a bay's exchange fails
    };
    for (const Case& c : {Case{L"StationStatus/2", "Bay1:4,7;x", "Bay2:1,2", "5"},
                          {L"StationStatus/3", "Bay1:4,7;", "Bay2:1,12;", "10"},
                          {L"StationStatus/4", "Bay1:3,1", "Bay2:3,9", "9"}, // in both: the second counts
                          {L"StationStatus/5", "Bay1:4,7;", "Bay2:1,12;", "-1"},
                          {L"StationStatus/5", "Bay1:2,8;", "Bay2:1,12;", "6"},
                          {L"StationStatus/", "Bay1:4,7", "Bay2:,7", "-1"},
                          {L"StationStatus/6", "Bay1:4,7", "Bay2:4,7", ""},
                          {L"StationStatus/-1", "Bay1:4,7", "Bay2:4,7", ""},
                          {L"StationStatus/2", "Bay1:4,13;", "Bay2:1,0;", "13"},
                          // State 0 of bay 2 reads like "not there", and that of bay 1 is the answer.
                          {L"StationStatus/2", "Bay1:4,1", "Bay2:4,0", "0"},
                          {L"StationStatus/2", "Bay1:4", "Bay2:1,0;", ""},
                          {L"StationStatus/2", "Bay1:4,7", "Bay2:1", ""},
                          {L"StationStatus/2", "4,7", "1,1", "5"},
                          {L"StationStatus/2", "Bay1:1,2", "Bay1:4,7;", "5"},
                          {L"StationStatus/2", "Bay1:1,2", "Bay2:Bay1:4,7;", "5"},
                          {L"StationStatus/2", "Bay1: 4,7", "Bay2:44,1", "-1"},
                          {L"StationStatus/2", "Bay1:" + std::string(2000, '4') + ",7", "Bay2:1,1", "-1"}}) {
        SCOPED_TRACE(c.bay1 + " " + c.bay2);
        CPrintMonitorZRT model;
        CData* bay1 = model.GetRequestByName(c.text);
        ASSERT_TRUE(bay1 && bay1->GetNext());
        CData* bay2 = bay1->GetNext();
        const bool found = Take(*bay1, c.bay1) && Take(*bay2, c.bay2);
        EXPECT_EQ(c.answer, found ? std::string(bay1->GetText()) + bay2->GetText() : "");
    }
}

TEST(StationStates, AreReportedByTheirNumbers)
{
    const char* const numbers[] = {"-1", "0", "1", "2", "2", "4", "3", "5", "6", "9", "8", "7", "10"};
    CPrintMonitorZRT model;
    for (size_t state = 0; state < std::size(numbers); ++state) {
        CData* bay1 = model.GetRequestByName(L"StationStatus/3");
        ASSERT_TRUE(Take(*bay1, "Bay1:1," + std::to_string(state)));
        EXPECT_STREQ(numbers[state], bay1->GetText()) << state;
    }
    EXPECT_EQ(nullptr, model.GetRequestByName(L"StationStatus"));
}

} // namespace
} // namespace zrtmon
