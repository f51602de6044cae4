/// What the program gets from its process, or from a test.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "platform/print_system.h"
#include "platform/spooler_setup.h"
#include "platform/terminal.h"
#include "platform/win32.h"

namespace zrtmon::host {

class ISystemPrinters;

/// A running thread; the destructor waits for its end.
class IRunningThread {
public:
    virtual ~IRunningThread() = default;
};

/// The library's entry point, as it exports it.
using InitializeMonitor = MONITOR2*(WINAPI*)(MONITORINIT* init, HANDLE* monitor);

struct CHostEnvironment {
    std::ostream& out; ///< standard output: answers
    std::ostream& err; ///< standard error: progress and messages
    /// err is a terminal, on which the progress line can be rewritten.
    bool rewritesLine = false;
    bool colors = false;
    std::function<unsigned()> columns; ///< of the terminal that shows err
    /// Whether the interrupt key was pressed. Any thread.
    std::function<bool()> wasInterrupted;
    /// A person types at standard input.
    bool inputIsTyped = false;
    /// As terminal::ReadSecret.
    std::function<terminal::SecretEnd(CSecret& line, const std::function<bool()>& stop)> readSecret;
    /// As terminal::ReadLine.
    std::function<std::optional<std::string>(const std::function<bool()>& stop)> readLine;
    std::function<std::unique_ptr<IRunningThread>(std::function<void()> body)> startThread;
    /// The program's folder, where the search for the monitor's library begins.
    std::filesystem::path programFolder;
    /// The system's folder of libraries if the spooler loads the monitor from there, else empty.
    std::filesystem::path systemFolder;
    std::string libraryFile; ///< its file name
    /// Replaces the library's export if set; no library is loaded then.
    InitializeMonitor initialize = nullptr;
    IPrintSystem* printSystem = nullptr;   ///< the machine's own; never null
    ISpoolerSetup* spoolerSetup = nullptr; ///< likewise
    /// As devices::ExamineDevices; empty: no devices are looked for.
    std::function<std::vector<CDiagnostic>(const std::string& path)> examineDevices = {};
    ISystemPrinters* systemPrinters = nullptr; ///< likewise
};

} // namespace zrtmon::host
