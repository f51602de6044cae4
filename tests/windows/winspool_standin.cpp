// A winspool.drv that passes each call on to the process of the test spooler (spooler_process.cpp). A
// printer's handle is the number that the process has given it. Without the process every call fails with
// 1722, as without a spooler.
#include <algorithm>
#include <atomic>
#include <map>
#include <memory>

#include "platform/system_spooler.h"
#include "platform/thread.h"
#include "tests/windows/spooler_pipe.h"

namespace {

using namespace zrtmon;
using namespace zrtmon::test;

constexpr wchar_t kEnvironment[] = L"Windows x64";
constexpr wchar_t kLibrary[] = L"zrtmon.dll";
constexpr wchar_t kMonitorName[] = L"ZRT Card Printer Monitor";
constexpr DWORD kChangeSliceMs = 200;

BOOL ToResult(DWORD error)
{
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

DWORD NumberOf(HANDLE printer) { return static_cast<DWORD>(reinterpret_cast<uintptr_t>(printer)); }

CMessageWriter Message(SpoolerCall call) { return CMessageWriter() << static_cast<DWORD>(call); }

CMessageWriter Message(SpoolerCall call, HANDLE printer) { return Message(call) << NumberOf(printer); }

/// A call without results.
DWORD Call(const CMessageWriter& message)
{
    CMessageReader reply;
    return CallSpooler(message, &reply);
}

CQueueEntry ReadEntry(CMessageReader& reply)
{
    CQueueEntry entry;
    entry.name = reply.Text();
    entry.port = reply.Text();
    entry.driver = reply.Text();
    entry.monitor = reply.Text();
    entry.status = reply.Number();
    entry.attributes = reply.Number();
    entry.jobs = reply.Number();
    return entry;
}

CQueueJob ReadJob(CMessageReader& reply)
{
    CQueueJob job;
    job.id = reply.Number();
    job.document = reply.Text();
    job.user = reply.Text();
    job.statusText = reply.Text();
    job.status = reply.Number();
    job.bytes = reply.Number();
    return job;
}

/// What a record points to: a field and the bytes that are to be written after the records.
struct CPointed {
    size_t field; ///< its offset in the record
    std::string bytes;
};

CPointed PointedText(size_t field, const std::wstring& text)
{
    return {field,
            std::string(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t))};
}

/// Records and what they point to, in a caller's buffer.
template <typename Record>
class CRecords {
public:
    void Add(const Record& record, std::vector<CPointed> pointed)
    {
        m_size += sizeof record;
        for (const CPointed& each : pointed) {
            m_size += Aligned(each.bytes.size());
        }
        m_rows.push_back({record, std::move(pointed)});
    }

    /// 0, or tooSmall with nothing written but the size that is needed.
    DWORD Write(LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned, DWORD tooSmall) const
    {
        *needed = static_cast<DWORD>(m_size);
        if (size < m_size) {
            return tooSmall;
        }
        BYTE* rest = buffer + m_rows.size() * sizeof(Record);
        for (const auto& [record, pointed] : m_rows) {
            std::memcpy(buffer, &record, sizeof record);
            for (const CPointed& each : pointed) {
                std::memcpy(rest, each.bytes.data(), each.bytes.size());
                std::memcpy(buffer + each.field, &rest, sizeof rest);
                rest += Aligned(each.bytes.size());
            }
            buffer += sizeof record;
        }
        if (returned) {
            *returned = static_cast<DWORD>(m_rows.size());
        }
        return ERROR_SUCCESS;
    }

private:
    static size_t Aligned(size_t size) { return (size + 7) / 8 * 8; }

