/// What the monitor makes of a query.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/win32.h"

namespace zrtmon::host {

/// The printer does not answer on its connection: an action was not sent, a query has no reply (ERROR_RETRY).
inline constexpr DWORD kNotServedError = 1237;

struct CQueryResult {
    bool answered;            ///< the text is the printer's answer; it is empty after most actions
    std::string text;         ///< as the monitor returned it
    DWORD error;              ///< the last error if not answered; 0 then means that there was no text
    std::string problem = {}; ///< why not, in words, if the printer's place knows more than the error
    /// The spooler answered from its store: the monitor refused, and the printer was not asked.
    bool isStored = false;
};

/// An answer that is a number.
struct CQueriedNumber {
    std::optional<int> value; ///< std::nullopt if there was no answer, or one that is not a number
    DWORD error;              ///< without a value: the last error, or 87 for an answer that is not a number
    std::string problem = {}; ///< as CQueryResult
};

CQueriedNumber NumberOf(const CQueryResult& result);

/// The request text of an action whose parameters are passwords, 8-bit text each. The caller wipes it.
std::wstring PasswordRequestText(const std::string& name, std::initializer_list<std::string_view> passwords);

} // namespace zrtmon::host
