/// What the command line is given by whoever runs it: the process itself, or a test.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>

#include "platform/print_system.h"
#include "platform/spooler_setup.h"
#include "platform/terminal.h"
#include "platform/win32.h"

namespace zrtmon::host {

/// A running thread; destroying it waits for its end.
class IRunningThread {
public:
    virtual ~IRunningThread() = default;
};

/// The library's entry point, as it exports it.
using InitializeMonitor = MONITOR2*(WINAPI*)(MONITORINIT* init, HANDLE* monitor);

struct CHostEnvironment {
    std::ostream& out; ///< answers
    std::ostream& err; ///< progress and messages
    /// err is a terminal: the progress is one line, written over.
    bool rewritesLine = false;
    bool colors = false;
    std::function<unsigned()> columns; ///< of the terminal behind err
    /// Whether the interrupt key was pressed. Any thread.
    std::function<bool()> wasInterrupted;
    /// A person types at standard input.
    bool inputIsTyped = false;
    /// As terminal::ReadSecret.
    std::function<terminal::SecretEnd(CSecret& line, const std::function<bool()>& stop)> readSecret;
    std::function<std::unique_ptr<IRunningThread>(std::function<void()> body)> startThread;
    /// Where the monitor's library is looked for, nearest first.
    std::filesystem::path programFolder;
    /// The system's folder of libraries if the spooler loads the monitor from there, else empty.
    std::filesystem::path systemFolder;
    std::string libraryFile; ///< its file name
    /// In place of the library's export, when set: nothing is loaded then.
    InitializeMonitor initialize = nullptr;
    IPrintSystem* printSystem = nullptr;   ///< the machine's own; never null
    ISpoolerSetup* spoolerSetup = nullptr; ///< likewise
};

} // namespace zrtmon::host
