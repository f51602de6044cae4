#include "tests/simulation/simulation.h"

#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "tests/simulation/site.h"
#include "tests/simulation/world.h"
#include "tests/support/allocation.h"

namespace zrtmon::simulation {

namespace {

/// What a process has open and allocated.
struct Holdings {
    uint64_t handles = OpenHandleCount();
    uint64_t blocks = GlobalBlockCount();
    uint64_t printers = spooler::OpenPrinterCount();
    uint64_t allocations = test::LiveAllocations();
};

void Run(World& world)
{
    std::list<Site> sites;
    for (uint32_t number = world.dice.Between(1, 3); number > 0; --number) {
        sites.emplace_back(world, number);
    }
    bool isOver = false;
    VirtualClock::Thread saboteur = world.Spawn([&] { world.Sabotage(isOver); });
    for (Site& site : sites) {
        site.Start();
    }
    for (Site& site : sites) {
        site.Join();
    }
    isOver = true;
    saboteur.Join();
    world.EndTroubles();
    for (Site& site : sites) {
        site.Finish();
    }
}

void ExpectNothingLeft(const Holdings& before, const World& world, Outcome& outcome)
{
    const Holdings now;
    const auto expect = [&](const char* what, uint64_t was, uint64_t is, uint64_t allowed) {
        if (is != was + allowed) {
            outcome.broken.push_back(std::string(what) + ": " + std::to_string(is - was) + " left, not " +
                                     std::to_string(allowed));
        }
    };
    expect("handles", before.handles, now.handles, 0);
    expect("blocks", before.blocks, now.blocks, world.blocksLeft);
    expect("open printers", before.printers, now.printers, world.printersLeft);
}

} // namespace

Outcome Simulate(uint64_t seed, bool isTold)
{
    Outcome outcome;
    const Holdings before;
    uint64_t printersLeft = 0;
    {
        World world(seed, isTold);
        Run(world);
        world.journal.Note("end", 0, world.clock.Draws());
        outcome = {world.clock.Elapsed(), world.journal.Hash(), world.journal.Counts(),
                   world.journal.Broken()};
        ExpectNothingLeft(before, world, outcome);
        printersLeft = world.printersLeft;
    }
    // What the outcome itself holds is counted, too: a node for each name. A printer that is left open keeps
    // more.
    const uint64_t left = test::LiveAllocations() - before.allocations - outcome.counts.size();
    if (outcome.broken.empty() && printersLeft == 0 && left != 0) {
        outcome.broken.push_back("allocations: " + std::to_string(left) + " left");
    }
    return outcome;
}

} // namespace zrtmon::simulation
