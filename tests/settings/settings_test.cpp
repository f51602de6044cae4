// Both settings memories, read and written.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "link/print_monitor_zrt.h"
#include "platform/spooler_admin.h"
#include "settings/data_settings_init.h"
#include "settings/data_settings_zrt.h"
#include "tests/support/case_name.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CommandOf;
using test::Take;

constexpr const char* kEepromReply =
    "EEprom Settings:1,-2,3,-75,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,127,";
constexpr const char* kEepromAnswer =
    "Image Darkness=1,-128,127,1;Print Top of Form=-2,-128,127,1;Print End of Form=3,-128,127,1;"
    "Print Left of Form=-75,-75,15,1;Mag Hi-Co Voltage Offset=5,-55,55,1;"
    "Mag Lo-Co Voltage Offset=6,-55,55,1;Mag Top of Form=7,-128,127,1;Mag End of Form=8,-128,127,0;"
    "BlueLED=9,-128,127,0;YellowLED=10,-128,127,0;RibbonOffset=11,-128,127,0;FeedPWM=12,-128,127,0;"
    "Ribbon Tension=13,-128,127,1;HeadLiftPWM=14,-128,127,0;ReWinderPWM=15,-128,127,0;"
    "StepperPWM=16,-128,127,0;LCD Contrast=17,-128,127,1;RibYellowOnly=18,-128,127,0;"
    "Resin Heat Adjust=19,-128,127,1;TransitionDeltaOverlayYellow=20,0,127,1;"
    "TransitionDeltaYellowMagenta=127,0,127,1;";
constexpr const char* kFlipperAnswer =
    "Flipper Home Offset=-5,-5,5,1;Flipper Center Offset=2,-128,127,1;Flipper Smart Angle Offset=3,-5,5,1;"
    "Flipper Prox Offset=4,-128,127,1;Flipper Prox Angle Offset=-128,-128,127,1;";

TEST(SettingsRequests, AskBothMemoriesAndKeepTheirChain)
{
    struct Case {
        const wchar_t* valueName;
        std::string head;
        std::string flipper;
    };
    CPrintMonitorZRT model;
    for (const Case& c : {Case{L"CurrentSettings", "\x1B\0\2NE"s, "\x1B\0\2NF"s},
                          Case{L"DefaultSettings", "\x1B\0\2Ne"s, "\x1B\0\2Nf"s}}) {
        CData* head = model.GetRequestByName(c.valueName);
        ASSERT_NE(nullptr, head);
        CData* flipper = head->GetNext();
        ASSERT_NE(nullptr, flipper);
        EXPECT_EQ(c.head, CommandOf(*head));
        EXPECT_EQ(c.flipper, CommandOf(*flipper));
        EXPECT_EQ(250u, flipper->GetSendDelay());
        EXPECT_EQ(nullptr, flipper->GetNext());
        ASSERT_EQ(head, model.GetRequestByName(c.valueName));
        EXPECT_EQ(flipper, head->GetNext());
    }
}

struct ReadCase {
    const char* name;
    bool flipper;
    std::string reply;
    BOOL ok;
    std::string text;
};
class SettingsReply : public testing::TestWithParam<ReadCase> {};

