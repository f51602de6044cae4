// zrtctl print: what is offered to the monitor, how a job is stopped, and what the user sees of it.
#include <random>

#include <gtest/gtest.h>

#include "host/hold_watch.h"
#include "platform/spooler_admin.h"
#include "tests/host/host_bench.h"
#include "tests/host/scripted_monitor.h"
#include "tests/support/case_name.h"

namespace zrtmon::test {
namespace {

/// A printer without errors behind the scripted monitor.
std::optional<ScriptedMonitor::Answer> HealthyPrinter(const std::string& requestText)
{
    return ScriptedMonitor::Answer{requestText == "CardCount" ? "100" : "1"};
}

struct ScriptedBench : HostBench {
    ScriptedBench()
    {
        monitor = ScriptedMonitor::Initialize;
        script.answer = HealthyPrinter;
    }

    ScriptedMonitor script;
};

TEST(PrintOffers, EveryByteOnceAndInOrderHoweverLittleIsTaken)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 50; ++round) {
        ScriptedBench bench;
        std::string bytes(1 + random() % 5000, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        bench.WriteFile("job", bytes);
        // Nothing at every other offer, as the monitor does, and now and then a part.
        bench.script.take = [&, odd = false](DWORD size) mutable {
            odd = !odd;
            return odd ? 0 : static_cast<DWORD>(random() % (size + 1));
        };
        const auto piece = static_cast<DWORD>(1 + random() % 700);
        const CommandResult result = bench.Run({"print", "@job", "--piece", std::to_string(piece)});
        ASSERT_EQ(0, result.status) << result.err;
        EXPECT_EQ(bytes, bench.script.written);
        for (const DWORD offer : bench.script.offers) {
            ASSERT_LE(offer, piece);
        }
        EXPECT_EQ(1u, bench.script.Count("EndDocPort"));
        EXPECT_EQ(1u, bench.script.Count("ClosePort"));
    }
}

TEST(PrintOffers, AnOfferThatIsNotTakenCostsNoTimeUntilThePortIsStuck)
{
    ScriptedBench bench;
    bench.WriteFile("job", "data");
    unsigned offers = 0;
    // 900 rounds without a byte are the turning of the monitor; after more the pauses begin.
    bench.script.take = [&](DWORD size) { return ++offers > 900 ? size : 0; };
    bench.Run({"print", "@job"});
    EXPECT_EQ(0u, bench.clock.Elapsed());

    offers = 0;
    bench.script.take = [&](DWORD size) { return ++offers > 1500 ? size : 0; };
    bench.Run({"print", "@job"});
    EXPECT_NEAR(500.0, static_cast<double>(bench.clock.Elapsed()), 2.0);
}

struct Ending {
    const char* name;
    std::function<void(ScriptedMonitor& script)> arrange;
    int status;
    const char* message;
};

class PrintEnds : public testing::TestWithParam<Ending> {};

TEST_P(PrintEnds, WithItsStatus)
{
    ScriptedBench bench;
    bench.WriteFile("job", "data");
    GetParam().arrange(bench.script);
    const CommandResult result = bench.Run({"print", "@job"});
    EXPECT_EQ(GetParam().status, result.status);
    EXPECT_TRUE(Contains(result.err, GetParam().message)) << result.err;
    EXPECT_EQ(bench.script.Count("StartDocPort") * (bench.script.startError ? 0 : 1),
              bench.script.Count("EndDocPort"));
    EXPECT_EQ(bench.script.openError ? 0u : 1u, bench.script.Count("ClosePort"));
}

INSTANTIATE_TEST_SUITE_P(
    Ways, PrintEnds,
    testing::Values(
        Ending{"Done", [](ScriptedMonitor&) {}, 0, "printed: 4 bytes in 0.000 s"},
        Ending{"PortBusy", [](ScriptedMonitor& s) { s.openError = ERROR_BUSY; }, 75, "in use (error 170)"},
        Ending{"PortGone", [](ScriptedMonitor& s) { s.openError = ERROR_FILE_NOT_FOUND; }, 69, "(error 2)"},
        Ending{"DocumentBusy", [](ScriptedMonitor& s) { s.startError = ERROR_BUSY; }, 75, "no document"},
        Ending{"DocumentFails", [](ScriptedMonitor& s) { s.startError = ERROR_GEN_FAILURE; }, 69,
               "(error 31)"},
        Ending{"WriteFails", [](ScriptedMonitor& s) { s.writeError = ERROR_INVALID_PARAMETER; }, 69,
               "refuses"},
        Ending{"EndFails", [](ScriptedMonitor& s) { s.endFails = true; }, 69, "does not end the document"},
        Ending{"PrinterSilent", [](ScriptedMonitor& s) { s.answer = nullptr; }, 1, "no reply that fits"},
        Ending{"PrinterError",
               [](ScriptedMonitor& s) {
                   s.answer = [](const std::string&) { return ScriptedMonitor::Answer{"21"}; };
               },
               1, "the printer reports: ribbon"}),
    CaseName());

TEST(PrintStops, WhenInterruptedItDeletesTheJobBeforeTheDocumentEnds)
{
    ScriptedBench bench;
    bench.WriteFile("job", "data");
    bench.script.take = [](DWORD) { return 0; };
    bench.interruptAtMs = 3000;
    const CommandResult result = bench.Run({"print", "@job"});
    EXPECT_EQ(130, result.status);
    EXPECT_EQ(JOB_STATUS_DELETING, bench.script.jobAtEnd.value_or(0) & JOB_STATUS_DELETING);
    EXPECT_EQ(1u, bench.script.Count("EndDocPort"));
    EXPECT_TRUE(InOrder(result.err, {"interrupted: the job is deleted", "not printed to its end"}));
    EXPECT_LT(bench.clock.Elapsed(), 3100u);
}

TEST(PrintStops, AlsoWhileThePrinterFinishes)
{
    ScriptedBench bench;
    bench.WriteFile("job", "data");
    bench.interruptAtMs = 3000;
    DWORD seenAfterMs = 0;
    bench.script.onEnd = [&] { // as the monitor watches the queue
        for (; seenAfterMs < 60000; seenAfterMs += 100) {
            if (*spooler::JobStatus(L"Card Printer", bench.script.jobId) & JOB_STATUS_DELETING) {
                return;
            }
            Sleep(100);
        }
    };
    EXPECT_EQ(130, bench.Run({"print", "@job"}).status);
    EXPECT_GE(seenAfterMs, 3000u);
    EXPECT_LE(seenAfterMs, 3100u);
}

TEST(PrintStops, AfterBeingHeldForTheTimeGiven)
{
    for (const bool isErrorPublished : {false, true}) {
        ScriptedBench bench;
        bench.WriteFile("job", "data");
        bench.script.take = [&](DWORD) {
            if (isErrorPublished) {
                spooler::StoreValue(L"Card Printer", L"PrinterError", REG_BINARY, "43");
                spooler::StoreValue(L"Card Printer", L"DeviceError", REG_BINARY, "24");
            }
            return 0;
        };
        const CommandResult result = bench.Run({"print", "@job", "--give-up", "5"});
        EXPECT_EQ(1, result.status);
        EXPECT_EQ(JOB_STATUS_DELETING, bench.script.jobAtEnd.value_or(0) & JOB_STATUS_DELETING);
        EXPECT_NEAR(5000.0, static_cast<double>(bench.clock.Elapsed()), 100.0);
        const char* reason = isErrorPublished ? "held back: printer error (error 24, category 43)\n"
                                              : "held back: the printer takes no more data";
        EXPECT_EQ(1u, CountOf(result.err, "held back: ")) << result.err;
        EXPECT_TRUE(InOrder(result.err, {reason, "held for too long"}));
    }
}

TEST(PrintOnASlowPrinter, TellsOfItsPausesOnce)
{
    ScriptedBench bench;
    bench.WriteFile("job", "data");
    bench.script.take = [&, last = uint64_t{0}](DWORD) mutable {
        const bool isDue = bench.clock.Elapsed() >= last + 3000;
        last = isDue ? bench.clock.Elapsed() : last;
        return isDue ? 1u : 0u;
    };
    const CommandResult result = bench.Run({"print", "@job"});
    EXPECT_EQ(0, result.status);
    EXPECT_GE(bench.clock.Elapsed(), 12000u);
    EXPECT_EQ(1u, CountOf(result.err, "held back: ")) << result.err;
    EXPECT_EQ(0u, CountOf(result.err, "going on")) << "no error has cleared";
}

TEST(PrintOnTheSimulatedPrinter, TellsTheErrorThatHoldsTheJobAndTheAnswersMeanwhile)
{
    HostBench bench;
    bench.WriteFile("job", JobBytes(3));
    const CommandResult result = bench.Run({"print", "@job", "--ask", "CardCount,PrinterError", "--port",
                                            "sim:cards=250,error=83,error-at-card=2,clear-ms=4000"});
    EXPECT_EQ(0, result.status);
    EXPECT_TRUE(
        InOrder(result.err, {"printing ", "held back: ribbon (error 83, category 21)\n", "1 card printed, ",
                             "going on: the error has cleared\n", "all data taken", "printed: 3 cards, "}));
    EXPECT_EQ(1u, CountOf(result.err, "held back: ribbon"));
    EXPECT_TRUE(InOrder(result.out, {"[0.", " s] PrinterError=21\n", "PrinterError=1\n", "CardCount=253\n",
                                     "PrinterStatus=-1\nPrinterError=1\nDeviceError=0\n"}));
    EXPECT_EQ(1u, CountOf(result.out, "] PrinterError=21")) << "only changes are told";
    EXPECT_FALSE(Contains(result.err + result.out, "\x1b")) << "no terminal is there to be steered";
}

TEST(PrintOnTheSimulatedPrinter, CancelsAtThePrinterWhenInterrupted)
{
    HostBench bench;
    bench.WriteFile("job", JobBytes(5));
    bench.interruptAtMs = 2000;
    const CommandResult result =
        bench.Run({"print", "@job", "--trace", "@trace", "--port", "sim:error=24,error-at-card=2"});
    EXPECT_EQ(130, result.status);
    EXPECT_EQ(1u, CountOf(bench.ReadFile("trace"), "\"XC cancel the print\""));
    EXPECT_TRUE(Contains(result.out, "PrinterError=43\nDeviceError=24\nCardCount=101\n")) << result.out;
}

TEST(PrintOnTheSimulatedPrinter, KnowsThatASilentPrinterMayNotHavePrinted)
{
    HostBench bench;
    bench.WriteFile("job", JobBytes(1));
    EXPECT_EQ(1, bench.Run({"print", "@job", "--port", "sim:never-answer=1"}).status);
}

TEST(PrintIntoAFile, KeepsEveryByteOfAJobWithoutPackets)
{
    HostBench bench;
    const std::string bytes(100000, 'z');
    bench.WriteFile("job", bytes);
    const CommandResult result = bench.Run({"print", "@job", "--port", "file:@captured"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("", result.out) << "there is no printer whose values could be told";
    const std::string captured = bench.ReadFile("captured");
    EXPECT_EQ(0u, captured.find(bytes));
}

TEST(PrintOnATerminal, RewritesOneLineAndKeepsItsWidth)
{
    for (const bool colors : {false, true}) {
        HostBench bench;
        bench.terminal = true;
        bench.colors = colors;
        bench.columns = 30;
        bench.WriteFile("job", JobBytes(2));
        const CommandResult result = bench.Run({"print", "@job", "--port", "sim:error=83,clear-ms=3000"});
        EXPECT_EQ(0, result.status);
        EXPECT_EQ(colors, Contains(result.err, "\x1b[33mheld back: ribbon (error 83, category 21)\x1b[0m\n"));
        EXPECT_EQ(colors, Contains(result.err, "\x1b[3"));
        // What stands on the line between two erasures is either a message with its end or the progress.
        size_t progressLines = 0;
        const std::string erase = "\r\x1b[K";
        for (size_t at = result.err.find(erase); at != std::string::npos;) {
            const size_t begin = at + erase.size();
            at = result.err.find(erase, begin);
            const std::string shown = result.err.substr(begin, at - begin);
            const std::string last = shown.substr(shown.rfind('\n') + 1);
            EXPECT_LE(last.size(), 29u) << last;
            progressLines += last.find('%') != std::string::npos;
        }
        EXPECT_GE(progressLines, 3u);
        EXPECT_TRUE(result.err.ends_with("s\n") || result.err.ends_with("s\x1b[0m\n"))
            << "a progress line is left over";
    }
}

struct Moment {
    DWORD tick;
    DWORD taken;
    bool finishing;
    int category;       ///< 0: not published
    const char* reason; ///< part of it; empty: not held
    DWORD heldMs;
};

TEST(HoldWatch, TellsWhyAndSinceWhen)
{
    constexpr DWORD kStart = 0xFFFFFA00; // the tick count wraps on the way
    constexpr char kPause[] = "takes no more data";
    const Moment moments[] = {
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
    host::CHoldWatch watch(kStart);
    for (const Moment& moment : moments) {
        SCOPED_TRACE("at " + std::to_string(moment.tick));
        host::CPrintView view{moment.taken, 100, moment.finishing, {}};
        view.values.printerError = moment.category ? std::optional<int>(moment.category) : std::nullopt;
        watch.Update(kStart + moment.tick, view);
        EXPECT_EQ(*moment.reason == '\0', watch.Reason().empty()) << watch.Reason();
        EXPECT_TRUE(Contains(watch.Reason(), moment.reason)) << watch.Reason();
        EXPECT_EQ(moment.heldMs, watch.HeldMs(kStart + moment.tick));
    }
}

} // namespace
} // namespace zrtmon::test
