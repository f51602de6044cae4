/// What every fuzz target shares with the two programs made of it: the fuzzer, and the one that replays
/// files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// One input. Ends the process when a promise is broken. Must not keep state from one input to the next.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace zrtmon::fuzz {

/// Ends the process, so that the fuzzer keeps the input, when a promise does not hold.
inline void Demand(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", promise);
        std::abort();
    }
}

} // namespace zrtmon::fuzz
