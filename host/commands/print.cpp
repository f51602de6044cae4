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
    CSessionOptions session;
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
            throw CHostError(ExitStatus::Usage, "--ask: " + Printable(name) +
                                                    " makes the printer act and cannot be asked repeatedly");
        }
    }
}

struct CJobFile {
    std::filesystem::path path;
    std::string bytes;
};

/// All of them, so that none is printed when one cannot be.
std::vector<CJobFile> ReadJobs(const std::vector<std::string>& files)
{
    std::vector<CJobFile> jobs;
    for (const std::string& file : files) {
        const std::filesystem::path path = PathFromUtf8(file);
        jobs.push_back({path, ReadWholeFile(path)});
        if (jobs.back().bytes.empty()) {
            throw CHostError(ExitStatus::BadData,
                             DisplayPath(path) + ": is empty, there is nothing to print");
        }
    }
    return jobs;
}

/// Where the monitor finds the file, wherever it runs; nothing for no file.
std::wstring PolicyPath(const std::string& file)
{
    if (file.empty()) {
        return {};
    }
    const std::filesystem::path path = std::filesystem::absolute(PathFromUtf8(file));
    ReadWholeFile(path); // the monitor says nothing of one that it cannot read
    return WidePath(path);
}

void NamePolicy(CSpoolerSession& session, std::wstring path)
{
    wchar_t valueName[] = L"ConfigurationFile";
    const auto size = static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t));
    const DWORD error =
        SetPrinterDataW(session.Printer(), valueName, REG_SZ, reinterpret_cast<LPBYTE>(path.data()), size);
    if (error != ERROR_SUCCESS) {
        throw CHostError(ExitStatus::NoDevice,
                         "the spooler does not keep the policy: " + PortErrorWords(error));
    }
}

/// The jobs one after the other, up to the first that is not printed well.
ExitStatus Print(const CPrintArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    CheckAskNames(arguments.print.askNames);
    std::vector<CJobFile> jobs = ReadJobs(arguments.files);
    const std::wstring policy = PolicyPath(arguments.policy);
    CSpoolerSession session(arguments.session, environment);
    if (!policy.empty()) {
        NamePolicy(session, policy);
    }
    for (CJobFile& job : jobs) {
        console.Message("printing " + DisplayPath(job.path) + " (" + ByteCount(job.bytes.size()) + ") on " +
                        ShownPort(arguments.session.port));
        CPrintRun run(session, arguments.print, environment, console);
        const ExitStatus status = run.Run(job.bytes, DisplayPath(job.path.filename()));
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
            .options = WithSessionOptions({{.name = "FILE",
                                            .target = &arguments->files,
                                            .help = "A job, as the printer driver made it",
                                            .required = true},
                                           {.name = "--piece",
                                            .target = &print.pieceBytes,
                                            .help = "Bytes offered to the monitor at a time",
                                            .form = "BYTES",
                                            .least = 1,
                                            .most = kLargestPiece},
                                           {.name = "--ask",
                                            .target = &print.askNames,
                                            .help = "Ask these value names while the job prints",
                                            .form = "NAME,..."},
                                           {.name = "--policy",
                                            .target = &arguments->policy,
                                            .help = "The file that says how often a password is to be given",
                                            .form = "FILE"},
                                           {.name = "--give-up",
                                            .target = &print.giveUpSeconds,
                                            .help = "Delete the job once it was held so long",
                                            .form = "SECONDS",
                                            .least = 1,
                                            .most = kLongestHoldSeconds}},
                                          arguments->session),
            .run = [arguments](CHostEnvironment& environment, CConsole& console) {
                return Print(*arguments, environment, console);
            }};
}

} // namespace zrtmon::host
