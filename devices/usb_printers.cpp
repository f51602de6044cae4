#include "devices/usb_printers.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "devices/device_id.h"
#include "platform/device_file.h"

namespace zrtmon::devices {

namespace {

constexpr char kClassFolder[] = "/sys/class/usbmisc";
constexpr char kDeviceFolder[] = "/dev/usb/";
constexpr char kNodePrefix[] = "lp"; // other drivers list their devices in the same folder

/// A one-line file of the kernel's; empty when it is not there.
std::string Attribute(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    text.erase(std::min(text.find('\n'), text.size()));
    return text;
}

std::string FirstOf(const std::string& preferred, const std::string& other)
{
    return preferred.empty() ? other : preferred;
}

CUsbPrinter Describe(const std::filesystem::path& entry)
{
    const std::filesystem::path interface = entry / "device";
    const std::filesystem::path device = interface / "..";
    const std::string id = Attribute(interface / "ieee1284_id");
    CUsbPrinter printer;
    printer.path = kDeviceFolder + entry.filename().string();
    printer.maker = FirstOf(DeviceIdField(id, {"MFG", "MANUFACTURER"}), Attribute(device / "manufacturer"));
    printer.model = FirstOf(DeviceIdField(id, {"MDL", "MODEL"}), Attribute(device / "product"));
    printer.serial = FirstOf(DeviceIdField(id, {"SN", "SERN", "SERIALNUMBER"}), Attribute(device / "serial"));
    printer.accessError = CheckDeviceAccess(printer.path);
    printer.group = DeviceGroup(printer.path);
    return printer;
}

} // namespace

std::vector<CUsbPrinter> FindUsbPrinters()
{
    std::vector<CUsbPrinter> printers;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(kClassFolder, ignored)) {
        if (entry.path().filename().string().starts_with(kNodePrefix)) {
            printers.push_back(Describe(entry.path()));
        }
    }
    std::sort(printers.begin(), printers.end(),
              [](const CUsbPrinter& a, const CUsbPrinter& b) { return a.path < b.path; });
    return printers;
}

std::string UsbAdvice(int error, const std::string& path)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return AccessAdvice(DeviceGroup(path));
    case EBUSY:
        return "another program has it open, such as CUPS's usb backend or another zrtctl: end that, or try "
               "later";
    case ENOTUNIQ:
        return "name one of them, as \"zrtctl devices\" lists them";
    case ETIMEDOUT:
        return "the last bytes may not have been printed: check the printer, and print again what is missing";
    default:
        return "check that the printer is on and its cable connected";
    }
}

std::string AccessAdvice(const std::string& group)
{
    return "add the user to the group " + (group.empty() ? "lp" : group) + ", and log in again";
}

} // namespace zrtmon::devices
