// The policy file, and when a password is due by it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "platform/virtual_clock.h"
#include "security/config_password.h"
#include "security/xml_password.h"
#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;

/// A file of this test's own, gone with the object.
class PolicyFile {
public:
    explicit PolicyFile(const std::string& bytes = {})
        : m_path(testing::TempDir() +
                 testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() +
                 testing::UnitTest::GetInstance()->current_test_info()->name() + ".xml")
    {
        std::replace(m_path.begin() + static_cast<std::ptrdiff_t>(testing::TempDir().size()), m_path.end(),
                     '/', '_');
        Write(bytes);
    }
    ~PolicyFile() { std::filesystem::remove(m_path); }
    PolicyFile(const PolicyFile&) = delete;
    PolicyFile& operator=(const PolicyFile&) = delete;

    void Write(const std::string& bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }
    std::wstring Path() const { return {m_path.begin(), m_path.end()}; }

private:
    std::string m_path;
};

std::string Wrap(const std::string& inner)
{
    return "<Configurations><Configuration ModuleName=\"Other\"><PassWordOnfirstCard Enabled=\"True\"/>"
           "</Configuration><Configuration ModuleName=\"Password Protection\">" +
           inner + "</Configuration></Configurations>";
}
std::string FirstCard(const std::string& enabled)
{
    return "<PassWordOnfirstCard Enabled=\"" + enabled + "\"/>";
}
std::string Delay(const std::string& enabled, const std::string& time)
{
    return "<PassWordAfterDelay Enabled=\"" + enabled + "\"><DelayHours DelayTime=\"" + time +
           "\"/></PassWordAfterDelay>";
}
std::string Policy(bool firstCard, const std::string& delay)
{
    return Wrap(FirstCard(firstCard ? "True" : "False") + Delay(delay.empty() ? "False" : "True", delay));
}
std::string Utf16(const std::string& ascii)
{
    std::string bytes = "\xFF\xFE";
    for (const char c : ascii) {
        bytes += {c, '\0'};
    }
    return bytes;
}
std::string Nested(size_t depth)
{
    std::string text;
    for (size_t i = 0; i < depth; ++i) {
        text += "<a>";
    }
    for (size_t i = 0; i < depth; ++i) {
        text += "</a>";
    }
    return text;
}

struct FileCase {
    const char* name;
    std::string bytes;
    BOOL loads; ///< as a document
    BOOL firstCard = FALSE;
    std::optional<BOOL> afterDelay = FALSE; ///< nothing: it cannot be read
    uint32_t delayMs = 0;
};
class PolicyText : public testing::TestWithParam<FileCase> {};

TEST_P(PolicyText, IsReadOrRefused)
{
    const FileCase& c = GetParam();
    const PolicyFile file(c.bytes);
    CXmlPassword document;
    ASSERT_EQ(c.loads, document.Load(file.Path().c_str()));
    CConfigPassword config;
    const bool usable = c.loads && !(c.afterDelay == TRUE && c.delayMs == 0);
    EXPECT_EQ(usable, config.Load(file.Path().c_str()) != FALSE);
    if (!c.loads) {
        return;
    }
    BOOL value = 4711;
    document.ReadOnFirstCard(&value);
    EXPECT_EQ(c.firstCard, value);
    EXPECT_EQ(c.afterDelay.has_value(), document.ReadAfterDelay(&value) != FALSE);
    EXPECT_EQ(c.afterDelay.value_or(FALSE), value);
    EXPECT_EQ(c.delayMs, document.ReadDelay());
}

const std::string kPlain = Policy(true, "1 hour");
constexpr uint32_t kHourMs = 3600000;

