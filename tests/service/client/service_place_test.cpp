// zrtctl on printers of the print service.
#include <gtest/gtest.h>

#include "service/client/service_printers.h"
#include "tests/host/support/flat_json.h"
#include "tests/service/client/scripted_service.h"
#include "tests/support/allocation.h"

namespace zrtmon::test {
namespace {

using Cause = client::CServiceLost::Cause;

TEST(ServicePlace, MakesExitStatusesAndWordsOfRefusals)
{
    const struct {
        const char* command;
        const char* method;
        const char* error;
        const char* text;
        int status;
        const char* message;
    } refusals[] = {
        {"get CardCount", "Query", "AccessDenied", "anna may not do that; members of lp may", 77,
         "CardCount: anna may not do that; members of lp may\n"},
        {"get cardcount", "Query", "Busy", "CardCount: busy (error 170)", 75,
         "cardcount: busy (error 170)\n"},
        {"get MoveTo/3", "Perform", "NoDevice", "MoveTo: off (error 4319)", 69, "MoveTo/3: off (error"},
        {"get CardCount", "Query", "PrinterError", "CardCount: no reply (error 87)", 1, "no reply"},
        {"get CardCount", "Query", "NotServed", "x (error 50)", 69, "x (error 50)"},
        {"get CardCount", "Query", "Stopping", "the service was stopped", 75, "; try again later"},
        {"get CardCount", "Query", "NoSuchPrinter", "removed", 69, "removed"},
        {"settings set A=1", "ReadStored", "AccessDenied", "anna may not", 77, "anna may not"},
        {"settings show", "Query", "AccessDenied", "anna may not", 77, "anna may not"},
        {"policy clear", "RemoveStored", "AccessDenied", "anna may not", 77, "anna may not"},
        {"policy set @policy", "WriteStored", "BadData", "not below /etc/zrtmon", 65, "not below /etc"},
        {"print @job", "Print", "AccessDenied", "anna may not print", 77, "anna may not print"},
        {"print @job", "Print", "TooLarge", "more than 4 GiB", 65, "more than 4 GiB"},
        {"password check", "Query", "AccessDenied", "anna may not", 77, "anna may not"},
        {"jobs", "GetJobs", "Stopping", "the service was stopped", 75, "stopped; try again later"},
    };
    for (const auto& row : refusals) {
        SCOPED_TRACE(std::string(row.command) + ": " + row.error);
        CServiceFixture fixture;
        fixture.WriteFile("job", JobBytes(1));
        fixture.WriteFile("policy", "<Configurations/>");
        fixture.service->refusals[row.method] = {row.error, row.text};
        const CCommandResult result = fixture.Run(row.command);
        EXPECT_EQ(row.status, result.status);
        EXPECT_TRUE(Shows(result.err, row.message));
        EXPECT_EQ("", result.out);
    }
}

TEST(ServicePlace, NamesWhatWouldDoWithoutAServiceOrAPrinter)
{
    const std::pair<const char*, const char*> commands[] = {
        {"get CardCount --printer Cards", "start zrtmond, or give --port\n"},
        {"get CardCount", "no printer found; give --printer, or --port sim: for the simulated one\n"},
        {"printers", "start zrtmond, or give --port\n"},
        {"jobs", "start zrtmond, or give --port\n"},
        {"password supply", "start zrtmond, or give --port\n"},
    };
    for (const auto& [command, message] : commands) {
        SCOPED_TRACE(command);
        CServiceFixture fixture;
        fixture.systemPrinters = [](const host::CHostEnvironment&) {
            return std::make_unique<client::CServicePrinters>([]() -> std::shared_ptr<client::IPrintService> {
                client::ThrowBusError("org.freedesktop.DBus.Error.ServiceUnknown", "no such name");
            });
        };
        const CCommandResult result = fixture.Run(command);
        EXPECT_EQ(69, result.status);
        EXPECT_TRUE(Shows(result.err, message));
        EXPECT_EQ(1u, Lines(result.err).size()) << result.err;
    }
    CServiceFixture fixture;
    EXPECT_TRUE(Shows(fixture.Run("get CardCount --printer Card").err, "did you mean Cards?"));
}

TEST(ServicePlace, AsksByTheKindOfTheName)
{
    CServiceFixture fixture;
    fixture.service->answers = {{"CardCount", "250"}, {"MoveTo/3", ""}};
    EXPECT_EQ("CardCount=250\n", fixture.Run("get CardCount MoveTo/3 --printer cards").out);
    EXPECT_EQ((std::vector<std::string>{"Query CardCount", "Perform MoveTo/3"}), fixture.service->calls);
}

TEST(ServicePlace, WatchesByWhatIsSignalled)
{
    CServiceFixture fixture;
    fixture.service->At(30000, [&] { fixture.service->printer.printerError = 21; });
    fixture.service->At(30500, [&] {
        fixture.service->printer.state = "failed";
        fixture.service->printer.message = "no such device";
    });
    fixture.interruptAtMs = 60000;
    const CCommandResult result = fixture.Run("status --watch");
    EXPECT_EQ(130, result.status);
    EXPECT_TRUE(Shows(result.out, "CardCount=100...PrinterError=21  ribbon\n...PrinterError=  not "
                                  "published\n...Queue  failed: no such device\n"));
    EXPECT_TRUE(fixture.service->calls.empty()) << "the service was polled";
}

TEST(ServicePrint, ReportsTheOutcomeOfTheService)
{
    const struct {
        const char* state;
        const char* reason;
        uint64_t bytes;
        int status;
        const char* message;
    } outcomes[] = {
        {"completed", "", 22, 0, "printed: 2 cards, 22 bytes"},
        {"failed", "the cable", 22, 1, "the job failed: the cable\n"},
        {"cancelled", "cancelled by anna", 11, 1, "11 bytes of 22 bytes accepted...cancelled by anna\n"},
        {"interrupted", "the service was stopped", 11, 69, "the job was interrupted: the service was"},
    };
    for (const auto& row : outcomes) {
        SCOPED_TRACE(row.state);
        CServiceFixture fixture;
        const std::string bytes = "22 bytes of a job file";
        fixture.WriteFile("job", bytes);
        client::CJobStatus& job = fixture.service->job;
        fixture.service->At(1000, [&] { job.state = "printing"; });
        fixture.service->At(2000, [&] {
            job.state = row.state;
            job.reason = row.reason;
            job.bytes = row.bytes;
            job.cards = 2;
        });
        const CCommandResult result = fixture.Run("print @job");
        EXPECT_EQ(row.status, result.status) << result.err;
        EXPECT_TRUE(
            Shows(result.err, "waiting: other jobs are printed first\n..." + std::string(row.message)));
        EXPECT_EQ(bytes, fixture.service->printed);
        EXPECT_EQ(std::vector<std::string>{"Print job"}, fixture.service->calls);
        EXPECT_LT(fixture.clock.Elapsed(), 2100u);
    }
}

TEST(ServicePrint, SaysWhatBecomesOfTheJobWhenTheServiceIsLost)
{
    for (const auto& [cause, words] : {std::pair(Cause::ServiceEnded, "gone; the job does not go on"),
                                       std::pair(Cause::BusLost, "gone; the job goes on in the service")}) {
        CServiceFixture fixture;
        fixture.WriteFile("job", "bytes");
        fixture.service->At(3000, [&, why = cause] { fixture.service->LoseWith(why, "gone"); });
        const CCommandResult result = fixture.Run("print @job");
        EXPECT_EQ(69, result.status);
        EXPECT_TRUE(Shows(result.err, words));
        EXPECT_EQ(1u, CountOf(result.err, "zrtctl: ")) << result.err;
    }
}

TEST(ServicePrint, SaysThatAJobMayPrintAfterNoReply)
{
    CServiceFixture fixture;
    fixture.WriteFile("job", "bytes");
    fixture.service->refusals["Print"] = {"org.freedesktop.DBus.Error.NoReply", "timed out"};
    const CCommandResult result = fixture.Run("print @job");
    EXPECT_EQ(69, result.status);
    EXPECT_TRUE(Shows(result.err, "does not reply"));
    EXPECT_TRUE(Shows(result.err, "it may print the job all the same"));
}

TEST(ServicePrint, CancelsAtTheInterruptKeyAndAfterGiveUp)
{
    for (const bool givesUp : {false, true}) {
        CServiceFixture fixture;
        fixture.WriteFile("job", "bytes");
        if (!givesUp) {
            fixture.interruptAtMs = 5000;
        }
        EXPECT_EQ(givesUp ? 1 : 130, fixture.Run(givesUp ? "print @job --give-up 5" : "print @job").status);
        EXPECT_EQ(1u, fixture.service->Count("Cancel"));
        EXPECT_NEAR(5000.0, static_cast<double>(fixture.clock.Elapsed()), 200.0);
    }
}

/// The job is held at the gate from then on.
void HoldAtGate(CScriptedService& service)
{
    service.printer.state = "held";
    service.printer.printerError = 100;
    service.printer.currentJob = "/org/zrtmon/jobs/7";
    service.job.state = "held";
    service.job.category = 100;
    service.job.wantsPassword = true;
}

void EndJob(CScriptedService& service)
{
    service.printer.state = "idle";
    service.printer.printerError = 1;
    service.printer.currentJob = "/";
    service.job.category = 1;
    service.job.state = "completed";
}

TEST(ServicePassword, GoesToTheJobThatWaitsAndIsNeitherShownNorLeftInMemory)
{
    constexpr char kMarker[] = "M4rkedSecret";
    for (const auto& [command, status] : {std::pair("print @job", 0), std::pair("password supply", 130)}) {
        SCOPED_TRACE(command);
        CServiceFixture fixture;
        fixture.WriteFile("job", "bytes");
        fixture.typed = true;
        fixture.input = {"wr0ng", kMarker};
        CScriptedService& service = *fixture.service;
        service.At(10000, [&] { HoldAtGate(service); });
        service.At(15000, [&] { service.job.wantsPassword = true; }); // it was wrong
        service.At(20000, [&] { EndJob(service); });
        fixture.interruptAtMs = 30000;
        const CSecretWatch watch(kMarker);
        const CCommandResult result = fixture.Run(command);
        EXPECT_EQ(0u, watch.UnwipedBlocks());
        EXPECT_EQ(status, result.status) << result.err;
        EXPECT_EQ(1u, service.Count("SupplyPassword wr0ng"));
        EXPECT_EQ(1u, service.Count(std::string("SupplyPassword ") + kMarker));
        EXPECT_EQ(0u, service.Count("WriteStored") + service.Count("ReadStored"));
        EXPECT_TRUE(Shows(result.err, "the printer does not accept the password"));
        EXPECT_EQ(std::string::npos, result.err.find(kMarker));
    }
}

TEST(ServicePassword, OfAnActionIsNotLeftInMemory)
{
    constexpr char kMarker[] = "M4rkedSecret";
    CServiceFixture fixture;
    fixture.service->answers = {{"SecurityInfo", "Validation=1;OemSupplies=0;Password=1;"}};
    fixture.input = {kMarker, "Gr\xC3\xBC"};
    const CSecretWatch watch(kMarker);
    EXPECT_EQ(0, fixture.Run("password set-user").status);
    EXPECT_EQ(0u, watch.UnwipedBlocks());
    EXPECT_EQ(1u, fixture.service->Count("Perform SetUserPassword/M4rkedSecret/Gr\xC3\xBC"));
}

TEST(ServicePassword, IsNotAskedForAnotherUsersJob)
{
    CServiceFixture fixture;
    fixture.WriteFile("job", "bytes");
    CScriptedService& service = *fixture.service;
    service.printer.state = "held";
    service.printer.printerError = 100;
    service.printer.currentJob = "/org/zrtmon/jobs/6";
    service.At(5000, [&] { EndJob(service); });
    EXPECT_EQ(0, fixture.Run("print @job").status);
    EXPECT_EQ(0u, service.Count("SupplyPassword"));
}

TEST(ServiceJobs, AreListedFromATimeOn)
{
    CServiceFixture fixture;
    EXPECT_TRUE(Shows(fixture.Run("jobs").err, "no jobs"));
    fixture.service->journal = {{.id = 3,
                                 .printer = "Cards",
                                 .title = "a\x1b",
                                 .owner = "anna",
                                 .submitter = "lp",
                                 .uuid = {},
                                 .bytes = 512,
                                 .total = 1024,
                                 .cards = 1,
                                 .outcome = "failed",
                                 .reason = "the cable"}};
    const CCommandResult table = fixture.Run("jobs --since 2h");
    EXPECT_TRUE(
        Shows(table.out, "3  ...  Cards  anna  failed  1 card, 512 bytes of 1 KiB  a\\x1b\n   the cable\n"));
    auto json = FlatJson(fixture.Run("jobs --json --since 2026-01-05T06:00").out);
    EXPECT_EQ("1024", json["/0/total"]);
    EXPECT_EQ("lp", json["/0/submitter"]);
    const std::vector<std::string>& calls = fixture.service->calls;
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ("GetJobs 0", calls[0]);
    EXPECT_EQ(calls[2], calls[1]) << "the clock of a test begins at 2026-01-05 08:00";
    for (const char* time : {"tomorrow", "2026-02-30", "2026-01-05T06:00x", "7", "7w", "-1d"}) {
        EXPECT_EQ(64, fixture.Run("jobs --since " + std::string(time)).status) << time;
    }
}

} // namespace
} // namespace zrtmon::test
