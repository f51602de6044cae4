#include "requests/data.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "requests/data_cancel.h"
#include "requests/decimal.h"

namespace zrtmon {
namespace {

TEST(Field, IsFoundByItsFirstOccurrence)
{
    const struct {
        const char* text;
        const char* key;
        const char* value; ///< null: not to be found
        int number;
    } cases[] = {{"CardCount=7;Count=3;", "Count", "7", 7},
                 {"A=1,B=2;", "A", "1", 1},
                 {"Count=3", "Count", nullptr, 0},
                 {"A=1;Count", "Count", nullptr, 0},
                 {"A=1;Count=", "Count", nullptr, 0},
                 {"Error=12abc;", "Error", "12abc", 12},
                 {"Error=;", "Error", "", 0},
                 {"=5;", "", "5", 5},
                 {"A=1;", "B", nullptr, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        CDataCancel data; // any request
        ASSERT_TRUE(data.SetReply(c.text, static_cast<uint32_t>(std::strlen(c.text))));
        std::string value = "untouched";
        int number = 4711;
        EXPECT_EQ(c.value != nullptr, data.FindField(c.key, value) != FALSE);
        EXPECT_EQ(c.value ? c.value : "untouched", value);
        EXPECT_EQ(c.value != nullptr, data.GetIntField(c.key, number) != FALSE);
        EXPECT_EQ(c.value ? c.number : 4711, number);
    }
}

TEST(DecimalValue, ReadsLikeTheCLibraryButNeverOverflows)
{
    const std::pair<const char*, int> cases[] = {{"", 0},
                                                 {"  \t-17x", -17},
                                                 {"+9", 9},
                                                 {"- 5", 0},
                                                 {"2147483647", INT_MAX},
                                                 {"2147483648", INT_MAX},
                                                 {"-2147483648", INT_MIN},
                                                 {"-99999999999999999999999", INT_MIN},
                                                 {"99999999999999999999999", INT_MAX}};
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(value, DecimalValue(std::string_view(text))) << text;
    }
}

} // namespace
} // namespace zrtmon
