/// Queries to the printer by value name, as the commands need them.
#pragma once

#include <optional>
#include <string>

#include "host/exit_status.h"
#include "platform/win32.h"

namespace zrtmon::host {

class CSpoolerSession;

/// The error of an action that was not sent: the printer did not answer on its connection (ERROR_RETRY).
inline constexpr DWORD kNotServedError = 1237;

struct CQueryResult {
    bool answered;    ///< the text is the printer's answer; it is empty after most actions
    std::string text; ///< as the monitor returned it
    DWORD error;      ///< the last error if not answered; 0 then means that there was no text
};

/// The answer to a query. Throws CHostError if there is none.
std::string QueryOrThrow(const CSpoolerSession& session, const std::string& requestText);

struct CQueriedNumber {
    std::optional<int> value; ///< std::nullopt if there was no answer, or one that is not a number
    DWORD error;              ///< without a value: the last error, or 87 for an answer that is not a number
};

CQueriedNumber QueryNumber(const CSpoolerSession& session, const std::string& requestText);

/// Why a query failed with that last error, for a message.
std::string QueryErrorText(const CSpoolerSession& session, DWORD error);

/// The exit status after a query that failed with that last error.
ExitStatus QueryStatus(DWORD error);

} // namespace zrtmon::host
