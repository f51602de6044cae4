/// The printers of the system's own spooler whose driver names the monitor.
#pragma once

#include "host/environment.h"
#include "host/places/system_printers.h"
#include "platform/system_spooler.h"

namespace zrtmon::host {

class CSpoolerPrinters final : public ISystemPrinters {
public:
    /// Both are borrowed.
    CSpoolerPrinters(ISystemSpooler& spooler, const CHostEnvironment& environment)
        : m_spooler(spooler), m_environment(environment)
    {
    }

    std::vector<CListedPrinter> List() override;
    std::unique_ptr<IPrinter> Open(const std::string& name) override;
    std::vector<CListedJob> Jobs(int64_t since) override;

private:
    std::string NoSuchPrinter(const std::string& name);

    ISystemSpooler& m_spooler;
    const CHostEnvironment& m_environment;
};

} // namespace zrtmon::host
