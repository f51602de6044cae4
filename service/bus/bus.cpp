#include "service/bus/bus.h"

#include "service/bus/object_path.h"
#include "service/messages.h"

namespace zrtmon::service {

CBus::CBus(bool isSessionBus, std::function<void()> onLost)
    : m_onLost(std::move(onLost)),
      m_connection(isSessionBus ? sdbus::createSessionBusConnection() : sdbus::createSystemBusConnection()),
      m_callers(*m_connection)
{
}

CBus::~CBus() = default;

void CBus::Serve(CService& service)
{
    m_service = &service;
    m_manager = std::make_unique<CManagerObject>(*m_connection, service, m_callers);
    for (const CPrinter* const printer : service.Printers()) {
        OnPrinterAdded(*printer);
    }
    WatchClients();
    m_connection->requestName(kBusName);
}

/// A connection that has gone owns its own name no longer.
void CBus::WatchClients()
{
    const std::string match = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                              "member='NameOwnerChanged',arg2=''";
    m_clientsMatch = m_connection->addMatch(match, [this](sdbus::Message& message) {
        std::string client;
        message >> client;
        m_callers.Forget(client);
        m_service->ForgetClient(client);
    });
}

ILoopSource::CWait CBus::Wait()
{
    if (m_isLost) {
        return {-1, 0, -1}; // poll ignores it
    }
    const sdbus::IConnection::PollData data = m_connection->getEventLoopPollData();
    return {data.fd, data.events, data.getPollTimeout()};
}

void CBus::Process()
{
    try {
        while (!m_isLost && m_connection->processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        Lose(error.getMessage());
    }
}

void CBus::OnPrinterAdded(const CPrinter& printer)
{
    if (m_service) {
        Emit([&] {
            m_printers[&printer] =
                std::make_unique<CPrinterObject>(*m_connection, *m_service, m_callers, printer);
            m_manager->emitPrinterAdded(printer.Name(), sdbus::ObjectPath(PrinterPath(printer.Name())));
        });
    }
}

void CBus::OnPrinterRemoved(const CPrinter& printer)
{
    m_printers.erase(&printer);
    Emit([&] {
        m_manager->emitPrinterRemoved(printer.Name(), sdbus::ObjectPath(PrinterPath(printer.Name())));
    });
}

void CBus::OnPrinterChanged(const CPrinter& printer)
{
    const auto found = m_printers.find(&printer);
    if (found != m_printers.end()) {
        Emit([&] { found->second->EmitChanges(); });
    }
}

void CBus::OnJobAdded(const CJob& job)
{
    Emit([&] { m_jobs[job.id] = std::make_unique<CJobObject>(*m_connection, *m_service, m_callers, job); });
}

void CBus::OnJobChanged(const CJob& job)
{
    const auto found = m_jobs.find(job.id);
    if (found != m_jobs.end()) {
        Emit([&] { found->second->EmitChanges(); });
    }
}

void CBus::OnJobEnded(const CJob& job)
{
    const auto found = m_jobs.find(job.id);
    if (found != m_jobs.end()) {
        const CJobStatus& status = job.status;
        Emit([&] {
            found->second->emitEnded(StateText(status.state), status.reason, status.bytes, status.cards);
        });
    }
}

void CBus::OnJobRemoved(uint64_t id) { m_jobs.erase(id); }

/// What cannot be told is in the journal. That the bus is lost shows when it is read.
void CBus::Emit(const std::function<void()>& emit) const
{
    try {
        if (!m_isLost) {
            emit();
        }
    } catch (const sdbus::Error& error) {
        Report(Severity::Warning, {}, "a change was not signalled: " + error.getMessage());
    }
}

void CBus::Lose(const std::string& reason)
{
    if (!m_isLost) {
        m_isLost = true;
        Report(Severity::Error, {}, "the bus is lost: " + reason);
        m_onLost();
    }
}

} // namespace zrtmon::service
