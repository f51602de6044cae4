// Runs the benchmarks and compares the figures that matter with their targets.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Run = benchmark::BenchmarkReporter::Run;
using Rounds = std::vector<Run>; ///< of one benchmark; at least one
using Runs = std::map<std::string, Rounds>;

/// How a figure is computed from one run, or from two.
enum class Measure {
    TimesTheSpeed, ///< bytes per second of the run, divided by those of the base
    GigabytesPerSecond,
    Microseconds,
    MoreProcessorMicroseconds, ///< processor time of the run beyond that of the base
    MicrosecondsEach,          ///< wall time of each of the run's items
    Counter,                   ///< the counter that base names, the median of all rounds
};

struct Goal {
    const char* what;
    Measure measure;
    const char* run;
    const char* base;
    double target;
    bool isRepeatable; ///< the same on every machine and under every load: a miss fails the program
};

constexpr Goal kGoals[] = {
    {"64 KiB writes through the library, % more than the copy below", Measure::Counter, "carry/65536",
     "more_percent", 3, false},
    {"4 KiB writes through the library, % more than the copy below", Measure::Counter, "carry/4096",
     "more_percent", 15, false},
    {"the same in the processor's cache, 64 KiB, %", Measure::Counter, "carry_cached/65536", "more_percent",
     3, false},
    {"the same in the processor's cache, 4 KiB, %", Measure::Counter, "carry_cached/4096", "more_percent", 15,
     false},
    {"allocations in 64 KiB writes", Measure::Counter, "carry/65536", "allocations", 0, true},
    {"bytes copied in 64 KiB writes", Measure::Counter, "carry/65536", "copied_bytes", 0, true},
    {"scanner on records, times memchr", Measure::TimesTheSpeed, "scan/records", "memchr/records", 1, false},
    {"scanner on plain runs, times memchr", Measure::TimesTheSpeed, "scan/plain", "memchr/plain", 0.5, false},
    {"scanner on random bytes, GB/s", Measure::GigabytesPerSecond, "scan/noise", "", 1, false},
    {"scanner on escapes, GB/s", Measure::GigabytesPerSecond, "scan/escapes", "", 1, false},
    {"scanner on half prefixes, GB/s", Measure::GigabytesPerSecond, "scan/half_prefixes", "", 1, false},
    {"scanner on commands back to back, GB/s", Measure::GigabytesPerSecond, "scan/commands", "", 1, false},
    {"scanner on empty messages back to back, GB/s", Measure::GigabytesPerSecond, "scan/messages", "", 1,
     false},
    {"processor time of a query whose waits take no time, us", Measure::MicrosecondsEach, "ports/query/1", "",
     20, false},
    {"the same in real time, beyond that of a wait alone, us", Measure::MoreProcessorMicroseconds,
     "query/alone", "query/delay_alone", 20, false},
    {"wall time of a query beyond its waits, us", Measure::Microseconds, "query/alone", "", 2000, false},
    {"the same with 16 threads querying, us", Measure::Microseconds, "query/16_threads", "", 2000, false},
    {"throughput of a job lost while 16 threads query, %", Measure::Counter, "carry_beside_queries",
     "lost_percent", 10, false},
    {"memory of an idle port, bytes", Measure::Counter, "ports/memory/1000", "idle_bytes", 4096, true},
    {"memory of a port with every request, bytes", Measure::Counter, "ports/memory/1000",
     "all_requests_bytes", 65536, true},
};

bool NeedsBase(Measure measure)
{
    return measure == Measure::TimesTheSpeed || measure == Measure::MoreProcessorMicroseconds;
}

bool IsAtLeast(Measure measure)
{
    return measure == Measure::TimesTheSpeed || measure == Measure::GigabytesPerSecond;
}

/// The best round represents a run: other load on the machine only adds to it.
const Run& Fastest(const Rounds& rounds)
{
    return *std::min_element(rounds.begin(), rounds.end(), [](const Run& left, const Run& right) {
        return left.GetAdjustedRealTime() < right.GetAdjustedRealTime();
    });
}

