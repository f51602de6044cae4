// simulate: runs simulated print servers, each decided by a seed. See scripts/simulate.
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <list>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <unistd.h>

#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "tests/seeds/simulated_site.h"
#include "tests/seeds/simulation.h"
#include "tests/support/allocation.h"

namespace zrtmon::simulation {
namespace {

constexpr unsigned kRunLimitSeconds = 120; ///< real time: a run that hangs ends the process
constexpr uint64_t kWarmUpRuns = 8;        ///< allocate what a process allocates once and keeps
constexpr uint64_t kEnoughRuns = 1000;     ///< from this number on all rare events must have occurred

/// Events that some runs must have.
constexpr const char* kRare[] = {
    "answered",
    "busy",
    "not answered",
    "tail dropped",
    "job given up",
    "port closed",
    "document ended",
    "document refused",
    "piece dropped",
    "gate opened",
    "whole job",
    "port not opened",
    "closed under a document",
};

volatile uint64_t g_seed = 0;

void PrintReplay()
{
    std::cout << "seed " << g_seed << " failed; to replay: scripts/simulate --seed " << g_seed
              << " --runs 1 --verbose" << std::endl;
}

extern "C" void OnCrash(int signal)
{
    PrintReplay(); // not safe in a signal handler, but the process is lost anyway
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

struct Outcome {
    uint64_t virtualMs = 0;
    uint64_t hash = 0; ///< of every event in its order
    Counts counts;
    std::vector<std::string> broken; ///< rules that did not hold
};

/// What a process has open and allocated.
struct Holdings {
    uint64_t handles = OpenHandleCount();
    uint64_t blocks = GlobalBlockCount();
    uint64_t printers = spooler::OpenPrinterCount();
    uint64_t allocations = test::LiveAllocations();
};

void Run(CSimulation& simulation)
{
    std::list<CSimulatedSite> sites;
    for (uint32_t number = simulation.random.Between(1, 3); number > 0; --number) {
        sites.emplace_back(simulation, number);
    }
    bool isOver = false;
    CVirtualClock::CClockThread saboteur = simulation.Spawn([&] { simulation.Sabotage(isOver); });
    for (CSimulatedSite& site : sites) {
        site.Start();
    }
    for (CSimulatedSite& site : sites) {
        site.Join();
    }
    isOver = true;
    saboteur.Join();
    simulation.EndTroubles();
    for (CSimulatedSite& site : sites) {
        site.Finish();
    }
    simulation.journal.Note("end", 0, simulation.clock.Draws());
}

/// isVerbose: events are printed as they occur.
Outcome Simulate(uint64_t seed, bool isVerbose)
{
    g_seed = seed;
    alarm(kRunLimitSeconds);
    Outcome outcome;
    const Holdings before;
    const auto expectLeft = [&outcome](const char* what, uint64_t was, uint64_t is, uint64_t allowed) {
        if (is != was + allowed) {
            outcome.broken.push_back(std::string(what) + ": " + std::to_string(is - was) + " left, not " +
                                     std::to_string(allowed));
        }
    };
    {
        CSimulation simulation(seed, isVerbose);
        Run(simulation);
        outcome = {simulation.clock.Elapsed(), simulation.journal.Hash(), simulation.journal.Events(),
                   simulation.journal.Broken()};
        const Holdings now;
        expectLeft("handles", before.handles, now.handles, 0);
        expectLeft("blocks", before.blocks, now.blocks, simulation.blocksLeft);
        expectLeft("open printers", before.printers, now.printers, 0);
    }
    // The outcome's own allocations are counted, too: a node for each name.
    if (outcome.broken.empty()) {
        expectLeft("allocations", before.allocations, test::LiveAllocations(), outcome.counts.size());
    }
    return outcome;
}

struct Options {
    uint64_t seed = 1;
    uint64_t runs = 1;
    bool isVerbose = false;
    bool isTwice = false;
};

/// One run, or two that must be the same; false if a rule was broken.
bool RunSeed(uint64_t seed, const Options& options, Outcome& totals)
{
    Outcome outcome = Simulate(seed, options.isVerbose);
    if (options.isTwice && Simulate(seed, false).hash != outcome.hash) {
        outcome.broken.emplace_back("the same seed gave other events the second time");
    }
    totals.virtualMs += outcome.virtualMs;
    for (const auto& [event, count] : outcome.counts) {
        totals.counts[event] += count;
    }
    for (const std::string& text : outcome.broken) {
        std::cout << text << '\n';
    }
    if (!outcome.broken.empty()) {
        PrintReplay();
    }
    return outcome.broken.empty();
}

bool HasMetEverything(const Outcome& totals)
{
    bool all = true;
    for (const char* event : kRare) {
        if (!totals.counts.contains(event)) {
            std::cout << "never occurred: " << event << '\n';
            all = false;
        }
    }
    return all;
}

int Main(const Options& options)
{
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGALRM}) {
        std::signal(signal, OnCrash);
    }
    for (uint64_t seed = 0; seed < kWarmUpRuns; ++seed) {
        Simulate(seed, false);
    }
    Outcome totals;
    for (uint64_t run = 0; run < options.runs; ++run) {
        if (!RunSeed(options.seed + run, options, totals)) {
            return EXIT_FAILURE;
        }
    }
    const uint64_t events = std::accumulate(totals.counts.begin(), totals.counts.end(), uint64_t{0},
                                            [](uint64_t sum, const auto& row) { return sum + row.second; });
    std::cout << options.runs << " runs, " << static_cast<double>(totals.virtualMs) / 3.6e6
              << " simulated hours, " << events << " events\n";
    if (options.isVerbose || options.isTwice) {
        for (const auto& [event, count] : totals.counts) {
            std::cout << std::setw(12) << count << "  " << event << '\n';
        }
    }
    return options.runs < kEnoughRuns || HasMetEverything(totals) ? EXIT_SUCCESS : EXIT_FAILURE;
}

bool ReadNumber(std::string_view text, uint64_t& number)
{
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && last == end;
}

/// False when an argument is unknown, or a number is missing or invalid.
bool ReadArguments(std::span<char*> arguments, Options& options)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view name = arguments[i];
        if (name == "--verbose") {
            options.isVerbose = true;
        } else if (name == "--twice") {
            options.isTwice = true;
        } else if (name == "--seed" || name == "--runs") {
            uint64_t& number = name == "--seed" ? options.seed : options.runs;
            if (++i == arguments.size() || !ReadNumber(arguments[i], number)) {
                return false;
            }
        } else {
            return false;
        }
    }
    return true;
}

} // namespace
} // namespace zrtmon::simulation

int main(int argc, char** argv)
{
    zrtmon::simulation::Options options;
    if (!zrtmon::simulation::ReadArguments(std::span(argv, static_cast<size_t>(argc)).subspan(1), options)) {
        std::cerr
            << "simulate [--seed N] [--runs N] [--verbose] [--twice]: N runs from seed N (1 of each by "
               "default); "
               "--verbose prints their events, --twice runs each seed twice and expects the same events\n";
        return 64;
    }
    return zrtmon::simulation::Main(options);
}
