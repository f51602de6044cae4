/// A job that was given to the print service, and is followed until its end.
#pragma once

#include <memory>

#include "host/places/printer.h"
#include "service/client/print_service.h"

namespace zrtmon::client {

/// The service prints it even when this program ends.
class CServiceJob final : public host::IPrintJob {
public:
    /// Submits the source. All arguments are borrowed for the job's life. Throws CHostError.
    CServiceJob(IPrintService& service, IRemotePrinter& printer, host::CJobSource& source);
    ~CServiceJob() override;
    CServiceJob(const CServiceJob&) = delete;
    CServiceJob& operator=(const CServiceJob&) = delete;

    bool WaitForEnd(DWORD milliseconds) override;
    host::CJobView View() override;
    void Delete() override;
    host::CJobOutcome Outcome() override;

private:
    CJobStatus Status();
    CPrinterStatus PrinterStatus();
    host::CPrinterState PrinterState(const CJobStatus& job);
    std::optional<int> Cards(const CJobStatus& job) const;

    IPrintService& m_service;
    IRemotePrinter& m_printer;
    CPrinterStatus m_printerStatus; ///< as known last
    const uint64_t m_totalBytes;
    const bool m_hasDevice;
    std::unique_ptr<IRemoteJob> m_remote;
    uint64_t m_seenChanges = 0;
};

} // namespace zrtmon::client
