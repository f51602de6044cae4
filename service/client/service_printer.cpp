#include "service/client/service_printer.h"

#include <charconv>

#include "host/printer/status_words.h"
#include "host/printer/value_names.h"
#include "host/session/spooler_session.h"
#include "host/text/text.h"
#include "platform/wipe.h"
#include "service/client/service_job.h"

namespace zrtmon::client {
namespace {

constexpr char kPasswordValue[] = "Password";
constexpr char kFailed[] = "failed";

/// The service names the value in front of its reason, as the commands do.
std::string WithoutName(const std::string& requestText, const std::string& message)
{
    const size_t colon = message.find(": ");
    const std::string name = requestText.substr(0, requestText.find('/'));
    const bool isNamed = host::EqualsIgnoringCase(message.substr(0, colon), name);
    return colon != std::string::npos && isNamed ? message.substr(colon + 2) : message;
}

/// Makes the call, and a result of what the service refuses.
template <class Call>
host::CQueryResult Ask(const std::string& requestText, Call call)
{
    try {
        return {true, call(), ERROR_SUCCESS};
    } catch (const CServiceRefusal& refusal) {
        return {false, {}, refusal.Error(), WithoutName(requestText, refusal.what())};
    }
}

/// Likewise for a change of the printer's data, which destructors take back: nothing is thrown.
template <class Call>
host::CStoreResult Change(Call call)
{
    try {
        call();
        return ERROR_SUCCESS;
    } catch (const CServiceRefusal& refusal) {
        return {refusal.Error(), refusal.what()};
    } catch (const host::CHostError& error) {
        return {RPC_S_SERVER_UNAVAILABLE, error.what()};
    }
}

/// The request text in UTF-8. The caller wipes it.
std::string PasswordText(const std::string& name, std::initializer_list<std::string_view> passwords)
{
    std::wstring wide = host::PasswordRequestText(name, passwords);
    std::string text;
    text.reserve(2 * wide.size()); // at once: a text that grows leaves copies in freed memory
    for (const wchar_t character : wide) {
        if (character > 0x7F) {
            text += static_cast<char>(0xC0 | (character >> 6));
            text += static_cast<char>(0x80 | (character & 0x3F));
        } else {
            text += static_cast<char>(character);
        }
    }
    Wipe(wide);
    return text;
}

/// Of the job's object on the bus; 0 for none.
uint64_t JobId(const std::string& object)
{
    uint64_t id = 0;
    const size_t digits = object.rfind('/') + 1;
    std::from_chars(object.data() + digits, object.data() + object.size(), id);
    return id;
}

bool IsPassword(const std::wstring& valueName)
{
    return host::EqualsIgnoringCase(host::Utf8FromWide(valueName), kPasswordValue);
}

} // namespace

host::CPublishedValues PublishedValues(const CPrinterStatus& status)
{
    if (status.state == kFailed) {
        return {};
    }
    return {status.printerStatus, status.printerError, status.deviceError,
            status.cardCount < 0 ? std::nullopt : std::optional(status.cardCount)};
}

CServicePrinter::CServicePrinter(std::string name, std::shared_ptr<IPrintService> service,
                                 std::unique_ptr<IRemotePrinter> remote)
    : m_name(std::move(name)), m_service(std::move(service)), m_remote(std::move(remote)),
      m_hasDevice(host::IsPrinterPort(m_remote->Status().port))
{
}

std::string CServicePrinter::Place() const { return '"' + host::Printable(m_name) + '"'; }

host::CQueryResult CServicePrinter::Query(const std::string& requestText)
{
    const host::CValueName* const name = host::FindValueName(requestText);
    const bool reads = !name || name->kind == host::ValueKind::Query;
    return Ask(requestText,
               [&] { return reads ? m_remote->Query(requestText) : m_remote->Perform(requestText); });
}

host::CQueryResult CServicePrinter::SendPasswords(const std::string& name,
                                                  std::initializer_list<std::string_view> passwords)
{
    std::string requestText = PasswordText(name, passwords);
    host::CQueryResult result = Ask(name, [&] { return m_remote->Perform(requestText); });
    Wipe(requestText);
    return result;
}

std::string CServicePrinter::QueryErrorText(DWORD error) const { return host::QueryErrorWords(error); }

host::CPublishedValues CServicePrinter::PublishedValues()
{
    return client::PublishedValues(m_remote->Status());
}

host::CPrinterState CServicePrinter::ReadState()
{
    const CPrinterStatus status = m_remote->Status();
    const host::CPublishedValues values = client::PublishedValues(status);
    // What the values say already is not said twice.
    const bool isSaid = values.printerError && *values.printerError != host::kNoErrorCategory;
    const std::string queue = isSaid || status.message.empty() ? "" : status.state + ": " + status.message;
    return {values, queue, JobId(status.currentJob)};
}

bool CServicePrinter::WaitForChange(DWORD milliseconds)
{
    uint64_t seen = m_seenChanges;
    const bool isNews = m_service->WaitForChange(&seen, milliseconds);
    m_seenChanges = seen;
    return isNews;
}

/// Null if none prints.
std::shared_ptr<IRemoteJob> CServicePrinter::CurrentJob()
{
    const std::string object = m_remote->Status().currentJob;
    {
        const CSectionHold hold(m_lock);
        if (object == m_jobObject) {
            return m_job;
        }
    }
    std::shared_ptr<IRemoteJob> job;
    try {
        job = object == "/" ? nullptr : m_remote->FollowJob(object);
    } catch (const CServiceRefusal&) { // it has ended meanwhile
    }
    const CSectionHold hold(m_lock);
    m_jobObject = object;
    m_job = job;
    return job;
}

bool CServicePrinter::HasValue(const std::wstring& valueName)
{
    if (IsPassword(valueName)) {
        const std::shared_ptr<IRemoteJob> job = CurrentJob();
        return job && !job->Status().wantsPassword;
    }
    return LoadValue(valueName).has_value();
}

std::optional<CStoredValue> CServicePrinter::LoadValue(const std::wstring& valueName)
{
    try {
        return m_remote->ReadStored(host::Utf8FromWide(valueName));
    } catch (const CServiceRefusal& refusal) {
        if (refusal.Error() == ERROR_FILE_NOT_FOUND) {
            return std::nullopt;
        }
        throw;
    }
}

host::CStoreResult CServicePrinter::StoreValue(const std::wstring& valueName, DWORD type,
                                               std::span<const char> bytes)
{
    return Change([&] {
        if (IsPassword(valueName)) {
            SupplyPassword(bytes);
        } else {
            m_remote->WriteStored(host::Utf8FromWide(valueName), type, bytes);
        }
    });
}

void CServicePrinter::SupplyPassword(std::span<const char> terminated)
{
    const std::shared_ptr<IRemoteJob> job = CurrentJob();
    if (!job) {
        throw CServiceRefusal(host::ExitStatus::BadData, ERROR_INVALID_DATA,
                              "no job waits for a password any more");
    }
    const std::string_view text(terminated.data(), terminated.size());
    job->SupplyPassword(text.substr(0, text.find('\0')));
}

host::CStoreResult CServicePrinter::RemoveValue(const std::wstring& valueName)
{
    if (IsPassword(valueName)) {
        return ERROR_SUCCESS;
    }
    return Change([&] { m_remote->RemoveStored(host::Utf8FromWide(valueName)); });
}

std::unique_ptr<host::IPrintJob> CServicePrinter::Print(host::CJobSource& source, uint32_t)
{
    return std::make_unique<CServiceJob>(*m_service, *m_remote, source);
}

} // namespace zrtmon::client
