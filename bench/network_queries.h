/// Queries to a simulated printer on the network, through the library, in real time.
#pragma once

#include <vector>

namespace zrtmon::bench {

/// Milliseconds of each of so many queries for PrinterError, each on a connection of its own. Throws
/// std::runtime_error for one without an answer.
std::vector<double> QueryTimesOnAnIdlePort(int queries);

/// Milliseconds of the queries that run one after the other beside a framed job of so many cards, which take
/// 100 ms each. A query that is refused because the printer is busy counts with the time it took.
std::vector<double> QueryTimesBesideAJob(int cards);

} // namespace zrtmon::bench
