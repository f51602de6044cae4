/// Questions to the printer by value name.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "host/exit_status.h"
#include "platform/win32.h"

namespace zrtmon::host {

struct CQueryResult {
    bool answered;    ///< the text is the printer's answer; it is empty after most actions
    std::string text; ///< as the monitor gave it
    DWORD error;      ///< the last error when not answered; 0 then means that there was no text
};

/// Asks through the monitor's GetPrinterDataFromPort with control code 0. requestText is UTF-8, a value name
/// and its parameters. An answer that is too long for the first buffer is asked for again. Any thread.
CQueryResult Query(const MONITOR2& table, HANDLE port, const std::string& requestText);

/// As Ask, for an answer that is needed. Throws CHostError.
std::string QueryOrThrow(const MONITOR2& table, HANDLE port, const std::string& requestText);

/// Makes the printer do something that takes passwords, 8-bit text each, as parameters. What is made of them
/// here is wiped. Any thread. Throws CHostError, which does not show them.
void SendPasswords(const MONITOR2& table, HANDLE port, const std::string& name,
                   std::initializer_list<std::string_view> passwords);

struct CQueriedNumber {
    std::optional<int> value; ///< nothing when there was no answer, or one that is no number
    DWORD error; ///< when there is nothing: the last error, or 87 for an answer that is no number
};

/// As Ask, for a request text whose answer is a number.
CQueriedNumber QueryNumber(const MONITOR2& table, HANDLE port, const std::string& requestText);

/// The exit status of a question that failed with that last error.
ExitStatus QueryStatus(DWORD error);

} // namespace zrtmon::host
