/// A printer of the system's own spooler.
#pragma once

#include <memory>
#include <string>

#include "host/environment.h"
#include "host/places/printer.h"
#include "platform/system_spooler.h"

namespace zrtmon::host {

/// Questions and actions go through GetPrinterData, which asks the monitor; published values are read without
/// it.
class CQueuePrinter final : public IPrinter {
public:
    /// The name is that of the queue, UTF-8; the spooler and the environment are borrowed.
    CQueuePrinter(std::string name, std::shared_ptr<ISpoolerQueue> queue, ISystemSpooler& spooler,
                  const CHostEnvironment& environment);

    std::string Name() const override { return m_name; }
    std::string Place() const override;
    bool HasDevice() const override { return true; }
    /// Error 2 without an answer: the monitor refused and nothing is stored, or it was an action.
    CQueryResult Query(const std::string& requestText) override;
    CQueryResult SendPasswords(const std::string& name,
                               std::initializer_list<std::string_view> passwords) override;
    std::string QueryErrorText(DWORD error) const override;
    CPublishedValues PublishedValues() override;
    CPrinterState ReadState() override;
    bool WaitForChange(DWORD milliseconds) override;
    bool HasValue(const std::wstring& valueName) override;
    std::optional<CStoredValue> LoadValue(const std::wstring& valueName) override;
    CStoreResult StoreValue(const std::wstring& valueName, DWORD type, std::span<const char> bytes) override;
    CStoreResult RemoveValue(const std::wstring& valueName) override;
    std::unique_ptr<IPrintJob> Print(CJobSource& source, uint32_t pieceBytes) override;

private:
    DWORD OpenForAdministration(std::unique_ptr<ISpoolerQueue>* queue);

    std::string m_name;
    std::shared_ptr<ISpoolerQueue> m_queue; ///< with the right to print
    ISystemSpooler& m_spooler;
    const CHostEnvironment& m_environment;
};

/// What the spooler's status bits of a queue say; empty for none of interest.
std::string QueueWords(const CQueueEntry& entry);

/// What the monitor has published to a queue, without asking the printer. Throws CHostError.
CPublishedValues PublishedTo(ISpoolerQueue& queue, const std::string& printerName);

} // namespace zrtmon::host
