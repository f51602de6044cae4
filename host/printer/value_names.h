/// The value names of the printer family, as a user of the command line sees them.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zrtmon::host {

enum class ValueKind {
    Query,    ///< returns a text
    Action,   ///< makes the printer do something; most return no text
    Password, ///< an action whose parameters are passwords: not accepted on a command line
    Unserved, ///< a name of the family that this printer does not support
};

struct CValueName {
    std::string_view name;
    ValueKind kind;
    std::string_view parameters; ///< their form, after the '/'; empty if there are none
    std::string_view answer;     ///< meaning of the answer, or of the action
    std::string_view example;    ///< a valid request text, or the command for one with passwords
};

/// Every known name, in alphabetical order.
std::span<const CValueName> ValueNames();

/// The row of a request text ("MoveTo/3"), found case-insensitively by the part before its first '/'; null if
/// the name is unknown.
const CValueName* FindValueName(std::string_view requestText);

/// The known name that is nearest to an unknown one; empty if none is near.
std::string_view NearestValueName(std::string_view name);

/// Why a request text is refused, in one line: an unknown name (with the nearest one), a name that is not
/// supported or takes passwords, or missing parameters. Empty if it is valid.
std::string RequestProblem(std::string_view requestText);

} // namespace zrtmon::host
