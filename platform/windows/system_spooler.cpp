#include "platform/system_spooler.h"

#include <utility>

#include "platform/sync.h"
#include "platform/windows/spooler_library.h"

namespace zrtmon {
namespace {

constexpr DWORD kPrinterLevel = 2;
constexpr DWORD kJobLevel = 2;
constexpr DWORD kDocumentLevel = 1;
constexpr wchar_t kDataKey[] = L"PrinterDriverData";

std::wstring Text(const wchar_t* text) { return text ? text : L""; }

/// The spooler's functions read what these point to; their parameters are not const.
LPWSTR Mutable(const std::wstring& text) { return const_cast<LPWSTR>(text.c_str()); }
LPBYTE Mutable(std::span<const char> bytes)
{
    return reinterpret_cast<LPBYTE>(const_cast<char*>(bytes.data()));
}

CQueueEntry EntryOf(const PRINTER_INFO_2W& info, std::wstring monitor)
{
    return {.name = Text(info.pPrinterName),
            .port = Text(info.pPortName),
            .driver = Text(info.pDriverName),
            .monitor = std::move(monitor),
            .status = info.Status,
            .attributes = info.Attributes,
            .jobs = info.cJobs};
}

/// Owns a notification of a printer's changes; may be empty.
class CChangeHandle {
public:
    CChangeHandle() = default;
    ~CChangeHandle()
    {
        if (m_handle != INVALID_HANDLE_VALUE) {
            CSpoolerLibrary::Get().findCloseChange(m_handle);
        }
    }
    CChangeHandle(const CChangeHandle&) = delete;
    CChangeHandle& operator=(const CChangeHandle&) = delete;

    /// False if the spooler cannot tell the printer's changes.
    bool Open(HANDLE printer)
    {
        if (m_handle == INVALID_HANDLE_VALUE) {
            m_handle = CSpoolerLibrary::Get().findFirstChange(printer, PRINTER_CHANGE_ALL, 0, nullptr);
        }
        return m_handle != INVALID_HANDLE_VALUE;
    }
    HANDLE Get() const { return m_handle; }

private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

class CSpoolerQueue final : public ISpoolerQueue {
public:
    CSpoolerQueue(const std::wstring& printerName, DWORD access) : m_printer(printerName, access) {}

    bool IsOpen() const { return static_cast<bool>(m_printer); }

    DWORD Info(CQueueEntry* entry) override
    {
        CRecordList<PRINTER_INFO_2W> info;
        const auto read = [this](LPBYTE data, DWORD size, DWORD* needed, DWORD* /*count*/) {
            return ErrorOf(m_spooler.getPrinter(m_printer.Get(), kPrinterLevel, data, size, needed));
        };
        if (const DWORD error = info.Load(read)) {
            return error;
        }
        *entry = EntryOf(*info.begin(), m_printer.DriverMonitor());
        return ERROR_SUCCESS;
    }

    DWORD GetData(const std::wstring& requestText, std::span<char> buffer, DWORD* needed) override
    {
        *needed = 0;
        return m_spooler.getPrinterData(m_printer.Get(), Mutable(requestText), nullptr, Mutable(buffer),
                                        static_cast<DWORD>(buffer.size()), needed);
    }

    DWORD StoredValues(std::vector<std::pair<std::wstring, CStoredValue>>* values) override
    {
        values->clear();
        CRecordList<PRINTER_ENUM_VALUESW> records;
        const auto read = [this](LPBYTE data, DWORD size, DWORD* needed, DWORD* count) {
            return m_spooler.enumPrinterDataEx(m_printer.Get(), kDataKey, data, size, needed, count);
        };
        const DWORD error = records.Load(read);
        if (error != ERROR_SUCCESS) {
            return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error; // nothing was ever stored
        }
        values->resize(
            static_cast<size_t>(records.end() - records.begin())); // once: a value may be a password
        auto value = values->begin();
        for (const PRINTER_ENUM_VALUESW& record : records) {
            const auto* bytes = reinterpret_cast<const char*>(record.pData);
            value->first = Text(record.pValueName);
            value->second.type = record.dwType;
            value->second.bytes.assign(bytes ? bytes : "", bytes ? record.cbData : 0);
            ++value;
        }
        return ERROR_SUCCESS;
    }

    DWORD SetData(const std::wstring& valueName, DWORD type, std::span<const char> bytes) override
    {
        return m_spooler.setPrinterData(m_printer.Get(), Mutable(valueName), type, Mutable(bytes),
                                        static_cast<DWORD>(bytes.size()));
    }

    DWORD DeleteData(const std::wstring& valueName) override
    {
        return m_spooler.deletePrinterData ? m_spooler.deletePrinterData(m_printer.Get(), Mutable(valueName))
                                           : ERROR_PROC_NOT_FOUND;
    }

