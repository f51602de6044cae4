#include "devices/usb_port.h"

#include <array>
#include <cerrno>

#include "devices/device_id.h"

namespace zrtmon::devices {

CUsbPort::CUsbPort(CDeviceName name, System system)
    : CDevicePort(std::move(name), kBlockBytes), m_system(std::move(system)), m_path(m_name.path)
{
}

std::unique_ptr<CDeviceFile> CUsbPort::MakeFile()
{
    if (!m_name.path.empty()) {
        return m_system.makeFile(m_path);
    }
    // Anew for each document: a printer that was unplugged may come back under another name.
    std::vector<CUsbPrinter> meant;
    std::string paths;
    for (const CUsbPrinter& printer : m_system.find()) {
        if (IsMeant(printer)) {
            meant.push_back(printer);
            paths += (paths.empty() ? "" : ", ") + printer.path;
        }
    }
    m_path = "a USB printer" + (m_name.serial.empty() ? "" : " with the serial number " + m_name.serial);
    if (meant.size() != 1) {
        Fail(meant.empty() ? ENODEV : ENOTUNIQ,
             "looking for " + m_path + (paths.empty() ? "" : " among " + paths), ERROR_DEVICE_NOT_AVAILABLE);
        return nullptr;
    }
    m_path = meant[0].path;
    return m_system.makeFile(m_path);
}

bool CUsbPort::IsMeant(const CUsbPrinter& printer) const
{
    return m_name.serial.empty() || printer.serial == m_name.serial;
}

void CUsbPort::Finish(bool)
{
    if (!AwaitEvent(DescriptorEvent::Writable, m_name.drainMs) && IsSound()) {
        Fail(ETIMEDOUT, "waiting for " + m_path + " to take the last bytes", ERROR_WRITE_FAULT);
    }
}

DWORD CUsbPort::QueryDeviceId(std::string* id)
{
    // Outside documents the device is open for the question only.
    const bool isOpen = m_file != nullptr;
    const DWORD error = isOpen ? ERROR_SUCCESS : Start();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    std::array<uint8_t, kLongestIdBytes> answer{};
    const ssize_t size = m_file->ReadDeviceId(answer.data(), answer.size());
    if (!isOpen) {
        End(true);
    }
    if (size < 0) {
        return ERROR_GEN_FAILURE;
    }
    *id = DeviceIdText(answer.data(), static_cast<size_t>(size));
    return ERROR_SUCCESS;
}

} // namespace zrtmon::devices
