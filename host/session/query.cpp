#include "host/session/query.h"

#include "host/printer/status_words.h"
#include "host/session/spooler_session.h"
#include "host/text/text.h"

namespace zrtmon::host {

std::string QueryOrThrow(const CSpoolerSession& session, const std::string& requestText)
{
    const CQueryResult result = session.Query(requestText);
    if (!result.answered) {
        throw CHostError(QueryStatus(result.error),
                         Printable(requestText) + ": " + QueryErrorText(session, result.error));
    }
    return result.text;
}

CQueriedNumber QueryNumber(const CSpoolerSession& session, const std::string& requestText)
{
    const CQueryResult result = session.Query(requestText);
    if (!result.answered) {
        return {std::nullopt, result.error};
    }
    return {LeadingNumber(result.text), ERROR_INVALID_PARAMETER};
}

std::string QueryErrorText(const CSpoolerSession& session, DWORD error)
{
    // What the device itself reports says more than the last error that the monitor makes of it.
    if (const std::optional<sim::PortFailure> failure = session.Failure()) {
        return Printable(failure->text);
    }
    if (error == kNotServedError) {
        return "the printer does not answer on this connection; it may be serving another client: nothing "
               "was sent, "
               "try again later";
    }
    return session.HasDevice() ? QueryErrorWords(error) : "the port is a file: there is no printer to query";
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
