#include "platform/spooler_setup.h"

#include <algorithm>

#include "platform/windows/service_handle.h"
#include "platform/windows/spooler_library.h"

namespace zrtmon {
namespace {

constexpr wchar_t kServiceName[] = L"Spooler";
constexpr DWORD kDriverLevel = 3;
constexpr DWORD kJobLevel = 1;
constexpr DWORD kPollMs = 100;
constexpr unsigned kMostPolls = 600;

DWORD WaitForState(SC_HANDLE service, DWORD state)
{
    for (unsigned i = 0; i < kMostPolls; ++i) {
        SERVICE_STATUS status{};
        if (!QueryServiceStatus(service, &status)) {
            return GetLastError();
        }
        if (status.dwCurrentState == state) {
            return ERROR_SUCCESS;
        }
        Sleep(kPollMs);
    }
    return ERROR_SERVICE_REQUEST_TIMEOUT;
}

/// Gives the service the order, unless it has obeyed already, and waits until it is in the state.
template <typename Order>
DWORD ChangeService(DWORD access, DWORD obeyed, DWORD state, const Order& order)
{
    const CServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager.Get()) {
        return GetLastError();
    }
    const CServiceHandle service(OpenServiceW(manager.Get(), kServiceName, access | SERVICE_QUERY_STATUS));
    if (!service.Get()) {
        return GetLastError();
    }
    if (!order(service.Get()) && GetLastError() != obeyed) {
        return GetLastError();
    }
    return WaitForState(service.Get(), state);
}

class CSpoolerSetup final : public ISpoolerSetup {
public:
    DWORD CheckUnused(const std::wstring& monitor) override
    {
        if (!m_spooler.IsComplete()) {
            return ERROR_MOD_NOT_FOUND;
        }
        std::wstring every = L"all";
        CRecordList<DRIVER_INFO_3W> drivers;
        const auto read = [&](LPBYTE data, DWORD size, DWORD* needed, DWORD* count) {
            return ErrorOf(
                m_spooler.enumPrinterDrivers(nullptr, every.data(), kDriverLevel, data, size, needed, count));
        };
        if (const DWORD error = drivers.Load(read)) {
            return error;
        }
        const bool isUsed =
            std::any_of(drivers.begin(), drivers.end(), [&monitor](const DRIVER_INFO_3W& driver) {
                return driver.pMonitorName && lstrcmpiW(driver.pMonitorName, monitor.c_str()) == 0;
            });
        return isUsed ? ERROR_PRINT_MONITOR_IN_USE : ERROR_SUCCESS;
    }

    DWORD CheckIdle() override
    {
        CRecordList<PRINTER_INFO_2W> printers;
        if (const DWORD error = LoadPrinters(&printers)) {
            return error;
        }
        for (const PRINTER_INFO_2W& printer : printers) {
            if (const DWORD error = CheckPrinterIdle(printer.pPrinterName)) {
                return error;
            }
        }
        return ERROR_SUCCESS;
    }

    DWORD StopSpooler() override
    {
        return ChangeService(SERVICE_STOP, ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED, [](SC_HANDLE service) {
            SERVICE_STATUS status{};
            return ControlService(service, SERVICE_CONTROL_STOP, &status);
        });
    }

    DWORD StartSpooler() override
    {
        return ChangeService(SERVICE_START, ERROR_SERVICE_ALREADY_RUNNING, SERVICE_RUNNING,
                             [](SC_HANDLE service) { return StartServiceW(service, 0, nullptr); });
    }

private:
    DWORD CheckPrinterIdle(const wchar_t* name)
    {
        const CSystemPrinter printer(name);
        if (!printer) {
            return GetLastError();
        }
        CRecordList<JOB_INFO_1W> jobs;
        const auto read = [this, &printer](LPBYTE data, DWORD size, DWORD* needed, DWORD* count) {
            return ErrorOf(
                m_spooler.enumJobs(printer.Get(), 0, MAXDWORD, kJobLevel, data, size, needed, count));
        };
        if (const DWORD error = jobs.Load(read)) {
            return error;
        }
        const bool isPrinting = std::any_of(jobs.begin(), jobs.end(), [](const JOB_INFO_1W& job) {
            return (job.Status & JOB_STATUS_PRINTING) != 0;
        });
        return isPrinting ? ERROR_PRINTER_HAS_JOBS_QUEUED : ERROR_SUCCESS;
    }

    const CSpoolerLibrary& m_spooler = CSpoolerLibrary::Get();
};

} // namespace

ISpoolerSetup& MachineSpoolerSetup()
{
    static CSpoolerSetup setup;
    return setup;
}

} // namespace zrtmon
