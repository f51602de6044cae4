/// Text that must not stay in memory: a password.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/wipe.h"

namespace zrtmon {

/// Holds its text in one place, which is wiped when the text is replaced and with the object. Not
/// thread-safe.
class CSecret {
public:
    static constexpr size_t kCapacity = 1024; ///< bytes

    CSecret() = default;
    ~CSecret() { Clear(); }
    CSecret(const CSecret&) = delete;
    CSecret& operator=(const CSecret&) = delete;

    /// False, with nothing changed, if there is no room left.
    bool Append(char byte)
    {
        if (m_size == kCapacity) {
            return false;
        }
        m_bytes[m_size++] = byte;
        return true;
    }
    /// Takes the last byte off when it is that one.
    void DropLast(char byte)
    {
        if (m_size > 0 && m_bytes[m_size - 1] == byte) {
            m_bytes[--m_size] = '\0';
        }
    }
    void Clear()
    {
        Wipe(m_bytes, m_size);
        m_size = 0;
    }

    /// Borrowed until the next change. A NUL follows it, at Data too.
    std::string_view Text() const { return {m_bytes, m_size}; }
    char* Data() { return m_bytes; }

private:
    char m_bytes[kCapacity + 1] = {};
    size_t m_size = 0;
};

} // namespace zrtmon
