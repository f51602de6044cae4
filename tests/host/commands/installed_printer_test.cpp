// Every verb on printers of a spooler.
#include <gtest/gtest.h>

#include "platform/print_system.h"
#include "platform/spooler_admin.h"
#include "tests/host/support/host_fixture.h"
#include "tests/support/policy_file.h"
#include "tests/support/spooler_fixture.h"
#include "tests/support/test_queues.h"

namespace zrtmon::test {
namespace {

struct CInstalledFixture : CHostFixture {
    CInstalledFixture()
    {
        port.clear();
        systemSpooler = &spooler;
        printSystem = &MachinePrintSystem();
        for (const CTestQueueOptions& queue : TestQueues()) {
            spooler.Add(queue);
        }
        WriteFile("job", JobBytes(2));
        WriteFile("long", JobBytes(40));
        WriteFile("policy", PolicyText("<PassWordOnfirstCard Enabled=\"True\"/>"));
    }

    /// Gives the spooler a job without waiting for its end, as another program does.
    DWORD Submit(const std::wstring& printerName, const std::string& bytes)
    {
        std::unique_ptr<ISpoolerQueue> queue;
        DWORD jobId = 0;
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, spooler.Open(printerName, PRINTER_ACCESS_USE, &queue));
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->StartDocument(L"another's job", &jobId));
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->Write(bytes));
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, queue->EndDocument());
        return jobId;
    }

    size_t JobCount(const std::wstring& printerName)
    {
        std::unique_ptr<ISpoolerQueue> queue;
        std::vector<CQueueJob> jobs;
        spooler.Open(printerName, PRINTER_ACCESS_USE, &queue);
        queue->Jobs(&jobs);
        return jobs.size();
    }

    CTestSpooler spooler{*LoadEntryPoints(), nullptr};
};

TEST(InstalledPrinter, IsReachedByEveryVerbOrSaysInALineWhyNot)
{
    const struct {
        const char* words;
        const char* printer;
        int status;
        const char* out;
        const char* err;
        const char* input = "";
    } cases[] = {
        {"get CardCount SerialNumber", "Card Printer", 0, "CardCount=250...SerialNumber=SN77", ""},
        {"get cardcount", "card printer", 0, "250", ""},
        {"get CardCount", "Card Prynter", 69, "",
         "Card Prynter: no such printer; did you mean Card Printer?"},
        {"get CardCount", "Plotter", 69, "", "Plotter: no such printer; zrtctl printers lists them"},
        {"get CardCount", "One-Way Printer", 1, "", "bidirectional support is off; switch it on"},
        {"get CardCount", "Paper Printer", 1, "", "the spooler has no answer"},
        {"get MoveTo/1", "Card Printer", 1, "", "may have been carried out (system error 2)"},
        {"get MoveTo/1", "Strict Printer", 0, "", ""},
        {"get StationStatus/9", "Strict Printer", 1, "",
         "no valid reply from the printer, or the parameters"},
        {"get CardCount --trace @trace", "Card Printer", 64, "", "--trace: only with --port"},
        {"print @job --policy @policy", "Card Printer", 64, "",
         "--policy: only with --port; zrtctl policy set"},
        {"status", "Card Printer", 1, "PrinterError=  not published", ""},
        {"settings show", "Strict Printer", 0, "Image Darkness", ""},
        {"settings save @kept", "Card Printer", 0, "", "26 settings saved"},
        {"settings set FeedPWM=7", "Card Printer", 0, "", "1 setting written"},
        {"settings set FeedPWM=7", "Live Printer", 1, "",
         "did not accept FeedPWM=7 (it has 60); a spooler that answers"},
        {"settings set FeedPWM=7", "Guarded Printer", 77, "", "access denied: the right to administer"},
        {"password check", "Locked Printer", 0, "", "the printer accepts the password", "clerk"},
        {"password check", "Locked Strict Printer", 77, "", "wrong password", "thief"},
        {"policy show", "Card Printer", 0, "no policy: a password for each job", ""},
        {"policy set @policy", "Card Printer", 0, "",
         "from the next job on: a password for the first card of the day"},
        {"policy set @policy", "Guarded Printer", 77, "", "access denied"},
        {"policy set @job", "Card Printer", 65, "", "job: is not a policy"},
        {"policy set @none", "Card Printer", 66, "", "none: No such file"},
        {"policy clear", "Card Printer", 0, "", "a password for each job"},
        {"print @job", "Card Printer", 0, "PrinterError=1...CardCount=252",
         "on \"Card Printer\"...printed: 15.1 KiB"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.words) + " on " + row.printer);
        CInstalledFixture fixture;
        if (*row.input) {
            fixture.input = {row.input};
        }
        const CCommandResult result =
            fixture.Run(row.words + (" --printer '" + std::string(row.printer) + '\''));
        EXPECT_EQ(row.status, result.status) << result.err;
        EXPECT_TRUE(Shows(result.out, row.out));
        EXPECT_TRUE(Shows(result.err, row.err));
        EXPECT_LE(CountOf(result.err, "\n"), row.status > 1 ? 1u : 10u) << result.err;

        fixture.spooler.SetRunning(false);
        fixture.input = {row.input};
        const CCommandResult stopped =
            fixture.Run(row.words + (" --printer '" + std::string(row.printer) + '\''));
        const bool isRefusedBefore = row.status == 64 || row.status == 65 || row.status == 66;
        EXPECT_EQ(isRefusedBefore ? row.status : 69, stopped.status);
        EXPECT_TRUE(isRefusedBefore || stopped.err.find("not running") != std::string::npos) << stopped.err;
    }
}

