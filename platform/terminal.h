/// What a command line needs of the system around it: its streams, its environment, the interrupt key and
/// the place it was started from.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "platform/secret.h"

namespace zrtmon::terminal {

enum class Stream { Output, Error };

/// Whether the stream is shown on a terminal on which a line can be written over.
bool IsTerminal(Stream stream);

/// Character columns of the stream's terminal; 80 if it has none or does not report them.
unsigned Columns(Stream stream);

/// Whether standard input is a terminal, at which a person types.
bool IsInputTyped();

enum class SecretEnd {
    Line,       ///< a line has been read, the last one perhaps without its end
    EndOfInput, ///< no more input
    TooLong,    ///< the line did not fit, and is passed over
    Stopped,    ///< stop answered true; what had come of the line is dropped
};

/// Reads one line of standard input, UTF-8 without its end, and nothing of the lines after it. A terminal
/// does not show what is typed. stop is called at least every 100 ms while it waits. The line is empty unless
/// the result is Line. One thread at a time.
SecretEnd ReadSecret(CSecret& line, const std::function<bool()>& stop);

/// Reads one line of standard input without its end, as it is shown; of a line over 4096 bytes only these.
/// std::nullopt at the end of the input, and when stop returns true, which is called at least every 100 ms
/// while it waits. At a Windows console a line holds no more than a secret does. One thread at a time.
std::optional<std::string> ReadLine(const std::function<bool()>& stop);

/// A variable of the environment; std::nullopt if it is not set.
std::optional<std::string> Environment(const std::string& name);

/// The folder that holds the running program; empty if the system does not report it.
std::filesystem::path ProgramFolder();

/// The folder from which the system's spooler loads monitors; empty if this system's loads none.
std::filesystem::path SystemFolder();

/// The file name under which the system's linker stores the shared library of that name.
std::string SharedLibraryName(const std::string& name);

/// While one exists, the first press of the interrupt key (or the system's request to end) is noted
/// instead of ending the process; the second ends it. At most one at a time.
class CInterruptKey {
public:
    CInterruptKey();
    ~CInterruptKey();
    CInterruptKey(const CInterruptKey&) = delete;
    CInterruptKey& operator=(const CInterruptKey&) = delete;

    /// Any thread.
    static bool WasPressed();
};

} // namespace zrtmon::terminal
