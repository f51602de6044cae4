#include <memory>

#include "host/commands/commands.h"
#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/printing/print_run.h"
#include "host/text/file.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr uint32_t kLargestPiece = 16 * 1024 * 1024;
constexpr uint32_t kLongestHoldSeconds = 7 * 24 * 60 * 60;

struct CPrintArguments {
    std::vector<std::string> files;
    std::string policy;
    CPrinterChoice printer;
    CPrintOptions print;
};

void CheckAskNames(const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        const std::string problem = RequestProblem(name);
        if (!problem.empty()) {
            throw CHostError(ExitStatus::Usage, "--ask: " + problem);
        }
        if (FindValueName(name)->kind == ValueKind::Action) {
            throw CHostError(ExitStatus::Usage,
                             "--ask: " + Printable(name) +
                                 " is an action of the printer and cannot be queried repeatedly");
        }
    }
}

/// Opens all of them, so that nothing is printed if one is invalid.
std::vector<CJobSource> OpenJobs(const std::vector<std::string>& files)
{
    std::vector<CJobSource> jobs;
    jobs.reserve(files.size());
    for (const std::string& file : files) {
        jobs.emplace_back(PathFromUtf8(file));
    }
    return jobs;
}

/// The absolute path, since the monitor may run in another folder; empty if there is no file.
std::wstring PolicyPath(const std::string& file)
{
    if (file.empty()) {
        return {};
    }
    const std::filesystem::path path = std::filesystem::absolute(PathFromUtf8(file));
    RequireReadable(path); // the monitor silently ignores a file that it cannot read
    return WidePath(path);
}

void StorePolicyPath(IPrinter& printer, const std::wstring& path)
{
    const std::span withEnd(reinterpret_cast<const char*>(path.c_str()), (path.size() + 1) * sizeof(wchar_t));
    const CStoreResult stored = printer.StoreValue(L"ConfigurationFile", REG_SZ, withEnd);
    if (stored.error != ERROR_SUCCESS) {
        throw CHostError(ExitStatus::NoDevice,
                         "cannot store the policy path in the printer's data: " + StoreProblem(stored));
    }
}

/// Prints the jobs one after the other, up to the first that fails.
ExitStatus Print(const CPrintArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    CheckAskNames(arguments.print.askNames);
    if (!arguments.policy.empty() && arguments.printer.port.empty()) {
        throw CHostError(
            ExitStatus::Usage,
            "--policy: only with --port; zrtctl policy set FILE changes that of an installed printer");
    }
    std::vector<CJobSource> jobs = OpenJobs(arguments.files);
    const std::wstring policy = PolicyPath(arguments.policy);
    const std::unique_ptr<IPrinter> printer = OpenPrinter(arguments.printer, environment);
    if (!policy.empty()) {
        StorePolicyPath(*printer, policy);
    }
    for (CJobSource& job : jobs) {
        console.Message("printing " + DisplayPath(job.Path()) + " (" + ByteCount(job.TotalBytes()) + ") on " +
                        printer->Place());
        CPrintRun run(*printer, arguments.print, environment, console);
        const ExitStatus status = run.Run(job);
        if (status != ExitStatus::Done) {
            return status;
        }
    }
    return ExitStatus::Done;
}

} // namespace

CCommand PrintCommand()
{
    const auto arguments = std::make_shared<CPrintArguments>();
    CPrintOptions& print = arguments->print;
    return {.name = "print",
            .help = "Print job files, one after the other",
            .options =
                WithPrinterOptions({{.name = "FILE",
                                     .target = &arguments->files,
                                     .help = "A job, as the printer driver made it",
                                     .required = true},
                                    {.name = "--piece",
                                     .target = &print.pieceBytes,
                                     .help = "Bytes offered to the monitor in one call",
                                     .form = "BYTES",
                                     .least = 1,
                                     .most = kLargestPiece},
                                    {.name = "--ask",
                                     .target = &print.askNames,
                                     .help = "Query these value names while the job prints",
                                     .form = "NAME,..."},
                                    {.name = "--policy",
                                     .target = &arguments->policy,
                                     .help = "With --port: policy file, how often a password must be given",
                                     .form = "FILE"},
                                    {.name = "--give-up",
                                     .target = &print.giveUpSeconds,
                                     .help = "Delete a job that has been waiting this long",
                                     .form = "SECONDS",
                                     .least = 1,
                                     .most = kLongestHoldSeconds}},
                                   arguments->printer),
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return Print(*arguments, environment, console);
            }};
}

} // namespace zrtmon::host
