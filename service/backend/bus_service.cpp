#include "service/backend/bus_service.h"

#include <algorithm>
#include <chrono>

#include "platform/wipe.h"

namespace zrtmon::backend {
namespace {

using namespace std::chrono_literals;

constexpr char kBusName[] = "org.zrtmon";
constexpr char kManagerPath[] = "/org/zrtmon";
constexpr char kManager[] = "org.zrtmon.Manager";
constexpr char kPrinter[] = "org.zrtmon.Printer";
constexpr char kJob[] = "org.zrtmon.Job";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";
constexpr char kOwnerChanged[] =
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='org.zrtmon'";
constexpr auto kPrintLimit = 120s; ///< the service's disk may be slow
constexpr auto kQueryLimit = 180s; ///< a query waits for its place between two cards
constexpr auto kDiscoveryLimit = 5s;
constexpr auto kCallLimit = std::chrono::milliseconds(IPrintService::kCallMs);

struct CRefusalName {
    std::string_view error;
    Refusal refusal;
};

/// Every other error may pass.
constexpr CRefusalName kRefusals[] = {
    {"org.zrtmon.Error.Printed", Refusal::Known},     {"org.zrtmon.Error.Running", Refusal::Known},
    {"org.zrtmon.Error.Interrupted", Refusal::Known}, {"org.zrtmon.Error.BadData", Refusal::NotValid},
    {"org.zrtmon.Error.TooLarge", Refusal::NotValid},
};

/// Errors after which nobody knows whether the service has taken the job.
constexpr std::string_view kNoReply[] = {"org.freedesktop.DBus.Error.NoReply",
                                         "org.freedesktop.DBus.Error.Timeout",
                                         "org.freedesktop.DBus.Error.Disconnected"};

struct CErrorWords {
    std::string_view error;
    const char* words;
};

/// The bus's own errors, which speak of objects and files.
constexpr CErrorWords kErrorWords[] = {
    {"org.freedesktop.DBus.Error.UnknownObject", "the print service has no printer of that name"},
    {"org.freedesktop.DBus.Error.ServiceUnknown", "the print service is not running"},
    {"org.freedesktop.DBus.Error.NameHasNoOwner", "the print service is not running"},
    {"org.freedesktop.DBus.Error.AccessDenied",
     "the system bus does not let this user talk to the print service"},
};

std::string WordsOf(const sdbus::Error& error)
{
    for (const CErrorWords& row : kErrorWords) {
        if (error.getName() == row.error) {
            return row.words;
        }
    }
    return error.getMessage();
}

Refusal RefusalOf(const sdbus::Error& error)
{
    for (const CRefusalName& row : kRefusals) {
        if (error.getName() == row.error) {
            return row.refusal;
        }
    }
    return Refusal::NotNow;
}

bool IsNoReply(const sdbus::Error& error)
{
    return std::find(std::begin(kNoReply), std::end(kNoReply), error.getName()) != std::end(kNoReply);
}

/// The path of a printer's object: every byte of the name that is not a letter or digit as _xx.
std::string PrinterPath(std::string_view name)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string path = "/org/zrtmon/printers/";
    for (const char c : name) {
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) {
            path += c;
            continue;
        }
        const auto byte = static_cast<uint8_t>(c);
        path += {'_', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return path;
}

template <typename Value>
void Take(const std::map<std::string, sdbus::Variant>& properties, const char* name, Value& value)
{
    const auto found = properties.find(name);
    if (found != properties.end() && found->second.containsValueOfType<Value>()) {
        value = found->second.get<Value>();
    }
}

} // namespace

CBusService::~CBusService() { Disconnect(); }

void CBusService::Connect()
{
    if (m_connection) {
        return;
    }
    m_connection = sdbus::createSystemBusConnection();
    m_ownerMatch = m_connection->addMatch(kOwnerChanged, [this](sdbus::Message& message) {
        std::string name;
        std::string oldOwner;
        message >> name >> oldOwner;
        if (!oldOwner.empty()) {
            m_events->OnServiceLost();
        }
    });
}

void CBusService::Disconnect()
{
    m_job.reset();
    m_printer.reset();
    m_ownerMatch.reset();
    m_connection.reset();
}

std::optional<CBusService::CWait> CBusService::Wait() const
{
    if (!m_connection) {
        return std::nullopt;
    }
    const sdbus::IConnection::PollData data = m_connection->getEventLoopPollData();
    return CWait{{data.fd, data.events, 0}, data.getPollTimeout()};
}

void CBusService::Process()
{
    try {
        while (m_connection && m_connection->processPendingRequest()) {
        }
    } catch (const sdbus::Error&) {
        Disconnect();
        m_events->OnServiceLost();
    }
}

sdbus::IProxy& CBusService::Printer(const std::string& name)
{
    if (!m_printer) {
        m_printer = sdbus::createProxy(*m_connection, kBusName, PrinterPath(name));
        m_printer->finishRegistration();
    }
    return *m_printer;
}

void CBusService::Print(const CPrintOrder& order)
{
    std::map<std::string, sdbus::Variant> options{{"owner", sdbus::Variant(order.owner)}};
    if (!order.uuid.empty()) {
        options.emplace("uuid", sdbus::Variant(order.uuid));
    }
    try {
        m_job.reset();
        Connect();
        Printer(order.printer)
            .callMethodAsync("Print")
            .onInterface(kPrinter)
            .withTimeout(kPrintLimit)
            .withArguments(sdbus::UnixFd(order.data), order.title, options)
            .uponReplyInvoke([this](const sdbus::Error* error, const sdbus::ObjectPath& job) {
                if (error == nullptr) {
                    Follow(job);
                } else if (IsNoReply(*error)) {
                    m_events->OnServiceLost();
                } else {
                    m_events->OnRefused(RefusalOf(*error), WordsOf(*error));
                }
            });
    } catch (const sdbus::Error& error) {
        Disconnect();
        m_events->OnRefused(Refusal::NotNow, "the system bus cannot be used: " + error.getMessage());
    }
}

void CBusService::Follow(const sdbus::ObjectPath& path)
{
    m_status = {};
    m_job = sdbus::createProxy(*m_connection, kBusName, path);
    m_job->uponSignal("PropertiesChanged")
        .onInterface(kProperties)
        .call([this](const std::string&, const CProperties& changed, const std::vector<std::string>&) {
            Update(changed);
        });
    m_job->finishRegistration();
    m_events->OnAccepted();
    m_job->callMethodAsync("GetAll")
        .onInterface(kProperties)
        .withArguments(std::string(kJob))
        .uponReplyInvoke([this](const sdbus::Error* error, const CProperties& all) {
            if (error == nullptr) {
                Update(all);
            } else {
                m_events->OnServiceLost();
            }
        });
}

void CBusService::Update(const CProperties& properties)
{
    Take(properties, "State", m_status.state);
    Take(properties, "Reason", m_status.reason);
    Take(properties, "Category", m_status.category);
    Take(properties, "WantsPassword", m_status.wantsPassword);
    Take(properties, "Bytes", m_status.bytes);
    Take(properties, "Total", m_status.total);
    Take(properties, "Cards", m_status.cards);
    m_events->OnJobChanged(m_status);
}

void CBusService::Query(const std::string& printer, const std::string& valueName)
{
    Printer(printer)
        .callMethodAsync("Query")
        .onInterface(kPrinter)
        .withTimeout(kQueryLimit)
        .withArguments(valueName)
        .uponReplyInvoke([this, valueName](const sdbus::Error* error, const std::string& answer) {
            if (error == nullptr) {
                m_events->OnAnswer(valueName, answer);
            }
        });
}

bool CBusService::CallJob(const std::string& method)
{
    if (!m_job) {
        return false;
    }
    try {
        m_job->callMethod(method).onInterface(kJob).withTimeout(kCallLimit);
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

bool CBusService::Cancel() { return CallJob("Cancel"); }

bool CBusService::Acknowledge() { return CallJob("Acknowledge"); }

bool CBusService::SupplyPassword(std::string_view password)
{
    if (!m_job) {
        return false;
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(password.data());
    std::vector<uint8_t> text(bytes, bytes + password.size());
    bool isTaken = true;
    try {
        m_job->callMethod("SupplyPassword").onInterface(kJob).withTimeout(kCallLimit).withArguments(text);
    } catch (const sdbus::Error&) {
        isTaken = false;
    }
    Wipe(text);
    return isTaken;
}

std::vector<std::string> CBusService::Printers()
{
    const auto connection = sdbus::createSystemBusConnection();
    const auto manager = sdbus::createProxy(*connection, kBusName, kManagerPath);
    std::vector<sdbus::Struct<std::string, sdbus::ObjectPath>> printers;
    manager->callMethod("GetPrinters")
        .onInterface(kManager)
        .withTimeout(kDiscoveryLimit)
        .storeResultsTo(printers);
    std::vector<std::string> names;
    names.reserve(printers.size());
    for (const auto& printer : printers) {
        names.push_back(printer.get<0>());
    }
    return names;
}

} // namespace zrtmon::backend