/// Prints the fastest round of each benchmark, and keeps all rounds under its plain name.
class CKeepingReporter final : public benchmark::ConsoleReporter {
public:
    CKeepingReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& reports) override
    {
        Rounds rounds;
        std::copy_if(reports.begin(), reports.end(), std::back_inserter(rounds),
                     [](const Run& run) { return run.run_type == Run::RT_Iteration && !run.error_occurred; });
        if (rounds.empty()) { // aggregates or errors
            ConsoleReporter::ReportRuns(reports);
            return;
        }
        ConsoleReporter::ReportRuns({Fastest(rounds)});
        const auto& name = rounds.front().run_name;
        runs[name.args.empty() ? name.function_name : name.function_name + '/' + name.args] =
            std::move(rounds);
    }

    Runs runs;
};

double CounterOf(const Run& run, const char* name)
{
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? NAN : double{found->second};
}

double MedianCounter(const Rounds& rounds, const char* name)
{
    std::vector<double> values;
    std::transform(rounds.begin(), rounds.end(), std::back_inserter(values),
                   [name](const Run& run) { return CounterOf(run, name); });
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double Speed(const Rounds& rounds) { return CounterOf(Fastest(rounds), "bytes_per_second"); }

double Microseconds(double adjustedTime, const Run& run)
{
    return adjustedTime / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e6;
}

/// The least of all rounds.
double ProcessorMicroseconds(const Rounds& rounds)
{
    double least = INFINITY;
    for (const Run& run : rounds) {
        least = std::min(least, Microseconds(run.GetAdjustedCPUTime(), run));
    }
    return least;
}

double FigureOf(const Goal& goal, const Rounds& rounds, const Rounds* base)
{
    switch (goal.measure) {
    case Measure::TimesTheSpeed:
        return Speed(rounds) / Speed(*base);
    case Measure::GigabytesPerSecond:
        return Speed(rounds) / 1e9;
    case Measure::Microseconds:
        return Microseconds(Fastest(rounds).GetAdjustedRealTime(), Fastest(rounds));
    case Measure::MoreProcessorMicroseconds:
        return ProcessorMicroseconds(rounds) - ProcessorMicroseconds(*base);
    case Measure::MicrosecondsEach:
        return 1e6 / CounterOf(Fastest(rounds), "items_per_second");
    default:
        return MedianCounter(rounds, goal.base);
    }
}

/// std::nullopt if a run that the figure needs was not made.
std::optional<double> Figure(const Goal& goal, const Runs& runs)
{
    const auto run = runs.find(goal.run);
    const auto base = runs.find(goal.base);
    const bool needsBase = NeedsBase(goal.measure);
    if (run == runs.end() || (needsBase && base == runs.end())) {
        return std::nullopt;
    }
    return FigureOf(goal, run->second, needsBase ? &base->second : nullptr);
}

/// False if a repeatable goal is missed, or its run was not made.
bool PrintGoals(const Runs& runs)
{
    bool areMet = true;
    std::printf("\n| figure | measured | target | |\n|---|---|---|---|\n");
    for (const Goal& goal : kGoals) {
        const std::optional<double> figure = Figure(goal, runs);
        const bool atLeast = IsAtLeast(goal.measure);
        const bool isMet = figure && (atLeast ? *figure >= goal.target : *figure <= goal.target);
        std::printf("| %s | %.3g | %s %g | %s |\n", goal.what, figure.value_or(NAN),
                    atLeast ? "at least" : "at most", goal.target,
                    isMet    ? "met"
                    : figure ? "missed"
                             : "not run");
        areMet = areMet && (isMet || !goal.isRepeatable);
    }
    return areMet;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) {
        return 64;
    }
    CKeepingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return PrintGoals(reporter.runs) ? 0 : 1;
}
