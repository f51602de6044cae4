// The policy file, and when a password is due by it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>

#include "platform/virtual_clock.h"
#include "security/config_password.h"
#include "security/xml_password.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;

/// A file of this test's own, gone with the object.
class PolicyFile {
public:
    explicit PolicyFile(const std::string& bytes = {})
        : m_path(testing::TempDir() + "policy" + std::to_string(std::random_device()()) + ".xml")
    {
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
    std::string bytes; ///< of a file that loads as a document
    BOOL firstCard = FALSE;
    std::optional<BOOL> afterDelay = FALSE; ///< nothing: it cannot be read
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
        {Wrap(FirstCard("Tr&#117;e") + Delay("&#x54;rue", "1&#32;h&#111;ur")), TRUE, TRUE, kHourMs},
        {Wrap("<!-- a --> " + FirstCard("True") + "\n<!-- b -->"), TRUE},
        {Policy(false, "10 minutes"), FALSE, TRUE, 600000},
        {Policy(false, "30 minutes"), FALSE, TRUE, 1800000},
        {Policy(false, "4 hours"), FALSE, TRUE, 14400000},
        {Policy(true, "2 hours"), TRUE, TRUE, 0},
        {Policy(true, "1 Hour"), TRUE, TRUE, 0},
        {Policy(true, "1 hour "), TRUE, TRUE, 0},
        {Wrap(Delay("False", "2 hours"))},
        {Wrap("<PassWordAfterDelay Enabled=\"True\"/>"), FALSE, TRUE, 0},
        {Wrap("<PassWordAfterDelay Enabled=\"True\"><DelayHours/></PassWordAfterDelay>"), FALSE, TRUE, 0},
        {Wrap(noEnabled), FALSE, std::nullopt, kHourMs},
        {Wrap(FirstCard("true") + Delay("TRUE", "1 hour")), FALSE, FALSE, kHourMs},
        {Wrap(FirstCard("1") + Delay("", "1 hour")), FALSE, FALSE, kHourMs},
        {Wrap("")},
        {"<html/>"},
        {"<Configurations><Configuration ModuleName=\"password protection\">" + FirstCard("True") +
         "</Configuration></Configurations>"},
        {kPlain + std::string(kLongest - kPlain.size(), ' '), TRUE, TRUE, kHourMs}};
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.bytes.substr(0, 400));
        const PolicyFile file(c.bytes);
        const bool usable = c.afterDelay != TRUE || c.delayMs != 0;
        EXPECT_EQ(usable, CConfigPassword().Load(file.Path().c_str()) != FALSE);
        CXmlPassword document;
        ASSERT_TRUE(document.Load(file.Path().c_str()));
        BOOL value = 4711;
        document.ReadOnFirstCard(&value);
        EXPECT_EQ(c.firstCard, value);
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
          "<!DOCTYPE Configurations>" + kPlain, entity + Wrap(FirstCard("&e;")), Wrap(FirstCard("&e;")),
          kPlain + std::string(kLongest - kPlain.size() + 1, ' '), Nested(100000),
          std::string(300000, '<')}) {
        SCOPED_TRACE(bytes.substr(0, 400));
        const PolicyFile file(bytes);
        EXPECT_FALSE(CXmlPassword().Load(file.Path().c_str()));
        EXPECT_FALSE(CConfigPassword().Load(file.Path().c_str()));
    }
}

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

TEST(PolicyRules, SayWhenAPasswordIsDue)
{
    const struct {
        SYSTEMTIME now; ///< the password was entered on 5 March, 12:00
        BOOL firstCard; ///< whether one is due by the first-card rule alone,
        BOOL delay;     ///< by the delay rule of 1 hour alone,
        BOOL both;      ///< and by both
    } cases[] = {{At(3, 5, 12, 0), FALSE, FALSE, FALSE}, {At(3, 5, 12, 59), FALSE, FALSE, FALSE},
                 {At(3, 5, 13, 0), FALSE, TRUE, FALSE},  {At(3, 6, 12, 0), TRUE, TRUE, TRUE},
                 {At(4, 5, 12, 0), FALSE, TRUE, FALSE},  {At(3, 5, 11, 1), FALSE, FALSE, FALSE},
                 {At(3, 5, 11, 0), FALSE, TRUE, FALSE},  {At(3, 4, 12, 0), TRUE, TRUE, TRUE}};
    const auto isDue = [](const std::string& policy, const SYSTEMTIME& now) {
        VirtualClock clock;
        clock.SetLocalTime(At(3, 5, 12, 0));
        const PolicyFile file(policy);
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
