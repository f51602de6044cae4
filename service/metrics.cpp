#include "service/metrics.h"

#include <algorithm>

#include "host/text/text.h"

namespace zrtmon::service {
namespace {

struct CBucket {
    uint32_t milliseconds;
    const char* label; ///< in seconds
};

// A query takes at least the 250 ms that the printer is given for its reply, and waits for its place between
// two cards.
constexpr CBucket kQueryBuckets[] = {{300, "0.3"}, {500, "0.5"},  {1000, "1"},  {2000, "2"},
                                     {5000, "5"},  {10000, "10"}, {30000, "30"}};

std::string LabelValue(std::string_view text)
{
    std::string value = "\"";
    for (const char byte : text) {
        value += byte == '\\' || byte == '"' ? "\\" : "";
        value += byte;
    }
    return value + '"';
}

std::string Labels(const std::string& printer, std::string_view more = {})
{
    return "{printer=" + LabelValue(printer) + std::string(more) + "} ";
}

void AppendHead(std::string& text, const char* name, const char* type, const char* help)
{
    text += std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

} // namespace

void CMetrics::CountJob(const std::string& printer, JobOutcome outcome, int cards)
{
    CCounts& counts = m_printers[printer];
    ++counts.jobs[static_cast<size_t>(outcome)];
    counts.cards += static_cast<uint64_t>(std::max(cards, 0));
}

void CMetrics::CountError(const std::string& printer, int category)
{
    ++m_printers[printer].errors[category];
}

void CMetrics::CountPasswordWait(const std::string& printer) { ++m_printers[printer].passwordWaits; }

void CMetrics::CountQuery(const std::string& printer, uint32_t milliseconds)
{
    static_assert(std::size(kQueryBuckets) == kBuckets);
    CCounts& counts = m_printers[printer];
    for (size_t i = 0; i < kBuckets; ++i) {
        counts.queries[i] += milliseconds <= kQueryBuckets[i].milliseconds ? 1 : 0;
    }
    ++counts.queryCount;
    counts.queryMs += milliseconds;
}

std::string CMetrics::Text() const
{
    std::string text;
    AppendHead(text, "zrtmon_cards_total", "counter", "Cards printed by the service's jobs.");
    for (const auto& [printer, counts] : m_printers) {
        text += "zrtmon_cards_total" + Labels(printer) + std::to_string(counts.cards) + '\n';
    }
    AppendHead(text, "zrtmon_jobs_total", "counter", "Jobs that have ended, by outcome.");
    for (const auto& [printer, counts] : m_printers) {
        for (size_t i = 0; i < counts.jobs.size(); ++i) {
            const char* const outcome = OutcomeText(static_cast<JobOutcome>(i));
            text += "zrtmon_jobs_total" + Labels(printer, ",outcome=" + LabelValue(outcome)) +
                    std::to_string(counts.jobs[i]) + '\n';
        }
    }
    AppendHead(text, "zrtmon_errors_total", "counter", "Errors that the printer has reported, by category.");
    for (const auto& [printer, counts] : m_printers) {
        for (const auto& [category, count] : counts.errors) {
            text += "zrtmon_errors_total" + Labels(printer, ",category=\"" + std::to_string(category) + '"') +
                    std::to_string(count) + '\n';
        }
    }
    AppendHead(text, "zrtmon_password_waits_total", "counter", "Jobs that have waited for a password.");
    for (const auto& [printer, counts] : m_printers) {
        text += "zrtmon_password_waits_total" + Labels(printer) + std::to_string(counts.passwordWaits) + '\n';
    }
    AppendHead(text, "zrtmon_query_seconds", "histogram", "From a query's arrival to its answer.");
    for (const auto& [printer, counts] : m_printers) {
        const std::string bucket = "zrtmon_query_seconds_bucket";
        for (size_t i = 0; i < kBuckets; ++i) {
            const std::string limit = std::string(",le=\"") + kQueryBuckets[i].label + '"';
            text += bucket + Labels(printer, limit) + std::to_string(counts.queries[i]) + '\n';
        }
        const std::string count = std::to_string(counts.queryCount);
        text += bucket + Labels(printer, ",le=\"+Inf\"") + count + '\n';
        text += "zrtmon_query_seconds_sum" + Labels(printer) + host::Seconds(counts.queryMs) + '\n';
        text += "zrtmon_query_seconds_count" + Labels(printer) + count + '\n';
    }
    return text + "# EOF\n";
}

} // namespace zrtmon::service
