#include "host/places/printer.h"

#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::host {

std::string QueryOrThrow(IPrinter& printer, const std::string& requestText)
{
    const CQueryResult result = printer.Query(requestText);
    if (!result.answered) {
        throw CHostError(QueryStatus(result.error),
                         Printable(requestText) + ": " + printer.QueryErrorText(result.error));
    }
    return result.text;
}

CQueriedNumber QueryNumber(IPrinter& printer, const std::string& requestText)
{
    return NumberOf(printer.Query(requestText));
}

ExitStatus QueryStatus(DWORD error)
{
    switch (error) {
    case ERROR_BUSY:
    case kNotServedError:
        return ExitStatus::Busy;
    case ERROR_DEVICE_NOT_AVAILABLE:
    case ERROR_NOT_SUPPORTED:
        return ExitStatus::NoDevice;
    default:
        return ExitStatus::PrinterError;
    }
}

} // namespace zrtmon::host
