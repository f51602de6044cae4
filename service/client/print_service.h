/// The print service as its clients see it. The tests put a script in its place.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/places/system_printers.h"
#include "platform/system_spooler.h"
#include "service/client/service_failure.h"

namespace zrtmon::client {

/// The properties of a printer.
struct CPrinterStatus {
    std::string port;
    std::string state;   ///< "idle", "printing", "held", "failed"
    std::string message; ///< why it is held or failed; else empty
    int printerStatus = -1;
    int printerError = 1;
    int deviceError = 0;
    int cardCount = -1;           ///< -1: not published yet
    std::string currentJob = "/"; ///< the object of the job that prints; "/": none
};

/// The properties of a job.
struct CJobStatus {
    uint64_t id = 0;
    std::string state;  ///< "waiting", "printing", "held", "finishing", or how it ended
    std::string reason; ///< why it is held or failed; else empty
    int category = 1;   ///< of the hold
    bool wantsPassword = false;
    uint64_t bytes = 0; ///< accepted by the monitor
    int cards = 0;

    bool HasEnded() const
    {
        return state == "completed" || state == "cancelled" || state == "failed" || state == "interrupted";
    }
};

/// A job whose changes are followed. Any thread; functions throw CServiceRefusal or CServiceLost.
class IRemoteJob {
public:
    virtual ~IRemoteJob() = default;

    /// As the service signalled it last. The service is not asked.
    virtual CJobStatus Status() = 0;
    virtual void Cancel() = 0;
    /// The printer's 8-bit text. Every copy made of it here is wiped.
    virtual void SupplyPassword(std::string_view password) = 0;
};

/// A printer whose changes are followed. Any thread; functions throw as above. Queries and actions wait for
/// the printer, for three minutes at most.
class IRemotePrinter {
public:
    virtual ~IRemotePrinter() = default;

    /// As the service signalled it last. The service is not asked.
    virtual CPrinterStatus Status() = 0;
    /// By a name that reads.
    virtual std::string Query(const std::string& requestText) = 0;
    /// By a name that acts. The caller wipes a text with passwords.
    virtual std::string Perform(const std::string& requestText) = 0;
    /// The descriptor is that of a file, which is printed from its position to its end; borrowed for the
    /// call. title: UTF-8.
    virtual std::unique_ptr<IRemoteJob> Print(int descriptor, const std::string& title) = 0;
    /// The job of CPrinterStatus::currentJob.
    virtual std::unique_ptr<IRemoteJob> FollowJob(const std::string& object) = 0;

    virtual CStoredValue ReadStored(const std::string& valueName) = 0;
    virtual void WriteStored(const std::string& valueName, DWORD type, std::span<const char> bytes) = 0;
    virtual void RemoveStored(const std::string& valueName) = 0;
};

/// Any thread; functions throw as above.
class IPrintService {
public:
    virtual ~IPrintService() = default;

    struct CPrinterName {
        std::string name;
        std::string object;
    };
    virtual std::vector<CPrinterName> Printers() = 0;
    /// The printer borrows the service.
    virtual std::unique_ptr<IRemotePrinter> FollowPrinter(const std::string& object) = 0;
    /// As host::ISystemPrinters.
    virtual std::vector<host::CListedJob> Jobs(int64_t since) = 0;

    /// Waits until more changes of the followed objects, or losses, have been signalled than the caller has
    /// seen, or for the time; true if so. seen counts them; 0 at first.
    virtual bool WaitForChange(uint64_t* seen, DWORD milliseconds) = 0;
};

} // namespace zrtmon::client
