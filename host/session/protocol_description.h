/// Describes in words the bytes that pass the lower port.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"

namespace zrtmon::host {

/// Describes bytes written to the port: the commands in them, or "job data".
std::string DescribeCommand(std::string_view bytes);
/// Describes bytes read from the port.
std::string DescribeReply(std::string_view bytes);
/// Describes a control code of GetPrinterDataFromPort.
std::string DescribeControl(DWORD control);

/// Hides what follows the printer's password commands in the bytes written to one port. A write may end
/// anywhere in a command.
class CPasswordMask {
public:
    /// For each byte, whether it must be hidden. The state is not changed.
    std::vector<bool> Hidden(std::string_view bytes) const;
    /// Advances past bytes that the port accepted.
    void Pass(std::string_view bytes);

private:
    /// Advances by one byte; true if that byte must be hidden.
    bool Step(uint8_t byte);

    unsigned m_prefixSeen = 0;   ///< bytes of the command prefix seen last
    uint8_t m_command = 0;       ///< letter of the current password command, 0 for none
    unsigned m_commandBytes = 0; ///< of it, after the letter
};

} // namespace zrtmon::host
