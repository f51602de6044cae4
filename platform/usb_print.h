/// Device control codes of the USB and parallel port drivers, which a port monitor accepts through
/// GetPrinterDataFromPort. The values are those of the platform's driver headers (usbprint.h,
/// ntddpar.h), which the user-mode headers do not carry.
#pragma once

#include <cstdint>

namespace zrtmon {

inline constexpr uint32_t IOCTL_USBPRINT_VENDOR_SET_COMMAND = 0x00220038;
inline constexpr uint32_t IOCTL_USBPRINT_VENDOR_GET_COMMAND = 0x0022003C;
inline constexpr uint32_t IOCTL_PAR_QUERY_DEVICE_ID = 0x0016000C;

} // namespace zrtmon
