#include "queries/data_status.h"

#include <gtest/gtest.h>

#include <array>
#include <map>

#include "queries/data_card_count.h"
#include "queries/data_status_info.h"
#include "queries/error_category_table.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using test::Take;

TEST(StatusReply, IsEvaluated)
{
    const struct {
        const char* reply;
        bool ready;
        bool printing;
        std::array<int, 3> numbers; ///< category, error code, status code
        const char* cardCount;
    } cases[] = {{"ERR:0,0,0,0,0,250,", true, false, {1, 0, -1}, "250"},
                 {"boot\r\nERR:0,12,1,0,0,1234;", true, false, {1, 12, -1}, "1234"},
                 {"ERR:1,0,0,0,0,1,", false, false, {1, 0, -1}, "1"},
                 {"ERR:-1,0,0,0,0,1,", true, false, {1, 0, -1}, "1"},
                 {"ERR:0,83,0,0,0,1,", false, false, {21, 83, -1}, "1"},
                 {"ERR:0,71,0,0,0,1,", true, false, {1, 71, 1}, "1"},
                 {"ERR:0,92,0,0,0,1,", true, false, {1, 92, 2}, "1"},
                 {"ERR:0,149,0,29,0,1,", false, true, {6, 149, -1}, "1"},
                 {"ERR:0,500,0,10,0,1,", true, false, {1, 500, -1}, "1"},
                 {"ERR:0,0,0,11,0,1,", true, true, {1, 0, -1}, "1"},
                 {"ERR:0,0,0,32,0,1,", true, false, {1, 0, -1}, "1"},
                 {"ERR:0,0,0,39,0,1,", true, false, {1, 0, -1}, "1"},
                 {"ERR:0,0,0,0,0,250", // the count is not closed
                  true,
                  false,
                  {1, 0, -1},
                  "Busy=0;Error=0;Status=0;Print=0;Secure=0;Count=250"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reply);
        CDataStatus status;
        ASSERT_TRUE(Take(status, c.reply));
        std::array<int, 3> numbers = {-7, -7, -7};
        EXPECT_EQ(c.ready, status.EvaluateStatus(numbers[0], numbers[1], numbers[2]) != FALSE);
        EXPECT_EQ(c.numbers, numbers);
        EXPECT_EQ(c.printing, status.IsPrinting() != FALSE);
        CDataCardCount count;
        EXPECT_TRUE(Take(count, c.reply));
        EXPECT_STREQ(c.cardCount, count.GetText());
    }
}

TEST(StatusReply, WithoutAnErrorFieldIsReadyAndLeavesTheNumbersAlone)
{
    CDataStatus status;
    ASSERT_FALSE(Take(status, "ERR:5")) << "the second field is missing";
    std::array<int, 3> numbers = {-7, -8, -9};
    EXPECT_TRUE(status.EvaluateStatus(numbers[0], numbers[1], numbers[2]));
    EXPECT_EQ((std::array{-7, -8, -9}), numbers);
    EXPECT_FALSE(status.IsPrinting());
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
