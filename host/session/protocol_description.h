/// What the bytes at the lower port mean, in words.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32.h"

namespace zrtmon::host {

/// Bytes written to the port: the commands in them, or that they are job data.
std::string DescribeCommand(std::string_view bytes);
/// Bytes read from the port.
std::string DescribeReply(std::string_view bytes);
/// A control code of GetPrinterDataFromPort.
std::string DescribeControl(DWORD control);

/// Hides what follows the printer's password commands in the bytes written to one port. A command may be cut
/// anywhere by the end of a write.
class CPasswordMask {
public:
    /// For each of the bytes whether it is to be hidden. Changes no state.
    std::vector<bool> Hidden(std::string_view bytes) const;
    /// Takes note of bytes that the port took.
    void Pass(std::string_view bytes);

private:
    /// Goes one byte on; true when that byte is to be hidden.
    bool Step(uint8_t byte);

    unsigned m_prefixSeen = 0;   ///< bytes of the command prefix that came last
    uint8_t m_command = 0;       ///< letter of the password command under way, 0 for none
    unsigned m_commandBytes = 0; ///< of it that came behind the letter
};

} // namespace zrtmon::host
