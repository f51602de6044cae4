#include "platform/spooler_setup.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zrtmon {
namespace {

constexpr wchar_t kServiceName[] = L"Spooler";
constexpr DWORD kDriverLevel = 3;
constexpr DWORD kPrinterLevel = 4;
constexpr DWORD kJobLevel = 1;
constexpr unsigned kMostReads = 5; // of a list that grows while it is read
constexpr DWORD kPollMs = 100;
constexpr unsigned kMostPolls = 600;

class CServiceHandle {
public:
    explicit CServiceHandle(SC_HANDLE handle) : m_handle(handle) {}
    ~CServiceHandle()
    {
        if (m_handle) {
            CloseServiceHandle(m_handle);
        }
    }
    CServiceHandle(const CServiceHandle&) = delete;
    CServiceHandle& operator=(const CServiceHandle&) = delete;

    SC_HANDLE Get() const { return m_handle; }

private:
    SC_HANDLE m_handle;
};

/// The system's own winspool.drv: the print services that the program links are its own spooler's.
class CPrintLibrary {
public:
    CPrintLibrary()
    {
        std::array<wchar_t, MAX_PATH> folder{};
        GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
        m_module = LoadLibraryW((std::wstring(folder.data()) + L"\\winspool.drv").c_str());
    }
    ~CPrintLibrary()
    {
        if (m_module) {
            FreeLibrary(m_module);
        }
    }
    CPrintLibrary(const CPrintLibrary&) = delete;
    CPrintLibrary& operator=(const CPrintLibrary&) = delete;

    /// Calls the function of that name. False, with last error 126 or 127, when it is missing, too.
    template <typename Function, typename... Arguments>
    BOOL Call(const char* name, Arguments... arguments) const
    {
        const FARPROC address = m_module ? GetProcAddress(m_module, name) : nullptr;
        if (!address) {
            return FALSE;
        }
        Function* function = nullptr;
        static_assert(sizeof function == sizeof address);
        std::memcpy(&function, &address, sizeof address);
        return function(arguments...);
    }

private:
    HMODULE m_module = nullptr;
};

/// Reads a list of the spooler's: read(data, size, &needed, &count) is one of its Enum functions.
template <typename Read>
DWORD ReadList(const Read& read, std::vector<uint64_t>* buffer, DWORD* count)
{
    for (unsigned i = 0; i < kMostReads; ++i) {
        DWORD needed = 0;
        const auto size = static_cast<DWORD>(buffer->size() * sizeof(uint64_t));
        if (read(reinterpret_cast<LPBYTE>(buffer->data()), size, &needed, count)) {
            return ERROR_SUCCESS;
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            return GetLastError();
        }
        buffer->resize(needed / sizeof(uint64_t) + 1);
    }
    return ERROR_INSUFFICIENT_BUFFER;
}

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
        std::wstring every = L"all";
        std::vector<uint64_t> buffer;
        DWORD count = 0;
        const auto read = [&](LPBYTE data, DWORD size, DWORD* needed, DWORD* rows) {
            return m_library.Call<decltype(::EnumPrinterDriversW)>(
                "EnumPrinterDriversW", nullptr, every.data(), kDriverLevel, data, size, needed, rows);
        };
        if (const DWORD error = ReadList(read, &buffer, &count)) {
            return error;
        }
        const auto* drivers = reinterpret_cast<const DRIVER_INFO_3W*>(buffer.data());
        const bool isUsed = std::any_of(drivers, drivers + count, [&monitor](const DRIVER_INFO_3W& driver) {
            return driver.pMonitorName && lstrcmpiW(driver.pMonitorName, monitor.c_str()) == 0;
        });
        return isUsed ? ERROR_PRINT_MONITOR_IN_USE : ERROR_SUCCESS;
    }

    DWORD CheckIdle() override
    {
        std::vector<uint64_t> buffer;
        DWORD count = 0;
        const auto read = [this](LPBYTE data, DWORD size, DWORD* needed, DWORD* rows) {
            return m_library.Call<decltype(::EnumPrintersW)>("EnumPrintersW", PRINTER_ENUM_LOCAL, nullptr,
                                                             kPrinterLevel, data, size, needed, rows);
        };
        if (const DWORD error = ReadList(read, &buffer, &count)) {
            return error;
        }
        const auto* printers = reinterpret_cast<const PRINTER_INFO_4W*>(buffer.data());
        for (DWORD i = 0; i < count; ++i) {
            if (const DWORD error = CheckPrinterIdle(printers[i].pPrinterName)) {
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
    DWORD CheckPrinterIdle(LPWSTR name)
    {
        HANDLE printer = nullptr;
        if (!m_library.Call<decltype(::OpenPrinterW)>("OpenPrinterW", name, &printer, nullptr)) {
            return GetLastError();
        }
        std::vector<uint64_t> buffer;
        DWORD count = 0;
        const DWORD error = ReadList(
            [this, printer](LPBYTE data, DWORD size, DWORD* needed, DWORD* rows) {
                return m_library.Call<decltype(::EnumJobsW)>("EnumJobsW", printer, 0, MAXDWORD, kJobLevel,
                                                             data, size, needed, rows);
            },
            &buffer, &count);
        m_library.Call<decltype(::ClosePrinter)>("ClosePrinter", printer);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        const auto* jobs = reinterpret_cast<const JOB_INFO_1W*>(buffer.data());
        const bool isPrinting = std::any_of(jobs, jobs + count, [](const JOB_INFO_1W& job) {
            return (job.Status & JOB_STATUS_PRINTING) != 0;
        });
        return isPrinting ? ERROR_PRINTER_HAS_JOBS_QUEUED : ERROR_SUCCESS;
    }

    CPrintLibrary m_library;
};

} // namespace

ISpoolerSetup& MachineSpoolerSetup()
{
    static CSpoolerSetup setup;
    return setup;
}

} // namespace zrtmon
