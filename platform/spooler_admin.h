/// The spooler's own side of its printers and jobs: what an administrator and the print queue do.
///
/// The services themselves (OpenPrinterW, SetPrinterDataW, EnumJobsW, ...) are those of
/// `platform/win32.h`. Functions here may be called from any thread and throw std::bad_alloc.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/win32.h"

namespace zrtmon::spooler {

/// Makes a printer that OpenPrinterW finds under this name, case-insensitively; access is what the
/// caller may open it with. A printer of that name is replaced, its values and jobs with it.
ZRT_PLATFORM_API void CreatePrinter(const std::wstring& printerName,
                                    ACCESS_MASK access = PRINTER_ACCESS_ADMINISTER | PRINTER_ACCESS_USE);
/// Handles that are open on the printer become invalid (error 6), but must still be closed.
ZRT_PLATFORM_API void RemovePrinter(const std::wstring& printerName);

/// Appends a job to the printer's queue, its status 0; returns its id, or 0 when there is no such
/// printer.
ZRT_PLATFORM_API DWORD SubmitJob(const std::wstring& printerName, const std::wstring& documentName);
/// The JOB_STATUS_* bits of a job; std::nullopt if it is not in the queue.
ZRT_PLATFORM_API std::optional<DWORD> JobStatus(const std::wstring& printerName, DWORD jobId);
/// Sets and clears bits of a job's status; false when it is not in the queue.
ZRT_PLATFORM_API bool ChangeJobStatus(const std::wstring& printerName, DWORD jobId, DWORD set, DWORD cleared);
/// Takes a job out of the queue; false when it is not there.
ZRT_PLATFORM_API bool RemoveJob(const std::wstring& printerName, DWORD jobId);

/// Stores a value as an administrator would, whatever access callers have. Bytes are stored as they are.
/// Ignored if there is no such printer.
ZRT_PLATFORM_API void StoreValue(const std::wstring& printerName, const std::wstring& valueName, DWORD type,
                                 const std::string& bytes);
/// The bytes of a value; std::nullopt if there is none.
ZRT_PLATFORM_API std::optional<std::string> LoadValue(const std::wstring& printerName,
                                                      const std::wstring& valueName);
/// Calls visit for each value of a printer, under the store's lock: it must not call the spooler.
ZRT_PLATFORM_API void VisitValues(
    const std::wstring& printerName,
    const std::function<void(const std::wstring& valueName, DWORD type, const std::string& bytes)>& visit);
/// From now on GetPrinterDataW calls refresh, on its caller's thread and without a lock, before it reads a
/// value of the printer: a spooler that asks the printer stores there what it got. Empty: it only reads.
ZRT_PLATFORM_API void RefreshValues(const std::wstring& printerName,
                                    std::function<void(const std::wstring& valueName)> refresh);

/// Is told of the values that programs and the monitor store through the services of `platform/win32.h`, not
/// of those stored by StoreValue: for a spooler whose values outlive the process.
class IValueObserver {
public:
    virtual ~IValueObserver() = default;
    /// A value was stored; bytes is null when it was removed instead, and type 0 then. Called on the thread
    /// that did so, in the order of the changes, under the spooler's lock: it must return soon, call nothing
    /// of the spooler, and not throw. The arguments are borrowed for the call.
    virtual void OnValueChanged(const std::wstring& printerName, const std::wstring& valueName, DWORD type,
                                const std::string* bytes) = 0;
};
/// Borrowed until it is replaced; null: none. No call is under way after the return.
ZRT_PLATFORM_API void SetValueObserver(IValueObserver* observer);

/// Redirects what a loaded library imports of the print services to those of this process, with the printers
/// of this header. False if it imports one that is not served here, or its imports cannot be changed; do not
/// use it then. Off Windows there is no other spooler, and nothing to do.
ZRT_PLATFORM_API bool RedirectSpoolerImports(HMODULE module);

/// Printer handles that are open in this process.
ZRT_PLATFORM_API size_t OpenPrinterCount();

} // namespace zrtmon::spooler
