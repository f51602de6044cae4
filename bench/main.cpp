// Runs the benchmarks and holds the figures that matter against what is wanted of them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using Runs = std::map<std::string, benchmark::BenchmarkReporter::Run>;

/// How a figure is made of one run, or of two of them.
enum class Measure {
    MorePercent,   ///< time of the run beyond that of the base, in percent of it
    LessPercent,   ///< bytes per second of the run that are missing to those of the base, in percent of them
    TimesTheSpeed, ///< bytes per second of the run, in those of the base
    GigabytesPerSecond,
    Microseconds,
    MoreProcessorMicroseconds, ///< processor time of the run beyond that of the base
    MicrosecondsEach,          ///< wall time of each of the run's items
    Counter,                   ///< the counter that base names
};

struct Goal {
    const char* what;
    Measure measure;
    const char* run;
    const char* base;
    double wanted;
    bool isRepeatable; ///< the same on every machine and under every load: a miss fails the program
};

constexpr Goal kGoals[] = {
    {"64 KiB writes through the library, % more than the copy below", Measure::MorePercent,
     "carry/library/65536", "carry/lower/65536", 3, false},
    {"4 KiB writes through the library, % more than the copy below", Measure::MorePercent,
     "carry/library/4096", "carry/lower/4096", 15, false},
    {"the same in the processor's cache, 64 KiB, %", Measure::MorePercent, "carry_cached/library/65536",
     "carry_cached/lower/65536", 3, false},
    {"the same in the processor's cache, 4 KiB, %", Measure::MorePercent, "carry_cached/library/4096",
     "carry_cached/lower/4096", 15, false},
    {"allocations in 64 KiB writes", Measure::Counter, "carry/library/65536", "allocations", 0, true},
    {"bytes copied in 64 KiB writes", Measure::Counter, "carry/library/65536", "copied_bytes", 0, true},
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
    {"the same with 16 threads asking, us", Measure::Microseconds, "query/16_threads", "", 2000, false},
    {"throughput of a job lost beside 16 threads asking, %", Measure::LessPercent, "carry_beside/queries/16",
     "carry_beside/queries/0", 10, false},
    {"memory of an idle port, bytes", Measure::Counter, "ports/memory/1000", "idle_bytes", 4096, true},
    {"memory of a port with every request, bytes", Measure::Counter, "ports/memory/1000",
     "all_requests_bytes", 65536, true},
};

bool NeedsBase(Measure measure)
{
    return measure == Measure::MorePercent || measure == Measure::LessPercent ||
           measure == Measure::TimesTheSpeed || measure == Measure::MoreProcessorMicroseconds;
}

bool IsAtLeast(Measure measure)
{
    return measure == Measure::TimesTheSpeed || measure == Measure::GigabytesPerSecond;
}

/// Keeps the runs, each under its plain name: the median where there were repetitions.
class KeepingReporter final : public benchmark::ConsoleReporter {
public:
    KeepingReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& reports) override
    {
        ConsoleReporter::ReportRuns(reports);
        for (const Run& run : reports) {
            if (!run.error_occurred &&
                (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")) {
                runs[run.run_name.function_name +
                     (run.run_name.args.empty() ? "" : "/" + run.run_name.args)] = run;
            }
        }
    }

    Runs runs;
};

double CounterOf(const benchmark::BenchmarkReporter::Run& run, const char* name)
{
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? 0 : found->second.value;
}

double BytesPerSecond(const benchmark::BenchmarkReporter::Run& run)
{
    return CounterOf(run, "bytes_per_second");
}

double Microseconds(double adjustedTime, const benchmark::BenchmarkReporter::Run& run)
{
    return adjustedTime / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e6;
}

double FigureOf(const Goal& goal, const benchmark::BenchmarkReporter::Run& run,
                const benchmark::BenchmarkReporter::Run* base)
{
    switch (goal.measure) {
    case Measure::MorePercent:
        return (BytesPerSecond(*base) / BytesPerSecond(run) - 1) * 100;
    case Measure::LessPercent:
        return (1 - BytesPerSecond(run) / BytesPerSecond(*base)) * 100;
    case Measure::TimesTheSpeed:
        return BytesPerSecond(run) / BytesPerSecond(*base);
    case Measure::GigabytesPerSecond:
        return BytesPerSecond(run) / 1e9;
    case Measure::Microseconds:
        return Microseconds(run.GetAdjustedRealTime(), run);
    case Measure::MoreProcessorMicroseconds:
        return Microseconds(run.GetAdjustedCPUTime(), run) - Microseconds(base->GetAdjustedCPUTime(), *base);
    case Measure::MicrosecondsEach:
        return 1e6 / CounterOf(run, "items_per_second");
    default:
        return CounterOf(run, goal.base);
    }
}

/// Nothing when a run that the figure needs was not made.
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

/// False when a repeatable goal is missed.
bool PrintGoals(const Runs& runs)
{
    bool isHeld = true;
    std::printf("\n| figure | measured | wanted | |\n|---|---|---|---|\n");
    for (const Goal& goal : kGoals) {
        const std::optional<double> figure = Figure(goal, runs);
        if (!figure) {
            continue;
        }
        const bool atLeast = IsAtLeast(goal.measure);
        const bool isMet = atLeast ? *figure >= goal.wanted : *figure <= goal.wanted;
        std::printf("| %s | %.3g | %s %g | %s |\n", goal.what, *figure, atLeast ? "at least" : "at most",
                    goal.wanted, isMet ? "held" : "missed");
        isHeld = isHeld && (isMet || !goal.isRepeatable);
    }
    return isHeld;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) {
        return 64;
    }
    KeepingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return PrintGoals(reporter.runs) ? 0 : 1;
}
