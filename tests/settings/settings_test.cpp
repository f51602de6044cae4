// Both settings memories, read and written.
#include <gtest/gtest.h>

#include <string>

#include "platform/spooler_admin.h"
#include "settings/data_settings_init.h"
#include "settings/data_settings_zrt.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CommandOf;
using test::Take;

// The values, by the printer's own list of ranges and flags.
constexpr const char* kEepromAnswer =
    "Image Darkness=-7,-128,127,1;Print Top of Form=-6,-128,127,1;Print End of Form=-5,-128,127,1;"
    "Print Left of Form=-4,-75,15,1;Mag Hi-Co Voltage Offset=-3,-55,55,1;"
    "Mag Lo-Co Voltage Offset=-2,-55,55,1;Mag Top of Form=-1,-128,127,1;Mag End of Form=0,-128,127,0;"
    "BlueLED=1,-128,127,0;YellowLED=2,-128,127,0;RibbonOffset=3,-128,127,0;FeedPWM=4,-128,127,0;"
    "Ribbon Tension=5,-128,127,1;HeadLiftPWM=6,-128,127,0;ReWinderPWM=7,-128,127,0;"
    "StepperPWM=8,-128,127,0;LCD Contrast=9,-128,127,1;RibYellowOnly=10,-128,127,0;"
    "Resin Heat Adjust=11,-128,127,1;TransitionDeltaOverlayYellow=12,0,127,1;"
    "TransitionDeltaYellowMagenta=13,0,127,1;";
constexpr const char* kFlipperAnswer =
    "Flipper Home Offset=-5,-5,5,1;Flipper Center Offset=2,-128,127,1;Flipper Smart Angle Offset=3,-5,5,1;"
    "Flipper Prox Offset=4,-128,127,1;Flipper Prox Angle Offset=-128,-128,127,1;";

/// Each memory's request and the one for its defaults take the same replies.
template <typename Current, typename Default>
void ExpectReply(const std::string& reply, BOOL ok, const std::string& text)
{
    SCOPED_TRACE(reply);
    Current current;
    Default defaults;
    for (CData* request : {static_cast<CData*>(&current), static_cast<CData*>(&defaults)}) {
        EXPECT_EQ(ok, Take(*request, reply));
        EXPECT_EQ(text, request->GetText());
    }
}

TEST(SettingsReply, NamesTheValuesWithTheirRanges)
{
    const auto eeprom = ExpectReply<CDataSettingsZRT, CDataSettingsZRTDefault>;
    eeprom("EEprom Settings:-7,-6,-5,-4,-3,-2,-1,0,1,2,3,4,5,6,7,8,9,10,11,12,13,", TRUE, kEepromAnswer);
    eeprom("??EEprom Defaults:1;-2;", TRUE, "Image Darkness=1,-128,127,1;Print Top of Form=-2,-128,127,1;");
    eeprom("EEprom Defaults:9,EEprom Settings:1,", TRUE, "Image Darkness=1,-128,127,1;");
    eeprom("EEprom Settings:1,2", FALSE, "Image Darkness=1,-128,127,1;Print Top of Form=2");
    eeprom("EEprom Settings:", FALSE, "Image Darkness=");
    eeprom("EEprom Settings:,,", TRUE, "Image Darkness=,-128,127,1;Print Top of Form=,-128,127,1;");
    eeprom("EEprom Settings:1,\0"s + "2,3,", TRUE, "Image Darkness=1,-128,127,1;");
    eeprom("Flipper EE Settings:1,", FALSE, "Flipper EE Settings:1,");
    const auto flipper = ExpectReply<CDataSettingsFlip, CDataSettingsFlipDefault>;
    flipper("Flipper EE Settings:-5,2,3,4,-128,", TRUE, kFlipperAnswer);
    flipper("Flipper EE Defaults:-5,2,3,4,-128,77,78", TRUE, kFlipperAnswer + "77;78"s);
    flipper("Flipper EE Settings:1", FALSE, "Flipper Home Offset=1");
    flipper("EEprom Settings:1,", FALSE, "EEprom Settings:1,");
}

std::string SettingCommand(char memory, int parameter, int value)
{
    return "\x1B\0\2T"s + memory + std::to_string(parameter) + ',' + std::to_string(value) + "T\r";
}

TEST(SettingsWrite, SendsWhatTheStoredTextHolds)
{
    spooler::CreatePrinter(L"Cards");
    const struct {
        std::string stored;
        std::string eeprom;
        std::string flipper;
    } cases[] = {
        {"Image Darkness=5,-128,127,1;Flipper Home Offset=-2;", "\x1B\0\2TE0,5T\r"s, "\x1B\0\2TF2,-2T\r"s},
        {"TransitionDeltaYellowMagenta=1;Print Left of Form=-75;",
         SettingCommand('E', 3, -75) + SettingCommand('E', 20, 1), ""},
        {"Flipper Prox Angle Offset=7;", "", SettingCommand('F', 6, 7)},
        {"FeedPWM=40000;", SettingCommand('E', 11, 40000), ""},
        {"BlueLED=abc;", SettingCommand('E', 8, 0), ""},
        {"BlueLED=5", "", ""},
        {"", "", ""}};
    CDataSettingsInitZRT request;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored);
        spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY, c.stored);
        for (int run = 0; run < 2; ++run) {
            ASSERT_TRUE(request.Prepare(L"InitializeSettings/cards"));
            EXPECT_EQ(c.eeprom, CommandOf(request));
            EXPECT_EQ(c.flipper, CommandOf(*request.GetNext()));
            EXPECT_STREQ("", request.GetText());
            EXPECT_EQ(c.stored, request.GetNext()->GetText());
        }
    }
    spooler::RemovePrinter(L"Cards");
}

} // namespace
} // namespace zrtmon
