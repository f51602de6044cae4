#include "service/bus/objects.h"

#include <functional>
#include <set>
#include <utility>

#include "host/text/text.h"
#include "platform/wipe.h"
#include "service/bus/object_path.h"
#include "service/messages.h"

namespace zrtmon::service {
namespace {

sdbus::Error BusError(const CServiceError& error) { return sdbus::Error(error.BusName(), error.what()); }

/// Calls the service; what it refuses becomes the call's error.
template <class Call>
auto Serve(Call call) -> decltype(call())
{
    try {
        return call();
    } catch (const CServiceError& error) {
        throw BusError(error);
    } catch (const sdbus::Error&) {
        throw;
    } catch (const std::exception& error) {
        throw sdbus::Error("org.freedesktop.DBus.Error.Failed", error.what());
    }
}

/// What a call gives, possibly later; copies of one closure share it. A bus that is lost by then has nobody
/// to tell.
template <class... Values>
class CAnswer {
public:
    explicit CAnswer(sdbus::Result<Values...>&& result) : m_result(std::move(result)) {}

    void Give(const Values&... values) const
    {
        Send([&] { m_result.returnResults(values...); });
    }
    void Refuse(const sdbus::Error& error) const
    {
        Send([&] { m_result.returnError(error); });
    }

private:
    static void Send(const std::function<void()>& send)
    {
        try {
            send();
        } catch (const sdbus::Error& error) {
            Report(Severity::Warning, {}, "an answer was not sent: " + error.getMessage());
        }
    }

    sdbus::Result<Values...> m_result;
};

template <class... Values>
std::shared_ptr<const CAnswer<Values...>> Shared(sdbus::Result<Values...>&& result)
{
    return std::make_shared<const CAnswer<Values...>>(std::move(result));
}

/// Calls the service, whose answer comes later; what it refuses at once is the answer.
template <class Answer, class Call>
void ServeLater(const std::shared_ptr<Answer>& answer, Call call)
{
    try {
        Serve(call);
    } catch (const sdbus::Error& error) {
        answer->Refuse(error);
    }
}

std::map<std::string, sdbus::Variant> EntryOf(const CJobEntry& entry)
{
    const std::string running = entry.started == 0 ? "waiting" : "printing";
    return {{"id", entry.id},
            {"printer", entry.job.printer},
            {"title", entry.job.title},
            {"owner", entry.job.owner},
            {"submitter", entry.job.submitter},
            {"uuid", entry.job.uuid},
            {"bytes", entry.bytes},
            {"total", entry.job.totalBytes},
            {"cards", int32_t{entry.cards}},
            {"submitted", int64_t{entry.submitted}},
            {"started", int64_t{entry.started}},
            {"ended", int64_t{entry.ended}},
            {"outcome", entry.ended == 0 ? running : entry.outcome},
            {"reason", entry.reason}};
}

std::string TextOption(const std::string& name, const sdbus::Variant& value)
{
    if (!value.containsValueOfType<std::string>()) {
        throw CServiceError(ErrorName::BadData, "option " + name + ": give a text");
    }
    return value.get<std::string>();
}

CPrintRequest PrintRequest(const std::string& printer, std::string title,
                           const std::map<std::string, sdbus::Variant>& options)
{
    CPrintRequest request{printer, std::move(title), std::nullopt, {}};
    for (const auto& [name, value] : options) {
        if (name == "owner") {
            request.owner = TextOption(name, value);
        } else if (name == "uuid") {
            request.uuid = TextOption(name, value);
        } else {
            throw CServiceError(ErrorName::BadData,
                                host::PrintableUtf8(name) + ": no such option; there are owner and uuid");
        }
    }
    return request;
}

/// Collects the names of properties that differ.
class CChangedProperties {
public:
    template <class Value>
    void Compare(const char* property, const Value& before, const Value& now)
    {
        if (before != now) {
            m_names.emplace_back(property);
        }
    }
    void EmitFrom(sdbus::IObject& object, const char* interface) const
    {
        if (!m_names.empty()) {
            object.emitPropertiesChangedSignal(interface, m_names);
        }
    }

private:
    std::vector<std::string> m_names;
};

} // namespace

// ---------------------------------------------------------------------------------------------
// Callers

CCallers::CCallers(sdbus::IConnection& connection)
    : m_daemon(sdbus::createProxy(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus"))
{
}

CCaller CCallers::Current(const sdbus::IObject& object)
{
    const sdbus::Message* const message = object.getCurrentlyProcessedMessage();
    const std::string client = message ? message->getSender() : std::string();
    auto found = m_uids.find(client);
    if (found == m_uids.end()) {
        uint32_t uid = 0;
        m_daemon->callMethod("GetConnectionUnixUser")
            .onInterface("org.freedesktop.DBus")
            .withArguments(client)
            .storeResultsTo(uid);
        found = m_uids.emplace(client, uid).first;
    }
    return {LookUpUser(found->second), client};
}

// ---------------------------------------------------------------------------------------------
// Manager

CManagerObject::CManagerObject(sdbus::IConnection& connection, CService& service, CCallers& callers)
    : AdaptorInterfaces(connection, kManagerPath), m_service(service), m_callers(callers)
{
    registerAdaptor();
}

std::vector<sdbus::Struct<std::string, sdbus::ObjectPath>> CManagerObject::GetPrinters()
{
    std::vector<sdbus::Struct<std::string, sdbus::ObjectPath>> printers;
    for (const CPrinter* const printer : m_service.Printers()) {
        printers.emplace_back(printer->Name(), PrinterPath(printer->Name()));
    }
    return printers;
}

void CManagerObject::GetJobs(sdbus::Result<std::vector<std::map<std::string, sdbus::Variant>>>&& result,
                             int64_t since)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        m_service.ListJobs(m_callers.Current(getObject()), since,
                           [answer](const std::vector<CJobEntry>& entries, const auto& error) {
                               if (error) {
                                   answer->Refuse(BusError(*error));
                                   return;
                               }
                               std::vector<std::map<std::string, sdbus::Variant>> jobs;
                               jobs.reserve(entries.size());
                               for (const CJobEntry& entry : entries) {
                                   jobs.push_back(EntryOf(entry));
                               }
                               answer->Give(jobs);
                           });
    });
}

