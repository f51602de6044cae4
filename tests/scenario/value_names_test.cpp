// Every value name through GetPrinterDataFromPort, above the simulated printer.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "link/request_code.h"
#include "platform/spooler_admin.h"
#include "tests/support/case_name.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CSpoolerFixture;

constexpr DWORD kInvalid = ERROR_INVALID_PARAMETER;

std::string Esc(const char* mnemonic) { return "\x1B\0\2"s + mnemonic; }

/// The fixture with its port open and the writes of the lower port kept.
struct CNameFixture : test::COpenPortFixture {
    explicit CNameFixture(const std::string& options = "") : COpenPortFixture(options)
    {
        lower.limitWrite = [this](const uint8_t* data, DWORD size) {
            writes.emplace_back(data, data + size);
            return size;
        };
    }
    void StoreSettings(const std::string& text)
    {
        spooler::StoreValue(kPrinter, L"CurrentSettings", REG_BINARY, text);
    }

    std::vector<std::string> writes;
};

constexpr const char* kCurrentSettings =
    "Image Darkness=5,-128,127,1;Print Top of Form=-3,-128,127,1;Print End of Form=2,-128,127,1;"
    "Print Left of Form=-4,-75,15,1;Mag Hi-Co Voltage Offset=1,-55,55,1;"
    "Mag Lo-Co Voltage Offset=-1,-55,55,1;Mag Top of Form=0,-128,127,1;Mag End of Form=0,-128,127,0;"
    "BlueLED=92,-128,127,0;YellowLED=84,-128,127,0;RibbonOffset=3,-128,127,0;FeedPWM=60,-128,127,0;"
    "Ribbon Tension=12,-128,127,1;HeadLiftPWM=70,-128,127,0;ReWinderPWM=55,-128,127,0;"
    "StepperPWM=80,-128,127,0;LCD Contrast=40,-128,127,1;RibYellowOnly=0,-128,127,0;"
    "Resin Heat Adjust=4,-128,127,1;TransitionDeltaOverlayYellow=14,0,127,1;"
    "TransitionDeltaYellowMagenta=16,0,127,1;"
    "Flipper Home Offset=-2,-5,5,1;Flipper Center Offset=7,-128,127,1;Flipper Smart Angle Offset=1,-5,5,1;"
    "Flipper Prox Offset=20,-128,127,1;Flipper Prox Angle Offset=-15,-128,127,1;";
constexpr const char* kRibbon =
    "PartNumber=R5210;OEMPartNumber=OEM5210;Grade=1;Type=YMCKO;Material=DYE;PercentRemaining=42";
constexpr const char* kTracks = "Track1=ZRT SIMULATED CARD;Track2=22;Track3=0987654321;";
constexpr const char* kWritten = "Image Darkness=-9,-128,127,1;Flipper Home Offset=3,-5,5,1;";

/// A text that opens a channel: what is sent, how long it takes, and the answer. A command that has no answer
/// fails without an error.
struct NameCase {
    const char* name;
    const wchar_t* text;
    std::vector<std::string> writes;
    uint64_t elapsedMs;
    std::string answer;
    DWORD error = 0;
};
class ValueName : public testing::TestWithParam<NameCase> {};

TEST_P(ValueName, SendsItsBytesTakesItsTimeAndAnswers)
{
    CNameFixture fixture(
        "cards=250,serial=SN77,firmware=3.1,ribbon=42,track2=22,bay1-station=4,bay1-state=7");
    fixture.StoreSettings(kWritten);
    const CSpoolerFixture::Answer answer = fixture.Ask(GetParam().text);
    EXPECT_EQ(!GetParam().answer.empty(), answer.ok);
    EXPECT_EQ(GetParam().error, answer.error);
    EXPECT_EQ(GetParam().answer, answer.text);
    EXPECT_EQ(GetParam().writes, fixture.writes);
    EXPECT_EQ(GetParam().elapsedMs, fixture.clock.Elapsed());
    const sim::PortView view = fixture.ports.View(fixture.PortName());
    EXPECT_EQ(1u, view.channels);
    EXPECT_FALSE(view.documentOpen);
    EXPECT_EQ(0u, view.misuses);
    EXPECT_EQ(0u, fixture.Printer().View().violationCount);
}

