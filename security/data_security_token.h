#pragma once

#include <array>

#include "requests/data.h"

namespace zrtmon {

/// The printer's challenge: command "NT", reply "Corbel:", hexadecimal digits, ";". Head of a chain with the
/// password command that responds to it.
class CDataSecurityToken final : public CData {
public:
    static constexpr uint32_t kResponseSize = 8;

    const uint8_t* GetCommand(uint32_t* length) override;
    /// Prepares the password command that follows.
    BOOL Prepare(const wchar_t* requestText) override;
    BOOL Parse() override;

    /// The challenge enciphered with XTEA under a key made of the password, filled with '0' to 16 bytes.
    /// Borrowed until the next call.
    virtual const uint8_t* ComputeResponse(const char* password, uint32_t* length);
    /// Fills in the first count bytes of the challenge, 0 where it is shorter. Returns count.
    virtual uint32_t GetChallenge(uint8_t* bytes, uint32_t count);

private:
    std::array<uint8_t, kResponseSize> m_response{};
};

} // namespace zrtmon
