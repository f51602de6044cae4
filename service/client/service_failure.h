/// Why the print service did not do what it was asked for, as exit statuses and words.
#pragma once

#include <string>
#include <string_view>

#include "host/places/system_printers.h"
#include "platform/win32.h"

namespace zrtmon::client {

/// The service, or the bus, refused a call.
class CServiceRefusal : public host::CHostError {
public:
    CServiceRefusal(host::ExitStatus status, DWORD error, const std::string& message)
        : CHostError(status, message), m_error(error)
    {
    }

    /// The error of the monitor or spooler that says the same: 5 the right is missing, 2 there is no such
    /// value.
    DWORD Error() const { return m_error; }

private:
    DWORD m_error;
};

/// The service was there, and is gone.
class CServiceLost : public host::CNoPrintSystem {
public:
    enum class Cause {
        ServiceEnded,
        BusLost, ///< the connection to the bus broke; the service finishes what it prints
    };

    CServiceLost(Cause cause, const std::string& message) : CNoPrintSystem(message), m_cause(cause) {}

    Cause Why() const { return m_cause; }

private:
    Cause m_cause;
};

/// Throws the CServiceRefusal, CServiceLost or CNoPrintSystem that a failed call means. name: the error's
/// name on the bus; message: its text.
[[noreturn]] void ThrowBusError(std::string_view name, const std::string& message);

} // namespace zrtmon::client
