#include "platform/xml_dom.h"

namespace zrtmon {

namespace {

/// Names of shares, devices and pipes begin with two backslashes or slashes; addresses hold "://".
bool IsLocalName(const wchar_t* path)
{
    const auto isSlash = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    if (!path || !path[0] || (isSlash(path[0]) && isSlash(path[1]))) {
        return false;
    }
    for (; *path; ++path) {
        if (path[0] == L':' && isSlash(path[1]) && isSlash(path[2])) {
            return false;
        }
    }
    return true;
}

} // namespace

bool IsLocalFile(const wchar_t* path, uint64_t maxBytes) noexcept
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!IsLocalName(path) || !GetFileAttributesExW(path, GetFileExInfoStandard, &data)) {
        return false;
    }
    constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT;
    const uint64_t size = uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
    return (data.dwFileAttributes & kNoFile) == 0 && size <= maxBytes;
}

} // namespace zrtmon
