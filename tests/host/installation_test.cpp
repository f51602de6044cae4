// zrtctl install, uninstall and doctor.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/host/host_bench.h"

namespace zrtmon::test {
namespace {

/// A print system that does as the real one, or refuses with an error.
class FakePrintSystem final : public IPrintSystem {
public:
    DWORD error = ERROR_SUCCESS;
    bool keepsQuiet = false; ///< takes a monitor and does not list it
    std::vector<CMonitorEntry> monitors;

    DWORD AddMonitor(const std::wstring& name, const std::wstring& library) override
    {
        if (error == ERROR_SUCCESS && !keepsQuiet) {
            monitors.push_back({name, L"Windows x64", library});
        }
        return error;
    }
    DWORD RemoveMonitor(const std::wstring& name) override
    {
        const auto isNamed = [&name](const CMonitorEntry& entry) { return entry.name == name; };
        return error ? error : std::erase_if(monitors, isNamed) ? ERROR_SUCCESS : ERROR_UNKNOWN_PRINT_MONITOR;
    }
    DWORD ListMonitors(std::vector<CMonitorEntry>* list) override
    {
        *list = monitors;
        return error;
    }
    std::vector<CFinding> Examine(const std::wstring&, const std::string& target) override
    {
        return {{"system", "a test", ""}, {"printer", target.empty() ? "any" : target, ""}};
    }
};

/// A character device that no machine lacks and that is no printer.
class PseudoTerminal {
public:
    PseudoTerminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        EXPECT_EQ(0, grantpt(m_master));
        EXPECT_EQ(0, unlockpt(m_master));
    }
    ~PseudoTerminal() { close(m_master); }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    std::string Path() const { return ptsname(m_master); }

private:
    int m_master;
};

TEST(Installation, RegistersAndTakesAway)
{
    HostBench bench;
    FakePrintSystem system;
    bench.printSystem = &system;
    EXPECT_EQ(1, bench.Run({"doctor"}).status) << "not registered";
    const CommandResult done = bench.Run({"install"});
    EXPECT_EQ(0, done.status) << done.err;
    EXPECT_EQ("registered \"ZRT Card Printer Monitor\" with zrtmon.dll for Windows x64; nothing was copied\n",
              done.out);
    const CommandResult doctor = bench.Run({"doctor", "--json", "Cards"});
    EXPECT_EQ(0, doctor.status);
    const auto rows = nlohmann::json::parse(doctor.out);
    EXPECT_EQ("zrtmon.dll for Windows x64", rows.at(2).at("value"));
    EXPECT_EQ("Cards", rows.at(3).at("value"));
    EXPECT_EQ(0, bench.Run({"uninstall"}).status);
    EXPECT_TRUE(system.monitors.empty());
    EXPECT_EQ(66, bench.Run({"uninstall"}).status);
    system.keepsQuiet = true;
    EXPECT_EQ(69, bench.Run({"install"}).status);
}

TEST(Installation, SaysInALineWhyNot)
{
    struct Row {
        DWORD error;
        int status;
        const char* words;
    };
    for (const Row& row : {Row{5, 77, "elevated prompt (error 5)"}, Row{50, 69, "no language monitors"},
                           Row{126, 66, "copy it there first"}, Row{193, 65, "x64 or x86"},
                           Row{216, 69, "use the x64 package"}, Row{1722, 69, "Print Spooler"},
                           Row{3006, 75, "uninstall it first"}, Row{3008, 75, "a printer uses"},
                           Row{4711, 69, "zrtctl: install zrtmon.dll: error 4711"}}) {
        HostBench bench;
        FakePrintSystem system;
        system.error = row.error;
        bench.printSystem = &system;
        const CommandResult result = bench.Run({"install"});
        EXPECT_EQ(row.status, result.status) << row.error;
        EXPECT_NE(std::string::npos, result.err.find(row.words)) << result.err;
        EXPECT_EQ(1u, Lines(result.err).size());
    }
}

TEST(Doctor, TellsOfThisMachineAndThePortBehindTheLibrary)
{
    struct Row {
        std::vector<std::string> arguments;
        int status;
        std::vector<std::string> lines; ///< parts of the answer, in order
    };
    const PseudoTerminal terminal;
    const std::string node = terminal.Path();
    for (const Row& row :
         {Row{{"doctor", node}, 1, {"zrtctl ", "system ", "device ", node, ", mode 06", "no USB printer"}},
          Row{{"doctor", "@missing"}, 1, {"@missing: No such file", "switch it on"}},
          Row{{"doctor", "@"}, 1, {"no character device", "name the printer's"}},
          Row{{"doctor", node, "--port", "sim:serial=AB1"}, 1, {"opens", "device ID", "SN:AB1;", "status"}},
          Row{{"doctor", node, "--port", "sim:error=83"}, 1, {"opens", "status", "see to the printer"}},
          Row{{"doctor", node, "--library", "@none.so"},
              1,
              {"port sim:", "does not open", "cannot be loaded"}}}) {
        HostBench bench;
        bench.printSystem = &MachinePrintSystem();
        const CommandResult result = bench.Run(row.arguments);
        EXPECT_EQ(row.status, result.status) << result.err;
        size_t from = 0;
        for (std::string line : row.lines) {
            const size_t at = line.find('@');
            if (at != std::string::npos) {
                line.replace(at, 1, (bench.Folder() / "").string());
            }
            from = result.out.find(line, from);
            EXPECT_NE(std::string::npos, from) << line << " in\n" << result.out;
        }
    }
}

} // namespace
} // namespace zrtmon::test
