#include "simulator/capture_file.h"

#include <cerrno>
#include <filesystem>

namespace zrtmon::sim {

namespace {

DWORD OpenError(int error, const std::filesystem::path& path)
{
    std::error_code ignored;
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return path.has_parent_path() && !std::filesystem::is_directory(path.parent_path(), ignored)
                   ? ERROR_PATH_NOT_FOUND
                   : ERROR_FILE_NOT_FOUND;
    case EACCES:
    case EISDIR:
    case EPERM:
    case EROFS:
        return ERROR_ACCESS_DENIED;
    default:
        return ERROR_WRITE_FAULT;
    }
}

} // namespace

DWORD CCaptureFile::Reopen(const char* mode)
{
    const std::filesystem::path path(m_path);
    errno = 0;
    m_file.reset(std::fopen(path.string().c_str(), mode));
    return m_file ? ERROR_SUCCESS : OpenError(errno, path);
}

DWORD CCaptureFile::Open()
{
    m_isEmptied = false;
    return Reopen("ab");
}

DWORD CCaptureFile::Start()
{
    if (m_isEmptied) {
        return ERROR_SUCCESS;
    }
    const DWORD error = Reopen("wb");
    m_isEmptied = error == ERROR_SUCCESS;
    return error;
}

DWORD CCaptureFile::End(bool)
{
    return m_file && std::fflush(m_file.get()) == 0 ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
}

DWORD CCaptureFile::Write(const BYTE* data, DWORD size, DWORD* count)
{
    *count = m_file ? static_cast<DWORD>(std::fwrite(data, 1, size, m_file.get())) : 0;
    return *count == size ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
}

DWORD CCaptureFile::Read(BYTE*, DWORD, DWORD* count)
{
    *count = 0;
    return ERROR_SUCCESS;
}

DWORD CCaptureFile::Control(DWORD, const BYTE*, DWORD, BYTE*, DWORD, DWORD*) { return ERROR_NOT_SUPPORTED; }

} // namespace zrtmon::sim
