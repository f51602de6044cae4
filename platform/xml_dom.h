/// The XML services that the policy file needs: on Windows MSXML through COM, elsewhere our own small
/// document object model with the same interfaces.
#pragma once

#include "platform/win32.h"

#ifdef _WIN32

// oleauto.h first: msxml.h uses its types.
#include <msxml.h>
#include <oleauto.h>

#else

#include "platform/posix/xml_api.h"

#endif

namespace zrtmon {

// The system's headers declare these names, too; their class may be of another version.
inline constexpr CLSID CLSID_DOMDocument = {
    0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};
inline constexpr IID IID_IXMLDOMDocument = {
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

/// Whether path names a readable file of at most maxBytes, on this machine or on a share, directly or through
/// a link: not an address such as "http:...", a directory, a pipe or a device. A service with the highest
/// rights checks this before it loads a file because printer data names it. Any thread.
ZRT_PLATFORM_API bool IsRegularFile(const wchar_t* path, uint64_t maxBytes) noexcept;

} // namespace zrtmon
