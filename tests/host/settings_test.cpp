// zrtctl settings, above a monitor whose printer keeps three settings.
#include <gtest/gtest.h>

#include "host/settings.h"
#include "platform/spooler_admin.h"
#include "tests/host/scripted_monitor.h"

namespace zrtmon::test {
namespace {

/// The printer: answers its settings, and takes over what is stored for it when it is told to.
struct SettingsBench : ScriptedBench {
    SettingsBench()
    {
        script.answer = [this](const std::string& requestText) { return Answer(requestText); };
    }

    ScriptedMonitor::Answer Answer(const std::string& requestText)
    {
        if (requestText == "InitializeSettings/Card Printer") {
            const std::string text = spooler::LoadValue(L"Card Printer", L"CurrentSettings").value_or("");
            stored.push_back(text);
            for (const host::CSetting& setting : host::ParseSettings(text)) {
                if (setting.name != stubborn) {
                    values.at(setting.name) = setting.value;
                }
            }
            return {text};
        }
        return {reply.empty() ? Report() : reply};
    }

    std::string Report() const
    {
        return "Image Darkness=" + std::to_string(values.at("Image Darkness")) + ",-128,127,1;" +
               "Print Left of Form=" + std::to_string(values.at("Print Left of Form")) + ",-75,15,1;" +
               "FeedPWM=" + std::to_string(values.at("FeedPWM")) + ",-128,127,0;";
    }

    std::map<std::string, int> values{{"Image Darkness", 5}, {"Print Left of Form", -3}, {"FeedPWM", 0}};
    std::string stubborn;            ///< a setting that the printer does not take
    std::string reply;               ///< in place of its own
    std::vector<std::string> stored; ///< the texts that it was told to take over
};

TEST(Settings, AreShownWithTheirRanges)
{
    SettingsBench bench;
    const CommandResult result = bench.Run("settings show");
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("Image Darkness        5  (-128 to 127, flag 1)\n"
              "Print Left of Form   -3  (-75 to 15, flag 1)\n"
              "FeedPWM               0  (-128 to 127, flag 0)\n",
              result.out);
}

TEST(Settings, ComeBackFromTheFileAsTheyWere)
{
    SettingsBench bench;
    const std::map<std::string, int> before = bench.values;
    ASSERT_EQ(0, bench.Run("settings save @kept").status);
    ASSERT_EQ(0, bench.Run("settings set 'Image Darkness=-128' 'FeedPWM = 7'").status);
    EXPECT_EQ(-128, bench.values["Image Darkness"]);
    EXPECT_EQ(7, bench.values["FeedPWM"]);
    EXPECT_EQ("Image Darkness=-128,-128,127,1;FeedPWM=7,-128,127,0;", bench.stored.back())
        << "settings that are not named are not written";
    const CommandResult result = bench.Run("settings restore @kept");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("3 settings written\n", result.err);
    EXPECT_EQ(before, bench.values);
}

TEST(SettingsOfTheSimulatedPrinter, AllGoOutAndComeBack)
{
    HostBench bench;
    ASSERT_EQ(0, bench.Run("settings save @before").status);
    std::string changed;
    for (const host::CSettingChange& setting : host::ReadSettingsFile(bench.ReadFile("before"))) {
        changed += setting.name + '=' + std::to_string(setting.value == 2 ? 3 : 2) + '\n';
    }
    bench.WriteFile("changed", changed);
    // The printer lives as long as the process's port: the trace shows what reached it.
    EXPECT_EQ("26 settings written\n", bench.Run("settings restore @changed --trace @trace").err);
    const std::string trace = bench.ReadFile("trace");
    EXPECT_TRUE(Shows(trace, "TE write a setting, 21 times"));
    EXPECT_TRUE(Shows(trace, "TF write a setting of the flipper, 5 times"));
}

TEST(Settings, ThatAreRefusedAreNotWritten)
{
    const struct {
        const char* words; ///< behind "settings"
        const char* file;  ///< contents of "kept"
        int status;
        const char* message;
    } refusals[] = {
        {"set FeedPWM=1 'Print Left of Form=16'", "", 64,
         "Print Left of Form=16: out of range, it takes -75 to 15"},
        {"set 'Print Left of Form=-76'", "", 64, "-75 to 15"},
        {"set 'Image Drakness=1'", "", 64, "Image Drakness: no such setting; the nearest is Image Darkness"},
        {"set feedpwm=1", "", 64, "the nearest is FeedPWM"},
        {"set FeedPWM=1 FeedPWM=2", "", 64, "FeedPWM: given twice"},
        {"restore @kept", "# made by hand\n\nFeedPWM=1\nImage Darkness=128,-128,999,1\n", 65,
         "kept: line 4: Image Darkness=128: out of range, it takes -128 to 127"},
        {"restore @kept", "Lamp=1\n", 65, "kept: line 1: Lamp: no such setting"},
        {"restore @kept", "FeedPWM=1\nFeedPWM\n", 65, "kept: line 2: is not name=value: \"FeedPWM\""},
        {"restore @kept", "FeedPWM=1\nFeedPWM=2", 65, "line 2: FeedPWM: given twice"},
    };
    for (const auto& row : refusals) {
        SCOPED_TRACE(row.message);
        SettingsBench bench;
        bench.WriteFile("kept", row.file);
        const CommandResult result = bench.Run("settings " + std::string(row.words));
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ(1u, Lines(result.err).size());
        EXPECT_TRUE(Shows(result.err, row.message));
        EXPECT_TRUE(bench.stored.empty());
        EXPECT_FALSE(spooler::LoadValue(L"Card Printer", L"CurrentSettings"));
    }
}

TEST(Settings, ThatThePrinterDoesNotTakeAreToldOf)
{
    SettingsBench bench;
    bench.stubborn = "FeedPWM";
    const CommandResult result = bench.Run("settings set 'Image Darkness=1' FeedPWM=7");
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("zrtctl: the printer did not take FeedPWM=7\n", result.err);
}

TEST(Settings, AnAnswerOfAnotherFormIsNoList)
{
    for (const char* reply :
         {"FeedPWM=1,2;", "FeedPWM=a,0,1,1;", "=1,0,1,1;", "FeedPWM=1,0,1,1,1;", ";;", "x"}) {
        SettingsBench bench;
        bench.reply = reply;
        EXPECT_EQ(1, bench.Run("settings save @kept").status) << reply;
        EXPECT_FALSE(std::filesystem::exists(bench.Folder() / "kept")) << reply;
    }
}

} // namespace
} // namespace zrtmon::test
