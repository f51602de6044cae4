/// The command line as data: a tree of commands, the options of each, and where their values are stored.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "host/exit_status.h"

namespace zrtmon::host {

class CConsole;
struct CHostEnvironment;

/// Runs a command whose arguments have been stored. Throws CHostError.
using RunCommand = std::function<ExitStatus(CHostEnvironment& environment, CConsole& console)>;

/// Where the value of an option is stored; until then it holds the default. A bool belongs to a flag, which
/// inverts it. A list takes several arguments; as the value of an option they are separated by ','.
using OptionTarget = std::variant<bool*, uint32_t*, uint64_t*, std::string*, std::vector<std::string>*>;

struct COption {
    std::string name;    ///< "--port"; a positional argument has a word like "FILE"
    OptionTarget target; ///< borrowed; lives as long as the command
    std::string help;
    std::string form = {}; ///< of the value, in the help: "PORT"
    uint64_t least = 0;    ///< of a number
    uint64_t most = UINT32_MAX;
    bool required = false;
};

struct CCommand {
    std::string name;
    std::string help;
    std::vector<COption> options = {};
    RunCommand run = {};              ///< empty for a command that has parts
    std::vector<CCommand> parts = {}; ///< one of them must follow: "show" after "settings"
    bool hidesExtraArguments = false; ///< an argument that it does not take may be a password
    std::string footer = {};          ///< last lines of the help
};

/// What a command line asks for.
struct CParsedLine {
    const CCommand* command = nullptr; ///< to be run, its arguments stored; null when text is to be printed
    std::string text = {};             ///< help or version
};

/// Parses the arguments of the program, which is the root of the tree, and stores the values of the command
/// that was given. argv[0] is ignored. Throws CHostError (Usage) with the argument that is wrong, why, and
/// what would do.
CParsedLine ParseCommandLine(const CCommand& program, const std::string& version, int argc,
                             const char* const* argv);

} // namespace zrtmon::host
