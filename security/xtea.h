#pragma once

#include <array>
#include <cstdint>

namespace zrtmon {

using XteaBlock = std::array<uint32_t, 2>;
using XteaKey = std::array<uint32_t, 4>;

/// One block enciphered with XTEA, 32 cycles (Needham and Wheeler, "Tea extensions", 1997).
XteaBlock EncipherXtea(XteaBlock block, const XteaKey& key);

} // namespace zrtmon
