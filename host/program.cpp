#include "host/program.h"

#include <algorithm>

#include "host/commands/commands.h"
#include "host/text/text.h"
#include "simulator/printer_options.h"

namespace zrtmon::host {
namespace {

constexpr char kProgram[] = "zrtctl";
constexpr size_t kStatusColumns = 5;
constexpr size_t kFormColumns = 23;

struct CStatusMeaning {
    ExitStatus status;
    const char* meaning;
};

constexpr CStatusMeaning kStatuses[] = {
    {ExitStatus::Done, "done"},
    {ExitStatus::PrinterError, "the printer reported an error or gave no valid reply, the job was held too "
                               "long, or doctor found a problem"},
    {ExitStatus::Usage, "the command line is invalid"},
    {ExitStatus::BadData, "a file or a password is invalid: an empty job, a setting out of range, too "
                          "many characters"},
    {ExitStatus::NoInput, "a file cannot be read"},
    {ExitStatus::NoDevice,
     "no such printer, none found, or its device failed; the print system, the port or the monitor's "
     "library cannot be used"},
    {ExitStatus::CannotCreate, "a file cannot be written"},
    {ExitStatus::Busy, "the port or the printer is busy"},
    {ExitStatus::NoPermission, "not permitted: a password is wrong or missing, or the system requires an "
                               "administrator"},
    {ExitStatus::Interrupted, "interrupted"},
};

std::string StatusHelp()
{
    std::string help = "Exit status:";
    for (const CStatusMeaning& row : kStatuses) {
        help += "\n  ";
        help += Padded(std::to_string(static_cast<int>(row.status)), kStatusColumns) + row.meaning;
    }
    return help;
}

std::string PortHelp()
{
    std::string help = "Ports:\n"
                       "  sim:           a simulated printer\n"
                       "  sim:OPTIONS    the same, configured by name=value,name=value,...:\n";
    for (const sim::OptionHelp& option : sim::PrinterOptionHelp()) {
        help += "    ";
        help += Padded(option.name + '=' + option.form, kFormColumns) + option.meaning;
        help += option.defaultValue.empty() ? "\n" : " (" + option.defaultValue + ")\n";
    }
    return help +
           "  file:PATH      a file that captures the bytes a printer would receive\n"
           "  usb:           the only USB printer; usb:/dev/usb/lp0 or usb:serial=SN names one (Linux)\n"
           "  tcp:HOST:PORT  a network printer; port 9100 unless given (Linux)\n"
           "    serial=SN, drain-ms=N, half-close=0      options of these two, each after a comma\n";
}

/// Ends the help of every command, at every level.
void SetFooters(std::vector<CCommand>& commands)
{
    for (CCommand& command : commands) {
        command.footer = StatusHelp() + "\n\nPorts are described by zrtctl --help.";
        SetFooters(command.parts);
    }
}

CCommand Program()
{
    CCommand program{.name = kProgram,
                     .help = "Prints on ID-card printers and queries them, through the language monitor.",
                     .parts = {PrintCommand(), GetCommand(), StatusCommand(), SettingsCommand(),
                               PasswordCommand(), PolicyCommand(), PrintersCommand(), JobsCommand(),
                               NamesCommand(), MakeJobCommand(), SimulateCommand(), DevicesCommand(),
                               DoctorCommand(), InstallCommand(), UninstallCommand(), SetupCommand()},
                     .footer = PortHelp() + '\n' + StatusHelp()};
    SetFooters(program.parts);
    return program;
}

/// Runs the command, or prints the help or version.
ExitStatus Run(int argc, const char* const* argv, CHostEnvironment& environment, CConsole& console)
{
    const CCommand program = Program();
    const CParsedLine line = ParseCommandLine(program, ZRTMON_VERSION, argc, argv);
    if (line.command) {
        return line.command->run(environment, console);
    }
    environment.out << line.text;
    return ExitStatus::Done;
}

ExitStatus RunGuarded(int argc, const char* const* argv, CHostEnvironment& environment, CConsole& console)
{
    const auto fail = [&](ExitStatus status, const std::string& message) {
        console.ClearProgress();
        console.Message(std::string(kProgram) + ": " + message, Tone::Bad);
        return status;
    };
    try {
        return Run(argc, argv, environment, console);
    } catch (const CHostError& error) {
        return fail(error.Status(), error.what());
    } catch (const std::bad_alloc&) {
        return fail(ExitStatus::NoDevice, "out of memory");
    } catch (const std::exception& error) {
        return fail(ExitStatus::NoDevice, error.what());
    }
}

} // namespace

int Main(int argc, const char* const* argv, CHostEnvironment& environment)
{
    CConsole console(environment);
    ExitStatus status = RunGuarded(argc, argv, environment, console);
    environment.out.flush();
    if (!environment.out && status == ExitStatus::Done) {
        console.Message(std::string(kProgram) + ": cannot write to standard output", Tone::Bad);
        status = ExitStatus::CannotCreate;
    }
    return static_cast<int>(status);
}

} // namespace zrtmon::host
