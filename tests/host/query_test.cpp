// zrtctl get, status and names.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/value_names.h"
#include "platform/spooler_admin.h"
#include "tests/host/host_bench.h"
#include "tests/host/scripted_monitor.h"
#include "tests/support/case_name.h"

namespace zrtmon::test {
namespace {

using Answer = ScriptedMonitor::Answer;

struct Question {
    const char* name;
    std::vector<std::string> arguments;
    Answer answer; ///< to every request text
    int status;
    const char* out;
    const char* message; ///< part of the messages; empty: there are none
};

class Get : public testing::TestWithParam<Question> {};

TEST_P(Get, AnswersOrSaysWhyNot)
{
    HostBench bench;
    ScriptedMonitor script;
    bench.monitor = ScriptedMonitor::Initialize;
    script.answer = [](const std::string&) { return GetParam().answer; };
    const CommandResult result = bench.Run(GetParam().arguments);
    EXPECT_EQ(GetParam().status, result.status);
    EXPECT_EQ(GetParam().out, result.out);
    EXPECT_NE(std::string::npos, result.err.find(GetParam().message)) << result.err;
    EXPECT_EQ(*GetParam().message == '\0', result.err.empty()) << result.err;
}

INSTANTIATE_TEST_SUITE_P(
    Questions, Get,
    testing::Values(
        Question{"One", {"get", "CardCount"}, {"250"}, 0, "250\n", ""},
        Question{"Several",
                 {"get", "cardcount", "StationStatus/2"},
                 {"5"},
                 0,
                 "cardcount=5\nStationStatus/2=5\n",
                 ""},
        Question{
            "DisplayLines", {"get", "LCDInfo"}, {"READY\r\nCARDS 1\x1b[J"}, 0, "READY\nCARDS 1\\x1b[J\n", ""},
        Question{"Json",
                 {"get", "--json", "LCDInfo"},
                 {"A\"\xff\r\n"},
                 0,
                 "{\n  \"LCDInfo\": \"A\\\"\\\\xff\\n\"\n}\n",
                 ""},
        Question{"SilentAction", {"get", "MoveTo/2"}, {""}, 0, "", ""},
        Question{
            "SilentActionJson", {"get", "--json", "MoveTo/2"}, {""}, 0, "{\n  \"MoveTo/2\": \"\"\n}\n", ""},
        Question{"FailedAction", {"get", "MoveTo/2"}, {"", 170}, 75, "", "MoveTo/2: "},
        Question{"NoText", {"get", "CardCount"}, {""}, 1, "", "CardCount: "},
        Question{"Failed", {"get", "CardCount"}, {"", 87}, 1, "", "no reply that fits the name"},
        Question{"Busy", {"get", "CardCount"}, {"", 170}, 75, "", "in the middle of a card"},
        Question{"NotAvailable", {"get", "CardCount"}, {"", 4319}, 69, "", "for 30 seconds (error 4319)"},
        Question{"NotSupported", {"get", "CardCount"}, {"", 50}, 69, "", "cannot carry queries (error 50)"},
        Question{"OtherError", {"get", "CardCount"}, {"", 1234}, 1, "", "CardCount: error 1234"}),
    CaseName());

TEST(GetSeveral, GoesOnBehindAFailureAndKeepsItsStatus)
{
    HostBench bench;
    ScriptedMonitor script;
    bench.monitor = ScriptedMonitor::Initialize;
    script.answer = [](const std::string& requestText) {
        return requestText == "CardCount" ? Answer{"", 170}
               : requestText == "MagData" ? Answer{"", 50}
                                          : Answer{"x"};
    };
    const CommandResult result = bench.Run({"get", "CardCount", "RibbonInfo", "MagData"});
    EXPECT_EQ(75, result.status);
    EXPECT_EQ("RibbonInfo=x\n", result.out);
    EXPECT_EQ(2u, Lines(result.err).size()) << result.err;
}

TEST(GetLongAnswer, GrowsItsBufferToTheByte)
{
    for (const size_t size : {1u, 8190u, 8191u, 8192u, 8193u, 100001u}) {
        HostBench bench;
        ScriptedMonitor script;
        bench.monitor = ScriptedMonitor::Initialize;
        const std::string text(size, 'a');
        script.answer = [&](const std::string&) { return Answer{text}; };
        EXPECT_EQ(text + '\n', bench.Run({"get", "MagData"}).out) << size;
        EXPECT_EQ(size < 8192 ? 1u : 2u, script.Count("MagData")) << size;
    }
}

TEST(Status, TakesTheErrorByNameSinceTheDocumentEndsWithOne)
{
    HostBench bench;
    const CommandResult sick = bench.Run({"status", "--port", "sim:error=83,cards=4"});
    EXPECT_EQ(1, sick.status);
    EXPECT_EQ((std::vector<std::string>{"PrinterStatus=-1  nothing particular", "PrinterError=21  ribbon",
                                        "DeviceError=83  the printer's error code 83",
                                        "CardCount=4  4 cards printed in the printer's life"}),
              Lines(sick.out));
    const CommandResult sound = bench.Run({"status", "--json"});
    EXPECT_EQ(0, sound.status);
    const auto json = nlohmann::json::parse(sound.out);
    EXPECT_EQ(1, json["PrinterError"]["value"]);
    EXPECT_EQ("no error", json["PrinterError"]["meaning"]);
    EXPECT_EQ(100, json["CardCount"]["value"]);
    EXPECT_EQ(1, bench.Run({"status", "--port", "sim:never-answer=1"}).status);
}

TEST(Status, WatchesAndShowsOnlyWhatChanges)
{
    HostBench bench;
    bench.interruptAtMs = 12000;
    const CommandResult result = bench.Run({"status", "--watch", "--port", "sim:error=83,clear-ms=5000"});
    EXPECT_EQ(130, result.status);
    EXPECT_EQ("", result.err);
    const std::vector<std::string> lines = Lines(result.out);
    ASSERT_EQ(6u, lines.size()) << result.out;
    EXPECT_EQ("PrinterError=1  no error", lines[4]);
    EXPECT_EQ("DeviceError=0  no error code", lines[5]);
    EXPECT_LT(bench.clock.Elapsed(), 13000u);
}

TEST(Status, LeavesNoJobInTheQueue)
{
    HostBench bench;
    ScriptedMonitor script;
    bench.monitor = ScriptedMonitor::Initialize;
    script.answer = [](const std::string&) { return Answer{"1"}; };
    bench.interruptAtMs = 5000;
    bench.Run({"status", "--watch"});
    EXPECT_GE(script.Count("StartDocPort"), 4u);
    EXPECT_EQ(0u, script.staleJobs);
}

TEST(Names, ListsTheServedOnesWithExamplesThatCanBeAsked)
{
    HostBench bench;
    const CommandResult result = bench.Run({"names"});
    EXPECT_EQ(0, result.status);
    size_t served = 0;
    for (const host::CValueName& row : host::ValueNames()) {
        SCOPED_TRACE(row.name);
        EXPECT_NE(std::string::npos, result.out.find(row.name));
        if (row.kind == host::ValueKind::Unserved) {
            EXPECT_NE("", host::RequestProblem(row.name));
            continue;
        }
        ++served;
        if (row.kind == host::ValueKind::Password) {
            EXPECT_EQ(64, bench.Run({"get", std::string(row.name) + "/s3cr3t"}).status);
            continue;
        }
        EXPECT_EQ("", host::RequestProblem(row.example));
        EXPECT_EQ(&row, host::FindValueName(row.example));
    }
    EXPECT_EQ(34u, host::ValueNames().size());
    EXPECT_EQ(served + 1, Lines(result.out).size());
}

TEST(Names, NearestIsFoundByEveryKindOfSlip)
{
    const std::pair<const char*, const char*> slips[] = {
        {"CardCuont", "CardCount"},         {"cardcoun", "CardCount"},      {"CardsCount", "CardCount"},
        {"VersonInfo", "VersionInfo"},      {"PrintError", "PrinterError"}, {"SerialNo", "SerialNumber"},
        {"LaminateInfo", "LaminateInfo_0"}, {"Pasword", "Password"},        {"MoveToX", "MoveTo"},
    };
    for (const auto& [typed, meant] : slips) {
        EXPECT_EQ(meant, host::NearestValueName(typed));
    }
}

} // namespace
} // namespace zrtmon::test
