#include "platform/print_system.h"

#include <cstring>
#include <fstream>
#include <optional>

#include "platform/sync.h"
#include "platform/windows/service_handle.h"
#include "platform/windows/spooler_library.h"

namespace zrtmon {
namespace {

#ifdef _WIN64
constexpr WORD kMachine = IMAGE_FILE_MACHINE_AMD64;
constexpr wchar_t kEnvironment[] = L"Windows x64";
constexpr char kArchitecture[] = "x64";
#else
constexpr WORD kMachine = IMAGE_FILE_MACHINE_I386;
constexpr wchar_t kEnvironment[] = L"Windows NT x86";
constexpr char kArchitecture[] = "x86";
#endif
constexpr DWORD kMonitorLevel = 2;

std::string Utf8(const wchar_t* text)
{
    if (!text) {
        return {};
    }
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(size > 0 ? size : 1), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
    result.pop_back();
    return result;
}

std::wstring Wide(const std::string& text)
{
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::wstring result(static_cast<size_t>(size > 0 ? size : 1), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, result.data(), size);
    result.pop_back();
    return result;
}

/// The machine type of a library's file; std::nullopt if it is not a library.
std::optional<WORD> MachineOf(const std::wstring& file)
{
    std::ifstream stream(file.c_str(), std::ios::binary);
    IMAGE_DOS_HEADER start{};
    DWORD signature = 0;
    IMAGE_FILE_HEADER header{};
    stream.read(reinterpret_cast<char*>(&start), sizeof start);
    stream.seekg(start.e_lfanew);
    stream.read(reinterpret_cast<char*>(&signature), sizeof signature);
    stream.read(reinterpret_cast<char*>(&header), sizeof header);
    const bool isLibrary = stream && start.e_magic == IMAGE_DOS_SIGNATURE && signature == IMAGE_NT_SIGNATURE;
    return isLibrary ? std::optional<WORD>(header.Machine) : std::nullopt;
}

uint64_t Number(const FILETIME& time) { return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime; }

std::optional<uint64_t> WriteTime(const std::wstring& file)
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    return GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &data)
               ? std::optional(Number(data.ftLastWriteTime))
               : std::nullopt;
}

/// When the process of the spooler's service started; std::nullopt if it does not run, or may not be asked.
std::optional<uint64_t> SpoolerStartTime()
{
    const CServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const CServiceHandle service(manager.Get() ? OpenServiceW(manager.Get(), L"Spooler", SERVICE_QUERY_STATUS)
                                               : nullptr);
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!service.Get() || !QueryServiceStatusEx(service.Get(), SC_STATUS_PROCESS_INFO,
                                                reinterpret_cast<LPBYTE>(&status), sizeof status, &needed)) {
        return std::nullopt;
    }
    const CHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, status.dwProcessId));
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    return process.Get() && GetProcessTimes(process.Get(), &created, &ended, &kernel, &user)
               ? std::optional(Number(created))
               : std::nullopt;
}

bool IsForeignToTheSystem()
{
    BOOL isWow = FALSE;
    return IsWow64Process(GetCurrentProcess(), &isWow) && isWow;
}

/// 0, or why the spooler could not load the library.
DWORD CheckLibrary(const std::wstring& library)
{
    if (IsForeignToTheSystem()) {
        return ERROR_EXE_MACHINE_TYPE_MISMATCH;
    }
    const std::wstring file = SystemFolder() + L'\\' + library;
    if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return ERROR_MOD_NOT_FOUND;
    }
    return MachineOf(file) == kMachine ? ERROR_SUCCESS : ERROR_BAD_EXE_FORMAT;
}

std::string SystemText()
{
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    using GetVersion = LONG(WINAPI*)(OSVERSIONINFOW*); // reports the true version to every program
    const FARPROC address = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
    if (address) {
        GetVersion get = nullptr;
        std::memcpy(&get, &address, sizeof get);
        get(&version);
    }
    return "Windows " + std::to_string(version.dwMajorVersion) + '.' +
           std::to_string(version.dwMinorVersion) + '.' + std::to_string(version.dwBuildNumber) +
           ", this program " + kArchitecture;
}

class CPrintSystem final : public IPrintSystem {
public:
    DWORD AddMonitor(const std::wstring& name, const std::wstring& library) override
    {
        const DWORD problem = m_spooler.IsComplete() ? CheckLibrary(library) : ERROR_MOD_NOT_FOUND;
        if (problem != ERROR_SUCCESS) {
            return problem;
        }
        std::wstring names[] = {name, kEnvironment, library};
        MONITOR_INFO_2W info{names[0].data(), names[1].data(), names[2].data()};
        return m_spooler.addMonitor(nullptr, kMonitorLevel, reinterpret_cast<LPBYTE>(&info)) ? ERROR_SUCCESS
                                                                                             : GetLastError();
    }

    DWORD RemoveMonitor(const std::wstring& name) override
    {
        if (!m_spooler.IsComplete()) {
            return ERROR_MOD_NOT_FOUND;
        }
        std::wstring names[] = {name, kEnvironment};
        return m_spooler.deleteMonitor(nullptr, names[1].data(), names[0].data()) ? ERROR_SUCCESS
                                                                                  : GetLastError();
    }

