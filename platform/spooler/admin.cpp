#include "platform/spooler_admin.h"

#include <utility>

#include "platform/spooler/printer_store.h"
#include "platform/sync.h"

namespace zrtmon::spooler {

void CreatePrinter(const std::wstring& printerName, ACCESS_MASK access)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    store.CreatePrinter(printerName, access);
}

void RemovePrinter(const std::wstring& printerName)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    store.RemovePrinter(printerName);
}

DWORD SubmitJob(const std::wstring& printerName, const std::wstring& documentName)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    Printer* const printer = store.FindPrinter(printerName);
    if (!printer) {
        return 0;
    }
    Job job = {store.TakeJobId(), documentName, 0, {}};
    GetLocalTime(&job.submitted);
    printer->jobs.push_back(std::move(job));
    return printer->jobs.back().id;
}

std::optional<DWORD> JobStatus(const std::wstring& printerName, DWORD jobId)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    Printer* const printer = store.FindPrinter(printerName);
    const Job* const job = printer ? printer->FindJob(jobId) : nullptr;
    return job ? std::optional(job->status) : std::nullopt;
}

bool ChangeJobStatus(const std::wstring& printerName, DWORD jobId, DWORD set, DWORD cleared)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    Printer* const printer = store.FindPrinter(printerName);
    Job* const job = printer ? printer->FindJob(jobId) : nullptr;
    if (job) {
        job->status = (job->status | set) & ~cleared;
    }
    return job != nullptr;
}

bool RemoveJob(const std::wstring& printerName, DWORD jobId)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    Printer* const printer = store.FindPrinter(printerName);
    return printer && std::erase_if(printer->jobs, [jobId](const Job& job) { return job.id == jobId; }) != 0;
}

void StoreValue(const std::wstring& printerName, const std::wstring& valueName, DWORD type,
                const std::string& bytes)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    if (Printer* const printer = store.FindPrinter(printerName)) {
        printer->StoreValue(valueName, type, bytes);
    }
}

std::optional<std::string> LoadValue(const std::wstring& printerName, const std::wstring& valueName)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    const Printer* const printer = store.FindPrinter(printerName);
    const Value* const value = printer ? printer->FindValue(valueName) : nullptr;
    return value ? std::optional(value->bytes) : std::nullopt;
}

void SetValueObserver(IValueObserver* observer)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    store.SetObserver(observer);
}

void VisitValues(
    const std::wstring& printerName,
    const std::function<void(const std::wstring& valueName, DWORD type, const std::string& bytes)>& visit)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    if (const Printer* const printer = store.FindPrinter(printerName)) {
        for (const auto& [name, value] : printer->values) {
            visit(name, value->type, value->bytes);
        }
    }
}

void RefreshValues(const std::wstring& printerName,
                   std::function<void(const std::wstring& valueName)> refresh)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    if (Printer* const printer = store.FindPrinter(printerName)) {
        printer->refresh = std::move(refresh);
    }
}

size_t OpenPrinterCount()
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    return store.OpenCount();
}

} // namespace zrtmon::spooler
