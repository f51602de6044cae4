#include "service/client/bus_service.h"

#include "platform/wipe.h"
#include "service/client/bus_object.h"

namespace zrtmon::client {
namespace {

using namespace std::chrono_literals;

constexpr char kManagerPath[] = "/org/zrtmon";
constexpr char kManager[] = "org.zrtmon.Manager";
constexpr char kPrinter[] = "org.zrtmon.Printer";
constexpr char kJob[] = "org.zrtmon.Job";
constexpr char kOwnerChanged[] =
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='org.zrtmon'";
constexpr auto kCallLimit = 30s;
constexpr auto kPrintLimit = 120s; // the service's disk may be slow
constexpr auto kQueryLimit = 180s; // a query waits for its place between two cards

template <class Value>
void Take(const CProperties& properties, const char* name, Value& value)
{
    const auto found = properties.find(name);
    if (found != properties.end() && found->second.containsValueOfType<Value>()) {
        value = found->second.get<Value>();
    }
}

void TakePath(const CProperties& properties, const char* name, std::string& value)
{
    sdbus::ObjectPath path = value;
    Take(properties, name, path);
    value = path;
}

/// A status that the connection's thread writes and any thread reads.
template <class Status>
class CSharedStatus {
public:
    Status Get()
    {
        const CSectionHold hold(m_lock);
        return m_status;
    }
    void Change(const std::function<void(Status& status)>& change)
    {
        const CSectionHold hold(m_lock);
        change(m_status);
    }

private:
    CCriticalSection m_lock;
    Status m_status;
};

class CBusJob final : public IRemoteJob {
public:
    CBusJob(CBusService& bus, const std::string& path)
        : m_object(bus, path, kJob, [this](const CProperties& changed) { Update(changed); })
    {
    }

    CJobStatus Status() override
    {
        CJobStatus status = m_status.Get();
        if (!status.HasEnded()) {
            m_object.Bus().ThrowIfLost();
        }
        return status;
    }
    void Cancel() override { m_object.Call<>("Cancel", kCallLimit); }
    void SupplyPassword(std::string_view password) override
    {
        std::vector<uint8_t> bytes(password.begin(), password.end());
        try {
            m_object.Call<>("SupplyPassword", kCallLimit, bytes);
        } catch (...) {
            Wipe(bytes);
            throw;
        }
        Wipe(bytes);
    }

private:
    void Update(const CProperties& changed)
    {
        m_status.Change([&](CJobStatus& status) {
            Take(changed, "Id", status.id);
            Take(changed, "State", status.state);
            Take(changed, "Reason", status.reason);
            Take(changed, "Category", status.category);
            Take(changed, "WantsPassword", status.wantsPassword);
            Take(changed, "Bytes", status.bytes);
            Take(changed, "Cards", status.cards);
        });
    }

    CSharedStatus<CJobStatus> m_status; ///< before the object, which changes it
    CBusObject m_object;
};

class CBusPrinter final : public IRemotePrinter {
public:
    CBusPrinter(CBusService& bus, const std::string& path)
        : m_object(bus, path, kPrinter, [this](const CProperties& changed) { Update(changed); })
    {
    }

    CPrinterStatus Status() override
    {
        m_object.Bus().ThrowIfLost();
        return m_status.Get();
    }
    std::string Query(const std::string& requestText) override
    {
        return std::get<0>(m_object.Call<std::string>("Query", kQueryLimit, requestText));
    }
    std::string Perform(const std::string& requestText) override
    {
        return std::get<0>(m_object.Call<std::string>("Perform", kQueryLimit, requestText));
    }
    std::unique_ptr<IRemoteJob> Print(int descriptor, const std::string& title) override
    {
        const auto [path] = m_object.Call<sdbus::ObjectPath>("Print", kPrintLimit, sdbus::UnixFd(descriptor),
                                                             title, CProperties());
        return FollowJob(path);
    }
    std::unique_ptr<IRemoteJob> FollowJob(const std::string& object) override
    {
        return std::make_unique<CBusJob>(m_object.Bus(), object);
    }

    CStoredValue ReadStored(const std::string& valueName) override
    {
        const auto [type, bytes] =
            m_object.Call<uint32_t, std::vector<uint8_t>>("ReadStored", kCallLimit, valueName);
        return {type, std::string(bytes.begin(), bytes.end())};
    }
    void WriteStored(const std::string& valueName, DWORD type, std::span<const char> bytes) override
    {
        const std::vector<uint8_t> copy(bytes.begin(), bytes.end());
        m_object.Call<>("WriteStored", kCallLimit, valueName, uint32_t{type}, copy);
    }
    void RemoveStored(const std::string& valueName) override
    {
        m_object.Call<>("RemoveStored", kCallLimit, valueName);
    }

private:
    void Update(const CProperties& changed)
    {
        m_status.Change([&](CPrinterStatus& status) {
            Take(changed, "Port", status.port);
            Take(changed, "State", status.state);
            Take(changed, "StateMessage", status.message);
            Take(changed, "PrinterStatus", status.printerStatus);
            Take(changed, "PrinterError", status.printerError);
            Take(changed, "DeviceError", status.deviceError);
            Take(changed, "CardCount", status.cardCount);
            TakePath(changed, "CurrentJob", status.currentJob);
        });
    }

