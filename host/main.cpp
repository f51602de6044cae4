#include <iostream>

#include "devices/device_ports.h"
#include "host/places/machine_printers.h"
#include "host/program.h"
#include "platform/print_system.h"
#include "platform/spooler_setup.h"
#include "platform/terminal.h"
#include "platform/thread.h"

namespace {

using namespace zrtmon;

class CSystemThread final : public host::IRunningThread {
public:
    explicit CSystemThread(std::function<void()> body) : m_thread(std::move(body)) {}

private:
    CThread m_thread;
};

} // namespace

int main(int argc, char** argv)
{
    const terminal::CInterruptKey interruptKey;
    const bool isTerminal = terminal::IsTerminal(terminal::Stream::Error);
    host::CHostEnvironment environment{
        .out = std::cout,
        .err = std::cerr,
        .rewritesLine = isTerminal,
        .colors = isTerminal && terminal::Environment("NO_COLOR").value_or("").empty(),
        .columns = [] { return terminal::Columns(terminal::Stream::Error); },
        .wasInterrupted = terminal::CInterruptKey::WasPressed,
        .inputIsTyped = terminal::IsInputTyped(),
        .readSecret = terminal::ReadSecret,
        .readLine = terminal::ReadLine,
        .startThread = [](std::function<void()> body) -> std::unique_ptr<host::IRunningThread> {
            return std::make_unique<CSystemThread>(std::move(body));
        },
        .programFolder = terminal::ProgramFolder(),
        .systemFolder = terminal::SystemFolder(),
        .libraryFile = terminal::SharedLibraryName("zrtmon"),
        .printSystem = &MachinePrintSystem(),
        .spoolerSetup = &MachineSpoolerSetup(),
        .examineDevices = devices::ExamineDevices,
    };
    const std::unique_ptr<host::ISystemPrinters> printers = host::MachinePrinters(environment);
    environment.systemPrinters = printers.get();
    return host::Main(argc, argv, environment);
}
