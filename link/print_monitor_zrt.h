#pragma once

#include "link/print_monitor.h"
#include "requests/printer_data.h"

namespace zrtmon {

/// The model of the printer family that is served: its requests and its transport.
class CPrintMonitorZRT final : public CPrintMonitor {
public:
    /// No packet is half-way, and no card.
    BOOL CanInterleave() override;
    CData* GetRequest(RequestCode code) override { return FindOrCreate(code); }
    CPrinterData* GetTransport() override { return &m_transport; }
    /// FALSE with last error 8 when the print-job request cannot be made: job data that nobody follows could
    /// be cut by a query in the middle of a card.
    BOOL ResetJob() override;
    std::unique_ptr<CData> CreateRequest(RequestCode code) const override;

private:
    CPrinterData m_transport;
};

} // namespace zrtmon
