#include <memory>

#include "host/commands/command.h"
#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/printing/print_run.h"
#include "host/text/file.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kLargestPiece = 16 * 1024 * 1024;
constexpr DWORD kLongestHoldSeconds = 7 * 24 * 60 * 60;

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

void AddPrintCommand(CLI::App& line, RunCommand* chosen)
{
    CLI::App* command = line.add_subcommand("print", "Print job files, one after the other");
    const auto arguments = std::make_shared<CPrintArguments>();
    command->add_option("FILE", arguments->files, "A job, as the printer driver made it")->required();
    AddSessionOptions(*command, arguments->session);
    command->add_option("--piece", arguments->print.pieceBytes, "Bytes offered to the monitor at a time")
        ->type_name("BYTES")
        ->check(CLI::Range(DWORD{1}, kLargestPiece))
        ->capture_default_str();
    command->add_option("--ask", arguments->print.askNames, "Ask these value names while the job prints")
        ->type_name("NAME,...")
        ->delimiter(',')
        ->allow_extra_args(false);
    command
        ->add_option("--policy", arguments->policy, "The file that says how often a password is to be given")
        ->type_name("FILE");
    command
        ->add_option("--give-up", arguments->print.giveUpSeconds, "Delete the job once it was held so long")
        ->type_name("SECONDS")
        ->check(CLI::Range(DWORD{1}, kLongestHoldSeconds));
    command->callback([arguments, chosen] {
        *chosen = [arguments](CHostEnvironment& environment, CConsole& console) {
            return Print(*arguments, environment, console);
        };
    });
}

} // namespace zrtmon::host
