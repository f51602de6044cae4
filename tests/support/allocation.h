#pragma once

#include <cstdint>

namespace zrtmon::test {

/// Blocks of operator new that have not been freed, in a program that is linked with
/// tests/platform/allocation.cpp.
uint64_t LiveAllocations() noexcept;

} // namespace zrtmon::test
