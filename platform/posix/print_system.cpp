#include "platform/print_system.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace zrtmon {
namespace {

constexpr char kDeviceFolder[] = "/dev/usb";
constexpr char kDevicePrefix[] = "lp";
constexpr size_t kLongestId = 1023; // what a transfer of the class carries
constexpr size_t kIdLengthSize = 2; // big-endian and counts itself, IEEE 1284
/// The kernel driver's request for the device ID; its number is in no public header.
constexpr unsigned long kGetDeviceId = _IOC(_IOC_READ, 'P', 1, kLongestId);

class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor()
    {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    int Get() const { return m_descriptor; }

private:
    int m_descriptor;
};

std::string ErrorText(int error) { return std::generic_category().message(error); }

std::string OwnerText(const struct stat& status)
{
    const passwd* user = getpwuid(status.st_uid);
    const group* owners = getgrgid(status.st_gid);
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%04o", static_cast<unsigned>(status.st_mode & 07777));
    return (user ? user->pw_name : std::to_string(status.st_uid)) + ":" +
           (owners ? owners->gr_name : std::to_string(status.st_gid)) + ", mode " + mode.data();
}

CDiagnostic Access(const std::string& path, const struct stat& status)
{
    if (access(path.c_str(), R_OK | W_OK) == 0) {
        return {"access", "read and write", ""};
    }
    const group* owners = getgrgid(status.st_gid);
    return {"access", ErrorText(errno),
            std::string("add the user to the group ") +
                (owners ? owners->gr_name : std::to_string(status.st_gid)) + ", and log in again"};
}

CDiagnostic DeviceId(const std::string& path)
{
    const CDescriptor device(open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (device.Get() < 0) {
        const bool isInUse = errno == EBUSY;
        return {"device ID", ErrorText(errno),
                isInUse ? "another program has the printer open: end it, or ask that one" : "see access"};
    }
    std::array<unsigned char, kLongestId + 1> answer{};
    if (ioctl(device.Get(), kGetDeviceId, answer.data()) < 0) {
        return {"device ID", ErrorText(errno), "not a USB printer, or it does not respond: check the cable"};
    }
    const size_t length = std::min<size_t>(size_t{answer[0]} << 8 | answer[1], kLongestId);
    const auto* text = reinterpret_cast<const char*>(answer.data());
    return {"device ID", length > kIdLengthSize ? std::string(text + kIdLengthSize, text + length) : "", ""};
}

void ExamineNode(const std::string& path, std::vector<CDiagnostic>* findings)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        findings->push_back({"device", path + ": " + ErrorText(errno),
                             "connect the printer and switch it on, or name its device node"});
        return;
    }
    if (!S_ISCHR(status.st_mode)) {
        findings->push_back({"device", path + ": no character device", "name the printer's device node"});
        return;
    }
    findings->push_back({"device", path + ": " + OwnerText(status), ""});
    findings->push_back(Access(path, status));
    findings->push_back(DeviceId(path));
}

std::vector<std::string> DeviceNodes()
{
    std::vector<std::string> nodes;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(kDeviceFolder, ignored)) {
        if (entry.path().filename().string().starts_with(kDevicePrefix)) {
            nodes.push_back(entry.path().string());
        }
    }
    return nodes;
}

class CPrintSystem final : public IPrintSystem {
public:
    DWORD AddMonitor(const std::wstring& /*name*/, const std::wstring& /*library*/) override
    {
        return ERROR_NOT_SUPPORTED;
    }
    DWORD RemoveMonitor(const std::wstring& /*name*/) override { return ERROR_NOT_SUPPORTED; }
    DWORD ListMonitors(std::vector<CMonitorEntry>* monitors) override
    {
        monitors->clear();
        return ERROR_NOT_SUPPORTED;
    }

    bool IsMappedDrive(const std::wstring& /*path*/) override { return false; }

    std::vector<CDiagnostic> Examine(const std::wstring& /*monitor*/, const std::string& target) override
    {
        utsname system{};
        uname(&system);
        std::vector<CDiagnostic> findings = {
            {"system", std::string(system.sysname) + ' ' + system.release + ", " + system.machine, ""}};
        const std::vector<std::string> nodes =
            target.empty() ? DeviceNodes() : std::vector<std::string>{target};
        for (const std::string& node : nodes) {
            ExamineNode(node, &findings);
        }
        if (nodes.empty()) {
            findings.push_back({"device",
                                std::string("none like ") + kDeviceFolder + '/' + kDevicePrefix + '0',
                                "connect the printer by USB and switch it on"});
        }
        return findings;
    }
};

} // namespace

IPrintSystem& MachinePrintSystem()
{
    static CPrintSystem system;
    return system;
}

} // namespace zrtmon