TEST_P(SettingsReply, NamesTheValuesWithTheirRanges)
{
    CDataSettingsZRT current;
    CDataSettingsZRTDefault defaults;
    CDataSettingsFlip flipper;
    CDataSettingsFlipDefault flipperDefaults;
    const auto requests = GetParam().flipper ? std::array<CData*, 2>{&flipper, &flipperDefaults}
                                             : std::array<CData*, 2>{&current, &defaults};
    for (CData* request : requests) {
        EXPECT_EQ(GetParam().ok, Take(*request, GetParam().reply));
        EXPECT_EQ(GetParam().text, request->GetText());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Replies, SettingsReply,
    testing::Values(
        ReadCase{"Eeprom", false, kEepromReply, TRUE, kEepromAnswer},
        ReadCase{"EepromDefaults", false, "??EEprom Defaults:1;-2;", TRUE,
                 "Image Darkness=1,-128,127,1;Print Top of Form=-2,-128,127,1;"},
        ReadCase{"SettingsMarkerGoesFirst", false, "EEprom Defaults:9,EEprom Settings:1,", TRUE,
                 "Image Darkness=1,-128,127,1;"},
        ReadCase{"More", false, kEepromReply + "77,78"s, TRUE, kEepromAnswer + "77;78"s},
        ReadCase{"LastNotClosed", false, "EEprom Settings:1,2", FALSE,
                 "Image Darkness=1,-128,127,1;Print Top of Form=2"},
        ReadCase{"NothingBehindTheMarker", false, "EEprom Settings:", FALSE, "Image Darkness="},
        ReadCase{"EmptyValues", false, "EEprom Settings:,,", TRUE,
                 "Image Darkness=,-128,127,1;Print Top of Form=,-128,127,1;"},
        ReadCase{"NulInside", false, "EEprom Settings:1,\0"s + "2,3,", TRUE, "Image Darkness=1,-128,127,1;"},
        ReadCase{"NoMarker", false, "Flipper EE Settings:1,", FALSE, "Flipper EE Settings:1,"},
        ReadCase{"Flipper", true, "Flipper EE Settings:-5,2,3,4,-128,", TRUE, kFlipperAnswer},
        ReadCase{"FlipperDefaults", true, "Flipper EE Defaults:-5,2,3,4,-128,", TRUE, kFlipperAnswer},
        ReadCase{"FlipperLastNotClosed", true, "Flipper EE Settings:1", FALSE, "Flipper Home Offset=1"},
        ReadCase{"NoFlipper", true, "EEprom Settings:1,", FALSE, "EEprom Settings:1,"}),
    test::CaseName{});

std::string SettingCommand(char memory, int parameter, int value)
{
    return "\x1B\0\2T"s + memory + std::to_string(parameter) + ',' + std::to_string(value) + "T\r";
}

struct WriteCase {
    const char* name;
    std::string stored;
    std::string eeprom;
    std::string flipper;
};
class SettingsWrite : public testing::TestWithParam<WriteCase> {
protected:
    SettingsWrite() { spooler::CreatePrinter(L"Cards"); }
    ~SettingsWrite() override { spooler::RemovePrinter(L"Cards"); }
};

TEST_P(SettingsWrite, SendsWhatTheStoredTextHolds)
{
    spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY, GetParam().stored);
    CDataSettingsInitZRT request;
    for (int run = 0; run < 2; ++run) {
        ASSERT_TRUE(request.Prepare(L"InitializeSettings/cards"));
        EXPECT_EQ(GetParam().eeprom, CommandOf(request));
        EXPECT_EQ(GetParam().flipper, CommandOf(*request.GetNext()));
        EXPECT_STREQ("", request.GetText());
        EXPECT_STREQ(GetParam().stored.c_str(), request.GetNext()->GetText());
        EXPECT_EQ(0u, request.GetSendDelay());
        EXPECT_EQ(CData::kReceiveNothing, request.GetReceiveMethod());
        EXPECT_EQ(CData::kSendToPort, request.GetSendMethod());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SettingsWrite,
    testing::Values(WriteCase{"FirstOfEach", "Image Darkness=5,-128,127,1;Flipper Home Offset=-2;",
                              "\x1B\0\2TE0,5T\r"s, "\x1B\0\2TF2,-2T\r"s},
                    WriteCase{"TableOrder", "TransitionDeltaYellowMagenta=1;Print Left of Form=-75;",
                              SettingCommand('E', 3, -75) + SettingCommand('E', 20, 1), ""},
                    WriteCase{"OnlyFlipper", "Flipper Prox Angle Offset=7;", "", SettingCommand('F', 6, 7)},
                    WriteCase{"OutsideItsRange", "FeedPWM=40000;", SettingCommand('E', 11, 40000), ""},
                    WriteCase{"NoNumber", "BlueLED=abc;", SettingCommand('E', 8, 0), ""},
                    WriteCase{"NotClosed", "BlueLED=5", "", ""}, WriteCase{"Empty", "", "", ""},
                    WriteCase{"WithoutNames", kEepromReply, "", ""}),
    test::CaseName{});

TEST_F(SettingsWrite, SendsEveryRowUnderItsNumber)
{
    spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY,
                        kEepromAnswer + std::string(kFlipperAnswer));
    CDataSettingsInitZRT request;
    ASSERT_TRUE(request.Prepare(L"InitializeSettings/Cards"));
    std::string eeprom;
    for (int parameter = 0; parameter < 21; ++parameter) {
        const int special = parameter == 1    ? -2
                            : parameter == 3  ? -75
                            : parameter == 20 ? 127
                                              : parameter + 1;
        eeprom += SettingCommand('E', parameter, special);
    }
    EXPECT_EQ(eeprom, CommandOf(request));
    EXPECT_EQ("\x1B\0\2TF2,-5T\r\x1B\0\2TF3,2T\r\x1B\0\2TF4,3T\r\x1B\0\2TF5,4T\r\x1B\0\2TF6,-128T\r"s,
              CommandOf(*request.GetNext()));
}

TEST_F(SettingsWrite, RefusesWhatHasNoStoredText)
{
    CDataSettingsInitZRT request;
    EXPECT_FALSE(request.Prepare(L"InitializeSettings/Cards")) << "no value yet";
    spooler::StoreValue(L"Cards", L"CurrentSettings", REG_BINARY, "BlueLED=1;");
    EXPECT_FALSE(request.Prepare(L"InitializeSettings"));
    EXPECT_FALSE(request.Prepare(L"InitializeSettings/"));
    EXPECT_FALSE(request.Prepare(L"InitializeSettings/Nobody"));
    ASSERT_TRUE(request.Prepare(L"InitializeSettings/Cards"));
    EXPECT_EQ(SettingCommand('E', 8, 1), CommandOf(request));
    EXPECT_EQ(0u, spooler::OpenPrinterCount());
}

} // namespace
} // namespace zrtmon
