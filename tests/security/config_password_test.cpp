// The policy file, and when a password is due by it.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/virtual_clock.h"
#include "security/config_password.h"
#include "security/xml_password.h"
#include "tests/support/policy_file.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CPolicyFile;
using test::PolicyText;

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
    return PolicyText(FirstCard(firstCard ? "True" : "False") +
                      Delay(delay.empty() ? "False" : "True", delay));
}
std::string Utf16(const std::string& ascii)
{
    std::string bytes = "\xFF\xFE";
    for (const char c : ascii) {
        bytes += {c, '\0'};
    }
    return bytes;
}
std::string Repeated(size_t count, const std::string& text)
{
    std::string all;
    while (count-- > 0) {
        all += text;
    }
    return all;
}

struct FileCase {
    std::string bytes;                     ///< of a file that loads as a document
    std::optional<BOOL> firstCard = FALSE; ///< nullopt: there is no "Enabled"
    std::optional<BOOL> afterDelay = FALSE;
    uint32_t delayMs = 0;
};

const std::string kPlain = Policy(true, "1 hour");
constexpr uint32_t kHourMs = 3600000;
constexpr size_t kLongest = 1 << 20;

TEST(PolicyText, IsRead)
{
    const std::string noEnabled =
        "<PassWordOnfirstCard/><PassWordAfterDelay><DelayHours DelayTime=\"1 hour\"/>"
        "</PassWordAfterDelay>";
    const FileCase cases[] = {
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?><!-- gr\xC3\xBC\xC3\x9F -->" + kPlain, TRUE, TRUE,
         kHourMs},
        {"\xEF\xBB\xBF" + kPlain, TRUE, TRUE, kHourMs},
        {Utf16("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n" + kPlain), TRUE, TRUE, kHourMs},
        {PolicyText(FirstCard("Tr&#117;e") + Delay("&#x54;rue", "1&#32;h&#111;ur")), TRUE, TRUE, kHourMs},
        {PolicyText("<!-- a --> " + FirstCard("True") + "\n<!-- b -->"), TRUE},
        {Policy(false, "10 minutes"), FALSE, TRUE, 600000},
        {Policy(false, "30 minutes"), FALSE, TRUE, 1800000},
        {Policy(false, "4 hours"), FALSE, TRUE, 14400000},
        {Policy(true, "2 hours"), TRUE, TRUE, 0},
        {Policy(true, "1 Hour"), TRUE, TRUE, 0},
        {Policy(true, "1 hour "), TRUE, TRUE, 0},
        {PolicyText(Delay("False", "2 hours"))},
        {PolicyText("<PassWordAfterDelay Enabled=\"True\"/>"), FALSE, TRUE, 0},
        {PolicyText("<PassWordAfterDelay Enabled=\"True\"><DelayHours/></PassWordAfterDelay>"), FALSE, TRUE,
         0},
        {PolicyText(noEnabled), std::nullopt, std::nullopt, kHourMs},
        {PolicyText(FirstCard("true") + Delay("TRUE", "1 hour")), FALSE, FALSE, kHourMs},
        {PolicyText(FirstCard("1") + Delay("", "1 hour")), FALSE, FALSE, kHourMs},
        {PolicyText("<PassWordOnfirstCard xmlns:x='urn:x' x:Enabled='True'/>" +
                    Delay("True\" xmlns:x='urn:x' x:Enabled=\"False", "1 hour")),
         std::nullopt, TRUE, kHourMs},
        {PolicyText("")},
        {"<html/>"},
        {"<Configurations><Configuration ModuleName=\"password protection\">" + FirstCard("True") +
         "</Configuration></Configurations>"},
        {kPlain + std::string(kLongest - kPlain.size(), ' '), TRUE, TRUE, kHourMs}};
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.bytes.substr(0, 400));
        const CPolicyFile file(c.bytes);
        const bool usable = c.afterDelay != TRUE || c.delayMs != 0;
        EXPECT_EQ(usable, CConfigPassword().Load(file.Path().c_str()) != FALSE);
        CXmlPassword document;
        ASSERT_TRUE(document.Load(file.Path().c_str()));
        BOOL value = 4711;
        EXPECT_EQ(c.firstCard.has_value(), document.ReadOnFirstCard(&value) != FALSE);
        EXPECT_EQ(c.firstCard.value_or(FALSE), value);
        EXPECT_EQ(c.afterDelay.has_value(), document.ReadAfterDelay(&value) != FALSE);
        EXPECT_EQ(c.afterDelay.value_or(FALSE), value);
        EXPECT_EQ(c.delayMs, document.ReadDelay());
    }
}

