/// Questions to the printer by value name.
#pragma once

#include <optional>
#include <string>

#include "host/exit_status.h"
#include "platform/win32.h"

namespace zrtmon::host {

struct CAnswer {
    bool answered;    ///< the text is the printer's answer; it is empty after most actions
    std::string text; ///< as the monitor gave it
    DWORD error;      ///< the last error when not answered; 0 then means that there was no text
};

/// Asks through the monitor's GetPrinterDataFromPort with control code 0. requestText is UTF-8, a value name
/// and its parameters. An answer that is too long for the first buffer is asked for again. Any thread.
CAnswer Ask(const MONITOR2& table, HANDLE port, const std::string& requestText);

struct CNumber {
    std::optional<int> value; ///< nothing when there was no answer, or one that is no number
    DWORD error; ///< when there is nothing: the last error, or 87 for an answer that is no number
};

/// As Ask, for a request text whose answer is a number.
CNumber AskNumber(const MONITOR2& table, HANDLE port, const std::string& requestText);

/// The exit status of a question that failed with that last error.
ExitStatus QueryStatus(DWORD error);

} // namespace zrtmon::host
