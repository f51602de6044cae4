#include <array>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "platform/posix/descriptor_file.h"

namespace zrtmon {

namespace {

constexpr size_t kLongestIdBytes = 1023; // what a transfer of the class carries
/// The kernel driver's request for the device ID; its number is in no public header.
constexpr unsigned long kGetDeviceId = _IOC(_IOC_READ, 'P', 1, kLongestIdBytes);

std::string GroupName(gid_t number)
{
    const group* owners = getgrgid(number);
    return owners ? owners->gr_name : std::to_string(number);
}

class CUsbFile final : public posix::CDescriptorFile {
public:
    explicit CUsbFile(std::string path) : m_path(std::move(path)) {}

    int Open(DWORD) override
    {
        posix::CDescriptor opened(open(m_path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (!opened) {
            return errno;
        }
        struct stat status {};
        if (fstat(opened.Get(), &status) != 0) {
            return errno;
        }
        if (!S_ISCHR(status.st_mode)) {
            return ENODEV; // a plain file would take every byte, and print none
        }
        m_descriptor = std::move(opened);
        return 0;
    }

    ssize_t Write(const uint8_t* data, size_t sizeBytes) override
    {
        return posix::CountOrError(write(m_descriptor.Get(), data, sizeBytes));
    }

    ssize_t UnsentBytes() override { return 0; }
    int HalfClose() override { return 0; }

    ssize_t ReadDeviceId(uint8_t* buffer, size_t sizeBytes) override
    {
        // The driver returns no count: what it has not written stays zero.
        std::array<uint8_t, kLongestIdBytes> answer{};
        if (ioctl(m_descriptor.Get(), kGetDeviceId, answer.data()) < 0) {
            return -errno;
        }
        const size_t size = std::min(sizeBytes, answer.size());
        std::memcpy(buffer, answer.data(), size);
        return static_cast<ssize_t>(size);
    }

private:
    std::string m_path;
};

} // namespace

std::unique_ptr<CDeviceFile> MakeUsbFile(std::string path)
{
    return std::make_unique<CUsbFile>(std::move(path));
}

int CheckDeviceAccess(const std::string& path) { return access(path.c_str(), R_OK | W_OK) == 0 ? 0 : errno; }

std::string DescribeDeviceOwner(const std::string& path, int* error)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        *error = errno;
        return {};
    }
    if (!S_ISCHR(status.st_mode)) {
        *error = ENODEV;
        return {};
    }
    const passwd* user = getpwuid(status.st_uid);
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%04o", static_cast<unsigned>(status.st_mode & 07777));
    return (user ? user->pw_name : std::to_string(status.st_uid)) + ':' + GroupName(status.st_gid) +
           ", mode " + mode.data();
}

std::string DeviceGroup(const std::string& path)
{
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? GroupName(status.st_gid) : std::string();
}

} // namespace zrtmon
