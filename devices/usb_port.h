/// A USB printer on the kernel's usblp driver.
#pragma once

#include <functional>

#include "devices/device_port.h"
#include "devices/usb_printers.h"

namespace zrtmon::devices {

/// The driver takes a block when it is submitted, and never says that its transfer failed afterwards. So
/// blocks are small, each is submitted when the one before has left, and the device is closed when the last
/// one has: closing kills a transfer that is under way.
class CUsbPort final : public CDevicePort {
public:
    static constexpr size_t kBlockBytes = 8192;

    /// What it asks of the system.
    struct System {
        std::function<std::vector<CUsbPrinter>()> find = FindUsbPrinters;
        std::function<std::unique_ptr<CDeviceFile>(std::string path)> makeFile = MakeUsbFile;
    };

    explicit CUsbPort(CDeviceName name) : CUsbPort(std::move(name), System()) {}
    CUsbPort(CDeviceName name, System system);

private:
    std::unique_ptr<CDeviceFile> MakeFile() override;
    std::string Place() const override { return m_path; }
    std::string Advice(int error) const override { return UsbAdvice(error, m_path); }
    void Finish(bool wasChannel) override;
    DWORD QueryDeviceId(std::string* id) override;

    bool IsMeant(const CUsbPrinter& printer) const;

    const System m_system;
    std::string m_path; ///< of the device in use; what was looked for until it is found
};

} // namespace zrtmon::devices
