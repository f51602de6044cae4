#include <cstring>
#include <new>
#include <span>

#include "platform/faults.h"
#include "platform/spooler/job_records.h"
#include "platform/spooler/printer_store.h"
#include "platform/sync.h"
#include "platform/win32.h"

using namespace zrtmon;
using namespace zrtmon::spooler;

namespace {

constexpr ACCESS_MASK kPrinterRights = PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE;
constexpr DWORD kJobRecordLevel = 1;

/// Runs one service under the store's lock; service returns an error code. No exception leaves here.
template <class Service>
DWORD Serve(Service service)
{
    if (ShouldFail(FaultPoint::SpoolerCall)) {
        return ERROR_GEN_FAILURE;
    }
    try {
        CPrinterStore& store = CPrinterStore::Get();
        const CSectionHold hold(store.Section());
        return service(store);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

BOOL ToResult(DWORD error)
{
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return FALSE;
    }
    return TRUE;
}

bool IsEmpty(LPCWSTR name) { return !name || *name == L'\0'; }

/// The access to open with, from what the caller asks for.
ACCESS_MASK WantedAccess(const PRINTER_DEFAULTSW* defaults)
{
    const ACCESS_MASK wanted = defaults ? defaults->DesiredAccess & kPrinterRights : 0;
    return wanted != 0 ? wanted : PRINTER_ACCESS_USE;
}

/// Whether values of the handle's printer may be changed by that name.
DWORD CheckChange(CPrinterStore& store, HANDLE printer, LPCWSTR valueName)
{
    if (!store.FromHandle(printer)) {
        return ERROR_INVALID_HANDLE;
    }
    if (!store.MayAdminister(printer)) {
        return ERROR_ACCESS_DENIED;
    }
    return IsEmpty(valueName) ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
}

DWORD CopyValue(const Value& value, LPDWORD type, LPBYTE data, DWORD size, LPDWORD sizeNeeded)
{
    const auto valueSize = static_cast<DWORD>(value.bytes.size());
    if (type) {
        *type = value.type;
    }
    *sizeNeeded = valueSize;
    if (!data || size < valueSize) {
        return valueSize == 0 ? ERROR_SUCCESS : ERROR_MORE_DATA;
    }
    std::memcpy(data, value.bytes.data(), valueSize);
    return ERROR_SUCCESS;
}

/// The jobs from a position on, at most count.
std::span<const Job> SelectJobs(const Printer& printer, DWORD firstJob, DWORD count)
{
    const std::span<const Job> jobs(printer.jobs);
    const std::span<const Job> rest = jobs.subspan(firstJob < jobs.size() ? firstJob : jobs.size());
    return rest.first(count < rest.size() ? count : rest.size());
}

/// Calls the printer's refresh, if it has one.
void Refresh(HANDLE printer, LPCWSTR valueName)
{
    std::function<void(const std::wstring&)> refresh;
    {
        CPrinterStore& store = CPrinterStore::Get();
        const CSectionHold hold(store.Section());
        if (const Printer* const found = store.FromHandle(printer)) {
            refresh = found->refresh;
        }
    }
    if (refresh) {
        refresh(valueName);
    }
}

struct JobControl {
    DWORD control;
    DWORD set;
    DWORD cleared;
};

constexpr JobControl kJobControls[] = {
    {0, 0, 0},
    {JOB_CONTROL_PAUSE, JOB_STATUS_PAUSED, 0},
    {JOB_CONTROL_RESUME, 0, JOB_STATUS_PAUSED},
    {JOB_CONTROL_CANCEL, JOB_STATUS_DELETING, 0},
    {JOB_CONTROL_DELETE, JOB_STATUS_DELETING, 0},
    {JOB_CONTROL_SENT_TO_PRINTER, JOB_STATUS_PRINTED, 0},
};

DWORD ApplyControl(Job& job, DWORD control)
{
    for (const JobControl& row : kJobControls) {
        if (row.control == control) {
            job.status = (job.status | row.set) & ~row.cleared;
            return ERROR_SUCCESS;
        }
    }
    return ERROR_INVALID_PARAMETER;
}

} // namespace

BOOL WINAPI OpenPrinterW(LPWSTR printerName, LPHANDLE printer, PRINTER_DEFAULTSW* defaults)
{
    return ToResult(Serve([=](CPrinterStore& store) -> DWORD {
        if (!printerName || !printer) {
            return ERROR_INVALID_PARAMETER;
        }
        const Printer* const found = store.FindPrinter(printerName);
        if (!found) {
            return ERROR_INVALID_PRINTER_NAME;
        }
        const ACCESS_MASK access = WantedAccess(defaults);
        if ((access & ~found->access) != 0) {
            return ERROR_ACCESS_DENIED;
        }
        *printer = store.Open(found->name, access);
        return ERROR_SUCCESS;
    }));
}

BOOL WINAPI ClosePrinter(HANDLE printer)
{
    CPrinterStore& store = CPrinterStore::Get();
    const CSectionHold hold(store.Section());
    return ToResult(store.Close(printer) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

DWORD WINAPI GetPrinterDataW(HANDLE printer, LPWSTR valueName, LPDWORD type, LPBYTE data, DWORD size,
                             LPDWORD sizeNeeded)
{
    if (!IsEmpty(valueName)) {
        Refresh(printer, valueName);
    }
    return Serve([=](CPrinterStore& store) -> DWORD {
        const Printer* const found = store.FromHandle(printer);
        if (!found) {
            return ERROR_INVALID_HANDLE;
        }
        if (IsEmpty(valueName) || !sizeNeeded) {
            return ERROR_INVALID_PARAMETER;
        }
        const Value* const value = found->FindValue(valueName);
        return value ? CopyValue(*value, type, data, size, sizeNeeded) : ERROR_FILE_NOT_FOUND;
    });
}

DWORD WINAPI SetPrinterDataW(HANDLE printer, LPWSTR valueName, DWORD type, LPBYTE data, DWORD size)
{
    return Serve([=](CPrinterStore& store) -> DWORD {
        const DWORD refusal = CheckChange(store, printer, valueName);
        if (refusal != ERROR_SUCCESS) {
            return refusal;
        }
        if (!data && size != 0) {
            return ERROR_INVALID_PARAMETER;
        }
        Printer& changed = *store.FromHandle(printer);
        changed.StoreValue(valueName, type, {reinterpret_cast<const char*>(data), size});
        store.ReportChange(changed, valueName);
        return ERROR_SUCCESS;
    });
}

DWORD WINAPI DeletePrinterDataW(HANDLE printer, LPWSTR valueName)
{
    return Serve([=](CPrinterStore& store) -> DWORD {
        const DWORD refusal = CheckChange(store, printer, valueName);
        if (refusal != ERROR_SUCCESS) {
            return refusal;
        }
        Printer& changed = *store.FromHandle(printer);
        if (changed.values.erase(valueName) == 0) {
            return ERROR_FILE_NOT_FOUND;
        }
        store.ReportChange(changed, valueName);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI EnumJobsW(HANDLE printer, DWORD firstJob, DWORD count, DWORD level, LPBYTE jobs, DWORD size,
                      LPDWORD sizeNeeded, LPDWORD returned)
{
    return ToResult(Serve([=](CPrinterStore& store) -> DWORD {
        const Printer* const found = store.FromHandle(printer);
        if (!found) {
            return ERROR_INVALID_HANDLE;
        }
        if (level != kJobRecordLevel) {
            return ERROR_INVALID_LEVEL;
        }
        if (!sizeNeeded || !returned || (!jobs && size != 0)) {
            return ERROR_INVALID_PARAMETER;
        }
        const std::span<const Job> selected = SelectJobs(*found, firstJob, count);
        *sizeNeeded = static_cast<DWORD>(PackedSize(*found, selected));
        *returned = 0;
        if (size < *sizeNeeded) {
            return ERROR_INSUFFICIENT_BUFFER;
        }
        PackJobs(*found, selected, jobs);
        *returned = static_cast<DWORD>(selected.size());
        return ERROR_SUCCESS;
    }));
}

BOOL WINAPI SetJobW(HANDLE printer, DWORD jobId, DWORD level, LPBYTE job, DWORD control)
{
    return ToResult(Serve([=](CPrinterStore& store) -> DWORD {
        Printer* const found = store.FromHandle(printer);
        if (!found) {
            return ERROR_INVALID_HANDLE;
        }
        Job* const queued = found->FindJob(jobId);
        if (!queued || level != 0 || job) {
            return ERROR_INVALID_PARAMETER;
        }
        return ApplyControl(*queued, control);
    }));
}
