/// The value names of the printer family, as a user of the command line sees them.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zrtmon::host {

enum class ValueKind {
    Query,    ///< answers a text
    Action,   ///< makes the printer do something; most answer nothing
    Password, ///< an action whose parameters are passwords: they are not taken from a command line
    Unserved, ///< a name of the family that this printer has no answer for
};

struct CValueName {
    std::string_view name;
    ValueKind kind;
    std::string_view parameters; ///< their form behind the '/', empty for none
    std::string_view answer;     ///< what the answer, or the action, is
    std::string_view example;    ///< a request text that works, or the command for one with passwords
};

/// Every known name, in alphabetical order.
std::span<const CValueName> ValueNames();

/// The row of a request text ("MoveTo/3"), found by the part before its first '/' in any letter case; null
/// when the name is not known.
const CValueName* FindValueName(std::string_view requestText);

/// The known name that was most likely meant by an unknown one.
std::string_view NearestValueName(std::string_view name);

/// Why a request text cannot be asked, in one line: an unknown name (with the nearest one), a name that is
/// not served or takes passwords, or parameters that are missing. Empty when it can.
std::string RequestProblem(std::string_view requestText);

} // namespace zrtmon::host