const NameCase kOpened[] = {
    {"CancelPrint", L"CancelPrint", {std::string(512, '\0') + Esc("XC")}, 250, ""},
    {"CardCount", L"CARDCOUNT", {Esc("Nr")}, 250, "250"},
    {"ConfigInfo", L"configinfo", {Esc("NM")}, 250, "MagModule=1;FlipperModule=1"},
    {"RibbonInfo", L"RibbonInfo", {Esc("NR")}, 250, kRibbon},
    {"CurrentSettings", L"CurrentSettings", {Esc("NE"), Esc("NF")}, 500, kCurrentSettings},
    {"InitializeSettings", L"InitializeSettings/Cards", {Esc("TE0,-9T\r"), Esc("TF2,3T\r")}, 0, kWritten},
    {"SerialNumber", L"SerialNumber", {}, 250, "SN77"},
    {"PrinterError", L"PrinterError", {Esc("Nr")}, 250, "1"},
    {"MoveTo", L"MoveTo/2", {Esc("i") + Esc("S1")}, 250, ""},
    {"StationStatus", L"StationStatus/2", {Esc("NB"), Esc("NC")}, 500, "5"},
    {"StationStatus5InBay2", L"StationStatus/5", {Esc("NB"), Esc("NC")}, 500, "0"},
    {"StationStatus6", L"StationStatus/6", {Esc("NB")}, 250, "", kInvalid},
    {"LCDInfo", L"LCDInfo", {Esc("NL")}, 250, "READY\r\nCARDS 250"},
    {"SimulateButtonPress", L"SimulateButtonPress/2", {Esc("B2")}, 250, ""},
    {"MagData", L"MagData/ignored", {Esc("N0")}, 250, kTracks},
    {"UtilityCommand", L"UtilityCommand/9", {Esc("TLT")}, 10000, ""},
    {"VersionInfo", L"VersionInfo", {Esc("NV")}, 250, "Firmware=3.1"},
};
INSTANTIATE_TEST_SUITE_P(Texts, ValueName, testing::ValuesIn(kOpened), test::CaseName{});

/// The served names without a row above, which have separate tests.
const wchar_t* const kServedOthers[] = {L"DefaultSettings", L"SecurityInfo",   L"EnableOemSupplies",
                                        L"Password",        L"EnablePassword", L"SetAdminPassword",
                                        L"SetUserPassword", L"DisablePassword"};

bool IsServed(const std::wstring& name)
{
    return std::ranges::count(kServedOthers, name) > 0 ||
           std::ranges::any_of(kOpened, [&name](const NameCase& row) {
               return std::ranges::equal(name, std::string_view(row.name));
           });
}

const wchar_t* const kRefused[] = {L"",
                                   L"/",
                                   L"Status",
                                   L"PrintJob",
                                   L"CardCount2",
                                   L" CardCount",
                                   L"MoveTo",
                                   L"MoveToEx/1",
                                   L"InitializeSettings/",
                                   L"InitializeSettings/Nobody",
                                   L"InitializeSettings/Cards"};

TEST(ValueNames, RefusedOnesOpenNoChannel)
{
    std::vector<std::wstring> texts(std::begin(kRefused), std::end(kRefused));
    texts.push_back(L"InitializeSettings/" + std::wstring(5000, L'p'));
    texts.push_back(L"CardCount" + std::wstring(5000, L'x'));
    for (const RequestName& row : RequestNameTable) {
        if (!IsServed(row.valueName)) {
            texts.emplace_back(row.valueName);
        }
    }
    CNameFixture fixture;
    const uint64_t calls = fixture.lower.CallCount();
    for (const std::wstring& text : texts) {
        EXPECT_EQ(kInvalid, fixture.Ask(text).error) << testing::PrintToString(text);
        EXPECT_EQ(calls, fixture.lower.CallCount()) << testing::PrintToString(text);
    }
    EXPECT_EQ(0u, fixture.clock.Elapsed());
}

TEST(ValueNames, SettingsReadAreWrittenBack)
{
    CNameFixture fixture;
    const std::string defaults = fixture.Ask(L"DefaultSettings").text;
    ASSERT_NE(defaults, fixture.Ask(L"CurrentSettings").text);
    fixture.StoreSettings(defaults);
    EXPECT_EQ(defaults, fixture.Ask(L"InitializeSettings/Cards").text);
    EXPECT_EQ(defaults, fixture.Ask(L"CurrentSettings").text);
    fixture.StoreSettings(kCurrentSettings);
    fixture.writes.clear();
    ASSERT_TRUE(fixture.Ask(L"initializesettings/CARDS").ok);
    ASSERT_EQ(2u, fixture.writes.size()) << "each memory is one write";
    EXPECT_EQ(21, std::count(fixture.writes[0].begin(), fixture.writes[0].end(), '\r'));
    EXPECT_EQ(5, std::count(fixture.writes[1].begin(), fixture.writes[1].end(), '\r'));
    EXPECT_EQ(kCurrentSettings, fixture.Ask(L"CurrentSettings").text);
    EXPECT_EQ(0u, fixture.Printer().View().violationCount);
}