INSTANTIATE_TEST_SUITE_P(
    Files, PolicyText,
    testing::Values(
        FileCase{"Plain", kPlain, TRUE, TRUE, TRUE, kHourMs},
        FileCase{"Utf8", "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!-- gr\xC3\xBC\xC3\x9F -->" + kPlain,
                 TRUE, TRUE, TRUE, kHourMs},
        FileCase{"Utf8WithMark", "\xEF\xBB\xBF" + kPlain, TRUE, TRUE, TRUE, kHourMs},
        FileCase{"Utf16", Utf16("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n" + kPlain), TRUE, TRUE, TRUE,
                 kHourMs},
        FileCase{"CharacterReferences", Wrap(FirstCard("Tr&#117;e") + Delay("&#x54;rue", "1&#32;h&#111;ur")),
                 TRUE, TRUE, TRUE, kHourMs},
        FileCase{"Comments", Wrap("<!-- a --> " + FirstCard("True") + "\n<!-- b -->"), TRUE, TRUE},
        FileCase{"TenMinutes", Policy(false, "10 minutes"), TRUE, FALSE, TRUE, 600000},
        FileCase{"ThirtyMinutes", Policy(false, "30 minutes"), TRUE, FALSE, TRUE, 1800000},
        FileCase{"FourHours", Policy(false, "4 hours"), TRUE, FALSE, TRUE, 14400000},
        FileCase{"OtherDelay", Policy(true, "2 hours"), TRUE, TRUE, TRUE, 0},
        FileCase{"DelayByCase", Policy(true, "1 Hour"), TRUE, TRUE, TRUE, 0},
        FileCase{"DelayWithBlank", Policy(true, "1 hour "), TRUE, TRUE, TRUE, 0},
        FileCase{"UnusedDelay", Wrap(Delay("False", "2 hours")), TRUE},
        FileCase{"NoDelayHours", Wrap("<PassWordAfterDelay Enabled=\"True\"/>"), TRUE, FALSE, TRUE, 0},
        FileCase{"NoDelayTime",
                 Wrap("<PassWordAfterDelay Enabled=\"True\"><DelayHours/></PassWordAfterDelay>"), TRUE, FALSE,
                 TRUE, 0},
        FileCase{"NoEnabled",
                 Wrap("<PassWordOnfirstCard/><PassWordAfterDelay><DelayHours DelayTime=\"1 hour\"/>"
                      "</PassWordAfterDelay>"),
                 TRUE, FALSE, std::nullopt, kHourMs},
        FileCase{"EnabledByCase", Wrap(FirstCard("true") + Delay("TRUE", "1 hour")), TRUE, FALSE, FALSE,
                 kHourMs},
        FileCase{"EnabledNumber", Wrap(FirstCard("1") + Delay("", "1 hour")), TRUE, FALSE, FALSE, kHourMs},
        FileCase{"NeitherRule", Wrap(""), TRUE}, FileCase{"OtherDocument", "<html/>", TRUE},
        FileCase{"OtherModule",
                 "<Configurations><Configuration ModuleName=\"password protection\">" + FirstCard("True") +
                     "</Configuration></Configurations>",
                 TRUE},
        FileCase{"Empty", "", FALSE}, FileCase{"Cut", kPlain.substr(0, kPlain.size() - 1), FALSE},
        FileCase{"NoXml", "Enabled=True", FALSE}, FileCase{"BadBytes", kPlain + "\xFF", FALSE},
        FileCase{"Doctype", "<!DOCTYPE Configurations>" + kPlain, FALSE},
        FileCase{"Entity", "<!DOCTYPE c [<!ENTITY e \"True\">]>" + Wrap(FirstCard("&e;")), FALSE},
        FileCase{"UnknownEntity", Wrap(FirstCard("&e;")), FALSE},
        FileCase{"AtTheBound", kPlain + std::string((1 << 20) - kPlain.size(), ' '), TRUE, TRUE, TRUE,
                 kHourMs},
        FileCase{"BeyondTheBound", kPlain + std::string((1 << 20) - kPlain.size() + 1, ' '), FALSE},
        FileCase{"Deep", Nested(100000), FALSE}, FileCase{"DeepAndOpen", std::string(300000, '<'), FALSE}),
    test::CaseName{});

TEST(PolicyPath, MustNameAFile)
{
    const std::string folder = testing::TempDir();
    for (const std::wstring& path :
         {L""s, std::wstring(folder.begin(), folder.end()), L"no such folder/policy.xml"s,
          std::wstring(5000, L'a'), L"/dev/zero"s, L"file:///etc/passwd"s, L"http://localhost/policy.xml"s}) {
        SCOPED_TRACE(testing::PrintToString(path.substr(0, 60)));
        EXPECT_FALSE(CXmlPassword().Load(path.c_str()));
        EXPECT_FALSE(CConfigPassword().Load(path.c_str()));
    }
}

