#include "simulator/capture_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

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
    if (!m_file) {
        return OpenError(errno, path);
    }
    // Job data comes in large pieces, which a buffer would only cut.
    std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    return ERROR_SUCCESS;
}

DWORD CCaptureFile::Open()
{
    m_isEmptied = false;
    return Reopen("ab");
}

DWORD CCaptureFile::Start()
{
    m_hasFailed = false;
    m_takenBytes = 0;
    {
        CSectionHold hold(m_lock);
        m_failure.reset();
    }
    if (m_isEmptied) {
        return ERROR_SUCCESS;
    }
    const DWORD error = Reopen("wb");
    m_isEmptied = error == ERROR_SUCCESS;
    return error;
}

DWORD CCaptureFile::Write(const BYTE* data, DWORD size, DWORD* count)
{
    *count = 0;
    if (!m_file || m_hasFailed) {
        return ERROR_WRITE_FAULT;
    }
    errno = 0;
    *count = static_cast<DWORD>(std::fwrite(data, 1, size, m_file.get()));
    m_takenBytes += *count;
    if (*count < size) {
        NoteFailure(errno);
        return ERROR_WRITE_FAULT;
    }
    return ERROR_SUCCESS;
}

void CCaptureFile::NoteFailure(int error)
{
    m_hasFailed = true;
    CSectionHold hold(m_lock);
    m_failure =
        PortFailure{.systemError = error,
                    .text = "writing to " + std::filesystem::path(m_path).string() + ": " +
                            std::generic_category().message(error) + "; make room, or give another file",
                    .bytesTaken = m_takenBytes};
}

std::optional<PortFailure> CCaptureFile::Failure()
{
    CSectionHold hold(m_lock);
    return m_failure;
}

DWORD CCaptureFile::Read(BYTE*, DWORD, DWORD* count)
{
    *count = 0;
    return ERROR_SUCCESS;
}

DWORD CCaptureFile::Control(DWORD, const BYTE*, DWORD, BYTE*, DWORD, DWORD*) { return ERROR_NOT_SUPPORTED; }

} // namespace zrtmon::sim