    DWORD StartDocument(const std::wstring& title, DWORD* jobId) override
    {
        DOC_INFO_1W info{Mutable(title), nullptr, const_cast<LPWSTR>(L"RAW")};
        *jobId = m_spooler.startDocPrinter(m_printer.Get(), kDocumentLevel, reinterpret_cast<LPBYTE>(&info));
        if (*jobId == 0) {
            return GetLastError();
        }
        if (!m_spooler.startPagePrinter(m_printer.Get())) {
            const DWORD error = GetLastError();
            DeleteJob(*jobId);
            m_spooler.endDocPrinter(m_printer.Get());
            return error;
        }
        return ERROR_SUCCESS;
    }

    DWORD Write(std::span<const char> bytes) override
    {
        while (!bytes.empty()) {
            DWORD written = 0;
            if (!m_spooler.writePrinter(m_printer.Get(), Mutable(bytes), static_cast<DWORD>(bytes.size()),
                                        &written)) {
                return GetLastError();
            }
            if (written == 0 || written > bytes.size()) {
                return ERROR_WRITE_FAULT;
            }
            bytes = bytes.subspan(written);
        }
        return ERROR_SUCCESS;
    }

    DWORD EndDocument() override
    {
        const DWORD pageError = ErrorOf(m_spooler.endPagePrinter(m_printer.Get()));
        const DWORD error = ErrorOf(m_spooler.endDocPrinter(m_printer.Get()));
        return error != ERROR_SUCCESS ? error : pageError;
    }

    DWORD Jobs(std::vector<CQueueJob>* jobs) override
    {
        jobs->clear();
        CRecordList<JOB_INFO_2W> records;
        const auto read = [this](LPBYTE data, DWORD size, DWORD* needed, DWORD* count) {
            return ErrorOf(
                m_spooler.enumJobs(m_printer.Get(), 0, MAXDWORD, kJobLevel, data, size, needed, count));
        };
        if (const DWORD error = records.Load(read)) {
            return error;
        }
        for (const JOB_INFO_2W& record : records) {
            jobs->push_back({record.JobId, Text(record.pDocument), Text(record.pUserName),
                             Text(record.pStatus), record.Status, record.Size});
        }
        return ERROR_SUCCESS;
    }

    DWORD DeleteJob(DWORD jobId) override
    {
        return ErrorOf(m_spooler.setJob(m_printer.Get(), jobId, 0, nullptr, JOB_CONTROL_DELETE));
    }

    bool WaitForChange(DWORD milliseconds) override
    {
        {
            const CSectionHold hold(m_changeLock);
            if (!m_change.Open(m_printer.Get())) {
                return false;
            }
        }
        switch (WaitForSingleObject(m_change.Get(), milliseconds)) {
        case WAIT_TIMEOUT:
            return true;
        case WAIT_OBJECT_0: {
            DWORD changes = 0; // taken, since the notification stays signalled until then
            return m_spooler.findNextChange(m_change.Get(), &changes, nullptr, nullptr) != FALSE;
        }
        default:
            return false;
        }
    }

private:
    const CSpoolerLibrary& m_spooler = CSpoolerLibrary::Get();
    CSystemPrinter m_printer;
    CCriticalSection m_changeLock; ///< guards opening m_change
    CChangeHandle m_change;        ///< opened by the first wait; closed before the printer
};

class CSystemSpooler final : public ISystemSpooler {
public:
    DWORD ListQueues(std::vector<CQueueEntry>* queues) override
    {
        queues->clear();
        CRecordList<PRINTER_INFO_2W> printers;
        if (const DWORD error = LoadPrinters(&printers)) {
            return error;
        }
        for (const PRINTER_INFO_2W& info : printers) {
            const CSystemPrinter printer(Text(info.pPrinterName));
            queues->push_back(EntryOf(info, printer ? printer.DriverMonitor() : L""));
        }
        return ERROR_SUCCESS;
    }

    DWORD Open(const std::wstring& printerName, DWORD access, std::unique_ptr<ISpoolerQueue>* queue) override
    {
        queue->reset();
        if (!CSpoolerLibrary::Get().IsComplete()) {
            return ERROR_MOD_NOT_FOUND;
        }
        auto opened = std::make_unique<CSpoolerQueue>(printerName, access);
        if (!opened->IsOpen()) {
            return GetLastError();
        }
        *queue = std::move(opened);
        return ERROR_SUCCESS;
    }
};

} // namespace

ISystemSpooler& MachineSpooler()
{
    static CSystemSpooler spooler;
    return spooler;
}

} // namespace zrtmon
