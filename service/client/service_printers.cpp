#include "service/client/service_printers.h"

#include "host/text/text.h"
#include "service/client/service_printer.h"

namespace zrtmon::client {
namespace {

host::CListedPrinter Listed(const std::string& name, const CPrinterStatus& status)
{
    host::CListedPrinter printer{name, status.port, status.state == "idle" ? "ready" : status.state, {}, {}};
    if (!status.message.empty()) {
        printer.state += ": " + status.message;
    }
    const host::CPublishedValues values = PublishedValues(status);
    printer.printerError = values.printerError;
    printer.deviceError = values.deviceError;
    return printer;
}

} // namespace

IPrintService& CServicePrinters::Service()
{
    if (!m_service) {
        m_service = m_connect();
    }
    return *m_service;
}

std::vector<host::CListedPrinter> CServicePrinters::List()
{
    std::vector<host::CListedPrinter> printers;
    for (const IPrintService::CPrinterName& printer : Service().Printers()) {
        printers.push_back(Listed(printer.name, Service().FollowPrinter(printer.object)->Status()));
    }
    return printers;
}

std::unique_ptr<host::IPrinter> CServicePrinters::Open(const std::string& name)
{
    std::vector<std::string> names;
    for (const IPrintService::CPrinterName& printer : Service().Printers()) {
        if (host::EqualsIgnoringCase(printer.name, name)) {
            return std::make_unique<CServicePrinter>(printer.name, m_service,
                                                     m_service->FollowPrinter(printer.object));
        }
        names.push_back(printer.name);
    }
    throw host::CHostError(host::ExitStatus::NoDevice, host::NoSuchPrinterText(name, names));
}

std::vector<host::CListedJob> CServicePrinters::Jobs(int64_t since) { return Service().Jobs(since); }

} // namespace zrtmon::client
