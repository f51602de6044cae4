#include <memory>

#include "host/command.h"
#include "host/file.h"
#include "host/print_run.h"
#include "host/text.h"
#include "host/value_names.h"

namespace zrtmon::host {
namespace {

constexpr DWORD kLargestPiece = 16 * 1024 * 1024;
constexpr DWORD kLongestHoldSeconds = 7 * 24 * 60 * 60;

struct CPrintArguments {
    std::string file;
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

ExitStatus Print(const CPrintArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    CheckAskNames(arguments.print.askNames);
    const std::filesystem::path path = PathFromUtf8(arguments.file);
    std::string bytes = ReadWholeFile(path);
    if (bytes.empty()) {
        throw CHostError(ExitStatus::BadData, DisplayPath(path) + ": is empty, there is nothing to print");
    }
    CSpoolerSession session(arguments.session, environment);
    console.Message("printing " + DisplayPath(path) + " (" + ByteCount(bytes.size()) + ") on " +
                    Printable(arguments.session.port));
    CPrintRun run(session, arguments.print, environment, console);
    return run.Run(bytes, DisplayPath(path.filename()));
}

} // namespace

void AddPrintCommand(CLI::App& line, RunCommand* chosen)
{
    CLI::App* command = line.add_subcommand("print", "Print a job file");
    const auto arguments = std::make_shared<CPrintArguments>();
    command->add_option("FILE", arguments->file, "The job, as the printer driver made it")->required();
    AddSessionOptions(*command, arguments->session);
    command->add_option("--piece", arguments->print.pieceBytes, "Bytes offered to the monitor at a time")
        ->type_name("BYTES")
        ->check(CLI::Range(DWORD{1}, kLargestPiece))
        ->capture_default_str();
    command->add_option("--ask", arguments->print.askNames, "Ask these value names while the job prints")
        ->type_name("NAME,...")
        ->delimiter(',');
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
