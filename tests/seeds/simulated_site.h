/// One port of the simulated print server: its printer, the thread of its jobs, the threads that query it,
/// and the person at the printer.
#pragma once

#include <list>
#include <string>

#include "tests/seeds/faulty_port.h"
#include "tests/seeds/simulation.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon::simulation {

class CSimulatedSite {
public:
    /// number makes its names unique. simulation is borrowed for the object's life.
    CSimulatedSite(CSimulation& simulation, unsigned number);

    /// Starts its threads, which end without being asked to.
    void Start();
    void Join() { m_threads.clear(); }
    /// Without troubles, after Join: the port must work once more, and is closed. Nothing may be left of it.
    void Finish();

private:
    /// A job to print and its expected outcome.
    struct Print {
        sim::Job job;
        bool isValid = false;
        size_t offered = 0;           ///< how many of its bytes the spooler offers
        bool mustBeLetOut = false;    ///< the gate must hold it until the printer accepts its cards
        size_t reported = 0;          ///< bytes reported as written
        uint64_t securityChanges = 0; ///< before it
        bool isGivenUp = false;       ///< the spooler stopped offering it
        bool staysOpen = false;       ///< its port is not closed during the document
        uint64_t endedAt = 0;         ///< when its end began, virtual milliseconds
        sim::PrinterView before;      ///< the printer before it
    };

    void RunJobs();
    Print DrawPrint();
    void PrintOne(Print print);
    void OfferAll(Print& print);
    bool OfferPiece(Print& print, size_t piece);
    void CloseUnderDocument();
    void End(Print& print);
    void CheckBytes(const Print& print);
    void CheckPrinter(const Print& print);
    void CheckPrinterData();

    void AskQuestions();
    void AskOne();
    void OperatePrinter();
    void MakeTrouble();
    void Soothe();
    void DrainReplies();

    bool OpenPort();
    void ClosePort();
    sim::PortView Port() { return m_simulation.ports.View(m_fixture.PortName()); }
    bool Expect(bool holds, const char* rule, const std::string& context = {});

    CSimulation& m_simulation;
    unsigned m_number;
    std::wstring m_printerName;
    test::CPortFixture m_fixture;
    CFaultyPort m_faultyPort;
    std::list<CVirtualClock::CClockThread> m_threads;
    sim::CCardPrinter* m_printer = nullptr; ///< set by the first open
    bool m_isDone = false;                  ///< no more jobs
    bool m_isAway = true;                   ///< the port is not to be used
    unsigned m_inUse = 0;                   ///< calls of query threads
    bool m_isStartUndone = false;           ///< the lower document could not be ended after a failed start
    uint64_t m_securityChanges = 0;         ///< of protection and validation, by anyone but the gate
    uint64_t m_misuses = 0;                 ///< that the port is expected to count
};

} // namespace zrtmon::simulation