TEST(InstalledPrinter, IsChosenWithoutANameIfItIsTheOnlyOne)
{
    CInstalledFixture fixture;
    EXPECT_TRUE(Shows(fixture.Run("get CardCount").err, "8 printers found; give --printer NAME"));
    for (const CTestQueueOptions& queue : TestQueues()) {
        if (queue.name != L"Guarded Printer" && queue.name != L"Paper Printer") {
            fixture.spooler.Remove(queue.name);
        }
    }
    EXPECT_EQ("7\n", fixture.Run("get CardCount").out);
    fixture.spooler.SetPaused(L"Guarded Printer", true);
    EXPECT_TRUE(Shows(fixture.Run("printers").out, "Guarded Printer  sim:cards=7  paused, not published"));
    fixture.spooler.Remove(L"Guarded Printer");
    const CCommandResult none = fixture.Run("get CardCount");
    EXPECT_EQ(69, none.status);
    EXPECT_TRUE(Shows(none.err, "no printer found; give --printer, or --port sim: for the simulated one"));
}

TEST(InstalledPrinter, PublishedValuesAreReadWithoutAQuestion)
{
    CInstalledFixture fixture;
    fixture.Run("print @job --printer 'Card Printer'");
    EXPECT_TRUE(Shows(fixture.Run("print @job --printer 'Card Printer'").err, "printed: 2 cards"));
    const size_t before = fixture.spooler.Printer(L"Card Printer").Commands().size();
    const CCommandResult status = fixture.Run("status --printer 'Card Printer'");
    EXPECT_EQ(0, status.status);
    EXPECT_TRUE(Shows(status.out, "PrinterError=1  no error...CardCount=254"));
    EXPECT_TRUE(
        Shows(fixture.Run("printers --json").out, "\"name\": \"Card Printer\"...\"error\": \"no error\""));
    EXPECT_EQ(before, fixture.spooler.Printer(L"Card Printer").Commands().size());
}

TEST(InstalledPrinter, AWatchShowsAJobsErrorWhenItIsPublished)
{
    CInstalledFixture fixture;
    fixture.Submit(L"Broken Printer", JobBytes(20));
    fixture.interruptAtMs = fixture.clock.Elapsed() + 5000;
    const CCommandResult result = fixture.Run("status --watch --printer 'Broken Printer'");
    EXPECT_EQ(130, result.status);
    EXPECT_TRUE(Shows(result.out, "not published...PrinterError=21  ribbon"));
}

TEST(InstalledPrinter, SettingsPutBackWhatWasStored)
{
    CInstalledFixture fixture;
    std::unique_ptr<ISpoolerQueue> queue;
    fixture.spooler.Open(L"Card Printer", PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE, &queue);
    for (const std::string before : {"", "kept by another program"}) {
        if (!before.empty()) {
            queue->SetData(L"CurrentSettings", REG_BINARY, before);
        }
        EXPECT_EQ(0, fixture.Run("settings set FeedPWM=7 --printer 'Card Printer'").status);
        std::vector<std::pair<std::wstring, CStoredValue>> values;
        queue->StoredValues(&values);
        for (const auto& [name, value] : values) {
            EXPECT_TRUE(name != L"CurrentSettings" || value.bytes == before) << value.bytes;
        }
    }
}

