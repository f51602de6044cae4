// zrtctl settings, above a monitor whose printer keeps three settings.
#include <gtest/gtest.h>

#include "host/printer/settings.h"
#include "platform/spooler_admin.h"
#include "tests/host/support/scripted_monitor.h"

namespace zrtmon::test {
namespace {

/// A printer with settings, which records the stored ones when it has to write them.
struct CSettingsFixture : CScriptedFixture {
    CSettingsFixture()
    {
        script.answer = [this](const std::string&) { return CScriptedMonitor::CAnswer{settings}; };
        script.hooks["InitializeSettings/Card Printer"] = [this] {
            written = spooler::LoadValue(L"Card Printer", L"CurrentSettings").value_or("");
            settings = next;
        };
    }

    const std::string first =
        "Image Darkness=5,-128,127,1;Print Left of Form=-3,-75,15,1;FeedPWM=0,-128,127,0;";
    std::string settings = first;
    std::string next = first; ///< its settings once they have been written
    std::optional<std::string> written;
};

TEST(Settings, AreShownWithTheirRanges)
{
    CSettingsFixture fixture;
    const CCommandResult result = fixture.Run("settings show");
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("Image Darkness        5  (-128 to 127, flag 1)\n"
              "Print Left of Form   -3  (-75 to 15, flag 1)\n"
              "FeedPWM               0  (-128 to 127, flag 0)\n",
              result.out);
}

TEST(Settings, ComeBackFromTheFileAsTheyWere)
{
    CSettingsFixture fixture;
    ASSERT_EQ(0, fixture.Run("settings save @kept").status);
    fixture.next = "Image Darkness=-128,-128,127,1;Print Left of Form=-3,-75,15,1;FeedPWM=7,-128,127,0;";
    ASSERT_EQ(0, fixture.Run("settings set 'Image Darkness=-128' 'FeedPWM = 7'").status);
    EXPECT_EQ("Image Darkness=-128,-128,127,1;FeedPWM=7,-128,127,0;", fixture.written)
        << "settings that are not named are not written";
    fixture.next = fixture.first;
    const CCommandResult result = fixture.Run("settings restore @kept");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("3 settings written\n", result.err);
    EXPECT_EQ(fixture.first, fixture.written);
}

TEST(SettingsOfTheSimulatedPrinter, AllGoOutAndComeBack)
{
    CHostFixture fixture;
    ASSERT_EQ(0, fixture.Run("settings save @before").status);
    std::string changed;
    for (const host::CSettingChange& setting : host::ReadSettingsFile(fixture.ReadFile("before"))) {
        changed += setting.name + '=' + std::to_string(setting.value == 2 ? 3 : 2) + '\n';
    }
    fixture.WriteFile("changed", changed);
    // The printer lives as long as the process's port: the trace shows what reached it.
    EXPECT_EQ("26 settings written\n", fixture.Run("settings restore @changed --trace @trace").err);
    const std::string trace = fixture.ReadFile("trace");
    EXPECT_TRUE(Shows(trace, "TE write a setting, 21 times"));
    EXPECT_TRUE(Shows(trace, "TF write a flipper setting, 5 times"));
}

TEST(Settings, ThatAreRefusedAreNotWritten)
{
    const struct {
        const char* words; ///< after "settings"
        const char* file;  ///< contents of "kept"
        int status;
        const char* message;
    } refusals[] = {
        {"set FeedPWM=1 'Print Left of Form=16'", "", 64,
         "Print Left of Form=16: out of range, valid are -75 to 15"},
        {"set 'Print Left of Form=-76'", "", 64, "-75 to 15"},
        {"set 'Image Drakness=1'", "", 64, "Image Drakness: no such setting; did you mean Image Darkness?"},
        {"set feedpwm=1", "", 64, "did you mean FeedPWM?"},
        {"set FeedPWM=1 FeedPWM=2", "", 64, "FeedPWM: given twice"},
        {"restore @kept", "# made by hand\n\nFeedPWM=1\nImage Darkness=128,-128,999,1\n", 65,
         "kept: line 4: Image Darkness=128: out of range, valid are -128 to 127"},
        {"restore @kept", "Lamp=1\n", 65, "kept: line 1: Lamp: no such setting"},
        {"restore @kept", "FeedPWM=1\nFeedPWM\n", 65, "kept: line 2: not name=value: \"FeedPWM\""},
        {"restore @kept", "FeedPWM=1\nFeedPWM=2", 65, "line 2: FeedPWM: given twice"},
    };
    for (const auto& row : refusals) {
        SCOPED_TRACE(row.message);
        CSettingsFixture fixture;
        fixture.WriteFile("kept", row.file);
        const CCommandResult result = fixture.Run("settings " + std::string(row.words));
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ(1u, Lines(result.err).size());
        EXPECT_TRUE(Shows(result.err, row.message));
        EXPECT_EQ(std::nullopt, fixture.written);
        EXPECT_FALSE(spooler::LoadValue(L"Card Printer", L"CurrentSettings"));
    }
}

TEST(Settings, ThatThePrinterDoesNotAcceptAreReported)
{
    CSettingsFixture fixture;
    const CCommandResult result = fixture.Run("settings set 'Image Darkness=5' FeedPWM=7");
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("zrtctl: the printer did not accept FeedPWM=7 (it has 0); it took 1 of 2 settings\n",
              result.err);
}

TEST(Settings, AnAnswerOfAnotherFormIsNoList)
{
    for (const char* reply :
         {"FeedPWM=1,2;", "FeedPWM=a,0,1,1;", "=1,0,1,1;", "FeedPWM=1,0,1,1,1;", ";;", "x"}) {
        CSettingsFixture fixture;
        fixture.settings = reply;
        EXPECT_EQ(1, fixture.Run("settings save @kept").status) << reply;
        EXPECT_FALSE(std::filesystem::exists(fixture.Folder() / "kept")) << reply;
    }
}

} // namespace
} // namespace zrtmon::test
