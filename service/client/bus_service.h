/// The print service on the bus.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "platform/sync.h"
#include "platform/thread.h"
#include "service/client/print_service.h"
#include "service/main_loop.h"

namespace zrtmon::client {

/// A thread of its own has the connection: calls of any thread are made there and waited for, so that a slow
/// answer keeps no other call waiting.
class CBusService final : public IPrintService, private service::ILoopSource {
public:
    /// Throws host::CNoPrintSystem if there is no bus.
    explicit CBusService(bool isSessionBus);
    ~CBusService() override;

    std::vector<CPrinterName> Printers() override;
    std::unique_ptr<IRemotePrinter> FollowPrinter(const std::string& object) override;
    std::vector<host::CListedJob> Jobs(int64_t since) override;
    bool WaitForChange(uint64_t* seen, DWORD milliseconds) override;

    // For the objects of the service.

    /// To be called with null for success when the reply has come. On the connection's thread.
    using CReplyTo = std::function<void(const sdbus::Error* error)>;
    /// Runs start on the connection's thread and waits for the reply to the call that it makes. What start
    /// captures may be on the caller's stack. Throws as IPrintService.
    void Call(const std::function<void(const CReplyTo& replyTo)>& start);
    /// Runs the task on the connection's thread and waits for its end.
    void Run(const std::function<void()>& task);
    /// Of the connection's thread.
    sdbus::IConnection& Connection() { return *m_connection; }
    /// A followed object has changed. On the connection's thread.
    void NoteChange();
    /// Throws CServiceLost if the service or the bus is gone.
    void ThrowIfLost();

private:
    struct CPendingCall;

    CWait Wait() override;
    void Process() override;
    void Lose(CServiceLost::Cause cause, const std::string& message);

    service::CMainLoop m_loop;
    std::unique_ptr<sdbus::IConnection> m_connection;
    sdbus::Slot m_ownerMatch;
    std::set<CPendingCall*> m_pending; ///< of the connection's thread

    CCriticalSection m_lock;            ///< guards the two below
    std::optional<CServiceLost> m_loss; ///< nothing more comes from the bus
    uint64_t m_changes = 0;
    CHandle m_changed; ///< manual-reset event: there are more changes than a waiting thread has seen

    std::unique_ptr<CThread> m_thread; ///< last: the others outlive it
};

} // namespace zrtmon::client
