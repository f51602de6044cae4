#include "security/data_security_token.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "link/command_prefix.h"
#include "platform/wipe.h"
#include "security/xtea.h"

namespace zrtmon {

namespace {

constexpr auto kCommand = MakeCommand("NT");
constexpr size_t kKeySize = 16;
constexpr uint8_t kKeyFiller = '0';

uint32_t LittleEndian32(const uint8_t* bytes)
{
    return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

void StoreLittleEndian32(uint32_t word, uint8_t* bytes)
{
    for (int index = 0; index < 4; ++index) {
        bytes[index] = static_cast<uint8_t>(word >> (8 * index));
    }
}

} // namespace

const uint8_t* CDataSecurityToken::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataSecurityToken::Prepare(const wchar_t* requestText)
{
    return !GetNext() || GetNext()->Prepare(requestText);
}

BOOL CDataSecurityToken::Parse()
{
    if (!KeepTextAfter("Corbel:")) {
        return FALSE;
    }
    CutTextAt(';');
    return TRUE;
}

const uint8_t* CDataSecurityToken::ComputeResponse(const char* password, uint32_t* length)
{
    std::array<uint8_t, kKeySize> keyBytes;
    keyBytes.fill(kKeyFiller);
    std::copy_n(password, std::min(std::strlen(password), kKeySize), keyBytes.begin());
    XteaKey key{};
    for (size_t index = 0; index < key.size(); ++index) {
        key[index] = LittleEndian32(keyBytes.data() + 4 * index);
    }
    std::array<uint8_t, kResponseSize> challenge{};
    GetChallenge(challenge.data(), kResponseSize);
    const XteaBlock block =
        EncipherXtea({LittleEndian32(challenge.data()), LittleEndian32(challenge.data() + 4)}, key);
    StoreLittleEndian32(block[0], m_response.data());
    StoreLittleEndian32(block[1], m_response.data() + 4);
    Wipe(keyBytes.data(), keyBytes.size());
    Wipe(key.data(), key.size());
    return CommandBytes(m_response, length);
}

uint32_t CDataSecurityToken::GetChallenge(uint8_t* bytes, uint32_t count)
{
    for (uint32_t index = 0; index < count; ++index) {
        const size_t position = size_t{2} * index;
        char digits[3] = {};
        if (position + 2 <= m_text.size()) {
            m_text.copy(digits, 2, position);
        }
        bytes[index] = static_cast<uint8_t>(std::strtoul(digits, nullptr, 16));
    }
    return count;
}

} // namespace zrtmon
