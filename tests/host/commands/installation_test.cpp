// zrtctl install, uninstall and doctor.
#include <pty.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "devices/device_ports.h"
#include "tests/host/support/flat_json.h"
#include "tests/host/support/host_fixture.h"

namespace zrtmon::test {
namespace {

/// A print system that does as the real one, or refuses with an error.
class CFakePrintSystem final : public IPrintSystem {
public:
    DWORD error = ERROR_SUCCESS;
    DWORD listError = ERROR_SUCCESS;
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
    bool IsMappedDrive(const std::wstring& path) override { return path.starts_with(L"/mapped/"); }
    DWORD ListMonitors(std::vector<CMonitorEntry>* list) override
    {
        *list = monitors;
        return error ? error : listError;
    }
    std::vector<CDiagnostic> Examine(const std::wstring&, const std::string& target) override
    {
        return {{"system", "a test", ""}, {"printer", target.empty() ? "any" : target, ""}};
    }
};

/// Writes down what it is asked.
class CFakeSpoolerSetup final : public ISpoolerSetup {
public:
    DWORD error = ERROR_SUCCESS;
    std::wstring calls;

    DWORD CheckUnused(const std::wstring& monitor) override { return Note(L"unused " + monitor); }
    DWORD CheckIdle() override { return Note(L"idle"); }
    DWORD StopSpooler() override { return Note(L"stop"); }
    DWORD StartSpooler() override { return Note(L"start"); }

private:
    DWORD Note(const std::wstring& call)
    {
        calls += call;
        return error;
    }
};

struct CInstallationFixture : CHostFixture {
    CInstallationFixture()
    {
        printSystem = &system;
        spoolerSetup = &setup;
    }

    CFakePrintSystem system;
    CFakeSpoolerSetup setup;
};

TEST(Installation, RegistersAndTakesAway)
{
    CInstallationFixture fixture;
    EXPECT_EQ(1, fixture.Run("doctor").status) << "not registered";
    const CCommandResult done = fixture.Run("install");
    EXPECT_EQ(0, done.status) << done.err;
    EXPECT_EQ("registered \"ZRT Card Printer Monitor\" with zrtmon.dll for Windows x64; nothing was copied\n",
              done.out);
    const CCommandResult doctor = fixture.Run("doctor --json Cards");
    EXPECT_EQ(0, doctor.status);
    auto rows = FlatJson(doctor.out);
    EXPECT_EQ("zrtmon.dll for Windows x64", rows["/2/value"]);
    EXPECT_EQ("Cards", rows["/3/value"]);
    EXPECT_EQ(0, fixture.Run("uninstall").status);
    EXPECT_TRUE(fixture.system.monitors.empty());
    EXPECT_EQ(66, fixture.Run("uninstall").status);
    fixture.system.keepsQuiet = true;
    EXPECT_EQ(69, fixture.Run("install").status);
}

TEST(Installation, AListThatCannotBeReadIsNotAnEmptyOne)
{
    CInstallationFixture fixture;
    fixture.system.listError = RPC_S_SERVER_UNAVAILABLE;
    const CCommandResult install = fixture.Run("install");
    EXPECT_EQ(69, install.status);
    EXPECT_TRUE(Shows(install.err, "accepted it, but...cannot be listed...(system error 1722)"));
    const CCommandResult doctor = fixture.Run("doctor --json");
    EXPECT_EQ(1, doctor.status);
    auto rows = FlatJson(doctor.out);
    EXPECT_TRUE(Shows(rows["/2/value"], "not running"));
    EXPECT_TRUE(Shows(rows["/2/advice"], "start the service"));
}

TEST(Installation, SaysInALineWhyNot)
{
    const struct {
        DWORD error;
        int status;
        const char* words;
    } refusals[] = {{5, 77, "elevated prompt (system error 5)"},
                    {50, 69, "no language monitors"},
                    {126, 66, "copy it there first"},
                    {193, 65, "x64 or x86"},
                    {216, 69, "use the x64 package"},
                    {1722, 69, "Print Spooler"},
                    {3006, 75, "uninstall it first"},
                    {3008, 75, "a printer uses"},
                    {4711, 69, "zrtctl: install zrtmon.dll: system error 4711"}};
    for (const auto& row : refusals) {
        CInstallationFixture fixture;
        fixture.system.error = row.error;
        const CCommandResult result = fixture.Run("install");
        EXPECT_EQ(row.status, result.status) << row.error;
        EXPECT_TRUE(Shows(result.err, row.words));
        EXPECT_EQ(1u, Lines(result.err).size());
    }
}

TEST(Installation, AStepOfTheInstallerEndsWithTheSystemsError)
{
    const struct {
        const char* step;
        const wchar_t* call;
        bool isRegistered;
    } steps[] = {{"register", L"", true},
                 {"unregister", L"", false},
                 {"check-unused", L"unused ZRT Card Printer Monitor", true},
                 {"check-idle", L"idle", true},
                 {"stop-spooler", L"stop", true},
                 {"start-spooler", L"start", true}};
    for (const auto& row : steps) {
        SCOPED_TRACE(row.step);
        CInstallationFixture fixture;
        if (std::string(row.step) != "register") {
            fixture.Run("install");
        }
        const std::string command = std::string("setup ") + row.step;
        const CCommandResult done = fixture.Run(command);
        EXPECT_EQ(0, done.status) << done.err;
        EXPECT_EQ(row.call, fixture.setup.calls);
        EXPECT_EQ(row.isRegistered ? 1u : 0u, fixture.system.monitors.size());

        fixture.system.error = fixture.setup.error = 3008;
        const CCommandResult refused = fixture.Run(command);
        EXPECT_EQ(3008, refused.status);
        EXPECT_EQ("zrtctl: " + command + ": system error 3008\n", refused.err);
    }
    EXPECT_EQ(64, CInstallationFixture().Run("setup everything").status);
}

TEST(Doctor, DescribesThisMachineAndThePortBelowTheLibrary)
{
    // A character device that no machine lacks and that is no printer.
    int master = -1;
    int slave = -1;
    ASSERT_EQ(0, openpty(&master, &slave, nullptr, nullptr, nullptr));
    const std::string node = ttyname(slave);
    CHostFixture fixture;
    fixture.printSystem = &MachinePrintSystem();
    fixture.examineDevices = devices::ExamineDevices;
    const std::string missing = (fixture.Folder() / "missing").string();
    const std::pair<std::string, std::string> cases[] = {
        {node, "zrtctl ...system ...device ..." + node + "..., mode 06...not a USB printer"},
        {missing, missing + ": No such file...switch it on"},
        {"@", "no character device...name the printer's"},
        {node + " --port sim:serial=AB1", "opens...device ID...SN:AB1;...status"},
        {node + " --port sim:error=83", "opens...status...check the printer's display"},
        {node + " --port sim: --library @none.so", "port sim:...does not open...cannot be loaded"},
    };
    for (const auto& [arguments, answer] : cases) {
        SCOPED_TRACE(arguments);
        const CCommandResult result = fixture.Run("doctor " + arguments);
        EXPECT_EQ(1, result.status) << result.err;
        EXPECT_TRUE(Shows(result.out, answer));
    }
    close(slave);
    close(master);
}

} // namespace
} // namespace zrtmon::test
