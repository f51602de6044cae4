/// A program as it is, and what it costs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zrtmon::bench {

struct ProcessCost {
    double wallSeconds = 0;
    double processorSeconds = 0; ///< user and system
    double peakMiB = 0;          ///< resident memory
};

/// Runs a program to its end, its output to a file. environment is added to this process's, as "NAME=VALUE".
/// Throws std::runtime_error if it does not start, or ends with another status than 0.
ProcessCost RunProgram(const std::vector<std::string>& command, const std::string& outputPath,
                       const std::string& environment = {});

} // namespace zrtmon::bench
