/// What the numbers of the printer and of the spooler's answers mean, in words.
#pragma once

#include <string>

#include "platform/win32.h"

namespace zrtmon::host {

/// Category that says that the printer has no error.
inline constexpr int kNoErrorCategory = 1;

/// Category that the monitor publishes while a job is held for want of a password.
inline constexpr int kPasswordCategory = 100;

/// "PrinterError": the category of the printer's error.
std::string CategoryWords(int category);
/// "DeviceError": the printer's own code.
std::string DeviceErrorWords(int code);
/// "PrinterStatus".
std::string PrinterStatusWords(int status);
/// Both numbers as one reason why the printer does not go on: "ribbon (error 83, category 21)".
std::string ErrorReason(int category, int code);

/// A last error of the port's entry points, for what a query can meet; with its number.
std::string QueryErrorWords(DWORD error);
/// A last error of opening a port or starting a document; with its number.
std::string PortErrorWords(DWORD error);

} // namespace zrtmon::host