std::string CManagerObject::Version() { return ZRTMON_VERSION; }

// ---------------------------------------------------------------------------------------------
// Printer

CPrinterObject::CPrinterObject(sdbus::IConnection& connection, CService& service, CCallers& callers,
                               const CPrinter& printer)
    : AdaptorInterfaces(connection, PrinterPath(printer.Name())), m_service(service), m_callers(callers),
      m_printer(printer), m_signalled(printer.Status()), m_signalledPort(Port()), m_signalledJob(CurrentJob())
{
    registerAdaptor();
}

void CPrinterObject::EmitChanges()
{
    const CPrinterStatus& now = m_printer.Status();
    CChangedProperties changed;
    changed.Compare("Port", m_signalledPort, Port());
    changed.Compare("State", m_signalled.state, now.state);
    changed.Compare("StateMessage", m_signalled.message, now.message);
    changed.Compare("PrinterStatus", m_signalled.printerStatus, now.printerStatus);
    changed.Compare("PrinterError", m_signalled.printerError, now.printerError);
    changed.Compare("DeviceError", m_signalled.deviceError, now.deviceError);
    changed.Compare("CardCount", m_signalled.cardCount, now.cardCount);
    changed.Compare("CurrentJob", m_signalledJob, std::string(CurrentJob()));
    m_signalled = now;
    m_signalledPort = Port();
    m_signalledJob = CurrentJob();
    changed.EmitFrom(getObject(), Printer_adaptor::INTERFACE_NAME);
}

/// Everybody may see it: without passwords in a simulated printer's options.
std::string CPrinterObject::Port() { return host::PrintableInput(m_printer.Configuration().port); }

sdbus::ObjectPath CPrinterObject::CurrentJob()
{
    const CJob* const job = m_printer.CurrentJob();
    return sdbus::ObjectPath(job ? JobPath(job->id) : "/");
}

void CPrinterObject::Query(sdbus::Result<std::string>&& result, std::string name)
{
    Request(RequestKind::Query, std::move(result), std::move(name));
}

void CPrinterObject::Perform(sdbus::Result<std::string>&& result, std::string name)
{
    Request(RequestKind::Action, std::move(result), std::move(name));
}

