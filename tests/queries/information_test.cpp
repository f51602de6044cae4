// What the printer reports about itself: every request with a reply that is not a status, by its value name.
#include <gtest/gtest.h>

#include <string>

#include "link/print_monitor_zrt.h"
#include "requests/data.h"
#include "tests/support/request_steps.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::Take;

TEST(Information, IsMadeOfTheReply)
{
    constexpr auto* kConfig = L"ConfigInfo";
    constexpr auto* kVersion = L"VersionInfo";
    constexpr auto* kSerial = L"SerialNumber";
    constexpr auto* kRibbon = L"RibbonInfo";
    constexpr auto* kMag = L"MagData";
    constexpr auto* kLcd = L"LCDInfo";
    constexpr auto* kSecurity = L"SecurityInfo";
    const struct {
        const wchar_t* valueName;
        std::string reply;
        BOOL ok;
        std::string text;
    } cases[] = {
        {kConfig, "Module Status:1,0", TRUE, "MagModule=1;FlipperModule=0"},
        {kConfig, "ok\r\nModule Status:1;1", TRUE, "MagModule=1;FlipperModule=1"},
        {kConfig, "Module Status:0,1,", TRUE, "MagModule=0;FlipperModule=1;"},
        {kConfig, "Module Status:0,1,x,y", TRUE, "MagModule=0;FlipperModule=1;x;y"},
        {kConfig, "Module Status:1", FALSE, "MagModule=1"},
        {kConfig, "Module Status:1,", FALSE, "MagModule=1;"},
        {kConfig, "Module Status:1\0,0"s, FALSE, "MagModule=1"},
        {kConfig, "Module Status:Module Status:1,0", TRUE, "MagModule=Module Status:1;FlipperModule=0"},
        {kConfig, "", FALSE, ""},
        {kVersion, "Ver:2,5", TRUE, "Firmware=2;5"},
        {kVersion, "Ver:", TRUE, "Firmware="},
        {kVersion, "ver:2", FALSE, "ver:2"},
        {kSerial, "MFG:X;MDL:Y;SN:A12345;CLS:PRINTER;", TRUE, "A12345"},
        {kSerial, "MFG:X;SN:XYZ", TRUE, "XYZ"},
        {kSerial, "SN:AB,CD;", TRUE, "AB;CD"},
        {kSerial, "SN:1;SN:2;", TRUE, "1"},
        {kSerial, "SN:;MFG:X", TRUE, ""},
        {kRibbon, "Ribbon Info:P1,Q2,1,T1,M1,87", TRUE,
         "PartNumber=P1;OEMPartNumber=Q2;Grade=1;Type=T1;Material=M1;PercentRemaining=87"},
        {kRibbon, "x Ribbon Info:P1,Q2,,T1", TRUE, "PartNumber=P1;OEMPartNumber=Q2;Grade=;Type=T1"},
        {kRibbon, "Ribbon Info:P,Q,1,T,M,", TRUE, "PartNumber=P;OEMPartNumber=Q;Grade=1;Type=T;Material=M;"},
        {kRibbon, "Ribbon Info:", TRUE, "PartNumber="},
        {kMag, "MAG:P,,R", TRUE, "Track1=P;Track2=;Track3=R"},
        {kMag, "MAG:P,Q,;", TRUE, "Track1=P;Track2=Q;Track3=;"},
        {kMag, "MAG:P,Q,", FALSE, "Track1=P;Track2=Q;"},
        {kMag, "MAG:P,Q", FALSE, "Track1=P;Track2=Q"},
        {kMag, "\xFF\x80MAG:P;Q;R", TRUE, "Track1=P;Track2=Q;Track3=R"},
        {kLcd, "LCD:READY;CARDS 100", TRUE, "READY\r\nCARDS 100"},
        {kLcd, "..LCD:A,B;C,", TRUE, "A,B\r\nC,"},
        {kLcd, "LCD:A;;B;", TRUE, "A\r\n\r\nB\r\n"},
        {kSecurity, "Plinth:VALID,DISABLED,ENABLED;", TRUE, "Validation=1;OemSupplies=0;Password=1;"},
        {kSecurity, "<>Plinth:INVALID,ENABLED,ENABLED,", TRUE, "Validation=<>0;OemSupplies=1;Password=1;"},
        {kSecurity, "Plinth:CORBEL=VALIDPASSWORD=,PLINTH=ENABLED,PASSWORD=PLINTH=ENABLED;", TRUE,
         "Validation=1;OemSupplies=1;Password=1;"},
        {kSecurity, "Plinth:INPASSWORD=VALID,DISPLINTH=ABLED,CORCORBEL=BEL=ENABLED;", TRUE,
         "Validation=0;OemSupplies=0;Password=1;"},
        {kSecurity, "Plinth:Plinth:VALID,VALID,VALID;", TRUE,
         "Validation=Plinth:1;OemSupplies=1;Password=1;"},
        {kSecurity, "Plinth:VALID,ENABLED;", FALSE, "Validation=1;OemSupplies=1;"},
        {kSecurity, "PLINTH:VALID,DISABLED,ENABLED;", FALSE, "PLINTH:VALID,DISABLED,ENABLED;"},
    };
    CPrintMonitorZRT model;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reply);
        CData* request = model.GetRequestByName(c.valueName);
        ASSERT_NE(nullptr, request);
        EXPECT_EQ(c.ok, Take(*request, c.reply));
        EXPECT_EQ(c.text, request->GetText());
    }
}

} // namespace
} // namespace zrtmon
