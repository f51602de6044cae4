/// What programs and the monitor have changed in the printers' data since it was last stored.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/spooler_admin.h"
#include "platform/sync.h"
#include "service/value_table.h"

namespace zrtmon::service {

/// Observes the spooler while it exists. Any thread.
class CValueChanges final : private spooler::IValueObserver {
public:
    /// notify is called on the thread that changes a value; it must not throw or call the spooler.
    explicit CValueChanges(std::function<void()> notify);
    ~CValueChanges() override;
    CValueChanges(const CValueChanges&) = delete;
    CValueChanges& operator=(const CValueChanges&) = delete;

    /// The last change of each value of a printer, which are then no longer kept here. "Password" is never
    /// among them.
    std::vector<CStoredValue> Take(const std::wstring& printerName);

private:
    void OnValueChanged(const std::wstring& printerName, const std::wstring& valueName, DWORD type,
                        const std::string* bytes) override;

    /// As the spooler's names compare.
    struct CNameLess {
        bool operator()(const std::wstring& left, const std::wstring& right) const
        {
            return lstrcmpiW(left.c_str(), right.c_str()) < 0;
        }
    };
    using CValues = std::map<std::wstring, CStoredValue, CNameLess>;

    std::function<void()> m_notify;
    CCriticalSection m_lock;
    std::map<std::wstring, CValues, CNameLess> m_changes; ///< by printer and value
};

} // namespace zrtmon::service
