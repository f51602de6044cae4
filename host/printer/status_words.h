/// What the numbers that the printer and the spooler report mean, in words.
#pragma once

#include <string>

#include "host/exit_status.h"
#include "platform/win32.h"

namespace zrtmon::host {

/// The category of a printer without an error.
inline constexpr int kNoErrorCategory = 1;

/// Category that the monitor publishes while a job waits for a password.
inline constexpr int kPasswordCategory = 100;

/// "PrinterError": the category of the printer's error.
std::string CategoryWords(int category);
/// "DeviceError": the printer's own code.
std::string DeviceErrorWords(int code);
/// "PrinterStatus".
std::string PrinterStatusWords(int status);
/// Both numbers as one reason why a job waits: "ribbon (printer error 83, category 21)".
std::string ErrorReason(int category, int code);

/// The last error of a failed query, with its number.
std::string QueryErrorWords(DWORD error);
/// The last error of a printer in a spooler, with its number; what would do, where that is known.
std::string SpoolerErrorWords(DWORD error);
/// The exit status after it.
ExitStatus SpoolerErrorStatus(DWORD error);
/// The last error of a port that did not open or a document that did not start, with its number.
std::string PortErrorWords(DWORD error);

} // namespace zrtmon::host
