// What the printer says of itself: every reply request that is no status, by its value name.
#include <gtest/gtest.h>

#include <string>

#include "link/print_monitor_zrt.h"
#include "queries/data_lcd_dump.h"
#include "queries/data_ribbon.h"
#include "requests/data.h"
#include "tests/support/case_name.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CommandOf;
using test::Take;

struct NameRow {
    const wchar_t* valueName;
    std::string command;
    CData::SendMethod send;
    CData::ReceiveMethod receive;
};

TEST(Information, IsAskedForWithTheseBytes)
{
    CPrintMonitorZRT model;
    for (const NameRow& row :
         {NameRow{L"ConfigInfo", "\x1B\0\2NM"s, CData::kSendToPort, CData::kReceiveFromPort},
          NameRow{L"VersionInfo", "\x1B\0\2NV"s, CData::kSendToPort, CData::kReceiveFromPort},
          NameRow{L"SerialNumber", "", CData::kSendNothing, CData::kReceiveDeviceId},
          NameRow{L"RibbonInfo", "\x1B\0\2NR"s, CData::kSendToPort, CData::kReceiveFromPort},
          NameRow{L"MagData", "\x1B\0\2N0"s, CData::kSendToPort, CData::kReceiveFromPort},
          NameRow{L"LCDInfo", "\x1B\0\2NL"s, CData::kSendToPort, CData::kReceiveFromPort}}) {
        CData* request = model.GetRequestByName(row.valueName);
        ASSERT_NE(nullptr, request);
        EXPECT_EQ(row.command, CommandOf(*request));
        EXPECT_EQ(row.send, request->GetSendMethod());
        EXPECT_EQ(row.receive, request->GetReceiveMethod());
        EXPECT_EQ(250u, request->GetSendDelay());
        EXPECT_EQ(nullptr, request->GetNext());
    }
    CDataRibbon otherSupply(1);
    EXPECT_EQ("", CommandOf(otherSupply));
}

struct ReplyCase {
    const char* name;
    const wchar_t* valueName;
    std::string reply;
    BOOL ok;
    std::string text;
};
class InformationReply : public testing::TestWithParam<ReplyCase> {};

TEST_P(InformationReply, BecomesTheAnswer)
{
    CPrintMonitorZRT model;
    CData* request = model.GetRequestByName(GetParam().valueName);
    ASSERT_NE(nullptr, request);
    Take(*request, "another reply before");
    EXPECT_EQ(GetParam().ok, Take(*request, GetParam().reply));
    EXPECT_EQ(GetParam().text, request->GetText());
}

constexpr auto* kConfig = L"ConfigInfo";
constexpr auto* kVersion = L"VersionInfo";
constexpr auto* kSerial = L"SerialNumber";
constexpr auto* kRibbon = L"RibbonInfo";
constexpr auto* kMag = L"MagData";
constexpr auto* kLcd = L"LCDInfo";

INSTANTIATE_TEST_SUITE_P(
    Config, InformationReply,
    testing::Values(
        ReplyCase{"Both", kConfig, "Module Status:1,0", TRUE, "MagModule=1;FlipperModule=0"},
        ReplyCase{"NoiseBefore", kConfig, "ok\r\nModule Status:1;1", TRUE, "MagModule=1;FlipperModule=1"},
        ReplyCase{"TrailingSeparator", kConfig, "Module Status:0,1,", TRUE, "MagModule=0;FlipperModule=1;"},
        ReplyCase{"More", kConfig, "Module Status:0,1,x,y", TRUE, "MagModule=0;FlipperModule=1;x;y"},
        ReplyCase{"OneFieldShort", kConfig, "Module Status:1", FALSE, "MagModule=1"},
        ReplyCase{"SeparatorIsLast", kConfig, "Module Status:1,", FALSE, "MagModule=1;"},
        ReplyCase{"NulInside", kConfig, "Module Status:1\0,0"s, FALSE, "MagModule=1"},
        ReplyCase{"TwoMarkers", kConfig, "Module Status:Module Status:1,0", TRUE,
                  "MagModule=Module Status:1;FlipperModule=0"},
        ReplyCase{"NoMarker", kConfig, "Module status:1,0", FALSE, "Module status:1,0"},
        ReplyCase{"Empty", kConfig, "", FALSE, ""}),
    test::CaseName{});

INSTANTIATE_TEST_SUITE_P(Version, InformationReply,
                         testing::Values(ReplyCase{"Plain", kVersion, "Ver:2.5.1", TRUE, "Firmware=2.5.1"},
                                         ReplyCase{"CommaInside", kVersion, "Ver:2,5", TRUE, "Firmware=2;5"},
                                         ReplyCase{"Nothing", kVersion, "Ver:", TRUE, "Firmware="},
                                         ReplyCase{"NoMarker", kVersion, "ver:2", FALSE, "ver:2"},
                                         ReplyCase{"MarkerCut", kVersion, "Ver", FALSE, "Ver"},
                                         ReplyCase{"NulBeforeMarker", kVersion, "\0Ver:2"s, FALSE, ""}),
                         test::CaseName{});

