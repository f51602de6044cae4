/// Queries and actions, as clients name them.
#pragma once

#include <string>
#include <string_view>

#include "host/session/spooler_session.h"
#include "service/service_error.h"

namespace zrtmon::service {

enum class RequestKind { Query, Action };

/// Throws CServiceError unless the text is a value name of that kind with the parameters that it needs.
void CheckRequest(RequestKind kind, std::string_view text);

/// Queries the printer, or makes it act, and returns its answer. The text was checked; it may hold passwords,
/// of which no copy is left. Throws CServiceError, its text with the monitor's last error at the end: "...
/// (error 170)".
std::string CarryOut(const host::CSpoolerSession& session, const std::string& text);

} // namespace zrtmon::service
