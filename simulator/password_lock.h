/// The printer's password protection: challenges, passwords, and whether the current job is validated.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "simulator/printer_options.h"
#include "simulator/xtea.h"

namespace zrtmon::sim {

/// Not thread-safe.
///
/// A response answers the last challenge handed out, once. The administrator's password is good for
/// everything; the user's validates a job and changes the user's password.
class CPasswordLock {
public:
    explicit CPasswordLock(const PrinterOptions& options);

    /// A fresh random challenge, which replaces the one before.
    const CipherBlock& NewChallenge();

    /// Presents a password: validates the job, or takes the validation away when it is wrong.
    bool Present(std::string_view response);
    /// Carries out a change: the response, a mode byte and, for a new password, its 16-byte field. False,
    /// with nothing changed, when the response or the mode is wrong.
    bool Change(std::string_view parameters);

    void EndValidation() { m_validated = false; }
    void SetProtection(bool on) { m_protection = on; }
    void SetValidated(bool validated) { m_validated = validated; }
    void SetPasswords(const std::string& admin, const std::string& user);

    bool IsProtected() const { return m_protection; }
    bool IsValidated() const { return m_validated; }
    /// A job may be printed now.
    bool IsOpen() const { return !m_protection || m_validated; }

private:
    /// The response is the enciphered challenge.
    static bool Fits(const CipherBlock& challenge, std::string_view response, const CipherKey& key);
    bool CarryOut(uint8_t mode, std::string_view passwordField);

    std::mt19937_64 m_random;
    std::optional<CipherBlock> m_challenge; ///< handed out and not answered yet
    CipherKey m_adminKey;
    CipherKey m_userKey;
    bool m_protection;
    bool m_validated = false;
};

} // namespace zrtmon::sim
