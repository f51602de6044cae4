#include "platform/xml_dom.h"

namespace zrtmon {

namespace {

class CFileHandle {
public:
    /// Opens a file for reading. If the path names a pipe, its server may identify the caller but not act for
    /// it.
    explicit CFileHandle(const wchar_t* path)
        : m_handle(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                               nullptr, OPEN_EXISTING, SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                               nullptr))
    {
    }
    ~CFileHandle()
    {
        if (m_handle != INVALID_HANDLE_VALUE) {
            CloseHandle(m_handle);
        }
    }
    CFileHandle(const CFileHandle&) = delete;
    CFileHandle& operator=(const CFileHandle&) = delete;

    HANDLE Get() const { return m_handle; }

private:
    HANDLE m_handle;
};

bool IsSlash(wchar_t c) { return c == L'\\' || c == L'/'; }

/// Whether the XML services would treat the path as an address ("http:..."). One letter and ":" is a drive.
bool HasScheme(const wchar_t* path)
{
    size_t length = 0;
    while (path[length] && path[length] != L':' && !IsSlash(path[length])) {
        ++length;
    }
    return path[length] == L':' && length != 1;
}

/// Whether the path begins with "\\.\", "\\?\" or "\??\", which bypass the system's checks of a path.
bool HasDevicePrefix(const wchar_t* path)
{
    return IsSlash(path[0]) && ((IsSlash(path[1]) && path[2] == L'.' && IsSlash(path[3])) ||
                                ((IsSlash(path[1]) || path[1] == L'?') && path[2] == L'?'));
}

} // namespace

bool IsRegularFile(const wchar_t* path, uint64_t maxBytes) noexcept
{
    if (!path || HasScheme(path) || HasDevicePrefix(path)) {
        return false;
    }
    const CFileHandle file(path); // follows links, and fails for a folder
    LARGE_INTEGER size{};
    return GetFileType(file.Get()) == FILE_TYPE_DISK && GetFileSizeEx(file.Get(), &size) &&
           static_cast<uint64_t>(size.QuadPart) <= maxBytes;
}

} // namespace zrtmon
