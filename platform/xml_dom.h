/// The XML services that the policy file needs: on Windows MSXML through COM, elsewhere a small document
/// object model of our own with the same interfaces.
#pragma once

#include "platform/win32.h"

#ifdef _WIN32

// oleauto.h first: msxml.h uses its types.
#include <msxml.h>
#include <oleauto.h>

namespace zrtmon {

inline constexpr CLSID kXmlDocumentClass = {
    0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};
inline constexpr IID kXmlDocumentInterface = {
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

} // namespace zrtmon

#else

#include "platform/posix/xml_api.h"

#endif

namespace zrtmon {

/// Whether path names a file of this machine, of at most maxBytes, that is no directory, device or pipe: what
/// a service with the highest rights may open on the word of a printer's stored data. Any thread.
ZRT_PLATFORM_API bool IsLocalFile(const wchar_t* path, uint64_t maxBytes) noexcept;

} // namespace zrtmon
