#include "platform/windows/spooler_library.h"

#include <cstring>

namespace zrtmon {
namespace {

constexpr DWORD kPrinterLevel = 2;
constexpr DWORD kDriverLevel = 3;

} // namespace

std::wstring SystemFolder()
{
    std::array<wchar_t, MAX_PATH> folder{};
    GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    return folder.data();
}

const CSpoolerLibrary& CSpoolerLibrary::Get()
{
    static const CSpoolerLibrary library;
    return library;
}

CSpoolerLibrary::CSpoolerLibrary()
    : m_module(LoadLibraryW((SystemFolder() + L"\\winspool.drv").c_str())), m_isComplete(m_module != nullptr)
{
    Find("AddMonitorW", &addMonitor);
    Find("DeleteMonitorW", &deleteMonitor);
    Find("EnumMonitorsW", &enumMonitors);
    Find("EnumPrinterDriversW", &enumPrinterDrivers);
    Find("EnumPrintersW", &enumPrinters);
    Find("OpenPrinterW", &openPrinter);
    Find("ClosePrinter", &closePrinter);
    Find("GetPrinterW", &getPrinter);
    Find("GetPrinterDriverW", &getPrinterDriver);
    Find("GetPrinterDataW", &getPrinterData);
    Find("EnumPrinterDataExW", &enumPrinterDataEx);
    Find("SetPrinterDataW", &setPrinterData);
    Find("StartDocPrinterW", &startDocPrinter);
    Find("StartPagePrinter", &startPagePrinter);
    Find("WritePrinter", &writePrinter);
    Find("EndPagePrinter", &endPagePrinter);
    Find("EndDocPrinter", &endDocPrinter);
    Find("EnumJobsW", &enumJobs);
    Find("SetJobW", &setJob);
    Find("FindFirstPrinterChangeNotification", &findFirstChange);
    Find("FindNextPrinterChangeNotification", &findNextChange);
    Find("FindClosePrinterChangeNotification", &findCloseChange);
    const bool hasOthers = m_isComplete;
    Find("DeletePrinterDataW", &deletePrinterData);
    m_isComplete = hasOthers;
}

CSpoolerLibrary::~CSpoolerLibrary()
{
    if (m_module) {
        FreeLibrary(m_module);
    }
}

template <typename Function>
void CSpoolerLibrary::Find(const char* name, Function* function)
{
    const FARPROC address = m_module ? GetProcAddress(m_module, name) : nullptr;
    static_assert(sizeof *function == sizeof address);
    std::memcpy(function, &address, sizeof address);
    m_isComplete = m_isComplete && address;
}

CSystemPrinter::CSystemPrinter(std::wstring name, ACCESS_MASK access)
{
    PRINTER_DEFAULTSW defaults{nullptr, nullptr, access != 0 ? access : PRINTER_ACCESS_USE};
    if (!CSpoolerLibrary::Get().openPrinter(name.data(), &m_printer, &defaults)) {
        m_printer = nullptr;
    }
}

CSystemPrinter::~CSystemPrinter()
{
    if (m_printer) {
        CSpoolerLibrary::Get().closePrinter(m_printer);
    }
}

std::wstring CSystemPrinter::DriverMonitor() const
{
    CRecordList<DRIVER_INFO_3W> driver;
    const DWORD error = driver.Load([this](LPBYTE data, DWORD size, DWORD* needed, DWORD* /*count*/) {
        return ErrorOf(
            CSpoolerLibrary::Get().getPrinterDriver(m_printer, nullptr, kDriverLevel, data, size, needed));
    });
    const wchar_t* name = error == ERROR_SUCCESS ? driver.begin()->pMonitorName : nullptr;
    return name ? name : L"";
}

DWORD LoadPrinters(CRecordList<PRINTER_INFO_2W>* printers)
{
    const CSpoolerLibrary& spooler = CSpoolerLibrary::Get();
    if (!spooler.IsComplete()) {
        return ERROR_MOD_NOT_FOUND;
    }
    return printers->Load([&spooler](LPBYTE data, DWORD size, DWORD* needed, DWORD* count) {
        return ErrorOf(
            spooler.enumPrinters(PRINTER_ENUM_LOCAL, nullptr, kPrinterLevel, data, size, needed, count));
    });
}

} // namespace zrtmon
