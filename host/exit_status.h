/// Exit statuses; the numbers are those of sysexits(3) where it defines one.
#pragma once

#include <stdexcept>
#include <string>

namespace zrtmon::host {

enum class ExitStatus {
    Done = 0,
    PrinterError = 1,
    Usage = 64,
    BadData = 65,
    NoInput = 66,
    NoDevice = 69,
    CannotCreate = 73,
    Busy = 75,
    NoPermission = 77,
    Interrupted = 130,
};

/// Ends a command. The message is one line for the user, without the program's name.
class CHostError : public std::runtime_error {
public:
    CHostError(ExitStatus status, const std::string& message) : std::runtime_error(message), m_status(status)
    {
    }

    ExitStatus Status() const { return m_status; }

private:
    ExitStatus m_status;
};

} // namespace zrtmon::host