    struct CRow {
        Record record;
        std::vector<CPointed> pointed;
    };
    std::vector<CRow> m_rows;
    size_t m_size = 0;
};

void AddPrinter(const CQueueEntry& entry, CRecords<PRINTER_INFO_2W>& records)
{
    PRINTER_INFO_2W record{};
    record.Attributes = entry.attributes;
    record.Status = entry.status;
    record.cJobs = entry.jobs;
    records.Add(record, {PointedText(offsetof(PRINTER_INFO_2W, pPrinterName), entry.name),
                         PointedText(offsetof(PRINTER_INFO_2W, pPortName), entry.port),
                         PointedText(offsetof(PRINTER_INFO_2W, pDriverName), entry.driver)});
}

CRecords<DRIVER_INFO_3W> DriverRecords(const CQueueEntry& entry)
{
    DRIVER_INFO_3W record{};
    record.cVersion = 3;
    std::vector<CPointed> pointed = {PointedText(offsetof(DRIVER_INFO_3W, pName), entry.driver),
                                     PointedText(offsetof(DRIVER_INFO_3W, pEnvironment), kEnvironment)};
    if (!entry.monitor.empty()) {
        pointed.push_back(PointedText(offsetof(DRIVER_INFO_3W, pMonitorName), entry.monitor));
    }
    CRecords<DRIVER_INFO_3W> records;
    records.Add(record, pointed);
    return records;
}

DWORD QueryEntry(HANDLE printer, CQueueEntry* entry)
{
    CMessageReader reply;
    const DWORD error = CallSpooler(Message(SpoolerCall::Info, printer), &reply);
    if (error == ERROR_SUCCESS) {
        *entry = ReadEntry(reply);
    }
    return error;
}

/// An event that is set when the printer changes.
class CChangeWatch {
public:
    explicit CChangeWatch(HANDLE printer)
        : m_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_thread([this, printer] { Watch(printer); })
    {
    }
    ~CChangeWatch() { m_isStopping = true; }

    HANDLE Event() const { return m_event.Get(); }

private:
    void Watch(HANDLE printer)
    {
        while (!m_isStopping) {
            CMessageReader reply;
            if (CallSpooler(Message(SpoolerCall::WaitForChange, printer) << kChangeSliceMs, &reply) !=
                ERROR_SUCCESS) {
                return;
            }
            if (reply.Number() != 0) {
                SetEvent(m_event.Get());
            }
        }
    }

    CHandle m_event;
    std::atomic<bool> m_isStopping{false};
    CThread m_thread; ///< last: it uses the others
};

CCriticalSection g_watchLock;
std::map<HANDLE, std::unique_ptr<CChangeWatch>> g_watches; // by their events

} // namespace

// ---------------------------------------------------------------------------------------------
// Monitors, drivers and printers

BOOL WINAPI AddMonitorW(LPWSTR, DWORD, LPBYTE) { return ToResult(ERROR_PRINT_MONITOR_ALREADY_INSTALLED); }

BOOL WINAPI DeleteMonitorW(LPWSTR, LPWSTR, LPWSTR) { return ToResult(ERROR_PRINT_MONITOR_IN_USE); }

BOOL WINAPI EnumMonitorsW(LPWSTR, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed, LPDWORD returned)
{
    CMessageReader reply;
    const DWORD error = CallSpooler(Message(SpoolerCall::List), &reply);
    if (error != ERROR_SUCCESS || level != 2) {
        return ToResult(error != ERROR_SUCCESS ? error : ERROR_INVALID_LEVEL);
    }
    CRecords<MONITOR_INFO_2W> records;
    records.Add({}, {PointedText(offsetof(MONITOR_INFO_2W, pName), kMonitorName),
                     PointedText(offsetof(MONITOR_INFO_2W, pEnvironment), kEnvironment),
                     PointedText(offsetof(MONITOR_INFO_2W, pDLLName), kLibrary)});
    return ToResult(records.Write(buffer, size, needed, returned, ERROR_INSUFFICIENT_BUFFER));
}

BOOL WINAPI EnumPrinterDriversW(LPWSTR, LPWSTR, DWORD, LPBYTE, DWORD, LPDWORD, LPDWORD)
{
    return ToResult(ERROR_NOT_SUPPORTED); // the installer's tests use another spooler
}

BOOL WINAPI EnumPrintersW(DWORD, LPWSTR, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed,
                          LPDWORD returned)
{
    CMessageReader reply;
    const DWORD error = CallSpooler(Message(SpoolerCall::List), &reply);
    if (error != ERROR_SUCCESS || level != 2) {
        return ToResult(error != ERROR_SUCCESS ? error : ERROR_INVALID_LEVEL);
    }
    CRecords<PRINTER_INFO_2W> records;
    for (DWORD count = reply.Number(); count > 0; --count) {
        AddPrinter(ReadEntry(reply), records);
    }
    return ToResult(records.Write(buffer, size, needed, returned, ERROR_INSUFFICIENT_BUFFER));
}

