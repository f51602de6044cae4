// Compares zrtctl print with other programs that send a file to the same printer, and measures queries on the
// network.
//
//   zrtmon_transfer_bench FOLDER [--short | --long]
//
// FOLDER takes the files; it is emptied of them. Exit status 1 if memory, which does not depend on the
// machine, misses its target, or something does not run.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/child_process.h"
#include "bench/network_queries.h"
#include "bench/printer_sink.h"

namespace zrtmon::bench {
namespace {

constexpr uint64_t kMib = uint64_t{1} << 20;
constexpr double kMostPeakMib = 20;
constexpr const char* kCupsBackend = "/usr/lib/cups/backend/socket";

struct Scale {
    uint64_t bytes;
    int rounds;
    uint64_t largeBytes; ///< of the file whose printing must need no more memory; 0: not measured
    int cards;           ///< of the job beside which queries run
};
constexpr Scale kUsual{256 * kMib, 9, 0, 60};
constexpr Scale kShort{16 * kMib, 1, 0, 6};
constexpr Scale kLong{256 * kMib, 9, 2048 * kMib, 60};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// All rounds of one program.
struct Rounds {
    std::vector<double> mibPerSecond; ///< as the sink saw it; empty for programs that write elsewhere
    std::vector<double> processorSeconds;
    std::vector<double> peakMib;
};

struct Program {
    std::string name;
    std::vector<std::string> command;
    std::string environment;
    bool usesSink = true;
};

class CTransferBench {
public:
    CTransferBench(std::filesystem::path folder, const Scale& scale)
        : m_folder(std::move(folder)), m_scale(scale), m_job(m_folder / "unframed.prn")
    {
        std::filesystem::create_directories(m_folder);
        WriteJob();
    }
    ~CTransferBench()
    {
        std::error_code ignored;
        for (const char* name : {"unframed.prn", "large.prn", "copied.prn", "captured.prn"}) {
            std::filesystem::remove(m_folder / name, ignored);
        }
    }
    CTransferBench(const CTransferBench&) = delete;
    CTransferBench& operator=(const CTransferBench&) = delete;

    void MeasurePrograms()
    {
        const std::vector<Program> programs = Programs();
        for (int round = 0; round < m_scale.rounds; ++round) {
            for (const Program& program : programs) {
                Measure(program, m_scale.bytes);
            }
        }
        if (m_scale.largeBytes > 0) {
            const std::filesystem::path large = m_folder / "large.prn";
            std::ofstream(large).close();
            std::filesystem::resize_file(large, m_scale.largeBytes); // zeros that take no room
            Program program = Zrtctl("large", "tcp:127.0.0.1:" + m_sink.Port());
            program.command[2] = large.string();
            Measure(program, m_scale.largeBytes);
        }
    }

    void MeasureQueries()
    {
        m_idleMs = QueryTimesOnAnIdlePort(m_scale.rounds * 4);
        m_busyMs = QueryTimesBesideAJob(m_scale.cards);
    }

    /// False if a target for memory is missed.
    bool Print() const
    {
        std::printf("\n| program | MiB/s | processor seconds | peak memory, MiB |\n|---|---|---|---|\n");
        for (const auto& [name, rounds] : m_rounds) {
            std::printf("| %s | %.0f | %.3f | %.1f |\n", name.c_str(),
                        rounds.mibPerSecond.empty() ? 0.0 : Median(rounds.mibPerSecond),
                        Median(rounds.processorSeconds), Median(rounds.peakMib));
        }
        std::printf("\n| figure | measured | target | |\n|---|---|---|---|\n");
        const auto speed = [&](const char* name) { return Median(m_rounds.at(name).mibPerSecond); };
        const auto time = [&](const char* name) { return Median(m_rounds.at(name).processorSeconds); };
        AtLeast("throughput over tcp:, times the plain loop's", speed("tcp") / speed("plain loop"), 0.9);
        AtMost("processor time over tcp:, times the plain loop's", time("tcp") / time("plain loop"), 1.5);
        if (m_rounds.contains("CUPS")) {
            AtMost("processor time over tcp:, times the CUPS backend's", time("tcp") / time("CUPS"), 1);
        }
        AtMost("processor time to file:, times dd's", time("file") / time("dd"), 1.5);
        AtMost("processor time to sim:, times dd's", time("sim") / time("dd"), 1.5);
        AtMost("query on an idle network port, ms, 95th percentile", Percentile95(m_idleMs), 300);
        AtMost("query beside a job, ms, 95th percentile", Percentile95(m_busyMs), 900);
        bool isSmall = true;
        for (const char* name : {"tcp", "file", "sim", "large"}) {
            if (m_rounds.contains(name)) {
                const std::string what = std::string("peak memory, ") + name + ", MiB";
                isSmall = AtMost(what.c_str(), Median(m_rounds.at(name).peakMib), kMostPeakMib) && isSmall;
            }
        }
        return isSmall;
    }

private:
    static void Row(const char* what, double figure, const char* relation, double target, bool isMet)
    {
        std::printf("| %s | %.3g | %s %g | %s |\n", what, figure, relation, target, isMet ? "met" : "missed");
    }
    static bool AtMost(const char* what, double figure, double target)
    {
        Row(what, figure, "at most", target, figure <= target);
        return figure <= target;
    }
    static void AtLeast(const char* what, double figure, double target)
    {
        Row(what, figure, "at least", target, figure >= target);
    }
    static double Percentile95(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        return values[values.size() * 95 / 100];
    }

