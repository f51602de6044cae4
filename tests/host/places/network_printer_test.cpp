// The command line on a network printer. The printer is a thread on the virtual clock; only the bytes between
// the two pass through real sockets.
#include <atomic>
#include <regex>

#include <gtest/gtest.h>

#include "devices/tcp_port.h"
#include "simulator/printer_server.h"
#include "tests/host/support/host_fixture.h"
#include "tests/support/case_name.h"

namespace zrtmon::test {
namespace {

struct CountedEvents final : sim::CServerEvents {
    void OnConnected() override { ++connections; }
    void OnDisconnected(const std::string&) override {}
    void OnCard(uint32_t) override { ++cards; }
    void OnError(int32_t) override {}
    void OnViolation(const sim::Violation&) override { ++violations; }

    std::atomic<unsigned> connections{0};
    std::atomic<unsigned> cards{0};
    std::atomic<unsigned> violations{0};
};

/// The simulated printer on a port of this machine. Outlived by the fixture, whose clock it uses.
class CNetworkPrinter {
public:
    explicit CNetworkPrinter(const std::string& options)
        : m_server("127.0.0.1", 0, *sim::ParsePrinterOptions(options, &m_problem), events),
          m_thread(std::make_unique<CVirtualClock::CClockThread>([this] { Run(); }))
    {
    }
    ~CNetworkPrinter()
    {
        m_isEnding = true;
        m_thread.reset();
    }
    CNetworkPrinter(const CNetworkPrinter&) = delete;
    CNetworkPrinter& operator=(const CNetworkPrinter&) = delete;

    std::string Port() const { return "tcp:" + m_server.Address(); }
    /// Breaks the connection as soon as so many cards are printed.
    void DropAtCard(unsigned card) { m_dropAtCard = card; }

    CountedEvents events;

private:
    void Run()
    {
        while (!m_isEnding) {
            m_server.Step();
            if (m_dropAtCard > 0 && events.cards >= m_dropAtCard) {
                m_dropAtCard = 0;
                m_server.Drop();
            }
        }
    }

    std::string m_problem;
    sim::CPrinterServer m_server;
    std::atomic<bool> m_isEnding{false};
    std::atomic<unsigned> m_dropAtCard{0};
    std::unique_ptr<CVirtualClock::CClockThread> m_thread;
};

TEST(NetworkPrinter, ThatBreaksAJobEndsItWithALineAndPrintsTheNext)
{
    CHostFixture fixture;
    CNetworkPrinter printer("card-ms=300");
    fixture.WriteFile("job", JobBytes(5));
    printer.DropAtCard(2);
    const CCommandResult broken = fixture.Run("print @job --ask CardCount --port " + printer.Port());
    EXPECT_EQ(69, broken.status) << broken.err;
    EXPECT_TRUE(Shows(
        broken.err, "zrtctl: ...ing ...127.0.0.1 port ...; the printer, or something on the way, closed the "
                    "connection: check what was printed (at most ... of ... bytes have reached it; the job "
                    "is deleted)"));
    EXPECT_EQ(std::string::npos, broken.err.find("printed: "));
    const CCommandResult next = fixture.Run("print @job --port " + printer.Port());
    EXPECT_EQ(0, next.status) << next.err;
    EXPECT_TRUE(Shows(next.err, "printed: "));
}

/// Another client's turn, as long as it exists.
class COtherClient {
public:
    explicit COtherClient(CNetworkPrinter& printer) : m_port(Parse(printer.Port()))
    {
        EXPECT_EQ(ERROR_SUCCESS, m_port.Start());
        while (printer.events.connections == 0) {
            Sleep(1);
        }
    }
    ~COtherClient() { m_port.End(false); }
    COtherClient(const COtherClient&) = delete;
    COtherClient& operator=(const COtherClient&) = delete;

private:
    static devices::CDeviceName Parse(const std::string& port)
    {
        std::string problem;
        return *devices::ParseDeviceName(std::wstring(port.begin(), port.end()), &problem);
    }