TEST(PolicyText, IsRefused)
{
    const std::string entity = "<!DOCTYPE c [<!ENTITY e \"True\">]>";
    for (const std::string& bytes :
         {std::string(), kPlain.substr(0, kPlain.size() - 1), "Enabled=True"s, kPlain + "\xFF",
          "<!DOCTYPE Configurations>" + kPlain, entity + PolicyText(FirstCard("&e;")),
          PolicyText(FirstCard("&e;")), kPlain + std::string(kLongest - kPlain.size() + 1, ' '),
          Repeated(100000, "<a>") + Repeated(100000, "</a>"), std::string(300000, '<')}) {
        SCOPED_TRACE(bytes.substr(0, 400));
        const CPolicyFile file(bytes);
        EXPECT_FALSE(CXmlPassword().Load(file.Path().c_str()));
        EXPECT_FALSE(CConfigPassword().Load(file.Path().c_str()));
    }
}

TEST(PolicyPath, MustNameAFile)
{
    const CPolicyFile file(kPlain);
    ASSERT_TRUE(CXmlPassword().Load(file.Path().c_str()));
    const std::string folder = testing::TempDir();
    for (const std::wstring& path :
         {L""s, std::wstring(folder.begin(), folder.end()), L"no such folder/policy.xml"s,
          std::wstring(5000, L'a'), L"/dev/zero"s, L"NUL"s, L"file:"s + file.Path(),
          L"file:///"s + file.Path(), L"http://localhost/policy.xml"s, LR"(\\?\)"s + file.Path(),
          L"//?/"s + file.Path(), LR"(\\.\)"s + file.Path(), LR"(\??\)"s + file.Path()}) {
        SCOPED_TRACE(testing::PrintToString(path.substr(0, 60)));
        EXPECT_FALSE(CXmlPassword().Load(path.c_str()));
        EXPECT_FALSE(CConfigPassword().Load(path.c_str()));
    }
}

TEST(PolicyPath, IsCheckedForTheFilesSize)
{
    const CPolicyFile file(kPlain);
    EXPECT_TRUE(IsRegularFile(file.Path().c_str(), kPlain.size()));
    EXPECT_FALSE(IsRegularFile(file.Path().c_str(), kPlain.size() - 1));
}

TEST(PolicyPath, MayNameALink)
{
    const CPolicyFile file(kPlain);
    const std::filesystem::path link = file.Path() + L".link";
    std::error_code error;
    std::filesystem::create_symlink(file.Path(), link, error);
    if (error) {
        GTEST_SKIP() << "no links can be made here: " << error.message();
    }
    EXPECT_TRUE(CXmlPassword().Load(link.wstring().c_str()));
    std::filesystem::remove(link);
}

SYSTEMTIME At(WORD month, WORD day, WORD hour, WORD minute, WORD second = 0, WORD milliseconds = 0)
{
    return {2026, month, 0, day, hour, minute, second, milliseconds};
}

TEST(PolicyRules, SayWhenAPasswordIsDue)
{
    const struct {
        SYSTEMTIME now; ///< the password was entered on 5 March, 23:30
        BOOL firstCard; ///< whether one is due by the first-card rule alone,
        BOOL delay;     ///< by the delay rule of 1 hour alone,
        BOOL both;      ///< and by both
    } cases[] = {
        {At(3, 5, 23, 30), FALSE, FALSE, FALSE},       {At(3, 6, 0, 29, 59, 999), TRUE, FALSE, FALSE},
        {At(3, 6, 0, 30), TRUE, TRUE, TRUE},           {At(4, 5, 23, 30), FALSE, TRUE, FALSE},
        {At(3, 5, 22, 30, 0, 1), FALSE, FALSE, FALSE}, {At(3, 5, 22, 30), FALSE, TRUE, FALSE},
        {At(3, 4, 23, 30), TRUE, TRUE, TRUE}};
    const auto isDue = [](const std::string& policy, const SYSTEMTIME& now) {
        CVirtualClock clock;
        clock.SetLocalTime(At(3, 5, 23, 30));
        const CPolicyFile file(policy);
        CConfigPassword config;
        EXPECT_TRUE(config.Load(file.Path().c_str()));
        EXPECT_TRUE(config.IsPasswordRequired()) << "none was entered";
        config.MarkEntered();
        clock.SetLocalTime(now);
        return config.IsPasswordRequired();
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_FALSE(isDue(Policy(false, ""), c.now));
        EXPECT_EQ(c.firstCard, isDue(Policy(true, ""), c.now));
        EXPECT_EQ(c.delay, isDue(Policy(false, "1 hour"), c.now));
        EXPECT_EQ(c.both, isDue(Policy(true, "1 hour"), c.now));
    }
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
        {PolicyText(Delay("True", "1 hour") + FirstCard("True")), FALSE},
        {Policy(true, "4 hours"), TRUE},
        {Policy(false, "4 hours"), TRUE},
        {Policy(false, "4 hours"), FALSE},
        {Policy(false, ""), TRUE},
        {Policy(false, ""), TRUE}, // once for each load
    };
    CVirtualClock clock;
    const CPolicyFile file("");
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
