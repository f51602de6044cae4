#include "platform/print_system.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <optional>

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
constexpr DWORD kPrinterLevel = 2;
constexpr DWORD kDriverLevel = 3;
constexpr DWORD kLongestAnswer = 4096;
constexpr const wchar_t* kAskedValues[] = {L"SerialNumber", L"PrinterError"};

std::wstring SystemFolder()
{
    std::array<wchar_t, MAX_PATH> folder{};
    GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    return folder.data();
}

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

/// The system's own print library. The functions of these names that the program links are its own spooler's.
class CSpoolerLibrary {
public:
    CSpoolerLibrary() : m_module(LoadLibraryW((SystemFolder() + L"\\winspool.drv").c_str()))
    {
        Find("AddMonitorW", &addMonitor);
        Find("DeleteMonitorW", &deleteMonitor);
        Find("EnumMonitorsW", &enumMonitors);
        Find("EnumPrintersW", &enumPrinters);
        Find("OpenPrinterW", &openPrinter);
        Find("ClosePrinter", &closePrinter);
        Find("GetPrinterDriverW", &getPrinterDriver);
        Find("GetPrinterDataW", &getPrinterData);
    }
    ~CSpoolerLibrary()
    {
        if (m_module) {
            FreeLibrary(m_module);
        }
    }
    CSpoolerLibrary(const CSpoolerLibrary&) = delete;
    CSpoolerLibrary& operator=(const CSpoolerLibrary&) = delete;

    /// Whether all of the functions are there.
    bool IsComplete() const { return m_isComplete; }

    decltype(&::AddMonitorW) addMonitor = nullptr;
    decltype(&::DeleteMonitorW) deleteMonitor = nullptr;
    decltype(&::EnumMonitorsW) enumMonitors = nullptr;
    decltype(&::EnumPrintersW) enumPrinters = nullptr;
    decltype(&::OpenPrinterW) openPrinter = nullptr;
    decltype(&::ClosePrinter) closePrinter = nullptr;
    decltype(&::GetPrinterDriverW) getPrinterDriver = nullptr;
    decltype(&::GetPrinterDataW) getPrinterData = nullptr;

private:
    template <typename Function>
    void Find(const char* name, Function* function)
    {
        const FARPROC address = m_module ? GetProcAddress(m_module, name) : nullptr;
        static_assert(sizeof *function == sizeof address);
        std::memcpy(function, &address, sizeof address);
        m_isComplete = m_isComplete && address;
    }

    bool m_isComplete = true;
    HMODULE m_module;
};

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
        DWORD needed = 0;
        DWORD count = 0;
        m_spooler.enumMonitors(nullptr, kMonitorLevel, nullptr, 0, &needed, &count);
        std::vector<uint64_t> buffer(needed / sizeof(uint64_t) + 1);
        if (!m_spooler.enumMonitors(nullptr, kMonitorLevel, reinterpret_cast<LPBYTE>(buffer.data()), needed,
                                    &needed, &count)) {
            return GetLastError();
        }
        const auto* entries = reinterpret_cast<const MONITOR_INFO_2W*>(buffer.data());
        for (DWORD i = 0; i < count; ++i) {
            const auto text = [](const wchar_t* value) { return std::wstring(value ? value : L""); };
            monitors->push_back(
                {text(entries[i].pName), text(entries[i].pEnvironment), text(entries[i].pDLLName)});
        }
        return ERROR_SUCCESS;
    }

    std::vector<CDiagnostic> Examine(const std::wstring& monitor, const std::string& target) override
    {
        std::vector<CDiagnostic> findings = {
            {"system", SystemText(),
             IsForeignToTheSystem() ? "use the x64 program: the spooler of this system is 64-bit" : ""}};
        if (m_spooler.IsComplete()) {
            ExaminePrinters(monitor, Wide(target), &findings);
        } else {
            findings.push_back({"printers", "the system's winspool.drv cannot be used", "repair the system"});
        }
        return findings;
    }

private:
    void ExaminePrinters(const std::wstring& monitor, const std::wstring& target,
                         std::vector<CDiagnostic>* findings)
    {
        constexpr DWORD kFlags = PRINTER_ENUM_LOCAL;
        DWORD needed = 0;
        DWORD count = 0;
        m_spooler.enumPrinters(kFlags, nullptr, kPrinterLevel, nullptr, 0, &needed, &count);
        std::vector<uint64_t> buffer(needed / sizeof(uint64_t) + 1);
        if (!m_spooler.enumPrinters(kFlags, nullptr, kPrinterLevel, reinterpret_cast<LPBYTE>(buffer.data()),
                                    needed, &needed, &count)) {
            findings->push_back({"printers", "error " + std::to_string(GetLastError()),
                                 "start the service \"Print Spooler\""});
            return;
        }
        const auto* printers = reinterpret_cast<const PRINTER_INFO_2W*>(buffer.data());
        const size_t before = findings->size();
        for (DWORD i = 0; i < count; ++i) {
            const bool isNamed = lstrcmpiW(printers[i].pPrinterName, target.c_str()) == 0;
            if (isNamed || target.empty()) {
                ExaminePrinter(printers[i], monitor, isNamed, findings);
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
        std::wstring name = info.pPrinterName;
        HANDLE printer = nullptr;
        if (!m_spooler.openPrinter(name.data(), &printer, nullptr)) {
            findings->push_back({"printer", Utf8(info.pPrinterName), "cannot be opened: check the rights"});
            return;
        }
        const std::wstring used = DriverMonitor(printer);
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
            for (const wchar_t* value : kAskedValues) {
                findings->push_back(AskPrinter(printer, value));
            }
        }
        m_spooler.closePrinter(printer);
    }

    std::wstring DriverMonitor(HANDLE printer)
    {
        DWORD needed = 0;
        m_spooler.getPrinterDriver(printer, nullptr, kDriverLevel, nullptr, 0, &needed);
        std::vector<uint64_t> buffer(needed / sizeof(uint64_t) + 1);
        if (!m_spooler.getPrinterDriver(printer, nullptr, kDriverLevel,
                                        reinterpret_cast<LPBYTE>(buffer.data()), needed, &needed)) {
            return {};
        }
        const wchar_t* name = reinterpret_cast<const DRIVER_INFO_3W*>(buffer.data())->pMonitorName;
        return name ? name : L"";
    }

    CDiagnostic AskPrinter(HANDLE printer, const wchar_t* valueName)
    {
        std::wstring name = valueName;
        std::vector<BYTE> answer(kLongestAnswer + 1);
        DWORD count = 0;
        const DWORD error =
            m_spooler.getPrinterData(printer, name.data(), nullptr, answer.data(), kLongestAnswer, &count);
        if (error != ERROR_SUCCESS) {
            return {Utf8(valueName), "error " + std::to_string(error),
                    "check that the printer is on and the monitor is registered"};
        }
        return {Utf8(valueName), reinterpret_cast<const char*>(answer.data()), ""};
    }

    CSpoolerLibrary m_spooler;
};

} // namespace

IPrintSystem& MachinePrintSystem()
{
    static CPrintSystem system;
    return system;
}

} // namespace zrtmon
