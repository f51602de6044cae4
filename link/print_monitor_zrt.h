#pragma once

#include "link/print_monitor.h"
#include "requests/printer_data.h"

namespace zrtmon {

/// The model of the supported printer family: its requests and its transport.
class CPrintMonitorZRT final : public CPrintMonitor {
public:
    /// The scanner is neither inside a packet nor inside a card.
    BOOL CanInterleave() override;
    CData* GetRequest(RequestCode code) override { return FindOrCreate(code); }
    CPrinterData* GetTransport() override { return &m_transport; }
    /// FALSE with last error 8 if the print-job request cannot be created: without it a query could cut into
    /// the middle of a card.
    BOOL ResetJob() override;
    std::unique_ptr<CData> CreateRequest(RequestCode code) const override;

private:
    CPrinterData m_transport;
};

} // namespace zrtmon
