#include <getopt.h>
#include <iostream>
#include <optional>
#include <sys/resource.h>

#include "host/exit_status.h"
#include "host/text/file.h"
#include "platform/terminal.h"
#include "service/bus/bus.h"
#include "service/messages.h"
#include "service/notify.h"
#include "service/service.h"
#include "service/signals.h"

namespace {

using namespace zrtmon;
using namespace zrtmon::service;

struct COptions {
    std::string configurationFolder = "/etc/zrtmon";
    std::string stateFolder = "/var/lib/zrtmon";
    std::string library;
    bool isSessionBus = false;
    bool checksOnly = false;
};

int Status(host::ExitStatus status) { return static_cast<int>(status); }

/// Says what the configuration is, and what is wrong with it.
int CheckConfiguration(const COptions& options)
{
    const CConfiguration configuration = LoadConfiguration(host::PathFromUtf8(options.configurationFolder));
    for (const CPrinterConfiguration& printer : configuration.printers) {
        std::cout << printer.name << " on " << printer.port << '\n';
    }
    for (const std::string& problem : configuration.problems) {
        std::cerr << problem << '\n';
    }
    return Status(configuration.problems.empty() ? host::ExitStatus::Done : host::ExitStatus::BadData);
}

/// Only what loading the monitor's library needs.
host::CHostEnvironment Environment()
{
    return {
        .out = std::cout,
        .err = std::cerr,
        .columns = nullptr,
        .wasInterrupted = nullptr,
        .readSecret = nullptr,
        .readLine = nullptr,
        .startThread = nullptr,
        .programFolder = terminal::ProgramFolder(),
        .systemFolder = terminal::SystemFolder(),
        .libraryFile = terminal::SharedLibraryName("zrtmon"),
        .examineDevices = nullptr,
    };
}

/// Each job that waits holds a descriptor or two.
void AllowManyDescriptors()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int Run(const COptions& options)
{
    AllowManyDescriptors();
    const host::CHostEnvironment environment = Environment();
    CService* service = nullptr;
    bool isBusLost = false;
    const auto stop = [&] {
        NotifyStopping();
        service->Stop();
    };
    CSignals signals(stop, [&] {
        NotifyReloading();
        Report(Severity::Info, {}, "reading the configuration again");
        service->Load();
        NotifyReady();
    });
    CBus bus(options.isSessionBus, [&] {
        isBusLost = true;
        stop();
    });
    CMainLoop loop; // after the bus: it may still hold answers when it ends
    const CServiceOptions serviceOptions{host::PathFromUtf8(options.configurationFolder),
                                         host::PathFromUtf8(options.stateFolder), options.library};
    CService keptService(serviceOptions, loop, environment, bus);
    service = &keptService;
    service->Load();
    bus.Serve(*service);
    NotifyReady();
    loop.Run({&signals, &bus});
    Report(Severity::Info, {}, "stopped");
    // The service manager starts a service that has failed again.
    return Status(isBusLost ? host::ExitStatus::NoDevice : host::ExitStatus::Done);
}

constexpr char kHelp[] = R"(Keeps the configured card printers for the programs of this machine.

Usage: zrtmond [OPTION...]

  --config FOLDER   of the configuration (/etc/zrtmon)
  --state FOLDER    of the database (/var/lib/zrtmon)
  --library FILE    the monitor's library; searched for by default
  --session         serve on the session bus instead of the system bus
  --check           say what the configuration is, and what is wrong with it
  --version, --help
)";

constexpr option kOptions[] = {
    {"config", required_argument, nullptr, 'c'},  {"state", required_argument, nullptr, 's'},
    {"library", required_argument, nullptr, 'l'}, {"session", no_argument, nullptr, 'b'},
    {"check", no_argument, nullptr, 'k'},         {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},          {nullptr, 0, nullptr, 0},
};

/// The exit status if the program has nothing more to do.
std::optional<int> ParseOptions(int argc, char** argv, COptions& options)
{
    for (int letter = 0; (letter = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        switch (letter) {
        case 'c':
            options.configurationFolder = optarg;
            break;
        case 's':
            options.stateFolder = optarg;
            break;
        case 'l':
            options.library = optarg;
            break;
        case 'b':
            options.isSessionBus = true;
            break;
        case 'k':
            options.checksOnly = true;
            break;
        case 'v':
            std::cout << "zrtmond " << ZRTMON_VERSION << '\n';
            return Status(host::ExitStatus::Done);
        case 'h':
            std::cout << kHelp;
            return Status(host::ExitStatus::Done);
        default: // getopt has said what is wrong
            return Status(host::ExitStatus::Usage);
        }
    }
    if (optind < argc) {
        std::cerr << "zrtmond: unexpected argument \"" << argv[optind]
                  << "\"; \"zrtmond --help\" lists the options\n";
        return Status(host::ExitStatus::Usage);
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv)
{
    COptions options;
    if (const std::optional<int> status = ParseOptions(argc, argv, options)) {
        return *status;
    }
    try {
        return options.checksOnly ? CheckConfiguration(options) : Run(options);
    } catch (const sdbus::Error& error) {
        Report(Severity::Error, {}, "the bus: " + error.getMessage() + " (" + error.getName() + ')');
    } catch (const std::exception& error) {
        Report(Severity::Error, {}, error.what());
    }
    return Status(host::ExitStatus::NoDevice);
}