TEST(ValueNames, AnAnswerNeedsRoomForItsNul)
{
    CNameFixture fixture("cards=250");
    wchar_t name[] = L"CardCount";
    for (const DWORD size : {0u, 3u, 4u}) {
        char text[8] = "same";
        for (char* output : {static_cast<char*>(nullptr), text}) {
            DWORD returned = 0;
            EXPECT_TRUE(fixture.table->pfnGetPrinterDataFromPort(
                fixture.port, 0, name, nullptr, 0, reinterpret_cast<LPWSTR>(output), size, &returned));
            EXPECT_EQ(4u, returned);
        }
        EXPECT_STREQ(size < 4 ? "same" : "250", text);
    }
    EXPECT_FALSE(
        fixture.table->pfnGetPrinterDataFromPort(fixture.port, 0, name, nullptr, 0, nullptr, 0, nullptr));
    EXPECT_EQ(kInvalid, GetLastError());
}

TEST(ValueNames, TheLongUtilityCommandKeepsOthersAway)
{
    CNameFixture fixture;
    CVirtualClock::CClockThread utility([&fixture] { fixture.Ask(L"UtilityCommand/9"); });
    Sleep(1);
    EXPECT_EQ(DWORD{ERROR_BUSY}, fixture.Ask(L"CardCount").error);
    EXPECT_EQ(5001u, fixture.clock.Elapsed());
    EXPECT_TRUE(fixture.Ask(L"CardCount").ok);
    EXPECT_EQ(10250u, fixture.clock.Elapsed());
    utility.Join();
}

TEST(ValueNames, CommandsChangeThePrinter)
{
    CNameFixture fixture;
    fixture.Printer().SetBay(2, 0, 0);
    struct Move {
        const wchar_t* text;
        const wchar_t* station;
        const char* state;
    };
    for (const Move& move :
         {Move{L"MoveTo/0", L"StationStatus/5", "0"}, Move{L"MoveTo/1", L"StationStatus/2", "0"},
          Move{L"MoveTo/2", L"StationStatus/4", "4"}, Move{L"MoveTo/3", L"StationStatus/3", "1"},
          Move{L"MoveTo/4", L"StationStatus/2", "1"}, Move{L"MoveTo/5", L"StationStatus/4", "1"},
          Move{L"MoveTo/6", L"StationStatus/5", "3"}}) {
        fixture.Ask(move.text);
        EXPECT_EQ(move.state, fixture.Ask(move.station).text) << move.state;
    }
    fixture.Printer().SetError(83);
    EXPECT_EQ("ERROR 83\r\nCARDS 100", fixture.Ask(L"LCDInfo").text);
    fixture.Ask(L"SimulateButtonPress/0");
    EXPECT_EQ("READY\r\nCARDS 100", fixture.Ask(L"LCDInfo").text);
    EXPECT_EQ(std::vector<std::string>{"1"}, fixture.Printer().View().buttons);
}

// ---------------------------------------------------------------------------------------------
// Bad replies

/// The names that read a reply from the port, and a good reply to their last command.
struct ReplyRow {
    const wchar_t* text;
    const char* mnemonic;
    std::string good;
    std::string answer; ///< what the caller's answer ends with
};
const ReplyRow kReplies[] = {
    {L"CardCount", "Nr", "ERR:0,0,0,0,0,7,", "7"},
    {L"PrinterError", "Nr", "ERR:0,83,0,0,0,7,", "21"},
    {L"ConfigInfo", "NM", "Module Status:0,1", "FlipperModule=1"},
    {L"RibbonInfo", "NR", "Ribbon Info:a,b,c,d,e,f", "PercentRemaining=f"},
    {L"CurrentSettings", "NE", "EEprom Settings:1,", "Flipper Prox Angle Offset=-15,-128,127,1;"},
    {L"CurrentSettings", "NF", "Flipper EE Settings:1,", "Flipper Home Offset=1,-5,5,1;"},
    {L"DefaultSettings", "Ne", "EEprom Defaults:1,", "Flipper Prox Angle Offset=0,-128,127,1;"},
    {L"DefaultSettings", "Nf", "Flipper EE Defaults:1,", "Flipper Home Offset=1,-5,5,1;"},
    {L"StationStatus/2", "NB", "Bay1:4,9", "9"},
    {L"StationStatus/5", "NC", "Bay2:2,9", "9"},
    {L"LCDInfo", "NL", "LCD:hello", "hello"},
    {L"MagData", "N0", "MAG:1,2,3", "Track1=1;Track2=2;Track3=3"},
    {L"VersionInfo", "NV", "Ver:9", "Firmware=9"},
};

