#include "tests/seeds/simulation.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <utility>

namespace zrtmon::simulation {

namespace {

constexpr size_t kKeptBroken = 8;
constexpr uint64_t kHashPrime = 1099511628211u;
constexpr DWORD kBeforeTheWrap = 0xFFFFFFFF - 20'000;

Troubles DrawTroubles(CRandomSource& random)
{
    Troubles troubles{.slow = random.OneIn(4)};
    if (random.OneIn(4)) {
        return troubles;
    }
    for (bool* trouble : {&troubles.writes, &troubles.reads, &troubles.replies, &troubles.documents,
                          &troubles.plans[0], &troubles.plans[1], &troubles.plans[2]}) {
        *trouble = random.OneIn(4);
    }
    return troubles;
}

} // namespace

void CJournal::Note(const char* event, uint64_t port, uint64_t first, uint64_t second)
{
    ++m_counts[event];
    const uint64_t now = m_clock.Elapsed();
    for (const uint64_t word : {std::hash<std::string_view>{}(event), now, port, first, second}) {
        m_hash = (m_hash ^ word) * kHashPrime;
    }
    if (m_isVerbose) {
        std::cout << std::setw(10) << now << "  " << port << "  " << std::left << std::setw(24) << event
                  << std::right << ' ' << first << ' ' << second << '\n';
    }
}

bool CJournal::Expect(bool holds, const char* rule, const std::string& context)
{
    if (!holds) {
        Note("BROKEN");
        if (m_broken.size() < kKeptBroken) {
            m_broken.push_back("at " + std::to_string(m_clock.Elapsed()) + " ms: " + rule + ' ' + context);
        }
        if (m_isVerbose) {
            std::cout << "            " << rule << ' ' << context << '\n';
        }
    }
    return holds;
}

CSimulation::CSimulation(uint64_t seed, bool isVerbose)
    : random(seed), clock(random.OneIn(4) ? kBeforeTheWrap : 0, random.Word()), journal(clock, isVerbose),
      troubles(DrawTroubles(random))
{
    t_outside.emplace();
}

CSimulation::~CSimulation() { t_outside.reset(); }

CVirtualClock::CClockThread CSimulation::Spawn(std::function<void()> body)
{
    return CVirtualClock::CClockThread([run = std::move(body)] {
        t_outside.emplace();
        run();
        t_outside.reset();
    });
}

void CSimulation::Sabotage(const bool& isOver)
{
    while (!isOver) {
        const auto point = static_cast<FaultPoint>(random.Between(0, 2));
        if (troubles.Fails(point) && opening == 0) {
            auto& plan = m_plans[static_cast<size_t>(point)];
            plan.reset();
            plan.emplace(point, random.Between(0, random.OneIn(2) ? 3 : 40));
        }
        Sleep(random.Between(10, 1000));
    }
}

void CSimulation::EndTroubles()
{
    for (auto& plan : m_plans) {
        plan.reset();
    }
    troubles = {};
}

unsigned CSimulation::Strikes() const
{
    return static_cast<unsigned>(std::ranges::count_if(
        m_plans, [](const std::optional<CFaultPlan>& plan) { return plan && plan->Fired(); }));
}

} // namespace zrtmon::simulation
