/// What the ports of a simulated print server share: random numbers, time, troubles, and the record of
/// events.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/faults.h"
#include "platform/virtual_clock.h"
#include "simulator/port_monitor.h"
#include "tests/seeds/random_source.h"

namespace zrtmon::simulation {

/// Events by name.
using Counts = std::map<std::string_view, uint64_t>;

/// The record of a run: its events as one hash and counted by name, and the rules that were broken.
class CJournal {
public:
    /// isVerbose: events are printed, too.
    CJournal(const CVirtualClock& clock, bool isVerbose) : m_clock(clock), m_isVerbose(isVerbose) {}

    /// event is a literal; port 0 is the simulation.
    void Note(const char* event, uint64_t port = 0, uint64_t first = 0, uint64_t second = 0);
    /// Notes that a rule is broken unless it holds. context is appended.
    bool Expect(bool holds, const char* rule, const std::string& context = {});

    uint64_t Hash() const { return m_hash; }
    const Counts& Events() const { return m_counts; }
    const std::vector<std::string>& Broken() const { return m_broken; }

private:
    const CVirtualClock& m_clock;
    const bool m_isVerbose;
    uint64_t m_hash = 14695981039346656037u;
    Counts m_counts;
    std::vector<std::string> m_broken; ///< the first few
};

/// The kinds of trouble of a run; a kind that it does not have excuses nothing. Partial writes, noise and
/// replies within their limit are not trouble: with those alone every query must be answered.
struct Troubles {
    bool slow = false;           ///< calls often take time; excuses nothing
    bool writes = false;         ///< WritePort fails, before or after the bytes
    bool reads = false;          ///< ReadPort and controls fail
    bool replies = false;        ///< missing, cut or too late
    bool documents = false;      ///< ports, documents and channels fail to open or to end
    std::array<bool, 3> plans{}; ///< by FaultPoint: calls fail in the layer

    bool Fails(FaultPoint point) const { return plans[static_cast<size_t>(point)]; }
    bool IsQuiet() const { return !writes && !reads && !replies && !documents && plans == decltype(plans){}; }
};

/// Set while this thread is outside the library: fault plans do not apply then.
inline thread_local std::optional<CFaultExemption> t_outside;

/// Created and destroyed by the thread that runs it.
class CSimulation {
public:
    CSimulation(uint64_t seed, bool isVerbose);
    ~CSimulation();

    /// A thread of the simulation, which is safe from the failures of fault plans except inside Call.
    CVirtualClock::CClockThread Spawn(std::function<void()> body);
    /// Runs body, which calls the library, on a thread of the simulation.
    template <class Body>
    static auto Call(Body&& body)
    {
        t_outside.reset();
        const auto result = body();
        t_outside.emplace();
        return result;
    }

    /// Arms a fault plan from time to time until *isOver.
    void Sabotage(const bool& isOver);
    /// No more trouble.
    void EndTroubles();
    /// How many of the plans have made their call fail; does not decrease while `opening` is not 0.
    unsigned Strikes() const;

    CRandomSource random;
    CVirtualClock clock;
    sim::CPortMonitor ports;
    CJournal journal;
    Troubles troubles;
    unsigned opening = 0;    ///< ports that are being opened: no plan is changed meanwhile
    uint64_t blocksLeft = 0; ///< that the library must not free: ports closed while a document was open

private:
    std::array<std::optional<CFaultPlan>, 3> m_plans;
};

} // namespace zrtmon::simulation
