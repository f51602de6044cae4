#include "security/xtea.h"

namespace zrtmon {

namespace {

constexpr uint32_t kDelta = 0x9E3779B9;
constexpr int kCycles = 32;

uint32_t Mix(uint32_t word) { return ((word << 4) ^ (word >> 5)) + word; }

} // namespace

XteaBlock EncipherXtea(XteaBlock block, const XteaKey& key)
{
    uint32_t sum = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        block[0] += Mix(block[1]) ^ (sum + key[sum & 3]);
        sum += kDelta;
        block[1] += Mix(block[0]) ^ (sum + key[sum >> 11 & 3]);
    }
    return block;
}

} // namespace zrtmon
