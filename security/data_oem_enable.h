#pragma once

#include <vector>

#include "security/data_security.h"

namespace zrtmon {

class CDataSerialNumber;

/// Switches OEM supplies on: command "TU" with the first eight characters of the serial number (zero bytes
/// where it is shorter), and the security query, whose reply is read. Second of a chain after the serial
/// number; leaves no text.
class CDataOEMEnable final : public CDataSecurity {
public:
    /// serialRequest is the head of the chain that owns this object.
    explicit CDataOEMEnable(CDataSerialNumber* serialRequest) : m_serialRequest(serialRequest) {}

    const uint8_t* GetCommand(uint32_t* length) override;
    /// Null, and empties both texts of the chain.
    const char* GetFieldName(uint32_t index) override;

private:
    CDataSerialNumber* m_serialRequest;
    std::vector<uint8_t> m_command;
};

} // namespace zrtmon
