#pragma once

#include <array>
#include <vector>

#include "requests/data.h"
#include "security/password.h"

namespace zrtmon {

class CDataSecurityToken;

/// Presents the current password: "Password/<current>". Second of a chain behind the token, whose challenge
/// the command answers. The command opens with the security query, whose reply is read and not looked at; no
/// text is left, and what came of it is learnt from "SecurityInfo". The passwords stay until the next
/// Prepare, and are presented again when the request is run again without one.
class CDataPassword : public CData {
public:
    using CommandCode = std::array<uint8_t, 4>;

    /// token is the head of the chain that owns this object.
    explicit CDataPassword(CDataSecurityToken* token) : m_token(token) {}
    ~CDataPassword() override;

    /// May throw std::bad_alloc.
    const uint8_t* GetCommand(uint32_t* length) override;
    /// FALSE, nothing sent, without "/" and for passwords that have no 8-bit form.
    BOOL Prepare(const wchar_t* requestText) override;
    /// The command has left: wipes it.
    void SetSentLength(uint32_t count) override;
    /// Null, and empties both texts of the chain.
    const char* GetFieldName(uint32_t index) override;

    virtual const CommandCode& GetCommandCode() const;

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
    const CommandCode& GetCommandCode() const override;
    virtual uint8_t GetModeByte() const { return 0xFD; }
};

/// Turns password protection on: "EnablePassword/<current>".
class CDataPasswordEnable final : public CDataPasswordDisable {
public:
    using CDataPasswordDisable::CDataPasswordDisable;
    uint8_t GetModeByte() const override { return 0x73; }
};

/// Sets the administrator's password: "SetAdminPassword/<current>/<new>". The new one travels in clear. One
/// that does not fit its field (15 characters) is refused; without one the field is all '0'.
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
