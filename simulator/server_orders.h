/// What a person or a program types to change the printer on the network while it runs.
#pragma once

#include <string>
#include <string_view>

#include "simulator/printer_server.h"

namespace zrtmon::sim {

/// One line each: "error 83", "clear", "busy 3s", "stall 500ms", "slow 100KB/s", "drop", "quit". An empty
/// line is none. Carries the order out; *quits is set to true for "quit". Returns what is wrong with the line
/// and what would do, empty if nothing is.
std::string CarryOutOrder(CPrinterServer& server, std::string_view line, bool* quits);

} // namespace zrtmon::sim
