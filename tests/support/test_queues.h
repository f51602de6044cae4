/// The queues that tests of a spooler expect, by name, so that a test finds the same ones in its own process
/// and in that of the stand-in spooler.
#pragma once

#include <span>

#include "tests/support/test_spooler.h"

namespace zrtmon::test {

std::span<const CTestQueueOptions> TestQueues();

} // namespace zrtmon::test
