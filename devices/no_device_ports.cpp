#include "devices/device_ports.h"

namespace zrtmon::devices {

std::string DeviceNameProblem(const std::wstring&)
{
    return "this system's own port monitors serve its printers, so usb: and tcp: are not here; give sim: or "
           "file:";
}

std::unique_ptr<sim::IPortDevice> MakeDevice(const std::wstring&) { return nullptr; }

std::vector<CFoundDevice> FindDevices() { return {}; }

std::vector<CDiagnostic> ExamineDevices(const std::string&) { return {}; }

std::string NoDeviceAdvice() { return "this system lists its printers itself; see \"zrtctl doctor\""; }

} // namespace zrtmon::devices
