#include "service/value_changes.h"

#include "host/text/text.h"

namespace zrtmon::service {

CValueChanges::CValueChanges(std::function<void()> notify) : m_notify(std::move(notify))
{
    spooler::SetValueObserver(this);
}

CValueChanges::~CValueChanges() { spooler::SetValueObserver(nullptr); }

std::vector<CStoredValue> CValueChanges::Take(const std::wstring& printerName)
{
    const CSectionHold hold(m_lock);
    std::vector<CStoredValue> values;
    for (auto& [name, value] : m_changes[printerName]) {
        values.push_back(std::move(value));
    }
    m_changes.erase(printerName);
    return values;
}

void CValueChanges::OnValueChanged(const std::wstring& printerName, const std::wstring& valueName, DWORD type,
                                   const std::string* bytes)
{
    const std::string name = host::Utf8FromWide(valueName);
    if (!IsPasswordName(name)) {
        const CSectionHold hold(m_lock);
        m_changes[printerName][valueName] = {name, bytes == nullptr, type, bytes ? *bytes : std::string()};
    }
    m_notify();
}

} // namespace zrtmon::service
