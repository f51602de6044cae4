/// The spooler's printers with their named values and job queues, and the handles that are open on them.
///
/// Neutral code: it serves the printer services of every system that lacks a print spooler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/spooler_admin.h"
#include "platform/sync.h"
#include "platform/win32.h"
#include "platform/wipe.h"

namespace zrtmon::spooler {

struct NameLess {
    bool operator()(const std::wstring& left, const std::wstring& right) const
    {
        return lstrcmpiW(left.c_str(), right.c_str()) < 0;
    }
};

/// A named value. It may be a password: it is wiped with the object.
struct Value {
    Value(DWORD valueType, std::string_view valueBytes) : type(valueType), bytes(valueBytes) {}
    ~Value() { Wipe(bytes); }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    DWORD type;
    std::string bytes;
};

struct Job {
    DWORD id;
    std::wstring document;
    DWORD status;
    SYSTEMTIME submitted; ///< local time
};

struct Printer {
    std::wstring name;
    ACCESS_MASK access;                                                    ///< what it may be opened with
    std::map<std::wstring, std::unique_ptr<const Value>, NameLess> values; ///< never null
    std::vector<Job> jobs;                                                 ///< the next to print first
    std::function<void(const std::wstring& valueName)>
        refresh; ///< called before a value is read; may be empty

    /// Null when it has no such value.
    const Value* FindValue(const std::wstring& valueName) const;
    /// Adds or replaces a value.
    void StoreValue(const std::wstring& valueName, DWORD type, std::string_view bytes);
    /// Null when it is not in the queue.
    Job* FindJob(DWORD jobId);
};

/// Every function needs the store's lock, and whatever it gives is borrowed for as long as that is held.
/// Functions that make something throw std::bad_alloc and have then changed nothing.
class CPrinterStore {
public:
    /// The process's one.
    static CPrinterStore& Get();

    CCriticalSection& Section() { return m_section; }

    /// Replaces a printer of that name; handles of the old one become invalid.
    void CreatePrinter(const std::wstring& name, ACCESS_MASK access);
    void RemovePrinter(const std::wstring& name) { m_printers.erase(name); }
    /// Null if there is no such printer.
    Printer* FindPrinter(const std::wstring& name);

    /// A new handle; access says what may be done with it.
    HANDLE Open(const std::wstring& name, ACCESS_MASK access);
    bool Close(HANDLE handle);
    /// The printer of a handle, null when the handle is not open or its printer is gone.
    Printer* FromHandle(HANDLE handle);
    bool MayAdminister(HANDLE handle) const;
    size_t OpenCount() const { return m_open.size(); }

    /// Null: none.
    void SetObserver(IValueObserver* observer) { m_observer = observer; }
    /// Tells the observer that a value of the printer was stored, or removed when it is not there.
    void ReportChange(const Printer& printer, const std::wstring& valueName) const;

    /// The next job's id, counted over all printers.
    DWORD TakeJobId() { return ++m_lastJobId; }

private:
    struct OpenHandle {
        std::weak_ptr<Printer> printer;
        ACCESS_MASK access;
    };

    CCriticalSection m_section;
    std::map<std::wstring, std::shared_ptr<Printer>, NameLess> m_printers;
    std::map<uintptr_t, OpenHandle> m_open;
    uintptr_t m_lastSerial = 0;
    DWORD m_lastJobId = 0;
    IValueObserver* m_observer = nullptr;
};

} // namespace zrtmon::spooler