/// Reads the replies that the printer still has, as a caller that has opened a channel may.
void DrainReplies(CSpoolerFixture& fixture)
{
    DOC_INFO_2W channel{};
    channel.dwMode = DI_CHANNEL;
    ASSERT_TRUE(
        fixture.table->pfnStartDocPort(fixture.port, nullptr, 0, 2, reinterpret_cast<LPBYTE>(&channel)));
    BYTE buffer[4096];
    DWORD read = 1;
    while (read > 0 && fixture.table->pfnReadPort(fixture.port, buffer, sizeof buffer, &read)) {
    }
    EXPECT_TRUE(fixture.table->pfnEndDocPort(fixture.port));
}

/// Makes a bad reply of a good one.
struct BadReply {
    const char* name;
    std::string (*make)(const std::string& good);
    bool ok = false;    ///< nevertheless answered as the good one
    bool waits = false; ///< the end of the reply is waited for, 3000 ms
};
class BadReplies : public testing::TestWithParam<BadReply> {};

/// The reply followed by a NUL and padding, up to that size in all.
std::string Filled(const std::string& reply, size_t size)
{
    return reply + '\0' + std::string(size - reply.size() - 1, '.');
}
std::string InEachChunk(const std::string& reply)
{
    std::string all;
    while (all.size() < 65536) {
        all += Filled(reply, 2048);
    }
    return all + reply;
}

TEST_P(BadReplies, FailTheQueryAndNothingElse)
{
    for (const ReplyRow& row : kReplies) {
        SCOPED_TRACE(std::string(row.mnemonic) + " " + row.good);
        CNameFixture fixture;
        fixture.Printer().SetReply(row.mnemonic, GetParam().make(row.good));
        const uint64_t start = fixture.clock.Elapsed();
        const CSpoolerFixture::Answer answer = fixture.Ask(row.text);
        EXPECT_EQ(GetParam().ok, answer.ok);
        EXPECT_EQ(GetParam().ok ? DWORD{0} : kInvalid, answer.error);
        EXPECT_TRUE(answer.ok ? answer.text.ends_with(row.answer) : answer.text.empty()) << answer.text;
        EXPECT_EQ(GetParam().waits, fixture.clock.Elapsed() - start > 3000);
        DrainReplies(fixture);
        fixture.Printer().SetReply(row.mnemonic, row.good);
        const CSpoolerFixture::Answer again = fixture.Ask(row.text);
        EXPECT_TRUE(again.ok && again.text.ends_with(row.answer)) << again.text;
    }
}

const BadReply kBadReplies[] = {
    {"NoneComes", [](const std::string&) { return ""s; }, false, true},
    {"NoMarker", [](const std::string&) { return "nothing of the kind"s; }},
    {"NulInFront", [](const std::string& good) { return "\0"s + good; }},
    {"NulInTheMarker", [](const std::string& good) { return Filled(good.substr(0, 2), 3) + good.substr(2); }},
    {"NulBehind", [](const std::string& good) { return good + "\0,garbage;"s; }, true},
    {"JustBelowAChunk", [](const std::string& good) { return Filled(good, 2047); }, true},
    {"ExactlyAChunk", [](const std::string& good) { return Filled(good, 2048); }, false, true},
    {"LongerWithoutAMarker", [](const std::string& good) { return Filled(good, 3000); }},
    {"ChunkAndTheAnswerAgain", [](const std::string& good) { return Filled(good, 2048) + good; }, true},
    {"SixtyFourKibOfNoise", [](const std::string&) { return std::string(65536, '?'); }},
    {"SixtyFourKibInAnswers", InEachChunk, true}};
INSTANTIATE_TEST_SUITE_P(Kinds, BadReplies, testing::ValuesIn(kBadReplies), test::CaseName{});

TEST(ValueNames, ADeviceIdWithoutASerialNumberFails)
{
    CNameFixture fixture;
    for (const char* id : {"MFG:X;MDL:Y;", "sn:1;"}) {
        fixture.Printer().SetDeviceId(id);
        EXPECT_EQ(kInvalid, fixture.Ask(L"SerialNumber").error) << id;
    }
    fixture.Printer().SetDeviceId("SN:" + std::string(5000, '7'));
    EXPECT_EQ(kInvalid, fixture.Ask(L"SerialNumber").error) << "no room for it below";
    fixture.Printer().SetDeviceId("SN:1");
    EXPECT_EQ("1", fixture.Ask(L"SerialNumber").text);
}

} // namespace
} // namespace zrtmon
