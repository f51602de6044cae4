/// What a command line needs of the system around it: its streams, its environment, the interrupt key and
/// the place it was started from.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace zrtmon::terminal {

enum class Stream { Output, Error };

/// Whether the stream is shown on a terminal on which a line can be written over.
bool IsTerminal(Stream stream);

/// Character columns of the terminal behind the stream; 80 when it has none or does not tell.
unsigned Columns(Stream stream);

/// A variable of the environment, nothing when it is not set.
std::optional<std::string> Environment(const std::string& name);

/// The folder that holds the running program; empty when the system does not tell.
std::filesystem::path ProgramFolder();

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