    devices::CTcpPort m_port;
};

TEST(NetworkPrinter, ThatServesAnotherClientIsBusyForQueriesAndActions)
{
    CHostFixture fixture;
    CNetworkPrinter printer("");
    {
        const COtherClient other(printer);
        for (const char* line : {"get CardCount", "get MoveTo/3", "status", "settings show", "password check",
                                 "settings set 'Print Left of Form=2'"}) {
            fixture.input = {"0000"};
            const CCommandResult refused = fixture.Run(line + std::string(" --port ") + printer.Port());
            EXPECT_EQ(75, refused.status) << line << ": " << refused.err;
            EXPECT_TRUE(Shows(refused.err, "the printer does not answer; it may be serving another client"));
        }
    }
    const CCommandResult answered = fixture.Run("get StationStatus/1 CardCount --port " + printer.Port());
    EXPECT_EQ(0, answered.status) << answered.err;
    EXPECT_EQ(std::string::npos, answered.out.find("StationStatus/1=5"))
        << "a refused action was carried out";
}

TEST(NetworkPrinter, IsExaminedByTheDoctor)
{
    CHostFixture fixture;
    fixture.printSystem = &MachinePrintSystem();
    std::string port;
    {
        const CNetworkPrinter printer("");
        port = printer.Port();
        const CCommandResult well = fixture.Run("doctor --port " + port);
        EXPECT_EQ(0, well.status) << well.out;
        EXPECT_TRUE(Shows(well.out, "device ID ...none: the network carries none...status ...no error"));
    }
    const CCommandResult refused = fixture.Run("doctor --port " + port);
    EXPECT_EQ(1, refused.status);
    EXPECT_TRUE(Shows(refused.out,
                      "status ...connecting to 127.0.0.1 port ...: Connection refused\n...-> check that the "
                      "printer is on, and its address and port"));
}

TEST(NetworkPrinter, ThatServesAnotherClientPrintsTheJobAfterwards)
{
    CHostFixture fixture;
    CNetworkPrinter printer("card-ms=300");
    fixture.WriteFile("job", JobBytes(20));
    auto other = std::make_unique<COtherClient>(printer);
    CVirtualClock::CClockThread end([&] {
        Sleep(20000);
        other.reset();
    });
    const CCommandResult result = fixture.Run("print @job --port " + printer.Port());
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(20u, printer.events.cards) << result.err;
    end.Join();
}

struct LineCase {
    const char* name;
    const char* line;
    const char* options = ""; ///< of the printer
    uint64_t interruptAtMs = 0;
};

/// Without what the few milliseconds of the network change: seconds, and when a poll sees the progress. Nor
/// the names of ports.
std::string Comparable(const std::string& text, const std::string& port)
{
    std::string same = text;
    for (size_t at = 0; (at = same.find(port)) != std::string::npos;) {
        same.replace(at, port.size(), "PORT");
    }
    const std::regex progress(R"((\d+ cards? printed, .* accepted|all data accepted, .*)\n)");
    return std::regex_replace(std::regex_replace(same, progress, ""), std::regex(R"(\d+\.\d\d\d s)"), "N s");
}

class NetworkLine : public testing::TestWithParam<LineCase> {};

TEST_P(NetworkLine, ShowsWhatItShowsOnTheSimulatedPort)
{
    CHostFixture fixture;
    fixture.WriteFile("job", JobBytes(3));
    ASSERT_EQ(0, fixture.Run("settings save @kept --port sim:").status);
    const std::string options = GetParam().options;
    const auto run = [&](const std::string& port) {
        if (GetParam().interruptAtMs > 0) {
            fixture.interruptAtMs = fixture.clock.Elapsed() + GetParam().interruptAtMs;
        }
        fixture.input = {"0000", "1234", "1234"};
        CCommandResult result = fixture.Run(std::string(GetParam().line) + " --port " + port);
        result.out = Comparable(result.out, port) + fixture.ReadFile("saved");
        result.err = Comparable(result.err, port);
        return result;
    };
    const CCommandResult simulated = run("sim:" + options);
    CNetworkPrinter printer(options);
    const CCommandResult network = run(printer.Port());
    EXPECT_EQ(simulated.status, network.status);
    EXPECT_EQ(simulated.out, network.out);
    EXPECT_EQ(simulated.err, network.err);
    EXPECT_FALSE(simulated.out.empty() && simulated.err.empty());
    EXPECT_EQ(0u, printer.events.violations);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, NetworkLine,
    testing::Values(
        LineCase{"Print", "print @job", "cards=250,card-ms=300"},
        LineCase{"PrintWithAnError", "print @job", "card-ms=300,error=83,error-at-card=2,clear-ms=1000"},
        LineCase{"PrintGivenUp", "print @job --give-up 3", "card-ms=300,error=83,error-at-card=2"},
        LineCase{"PrintInterrupted", "print @job", "card-ms=3000", 4000},
        LineCase{"PrintWithQueries", "print @job --ask ConfigInfo,MagData", "card-ms=1000"},
        LineCase{"Get", "get CardCount ConfigInfo VersionInfo RibbonInfo MagData LCDInfo StationStatus/1"},
        LineCase{"GetAsJson", "get CardCount ConfigInfo --json"},
        LineCase{"GetActions",
                 "get MoveTo/3 StationStatus/3 SimulateButtonPress/1 UtilityCommand/1 CancelPrint"},
        LineCase{"GetUnknown", "get CardCounter"}, LineCase{"GetInvalid", "get StationStatus/99"},
        LineCase{"Status", "status"}, LineCase{"StatusWithAnError", "status", "error=83"},
        LineCase{"StatusAsJson", "status --json", "error=83"},
        LineCase{"StatusWatched", "status --watch", "error=83,clear-ms=3000", 9000},
        LineCase{"SettingsShow", "settings show"},
        LineCase{"SettingsSet", "settings set 'Print Left of Form=2'"},
        LineCase{"SettingsSetOutOfRange", "settings set 'Print Left of Form=99'"},
        LineCase{"SettingsSave", "settings save @saved"},
        LineCase{"SettingsRestore", "settings restore @kept"},
        LineCase{"PasswordCheck", "password check", "protected=1"},
        LineCase{"PasswordEnable", "password enable"},
        LineCase{"PasswordDisable", "password disable", "protected=1"},
        LineCase{"PasswordSetAdmin", "password set-admin", "protected=1"},
        LineCase{"PasswordSetUser", "password set-user", "protected=1"}),
    CaseName());

} // namespace
} // namespace zrtmon::test
