#pragma once

#include <memory>
#include <optional>

#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>

#include "service/backend/print_service.h"

namespace zrtmon::backend {

/// The print service on the system bus. One thread: events are reported from Process, and from Print.
class CBusService final : public IPrintService {
public:
    CBusService() = default;
    ~CBusService() override;
    CBusService(const CBusService&) = delete;
    CBusService& operator=(const CBusService&) = delete;

    /// Borrowed; before the first Print.
    void ReportTo(IPrintEvents& events) { m_events = &events; }

    /// What to wait for, and for how long in ms (-1: no limit). std::nullopt without a connection.
    struct CWait {
        pollfd descriptor;
        int timeoutMs;
    };
    std::optional<CWait> Wait() const;
    /// Reports what has come.
    void Process();

    void Print(const CPrintOrder& order) override;
    void Query(const std::string& printer, const std::string& valueName) override;
    bool Cancel() override;
    bool SupplyPassword(std::string_view password) override;
    bool Acknowledge() override;

    /// The names of the service's printers. Throws sdbus::Error.
    static std::vector<std::string> Printers();

private:
    using CProperties = std::map<std::string, sdbus::Variant>;

    void Connect();
    void Disconnect();
    /// The printer's object, made when it is first needed.
    sdbus::IProxy& Printer(const std::string& name);
    void Follow(const sdbus::ObjectPath& path);
    void Update(const CProperties& properties);
    bool CallJob(const std::string& method);

    IPrintEvents* m_events = nullptr;
    std::unique_ptr<sdbus::IConnection> m_connection;
    sdbus::Slot m_ownerMatch;
    std::unique_ptr<sdbus::IProxy> m_printer;
    std::unique_ptr<sdbus::IProxy> m_job;
    CJobStatus m_status;
};

} // namespace zrtmon::backend
