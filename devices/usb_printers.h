/// The USB printers of this machine, as the kernel lists them.
#pragma once

#include <string>
#include <vector>

namespace zrtmon::devices {

struct CUsbPrinter {
    std::string path;  ///< "/dev/usb/lp0"
    std::string maker; ///< each empty when the printer does not say
    std::string model;
    std::string serial;
    int accessError = 0; ///< errno of opening it for reading and writing as this user; 0: it may be opened
    std::string group;   ///< whose members may open it
};

/// All of them, by path. Reads the kernel's tables and opens no printer. Any thread.
std::vector<CUsbPrinter> FindUsbPrinters();

/// What would help against an error of a USB printer; one clause.
std::string UsbAdvice(int error, const std::string& path);
/// What makes a device that may not be opened accessible; one clause.
std::string AccessAdvice(const std::string& group);

} // namespace zrtmon::devices