TEST(InstalledPrinter, AnActionIsSentOnceAndALongAnswerIsReadWhole)
{
    CInstalledFixture fixture;
    for (const std::wstring printer : {L"Card Printer", L"Strict Printer"}) {
        fixture.Run("get MoveTo/3 --printer '" + std::string(printer.begin(), printer.end()) + '\'');
        std::string seen;
        for (const sim::CommandSeen& command : fixture.spooler.Printer(printer).Commands()) {
            seen += command.mnemonic + ' ';
        }
        EXPECT_EQ("PPL i ", seen) << "a move is two commands";
    }
    const std::string answer(70000, 'x');
    spooler::StoreValue(L"One-Way Printer", L"LCDInfo", REG_SZ, answer + '\0');
    spooler::StoreValue(L"One-Way Printer", L"MoveTo/3", REG_SZ, answer + '\0');
    EXPECT_EQ(answer + '\n', fixture.Run("get LCDInfo --printer 'One-Way Printer'").out);
    EXPECT_EQ(1, fixture.Run("get MoveTo/3 --printer 'One-Way Printer'").status);
}

TEST(InstalledPrinter, AStoredAnswerIsNotTakenForThePrinters)
{
    CInstalledFixture fixture;
    const std::string printer = " --printer 'Locked Printer'";
    EXPECT_EQ(0, fixture.Run("settings set FeedPWM=7" + printer).status);
    EXPECT_EQ(0, fixture.Run("get CardCount SecurityInfo CurrentSettings" + printer).status);
    spooler::StoreValue(L"Locked Printer", L"SecurityInfo", REG_SZ, "Validation=1;OemSupplies=0;Password=1;");
    fixture.spooler.Printer(L"Locked Printer").NeverAnswer();
    for (const char* const words : {"settings set FeedPWM=8", "password check", "password disable"}) {
        fixture.input = {"thief"};
        const CCommandResult result = fixture.Run(words + printer);
        EXPECT_EQ(1, result.status) << words;
        EXPECT_TRUE(Shows(result.err, "the spooler has no answer"));
    }
    EXPECT_TRUE(
        Shows(fixture.Run("doctor 'Locked Printer'").out, "CardCount...100 (live or stored: it took "));

    spooler::StoreValue(L"One-Way Printer", L"CardCount", REG_SZ, "99");
    EXPECT_TRUE(
        Shows(fixture.Run("get CardCount --printer 'One-Way Printer'").err, "CardCount: stored earlier"));
    spooler::StoreValue(L"One-Way Printer", L"CurrentSettings", REG_SZ, "FeedPWM=7,0,9,1;");
    const CCommandResult shown = fixture.Run("settings show --printer 'One-Way Printer'");
    EXPECT_EQ(75, shown.status);
    EXPECT_TRUE(Shows(shown.err, "CurrentSettings: the spooler answered from its store"));
}

TEST(InstalledPrint, ShowsWhyItWaitsAndIsNotConcernedByWhatIsNotItsOwn)
{
    CInstalledFixture fixture;
    spooler::StoreValue(L"Card Printer", L"PrinterError", REG_SZ, "100");
    const CCommandResult stale = fixture.Run("print @job --printer 'Card Printer'");
    EXPECT_EQ(0, stale.status) << stale.err;
    fixture.spooler.SetPaused(L"Card Printer", true);
    const CCommandResult paused = fixture.Run("print @job --give-up 3 --printer 'Card Printer'");
    EXPECT_EQ(1, paused.status);
    EXPECT_TRUE(Shows(paused.err, "waiting: paused...deleting the job...not completed"));
}

TEST(InstalledPrint, IsDeletedFromTheQueueWhenInterruptedOrGivenUp)
{
    for (const bool isInterrupted : {true, false}) {
        CInstalledFixture fixture;
        if (isInterrupted) {
            fixture.interruptAtMs = fixture.clock.Elapsed() + 3000;
        }
        const CCommandResult result = fixture.Run(std::string("print @long --printer 'Broken Printer'") +
                                                  (isInterrupted ? "" : " --give-up 2"));
        EXPECT_EQ(isInterrupted ? 130 : 1, result.status);
        EXPECT_TRUE(
            Shows(result.err, "waiting: ribbon (printer error 83...deleting the job...not completed"));
        EXPECT_EQ(0u, fixture.JobCount(L"Broken Printer"));
    }
}