BOOL WINAPI OpenPrinterW(LPWSTR name, LPHANDLE printer, LPPRINTER_DEFAULTSW defaults)
{
    const DWORD access = defaults ? defaults->DesiredAccess : PRINTER_ACCESS_USE;
    CMessageReader reply;
    const DWORD error = CallSpooler(Message(SpoolerCall::Open) << std::wstring_view(name) << access, &reply);
    *printer = error == ERROR_SUCCESS ? reinterpret_cast<HANDLE>(uintptr_t{reply.Number()}) : nullptr;
    return ToResult(error);
}

BOOL WINAPI ClosePrinter(HANDLE printer) { return ToResult(Call(Message(SpoolerCall::Close, printer))); }

BOOL WINAPI GetPrinterW(HANDLE printer, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed)
{
    CQueueEntry entry;
    const DWORD error = level == 2 ? QueryEntry(printer, &entry) : ERROR_INVALID_LEVEL;
    if (error != ERROR_SUCCESS) {
        return ToResult(error);
    }
    CRecords<PRINTER_INFO_2W> records;
    AddPrinter(entry, records);
    return ToResult(records.Write(buffer, size, needed, nullptr, ERROR_INSUFFICIENT_BUFFER));
}

BOOL WINAPI GetPrinterDriverW(HANDLE printer, LPWSTR, DWORD level, LPBYTE buffer, DWORD size, LPDWORD needed)
{
    CQueueEntry entry;
    const DWORD error = level == 3 ? QueryEntry(printer, &entry) : ERROR_INVALID_LEVEL;
    if (error != ERROR_SUCCESS) {
        return ToResult(error);
    }
    return ToResult(DriverRecords(entry).Write(buffer, size, needed, nullptr, ERROR_INSUFFICIENT_BUFFER));
}

// ---------------------------------------------------------------------------------------------
// Printer data

DWORD WINAPI GetPrinterDataW(HANDLE printer, LPWSTR name, LPDWORD type, LPBYTE data, DWORD size,
                             LPDWORD needed)
{
    CMessageReader reply;
    const DWORD error =
        CallSpooler(Message(SpoolerCall::GetData, printer) << std::wstring_view(name) << size, &reply);
    if (error == RPC_S_SERVER_UNAVAILABLE || error == ERROR_INVALID_HANDLE) {
        return error;
    }
    *needed = reply.Number();
    const std::string_view answer = reply.Bytes();
    std::copy(answer.begin(), answer.end(), data);
    if (type) {
        *type = REG_BINARY;
    }
    return error;
}

DWORD WINAPI EnumPrinterDataExW(HANDLE printer, LPCWSTR key, LPBYTE buffer, DWORD size, LPDWORD needed,
                                LPDWORD returned)
{
    if (lstrcmpiW(key, L"PrinterDriverData") != 0) {
        return ERROR_FILE_NOT_FOUND;
    }
    CMessageReader reply;
    const DWORD error = CallSpooler(Message(SpoolerCall::StoredValues, printer), &reply);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    CRecords<PRINTER_ENUM_VALUESW> records;
    for (DWORD count = reply.Number(); count > 0; --count) {
        const std::wstring name = reply.Text();
        PRINTER_ENUM_VALUESW record{};
        record.cbValueName = static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t));
        record.dwType = reply.Number();
        std::string bytes(reply.Bytes());
        record.cbData = static_cast<DWORD>(bytes.size());
        records.Add(record, {PointedText(offsetof(PRINTER_ENUM_VALUESW, pValueName), name),
                             {offsetof(PRINTER_ENUM_VALUESW, pData), std::move(bytes)}});
    }
    return records.Write(buffer, size, needed, returned, ERROR_MORE_DATA);
}

DWORD WINAPI SetPrinterDataW(HANDLE printer, LPWSTR name, DWORD type, LPBYTE data, DWORD size)
{
    return Call(Message(SpoolerCall::SetData, printer)
                << std::wstring_view(name) << type
                << std::string_view(reinterpret_cast<const char*>(data), size));
}

DWORD WINAPI DeletePrinterDataW(HANDLE printer, LPWSTR name)
{
    return Call(Message(SpoolerCall::DeleteData, printer) << std::wstring_view(name));
}

// ---------------------------------------------------------------------------------------------
// Documents and jobs

