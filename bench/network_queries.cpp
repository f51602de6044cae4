#include "bench/network_queries.h"

#include <array>
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/monitored_port.h"
#include "bench/stopwatch.h"
#include "devices/device_ports.h"
#include "simulator/job_builder.h"
#include "simulator/port_monitor.h"
#include "simulator/printer_server.h"

namespace zrtmon::bench {

namespace {

constexpr wchar_t kValueName[] = L"PrinterError";
constexpr size_t kPieceBytes = size_t{64} * 1024;
constexpr double kMsPerSecond = 1000;

class CNoEvents final : public sim::CServerEvents {
    void OnConnected() override {}
    void OnDisconnected(const std::string&) override {}
    void OnCard(uint32_t) override {}
    void OnError(int32_t) override {}
    void OnViolation(const sim::Violation&) override {}
};

/// The printer on a thread of its own.
class CNetworkPrinter {
public:
    CNetworkPrinter() : m_thread([this] { Run(); }) {}
    ~CNetworkPrinter()
    {
        m_isEnding = true;
        m_thread.join();
    }
    CNetworkPrinter(const CNetworkPrinter&) = delete;
    CNetworkPrinter& operator=(const CNetworkPrinter&) = delete;

    std::wstring PortName() const
    {
        const std::string address = m_server.Address();
        return L"tcp:" + std::wstring(address.begin(), address.end());
    }

private:
    void Run()
    {
        while (!m_isEnding) {
            m_server.Step();
        }
    }

    static sim::PrinterOptions Options()
    {
        std::string problem;
        return *sim::ParsePrinterOptions("card-ms=100", &problem);
    }

    CNoEvents m_events;
    sim::CPrinterServer m_server{"127.0.0.1", 0, Options(), m_events};
    std::atomic<bool> m_isEnding{false};
    std::thread m_thread;
};

/// The printer, and a port of the library that leads to it.
struct Connected {
    CNetworkPrinter printer;
    sim::CPortMonitor portMonitor{devices::MakeDevice};
    CMonitoredPort port{printer.PortName(), portMonitor.Handle(), *sim::CPortMonitor::Table()};
};

double TimeOfQuery(const CMonitoredPort& port, bool* isAnswered)
{
    const CStopwatch watch;
    *isAnswered = port.Ask(kValueName) != 0;
    return watch.Seconds() * kMsPerSecond;
}

} // namespace

std::vector<double> QueryTimesOnAnIdlePort(int queries)
{
    const Connected connected;
    std::vector<double> times;
    for (int query = 0; query < queries; ++query) {
        bool isAnswered = false;
        times.push_back(TimeOfQuery(connected.port, &isAnswered));
        if (!isAnswered) {
            throw std::runtime_error("a query on an idle port has no answer");
        }
    }
    return times;
}

std::vector<double> QueryTimesBesideAJob(int cards)
{
    Connected connected;
    const sim::Job job = sim::BuildJob({.cards = static_cast<uint32_t>(cards)});
    std::vector<double> times;
    std::atomic<bool> isOver = false;
    connected.port.StartDocument();
    std::thread asker([&] {
        while (!isOver) {
            bool isAnswered = false;
            const double time = TimeOfQuery(connected.port, &isAnswered);
            if (isAnswered) { // a refusal is fast
                times.push_back(time);
            }
        }
    });
    Carry(connected.port.Handle(), job.bytes, kPieceBytes, Library().pfnWritePort);
    isOver = true;
    asker.join();
    connected.port.EndDocument();
    if (times.empty()) {
        throw std::runtime_error("no query beside the job has an answer");
    }
    return times;
}

} // namespace zrtmon::bench
