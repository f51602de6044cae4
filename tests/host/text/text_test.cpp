#include <gtest/gtest.h>

#include "host/text/text.h"

namespace zrtmon::host {
namespace {

TEST(Utf8, GoesToWideTextAndBack)
{
    for (const std::string text :
         {"", "plain", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x96\xA8!", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(text, Utf8FromWide(WideFromUtf8(text)));
    }
    EXPECT_EQ(L"\u00E4\u20AC", WideFromUtf8("\xC3\xA4\xE2\x82\xAC"));
}

TEST(Utf8, BytesThatAreNoCharacterAreReplacedOneByOne)
{
    const std::pair<const char*, const wchar_t*> cases[] = {
        {"a\x80z", L"a\uFFFDz"},                           // continuation without a lead
        {"\xC3", L"\uFFFD"},                               // cut off
        {"\xC3z", L"\uFFFDz"},                             // lead without its continuation
        {"\xC0\xAF", L"\uFFFD\uFFFD"},                     // overlong
        {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},           // surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"}, // above the last character
        {"\xFF", L"\uFFFD"},
    };
    for (const auto& [bytes, wide] : cases) {
        EXPECT_EQ(wide, WideFromUtf8(bytes));
    }
    EXPECT_EQ("\xEF\xBF\xBD", Utf8FromWide(std::wstring(1, static_cast<wchar_t>(0xD800))));
}

TEST(Printable, LeavesNothingThatSteersATerminal)
{
    EXPECT_EQ("a\nb\\x0dc\\x1b[2J\\x07\\x7f\t", Printable("a\r\nb\rc\x1b[2J\a\x7f\t"));
    EXPECT_EQ("\xFF\xC3\xA4", Printable("\xFF\xC3\xA4"));
    EXPECT_EQ("\\xff\xC3\xA4", PrintableUtf8("\xFF\xC3\xA4"));
}

TEST(Numbers, AreShownAsPeopleReadThem)
{
    EXPECT_EQ("0.007", Seconds(7));
    EXPECT_EQ("61.250", Seconds(61250));
    const std::pair<uint64_t, const char*> sizes[] = {
        {1, "1 byte"},         {1023, "1023 bytes"}, {1024, "1 KiB"},          {1536, "1.5 KiB"},
        {1048575, "1024 KiB"}, {1048576, "1 MiB"},   {1610612736, "1536 MiB"}, {0, "0 bytes"}};
    for (const auto& [size, text] : sizes) {
        EXPECT_EQ(text, ByteCount(size));
    }
}

} // namespace
} // namespace zrtmon::host
