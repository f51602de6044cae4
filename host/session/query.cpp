#include "host/session/query.h"

#include <vector>

#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/text/text.h"
#include "platform/wipe.h"

namespace zrtmon::host {
namespace {

// Large enough for every answer of the family, so that nothing is asked twice.
constexpr size_t kFirstBufferBytes = 8192;

bool MayBeSilent(const std::string& requestText)
{
    const CValueName* name = FindValueName(requestText);
    return name && (name->kind == ValueKind::Action || name->kind == ValueKind::Password);
}

/// The request text stays as it is.
CQueryResult QueryWide(const MONITOR2& table, HANDLE port, std::wstring& requestText, bool maySilent)
{
    std::vector<wchar_t> buffer(kFirstBufferBytes / sizeof(wchar_t));
    for (;;) {
        const auto sizeBytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        DWORD returned = 0;
        SetLastError(ERROR_SUCCESS);
        const BOOL succeeded = table.pfnGetPrinterDataFromPort(port, 0, requestText.data(), nullptr, 0,
                                                               buffer.data(), sizeBytes, &returned);
        if (!succeeded) {
            // A request that leaves no text is answered with FALSE too, and no error of its own.
            const DWORD error = GetLastError();
            return {error == ERROR_SUCCESS && maySilent, {}, error};
        }
        if (returned <= sizeBytes) {
            const auto text = reinterpret_cast<const char*>(buffer.data());
            return {true, std::string(text, returned > 0 ? returned - 1 : 0), ERROR_SUCCESS};
        }
        buffer.resize(returned / sizeof(wchar_t) + 1);
    }
}

} // namespace

CQueryResult Query(const MONITOR2& table, HANDLE port, const std::string& requestText)
{
    std::wstring wideText = WideFromUtf8(requestText);
    return QueryWide(table, port, wideText, MayBeSilent(requestText));
}

std::string QueryOrThrow(const MONITOR2& table, HANDLE port, const std::string& requestText)
{
    const CQueryResult answer = Query(table, port, requestText);
    if (!answer.answered) {
        throw CHostError(QueryStatus(answer.error),
                         Printable(requestText) + ": " + QueryErrorWords(answer.error));
    }
    return answer.text;
}

void SendPasswords(const MONITOR2& table, HANDLE port, const std::string& name,
                   std::initializer_list<std::string_view> passwords)
{
    std::wstring requestText = WideFromUtf8(name);
    size_t size = requestText.size();
    for (const std::string_view password : passwords) {
        size += 1 + password.size();
    }
    requestText.reserve(size); // at once: a text that grows leaves copies behind
    for (const std::string_view password : passwords) {
        requestText += L'/';
        for (const char byte : password) {
            requestText += static_cast<unsigned char>(byte);
        }
    }
    const CQueryResult answer = QueryWide(table, port, requestText, true);
    Wipe(requestText);
    if (!answer.answered) {
        throw CHostError(QueryStatus(answer.error), name + ": " + QueryErrorWords(answer.error));
    }
}

CQueriedNumber QueryNumber(const MONITOR2& table, HANDLE port, const std::string& requestText)
{
    const CQueryResult answer = Query(table, port, requestText);
    if (!answer.answered) {
        return {std::nullopt, answer.error};
    }
    return {LeadingNumber(answer.text), ERROR_INVALID_PARAMETER};
}

ExitStatus QueryStatus(DWORD error)
{
    switch (error) {
    case ERROR_BUSY:
        return ExitStatus::Busy;
    case ERROR_DEVICE_NOT_AVAILABLE:
    case ERROR_NOT_SUPPORTED:
        return ExitStatus::NoDevice;
    default:
        return ExitStatus::PrinterError;
    }
}

} // namespace zrtmon::host
