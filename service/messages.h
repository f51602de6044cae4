/// What the service tells its administrator.
#pragma once

#include <cstdint>
#include <string_view>

namespace zrtmon::service {

/// The number is that of syslog.
enum class Severity { Error = 3, Warning = 4, Info = 6 };

/// Which printer and which job a message is about.
struct CSubject {
    std::string_view printer; ///< empty: none
    uint64_t job = 0;         ///< 0: none
};

/// Writes "printer NAME: job ID: TEXT" as one line to standard error; control characters as \xNN. With the
/// severity in front if the system's journal reads it. The text must hold no secret. Any thread.
void Report(Severity severity, const CSubject& subject, std::string_view text);

} // namespace zrtmon::service
