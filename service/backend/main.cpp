#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <iostream>

#include <sys/signalfd.h>
#include <sys/syscall.h>

#include "service/backend/arguments.h"
#include "service/backend/bus_service.h"
#include "service/backend/job_data.h"
#include "service/backend/print_session.h"
#include "service/backend/supervisor.h"

namespace {

using namespace zrtmon;
using namespace zrtmon::backend;

int64_t Now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * int64_t{1000} + time.tv_nsec / 1000000;
}

/// In one piece: CUPS reads lines. CUPS may be gone; then nobody reads them.
void WriteLine(const std::string& line)
{
    const std::string text = line + '\n';
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

/// Readable after SIGTERM.
service::CDescriptor MakeStopDescriptor()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    return service::CDescriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

/// The shorter of two times to wait; -1: no limit.
int Shorter(int left, int right) { return left < 0 ? right : right < 0 ? left : std::min(left, right); }

int UntilDeadline(const CPrintSession& session)
{
    if (!session.Deadline()) {
        return -1;
    }
    constexpr int64_t kLongestMs = 3'600'000;
    return static_cast<int>(std::clamp<int64_t>(*session.Deadline() - Now(), 0, kLongestMs));
}

int RunSession(CPrintSession& session, CBusService& service, int stop)
{
    session.Start();
    bool isStopped = false;
    while (!session.ExitStatus()) {
        const std::optional<CBusService::CWait> bus = service.Wait();
        pollfd entries[] = {{isStopped ? -1 : stop, POLLIN, 0}, bus ? bus->descriptor : pollfd{-1, 0, 0}};
        poll(entries, 2, Shorter(UntilDeadline(session), bus ? bus->timeoutMs : -1));
        if (entries[0].revents != 0) {
            isStopped = true;
            session.Stop();
        }
        service.Process();
        session.OnTime();
    }
    return *session.ExitStatus();
}

std::string Environment(const char* name, const char* otherwise)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

/// Readable when the process has ended. Invalid where the system has no such descriptors.
service::CDescriptor WatchProcess(pid_t process)
{
    return service::CDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

bool IsReadable(int descriptor)
{
    pollfd entry{descriptor, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

int PrintJob(const CPrintRequest& request, int cupsd, CSecret& password)
{
    const service::CDescriptor stop = MakeStopDescriptor();
    const service::CDescriptor data = OpenJobData(
        {request.fileName, request.copies, STDIN_FILENO, stop.Get(), Environment("TMPDIR", "/tmp")});
    if (!data) {
        return kHeld;
    }
    CStatusLines lines(WriteLine, Environment("PRINTER_STATE_REASONS", ""));
    CBusService service;
    CPrintSession session({{request.device.printer, request.title, request.owner, request.uuid, data.Get()},
                           request.device.holdAfterMs,
                           [cupsd] { return !IsReadable(cupsd); }},
                          password, service, lines, Now);
    service.ReportTo(session);
    return RunSession(session, service, stop.Get());
}

/// No exit status but 0 and 3, whatever happens.
int Work(std::span<const char* const> arguments, int cupsd, CSecret& password)
{
    try {
        return PrintJob(ReadArguments(arguments, std::getenv("DEVICE_URI")), cupsd, password);
    } catch (const std::exception& error) {
        password.Clear();
        WriteLine(std::string("ERROR: held: ") + error.what());
        return kHeld;
    }
}

/// One line for each printer of the service; none if it is not there.
int Discover()
{
    try {
        for (const std::string& name : CBusService::Printers()) {
            std::cout << "direct " << DeviceUriOf(name) << " \"Unknown\" " << std::quoted(name)
                      << " \"\" \"\"\n";
        }
    } catch (const sdbus::Error& error) {
        WriteLine("DEBUG: zrt: no print service: " + error.getMessage());
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 1) {
        return Discover();
    }
    signal(SIGPIPE, SIG_IGN);
    const std::span<const char* const> arguments(argv + 1, static_cast<size_t>(argc - 1));
    const service::CDescriptor cupsd = WatchProcess(getppid());
    CSecret password; // out of the environment before there are two
    TakePassword(environ, password);
    const int status =
        Supervise([&] { return Work(arguments, cupsd.Get(), password); }, [&] { password.Clear(); }, -1);
    if (status >= 0) {
        return status;
    }
    CStatusLines(WriteLine, AllKeywords())
        .Error("held: the backend was killed; the print service may still print this job");
    return kHeld;
}