TEST(InstalledPrint, SaysWhatBecameOfAJobThatOthersStop)
{
    const struct {
        const char* name;
        void (*act)(CInstalledFixture& fixture, ISpoolerQueue& queue);
        int status;
        const char* message;
    } cases[] = {
        {"deleted by another",
         [](CInstalledFixture&, ISpoolerQueue& queue) {
             std::vector<CQueueJob> jobs;
             queue.Jobs(&jobs);
             queue.DeleteJob(jobs.at(0).id);
         },
         1, "the job was deleted from the queue"},
        {"printer removed",
         [](CInstalledFixture& fixture, ISpoolerQueue&) { fixture.spooler.Remove(L"Broken Printer"); }, 69,
         "Broken Printer: the printer has been removed"},
        {"spooler stopped",
         [](CInstalledFixture& fixture, ISpoolerQueue&) { fixture.spooler.SetRunning(false); }, 69,
         "not running"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        CInstalledFixture fixture;
        std::unique_ptr<ISpoolerQueue> queue;
        fixture.spooler.Open(L"Broken Printer", PRINTER_ACCESS_USE, &queue);
        CVirtualClock::CClockThread other([&] {
            Sleep(3000);
            row.act(fixture, *queue);
        });
        const CCommandResult result = fixture.Run("print @long --printer 'Broken Printer'");
        EXPECT_EQ(row.status, result.status);
        EXPECT_TRUE(Shows(result.err, row.message));
    }
}

TEST(InstalledPrint, CountsNoCardsWhileAnotherJobPrints)
{
    CInstalledFixture fixture;
    fixture.Submit(L"Card Printer", JobBytes(3));
    const CCommandResult result = fixture.Run("print @job --printer 'Card Printer'");
    EXPECT_EQ(0, result.status);
    EXPECT_FALSE(Shows(result.err, "printed: 2 cards")) << result.err;
    EXPECT_TRUE(Shows(result.err, "printed: "));
}

TEST(PasswordSupply, AsksForAJobThatWaitsAndTakesBackWhatWasNotUsed)
{
    for (const char* const mode : {"stored", "sent"}) {
        SCOPED_TRACE(mode);
        CInstalledFixture fixture;
        const bool isStored = mode == std::string("stored");
        const std::wstring printer = isStored ? L"Locked Printer" : L"Locked Guarded Printer";
        if (!isStored) {
            fixture.spooler.Add({.name = printer,
                                 .port = "sim:protected=1,user-password=clerk,serial=AB123456787",
                                 .mayAdminister = false});
        }
        fixture.Submit(printer, JobBytes(1));
        fixture.typed = true;
        fixture.input = {"wrong", "clerk"};
        fixture.interruptAtMs = fixture.clock.Elapsed() + 30000;
        const CCommandResult result = fixture.Run("password supply");
        EXPECT_EQ(130, result.status);
        EXPECT_TRUE(Shows(result.err,
                          isStored ? "password for Locked Printer...stored...does not accept...stored"
                                   : "password for Locked Guarded Printer...a policy's delay does not count "
                                     "it...does not accept...password sent\n"));
        EXPECT_EQ(1u, fixture.spooler.Printer(printer).View().cardsPrinted);
        EXPECT_EQ(0u, fixture.JobCount(printer));
        EXPECT_FALSE(spooler::LoadValue(printer, L"Password"));
    }
}

TEST(PasswordSupply, IgnoresWhatACrashLeftPublished)
{
    CInstalledFixture fixture;
    spooler::StoreValue(L"Locked Printer", L"PrinterError", REG_SZ, "100");
    fixture.input = {"clerk"};
    fixture.interruptAtMs = fixture.clock.Elapsed() + 5000;
    EXPECT_EQ(130, fixture.Run("password supply --printer 'Locked Printer'").status);
    EXPECT_EQ(1u, fixture.input.size()) << "nobody was asked";
}

TEST(Doctor, TellsALiveAnswerFromAStoredOne)
{
    CInstalledFixture fixture;
    EXPECT_TRUE(Shows(fixture.Run("doctor 'Card Printer'").out, "\"Card Printer\"...CardCount...250 (live)"));
    spooler::StoreValue(L"One-Way Printer", L"CardCount", REG_SZ, "99");
    const CCommandResult stored = fixture.Run("doctor 'One-Way Printer'");
    EXPECT_EQ(1, stored.status);
    EXPECT_TRUE(Shows(stored.out, "SerialNumber...bidirectional support is off...CardCount...99 (stored: "));
}

} // namespace
} // namespace zrtmon::test