DWORD WINAPI StartDocPrinterW(HANDLE printer, DWORD level, LPBYTE info)
{
    const auto* document = reinterpret_cast<const DOC_INFO_1W*>(info);
    if (level != 1 || !document->pDatatype || lstrcmpiW(document->pDatatype, L"RAW") != 0) {
        SetLastError(level != 1 ? ERROR_INVALID_LEVEL : ERROR_INVALID_DATATYPE);
        return 0;
    }
    CMessageReader reply;
    const DWORD error = CallSpooler(
        Message(SpoolerCall::StartDocument, printer) << std::wstring_view(document->pDocName), &reply);
    SetLastError(error);
    return error == ERROR_SUCCESS ? reply.Number() : 0;
}

BOOL WINAPI StartPagePrinter(HANDLE) { return TRUE; }

BOOL WINAPI WritePrinter(HANDLE printer, LPVOID data, DWORD size, LPDWORD written)
{
    const DWORD error =
        Call(Message(SpoolerCall::Write, printer) << std::string_view(static_cast<const char*>(data), size));
    *written = error == ERROR_SUCCESS ? size : 0;
    return ToResult(error);
}

BOOL WINAPI EndPagePrinter(HANDLE) { return TRUE; }

BOOL WINAPI EndDocPrinter(HANDLE printer)
{
    return ToResult(Call(Message(SpoolerCall::EndDocument, printer)));
}

BOOL WINAPI EnumJobsW(HANDLE printer, DWORD first, DWORD most, DWORD level, LPBYTE buffer, DWORD size,
                      LPDWORD needed, LPDWORD returned)
{
    CMessageReader reply;
    const DWORD error = CallSpooler(Message(SpoolerCall::Jobs, printer), &reply);
    if (error != ERROR_SUCCESS || level != 2) {
        return ToResult(error != ERROR_SUCCESS ? error : ERROR_INVALID_LEVEL);
    }
    CRecords<JOB_INFO_2W> records;
    const DWORD count = reply.Number();
    for (DWORD i = 0; i < count; ++i) {
        const CQueueJob job = ReadJob(reply);
        if (i < first || i - first >= most) {
            continue;
        }
        JOB_INFO_2W record{};
        record.JobId = job.id;
        record.Status = job.status;
        record.Size = job.bytes;
        record.Position = i + 1;
        std::vector<CPointed> pointed = {PointedText(offsetof(JOB_INFO_2W, pDocument), job.document),
                                         PointedText(offsetof(JOB_INFO_2W, pUserName), job.user)};
        if (!job.statusText.empty()) {
            pointed.push_back(PointedText(offsetof(JOB_INFO_2W, pStatus), job.statusText));
        }
        records.Add(record, pointed);
    }
    return ToResult(records.Write(buffer, size, needed, returned, ERROR_INSUFFICIENT_BUFFER));
}

BOOL WINAPI SetJobW(HANDLE printer, DWORD jobId, DWORD level, LPBYTE, DWORD control)
{
    if (level != 0 || control != JOB_CONTROL_DELETE) {
        return ToResult(ERROR_INVALID_PARAMETER);
    }
    return ToResult(Call(Message(SpoolerCall::DeleteJob, printer) << jobId));
}

// ---------------------------------------------------------------------------------------------
// Changes

HANDLE WINAPI FindFirstPrinterChangeNotification(HANDLE printer, DWORD, DWORD, LPVOID)
{
    // From here on, not from the start of the thread, changes count.
    if (!ToResult(Call(Message(SpoolerCall::WaitForChange, printer) << DWORD{0}))) {
        return INVALID_HANDLE_VALUE;
    }
    auto watch = std::make_unique<CChangeWatch>(printer);
    HANDLE const event = watch->Event();
    const CSectionHold hold(g_watchLock);
    g_watches[event] = std::move(watch);
    return event;
}

BOOL WINAPI FindNextPrinterChangeNotification(HANDLE change, LPDWORD changes, LPVOID, LPVOID*)
{
    ResetEvent(change);
    if (changes) {
        *changes = PRINTER_CHANGE_JOB;
    }
    return TRUE;
}

BOOL WINAPI FindClosePrinterChangeNotification(HANDLE change)
{
    std::unique_ptr<CChangeWatch> watch;
    {
        const CSectionHold hold(g_watchLock);
        const auto found = g_watches.find(change);
        if (found == g_watches.end()) {
            return ToResult(ERROR_INVALID_HANDLE);
        }
        watch = std::move(found->second);
        g_watches.erase(found);
    }
    return TRUE;
}
