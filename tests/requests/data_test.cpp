#include "requests/data.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include "requests/decimal.h"
#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

/// A request with as many field names as a test wants.
class NamedData : public CData {
public:
    explicit NamedData(std::vector<const char*> names = {}) : m_names(std::move(names)) {}
    const uint8_t* GetCommand(uint32_t* length) override
    {
        *length = 0;
        return nullptr;
    }
    const char* GetFieldName(uint32_t index) override
    {
        return index < m_names.size() ? m_names[index] : nullptr;
    }
    BOOL Take(const std::string& reply)
    {
        return ProcessReply(reply.data(), static_cast<uint32_t>(reply.size()));
    }

private:
    std::vector<const char*> m_names;
};

struct ReplyCase {
    const char* name;
    std::vector<const char*> fieldNames;
    std::string reply;
    BOOL ok;
    std::string text;
};
class Reply : public testing::TestWithParam<ReplyCase> {};

TEST_P(Reply, IsNamedByPosition)
{
    NamedData data(GetParam().fieldNames);
    EXPECT_STREQ("", data.GetText());
    EXPECT_EQ(GetParam().ok, data.Take(GetParam().reply));
    EXPECT_EQ(GetParam().text, data.GetText());
    EXPECT_EQ(GetParam().text.size(), data.GetTextLength());
}

INSTANTIATE_TEST_SUITE_P(
    Replies, Reply,
    testing::Values(ReplyCase{"NoNames", {}, "1,2,3", TRUE, "1;2;3"},
                    ReplyCase{"FewerNames", {"N0", "N1"}, "1,2,3", TRUE, "N0=1;N1=2;3"},
                    ReplyCase{"AllNames", {"N0", "N1", "N2"}, "1,0;5", TRUE, "N0=1;N1=0;N2=5"},
                    ReplyCase{"MoreNames", {"N0", "N1", "N2", "N3"}, "1,2,3", FALSE, "N0=1;N1=2;N2=3"},
                    ReplyCase{"SeparatorIsLast", {"N0", "N1", "N2"}, "1,2,", FALSE, "N0=1;N1=2;"},
                    ReplyCase{"EmptyReply", {"N0"}, "", TRUE, "N0="},
                    ReplyCase{"EmbeddedNul", {"N0"}, std::string("a\0b", 3), TRUE, "N0=a"}),
    test::CaseName{});

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
    NamedData data;
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

TEST(Data, DeletesItsWholeChain)
{
    static int alive;
    struct Counted : NamedData {
        Counted() { ++alive; }
        ~Counted() override { --alive; }
    };
    auto head = std::make_unique<Counted>();
    head->SetNext(std::make_unique<Counted>());
    head->GetNext()->SetNext(std::make_unique<Counted>());
    ASSERT_EQ(3, alive);
    head.reset();
    EXPECT_EQ(0, alive);
}

} // namespace
} // namespace zrtmon
