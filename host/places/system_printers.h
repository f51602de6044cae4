/// The printers that are installed on this machine.
#pragma once

#include <cstdint>
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

/// A job that the print system remembers. UTF-8; times are seconds since 1970.
struct CListedJob {
    uint64_t id = 0;
    std::string printer;
    std::string title;
    std::string owner;
    std::string submitter; ///< the user who asked for it
    std::string uuid;      ///< under which the job is known elsewhere; empty: none
    uint64_t bytes = 0;    ///< that have left for the printer
    uint64_t total = 0;    ///< 0: unknown
    int cards = 0;         ///< printed
    int64_t submitted = 0;
    int64_t started = 0; ///< when its first byte left; 0: none has
    int64_t ended = 0;   ///< 0: it waits or prints
    std::string outcome; ///< "waiting", "printing", "completed", "cancelled", "failed", "interrupted"
    std::string reason;  ///< why it failed, or was held last
};

/// There is no print system, or it does not run. The message says what would do.
class CNoPrintSystem : public CHostError {
public:
    explicit CNoPrintSystem(const std::string& message) : CHostError(ExitStatus::NoDevice, message) {}
};

/// Any thread. Functions throw CHostError: NoDevice if the print system does not run; NoPermission.
class ISystemPrinters {
public:
    virtual ~ISystemPrinters() = default;

    /// Those that use the monitor. Empty where the print system does not know it. Throws CNoPrintSystem.
    virtual std::vector<CListedPrinter> List() = 0;
    /// Throws CHostError as well: NoDevice for an unknown name (with the nearest one).
    virtual std::unique_ptr<IPrinter> Open(const std::string& name) = 0;
    /// The jobs that ended at that time (seconds since 1970) or later, or have not ended, oldest first: the
    /// user's own, all of them for an administrator. Throws CHostError (Usage) if the system keeps no journal
    /// of them.
    virtual std::vector<CListedJob> Jobs(int64_t since) = 0;
};

/// "NAME: no such printer" and the nearest of the printers that there are, if one is near.
std::string NoSuchPrinterText(const std::string& name, const std::vector<std::string>& known);

} // namespace zrtmon::host
