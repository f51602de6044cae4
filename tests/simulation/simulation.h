/// One run of a print server with several ports, in which one seed decides everything.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zrtmon::simulation {

struct Outcome {
    uint64_t virtualMs = 0;
    uint64_t hash = 0;                           ///< of every event in its order
    std::map<std::string_view, uint64_t> counts; ///< of events, by name
    std::vector<std::string> broken;             ///< rules that did not hold
};

/// isTold: events are printed as they come.
Outcome Simulate(uint64_t seed, bool isTold);

} // namespace zrtmon::simulation
