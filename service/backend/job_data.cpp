#include "service/backend/job_data.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>

namespace zrtmon::backend {
namespace {

using service::CDescriptor;

constexpr size_t kChunkBytes = size_t{64} * 1024;

[[noreturn]] void Fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

CDescriptor OpenFile(const std::string& name)
{
    CDescriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        Fail("the job's file " + name + " cannot be opened");
    }
    return file;
}

CDescriptor MakeFile(const std::string& folder)
{
    CDescriptor file(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (!file) {
        Fail("no file for the job's data can be made in " + folder);
    }
    return file;
}

/// False at the end of input, or when stop is readable.
bool WaitForInput(int input, int stop)
{
    pollfd entries[] = {{input, POLLIN, 0}, {stop, POLLIN, 0}};
    while (poll(entries, 2, -1) < 0) {
        if (errno != EINTR) {
            Fail("the job's data cannot be waited for");
        }
    }
    return entries[1].revents == 0;
}

void WriteAll(int file, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t taken = write(file, data, size);
        if (taken < 0 && errno == EINTR) {
            continue;
        }
        if (taken < 0) {
            Fail("the job's data cannot be kept");
        }
        data += taken;
        size -= static_cast<size_t>(taken);
    }
}

/// Appends what "from" holds; false if it was stopped.
bool Append(int from, int stop, int to)
{
    std::vector<char> chunk(kChunkBytes);
    for (;;) {
        if (!WaitForInput(from, stop)) {
            return false;
        }
        const ssize_t got = read(from, chunk.data(), chunk.size());
        if (got == 0) {
            return true;
        }
        if (got < 0 && errno != EINTR && errno != EAGAIN) {
            Fail("the job's data cannot be read");
        }
        if (got > 0) {
            WriteAll(to, chunk.data(), static_cast<size_t>(got));
        }
    }
}

void Rewind(int file)
{
    if (lseek(file, 0, SEEK_SET) != 0) {
        Fail("the job's data cannot be read again");
    }
}

} // namespace

CDescriptor OpenJobData(const CDataSource& source)
{
    CDescriptor named = source.fileName.empty() ? CDescriptor() : OpenFile(source.fileName);
    if (named && source.copies == 1) {
        return named;
    }
    CDescriptor data = MakeFile(source.folder);
    for (int copy = 0; copy < source.copies; ++copy) {
        if (named) {
            Rewind(named.Get());
        }
        if (!Append(named ? named.Get() : source.input, source.stop, data.Get())) {
            return {};
        }
    }
    Rewind(data.Get());
    return data;
}

} // namespace zrtmon::backend
