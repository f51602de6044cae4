#include "host/places/printer.h"

#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::host {

std::string QueryOrThrow(IPrinter& printer, const std::string& requestText)
{
    const CQueryResult result = printer.Query(requestText);
    if (!result.answered) {
        throw CHostError(QueryStatus(result.error),
                         Printable(requestText) + ": " + QueryProblem(printer, result));
    }
    if (result.isStored) {
        throw CHostError(ExitStatus::Busy,
                         Printable(requestText) +
                             ": the spooler answered from its store, because the printer is busy or off; "
                             "try again later");
    }
    return result.text;
}

std::string QueryAfreshOrThrow(IPrinter& printer, const std::string& requestText)
{
    printer.RemoveValue(WideFromUtf8(requestText));
    return QueryOrThrow(printer, requestText);
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
    case ERROR_ACCESS_DENIED:
        return ExitStatus::NoPermission;
    case ERROR_INVALID_HANDLE:
    case ERROR_MOD_NOT_FOUND:
    case RPC_S_SERVER_UNAVAILABLE:
    case ERROR_DEVICE_NOT_AVAILABLE:
    case ERROR_NOT_SUPPORTED:
    case ERROR_INVALID_PRINTER_NAME:
        return ExitStatus::NoDevice;
    default:
        return ExitStatus::PrinterError;
    }
}

std::string QueryProblem(const IPrinter& printer, const CQueryResult& result)
{
    return result.problem.empty() ? printer.QueryErrorText(result.error) : result.problem;
}

std::string QueryProblem(const IPrinter& printer, const CQueriedNumber& number)
{
    return number.problem.empty() ? printer.QueryErrorText(number.error) : number.problem;
}

std::string StoreProblem(const CStoreResult& result)
{
    return result.problem.empty() ? SpoolerErrorWords(result.error) : result.problem;
}

} // namespace zrtmon::host
