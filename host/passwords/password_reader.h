/// Reads passwords, typed at a terminal that does not show them or one line each from standard input.
#pragma once

#include <functional>
#include <string>

#include "host/environment.h"
#include "host/terminal/console.h"
#include "platform/secret.h"

namespace zrtmon::host {

/// Characters of a new password that the printer keeps.
inline constexpr size_t kLongestNewPassword = 15;
/// Characters of a password that can be presented.
inline constexpr size_t kLongestPassword = 254;

enum class PasswordEnd {
    Given,
    EndOfInput,
    Stopped,
    Unfit, ///< too long, or with a character that cannot be encoded
};

struct CPasswordEntry {
    PasswordEnd end;
    std::string problem; ///< of an unfit one; never shows any part of it
};

/// One thread. The arguments are borrowed for its life.
class CPasswordReader {
public:
    CPasswordReader(const CHostEnvironment& environment, CConsole& console)
        : m_environment(environment), m_console(console)
    {
    }

    bool IsTyped() const { return m_environment.inputIsTyped; }

    /// Reads one password as the printer's 8-bit text: characters U+0001 to U+00FF except '/'. label is the
    /// prompt at a terminal: "new password". stop is called repeatedly during the wait; true ends it.
    CPasswordEntry Read(const std::string& label, size_t longest, CSecret& password,
                        const std::function<bool()>& stop);

private:
    const CHostEnvironment& m_environment;
    CConsole& m_console;
};

} // namespace zrtmon::host
