#include "tests/simulation/world.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <utility>

namespace zrtmon::simulation {

namespace {

constexpr size_t kKeptBroken = 8;
constexpr uint64_t kHashPrime = 1099511628211u;
constexpr DWORD kBeforeTheWrap = 0xFFFFFFFF - 20'000;

Troubles DrawTroubles(Dice& dice)
{
    Troubles troubles{.slow = dice.OneIn(4)};
    if (dice.OneIn(4)) {
        return troubles;
    }
    for (bool* trouble : {&troubles.writes, &troubles.reads, &troubles.replies, &troubles.documents,
                          &troubles.plans[0], &troubles.plans[1], &troubles.plans[2]}) {
        *trouble = dice.OneIn(4);
    }
    return troubles;
}

} // namespace

void Journal::Note(const char* event, uint64_t port, uint64_t first, uint64_t second)
{
    ++m_counts[event];
    const uint64_t now = m_clock.Elapsed();
    for (const uint64_t word : {std::hash<std::string_view>{}(event), now, port, first, second}) {
        m_hash = (m_hash ^ word) * kHashPrime;
    }
    if (m_isTold) {
        std::cout << std::setw(10) << now << "  " << port << "  " << std::left << std::setw(24) << event
                  << std::right << ' ' << first << ' ' << second << '\n';
    }
}

bool Journal::Expect(bool holds, const char* rule, const std::string& context)
{
    if (!holds) {
        Note("BROKEN");
        if (m_broken.size() < kKeptBroken) {
            m_broken.push_back("at " + std::to_string(m_clock.Elapsed()) + " ms: " + rule + ' ' + context);
        }
        if (m_isTold) {
            std::cout << "            " << rule << ' ' << context << '\n';
        }
    }
    return holds;
}

World::World(uint64_t seed, bool isTold)
    : dice(seed), clock(dice.OneIn(4) ? kBeforeTheWrap : 0, dice.Word()), journal(clock, isTold),
      troubles(DrawTroubles(dice))
{
    t_outside.emplace();
}

World::~World() { t_outside.reset(); }

VirtualClock::Thread World::Spawn(std::function<void()> body)
{
    return VirtualClock::Thread([run = std::move(body)] {
        t_outside.emplace();
        run();
        t_outside.reset();
    });
}

void World::Sabotage(const bool& isOver)
{
    while (!isOver) {
        const auto point = static_cast<FaultPoint>(dice.Between(0, 2));
        if (troubles.Fails(point) && opening == 0) {
            auto& plan = m_plans[static_cast<size_t>(point)];
            plan.reset();
            plan.emplace(point, dice.Between(0, dice.OneIn(2) ? 3 : 40));
        }
        Sleep(dice.Between(10, 1000));
    }
}

void World::EndTroubles()
{
    for (auto& plan : m_plans) {
        plan.reset();
    }
    troubles = {};
}

unsigned World::Strikes() const
{
    return static_cast<unsigned>(std::ranges::count_if(
        m_plans, [](const std::optional<FaultPlan>& plan) { return plan && plan->Fired(); }));
}

} // namespace zrtmon::simulation
