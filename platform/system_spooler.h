/// The spooler of this machine, as a program sees the printers that are installed there.
///
/// A spooler that answers GetPrinterDataW for a bidirectional printer asks the language monitor, stores what
/// it got, and may fall back to the stored value when the monitor refuses. So GetData is a question to the
/// printer; what the monitor has published is read with StoredValues, which sends the printer nothing.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/win32.h"

namespace zrtmon {

/// A printer as the spooler lists it (PRINTER_INFO_2, and DRIVER_INFO_3 of its driver).
struct CQueueEntry {
    std::wstring name;
    std::wstring port;
    std::wstring driver;
    std::wstring monitor; ///< the language monitor that the driver names; empty: none, or it cannot be read
    DWORD status = 0;     ///< PRINTER_STATUS_* bits
    DWORD attributes = 0; ///< PRINTER_ATTRIBUTE_* bits
    DWORD jobs = 0;       ///< in the queue
};

/// A job in the queue (JOB_INFO_2).
struct CQueueJob {
    DWORD id = 0;
    std::wstring document;
    std::wstring user;
    std::wstring statusText; ///< written by the driver or the port; usually empty
    DWORD status = 0;        ///< JOB_STATUS_* bits
    DWORD bytes = 0;         ///< of the job's data; below 4 GiB
};

/// A value of the printer's data.
struct CStoredValue {
    DWORD type = 0; ///< REG_*
    std::string bytes;
};

/// A printer that is open. Functions return 0 or the spooler's error: 5 the right is missing, 6 the printer
/// is gone, 1722 the spooler does not run. Any thread; a call that asks the printer may take half a minute.
class ISpoolerQueue {
public:
    virtual ~ISpoolerQueue() = default;

    /// As ListQueues has it, now.
    virtual DWORD Info(CQueueEntry* entry) = 0;

    /// GetPrinterDataW. At most buffer.size() bytes are written; needed is the size of the whole answer. 234
    /// if the buffer is too small: the printer has been asked nevertheless. For a question that the monitor
    /// refuses, a spooler returns the stored value, 2 if there is none, or the monitor's error; for an
    /// action, whose answer is empty, also 0 with needed 0.
    virtual DWORD GetData(const std::wstring& requestText, std::span<char> buffer, DWORD* needed) = 0;
    /// EnumPrinterDataExW of the key "PrinterDriverData", in no order. The printer is not asked. They may be
    /// passwords: the caller wipes what it does not show.
    virtual DWORD StoredValues(std::vector<std::pair<std::wstring, CStoredValue>>* values) = 0;
    /// SetPrinterDataW. The bytes are not kept.
    virtual DWORD SetData(const std::wstring& valueName, DWORD type, std::span<const char> bytes) = 0;
    /// DeletePrinterDataW; 2 if there is no such value.
    virtual DWORD DeleteData(const std::wstring& valueName) = 0;

    /// StartDocPrinterW of a RAW document, then StartPagePrinter. One document at a time. A document that is
    /// open when the queue is closed may be printed as far as it was written: delete its job first.
    virtual DWORD StartDocument(const std::wstring& title, DWORD* jobId) = 0;
    /// WritePrinter, until all of it has been taken. 63 if the job has been deleted.
    virtual DWORD Write(std::span<const char> bytes) = 0;
    /// EndPagePrinter and EndDocPrinter: the spooler prints what it has.
    virtual DWORD EndDocument() = 0;

    /// EnumJobsW, in the order of printing.
    virtual DWORD Jobs(std::vector<CQueueJob>* jobs) = 0;
    /// SetJobW with JOB_CONTROL_DELETE.
    virtual DWORD DeleteJob(DWORD jobId) = 0;

    /// Waits until jobs, the printer or its values change (FindFirstPrinterChangeNotification), or for the
    /// time. A spooler may miss a change: look again after each wait. False if it cannot tell changes, and
    /// did not wait.
    virtual bool WaitForChange(DWORD milliseconds) = 0;
};

/// Any thread.
class ISystemSpooler {
public:
    virtual ~ISystemSpooler() = default;

    /// The local printers. Returns 0 or an error: 50 there is no spooler of this kind on this system, 1722 it
    /// does not run.
    virtual DWORD ListQueues(std::vector<CQueueEntry>* queues) = 0;
    /// access: PRINTER_ACCESS_USE or PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE. Returns 0 and the queue,
    /// or 5, 1801 no such printer, and those above.
    virtual DWORD Open(const std::wstring& printerName, DWORD access,
                       std::unique_ptr<ISpoolerQueue>* queue) = 0;
};

/// That of this machine; off Windows one that answers 50.
ISystemSpooler& MachineSpooler();

} // namespace zrtmon
