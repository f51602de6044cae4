/// The printers that are installed on this machine.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/places/printer.h"

namespace zrtmon::host {

/// A printer that uses the monitor, as a list shows it. UTF-8.
struct CListedPrinter {
    std::string name;
    std::string port;
    std::string state;               ///< in words: "ready", "printing", "paused"
    std::optional<int> printerError; ///< the category that the monitor published last
    std::optional<int> deviceError;
};

/// Any thread. Functions throw CHostError: NoDevice if the print system does not run.
class ISystemPrinters {
public:
    virtual ~ISystemPrinters() = default;

    /// Those that use the monitor. Empty where there is no print system that knows it.
    virtual std::vector<CListedPrinter> List() = 0;
    /// Throws CHostError as well: NoDevice for an unknown name (with the nearest one), NoPermission.
    virtual std::unique_ptr<IPrinter> Open(const std::string& name) = 0;
};

} // namespace zrtmon::host
