#include "service/job_data.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zrtmon::service {
namespace {

constexpr size_t kPieceBytes = size_t{64} * 1024; // also what an ordinary pipe holds

std::string SystemText(const char* tried) { return std::string(tried) + ": " + std::strerror(errno); }

[[noreturn]] void ThrowTooLarge()
{
    throw CJobDataError("more than 4 GiB of job data; print it in parts", true);
}

} // namespace

CJobData::CJobData(CDescriptor data, int stop) : m_data(std::move(data)), m_stop(stop)
{
    struct stat status {};
    const int flags = fcntl(m_data.Get(), F_GETFL);
    if (fstat(m_data.Get(), &status) != 0 || flags < 0) {
        throw CJobDataError(SystemText("the descriptor"));
    }
    m_isFile = S_ISREG(status.st_mode);
    m_isSocket = S_ISSOCK(status.st_mode);
    if ((!m_isFile && !m_isSocket && !S_ISFIFO(status.st_mode)) || (flags & O_PATH) != 0) {
        throw CJobDataError(
            "the descriptor is no file, pipe or socket; open one of these for the job's data");
    }
    if ((flags & O_ACCMODE) == O_WRONLY) {
        throw CJobDataError("the descriptor is not open for reading; open it for reading");
    }
    if (m_isFile) {
        const off_t position = lseek(m_data.Get(), 0, SEEK_CUR);
        m_position = static_cast<uint64_t>(std::max<off_t>(position, 0));
        const auto size = static_cast<uint64_t>(status.st_size);
        m_totalBytes = size - std::min(size, m_position);
        if (m_totalBytes > kMostJobBytes) {
            ThrowTooLarge();
        }
        if (m_totalBytes == 0) {
            throw CJobDataError("the file is empty, nothing to print");
        }
    }
}

/// Not before it is needed: many jobs may be waiting.
void CJobData::OpenPipe()
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw CJobDataError(SystemText("a pipe for the job's data"));
    }
    m_pipeOut = CDescriptor(ends[0]);
    m_pipeIn = CDescriptor(ends[1]);
}

std::span<char> CJobData::Next()
{
    m_buffer.resize(kPieceBytes);
    const size_t count = m_isFile ? ReadFile() : ReadStream();
    m_readBytes += count;
    if (m_readBytes > kMostJobBytes) {
        ThrowTooLarge();
    }
    return std::span(m_buffer).first(count);
}

size_t CJobData::ReadFile()
{
    const uint64_t left = m_totalBytes - m_readBytes;
    if (left == 0) {
        return 0;
    }
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(m_buffer.size(), left));
    ssize_t count = -1;
    do {
        count = pread(m_data.Get(), m_buffer.data(), wanted, static_cast<off_t>(m_position + m_readBytes));
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw CJobDataError(SystemText("reading the job's file"));
    }
    if (count == 0) {
        throw CJobDataError("the job's file was cut short while it was printed");
    }
    return static_cast<size_t>(count);
}

size_t CJobData::ReadStream()
{
    for (;;) {
        switch (WaitForBytes()) {
        case Wait::Stopped:
            return 0;
        case Wait::Silent:
            throw CJobDataError("no byte of the job's data came for 60 seconds");
        case Wait::Ready:
            break;
        }
        const ssize_t count = TakeFromStream();
        if (count >= 0) {
            return static_cast<size_t>(count);
        }
        if (errno != EAGAIN && errno != EINTR) {
            throw CJobDataError(SystemText("reading the job's data"));
        }
    }
}

/// The limit begins anew when another reader of the pipe takes the bytes first.
CJobData::Wait CJobData::WaitForBytes() const
{
    const DWORD start = GetTickCount();
    pollfd waits[] = {{m_data.Get(), POLLIN, 0}, {m_stop, POLLIN, 0}};
    for (DWORD passed = 0; passed < kSilenceMs; passed = GetTickCount() - start) {
        poll(waits, std::size(waits), static_cast<int>(kSilenceMs - passed));
        if (waits[1].revents != 0) {
            return Wait::Stopped;
        }
        if (waits[0].revents != 0) {
            return Wait::Ready;
        }
    }
    return Wait::Silent;
}

/// As read(2), but never waits, whatever the descriptor's flags and its other readers.
ssize_t CJobData::TakeFromStream()
{
    return m_isSocket ? recv(m_data.Get(), m_buffer.data(), m_buffer.size(), MSG_DONTWAIT) : TakeFromPipe();
}

ssize_t CJobData::TakeFromPipe()
{
    if (!m_pipeIn) {
        OpenPipe();
    }
    const ssize_t moved = splice(m_data.Get(), nullptr, m_pipeIn.Get(), nullptr, m_buffer.size(),
                                 SPLICE_F_NONBLOCK | SPLICE_F_MOVE);
    if (moved <= 0) {
        return moved;
    }
    return read(m_pipeOut.Get(), m_buffer.data(), static_cast<size_t>(moved));
}

} // namespace zrtmon::service
