/// A printer of the print service.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "host/places/printer.h"
#include "platform/sync.h"
#include "service/client/print_service.h"

namespace zrtmon::client {

/// What the monitor has published, as far as the service knows.
host::CPublishedValues PublishedValues(const CPrinterStatus& status);

/// The value "Password" of its data is the password of the job that prints: whoever owns the job may store
/// it, nobody can read it, and the service drops it with the job.
class CServicePrinter final : public host::IPrinter {
public:
    CServicePrinter(std::string name, std::shared_ptr<IPrintService> service,
                    std::unique_ptr<IRemotePrinter> remote);

    std::string Name() const override { return m_name; }
    std::string Place() const override;
    bool HasDevice() const override { return m_hasDevice; }
    host::CQueryResult Query(const std::string& requestText) override;
    host::CQueryResult SendPasswords(const std::string& name,
                                     std::initializer_list<std::string_view> passwords) override;
    std::string QueryErrorText(DWORD error) const override;
    host::CPublishedValues PublishedValues() override;
    host::CPrinterState ReadState() override;
    /// Of any printer of the service that is followed.
    bool WaitForChange(DWORD milliseconds) override;
    bool HasValue(const std::wstring& valueName) override;
    std::optional<CStoredValue> LoadValue(const std::wstring& valueName) override;
    host::CStoreResult StoreValue(const std::wstring& valueName, DWORD type,
                                  std::span<const char> bytes) override;
    host::CStoreResult RemoveValue(const std::wstring& valueName) override;
    /// pieceBytes is the service's affair: it gets the file itself.
    std::unique_ptr<host::IPrintJob> Print(host::CJobSource& source, uint32_t pieceBytes) override;

private:
    std::shared_ptr<IRemoteJob> CurrentJob();
    void SupplyPassword(std::span<const char> terminated);

    std::string m_name;
    std::shared_ptr<IPrintService> m_service;
    std::unique_ptr<IRemotePrinter> m_remote; ///< after the service, which it borrows
    const bool m_hasDevice;
    std::atomic<uint64_t> m_seenChanges = 0;
    CCriticalSection m_lock;           ///< guards the two below
    std::string m_jobObject = "/";     ///< of m_job
    std::shared_ptr<IRemoteJob> m_job; ///< null if none prints, or it is gone
};

} // namespace zrtmon::client
