#include "queries/data_status.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

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

/// The printer's error codes by category, from the printer's own list. A range is its two ends.
constexpr const char* kCodesByCategory =
    "1: 12 71 92 148 151 154 156 169 171 179-198 239 240 242 243; 2: 1 4-10 34 38-43 46 64-67 87-89 98 "
    "107 114-117 120 129 139 140 142-144 150 153 155 160 161 178; 3: 36 37 152; 4: 47 106 147; 5: 136; 6: "
    "137; 10: 76 79 80; 11: 146; 20: 13 14 20 35 73 75 77 78 81; 21: 15-19 49 68 70 72 83 110 112 113 138 "
    "200; 22: 82 85 86; 23: 74 84; 24: 50 51 53 55 145 212-216; 25: 118; 26: 69; 30: 44 130-135 199; 31: "
    "45 201; 40: 100 101 124-126; 41: 21 93 172; 42: 25; 43: 24 90 91; 44: 11 22 23 99 108 109 119; 45: "
    "128 141 170; 46: 121; 47: 122 123; 48: 94; 49: 95; 50: 96; 52: 97; 60: 31; 61: 30; 62: 127; 70: 33 "
    "177 203; 80: 32; 90: 2 3 102-105 111; 110: 52 54 56 60 61 207 211 217 218 245-247; 111: 48; 112: 62; "
    "113: 59; 114: 63; 115: 57 58 219-228 233-238; 116: 204-206 210; 117: 229 230; 118: 231 232 241; 119: "
    "208 209; 130: 27 157; 131: 29 159; 132: 28 167 168 174 175; 133: 163 173; 134: 162 164-166; 135: 26 "
    "158 176 244;";

std::map<int, int> CategoriesByCode()
{
    std::map<int, int> categories;
    std::istringstream list(kCodesByCategory);
    for (std::string row; std::getline(list, row, ';');) {
        std::istringstream numbers(row);
        int category = 0;
        int previous = 0;
        int last = 0;
        numbers >> category;
        for (numbers.ignore(1, ':'); numbers >> last;) { // a range's end reads as a negative number
            const int first = last < 0 ? previous + 1 : last;
            for (int code = first; code <= std::abs(last); ++code) {
                categories[code] = category;
            }
            previous = last;
        }
    }
    return categories;
}

TEST(ErrorCategories, AreThoseOfThePrintersList)
{
    const std::map<int, int> expected = CategoriesByCode();
    ASSERT_EQ(245u, expected.size());
    std::map<int, int> found;
    for (int code = -10; code < 1000; ++code) {
        if (const ErrorCategory* row = FindErrorCategory(code)) {
            found[code] = row->category;
        }
    }
    EXPECT_EQ(expected, found);
}

} // namespace
} // namespace zrtmon
