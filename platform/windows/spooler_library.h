/// The system's own print library. The functions of the same names that a program links may be those of its
/// own spooler (platform/spooler_admin.h).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "platform/wipe.h"

namespace zrtmon {

/// The folder from which the spooler loads monitors, without a final backslash.
std::wstring SystemFolder();

/// A loaded winspool.drv. Members are its functions. Any thread.
class CSpoolerLibrary {
public:
    /// The process's one, loaded by its full path when it is first used.
    static const CSpoolerLibrary& Get();

    ~CSpoolerLibrary();
    CSpoolerLibrary(const CSpoolerLibrary&) = delete;
    CSpoolerLibrary& operator=(const CSpoolerLibrary&) = delete;

    /// Whether it was found and has the functions below, but for one. If not, none may be called.
    bool IsComplete() const { return m_isComplete; }

    // Monitors, drivers and printers
    decltype(&::AddMonitorW) addMonitor = nullptr;
    decltype(&::DeleteMonitorW) deleteMonitor = nullptr;
    decltype(&::EnumMonitorsW) enumMonitors = nullptr;
    decltype(&::EnumPrinterDriversW) enumPrinterDrivers = nullptr;
    decltype(&::EnumPrintersW) enumPrinters = nullptr;
    decltype(&::OpenPrinterW) openPrinter = nullptr;
    decltype(&::ClosePrinter) closePrinter = nullptr;
    decltype(&::GetPrinterW) getPrinter = nullptr;
    decltype(&::GetPrinterDriverW) getPrinterDriver = nullptr;
    // Printer data
    decltype(&::GetPrinterDataW) getPrinterData = nullptr;
    decltype(&::EnumPrinterDataExW) enumPrinterDataEx = nullptr;
    decltype(&::SetPrinterDataW) setPrinterData = nullptr;
    decltype(&::DeletePrinterDataW) deletePrinterData = nullptr; ///< null where it has none, as in wine 8
    // Documents and jobs
    decltype(&::StartDocPrinterW) startDocPrinter = nullptr;
    decltype(&::StartPagePrinter) startPagePrinter = nullptr;
    decltype(&::WritePrinter) writePrinter = nullptr;
    decltype(&::EndPagePrinter) endPagePrinter = nullptr;
    decltype(&::EndDocPrinter) endDocPrinter = nullptr;
    decltype(&::EnumJobsW) enumJobs = nullptr;
    decltype(&::SetJobW) setJob = nullptr;
    // Changes
    decltype(&::FindFirstPrinterChangeNotification) findFirstChange = nullptr;
    decltype(&::FindNextPrinterChangeNotification) findNextChange = nullptr;
    decltype(&::FindClosePrinterChangeNotification) findCloseChange = nullptr;

private:
    CSpoolerLibrary();

    template <typename Function>
    void Find(const char* name, Function* function);

    HMODULE m_module;
    bool m_isComplete;
};

/// A printer that the system's spooler has opened; may be empty.
class CSystemPrinter {
public:
    /// Empty, with the last error set, if it does not open. access 0: the right to print.
    explicit CSystemPrinter(std::wstring name, ACCESS_MASK access = 0);
    ~CSystemPrinter();
    CSystemPrinter(const CSystemPrinter&) = delete;
    CSystemPrinter& operator=(const CSystemPrinter&) = delete;

    HANDLE Get() const { return m_printer; }
    explicit operator bool() const { return m_printer != nullptr; }

    /// The language monitor that its driver names; empty if it names none or cannot be read.
    std::wstring DriverMonitor() const;

private:
    HANDLE m_printer = nullptr;
};

/// Records of a list of the spooler's, whose texts lie after them in the same memory.
template <typename Record>
class CRecordList {
public:
    CRecordList() = default;
    ~CRecordList() { Wipe(m_buffer); } // records of printer data may be passwords
    CRecordList(const CRecordList&) = delete;
    CRecordList& operator=(const CRecordList&) = delete;

    const Record* begin() const { return reinterpret_cast<const Record*>(m_buffer.data()); }
    const Record* end() const { return begin() + m_count; }

    /// Reads the list again until it fits, since it may grow in between. read(data, size, &needed, &count)
    /// calls one of the spooler's functions that fill a buffer. Returns 0 or its error.
    template <typename Read>
    DWORD Load(const Read& read)
    {
        constexpr unsigned kMostReads = 5;
        for (unsigned i = 0; i < kMostReads; ++i) {
            DWORD needed = 0;
            m_count = 0;
            const auto size = static_cast<DWORD>(m_buffer.size() * sizeof(uint64_t));
            const DWORD error = read(reinterpret_cast<LPBYTE>(m_buffer.data()), size, &needed, &m_count);
            if (error != ERROR_INSUFFICIENT_BUFFER && error != ERROR_MORE_DATA) {
                return error;
            }
            Wipe(m_buffer);
            m_buffer.resize(needed / sizeof(uint64_t) + 1);
        }
        return ERROR_INSUFFICIENT_BUFFER;
    }

private:
    std::vector<uint64_t> m_buffer; // aligned for every record
    DWORD m_count = 0;
};

/// What a function of the spooler that returns a BOOL has failed with; 0 if it has not.
inline DWORD ErrorOf(BOOL succeeded) { return succeeded ? ERROR_SUCCESS : GetLastError(); }

/// The local printers. Returns 0 or an error: 126 the print library cannot be used, 1722 the spooler does not
/// run.
DWORD LoadPrinters(CRecordList<PRINTER_INFO_2W>* printers);

} // namespace zrtmon
