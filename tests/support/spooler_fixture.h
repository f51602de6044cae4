#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/virtual_clock.h"
#include "simulator/card_printer.h"
#include "simulator/port_monitor.h"
#include "tests/support/lower_port.h"

namespace zrtmon::test {

/// The monitor that is linked into this program; null if it does not start.
MONITOR2* LoadEntryPoints();

/// The spooler around one port: a printer with its queue, the simulated printer on the port, whose calls can
/// be disturbed, and the monitor's entry points above it.
class CPortFixture {
public:
    /// options: those of the simulated port's name, "cards=250,error=83". Clock and port monitor are
    /// borrowed.
    CPortFixture(CVirtualClock& time, sim::CPortMonitor& lowerMonitor, const std::wstring& printerName,
                 const std::string& options);
    ~CPortFixture();

    bool Open(MONITOR2* lowerTable = CLowerPort::Table());
    bool Close();

    struct Answer {
        bool ok = false;
        DWORD error = 0;
        std::string text;
    };
    /// A value name's answer. Any thread.
    Answer Ask(const std::wstring& name) const;

    /// The steps of a print job. StartDocument submits a job and returns StartDocPort's result.
    bool StartDocument();
    /// Offers the data, at most pieceSize bytes at a time, again and again until it is taken or giveUpMs have
    /// passed without a byte being taken; returns the count taken.
    size_t Offer(const uint8_t* data, size_t size, const std::function<size_t()>& pieceSize = {},
                 uint64_t giveUpMs = 60000) const;
    bool EndDocument();
    void DeleteJob() const;
    /// Takes the job out of the queue, as EndDocument does.
    void RemoveJob();
    /// The job's JOB_STATUS_* flags, also after it has left the queue; 0 if it was never in it.
    DWORD JobStatus() const;

    /// All of them; true if every byte was accepted and every call succeeded.
    bool Print(const std::vector<uint8_t>& job, const std::function<size_t()>& pieceSize = {});

    /// A published value without its NUL; "-" if there is none.
    std::string ValueOf(const wchar_t* valueName) const;

    sim::CCardPrinter& Printer();
    const std::wstring& PortName() const { return m_portName; }

    CDisturbedPort lower;
    MONITOR2* table;
    HANDLE port = nullptr;

private:
    CVirtualClock& m_clock;
    sim::CPortMonitor& m_ports;
    std::wstring m_printerName;
    std::wstring m_portName;
    DWORD m_jobId = 0;
    DWORD m_endedJobStatus = 0;
};

/// What surrounds a CPortFixture if there is only one.
struct CFixtureWorld {
    CVirtualClock clock{CVirtualClock::kBeforeWrap}; // the tick count wraps in the course of each test
    sim::CPortMonitor ports;
};

class CSpoolerFixture : public CFixtureWorld, public CPortFixture {
public:
    static constexpr wchar_t kPrinter[] = L"Cards";

    explicit CSpoolerFixture(const std::string& options = "") : CPortFixture(clock, ports, kPrinter, options)
    {
    }
};

/// With its port open.
struct COpenPortFixture : CSpoolerFixture {
    explicit COpenPortFixture(const std::string& options = "") : CSpoolerFixture(options)
    {
        EXPECT_TRUE(Open());
    }
};

} // namespace zrtmon::test
