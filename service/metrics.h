/// Counters for whoever watches many machines.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "service/journal.h"

namespace zrtmon::service {

/// Counts since the start of the service. One thread.
class CMetrics {
public:
    /// Appears with zeros from now on.
    void AddPrinter(const std::string& printer) { m_printers.try_emplace(printer); }
    void RemovePrinter(const std::string& printer) { m_printers.erase(printer); }

    void CountJob(const std::string& printer, JobOutcome outcome, int cards);
    /// The printer has reported an error of another category than before.
    void CountError(const std::string& printer, int category);
    /// A job has begun to wait for a password.
    void CountPasswordWait(const std::string& printer);
    void CountQuery(const std::string& printer, uint32_t milliseconds);

    /// In the text format that a node exporter's text-file collector reads.
    std::string Text() const;

private:
    static constexpr size_t kBuckets = 7;

    struct CCounts {
        uint64_t cards = 0;
        std::array<uint64_t, 4> jobs{}; ///< by JobOutcome
        std::map<int, uint64_t> errors; ///< by category
        uint64_t passwordWaits = 0;
        std::array<uint64_t, kBuckets> queries{}; ///< not longer than the bucket's limit
        uint64_t queryCount = 0;
        uint64_t queryMs = 0;
    };

    std::map<std::string, CCounts> m_printers;
};

} // namespace zrtmon::service
