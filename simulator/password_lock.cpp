#include "simulator/password_lock.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zrtmon::sim {

namespace {

constexpr size_t kResponseBytes = 8;
constexpr uint8_t kSetUserMode = 0x00;
constexpr uint8_t kSetAdminMode = 0x01;
constexpr uint8_t kProtectMode = 0x73;
constexpr uint8_t kUnprotectMode = 0xFD;

/// The password, filled up with '0'; what does not fit is left out.
CipherKey KeyOf(std::string_view password)
{
    CipherKey key;
    key.fill('0');
    std::memcpy(key.data(), password.data(), std::min(password.size(), key.size()));
    return key;
}

CipherBlock BlockOf(std::string_view bytes)
{
    CipherBlock block;
    std::memcpy(block.data(), bytes.data(), block.size());
    return block;
}

} // namespace

CPasswordLock::CPasswordLock(const PrinterOptions& options)
    : m_random(options.seed), m_adminKey(KeyOf(options.adminPassword)),
      m_userKey(KeyOf(options.userPassword)), m_protection(options.protection)
{
}

const CipherBlock& CPasswordLock::NewChallenge()
{
    const uint64_t number = m_random();
    m_challenge.emplace();
    std::memcpy(m_challenge->data(), &number, sizeof number);
    return *m_challenge;
}

bool CPasswordLock::Present(std::string_view response)
{
    const std::optional<CipherBlock> challenge = std::exchange(m_challenge, std::nullopt);
    m_validated =
        challenge && (Fits(*challenge, response, m_adminKey) || Fits(*challenge, response, m_userKey));
    return m_validated;
}

bool CPasswordLock::Change(std::string_view parameters)
{
    const std::optional<CipherBlock> challenge = std::exchange(m_challenge, std::nullopt);
    if (!challenge) {
        return false;
    }
    const std::string_view response = parameters.substr(0, kResponseBytes);
    const auto mode = static_cast<uint8_t>(parameters[kResponseBytes]);
    const bool isAdmin = Fits(*challenge, response, m_adminKey);
    const bool isUser = mode == kSetUserMode && Fits(*challenge, response, m_userKey);
    return (isAdmin || isUser) && CarryOut(mode, parameters.substr(kResponseBytes + 1));
}

bool CPasswordLock::CarryOut(uint8_t mode, std::string_view passwordField)
{
    const CipherKey key = KeyOf(passwordField.substr(0, passwordField.find('\0')));
    switch (mode) {
    case kSetUserMode:
        m_userKey = key;
        return true;
    case kSetAdminMode:
        m_adminKey = key;
        return true;
    case kProtectMode:
        m_protection = true;
        return true;
    case kUnprotectMode:
        m_protection = false;
        return true;
    default:
        return false;
    }
}

void CPasswordLock::SetPasswords(const std::string& admin, const std::string& user)
{
    m_adminKey = KeyOf(admin);
    m_userKey = KeyOf(user);
}

bool CPasswordLock::Fits(const CipherBlock& challenge, std::string_view response, const CipherKey& key)
{
    return Decipher(BlockOf(response), key) == challenge;
}

} // namespace zrtmon::sim
