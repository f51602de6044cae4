/// The printers of the print service.
#pragma once

#include <functional>
#include <memory>

#include "host/places/system_printers.h"
#include "service/client/print_service.h"

namespace zrtmon::client {

/// Throws host::CNoPrintSystem.
using ConnectService = std::function<std::shared_ptr<IPrintService>()>;

class CServicePrinters final : public host::ISystemPrinters {
public:
    /// connect is called when the service is first needed. One thread.
    explicit CServicePrinters(ConnectService connect) : m_connect(std::move(connect)) {}

    std::vector<host::CListedPrinter> List() override;
    /// Names are compared case-insensitively.
    std::unique_ptr<host::IPrinter> Open(const std::string& name) override;
    std::vector<host::CListedJob> Jobs(int64_t since) override;

private:
    IPrintService& Service();

    ConnectService m_connect;
    std::shared_ptr<IPrintService> m_service; ///< null until it is needed
};

} // namespace zrtmon::client
