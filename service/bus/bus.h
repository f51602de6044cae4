/// The service on the bus.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <sdbus-c++/sdbus-c++.h>
#include <string>

#include "service/bus/objects.h"
#include "service/main_loop.h"
#include "service/service.h"

namespace zrtmon::service {

/// Main thread. The bus calls the service, and the service tells the bus.
class CBus final : public ILoopSource, public IServiceEvents {
public:
    /// Connects. onLost is called once when the connection breaks. Throws sdbus::Error.
    CBus(bool isSessionBus, std::function<void()> onLost);
    ~CBus() override;

    /// Puts the objects on the bus, and then takes the name. The service is borrowed for this object's life.
    /// Throws sdbus::Error.
    void Serve(CService& service);

    CWait Wait() override;
    void Process() override;

    void OnPrinterAdded(const CPrinter& printer) override;
    void OnPrinterRemoved(const CPrinter& printer) override;
    void OnPrinterChanged(const CPrinter& printer) override;
    void OnJobAdded(const CJob& job) override;
    void OnJobChanged(const CJob& job) override;
    void OnJobEnded(const CJob& job) override;
    void OnJobRemoved(uint64_t id) override;

private:
    void WatchClients();
    void Emit(const std::function<void()>& emit) const;
    void Lose(const std::string& reason);

    std::function<void()> m_onLost;
    bool m_isLost = false;
    std::unique_ptr<sdbus::IConnection> m_connection;
    CCallers m_callers;
    CService* m_service = nullptr; ///< null before Serve
    std::unique_ptr<CManagerObject> m_manager;
    std::map<const CPrinter*, std::unique_ptr<CPrinterObject>> m_printers;
    std::map<uint64_t, std::unique_ptr<CJobObject>> m_jobs;
    sdbus::Slot m_clientsMatch;
};

} // namespace zrtmon::service
