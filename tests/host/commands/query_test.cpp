// zrtctl get, status and names.
#include <gtest/gtest.h>

#include "host/printer/value_names.h"
#include "platform/spooler_admin.h"
#include "tests/host/support/flat_json.h"
#include "tests/host/support/scripted_monitor.h"

namespace zrtmon::test {
namespace {

using CAnswer = CScriptedMonitor::CAnswer;

TEST(Get, AnswersOrSaysWhyNot)
{
    const struct {
        const char* words; ///< after "get"
        CAnswer answer;    ///< to every request text
        int status;
        const char* out;
        const char* message; ///< part of the messages; empty: there are none
    } questions[] = {
        {"CardCount", {"250"}, 0, "250\n", ""},
        {"cardcount StationStatus/2", {"5"}, 0, "cardcount=5\nStationStatus/2=5\n", ""},
        {"LCDInfo", {"READY\r\nCARDS 1\x1b[J"}, 0, "READY\nCARDS 1\\x1b[J\n", ""},
        {"--json LCDInfo", {"A\"\xff\r\n"}, 0, "{\n  \"LCDInfo\": \"A\\\"\\\\xff\\n\"\n}\n", ""},
        {"MoveTo/2", {""}, 0, "", ""},
        {"--json MoveTo/2", {""}, 0, "{\n  \"MoveTo/2\": \"\"\n}\n", ""},
        {"MoveTo/2", {"", 170}, 75, "", "MoveTo/2: "},
        {"CardCount", {""}, 1, "", "CardCount: "},
        {"CardCount", {"", 87}, 1, "", "no valid reply from the printer"},
        {"CardCount", {"", 170}, 75, "", "printing a card or busy"},
        {"CardCount", {"", 4319}, 69, "", "for 30 seconds (system error 4319)"},
        {"CardCount", {"", 50}, 69, "", "does not support queries (system error 50)"},
        {"CardCount", {"", 1234}, 1, "", "CardCount: system error 1234"},
    };
    for (const auto& row : questions) {
        SCOPED_TRACE(std::string(row.words) + " error " + std::to_string(row.answer.error));
        CScriptedFixture fixture;
        fixture.script.answer = [&row](const std::string&) { return row.answer; };
        const CCommandResult result = fixture.Run("get " + std::string(row.words));
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ(row.out, result.out);
        EXPECT_TRUE(Shows(result.err, row.message));
        EXPECT_EQ(*row.message == '\0', result.err.empty()) << result.err;
    }
}

TEST(GetSeveral, ContinuesAfterAFailureAndKeepsItsStatus)
{
    CScriptedFixture fixture;
    std::map<std::string, CAnswer> answers{
        {"CardCount", {"", 170}}, {"MagData", {"", 50}}, {"RibbonInfo", {"x"}}};
    fixture.script.answer = [&](const std::string& requestText) { return answers.at(requestText); };
    const CCommandResult result = fixture.Run("get CardCount RibbonInfo MagData");
    EXPECT_EQ(75, result.status);
    EXPECT_EQ("RibbonInfo=x\n", result.out);
    EXPECT_EQ(2u, Lines(result.err).size()) << result.err;
}

TEST(GetLongAnswer, GrowsItsBufferToTheByte)
{
    for (const size_t size : {1u, 8190u, 8191u, 8192u, 8193u, 100001u}) {
        CScriptedFixture fixture;
        const std::string text(size, 'a');
        fixture.script.answer = [&](const std::string&) { return CAnswer{text}; };
        EXPECT_EQ(text + '\n', fixture.Run("get MagData").out) << size;
        EXPECT_EQ(size < 8192 ? 1u : 2u, fixture.script.Count("MagData")) << size;
    }
}

TEST(Status, TakesTheErrorByNameSinceTheDocumentEndsWithOne)
{
    CHostFixture fixture;
    const CCommandResult sick = fixture.Run("status --port sim:error=83,cards=4");
    EXPECT_EQ(1, sick.status);
    EXPECT_EQ(
        "PrinterStatus=-1  no special state\nPrinterError=21  ribbon\n"
        "DeviceError=83  printer error code 83\nCardCount=4  4 cards printed since the printer was built\n",
        sick.out);
    const CCommandResult sound = fixture.Run("status --json");
    EXPECT_EQ(0, sound.status);
    auto json = FlatJson(sound.out);
    EXPECT_EQ("1", json["/PrinterError/value"]);
    EXPECT_EQ("no error", json["/PrinterError/meaning"]);
    EXPECT_EQ("100", json["/CardCount/value"]);
    EXPECT_EQ(1, fixture.Run("status --port sim:never-answer=1").status);
}

TEST(Status, WatchesAndShowsOnlyWhatChanges)
{
    CHostFixture fixture;
    fixture.interruptAtMs = 12000;
    const CCommandResult result = fixture.Run("status --watch --port sim:error=83,clear-ms=5000");
    EXPECT_EQ(130, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(6u, Lines(result.out).size());
    EXPECT_TRUE(result.out.ends_with("\nPrinterError=1  no error\nDeviceError=0  no error code\n"))
        << result.out;
    EXPECT_LT(fixture.clock.Elapsed(), 13000u);
}

TEST(Status, LeavesNoJobInTheQueue)
{
    CScriptedFixture fixture;
    fixture.script.answer = [](const std::string&) { return CAnswer{"1"}; };
    size_t staleJobs = 0; // of an earlier document, with the next one already begun
    fixture.script.hooks["StartDocPort"] = [&] {
        staleJobs += spooler::JobStatus(L"Card Printer", fixture.script.jobId) ? 1 : 0;
    };
    fixture.interruptAtMs = 5000;
    fixture.Run("status --watch");
    EXPECT_GE(fixture.script.Count("StartDocPort"), 4u);
    EXPECT_EQ(0u, staleJobs);
}

TEST(Names, ListsTheServedOnesWithExamplesThatCanBeAsked)
{
    CHostFixture fixture;
    const CCommandResult result = fixture.Run("names");
    EXPECT_EQ(0, result.status);
    size_t served = 0;
    for (const host::CValueName& row : host::ValueNames()) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(Shows(result.out, row.name));
        served += row.kind == host::ValueKind::Unserved ? 0 : 1;
        if (row.kind == host::ValueKind::Unserved) {
            EXPECT_NE("", host::RequestProblem(row.name));
        } else if (row.kind == host::ValueKind::Password) {
            EXPECT_EQ(64, fixture.Run("get " + std::string(row.name) + "/s3cr3t").status);
        } else {
            EXPECT_EQ("", host::RequestProblem(row.example));
            EXPECT_EQ(&row, host::FindValueName(row.example));
        }
    }
    EXPECT_EQ(34u, host::ValueNames().size());
    EXPECT_EQ(served + 1, Lines(result.out).size());
}

TEST(Names, NearestIsFoundUnlessAThirdOfTheNameDiffers)
{
    const std::pair<const char*, const char*> slips[] = {
        {"CardCuont", "CardCount"},
        {"cardcoun", "CardCount"},
        {"CardsCount", "CardCount"},
        {"VersonInfo", "VersionInfo"},
        {"PrintError", "PrinterError"},
        {"SerialNum", "SerialNumber"},
        {"LaminateInfo", "LaminateInfo_0"},
        {"Pasword", "Password"},
        {"MoveToX", "MoveTo"},
        {"Foo", ""},
    };
    for (const auto& [typed, meant] : slips) {
        EXPECT_EQ(std::string_view(meant), host::NearestValueName(typed));
    }
}

} // namespace
} // namespace zrtmon::test
