/// Device control codes of the USB and parallel port drivers, which a port monitor accepts through
/// GetPrinterDataFromPort. The values are those of the platform's driver headers (usbprint.h,
/// ntddpar.h), which the user-mode headers do not carry.
#pragma once

#include <cstdint>

namespace zrtmon {

inline constexpr uint32_t kIoctlUsbPrintVendorSetCommand = 0x00220038;
inline constexpr uint32_t kIoctlUsbPrintVendorGetCommand = 0x0022003C;
inline constexpr uint32_t kIoctlParQueryDeviceId = 0x0016000C;

} // namespace zrtmon
