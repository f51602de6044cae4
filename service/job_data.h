/// A job's data, read from the descriptor that a client has handed over.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "service/descriptor.h"

namespace zrtmon::service {

/// The data cannot be printed; one line. TooLarge: there is too much of it.
class CJobDataError : public std::runtime_error {
public:
    explicit CJobDataError(const std::string& text, bool isTooLarge = false)
        : std::runtime_error(text), m_isTooLarge(isTooLarge)
    {
    }
    bool IsTooLarge() const { return m_isTooLarge; }

private:
    bool m_isTooLarge;
};

inline constexpr uint64_t kMostJobBytes = uint64_t{4} << 30;

/// The position and flags of the descriptor, which the client shares, stay as they are: a regular file is
/// read by position, and a pipe or socket only when it has something, so that no client makes a printer's
/// thread wait for ever.
class CJobData {
public:
    /// Without a byte for so long the client is given up.
    static constexpr DWORD kSilenceMs = 60000;

    /// Throws CJobDataError for a descriptor that is not readable, is no file, pipe or socket, or holds more
    /// than kMostJobBytes or nothing. stop is borrowed: a descriptor that becomes readable ends a wait.
    CJobData(CDescriptor data, int stop);

    /// 0: unknown, the data comes through a pipe.
    uint64_t TotalBytes() const { return m_isFile ? m_totalBytes : 0; }

    /// The next bytes, valid until the next call; empty at the end, or when stop was signalled. Throws
    /// CJobDataError. One thread.
    std::span<char> Next();

private:
    enum class Wait { Ready, Stopped, Silent };

    size_t ReadFile();
    size_t ReadStream();
    Wait WaitForBytes() const;
    ssize_t TakeFromStream();
    ssize_t TakeFromPipe();
    void OpenPipe();

    CDescriptor m_data;
    int m_stop;
    bool m_isFile;
    bool m_isSocket;
    CDescriptor m_pipeIn; ///< a pipe of our own that never makes wait, for the bytes of the client's
    CDescriptor m_pipeOut;
    uint64_t m_position = 0;   ///< of a file
    uint64_t m_totalBytes = 0; ///< of a file
    uint64_t m_readBytes = 0;
    std::vector<char> m_buffer;
};

} // namespace zrtmon::service
