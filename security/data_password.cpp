#include "security/data_password.h"

#include <algorithm>
#include <cstring>

#include "link/command_prefix.h"
#include "platform/wipe.h"
#include "security/data_security.h"
#include "security/data_security_token.h"

namespace zrtmon {

namespace {

constexpr auto kPresent = MakeCommand("4");
constexpr auto kChange = MakeCommand("5");
constexpr size_t kNewPasswordFieldSize = 16; // with the NUL
constexpr uint8_t kFiller = '0';

} // namespace

CDataPassword::~CDataPassword() { Wipe(m_command); }

const uint8_t* CDataPassword::GetCommand(uint32_t* length)
{
    m_command.clear();
    const char* current = m_password.GetCurrent();
    if (!current) {
        return CommandBytes({}, length);
    }
    uint32_t codeLength = 0;
    const uint8_t* code = GetCommandCode(&codeLength);
    uint32_t responseLength = 0;
    const uint8_t* response = m_token->ComputeResponse(current, &responseLength);
    m_command.insert(m_command.end(), CDataSecurity::kCommand.begin(), CDataSecurity::kCommand.end());
    m_command.insert(m_command.end(), code, code + codeLength);
    m_command.insert(m_command.end(), response, response + responseLength);
    return CommandBytes(m_command, length);
}

BOOL CDataPassword::Prepare(const wchar_t* requestText) { return m_password.SetText(requestText); }

void CDataPassword::SetSentLength(uint32_t count)
{
    CData::SetSentLength(count);
    Wipe(m_command);
}

const char* CDataPassword::GetFieldName(uint32_t /*index*/)
{
    ClearText();
    m_token->ClearText();
    return nullptr;
}

const uint8_t* CDataPassword::GetCommandCode(uint32_t* length) const
{
    return CommandBytes(kPresent, length);
}

const uint8_t* CDataPasswordDisable::GetCommand(uint32_t* length)
{
    if (!CDataPassword::GetCommand(length)) {
        return nullptr;
    }
    m_command.push_back(GetModeByte());
    return CommandBytes(m_command, length);
}

const uint8_t* CDataPasswordDisable::GetCommandCode(uint32_t* length) const
{
    return CommandBytes(kChange, length);
}

BOOL CDataPasswordSet::Prepare(const wchar_t* requestText)
{
    CPassword given;
    if (!given.SetText(requestText)) {
        return FALSE;
    }
    const char* newPassword = given.GetNew();
    if (newPassword && std::strlen(newPassword) >= kNewPasswordFieldSize) {
        return FALSE;
    }
    return CDataPassword::Prepare(requestText);
}

const uint8_t* CDataPasswordSet::GetCommand(uint32_t* length)
{
    if (!CDataPasswordDisable::GetCommand(length)) {
        return nullptr;
    }
    const size_t field = m_command.size();
    m_command.resize(field + kNewPasswordFieldSize, kFiller);
    if (const char* newPassword = m_password.GetNew()) {
        std::copy_n(newPassword, std::strlen(newPassword) + 1,
                    m_command.begin() + static_cast<std::ptrdiff_t>(field));
    }
    return CommandBytes(m_command, length);
}

} // namespace zrtmon
