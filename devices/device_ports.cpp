#include "devices/device_ports.h"

#include <system_error>

#include "devices/device_name.h"
#include "devices/tcp_port.h"
#include "devices/usb_port.h"

namespace zrtmon::devices {

std::string DeviceNameProblem(const std::wstring& portName)
{
    std::string problem;
    ParseDeviceName(portName, &problem);
    return problem;
}

std::unique_ptr<sim::IPortDevice> MakeDevice(const std::wstring& portName)
{
    std::string problem;
    const std::optional<CDeviceName> name = ParseDeviceName(portName, &problem);
    if (!name) {
        return nullptr;
    }
    if (name->kind == CDeviceName::Kind::Usb) {
        return std::make_unique<CUsbPort>(*name);
    }
    return std::make_unique<CTcpPort>(*name);
}

std::vector<CFoundDevice> FindDevices()
{
    std::vector<CFoundDevice> found;
    for (const CUsbPrinter& printer : FindUsbPrinters()) {
        const std::string problem =
            printer.accessError == 0
                ? ""
                : std::generic_category().message(printer.accessError) + "; " + AccessAdvice(printer.group);
        found.push_back({"usb:" + printer.path, printer.maker, printer.model, printer.serial, problem});
    }
    return found;
}

std::string NoDeviceAdvice()
{
    return "connect a printer by USB and switch it on; one on the network is not listed, name it with "
           "tcp:HOST";
}

} // namespace zrtmon::devices