    /// Printable bytes, which are neither packets nor commands.
    void WriteJob() const
    {
        constexpr char kFirst = ' ';
        constexpr int kPrintable = 95;
        std::string piece(kMib, '\0');
        for (size_t i = 0; i < piece.size(); ++i) {
            piece[i] = static_cast<char>(kFirst + i % kPrintable);
        }
        std::ofstream file(m_job, std::ios::binary);
        for (uint64_t written = 0; written < m_scale.bytes; written += piece.size()) {
            file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        }
    }

    Program Zrtctl(const std::string& name, const std::string& port) const
    {
        return {
            name, {ZRTCTL, "print", m_job.string(), "--port", port}, {}, name == "tcp" || name == "large"};
    }

    std::vector<Program> Programs() const
    {
        std::vector<Program> programs{
            {"plain loop", {PLAIN_COPY, m_job.string(), m_sink.Port()}, {}, true},
            Zrtctl("tcp", "tcp:127.0.0.1:" + m_sink.Port()),
            {"dd",
             {"dd", "if=" + m_job.string(), "of=" + (m_folder / "copied.prn").string(), "bs=64k"},
             {},
             false},
            Zrtctl("file", "file:" + (m_folder / "captured.prn").string()),
            Zrtctl("sim", "sim:"),
        };
        if (std::filesystem::exists(kCupsBackend)) {
            programs.push_back({"CUPS",
                                {kCupsBackend, "1", "user", "title", "1", "", m_job.string()},
                                "DEVICE_URI=socket://127.0.0.1:" + m_sink.Port(),
                                true});
        }
        return programs;
    }

    void Measure(const Program& program, uint64_t bytes)
    {
        m_sink.Expect(bytes);
        const ProcessCost cost =
            RunProgram(program.command, (m_folder / "output.txt").string(), program.environment);
        Rounds& rounds = m_rounds[program.name];
        rounds.processorSeconds.push_back(cost.processorSeconds);
        rounds.peakMib.push_back(cost.peakMiB);
        if (!program.usesSink) {
            return;
        }
        const Received received = m_sink.Largest();
        if (received.seconds == 0) {
            throw std::runtime_error(program.name + ": the printer received " +
                                     std::to_string(received.bytes) + " bytes, not " + std::to_string(bytes));
        }
        rounds.mibPerSecond.push_back(static_cast<double>(bytes) / static_cast<double>(kMib) /
                                      received.seconds);
    }

    std::filesystem::path m_folder;
    Scale m_scale;
    std::filesystem::path m_job;
    CPrinterSink m_sink;
    std::map<std::string, Rounds> m_rounds;
    std::vector<double> m_idleMs;
    std::vector<double> m_busyMs;
};

} // namespace
} // namespace zrtmon::bench

int main(int argumentCount, char** arguments)
{
    using namespace zrtmon::bench;
    const std::string mode = argumentCount > 2 ? arguments[2] : "";
    if (argumentCount < 2 || argumentCount > 3 || (!mode.empty() && mode != "--short" && mode != "--long")) {
        std::fputs("usage: zrtmon_transfer_bench FOLDER [--short | --long]\n", stderr);
        return 64;
    }
    try {
        CTransferBench bench(arguments[1], mode == "--short" ? kShort : mode == "--long" ? kLong : kUsual);
        bench.MeasurePrograms();
        bench.MeasureQueries();
        return bench.Print() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zrtmon_transfer_bench: %s\n", error.what());
        return 1;
    }
}
