#include <cwctype>

#include "platform/win32.h"

int WINAPI lstrcmpiW(LPCWSTR left, LPCWSTR right) noexcept
{
    if (!left || !right) {
        return static_cast<int>(left != nullptr) - static_cast<int>(right != nullptr);
    }
    for (;; ++left, ++right) {
        const std::wint_t a = std::towlower(static_cast<std::wint_t>(*left));
        const std::wint_t b = std::towlower(static_cast<std::wint_t>(*right));
        if (a != b) {
            return a < b ? -1 : 1;
        }
        if (a == 0) {
            return 0;
        }
    }
}

LPWSTR WINAPI lstrcpynW(LPWSTR destination, LPCWSTR source, int capacity) noexcept
{
    if (!destination || !source || capacity < 1) {
        return nullptr;
    }
    LPWSTR out = destination;
    for (int room = capacity - 1; room > 0 && *source != L'\0'; --room) {
        *out++ = *source++;
    }
    *out = L'\0';
    return destination;
}
