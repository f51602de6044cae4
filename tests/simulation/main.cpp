// simulate: runs of the print server, each decided by a seed. See scripts/simulate.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "tests/simulation/simulation.h"

namespace zrtmon::simulation {
namespace {

constexpr unsigned kRunLimitSeconds = 120; ///< real ones: a run that hangs ends the process
constexpr uint64_t kWarmUpRuns = 8;        ///< make what a process makes once and keeps
constexpr uint64_t kEnoughRuns = 200;      ///< from here on everything rare must have happened

/// What a run is meant to meet now and then.
constexpr const char* kRare[] = {
    "answered",
    "busy",
    "not answered",
    "tail dropped",
    "job given up",
    "port closed",
    "document ended",
    "document refused",
    "closed under a document",
    "gate opened",
    "whole job",
    "port not opened",
};

volatile uint64_t g_seed = 0;

void PrintReplay(uint64_t seed)
{
    std::printf("seed %llu broke; to replay: scripts/simulate --seed %llu --runs 1 --tell\n",
                static_cast<unsigned long long>(seed), static_cast<unsigned long long>(seed));
    std::fflush(stdout);
}

extern "C" void OnCrash(int signal)
{
    PrintReplay(g_seed); // not safe here by the book, but the process is lost anyway
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

struct Options {
    uint64_t seed = 1;
    uint64_t runs = 1;
    bool isTold = false;
    bool isTwice = false;
};

struct Totals {
    uint64_t runs = 0;
    uint64_t virtualMs = 0;
    uint64_t events = 0;
    std::map<std::string_view, uint64_t> counts;
};

/// One run, or two that must be the same; false when something broke.
bool RunSeed(uint64_t seed, const Options& options, Totals& totals)
{
    g_seed = seed;
    alarm(kRunLimitSeconds);
    Outcome outcome = Simulate(seed, options.isTold);
    if (options.isTwice && Simulate(seed, false).hash != outcome.hash) {
        outcome.broken.emplace_back("the same seed did something else the second time");
    }
    ++totals.runs;
    totals.virtualMs += outcome.virtualMs;
    for (const auto& [event, count] : outcome.counts) {
        totals.events += count;
        totals.counts[event] += count;
    }
    for (const std::string& text : outcome.broken) {
        std::printf("%s\n", text.c_str());
    }
    if (!outcome.broken.empty()) {
        PrintReplay(seed);
    }
    return outcome.broken.empty();
}

bool HasMetEverything(const Totals& totals)
{
    bool all = true;
    for (const char* event : kRare) {
        if (!totals.counts.contains(event)) {
            std::printf("in %llu runs there was never: %s\n", static_cast<unsigned long long>(totals.runs),
                        event);
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
        g_seed = seed;
        Simulate(seed, false);
    }
    Totals totals;
    for (uint64_t run = 0; run < options.runs; ++run) {
        if (!RunSeed(options.seed + run, options, totals)) {
            return EXIT_FAILURE;
        }
    }
    std::printf("%llu runs, %.1f simulated hours, %llu events\n",
                static_cast<unsigned long long>(totals.runs), static_cast<double>(totals.virtualMs) / 3.6e6,
                static_cast<unsigned long long>(totals.events));
    if (options.isTold || options.isTwice) {
        for (const auto& [event, count] : totals.counts) {
            std::printf("%12llu  %s\n", static_cast<unsigned long long>(count), std::string(event).c_str());
        }
    }
    return totals.runs < kEnoughRuns || HasMetEverything(totals) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace
} // namespace zrtmon::simulation

int main(int argc, char** argv)
{
    zrtmon::simulation::Options options;
    CLI::App app("Simulated print servers, each decided by a seed");
    app.add_option("--seed", options.seed, "of the first run; the next has the next number");
    app.add_option("--runs", options.runs);
    app.add_flag("--tell", options.isTold, "print the events of every run");
    app.add_flag("--twice", options.isTwice, "run each seed twice and expect the same events");
    CLI11_PARSE(app, argc, argv);
    return zrtmon::simulation::Main(options);
}
