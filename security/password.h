#pragma once

#include <cstdint>
#include <string>

#include "platform/win32.h"

namespace zrtmon {

/// The passwords in the text of a password request: "Name/current" or "Name/current/new". They are wiped from
/// memory when they are replaced and with the object.
///
/// A password reaches the printer as 8-bit text, filled with '0' to 15 characters: character U+0001 to U+00FF
/// is the byte of that value. Any other character cannot be encoded; the text is rejected.
class CPassword {
public:
    static constexpr size_t kPaddedLength = 15;

    CPassword() = default;
    virtual ~CPassword();
    CPassword(const CPassword&) = delete;
    CPassword& operator=(const CPassword&) = delete;

    /// Keeps what follows the first "/". FALSE, nothing changed, without "/", with a character that cannot be
    /// encoded, or if memory is exhausted.
    virtual BOOL SetText(const wchar_t* requestText);
    /// GetField of the first parameter.
    virtual const char* GetCurrent() { return GetField(0); }
    /// GetField of the second.
    virtual const char* GetNew() { return GetField(1); }
    /// Parameter number index, cut to 255 characters and padded; null if there is none. Borrowed until the
    /// next call.
    virtual const char* GetField(uint32_t index);
    /// Fills the field up to 15 characters.
    virtual void Pad();

private:
    static constexpr size_t kFieldSize = 256;

    std::wstring m_parameters;
    char m_field[kFieldSize] = {};
};

} // namespace zrtmon
