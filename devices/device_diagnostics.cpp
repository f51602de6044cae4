#include <array>
#include <cerrno>
#include <system_error>

#include "devices/device_id.h"
#include "devices/device_ports.h"
#include "devices/usb_printers.h"
#include "platform/device_file.h"

namespace zrtmon::devices {

namespace {

constexpr DWORD kOpenMs = 5000;

std::string ErrorText(int error) { return std::generic_category().message(error); }

CDiagnostic DeviceId(const std::string& path)
{
    const std::unique_ptr<CDeviceFile> device = MakeUsbFile(path);
    if (const int error = device->Open(kOpenMs)) {
        return {"device ID", ErrorText(error), UsbAdvice(error, path)};
    }
    std::array<uint8_t, kLongestIdBytes> answer{};
    const ssize_t size = device->ReadDeviceId(answer.data(), answer.size());
    device->Close();
    if (size < 0) {
        return {"device ID", ErrorText(static_cast<int>(-size)),
                "not a USB printer, or it does not respond: check the cable"};
    }
    return {"device ID", DeviceIdText(answer.data(), static_cast<size_t>(size)), ""};
}

void Examine(const std::string& path, std::vector<CDiagnostic>& diagnostics)
{
    int error = 0;
    const std::string owner = DescribeDeviceOwner(path, &error);
    if (error != 0) {
        const bool isOther = error == ENODEV;
        diagnostics.push_back({"device", path + ": " + (isOther ? "no character device" : ErrorText(error)),
                               isOther ? "name the printer's device node"
                                       : "connect the printer and switch it on, or name its device node"});
        return;
    }
    diagnostics.push_back({"device", path + ": " + owner, ""});
    const int accessError = CheckDeviceAccess(path);
    if (accessError != 0) { // then its device ID cannot be read either
        diagnostics.push_back({"access", ErrorText(accessError), AccessAdvice(DeviceGroup(path))});
        return;
    }
    diagnostics.push_back({"access", "read and write", ""});
    diagnostics.push_back(DeviceId(path));
}

} // namespace

std::vector<CDiagnostic> ExamineDevices(const std::string& path)
{
    std::vector<CDiagnostic> diagnostics;
    if (!path.empty()) {
        Examine(path, diagnostics);
        return diagnostics;
    }
    for (const CUsbPrinter& printer : FindUsbPrinters()) {
        Examine(printer.path, diagnostics);
    }
    if (diagnostics.empty()) {
        diagnostics.push_back({"device", "no USB printer found", NoDeviceAdvice()});
    }
    return diagnostics;
}

} // namespace zrtmon::devices
