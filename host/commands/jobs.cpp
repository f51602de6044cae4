#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/places/system_printers.h"
#include "host/printing/progress.h"
#include "host/text/json.h"
#include "host/text/moment.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

struct CJobsArguments {
    std::string since;
    bool json = false;
};

/// Seconds since 1970; 0 if no time was given.
int64_t Since(const std::string& text)
{
    if (text.empty()) {
        return 0;
    }
    const std::optional<int64_t> moment = MomentFromText(text);
    if (!moment) {
        throw CHostError(
            ExitStatus::Usage,
            "--since " + Printable(text) +
                ": not a time; give 2026-11-23, 2026-11-23T14:05, or how long ago: 90m, 12h, 7d");
    }
    return *moment;
}

/// "3 cards, 22.6 KiB of 30.1 KiB".
std::string AmountText(const CListedJob& job)
{
    const bool isPart = job.total > 0 && job.bytes != job.total;
    return CardCountText(job.cards) + ", " + ByteCount(job.bytes) +
           (isPart ? " of " + ByteCount(job.total) : "");
}

std::vector<std::string> Cells(const CListedJob& job)
{
    return {std::to_string(job.id),
            MomentText(job.submitted),
            Printable(job.printer),
            Printable(job.owner),
            job.outcome,
            AmountText(job),
            Printable(job.title)};
}

/// A line for each job, and one below it that says why it was held or failed.
std::string Table(const std::vector<CListedJob>& jobs)
{
    std::vector<std::vector<std::string>> rows;
    std::vector<size_t> columns;
    for (const CListedJob& job : jobs) {
        rows.push_back(Cells(job));
        columns.resize(rows.back().size());
        for (size_t i = 0; i + 1 < columns.size(); ++i) { // nothing follows the last one
            columns[i] = std::max(columns[i], rows.back()[i].size() + 2);
        }
    }
    std::string text;
    for (size_t row = 0; row < rows.size(); ++row) {
        text += text.empty() ? "" : "\n";
        for (size_t i = 0; i < columns.size(); ++i) {
            text += Padded(rows[row][i], columns[i]);
        }
        if (!jobs[row].reason.empty()) {
            text += '\n' + std::string(columns.front(), ' ') + Printable(jobs[row].reason);
        }
    }
    return text;
}

std::string Json(const std::vector<CListedJob>& jobs)
{
    CJson::Array rows;
    for (const CListedJob& job : jobs) {
        rows.push_back(CJson::Object{{"id", job.id},
                                     {"printer", PrintableUtf8(job.printer)},
                                     {"title", PrintableUtf8(job.title)},
                                     {"owner", PrintableUtf8(job.owner)},
                                     {"submitter", PrintableUtf8(job.submitter)},
                                     {"uuid", PrintableUtf8(job.uuid)},
                                     {"bytes", job.bytes},
                                     {"total", job.total},
                                     {"cards", job.cards},
                                     {"submitted", job.submitted},
                                     {"started", job.started},
                                     {"ended", job.ended},
                                     {"outcome", PrintableUtf8(job.outcome)},
                                     {"reason", PrintableUtf8(job.reason)}});
    }
    return JsonLines(rows);
}

ExitStatus List(const CJobsArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const std::vector<CListedJob> jobs = environment.systemPrinters->Jobs(Since(arguments.since));
    if (arguments.json) {
        console.Answer(Json(jobs));
    } else if (!jobs.empty()) {
        console.Answer(Table(jobs));
    } else {
        console.Message("no jobs; users see their own, members of lpadmin those of all");
    }
    return ExitStatus::Done;
}

} // namespace

CCommand JobsCommand()
{
    const auto arguments = std::make_shared<CJobsArguments>();
    return {.name = "jobs",
            .help = "List the jobs that the print service has printed, prints or keeps waiting (Linux)",
            .options = {{.name = "--json", .target = &arguments->json, .help = "Print one JSON array"},
                        {.name = "--since",
                         .target = &arguments->since,
                         .help = "Only those that ended at this time or later, or have not ended",
                         .form = "TIME"}},
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return List(*arguments, environment, console);
            }};
}

} // namespace zrtmon::host
