// Requests that make the printer do something, and the one that asks its two bays.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "link/print_monitor_zrt.h"
#include "requests/data_send_command.h"
#include "tests/support/case_name.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CommandOf;
using test::Take;

std::string Esc(const char* mnemonic) { return "\x1B\0\2"s + mnemonic; }

struct CommandCase {
    const char* name;
    const wchar_t* text;
    std::optional<std::string> bytes; ///< nothing: the text is refused
    uint32_t delayMs = 250;
};
class DeviceCommand : public testing::TestWithParam<CommandCase> {};

TEST_P(DeviceCommand, SendsItsBytesAndReadsNothing)
{
    CPrintMonitorZRT model;
    CData* request = model.GetRequestByName(GetParam().text);
    ASSERT_EQ(GetParam().bytes.has_value(), request != nullptr);
    if (request) {
        EXPECT_EQ(*GetParam().bytes, CommandOf(*request));
        EXPECT_EQ(GetParam().delayMs, request->GetSendDelay());
        EXPECT_EQ(CData::kSendToPort, request->GetSendMethod());
        EXPECT_EQ(CData::kReceiveNothing, request->GetReceiveMethod());
        EXPECT_STREQ("", request->GetText());
    }
}

const std::string kCancel = std::string(512, '\0') + Esc("XC");

INSTANTIATE_TEST_SUITE_P(
    Texts, DeviceCommand,
    testing::Values(
        CommandCase{"UtilityNoSlash", L"UtilityCommand", {}},
        CommandCase{"Utility0", L"UtilityCommand/0", ""},
        CommandCase{"Utility1", L"UtilityCommand/1", Esc("TRT")},
        CommandCase{"Utility2", L"UtilityCommand/2", Esc("TCT")},
        CommandCase{"Utility9", L"UtilityCommand/9", Esc("TLT"), 10000},
        CommandCase{"UtilityFirstOfTwo", L"UtilityCommand/9/4", Esc("TLT"), 10000},
        // The 32nd character, a nine, is not looked at.
        CommandCase{"UtilityLongNumber", L"UtilityCommand/00000000000000000000000000000019", Esc("TRT")},
        CommandCase{"ButtonNoSlash", L"SimulateButtonPress", {}},
        CommandCase{"ButtonEmpty", L"SimulateButtonPress/", Esc("B1")},
        CommandCase{"Button1", L"SimulateButtonPress/1", ""},
        CommandCase{"Button2", L"SimulateButtonPress/2/7", Esc("B2")},
        CommandCase{"Button5", L"SimulateButtonPress/5", ""},
        CommandCase{"ButtonBeyondInt", L"SimulateButtonPress/4294967296", ""},
        CommandCase{"MoveNoSlash", L"MoveTo", {}}, CommandCase{"MoveEmpty", L"MoveTo/", Esc("e")},
        CommandCase{"Move1", L"MoveTo/1", Esc("d")}, CommandCase{"Move2", L"moveto/2", Esc("i") + Esc("S1")},
        CommandCase{"Move3", L"MoveTo/3", Esc("PPL") + Esc("i")},
        CommandCase{"Move4", L"MoveTo/4", Esc("PIL") + Esc("i")},
        CommandCase{"Move5", L"MoveTo/5", Esc("PML") + Esc("i")},
        CommandCase{"Move6", L"MoveTo/6", Esc("i") + Esc("r")}, CommandCase{"Move7", L"MoveTo/7", ""},
        CommandCase{"MoveNegative", L"MoveTo/-1", ""}, CommandCase{"Cancel", L"CancelPrint", kCancel}),
    test::CaseName{});

TEST(UtilityCommand, GivesItsParametersAsNumbers)
{
    struct Case {
        const wchar_t* text;
        uint32_t index;
        int number;
    };
    for (const Case& c : {Case{L"n/", 0, 0},
                          {L"n/", 1, -1},
                          {L"n//", 1, 0},
                          {L"n/x/-3y/ 4", 0, 0},
                          {L"n/x/-3y/ 4", 1, -3},
                          {L"n/x/-3y/ 4", 2, 4},
                          {L"n/1/0000000000000000000000000000012", 1, 12},
                          {L"n/1/00000000000000000000000000000012", 1, 1}}) {
        CDataSendCommand request;
        ASSERT_TRUE(request.Prepare(c.text));
        EXPECT_EQ(c.number, request.GetParameter(c.index)) << c.index;
    }
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

struct StationCase {
    const char* name;
    const wchar_t* text;
    std::string bay1;
    std::string bay2;
    std::string answer; ///< empty: a bay's exchange fails
};
class Station : public testing::TestWithParam<StationCase> {};

TEST_P(Station, IsLookedForInBothBays)
{
    CPrintMonitorZRT model;
    CData* bay1 = model.GetRequestByName(GetParam().text);
    ASSERT_NE(nullptr, bay1);
    CData* bay2 = bay1->GetNext();
    ASSERT_NE(nullptr, bay2);
    const bool found = Take(*bay1, GetParam().bay1) && Take(*bay2, GetParam().bay2);
    EXPECT_EQ(!GetParam().answer.empty(), found);
    if (found) {
        EXPECT_EQ(GetParam().answer, std::string(bay1->GetText()) + bay2->GetText());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Replies, Station,
    testing::Values(StationCase{"InBay1", L"StationStatus/2", "Bay1:4,7;x", "Bay2:1,2", "5"},
                    StationCase{"InBay2", L"StationStatus/3", "Bay1:4,7;", "Bay2:1,12;", "10"},
                    StationCase{"InBothTheSecondCounts", L"StationStatus/4", "Bay1:3,1", "Bay2:3,9", "9"},
                    StationCase{"InNeither", L"StationStatus/5", "Bay1:4,7;", "Bay2:1,12;", "-1"},
                    StationCase{"Station5", L"StationStatus/5", "Bay1:2,8;", "Bay2:1,12;", "6"},
                    StationCase{"NoNumberIsStation0", L"StationStatus/", "Bay1:4,7", "Bay2:4,7", "-1"},
                    StationCase{"Station6", L"StationStatus/6", "Bay1:4,7", "Bay2:4,7", ""},
                    StationCase{"StationNegative", L"StationStatus/-1", "Bay1:4,7", "Bay2:4,7", ""},
                    StationCase{"StateNotInTheTable", L"StationStatus/2", "Bay1:4,13;", "Bay2:1,0;", "13"},
                    // State 0 of bay 2 reads like "not there", and bay 1 answers.
                    StationCase{"StateZeroInBay2", L"StationStatus/2", "Bay1:4,1", "Bay2:4,0", "0"},
                    StationCase{"NoCommaInBay1", L"StationStatus/2", "Bay1:4", "Bay2:1,0;", ""},
                    StationCase{"NoCommaInBay2", L"StationStatus/2", "Bay1:4,7", "Bay2:1", ""},
                    StationCase{"NoPrefix", L"StationStatus/2", "4,7", "1,1", "5"},
                    StationCase{"CodeLikeTheExpected", L"StationStatus/2", "Bay1: 4,7", "Bay2:44,1", "-1"},
                    StationCase{"LongCode", L"StationStatus/2", "Bay1:" + std::string(2000, '4') + ",7",
                                "Bay2:1,1", "-1"}),
    test::CaseName{});

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