void CPrinterObject::Request(RequestKind kind, sdbus::Result<std::string>&& result, std::string text)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        m_service.Request(m_callers.Current(getObject()), m_printer.Name(), kind, std::move(text),
                          [answer](const CReply& reply) {
                              if (reply.error) {
                                  answer->Refuse(BusError(*reply.error));
                              } else {
                                  answer->Give(host::PrintableUtf8(reply.text));
                              }
                          });
    });
}

void CPrinterObject::Print(sdbus::Result<sdbus::ObjectPath>&& result, sdbus::UnixFd data, std::string title,
                           std::map<std::string, sdbus::Variant> options)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        m_service.Print(
            m_callers.Current(getObject()), PrintRequest(m_printer.Name(), std::move(title), options),
            CDescriptor(data.release()), [answer](uint64_t id, const std::optional<CServiceError>& error) {
                if (error) {
                    answer->Refuse(BusError(*error));
                } else {
                    answer->Give(sdbus::ObjectPath(JobPath(id)));
                }
            });
    });
}

std::tuple<uint32_t, std::vector<uint8_t>> CPrinterObject::ReadStored(const std::string& valueName)
{
    return Serve([&] {
        const CStoredValue value =
            m_service.ReadStored(m_callers.Current(getObject()), m_printer.Name(), valueName);
        return std::tuple(value.type, std::vector<uint8_t>(value.bytes.begin(), value.bytes.end()));
    });
}

void CPrinterObject::WriteStored(sdbus::Result<>&& result, std::string valueName, uint32_t type,
                                 std::vector<uint8_t> bytes)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        CStoredValue value{std::move(valueName), false, type, std::string(bytes.begin(), bytes.end())};
        Wipe(bytes);
        m_service.ChangeStored(m_callers.Current(getObject()), m_printer.Name(), std::move(value),
                               [answer](const CReply& reply) {
                                   reply.error ? answer->Refuse(BusError(*reply.error)) : answer->Give();
                               });
    });
}

void CPrinterObject::RemoveStored(sdbus::Result<>&& result, std::string valueName)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        m_service.ChangeStored(m_callers.Current(getObject()), m_printer.Name(),
                               {std::move(valueName), true, 0, {}}, [answer](const CReply& reply) {
                                   reply.error ? answer->Refuse(BusError(*reply.error)) : answer->Give();
                               });
    });
}

// ---------------------------------------------------------------------------------------------
// Job

CJobObject::CJobObject(sdbus::IConnection& connection, CService& service, CCallers& callers, const CJob& job)
    : AdaptorInterfaces(connection, JobPath(job.id)), m_service(service), m_callers(callers), m_job(job),
      m_signalled(job.status)
{
    registerAdaptor();
}

void CJobObject::EmitChanges()
{
    const CJobStatus& now = m_job.status;
    CChangedProperties changed;
    changed.Compare("State", m_signalled.state, now.state);
    changed.Compare("Reason", m_signalled.reason, now.reason);
    changed.Compare("Category", m_signalled.category, now.category);
    changed.Compare("WantsPassword", m_signalled.wantsPassword, now.wantsPassword);
    changed.Compare("Bytes", m_signalled.bytes, now.bytes);
    changed.Compare("Cards", m_signalled.cards, now.cards);
    m_signalled = now;
    changed.EmitFrom(getObject(), Job_adaptor::INTERFACE_NAME);
}

sdbus::ObjectPath CJobObject::Printer() { return sdbus::ObjectPath(PrinterPath(m_job.job.printer)); }

void CJobObject::Cancel()
{
    Serve([&] { m_service.CancelJob(m_callers.Current(getObject()), m_job.id); });
}

void CJobObject::Acknowledge(sdbus::Result<>&& result)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        m_service.AcknowledgeJob(m_callers.Current(getObject()), m_job.id, [answer](const CReply& reply) {
            reply.error ? answer->Refuse(BusError(*reply.error)) : answer->Give();
        });
    });
}

void CJobObject::SupplyPassword(sdbus::Result<>&& result, std::vector<uint8_t> password)
{
    const auto answer = Shared(std::move(result));
    ServeLater(answer, [&] {
        const std::string_view text(reinterpret_cast<const char*>(password.data()), password.size());
        m_service.SupplyPassword(m_callers.Current(getObject()), m_job.id, text);
        answer->Give();
    });
    Wipe(password);
}

} // namespace zrtmon::service