    CSharedStatus<CPrinterStatus> m_status; ///< before the object, which changes it
    CBusObject m_object;
};

host::CListedJob ListedJob(const CProperties& entry)
{
    host::CListedJob job;
    Take(entry, "id", job.id);
    Take(entry, "printer", job.printer);
    Take(entry, "title", job.title);
    Take(entry, "owner", job.owner);
    Take(entry, "submitter", job.submitter);
    Take(entry, "uuid", job.uuid);
    Take(entry, "bytes", job.bytes);
    Take(entry, "total", job.total);
    Take(entry, "cards", job.cards);
    Take(entry, "submitted", job.submitted);
    Take(entry, "started", job.started);
    Take(entry, "ended", job.ended);
    Take(entry, "outcome", job.outcome);
    Take(entry, "reason", job.reason);
    return job;
}

} // namespace

/// A call that a thread waits for.
struct CBusService::CPendingCall {
    CHandle done{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::optional<sdbus::Error> error;
};

CBusService::CBusService(bool isSessionBus) : m_changed(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    try {
        m_connection =
            isSessionBus ? sdbus::createSessionBusConnection() : sdbus::createSystemBusConnection();
        m_ownerMatch = m_connection->addMatch(kOwnerChanged, [this](sdbus::Message& message) {
            std::string name;
            std::string oldOwner;
            message >> name >> oldOwner;
            if (!oldOwner.empty()) {
                Lose(CServiceLost::Cause::ServiceEnded, "the print service has ended");
            }
        });
    } catch (const sdbus::Error& error) {
        throw host::CNoPrintSystem("the bus of the print service cannot be reached: " + error.getMessage() +
                                   "; start dbus and zrtmond, or give --port");
    }
    m_thread = std::make_unique<CThread>([this] { m_loop.Run({this}); });
}

CBusService::~CBusService()
{
    m_loop.Post([this] { m_loop.Stop(); });
}

service::ILoopSource::CWait CBusService::Wait()
{
    if (m_loss) {
        return {-1, 0, -1}; // poll ignores it
    }
    const sdbus::IConnection::PollData data = m_connection->getEventLoopPollData();
    return {data.fd, data.events, data.getPollTimeout()};
}

void CBusService::Process()
{
    try {
        while (!m_loss && m_connection->processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        Lose(CServiceLost::Cause::BusLost, "the connection to the bus is lost: " + error.getMessage());
    }
}

/// On the connection's thread. Nothing is processed any more, so no reply can come to a call that has been
/// given up.
void CBusService::Lose(CServiceLost::Cause cause, const std::string& message)
{
    {
        const CSectionHold hold(m_lock);
        m_loss.emplace(cause, message);
    }
    for (CPendingCall* const call : std::exchange(m_pending, {})) {
        SetEvent(call->done.Get());
    }
    NoteChange();
}

void CBusService::ThrowIfLost()
{
    const CSectionHold hold(m_lock);
    if (m_loss) {
        throw CServiceLost(*m_loss);
    }
}

void CBusService::Call(const std::function<void(const CReplyTo& replyTo)>& start)
{
    CPendingCall call;
    bool isAnswered = false;
    const CReplyTo finish = [&](const sdbus::Error* error) {
        if (error) {
            call.error = *error;
        }
        isAnswered = true;
        m_pending.erase(&call);
        SetEvent(call.done.Get());
    };
    m_loop.Post([&] {
        if (m_loss) {
            SetEvent(call.done.Get());
            return;
        }
        m_pending.insert(&call);
        try {
            start(finish);
        } catch (const sdbus::Error& error) {
            finish(&error);
        }
    });
    WaitForSingleObject(call.done.Get(), INFINITE); // the bus limits every call
    if (call.error) {
        ThrowBusError(call.error->getName(), call.error->getMessage());
    }
    if (!isAnswered) {
        ThrowIfLost();
    }
}

void CBusService::Run(const std::function<void()>& task)
{
    const CHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_loop.Post([&] {
        task();
        SetEvent(done.Get());
    });
    WaitForSingleObject(done.Get(), INFINITE);
}

void CBusService::NoteChange()
{
    const CSectionHold hold(m_lock);
    ++m_changes;
    SetEvent(m_changed.Get());
}

bool CBusService::WaitForChange(uint64_t* seen, DWORD milliseconds)
{
    const auto isNews = [&] {
        const CSectionHold hold(m_lock);
        const bool hasChanged = m_changes != *seen;
        *seen = m_changes;
        if (!hasChanged) {
            ResetEvent(m_changed.Get());
        }
        return hasChanged;
    };
    if (isNews()) {
        return true;
    }
    WaitForSingleObject(m_changed.Get(), milliseconds);
    return isNews();
}

std::vector<IPrintService::CPrinterName> CBusService::Printers()
{
    using CEntry = sdbus::Struct<std::string, sdbus::ObjectPath>;
    CBusObject manager(*this, kManagerPath, kManager, {});
    const auto [entries] = manager.Call<std::vector<CEntry>>("GetPrinters", kCallLimit);
    std::vector<CPrinterName> printers;
    for (const CEntry& entry : entries) {
        printers.push_back({entry.get<0>(), entry.get<1>()});
    }
    return printers;
}

std::unique_ptr<IRemotePrinter> CBusService::FollowPrinter(const std::string& object)
{
    return std::make_unique<CBusPrinter>(*this, object);
}

std::vector<host::CListedJob> CBusService::Jobs(int64_t since)
{
    CBusObject manager(*this, kManagerPath, kManager, {});
    const auto [entries] = manager.Call<std::vector<CProperties>>("GetJobs", kCallLimit, since);
    std::vector<host::CListedJob> jobs;
    for (const CProperties& entry : entries) {
        jobs.push_back(ListedJob(entry));
    }
    return jobs;
}

} // namespace zrtmon::client
