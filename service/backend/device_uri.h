/// The address by which CUPS knows a printer of the service: "zrt:/NAME?hold-after=15min".
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zrtmon::backend {

/// A text that CUPS gave and that is not valid. The message is one line: what is wrong, and what would do.
class CBadArgument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CDeviceUri {
    static constexpr int64_t kHoldAfterMs = 15 * 60 * 1000;

    std::string printer; ///< name of the printer in the service, UTF-8
    /// A job that has waited this long for a password is held. 0: it waits for as long as it takes.
    int64_t holdAfterMs = kHoldAfterMs;
};

/// Reads an address. Throws CBadArgument.
CDeviceUri ReadDeviceUri(std::string_view uri);

/// The address of a printer, without options: every byte that is not a letter, a digit or one of "-._~" as
/// %XX.
std::string DeviceUriOf(std::string_view printer);

} // namespace zrtmon::backend
