#include "requests/data.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "requests/decimal.h"
#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

/// A request that is all text.
class TextData : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override
    {
        *length = 0;
        return nullptr;
    }
};

struct FieldCase {
    const char* name;
    const char* text;
    const char* key;
    const char* value; ///< null: not to be found
    int number;
};
class Field : public testing::TestWithParam<FieldCase> {};

TEST_P(Field, IsFoundByItsFirstOccurrence)
{
    TextData data;
    ASSERT_TRUE(data.SetReply(GetParam().text, static_cast<uint32_t>(std::strlen(GetParam().text))));
    std::string value = "untouched";
    int number = 4711;
    const bool found = GetParam().value != nullptr;
    EXPECT_EQ(found, data.FindField(GetParam().key, value) != FALSE);
    EXPECT_EQ(found ? GetParam().value : "untouched", value);
    EXPECT_EQ(found, data.GetIntField(GetParam().key, number) != FALSE);
    EXPECT_EQ(found ? GetParam().number : 4711, number);
}

INSTANTIATE_TEST_SUITE_P(Texts, Field,
                         testing::Values(FieldCase{"InsideAnotherName", "CardCount=7;Count=3;", "Count", "7",
                                                   7},
                                         FieldCase{"ClosedByComma", "A=1,B=2;", "A", "1", 1},
                                         FieldCase{"NotClosed", "Count=3", "Count", nullptr, 0},
                                         FieldCase{"EndsAtTheKey", "A=1;Count", "Count", nullptr, 0},
                                         FieldCase{"EndsBehindTheSign", "A=1;Count=", "Count", nullptr, 0},
                                         FieldCase{"TrailingLetters", "Error=12abc;", "Error", "12abc", 12},
                                         FieldCase{"EmptyValue", "Error=;", "Error", "", 0},
                                         FieldCase{"EmptyKeyIsAtTheStart", "=5;", "", "5", 5},
                                         FieldCase{"Absent", "A=1;", "B", nullptr, 0}),
                         test::CaseName{});

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