SYSTEMTIME At(WORD month, WORD day, WORD hour, WORD minute)
{
    SYSTEMTIME time{};
    time.wYear = 2026;
    time.wMonth = month;
    time.wDay = day;
    time.wHour = hour;
    time.wMinute = minute;
    return time;
}

struct RuleCase {
    const char* name;
    SYSTEMTIME now; ///< the password was entered on 5 March, 12:00
    BOOL firstCard; ///< whether one is due by the first-card rule alone,
    BOOL delay;     ///< by the delay rule of 1 hour alone,
    BOOL both;      ///< and by both
};
class PolicyRule : public testing::TestWithParam<RuleCase> {};

TEST_P(PolicyRule, SaysWhenAPasswordIsDue)
{
    struct Row {
        std::string policy;
        BOOL due;
    };
    for (const Row& row :
         {Row{Policy(false, ""), FALSE}, Row{Policy(true, ""), GetParam().firstCard},
          Row{Policy(false, "1 hour"), GetParam().delay}, Row{Policy(true, "1 hour"), GetParam().both}}) {
        SCOPED_TRACE(row.policy);
        VirtualClock clock;
        clock.SetLocalTime(At(3, 5, 12, 0));
        const PolicyFile file(row.policy);
        CConfigPassword config;
        ASSERT_TRUE(config.Load(file.Path().c_str()));
        EXPECT_TRUE(config.IsPasswordRequired()) << "none was entered";
        config.MarkEntered();
        clock.SetLocalTime(GetParam().now);
        EXPECT_EQ(row.due, config.IsPasswordRequired());
    }
}

INSTANTIATE_TEST_SUITE_P(Times, PolicyRule,
                         testing::Values(RuleCase{"AtOnce", At(3, 5, 12, 0), FALSE, FALSE, FALSE},
                                         RuleCase{"WithinTheHour", At(3, 5, 12, 59), FALSE, FALSE, FALSE},
                                         RuleCase{"AfterAnHour", At(3, 5, 13, 0), FALSE, TRUE, FALSE},
                                         RuleCase{"NextDay", At(3, 6, 12, 0), TRUE, TRUE, TRUE},
                                         RuleCase{"SameDayNextMonth", At(4, 5, 12, 0), FALSE, TRUE, FALSE},
                                         RuleCase{"SetBackALittle", At(3, 5, 11, 1), FALSE, FALSE, FALSE},
                                         RuleCase{"SetBackAnHour", At(3, 5, 11, 0), FALSE, TRUE, FALSE},
                                         RuleCase{"SetBackADay", At(3, 4, 12, 0), TRUE, TRUE, TRUE}),
                         test::CaseName{});

TEST(PolicyRules, TheDelayCountsAcrossMidnight)
{
    VirtualClock clock;
    clock.SetLocalTime(At(3, 31, 23, 50));
    const PolicyFile file(Policy(true, "30 minutes"));
    CConfigPassword config;
    ASSERT_TRUE(config.Load(file.Path().c_str()));
    config.MarkEntered();
    Sleep(30 * 60 * 1000 - 1);
    EXPECT_FALSE(config.IsPasswordRequired());
    Sleep(1);
    EXPECT_TRUE(config.IsPasswordRequired());
}

TEST(PolicyRules, ALoadForgetsTheEntryOnlyWhenThePolicyHasChanged)
{
    struct Step {
        std::string policy;
        BOOL due; ///< after this load; a password is entered then
    };
    const Step kSteps[] = {
        {Policy(true, "1 hour"), TRUE},
        {Policy(true, "1 hour"), FALSE},
        {Wrap(Delay("True", "1 hour") + FirstCard("True")), FALSE},
        {Policy(true, "4 hours"), TRUE},
        {Policy(false, "4 hours"), TRUE},
        {Policy(false, "4 hours"), FALSE},
        {Policy(false, ""), TRUE},
        {Policy(false, ""), TRUE}, // once for each load
    };
    VirtualClock clock;
    const PolicyFile file;
    CConfigPassword config;
    int number = 0;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(number++);
        file.Write(step.policy);
        ASSERT_TRUE(config.Load(file.Path().c_str()));
        EXPECT_EQ(step.due, config.IsPasswordRequired());
        config.MarkEntered();
        EXPECT_FALSE(config.IsPasswordRequired());
    }
}

} // namespace
} // namespace zrtmon
