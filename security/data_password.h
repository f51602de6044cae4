#pragma once

#include <vector>

#include "requests/data.h"
#include "security/password.h"

namespace zrtmon {

class CDataSecurityToken;

/// Presents the current password: "Password/<current>". Second of a chain after the token, to whose challenge
/// the command responds. The command begins with the security query, whose reply is read and ignored. No text
/// is left: the result shows in "SecurityInfo". The passwords stay until the next Prepare, and are presented
/// again if the request is run again without one.
class CDataPassword : public CData {
public:
    /// token is the head of the chain that owns this object.
    explicit CDataPassword(CDataSecurityToken* token) : m_token(token) {}
    ~CDataPassword() override;

    /// May throw std::bad_alloc.
    const uint8_t* GetCommand(uint32_t* length) override;
    /// FALSE without "/", for passwords that have no 8-bit form, and if memory is exhausted.
    BOOL Prepare(const wchar_t* requestText) override;
    /// Wipes the command after the attempt to send it.
    void SetSentLength(uint32_t count) override;
    /// Null, and empties both texts of the chain.
    const char* GetFieldName(uint32_t index) override;

    /// The bytes that precede the response.
    virtual const uint8_t* GetCommandCode(uint32_t* length) const;

protected:
    std::vector<uint8_t> m_command;
    CPassword m_password;

private:
    CDataSecurityToken* m_token;
};

/// Turns password protection off: "DisablePassword/<current>". Base of the commands with a mode byte.
class CDataPasswordDisable : public CDataPassword {
public:
    using CDataPassword::CDataPassword;
    const uint8_t* GetCommand(uint32_t* length) override;
    const uint8_t* GetCommandCode(uint32_t* length) const override;
    virtual uint8_t GetModeByte() const { return 0xFD; }
};

/// Turns password protection on: "EnablePassword/<current>".
class CDataPasswordEnable final : public CDataPasswordDisable {
public:
    using CDataPasswordDisable::CDataPasswordDisable;
    uint8_t GetModeByte() const override { return 0x73; }
};

/// Sets the administrator's password: "SetAdminPassword/<current>/<new>". The new one is sent in clear.
/// Prepare refuses one that does not fit its field (15 characters); without one the field is all '0'.
class CDataPasswordSet : public CDataPasswordDisable {
public:
    using CDataPasswordDisable::CDataPasswordDisable;
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Prepare(const wchar_t* requestText) override;
    uint8_t GetModeByte() const override { return 0x01; }
};

/// Sets the user's password: "SetUserPassword/<current>/<new>".
class CDataPasswordSetUser final : public CDataPasswordSet {
public:
    using CDataPasswordSet::CDataPasswordSet;
    uint8_t GetModeByte() const override { return 0x00; }
};

} // namespace zrtmon