INSTANTIATE_TEST_SUITE_P(
    Serial, InformationReply,
    testing::Values(ReplyCase{"Inside", kSerial, "MFG:X;MDL:Y;SN:A12345;CLS:PRINTER;", TRUE, "A12345"},
                    ReplyCase{"AtTheEnd", kSerial, "MFG:X;SN:XYZ", TRUE, "XYZ"},
                    ReplyCase{"Comma", kSerial, "SN:AB,CD;", TRUE, "AB;CD"},
                    ReplyCase{"FirstOfTwo", kSerial, "SN:1;SN:2;", TRUE, "1"},
                    ReplyCase{"Empty", kSerial, "SN:;MFG:X", TRUE, ""},
                    ReplyCase{"NoMarker", kSerial, "MFG:X;MDL:Y;", FALSE, "MFG:X;MDL:Y;"}),
    test::CaseName{});

INSTANTIATE_TEST_SUITE_P(
    Ribbon, InformationReply,
    testing::Values(
        ReplyCase{"All", kRibbon, "Ribbon Info:P1,Q2,1,T1,M1,87", TRUE,
                  "PartNumber=P1;OEMPartNumber=Q2;Grade=1;Type=T1;Material=M1;PercentRemaining=87"},
        ReplyCase{"More", kRibbon, "x Ribbon Info:a;b;c;d;e;f;g", TRUE,
                  "PartNumber=a;OEMPartNumber=b;Grade=c;Type=d;Material=e;PercentRemaining=f;g"},
        ReplyCase{"Two", kRibbon, "Ribbon Info:P1,Q2", TRUE, "PartNumber=P1;OEMPartNumber=Q2"},
        ReplyCase{"EmptyValue", kRibbon, "Ribbon Info:P1,Q2,,T1", TRUE,
                  "PartNumber=P1;OEMPartNumber=Q2;Grade=;Type=T1"},
        ReplyCase{"SeparatorIsLast", kRibbon, "Ribbon Info:P,Q,1,T,M,", TRUE,
                  "PartNumber=P;OEMPartNumber=Q;Grade=1;Type=T;Material=M;"},
        ReplyCase{"Nothing", kRibbon, "Ribbon Info:", TRUE, "PartNumber="},
        ReplyCase{"NoMarker", kRibbon, "P1,Q2,1", FALSE, "P1,Q2,1"}),
    test::CaseName{});

INSTANTIATE_TEST_SUITE_P(
    Mag, InformationReply,
    testing::Values(ReplyCase{"All", kMag, "MAG:P,Q,R", TRUE, "Track1=P;Track2=Q;Track3=R"},
                    ReplyCase{"EmptyTrack2", kMag, "MAG:P,,R", TRUE, "Track1=P;Track2=;Track3=R"},
                    ReplyCase{"EmptyTrack3", kMag, "MAG:P,Q,;", TRUE, "Track1=P;Track2=Q;Track3=;"},
                    ReplyCase{"SeparatorIsLast", kMag, "MAG:P,Q,", FALSE, "Track1=P;Track2=Q;"},
                    ReplyCase{"OneFieldShort", kMag, "MAG:P,Q", FALSE, "Track1=P;Track2=Q"},
                    ReplyCase{"NoiseBefore", kMag, "\xFF\x80MAG:P;Q;R", TRUE, "Track1=P;Track2=Q;Track3=R"},
                    ReplyCase{"NulInside", kMag, "MAG:P\0,Q,R"s, FALSE, "Track1=P"},
                    ReplyCase{"NoMarker", kMag, "P,Q,R", FALSE, "P,Q,R"}),
    test::CaseName{});

INSTANTIATE_TEST_SUITE_P(Lcd, InformationReply,
                         testing::Values(ReplyCase{"TwoLines", kLcd, "LCD:READY;CARDS 100", TRUE,
                                                   "READY\r\nCARDS 100"},
                                         ReplyCase{"CommasStay", kLcd, "..LCD:A,B;C,", TRUE, "A,B\r\nC,"},
                                         ReplyCase{"EmptyLine", kLcd, "LCD:A;;B;", TRUE, "A\r\n\r\nB\r\n"},
                                         ReplyCase{"Nothing", kLcd, "LCD:", TRUE, ""},
                                         ReplyCase{"NoMarker", kLcd, "A;B", FALSE, "A;B"}),
                         test::CaseName{});

TEST(Display, OfAnotherFamilyNeedsNoMarker)
{
    CDataLCDDump display;
    EXPECT_EQ("\x1B\0\2NL"s, CommandOf(display));
    EXPECT_TRUE(Take(display, "A;B"));
    EXPECT_STREQ("A\r\nB", display.GetText());
}

} // namespace
} // namespace zrtmon
