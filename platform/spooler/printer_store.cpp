#include "platform/spooler/printer_store.h"

#include <algorithm>

#include "platform/never_destroyed.h"

namespace zrtmon::spooler {

namespace {

// Printer handles fit into 32 bits, and no event or mutex has a value among them.
constexpr uintptr_t kFirstValue = 0x50000000;
constexpr uintptr_t kStep = 4;

uintptr_t ToKey(HANDLE handle) { return reinterpret_cast<uintptr_t>(handle); }

} // namespace

const Value* Printer::FindValue(const std::wstring& valueName) const
{
    const auto found = values.find(valueName);
    return found == values.end() ? nullptr : found->second.get();
}

void Printer::StoreValue(const std::wstring& valueName, DWORD type, std::string_view bytes)
{
    values.insert_or_assign(valueName, std::make_unique<const Value>(type, bytes));
}

Job* Printer::FindJob(DWORD jobId)
{
    const auto found =
        std::find_if(jobs.begin(), jobs.end(), [jobId](const Job& job) { return job.id == jobId; });
    return found == jobs.end() ? nullptr : &*found;
}

CPrinterStore& CPrinterStore::Get() { return NeverDestroyed<CPrinterStore>(); }

void CPrinterStore::CreatePrinter(const std::wstring& name, ACCESS_MASK access)
{
    auto printer = std::make_shared<Printer>();
    printer->name = name;
    printer->access = access;
    m_printers[name] = std::move(printer);
}

Printer* CPrinterStore::FindPrinter(const std::wstring& name)
{
    const auto found = m_printers.find(name);
    return found == m_printers.end() ? nullptr : found->second.get();
}

HANDLE CPrinterStore::Open(const std::wstring& name, ACCESS_MASK access)
{
    const uintptr_t key = kFirstValue + kStep * ++m_lastSerial;
    m_open.emplace(key, OpenHandle{m_printers.at(name), access});
    return reinterpret_cast<HANDLE>(key);
}

bool CPrinterStore::Close(HANDLE handle) { return m_open.erase(ToKey(handle)) != 0; }

Printer* CPrinterStore::FromHandle(HANDLE handle)
{
    const auto found = m_open.find(ToKey(handle));
    // The store's own pointer keeps the printer alive while its lock is held.
    return found == m_open.end() ? nullptr : found->second.printer.lock().get();
}

void CPrinterStore::ReportChange(const Printer& printer, const std::wstring& valueName) const
{
    if (m_observer) {
        const Value* const value = printer.FindValue(valueName);
        m_observer->OnValueChanged(printer.name, valueName, value ? value->type : 0,
                                   value ? &value->bytes : nullptr);
    }
}

bool CPrinterStore::MayAdminister(HANDLE handle) const
{
    const auto found = m_open.find(ToKey(handle));
    return found != m_open.end() && (found->second.access & PRINTER_ACCESS_ADMINISTER) != 0;
}

} // namespace zrtmon::spooler