    DWORD ListMonitors(std::vector<CMonitorEntry>* monitors) override
    {
        monitors->clear();
        if (!m_spooler.IsComplete()) {
            return ERROR_MOD_NOT_FOUND;
        }
        CRecordList<MONITOR_INFO_2W> entries;
        const DWORD error = entries.Load([this](LPBYTE data, DWORD size, DWORD* needed, DWORD* count) {
            return ErrorOf(m_spooler.enumMonitors(nullptr, kMonitorLevel, data, size, needed, count));
        });
        if (error != ERROR_SUCCESS) {
            return error;
        }
        const auto text = [](const wchar_t* value) { return std::wstring(value ? value : L""); };
        for (const MONITOR_INFO_2W& entry : entries) {
            monitors->push_back({text(entry.pName), text(entry.pEnvironment), text(entry.pDLLName)});
        }
        return ERROR_SUCCESS;
    }

    bool IsMappedDrive(const std::wstring& path) override
    {
        constexpr size_t kDriveLength = 2; // "X:"
        const bool hasDrive = path.size() >= kDriveLength && path[1] == L':';
        return hasDrive && GetDriveTypeW((path.substr(0, kDriveLength) + L'\\').c_str()) == DRIVE_REMOTE;
    }

    std::vector<CDiagnostic> Examine(const std::wstring& monitor, const std::string& target) override
    {
        std::vector<CDiagnostic> findings = {
            {"system", SystemText(),
             IsForeignToTheSystem() ? "use the x64 program: the spooler of this system is 64-bit" : ""}};
        if (m_spooler.IsComplete()) {
            ExamineLibrary(monitor, &findings);
            ExaminePrinters(monitor, Wide(target), &findings);
        } else {
            findings.push_back({"printers", "the system's winspool.drv cannot be used", "repair the system"});
        }
        return findings;
    }

private:
    /// The monitor's library as it lies in the system folder, if it is registered.
    void ExamineLibrary(const std::wstring& monitor, std::vector<CDiagnostic>* findings)
    {
        std::vector<CMonitorEntry> monitors;
        ListMonitors(&monitors);
        for (const CMonitorEntry& entry : monitors) {
            if (lstrcmpiW(entry.name.c_str(), monitor.c_str()) == 0) {
                findings->push_back(LibraryFile(SystemFolder() + L'\\' + entry.library));
            }
        }
    }

    static CDiagnostic LibraryFile(const std::wstring& file)
    {
        const std::optional<WORD> machine = MachineOf(file);
        if (!machine) {
            return {"library", Utf8(file.c_str()) + ": missing, or not a library",
                    "install the monitor again"};
        }
        if (*machine != kMachine) {
            return {"library", Utf8(file.c_str()) + ": for another architecture",
                    std::string("install the library for ") + kArchitecture};
        }
        const std::optional<uint64_t> written = WriteTime(file);
        const std::optional<uint64_t> started = SpoolerStartTime();
        if (written && started && *written > *started) {
            return {
                "library", Utf8(file.c_str()) + ": newer than the spooler's start",
                "restart the service \"Print Spooler\": it may still run the library that was there before"};
        }
        return {"library", Utf8(file.c_str()), ""};
    }

    void ExaminePrinters(const std::wstring& monitor, const std::wstring& target,
                         std::vector<CDiagnostic>* findings)
    {
        CRecordList<PRINTER_INFO_2W> printers;
        if (const DWORD error = LoadPrinters(&printers)) {
            findings->push_back(
                {"printers", "error " + std::to_string(error), "start the service \"Print Spooler\""});
            return;
        }
        const size_t before = findings->size();
        for (const PRINTER_INFO_2W& printer : printers) {
            const bool isNamed = lstrcmpiW(printer.pPrinterName, target.c_str()) == 0;
            if (isNamed || target.empty()) {
                ExaminePrinter(printer, monitor, isNamed, findings);
            }
        }
        if (findings->size() == before) {
            findings->push_back({"printers",
                                 target.empty() ? "none uses the monitor" : Utf8(target.c_str()) + ": none",
                                 "install the driver of the printer, whose INF names the monitor"});
        }
    }

    void ExaminePrinter(const PRINTER_INFO_2W& info, const std::wstring& monitor, bool isNamed,
                        std::vector<CDiagnostic>* findings)
    {
        const CSystemPrinter printer(info.pPrinterName);
        if (!printer) {
            findings->push_back({"printer", Utf8(info.pPrinterName), "cannot be opened: check the rights"});
            return;
        }
        const std::wstring used = printer.DriverMonitor();
        const bool isOurs = lstrcmpiW(used.c_str(), monitor.c_str()) == 0;
        if (isOurs || isNamed) {
            findings->push_back({"printer", Utf8(info.pPrinterName) + ", port " + Utf8(info.pPortName), ""});
            findings->push_back({"driver's monitor", used.empty() ? "none" : Utf8(used.c_str()),
                                 isOurs ? "" : "install a driver whose INF names the monitor"});
            const bool isBidirectional = (info.Attributes & PRINTER_ATTRIBUTE_ENABLE_BIDI) != 0;
            findings->push_back({"bidirectional support", isBidirectional ? "on" : "off",
                                 isBidirectional ? ""
                                                 : "switch it on (printer properties, Ports): without it "
                                                   "jobs bypass the monitor and its password gate"});
        }
    }

    const CSpoolerLibrary& m_spooler = CSpoolerLibrary::Get();
};

} // namespace

IPrintSystem& MachinePrintSystem()
{
    static CPrintSystem system;
    return system;
}

} // namespace zrtmon
