/// Why the service refuses what a client wants.
#pragma once

#include <stdexcept>
#include <string>

namespace zrtmon::service {

enum class ErrorName {
    AccessDenied,
    NoSuchPrinter,
    NoSuchName,
    WrongKind,
    Busy,
    NoDevice,
    PrinterError,
    NotServed,
    BadData,
    TooLarge,
    Stopping,
    Printed,
    Running,
    Interrupted,
};

/// The text is one line for a person.
class CServiceError : public std::runtime_error {
public:
    CServiceError(ErrorName name, const std::string& text) : std::runtime_error(text), m_name(name) {}

    ErrorName Name() const { return m_name; }
    /// "org.zrtmon.Error.Busy".
    std::string BusName() const;

private:
    ErrorName m_name;
};

} // namespace zrtmon::service
