// zrtctl print: what is offered to the monitor, how a job is stopped, and what the user sees of it.
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include "host/printing/stall_detector.h"
#include "platform/spooler_admin.h"
#include "tests/host/support/scripted_monitor.h"

namespace zrtmon::test {
namespace {

/// A job, and a scripted monitor whose printer has no error.
struct CJobFixture : CScriptedFixture {
    CJobFixture()
    {
        WriteFile("job", "data");
        script.answer = [](const std::string& requestText) {
            return CScriptedMonitor::CAnswer{requestText == "CardCount" ? "100" : "1"};
        };
    }
};

/// Prints a job of so many cards on the simulated printer.
struct CSimulatedFixture : CHostFixture {
    explicit CSimulatedFixture(uint32_t cards) { WriteFile("job", JobBytes(cards)); }
};

TEST(PrintOffers, EveryByteOnceAndInOrderHoweverLittleIsTaken)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 50; ++round) {
        CJobFixture fixture;
        std::string bytes(1 + random() % 5000, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        fixture.WriteFile("job", bytes);
        // Nothing at every other offer, as the monitor does, and now and then a part.
        fixture.script.take = [&, odd = false](DWORD size) mutable {
            odd = !odd;
            return odd ? 0 : static_cast<DWORD>(random() % (size + 1));
        };
        const auto piece = static_cast<DWORD>(1 + random() % 700);
        const CCommandResult result = fixture.Run("print @job --piece " + std::to_string(piece));
        ASSERT_EQ(0, result.status) << result.err;
        EXPECT_EQ(bytes, fixture.script.written);
        for (const DWORD offer : fixture.script.offers) {
            ASSERT_LE(offer, piece);
        }
        EXPECT_EQ(1u, fixture.script.Count("EndDocPort"));
        EXPECT_EQ(1u, fixture.script.Count("ClosePort"));
    }
}

TEST(PrintOffers, AnOfferThatIsNotTakenCostsNoTimeUntilThePortIsStuck)
{
    CJobFixture fixture;
    unsigned offers = 0;
    // 900 rounds without a byte are the turning of the monitor; after more the pauses begin.
    fixture.script.take = [&](DWORD size) { return ++offers > 900 ? size : 0; };
    fixture.Run("print @job");
    EXPECT_EQ(0u, fixture.clock.Elapsed());

    offers = 0;
    fixture.script.take = [&](DWORD size) { return ++offers > 1500 ? size : 0; };
    fixture.Run("print @job");
    EXPECT_NEAR(500.0, static_cast<double>(fixture.clock.Elapsed()), 2.0);
}

TEST(Print, EndsWithTheStatusOfWhatFailed)
{
    const struct {
        const char* call;
        DWORD error; ///< of that call
        const char* answer;
        int status;
        const char* message;
    } cases[] = {
        {"", 0, "1", 0, "printed: 4 bytes, 0.000 s"},
        {"OpenPortEx", ERROR_BUSY, "1", 75, "in use (system error 170)"},
        {"OpenPortEx", ERROR_FILE_NOT_FOUND, "1", 69, "(system error 2)"},
        {"StartDocPort", ERROR_BUSY, "1", 75, "cannot start the document"},
        {"StartDocPort", ERROR_GEN_FAILURE, "1", 69, "(system error 31)"},
        {"WritePort", ERROR_INVALID_PARAMETER, "1", 69, "cannot send the job's data"},
        {"EndDocPort", ERROR_GEN_FAILURE, "1", 69, "cannot end the document"},
        {"", 0, "", 1, "no valid reply"},
        {"", 0, "21", 1, "the printer reports an error: ribbon"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.message);
        CJobFixture fixture;
        if (row.error) {
            fixture.script.errors[row.call] = row.error;
        }
        fixture.script.answer = [&row](const std::string&) {
            return CScriptedMonitor::CAnswer{row.answer, ERROR_INVALID_PARAMETER};
        };
        const CCommandResult result = fixture.Run("print @job");
        EXPECT_EQ(row.status, result.status);
        EXPECT_TRUE(Shows(result.err, row.message));
        const bool isOpen = !fixture.script.errors.contains("OpenPortEx");
        const bool isStarted = isOpen && !fixture.script.errors.contains("StartDocPort");
        EXPECT_EQ(isStarted ? 1u : 0u, fixture.script.Count("EndDocPort"));
        EXPECT_EQ(isOpen ? 1u : 0u, fixture.script.Count("ClosePort"));
    }
}

TEST(PrintStops, ByDeletingTheJobBeforeTheDocumentEnds)
{
    const struct {
        const char* arguments;
        uint64_t interruptAtMs;
        bool isErrorPublished;
        int status;
        uint64_t afterMs;
        const char* messages;
    } cases[] = {
        {"", 3000, false, 130, 3000,
         "the printer takes no data...interrupted: deleting the job...not completed"},
        {" --give-up 5", 9000, false, 1, 5000, "waiting: the printer takes no data...held longer than"},
        {" --give-up 5", 9000, true, 1, 5000, "error (printer error 24, category 43)\n...held longer than"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.messages);
        CJobFixture fixture;
        fixture.interruptAtMs = row.interruptAtMs;
        fixture.script.take = [&row, calls = 0](DWORD) mutable {
            Sleep(calls++ == 0 ? 20 : 0);
            if (row.isErrorPublished) {
                spooler::StoreValue(L"Card Printer", L"PrinterError", REG_BINARY, "43");
                Sleep(calls == 1 ? 50 : 0); // one poll sees the new category with the old code
                spooler::StoreValue(L"Card Printer", L"DeviceError", REG_BINARY, "24");
            }
            return 0;
        };
        const CCommandResult result = fixture.Run(std::string("print @job") + row.arguments);
        EXPECT_EQ(row.status, result.status);
        EXPECT_EQ(JOB_STATUS_DELETING, fixture.script.jobAtEnd.value_or(0) & JOB_STATUS_DELETING);
        EXPECT_EQ(1u, fixture.script.Count("EndDocPort"));
        EXPECT_NEAR(static_cast<double>(row.afterMs), static_cast<double>(fixture.clock.Elapsed()), 100.0);
        EXPECT_EQ(1u, CountOf(result.err, "waiting: ")) << result.err;
        EXPECT_TRUE(Shows(result.err, row.messages));
    }
}

TEST(PrintStops, AlsoWhileThePrinterFinishes)
{
    CJobFixture fixture;
    fixture.interruptAtMs = 3000;
    DWORD seenAfterMs = 0;
    fixture.script.hooks["EndDocPort"] = [&] { // as the monitor watches the queue
        for (; seenAfterMs < 60000; seenAfterMs += 100) {
            if (*spooler::JobStatus(L"Card Printer", fixture.script.jobId) & JOB_STATUS_DELETING) {
                return;
            }
            Sleep(100);
        }
    };
    EXPECT_EQ(130, fixture.Run("print @job").status);
    EXPECT_GE(seenAfterMs, 3000u);
    EXPECT_LE(seenAfterMs, 3100u);
}

TEST(PrintOnASlowPrinter, ReportsItsPausesOnce)
{
    CJobFixture fixture;
    fixture.script.take = [&, last = uint64_t{0}](DWORD) mutable {
        const bool isDue = fixture.clock.Elapsed() >= last + 3000;
        last = isDue ? fixture.clock.Elapsed() : last;
        return isDue ? 1u : 0u;
    };
    const CCommandResult result = fixture.Run("print @job");
    EXPECT_EQ(0, result.status);
    EXPECT_GE(fixture.clock.Elapsed(), 12000u);
    EXPECT_EQ(1u, CountOf(result.err, "waiting: ")) << result.err;
    EXPECT_EQ(0u, CountOf(result.err, "resuming")) << "no error has cleared";
}

TEST(PrintOnTheSimulatedPrinter, ReportsTheErrorThatHoldsTheJobAndTheAnswersMeanwhile)
{
    CSimulatedFixture fixture(3);
    const CCommandResult result = fixture.Run("print @job --ask CardCount,PrinterError "
                                              "--port sim:cards=250,error=83,error-at-card=2,clear-ms=4000");
    EXPECT_EQ(0, result.status);
    EXPECT_TRUE(Shows(result.err,
                      "printing ...waiting: ribbon (printer error 83, category 21)\n..."
                      "resuming: the error has cleared\n...all data accepted...printed: 3 cards, "));
    EXPECT_EQ(1u, CountOf(result.err, "waiting: ribbon"));
    EXPECT_TRUE(Shows(result.out, "[0... s] PrinterError=21\n...PrinterError=1\n...CardCount=253\n..."
                                  "PrinterStatus=-1\nPrinterError=1\nDeviceError=0\n"));
    EXPECT_EQ(1u, CountOf(result.out, "] PrinterError=21")) << "only changes are printed";
    EXPECT_EQ(0u, CountOf(result.err + result.out, "\x1b")) << "no terminal is there to be steered";
}

TEST(PrintOnTheSimulatedPrinter, CancelsAtThePrinterWhenInterrupted)
{
    CSimulatedFixture fixture(5);
    fixture.interruptAtMs = 2000;
    const CCommandResult result =
        fixture.Run("print @job --trace @trace --port sim:error=24,error-at-card=2");
    EXPECT_EQ(130, result.status);
    EXPECT_EQ(1u, CountOf(fixture.ReadFile("trace"), "\"XC cancel the print\""));
    EXPECT_TRUE(Shows(result.out, "PrinterError=43\nDeviceError=24\nCardCount=101\n"));
}

TEST(PrintIntoAFile, KeepsEveryByteOfAJobWithoutPackets)
{
    CHostFixture fixture;
    const std::string bytes(100000, 'z');
    fixture.WriteFile("job", bytes);
    const CCommandResult result = fixture.Run("print @job --port file:@captured");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("", result.out) << "there is no printer whose values could be printed";
    EXPECT_TRUE(fixture.ReadFile("captured").starts_with(bytes));
}

TEST(PrintOnATerminal, RewritesOneLineAndKeepsItsWidth)
{
    for (const bool colors : {false, true}) {
        CSimulatedFixture fixture(2);
        fixture.terminal = true;
        fixture.colors = colors;
        fixture.columns = 30;
        const CCommandResult result = fixture.Run("print @job --port sim:error=83,clear-ms=3000");
        EXPECT_EQ(0, result.status);
        const char* const yellow = "\x1b[33mwaiting: ribbon (printer error 83, category 21)\x1b[0m\n";
        EXPECT_EQ(colors, CountOf(result.err, yellow) > 0) << result.err;
        EXPECT_EQ(colors, CountOf(result.err, "\x1b[3") > 0);
        // The text between two erasures is either a complete message or the progress.
        const std::string erase = "\x1b[K";
        size_t progressLines = 0;
        std::istringstream shown(result.err);
        for (std::string text; std::getline(shown, text, '\r');) {
            const std::string line = text.substr(text.rfind('\n') + 1);
            EXPECT_LE(line.size(), erase.size() + 29) << line;
            progressLines += CountOf(line, "%");
        }
        EXPECT_GE(progressLines, 3u);
        EXPECT_TRUE(result.err.ends_with(colors ? "s\x1b[0m\n" : "s\n")) << "a progress line is left over";
    }
}

TEST(StallDetector, SaysWhyAndSinceWhen)
{
    constexpr DWORD kStart = 0xFFFFFA00; // the tick count wraps on the way
    constexpr char kPause[] = "takes no data";
    const struct {
        DWORD tick;
        DWORD taken;
        bool finishing;
        int category;       ///< 0: not published
        const char* reason; ///< part of it; empty: not held
        DWORD heldMs;
    } moments[] = {
        {0, 0, false, 0, "", 0},
        {1999, 0, false, 1, "", 0},
        {2000, 0, false, 1, kPause, 2000},
        {2100, 10, false, 1, "", 0},
        {4099, 10, false, 1, "", 0},
        {4200, 10, false, 1, kPause, 2100},
        {4300, 10, false, 21, "category 21", 2200},
        {4400, 20, false, 21, "category 21", 2300},
        {7500, 20, false, 1, "", 0},
        {7600, 20, false, 43, "category 43", 0},
        {7700, 20, true, 43, "category 43", 100},
        {9000, 20, true, 1, "", 0},
    };
    host::CStallDetector watch(kStart);
    for (const auto& moment : moments) {
        SCOPED_TRACE("at " + std::to_string(moment.tick));
        host::CJobView view{moment.taken, 100, moment.finishing, {}, {}};
        view.state.values.printerError = moment.category ? std::optional<int>(moment.category) : std::nullopt;
        watch.Update(kStart + moment.tick, view);
        EXPECT_EQ(*moment.reason == '\0', watch.Reason().empty()) << watch.Reason();
        EXPECT_TRUE(Shows(watch.Reason(), moment.reason));
        EXPECT_EQ(moment.heldMs, watch.HeldMs(kStart + moment.tick));
    }
}

} // namespace
} // namespace zrtmon::test
