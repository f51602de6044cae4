#include "queries/data_status.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "queries/data_card_count.h"
#include "queries/data_status_info.h"
#include "queries/error_category_table.h"
#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

BOOL Take(CData& request, const std::string& reply)
{
    return request.ProcessReply(reply.data(), static_cast<uint32_t>(reply.size()));
}

struct StatusCase {
    const char* name;
    const char* reply;
    bool ready;
    bool printing;
    PrinterState state;    ///< beginning at -7, -7, -7: what is not there leaves it
    const char* category;  ///< the "PrinterError" answer
    const char* cardCount; ///< the "CardCount" answer
};
class StatusReply : public testing::TestWithParam<StatusCase> {};

TEST_P(StatusReply, IsEvaluated)
{
    CDataStatus status;
    ASSERT_TRUE(Take(status, GetParam().reply));
    PrinterState state{-7, -7, -7};
    EXPECT_EQ(GetParam().ready, status.EvaluateStatus(state) != FALSE);
    EXPECT_EQ(GetParam().state.category, state.category);
    EXPECT_EQ(GetParam().state.errorCode, state.errorCode);
    EXPECT_EQ(GetParam().state.statusCode, state.statusCode);
    EXPECT_EQ(GetParam().printing, status.IsPrinting() != FALSE);

    CDataStatusInfo info(std::make_unique<CDataStatus>(), CDataStatusInfo::kErrorCategory);
    EXPECT_TRUE(Take(info, GetParam().reply));
    EXPECT_STREQ(GetParam().category, info.GetText());

    CDataCardCount count;
    EXPECT_TRUE(Take(count, GetParam().reply));
    EXPECT_STREQ(GetParam().cardCount, count.GetText());
}

INSTANTIATE_TEST_SUITE_P(
    Replies, StatusReply,
    testing::Values(
        StatusCase{"Ready", "ERR:0,0,0,0,0,250,", true, false, {1, 0, -1}, "1", "250"},
        StatusCase{"CountNotClosed",
                   "ERR:0,0,0,0,0,250",
                   true,
                   false,
                   {1, 0, -1},
                   "1",
                   "Busy=0;Error=0;Status=0;Print=0;Secure=0;Count=250"},
        StatusCase{"NoiseBefore", "boot\r\nERR:0,12,1,0,0,1234;", true, false, {1, 12, -1}, "1", "1234"},
        StatusCase{"Busy", "ERR:1,0,0,0,0,1,", false, false, {1, 0, -1}, "1", "1"},
        StatusCase{"NegativeBusy", "ERR:-1,0,0,0,0,1,", true, false, {1, 0, -1}, "1", "1"},
        StatusCase{"Error83", "ERR:0,83,0,0,0,1,", false, false, {21, 83, -1}, "21", "1"},
        StatusCase{"Error24", "ERR:0,24,0,0,0,1,", false, false, {43, 24, -1}, "43", "1"},
        StatusCase{"Error71", "ERR:0,71,0,0,0,1,", true, false, {1, 71, 1}, "1", "1"},
        StatusCase{"Error92", "ERR:0,92,0,0,0,1,", true, false, {1, 92, 2}, "1", "1"},
        StatusCase{"UnknownErrorAtState29", "ERR:0,149,0,29,0,1,", false, true, {6, 149, -1}, "6", "1"},
        StatusCase{"UnknownError", "ERR:0,500,0,0,0,1,", true, false, {1, 500, -1}, "1", "1"},
        StatusCase{"State10", "ERR:0,0,0,10,0,1,", true, false, {1, 0, -1}, "1", "1"},
        StatusCase{"State11", "ERR:0,0,0,11,0,1,", true, true, {1, 0, -1}, "1", "1"},
        StatusCase{"State32", "ERR:0,0,0,32,0,1,", true, false, {1, 0, -1}, "1", "1"},
        StatusCase{"State39", "ERR:0,0,0,39,0,1,", true, false, {1, 0, -1}, "1", "1"}),
    test::CaseName{});

TEST(StatusReply, WithoutAnErrorFieldIsReadyAndLeavesTheStateAlone)
{
    CDataStatus status;
    ASSERT_FALSE(Take(status, "ERR:5")) << "the second field is missing";
    PrinterState state;
    EXPECT_TRUE(status.EvaluateStatus(state));
    EXPECT_EQ(1, state.category);
    EXPECT_EQ(0, state.errorCode);
    EXPECT_EQ(-1, state.statusCode);
    EXPECT_FALSE(status.IsPrinting());
}

TEST(StatusReply, WithoutItsMarkerFails)
{
    CDataStatus status;
    EXPECT_FALSE(Take(status, "0,0,0,0,0,250,"));
    CDataStatusInfo info(std::make_unique<CDataStatus>(), CDataStatusInfo::kErrorCategory);
    EXPECT_FALSE(Take(info, "0,0,0,0,0,250,"));
    CDataStatusInfo empty(nullptr, CDataStatusInfo::kErrorCategory);
    EXPECT_FALSE(Take(empty, "ERR:0,0,0,0,0,250,"));
}

TEST(StatusInfo, AnswersTheNumberThatIsSelected)
{
    const std::map<uint32_t, std::string> answers = {{0, "1"}, {1, "71"}, {2, "1"}, {3, "-1"}};
    for (const auto& [selector, answer] : answers) {
        CDataStatusInfo info(std::make_unique<CDataStatus>(), selector);
        EXPECT_TRUE(Take(info, "ERR:0,71,0,0,0,1,"));
        EXPECT_EQ(answer, info.GetText());
    }
}

TEST(ErrorCategories, AreCompleteAndCountedPerCategory)
{
    // How many codes each category has, counted from the printer's own list.
    const std::map<int, int> expected = {
        {1, 33},  {2, 42},  {3, 3},   {4, 3},   {5, 1},    {6, 1},   {10, 3},  {11, 1},  {20, 9},
        {21, 15}, {22, 3},  {23, 2},  {24, 10}, {25, 1},   {26, 1},  {30, 8},  {31, 2},  {40, 5},
        {41, 3},  {42, 1},  {43, 3},  {44, 7},  {45, 3},   {46, 1},  {47, 2},  {48, 1},  {49, 1},
        {50, 1},  {52, 1},  {60, 1},  {61, 1},  {62, 1},   {70, 3},  {80, 1},  {90, 7},  {110, 12},
        {111, 1}, {112, 1}, {113, 1}, {114, 1}, {115, 18}, {116, 4}, {117, 2}, {118, 3}, {119, 2},
        {130, 2}, {131, 2}, {132, 5}, {133, 2}, {134, 4},  {135, 4}};
    std::map<int, int> counted;
    for (int code = -10; code < 1000; ++code) {
        if (const ErrorCategory* row = FindErrorCategory(code)) {
            EXPECT_EQ(code, row->errorCode);
            ++counted[row->category];
        }
    }
    EXPECT_EQ(expected, counted);
    for (const int code : {0, 149, 202, 248}) {
        EXPECT_EQ(nullptr, FindErrorCategory(code)) << code;
    }
}

} // namespace
} // namespace zrtmon
